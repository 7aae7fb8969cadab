#include "config/TextDecoding.h"

#include <QStringDecoder>

namespace kalvex {

namespace {

// Windows-1252 where it differs from Latin-1 (0x80..0x9F); 0 = unassigned.
constexpr char16_t kCp1252High[32] = {0x20AC, 0, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
                                      0x2039, 0x0152, 0, 0x017D, 0, 0, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
                                      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0, 0x017E, 0x0178};

}  // namespace

QString FromWindows1252(const QByteArray& bytes)
{
    QString out;
    out.reserve(bytes.size());
    for (const char b : bytes) {
        const auto c = static_cast<unsigned char>(b);
        out += QChar(c >= 0x80 && c < 0xA0 && kCp1252High[c - 0x80] ? kCp1252High[c - 0x80] : char16_t(c));
    }
    return out;
}

QString DecodeTextFileBytes(const QByteArray& bytes)
{
    const QByteArray body = bytes.startsWith("\xEF\xBB\xBF") ? bytes.mid(3) : bytes;
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8(body);
    return utf8.hasError() ? FromWindows1252(body) : text;
}

}  // namespace kalvex
