#pragma once
// The body document as the recipient gets it: a small HTML page that mail
// programs render alike, and a plain text for programs that show no HTML.
//
// Pictures are image resources named kalvex-image://<sha1>.<png|jpg> whose
// value is the encoded file (a QImage or QPixmap value is encoded as PNG).
// They travel inside the HTML as data: URIs, so the mail record holds all it
// needs when it is stored or crosses to the host; the MIME builder turns
// each into a related part.

#include <QByteArray>
#include <QSize>
#include <QString>
#include <QStringList>

class QImage;
class QTextDocument;

namespace kalvex {

struct TPicture {
    QByteArray bytes;      // the encoded file
    QByteArray mimeType;   // "image/png" or "image/jpeg"; empty: no picture
};

// The picture behind a resource name of the document.
TPicture DocumentPicture(const QTextDocument& document, const QString& name);
// A picture file's bytes as the document keeps them: JPEG as it is,
// anything else Qt reads as PNG; empty when the bytes are no picture.
TPicture PictureFromFileBytes(const QByteArray& bytes);
// An image as PNG; empty for a null image.
TPicture PictureFromImage(const QImage& image);
// Adds the picture as a resource named by its content; returns the name.
QString AddPictureResource(QTextDocument& document, const TPicture& picture);
QSize PictureSize(const TPicture& picture);

// A CSS font-family list that ends in a generic family:
// "Arial, Helvetica, sans-serif", "'Courier New', monospace".
QString CssFontFamily(const QString& family);

// "<!DOCTYPE html><html><head><meta charset="utf-8">…", one element per
// line, no line break inside a text.
QString MailHtml(const QTextDocument& document);
QStringList MailHtmlLines(const QTextDocument& document);
// Tables as lines of tab-separated cells, list items with "• " or "1. ",
// links as "Text <address>", pictures left out.
QString MailPlainText(const QTextDocument& document);

}  // namespace kalvex
