#pragma once
// The 8-bit encodings of RTF text: raw bytes and \'hh escapes are in the
// code page of the current font's \fcharset, or the document's \ansicpg
// when the font names none.

#include <QHash>
#include <QString>
#include <QStringDecoder>
#include <memory>

namespace kalvex {

constexpr int kCodePageSymbol = -2;   // the Symbol font's own encoding

// The code page of a font character set; -1 when the set says "the
// document's" (DEFAULT_CHARSET and unknown sets).
int CharsetCodePage(int charset);

// Decodes bytes one at a time; a lead byte of a double-byte code page
// (Shift-JIS, GBK, Big5, Korean) waits for its trail byte.
class TRtfByteDecoder {
public:
    QString Decode(int codePage, unsigned char byte);
    // A lead byte waits: the next byte, also a plain ASCII one, trails it.
    bool LeadPending() const { return FLead >= 0; }

private:
    QStringDecoder* decoderFor(int codePage);
    QHash<int, std::shared_ptr<QStringDecoder>> FDecoders;   // owned; an invalid one marks an unknown page
    int FLead = -1;
};

QChar Cp1252Char(unsigned char byte);

}  // namespace kalvex
