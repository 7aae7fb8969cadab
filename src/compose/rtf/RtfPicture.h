#pragma once
// Pictures between RTF and a QTextDocument. A picture read from RTF becomes
// an image resource named "kalvex-image://<SHA-1 of its bytes>.<png|jpg>"
// whose value is the encoded bytes (QByteArray): PNG and JPEG as the RTF
// holds them, other formats Qt decodes re-encoded as PNG. The same picture
// twice has the same name.

#include <QByteArray>
#include <QSize>
#include <QString>

class QTextDocument;
class QTextImageFormat;

namespace kalvex {

// More picture bytes than this are not kept: the picture is left out.
constexpr qsizetype kMaxPictureBytes = 32 << 20;

// One \pict group as it is read.
class TRtfPicture {
public:
    void AddHexDigit(char digit);
    void AddByte(char byte);
    qsizetype Room() const { return kMaxPictureBytes - FData.size(); }
    QByteArray Kind = "png";   // png, jpeg, emf, wmf, dib, or another \...blip
    int GoalWidth = 0, GoalHeight = 0;   // twips
    int ScaleX = 100, ScaleY = 100;      // percent
    // Adds the resource and returns the format that shows the picture, or
    // false when Qt cannot decode it (metafiles, broken data).
    bool AddTo(QTextDocument& document, QTextImageFormat& format) const;

private:
    QByteArray FData;
    int FNibble = -1;
    bool FTooLarge = false;
};

// An image of a document as the writer puts it into RTF.
struct TEncodedImage {
    QByteArray bytes;   // PNG or JPEG
    QByteArray blip;    // "pngblip" or "jpegblip"
    QSize size;         // pixels
};
// The image a QTextImageFormat names: its resource (QByteArray, QImage or
// QPixmap) or an image file of that name; empty bytes when there is none.
TEncodedImage EncodeDocumentImage(const QTextDocument& document, const QString& name);

}  // namespace kalvex
