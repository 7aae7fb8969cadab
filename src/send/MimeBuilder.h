#pragma once
// A mail as a tree of MIME parts, assembled to bytes in one place. Text
// parts are UTF-8 quoted-printable; attachments are base64 and stay files
// until they are sent: the assembled message is a list of segments, either
// bytes or "this file, base64-encoded", so that a large attachment is read
// in chunks while it goes out and never held in memory whole.

#include "mailinterface/MailAddress.h"
#include "send/QuotedPrintable.h"

#include <QByteArray>
#include <QHash>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <memory>
#include <vector>

namespace kalvex {

class TEMail;

struct TMimeSegment {
    QByteArray bytes;     // literal bytes (CRLF line ends), or
    QString base64File;   // a file to send base64-encoded, 76-character lines
};

class TMimePart {
public:
    QString contentType;                    // "text/plain", "multipart/alternative", ...
    QStringList extraTypeParams;            // '; type="..."' and the like, already encoded
    QString text;                           // text parts
    QByteArray encoded;                     // text parts already quoted-printable (then text is unused)
    QString filePath;                       // attachment parts
    QByteArray data;                        // inline parts (pictures): the bytes, sent base64
    QString contentId;                      // inline parts: "<sha1@kalvex>"
    QString inlineName;                     // inline parts: the file name shown
    std::vector<std::unique_ptr<TMimePart>> children;

    bool IsMultipart() const { return contentType.startsWith(QLatin1String("multipart/")); }
    TMimePart& AddChild(const QString& type);
};

// The pictures an HTML text carries as data: URIs, each distinct one
// becoming one inline part with a cid: address.
class TRelatedPictures {
public:
    // html with every picture's data: URI replaced by its cid: address.
    QString Relate(const QString& html);
    // One image part per distinct picture, in order of first use.
    void AddParts(TMimePart& related) const;

private:
    struct TPicture {
        QString type;
        QByteArray data;
        QString contentId, inlineName;
    };
    QString cidOf(const QString& type, const QByteArray& bytes);

    QHash<QByteArray, QString> FCids;   // sha1 of the bytes -> content id
    std::vector<TPicture> FPictures;
};

struct TMimeMessage {
    TMailbox from;
    std::vector<TMailbox> to, cc, bcc;
    QString subject;
    QDateTime date;
    QString messageId;
    TMimePart root;
};

// The message tree of a mail record: multipart/related > multipart/alternative
// > text/plain + text/html, then one image part per distinct picture of the
// HTML (its data: URIs become cid: references); attachments beside it under
// multipart/mixed.
// Each address entry may be a list; an entry that does not parse raises
// EKalvex with "Die Adresse … scheint fehlerhaft zu sein."
TMimeMessage BuildMimeMessage(const TEMail& mail);
// Headers and body as segments, ready for DATA (before dot-stuffing).
std::vector<TMimeSegment> AssembleMessage(const TMimeMessage& message);
// The octets of the assembled message as SMTP's SIZE counts them (line
// ends included, no dot-stuffing), attachments in their base64 form.
qint64 EncodedMessageSize(const std::vector<TMimeSegment>& segments);
// Bytes of raw data as base64 in 76-character lines with CR LF.
qint64 Base64LinesSize(qint64 raw);

// Encoders, exposed for their tests.
// RFC 2047 encoded words, folded; the first line already holds
// firstLineUsed characters, no line exceeds 76.
QByteArray EncodeHeaderWord(const QString& text, int firstLineUsed);
// An address header: display names kept (encoded where needed), the
// domain in IDNA form unless the local part needs SMTPUTF8 anyway.
QByteArray AddressHeader(const char* name, const std::vector<TMailbox>& mailboxes);
// Bytes as base64 in lines of 76 characters, each ended by CR LF.
QByteArray Base64Lines(const QByteArray& data);
QByteArray FileNameParameters(const QString& fileName);                // RFC 2231 filename*
QByteArray FormatMailDate(const QDateTime& dt);                        // RFC 5322
// The HTML lines of a mail record as the one text that is sent.
QString JoinedHtml(const QStringList& lines);
// Normalises every CR, LF and CR LF to CR LF.
QString NormalizeLineBreaks(const QString& text);

}  // namespace kalvex
