#include "send/SmtpReply.h"

#include <cctype>

namespace kalvex {

namespace {

// Three digits, the first 2 to 5; then nothing, a blank or a hyphen.
int replyCode(const QByteArray& line)
{
    if (line.size() < 3 || line[0] < '2' || line[0] > '5' || !isdigit(static_cast<unsigned char>(line[1]))
        || !isdigit(static_cast<unsigned char>(line[2])))
        return 0;
    if (line.size() > 3 && line[3] != ' ' && line[3] != '-')
        return 0;
    return (line[0] - '0') * 100 + (line[1] - '0') * 10 + (line[2] - '0');
}

}  // namespace

QString SanitizedServerText(const QString& text, qsizetype maxLength)
{
    QString out;
    for (QChar c : text) {
        if (out.size() >= maxLength)
            break;
        const auto category = c.category();
        if (category == QChar::Other_Control || category == QChar::Other_Format || category == QChar::Separator_Line
            || category == QChar::Separator_Paragraph)
            continue;
        out += c;
    }
    return out.simplified();
}

QString TSmtpReply::Sanitized() const
{
    return SanitizedServerText(QString::number(code) + QLatin1Char(' ') + lines.join(QLatin1Char(' ')));
}

TSmtpReplyParser::Result TSmtpReplyParser::stop(Result why)
{
    FStopped = why;
    FBuffer.clear();
    FPos = 0;
    return why;
}

TSmtpReplyParser::Result TSmtpReplyParser::Next(TSmtpReply& reply)
{
    if (FStopped != Result::NeedMore)
        return FStopped;
    for (;;) {
        const qsizetype eol = FBuffer.indexOf('\n', FPos);
        if (eol < 0)
            break;
        QByteArray line = FBuffer.mid(FPos, eol - FPos);
        FPos = eol + 1;
        if (line.endsWith('\r'))
            line.chop(1);
        if (const Result r = takeLine(line, reply); r != Result::NeedMore)
            return r;
    }
    FBuffer.remove(0, FPos);
    FPos = 0;
    // An unfinished line counts towards the reply it belongs to.
    if (FPendingBytes + FBuffer.size() > kMaxBytes)
        return stop(Result::TooLarge);
    return Result::NeedMore;
}

TSmtpReplyParser::Result TSmtpReplyParser::takeLine(const QByteArray& line, TSmtpReply& reply)
{
    const int code = replyCode(line);
    if (code == 0) {
        FBadLine = line.left(200);
        return stop(Result::Malformed);
    }
    FPending.code = code;
    FPending.lines << QString::fromUtf8(line.mid(4));
    FPendingBytes += line.size() + 2;
    if (FPending.lines.size() > kMaxLines || FPendingBytes > kMaxBytes)
        return stop(Result::TooLarge);
    if (line.size() > 3 && line[3] == '-')
        return Result::NeedMore;
    reply = std::move(FPending);
    FPending = TSmtpReply();
    FPendingBytes = 0;
    return Result::Reply;
}

}  // namespace kalvex
