#pragma once
// Cuts the bytes a server sends into SMTP replies (RFC 5321 4.2): lines
// "NNN-text" continue a reply, "NNN text" or "NNN" end it. A server may
// send anything, so a reply is capped in lines and bytes; beyond that the
// parser stops for good.

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace kalvex {

struct TSmtpReply {
    int code = 0;
    QStringList lines;   // the texts after the code, one per line

    // "code text text ...": one line without control characters, cut to a
    // length that fits a message box.
    QString Sanitized() const;
};

class TSmtpReplyParser {
public:
    static constexpr int kMaxLines = 500;
    static constexpr qsizetype kMaxBytes = 1 << 20;

    enum class Result { NeedMore, Reply, Malformed, TooLarge };

    void Feed(const QByteArray& bytes) { FBuffer += bytes; }
    // The next complete reply, if there is one; Malformed and TooLarge are
    // final, as the stream cannot be trusted after them.
    Result Next(TSmtpReply& reply);
    // The line that made the parser give up (for Malformed).
    const QByteArray& BadLine() const { return FBadLine; }

private:
    Result takeLine(const QByteArray& line, TSmtpReply& reply);
    Result stop(Result why);

    QByteArray FBuffer;
    qsizetype FPos = 0;
    TSmtpReply FPending;
    qsizetype FPendingBytes = 0;
    QByteArray FBadLine;
    Result FStopped = Result::NeedMore;
};

// Drops control and format characters, so a server's text cannot forge
// lines or reorder what the user reads.
QString SanitizedServerText(const QString& text, qsizetype maxLength = 300);

}  // namespace kalvex
