#include "send/DataBody.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <algorithm>
#include <cstring>

namespace kalvex {

namespace {

constexpr qint64 kChunkBytes = 57 * 4096;   // raw bytes per base64 chunk: whole 76-character lines

// Base64 in lines of 76 characters (57 raw bytes) with CR LF, written in
// one pass into a buffer of the final size: attachments are large.
QByteArray base64Lines(const QByteArray& raw)
{
    static constexpr char table[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto* in = reinterpret_cast<const unsigned char*>(raw.constData());
    const qsizetype size = raw.size();
    const qsizetype lines = (size + 56) / 57;
    QByteArray out(((size + 2) / 3) * 4 + 2 * lines, Qt::Uninitialized);
    char* to = out.data();
    for (qsizetype line = 0; line < size; line += 57) {
        const qsizetype end = std::min<qsizetype>(line + 57, size);
        qsizetype i = line;
        for (; i + 3 <= end; i += 3) {
            const uint32_t v = (uint32_t(in[i]) << 16) | (uint32_t(in[i + 1]) << 8) | in[i + 2];
            *to++ = table[v >> 18];
            *to++ = table[(v >> 12) & 63];
            *to++ = table[(v >> 6) & 63];
            *to++ = table[v & 63];
        }
        if (i < end) {   // one or two bytes left: the last line only
            const uint32_t v = (uint32_t(in[i]) << 16) | (i + 1 < end ? uint32_t(in[i + 1]) << 8 : 0);
            *to++ = table[v >> 18];
            *to++ = table[(v >> 12) & 63];
            *to++ = i + 1 < end ? table[(v >> 6) & 63] : '=';
            *to++ = '=';
        }
        *to++ = '\r';
        *to++ = '\n';
    }
    return out;
}

// Whether some line of bytes after the first starts with a ".": memchr
// runs over a 200 KB body far faster than a search for "\n.".
bool hasDotLine(const QByteArray& bytes)
{
    const char* p = bytes.constData();
    const char* const end = p + bytes.size();
    while ((p = static_cast<const char*>(std::memchr(p, '\n', static_cast<size_t>(end - p)))) != nullptr) {
        if (++p < end && *p == '.')
            return true;
    }
    return false;
}

// Doubles a "." at the start of any line, so no line ends the data early.
// Most chunks (all of base64) hold no line starting with ".": they pass as
// they are.
QByteArray dotStuff(const QByteArray& bytes, bool& atLineStart)
{
    if (bytes.isEmpty())
        return bytes;
    const bool clean = !(atLineStart && bytes.front() == '.') && !hasDotLine(bytes);
    if (clean) {
        atLineStart = bytes.back() == '\n';
        return bytes;
    }
    QByteArray out;
    out.reserve(bytes.size() + 16);
    for (char c : bytes) {
        if (atLineStart && c == '.')
            out += '.';
        out += c;
        atLineStart = c == '\n';
    }
    return out;
}

}  // namespace

void TDataBody::Rewind()
{
    FSegment = 0;
    FFile.reset();
    FAtLineStart = true;
    FPieceEncoded = false;
    FProduced = 0;
}

QByteArray TDataBody::Next()
{
    const QByteArray piece = nextPiece();
    FProduced += piece.size();
    if (!FPieceEncoded)
        return dotStuff(piece, FAtLineStart);
    FAtLineStart = true;   // base64 lines end with CR LF and never begin with "."
    return piece;
}

QByteArray TDataBody::EndLine() const
{
    return FAtLineStart ? QByteArray(".") : QByteArray("\r\n.");
}

// A literal part whole, or a chunk of an attachment in base64 lines.
QByteArray TDataBody::nextPiece()
{
    while (FSegment < FMessage.size()) {
        const TMimeSegment& s = FMessage[FSegment];
        FPieceEncoded = !s.base64File.isEmpty();
        if (s.base64File.isEmpty()) {
            ++FSegment;
            if (!s.bytes.isEmpty())
                return s.bytes;
            continue;
        }
        if (!FFile) {
            FFile = std::make_unique<QFile>(s.base64File);
            if (!FFile->open(QIODevice::ReadOnly))
                throw EKalvex(Tx(1014, "Die Datei %1 konnte nicht gelesen werden.").arg(s.base64File));
        }
        const QByteArray raw = FFile->read(kChunkBytes);
        if (!raw.isEmpty())
            return base64Lines(raw);
        FFile.reset();
        ++FSegment;
    }
    return {};
}

}  // namespace kalvex
