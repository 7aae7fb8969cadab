#pragma once
// Quoted-printable (RFC 2045) for the text parts: CRLF lines of at most 76
// characters, blanks before a line end encoded. Besides whole texts, a
// text can be encoded in fragments once and joined many times: a personal
// circular encodes its template's stretches between the recipient fields
// once for the whole run.

#include <QByteArray>
#include <QString>

namespace kalvex {

QByteArray EncodeQuotedPrintable(const QString& text);            // ends with CRLF
QByteArray EncodeQuotedPrintableBytes(const QByteArray& utf8);    // the same over bytes, line ends normalised

// A stretch of text in quoted-printable, encoded as if it began a line.
// It ends without a line end and never with a bare blank, so it can be
// followed by anything.
struct TQpFragment {
    QByteArray bytes;
    int firstLine = 0;     // characters before its first line end (all, when it has none)
    int lastLine = 0;      // characters after its last line end
    bool hasLineEnd = false;
};
TQpFragment EncodeQuotedPrintableFragment(const QByteArray& utf8);

// Joins fragments into one quoted-printable text: a soft line break goes
// between two of them where their lines together would pass 76.
class TQpJoiner {
public:
    explicit TQpJoiner(qsizetype expectedSize);
    void Append(const TQpFragment& fragment);
    QByteArray Take();     // the text, ended with CRLF as EncodeQuotedPrintable ends it

private:
    QByteArray FOut;
    int FColumn = 0;
};

}  // namespace kalvex
