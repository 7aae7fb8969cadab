#include "ui/BodyEdit.h"

#include "compose/MailBodyExport.h"

#include <QBuffer>
#include <QImage>
#include <QMimeData>
#include <QTextCursor>
#include <QTextFormat>

namespace kalvex {

bool TBodyEdit::canInsertFromMimeData(const QMimeData* source) const
{
    return source->hasImage() || QTextEdit::canInsertFromMimeData(source);
}

// Text and HTML go Qt's way; a bare picture is kept as PNG bytes.
void TBodyEdit::insertFromMimeData(const QMimeData* source)
{
    const QImage image = source->hasImage() && !source->hasHtml() ? qvariant_cast<QImage>(source->imageData()) : QImage();
    if (image.isNull())
        return QTextEdit::insertFromMimeData(source);
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    QTextImageFormat format;
    format.setName(AddPictureResource(*document(), {png, "image/png"}));
    format.setWidth(image.width());
    format.setHeight(image.height());
    QTextCursor cursor = textCursor();
    cursor.insertImage(format);
    setTextCursor(cursor);
}

}  // namespace kalvex
