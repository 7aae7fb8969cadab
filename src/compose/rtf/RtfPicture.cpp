#include "compose/rtf/RtfPicture.h"

#include "compose/MailBodyExport.h"

#include <QBuffer>
#include <QImage>
#include <QImageReader>
#include <QTextDocument>
#include <QTextFormat>
#include <QUrl>
#include <QtEndian>

namespace kalvex {

namespace {

constexpr int kMaxGoalTwips = 200000;   // about 3.5 m: beyond it a size is nonsense
constexpr int kMaxPixels = 20000;

// A device-independent bitmap is a BMP file without its 14-byte file header.
QByteArray bmpFromDib(const QByteArray& dib)
{
    if (dib.size() < 40)
        return {};
    const auto* p = reinterpret_cast<const uchar*>(dib.constData());
    const quint32 headerSize = qFromLittleEndian<quint32>(p);
    const quint16 bitCount = qFromLittleEndian<quint16>(p + 14);
    const quint32 compression = qFromLittleEndian<quint32>(p + 16);
    const quint32 used = qFromLittleEndian<quint32>(p + 32);
    const quint32 colors = used ? std::min<quint32>(used, 256) : bitCount <= 8 ? 1u << bitCount : 0;
    const quint32 masks = headerSize == 40 && compression == 3 ? 12 : 0;
    const quint32 offset = 14 + std::min<quint32>(headerSize, 4096) + colors * 4 + masks;
    QByteArray file("BM");
    uchar field[4];
    qToLittleEndian<quint32>(quint32(14 + dib.size()), field);
    file.append(reinterpret_cast<const char*>(field), 4);
    file.append(4, '\0');
    qToLittleEndian<quint32>(offset, field);
    file.append(reinterpret_cast<const char*>(field), 4);
    return file + dib;
}

// The decoded size, or an empty size when Qt cannot read the data.
QSize decodedSize(const QByteArray& data)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    const QImage decoded = QImageReader(&buffer).read();
    return decoded.isNull() ? QSize() : decoded.size();
}

// The picture a name stands for: the document's resource, else an image
// file of that name.
TPicture pictureOf(const QTextDocument& document, const QString& name)
{
    if (document.resource(QTextDocument::ImageResource, QUrl(name)).isValid())
        return DocumentPicture(document, name);
    return PictureFromImage(QImage(name));
}

// The size the document gives the picture, in pixels at 96 dpi.
int shownPixels(int goalTwips, int scale, int natural)
{
    const double percent = scale > 0 && scale <= 1000 ? scale : 100;
    const double pixels = goalTwips > 0 && goalTwips <= kMaxGoalTwips ? goalTwips / 15.0 : natural;
    return std::clamp(qRound(pixels * percent / 100), 1, kMaxPixels);
}

}  // namespace

void TRtfPicture::AddHexDigit(char digit)
{
    const int value = digit >= '0' && digit <= '9' ? digit - '0'
                    : (digit | 0x20) >= 'a' && (digit | 0x20) <= 'f' ? (digit | 0x20) - 'a' + 10 : -1;
    if (value < 0)
        return;
    if (FNibble < 0) {
        FNibble = value;
        return;
    }
    AddByte(static_cast<char>(FNibble << 4 | value));
    FNibble = -1;
}

void TRtfPicture::AddByte(char byte)
{
    if (FData.size() >= kMaxPictureBytes) {
        FTooLarge = true;
        return;
    }
    FData += byte;
}

bool TRtfPicture::AddTo(QTextDocument& document, QTextImageFormat& format) const
{
    if (FTooLarge || FData.isEmpty() || Kind == "emf" || Kind == "wmf")
        return false;   // Qt has no reader for Windows metafiles
    const QByteArray bytes = Kind == "dib" ? bmpFromDib(FData) : FData;
    const QSize natural = decodedSize(bytes);
    if (natural.isEmpty())
        return false;
    format.setName(AddPictureResource(document, PictureFromFileBytes(bytes)));
    format.setWidth(shownPixels(GoalWidth, ScaleX, natural.width()));
    format.setHeight(shownPixels(GoalHeight, ScaleY, natural.height()));
    return true;
}

TEncodedImage EncodeDocumentImage(const QTextDocument& document, const QString& name)
{
    const TPicture picture = pictureOf(document, name);
    const QSize size = decodedSize(picture.bytes);
    if (size.isEmpty())
        return {};
    return {picture.bytes, picture.mimeType == "image/jpeg" ? "jpegblip" : "pngblip", size};
}

}  // namespace kalvex
