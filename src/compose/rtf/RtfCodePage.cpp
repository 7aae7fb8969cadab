#include "compose/rtf/RtfCodePage.h"

namespace kalvex {

namespace {

// Symbol font: Greek letters on the Latin ones, the bullet at 0xB7.
QChar symbolChar(unsigned char b)
{
    static const char16_t upper[26] = {0x391, 0x392, 0x3A7, 0x394, 0x395, 0x3A6, 0x393, 0x397, 0x399, 0x3D1, 0x39A, 0x39B, 0x39C,
                                       0x39D, 0x39F, 0x3A0, 0x398, 0x3A1, 0x3A3, 0x3A4, 0x3A5, 0x3C2, 0x3A9, 0x39E, 0x3A8, 0x396};
    if (b >= 'A' && b <= 'Z')
        return QChar(upper[b - 'A']);
    if (b >= 'a' && b <= 'z')
        return QChar(upper[b - 'a']).toLower();
    if (b == 0xB7)
        return QChar(0x2022);
    if (b == 0xA5)
        return QChar(0x221E);
    return Cp1252Char(b);
}

QByteArray codecName(int codePage)
{
    switch (codePage) {
    case 932: return "Shift_JIS";
    case 936: return "GBK";
    case 949: return "windows-949";
    case 950: return "Big5";
    case 10000: return "macintosh";
    case 437: return "IBM437";
    case 850: return "IBM850";
    default: return "windows-" + QByteArray::number(codePage);
    }
}

bool isDoubleByte(int codePage)
{
    return codePage == 932 || codePage == 936 || codePage == 949 || codePage == 950;
}

bool isLeadByte(int codePage, unsigned char b)
{
    if (codePage == 932)
        return (b >= 0x81 && b <= 0x9F) || (b >= 0xE0 && b <= 0xFC);
    return b >= 0x81 && b <= 0xFE;
}

}  // namespace

QChar Cp1252Char(unsigned char b)
{
    static const char16_t high[32] = {0x20AC, 0x81, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
                                      0x2039, 0x0152, 0x8D, 0x017D, 0x8F, 0x90, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
                                      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D, 0x017E, 0x0178};
    return b >= 0x80 && b < 0xA0 ? QChar(high[b - 0x80]) : QChar(b);
}

int CharsetCodePage(int charset)
{
    static const QHash<int, int> pages = {{0, 1252},   {2, kCodePageSymbol}, {77, 10000}, {128, 932}, {129, 949},
                                          {134, 936},  {136, 950},           {161, 1253}, {162, 1254}, {163, 1258},
                                          {177, 1255}, {178, 1256},          {186, 1257}, {204, 1251}, {222, 874},
                                          {238, 1250}, {255, 437}};
    return pages.value(charset, -1);
}

QStringDecoder* TRtfByteDecoder::decoderFor(int codePage)
{
    auto it = FDecoders.find(codePage);
    if (it == FDecoders.end() && FDecoders.size() < 64)
        it = FDecoders.insert(codePage, std::make_shared<QStringDecoder>(codecName(codePage).constData(), QStringDecoder::Flag::Stateless));
    return it == FDecoders.end() || !(*it)->isValid() ? nullptr : it->get();
}

// Unknown code pages fall back to Windows-1252, the West European default.
QString TRtfByteDecoder::Decode(int codePage, unsigned char byte)
{
    if (codePage == kCodePageSymbol)
        return QString(symbolChar(byte));
    QStringDecoder* decoder = codePage == 1252 ? nullptr : decoderFor(codePage);
    if (FLead < 0 && byte < 0x80)
        return QString(QChar(byte));
    if (!decoder) {
        FLead = -1;
        return QString(Cp1252Char(byte));
    }
    QByteArray bytes;
    if (FLead >= 0)
        bytes += static_cast<char>(FLead);
    bytes += static_cast<char>(byte);
    FLead = FLead < 0 && isDoubleByte(codePage) && isLeadByte(codePage, byte) ? byte : -1;
    if (FLead >= 0)
        return QString();
    return decoder->decode(bytes);
}

}  // namespace kalvex
