#include "send/QuotedPrintable.h"

#include <array>

namespace kalvex {

namespace {

constexpr int kQpLine = 76;

// Characters that stand for themselves; '=' and controls do not.
const std::array<bool, 256>& literalTable()
{
    static const auto table = [] {
        std::array<bool, 256> t{};
        for (int c = 33; c <= 126; ++c)
            t[static_cast<size_t>(c)] = c != '=';
        t[' '] = t['\t'] = true;
        return t;
    }();
    return table;
}

bool endsWithBlank(const char* begin, const char* o, int line)
{
    return line > 0 && o > begin && (o[-1] == ' ' || o[-1] == '\t');
}

// The blank just written becomes =20 or =09: a bare blank before a line
// end would be lost in transit.
char* encodeLastBlank(char* o, int& line)
{
    const char blank = *--o;
    --line;
    if (line + 3 > kQpLine - 1) {
        *o++ = '=', *o++ = '\r', *o++ = '\n';
        line = 0;
    }
    *o++ = '=', *o++ = blank == ' ' ? '2' : '0', *o++ = blank == ' ' ? '0' : '9';
    line += 3;
    return o;
}

// One pass over the bytes into an output reserved for the worst case
// (every byte escaped, plus soft breaks); returns the end written.
// line: characters on the current output line, before and after.
char* encode(const QByteArray& in, char* const begin, char* o, int& line)
{
    static constexpr char hex[] = "0123456789ABCDEF";
    const auto& literal = literalTable();
    const qsizetype n = in.size();
    for (qsizetype i = 0; i < n; ++i) {
        const auto c = static_cast<unsigned char>(in[i]);
        if (c == '\r' || c == '\n') {
            if (endsWithBlank(begin, o, line))
                o = encodeLastBlank(o, line);
            *o++ = '\r', *o++ = '\n';
            line = 0;
            if (c == '\r' && i + 1 < n && in[i + 1] == '\n')
                ++i;
            continue;
        }
        const int width = literal[c] ? 1 : 3;
        if (line + width > kQpLine - 1) {   // room for the soft break's '='
            *o++ = '=', *o++ = '\r', *o++ = '\n';
            line = 0;
        }
        if (width == 1)
            *o++ = static_cast<char>(c);
        else
            *o++ = '=', *o++ = hex[c >> 4], *o++ = hex[c & 15];
        line += width;
    }
    return o;
}

qsizetype worstCase(qsizetype size)
{
    return size * 4 + 16;
}

}  // namespace

QByteArray EncodeQuotedPrintableBytes(const QByteArray& in)
{
    QByteArray out(worstCase(in.size()), Qt::Uninitialized);
    char* const begin = out.data();
    int line = 0;
    char* o = encode(in, begin, begin, line);
    if (endsWithBlank(begin, o, line))
        *o++ = '=', *o++ = '\r', *o++ = '\n';
    else if (line > 0 || o == begin)
        *o++ = '\r', *o++ = '\n';
    out.truncate(o - begin);
    return out;
}

QByteArray EncodeQuotedPrintable(const QString& text)
{
    return EncodeQuotedPrintableBytes(text.toUtf8());
}

TQpFragment EncodeQuotedPrintableFragment(const QByteArray& utf8)
{
    TQpFragment f;
    f.bytes = QByteArray(worstCase(utf8.size()), Qt::Uninitialized);
    char* const begin = f.bytes.data();
    int line = 0;
    char* o = encode(utf8, begin, begin, line);
    if (endsWithBlank(begin, o, line))
        o = encodeLastBlank(o, line);
    f.bytes.truncate(o - begin);
    const qsizetype firstEnd = f.bytes.indexOf("\r\n");
    f.hasLineEnd = firstEnd >= 0;
    f.firstLine = static_cast<int>(f.hasLineEnd ? firstEnd : f.bytes.size());
    f.lastLine = line;
    return f;
}

TQpJoiner::TQpJoiner(qsizetype expectedSize)
{
    FOut.reserve(expectedSize + expectedSize / 16 + 8);
}

void TQpJoiner::Append(const TQpFragment& f)
{
    if (f.bytes.isEmpty())
        return;
    // A line left open must keep room for a later soft break's '='.
    const int room = f.hasLineEnd ? kQpLine : kQpLine - 1;
    if (FColumn > 0 && FColumn + f.firstLine > room) {
        FOut += "=\r\n";
        FColumn = 0;
    }
    FOut += f.bytes;
    FColumn = f.hasLineEnd ? f.lastLine : FColumn + f.firstLine;
}

QByteArray TQpJoiner::Take()
{
    if (FColumn > 0 || FOut.isEmpty())
        FOut += "\r\n";
    FColumn = 0;
    return std::move(FOut);
}

}  // namespace kalvex
