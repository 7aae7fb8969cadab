#include "compose/rtf/RtfPicture.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QImage>
#include <QImageReader>
#include <QPixmap>
#include <QTextDocument>
#include <QTextFormat>
#include <QUrl>
#include <QtEndian>

namespace kalvex {

namespace {

constexpr int kMaxGoalTwips = 200000;   // about 3.5 m: beyond it a size is nonsense
constexpr int kMaxPixels = 20000;

bool isPng(const QByteArray& data)
{
    return data.startsWith("\x89PNG\r\n\x1a\n");
}

bool isJpeg(const QByteArray& data)
{
    return data.startsWith("\xff\xd8\xff");
}

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

QByteArray pngBytes(const QImage& image)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return png;
}

// The decoded size, or an empty size when Qt cannot read the data.
QSize decodedSize(const QByteArray& data, QImage* image = nullptr)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    QImage decoded = reader.read();
    if (image)
        *image = decoded;
    return decoded.isNull() ? QSize() : decoded.size();
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
    QByteArray bytes = Kind == "dib" ? bmpFromDib(FData) : FData;
    QImage image;
    const QSize natural = decodedSize(bytes, &image);
    if (natural.isEmpty())
        return false;
    if (!isPng(bytes) && !isJpeg(bytes))
        bytes = pngBytes(image);
    const QString name = QStringLiteral("kalvex-image://%1.%2")
                             .arg(QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex()),
                                  isJpeg(bytes) ? QStringLiteral("jpg") : QStringLiteral("png"));
    document.addResource(QTextDocument::ImageResource, QUrl(name), bytes);
    format.setName(name);
    format.setWidth(shownPixels(GoalWidth, ScaleX, natural.width()));
    format.setHeight(shownPixels(GoalHeight, ScaleY, natural.height()));
    return true;
}

TEncodedImage EncodeDocumentImage(const QTextDocument& document, const QString& name)
{
    const QVariant resource = document.resource(QTextDocument::ImageResource, QUrl(name));
    TEncodedImage out;
    QImage image;
    if (resource.userType() == QMetaType::QByteArray) {
        out.bytes = resource.toByteArray();
        out.size = decodedSize(out.bytes, &image);
        if (out.size.isEmpty())
            return {};
        if (isPng(out.bytes) || isJpeg(out.bytes)) {
            out.blip = isPng(out.bytes) ? "pngblip" : "jpegblip";
            return out;
        }
    } else if (resource.userType() == QMetaType::QPixmap) {
        image = resource.value<QPixmap>().toImage();
    } else if (resource.userType() == QMetaType::QImage) {
        image = resource.value<QImage>();
    } else if (!resource.isValid()) {
        image = QImage(name);
    }
    if (image.isNull())
        return {};
    return {pngBytes(image), "pngblip", image.size()};
}

}  // namespace kalvex
