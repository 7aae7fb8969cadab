// Pictures of a body document: their bytes, names and sizes.
#include "compose/MailBodyExport.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QImage>
#include <QImageReader>
#include <QPixmap>
#include <QTextDocument>
#include <QUrl>
#include <QVariant>

namespace kalvex {

namespace {

bool isJpeg(const QByteArray& bytes)
{
    return bytes.startsWith("\xFF\xD8\xFF");
}

bool isPng(const QByteArray& bytes)
{
    return bytes.startsWith("\x89PNG\r\n\x1A\n");
}

QByteArray pngBytes(const QImage& image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

}  // namespace

TPicture PictureFromFileBytes(const QByteArray& bytes)
{
    if (isJpeg(bytes))
        return {bytes, "image/jpeg"};
    if (isPng(bytes))
        return {bytes, "image/png"};
    return PictureFromImage(QImage::fromData(bytes));
}

TPicture PictureFromImage(const QImage& image)
{
    return image.isNull() ? TPicture() : TPicture{pngBytes(image), "image/png"};
}

TPicture DocumentPicture(const QTextDocument& document, const QString& name)
{
    const QVariant value = document.resource(QTextDocument::ImageResource, QUrl(name));
    if (value.userType() == QMetaType::QImage)
        return PictureFromImage(value.value<QImage>());
    if (value.userType() == QMetaType::QPixmap)
        return PictureFromImage(value.value<QPixmap>().toImage());
    if (value.userType() == QMetaType::QByteArray)
        return PictureFromFileBytes(value.toByteArray());
    return {};
}

QString AddPictureResource(QTextDocument& document, const TPicture& picture)
{
    const QString name = QStringLiteral("kalvex-image://%1.%2")
                             .arg(QString::fromLatin1(QCryptographicHash::hash(picture.bytes, QCryptographicHash::Sha1).toHex()),
                                  picture.mimeType == "image/jpeg" ? QStringLiteral("jpg") : QStringLiteral("png"));
    document.addResource(QTextDocument::ImageResource, QUrl(name), picture.bytes);
    return name;
}

QSize PictureSize(const TPicture& picture)
{
    QByteArray bytes = picture.bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return QImageReader(&buffer).size();
}

}  // namespace kalvex
