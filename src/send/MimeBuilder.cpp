#include "send/MimeBuilder.h"

#include "config/KalvexError.h"
#include "mailinterface/EMail.h"
#include "send/PreparedBody.h"

#include <QFileInfo>
#include <QMimeDatabase>
#include <QCryptographicHash>
#include <QHash>
#include <QRegularExpression>
#include <QUuid>

#include <array>

namespace kalvex {

namespace {

constexpr int kMaxEncodedWord = 75;
constexpr int kMaxHeaderLine = 76;
constexpr int kFirstNameWord = 40;   // an encoded display name's first word leaves room on the line

bool isPlainHeaderText(const QString& text)
{
    for (QChar c : text)
        if (c.unicode() < 0x20 || c.unicode() > 0x7E)
            return false;
    return true;
}

QByteArray boundaryFor(int depth)
{
    return "=_kalvex_" + QUuid::createUuid().toByteArray(QUuid::Id128) + '_' + QByteArray::number(depth);
}

// Builds a header line by line, breaking before a blank where the next
// token would pass 76 characters.
class THeaderFolder {
public:
    explicit THeaderFolder(const char* name) : FOut(QByteArray(name) + ':'), FLineLength(FOut.size()) {}
    void Add(const QByteArray& token)
    {
        if (FLineLength + 1 + token.size() > kMaxHeaderLine && FLineLength > 1) {
            FOut += "\r\n";
            FLineLength = 0;
        }
        FOut += ' ' + token;
        FLineLength += 1 + static_cast<int>(token.size());
    }
    void AddAll(const QList<QByteArray>& tokens)
    {
        for (const QByteArray& t : tokens)
            Add(t);
    }
    QByteArray Take() const { return FOut + "\r\n"; }

private:
    QByteArray FOut;
    int FLineLength;
};

// Base64 words of whole UTF-8 characters; the first at most firstMax long.
QList<QByteArray> encodedWords(const QString& text, int firstMax)
{
    QList<QByteArray> words;
    QByteArray chunk;
    auto flush = [&] {
        if (!chunk.isEmpty())
            words << "=?UTF-8?B?" + chunk.toBase64() + "?=";
        chunk.clear();
    };
    auto maxBytes = [&] { return (std::max(words.isEmpty() ? firstMax : kMaxEncodedWord, 24) - 12) / 4 * 3; };
    for (qsizetype i = 0; i < text.size(); ++i) {
        QString unit(text.at(i));
        if (text.at(i).isHighSurrogate() && i + 1 < text.size())
            unit += text.at(++i);
        const QByteArray bytes = unit.toUtf8();
        if (!chunk.isEmpty() && chunk.size() + bytes.size() > maxBytes())
            flush();
        chunk += bytes;
    }
    flush();
    return words;
}

// Plain text goes as it is, cut at its blanks; anything else is encoded.
QList<QByteArray> unstructuredTokens(const QString& text, int firstMax)
{
    const QList<QByteArray> words = text.toLatin1().split(' ');
    const bool fits = std::all_of(words.begin(), words.end(), [](const QByteArray& w) { return w.size() < kMaxHeaderLine - 8; });
    return isPlainHeaderText(text) && fits ? words : encodedWords(text, firstMax);
}

QString headerAddress(const TMailbox& m)
{
    return m.LocalPartIsAscii() ? m.AceAddress() : m.Address();
}

// "Name <addr>" as tokens; a name that is not plain ASCII is encoded.
QList<QByteArray> mailboxTokens(const TMailbox& m)
{
    const QByteArray address = headerAddress(m).toUtf8();
    if (m.displayName.isEmpty())
        return {address};
    if (!isPlainHeaderText(m.displayName))
        return encodedWords(m.displayName, kFirstNameWord) << '<' + address + '>';
    return FormatDisplayName(m.displayName).toLatin1().split(' ') << '<' + address + '>';
}

QByteArray contentTypeLine(const TMimePart& part, const QByteArray& boundary)
{
    QByteArray line = "Content-Type: " + part.contentType.toLatin1();
    for (const QString& p : part.extraTypeParams)
        line += ";\r\n " + p.toUtf8();
    if (part.IsMultipart())
        line += ";\r\n boundary=\"" + boundary + '"';
    else if (part.contentType.startsWith(QLatin1String("text/")))
        line += "; charset=UTF-8";
    return line + "\r\n";
}

void appendBytes(std::vector<TMimeSegment>& out, const QByteArray& bytes)
{
    if (!out.empty() && out.back().base64File.isEmpty())
        out.back().bytes += bytes;
    else
        out.push_back({bytes, {}});
}

void assemblePart(const TMimePart& part, int depth, std::vector<TMimeSegment>& out)
{
    const QByteArray boundary = boundaryFor(depth);
    QByteArray head = contentTypeLine(part, boundary);
    if (!part.filePath.isEmpty()) {
        head += "Content-Transfer-Encoding: base64\r\nContent-Disposition: attachment;"
              + FileNameParameters(QFileInfo(part.filePath).fileName()) + "\r\n";
    } else if (!part.contentId.isEmpty()) {
        head += "Content-Transfer-Encoding: base64\r\nContent-ID: " + part.contentId.toLatin1()
              + "\r\nContent-Disposition: inline;" + FileNameParameters(part.inlineName) + "\r\n";
    } else if (!part.IsMultipart()) {
        head += "Content-Transfer-Encoding: quoted-printable\r\n";
    }
    appendBytes(out, head + "\r\n");
    if (!part.filePath.isEmpty()) {
        out.push_back({{}, part.filePath});
    } else if (!part.contentId.isEmpty()) {
        appendBytes(out, Base64Lines(part.data));
    } else if (!part.IsMultipart()) {
        appendBytes(out, part.encoded.isEmpty() ? EncodeQuotedPrintable(part.text) : part.encoded);
    } else {
        for (const auto& child : part.children) {
            appendBytes(out, "--" + boundary + "\r\n");
            assemblePart(*child, depth + 1, out);
            appendBytes(out, "\r\n");
        }
        appendBytes(out, "--" + boundary + "--\r\n");
    }
}

QString mimeTypeOf(const QString& path)
{
    const QString name = QMimeDatabase().mimeTypeForFile(path, QMimeDatabase::MatchExtension).name();
    return name.isEmpty() || name.contains(QLatin1Char('"')) ? QStringLiteral("application/octet-stream") : name;
}

QString domainOf(const TMailbox& from)
{
    return from.domain.isEmpty() ? QStringLiteral("kalvex.invalid") : from.AceAddress().section(QLatin1Char('@'), -1);
}

// Every entry may hold a list; the first bad piece refuses the mail.
std::vector<TMailbox> parseEntries(const QStringList& entries)
{
    std::vector<TMailbox> out;
    for (const QString& entry : NonEmptyTrimmed(entries)) {
        const TAddressList list = ParseAddressList(entry);
        if (!list.valid)
            throw EKalvex(AddressRefusalText(list.invalid));
        out.insert(out.end(), list.mailboxes.begin(), list.mailboxes.end());
    }
    return out;
}

TMailbox parseSender(const QString& from)
{
    const auto m = ParseMailbox(from.trimmed());
    if (!m)
        throw EKalvex(AddressRefusalText(from));
    return *m;
}

// src="data:image/png;base64,…" as the body export writes pictures.
const QRegularExpression& dataUriPattern()
{
    static const QRegularExpression re(QStringLiteral("src=\"data:(image/(?:png|jpeg));base64,([A-Za-z0-9+/=]+)\""));
    return re;
}

}  // namespace

// Each distinct picture becomes one image part beside the alternative;
// every reference to it becomes its cid: address.
QString TRelatedPictures::Relate(const QString& html)
{
    QString out;
    qsizetype from = 0;
    for (auto it = dataUriPattern().globalMatch(html); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        out += QStringView(html).mid(from, m.capturedStart(0) - from);
        out += QStringLiteral("src=\"cid:") + cidOf(m.captured(1), QByteArray::fromBase64(m.captured(2).toLatin1())) + QLatin1Char('"');
        from = m.capturedEnd(0);
    }
    if (from == 0)
        return html;
    out += QStringView(html).mid(from);
    return out;
}

QString TRelatedPictures::cidOf(const QString& type, const QByteArray& bytes)
{
    const QByteArray sha1 = QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex();
    QString& cid = FCids[sha1];
    if (cid.isEmpty()) {
        cid = QString::fromLatin1(sha1) + QStringLiteral("@kalvex");
        const bool jpeg = type == QLatin1String("image/jpeg");
        const QString name = QStringLiteral("bild%1.%2").arg(FCids.size()).arg(jpeg ? QStringLiteral("jpg") : QStringLiteral("png"));
        FPictures.push_back({type, bytes, QLatin1Char('<') + cid + QLatin1Char('>'), name});
    }
    return cid;
}

void TRelatedPictures::AddParts(TMimePart& related) const
{
    for (const TPicture& p : FPictures) {
        TMimePart& part = related.AddChild(p.type);
        part.data = p.data;
        part.contentId = p.contentId;
        part.inlineName = p.inlineName;
    }
}

TMimePart& TMimePart::AddChild(const QString& type)
{
    children.push_back(std::make_unique<TMimePart>());
    children.back()->contentType = type;
    return *children.back();
}

QString JoinedHtml(const QStringList& lines)
{
    QString html;
    qsizetype size = 0;
    for (const QString& line : lines)
        size += line.size() + 1;
    html.reserve(size);
    for (const QString& line : lines)
        html += QLatin1Char(' ') + line;
    return html;
}

QString NormalizeLineBreaks(const QString& text)
{
    QString out;
    out.reserve(text.size() + text.size() / 40);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('\r')) {
            out += QLatin1String("\r\n");
            if (i + 1 < text.size() && text.at(i + 1) == QLatin1Char('\n'))
                ++i;
        } else if (c == QLatin1Char('\n')) {
            out += QLatin1String("\r\n");
        } else {
            out += c;
        }
    }
    return out;
}

QByteArray EncodeHeaderWord(const QString& text, int firstLineUsed)
{
    if (isPlainHeaderText(text) && text.size() + firstLineUsed <= kMaxHeaderLine)
        return text.toLatin1();
    return encodedWords(text, kMaxHeaderLine - firstLineUsed).join("\r\n ");
}

QByteArray AddressHeader(const char* name, const std::vector<TMailbox>& mailboxes)
{
    THeaderFolder header(name);
    for (size_t i = 0; i < mailboxes.size(); ++i) {
        QList<QByteArray> tokens = mailboxTokens(mailboxes[i]);
        if (i + 1 < mailboxes.size())
            tokens.last() += ',';
        header.AddAll(tokens);
    }
    return header.Take();
}

qint64 Base64LinesSize(qint64 raw)
{
    return (raw + 2) / 3 * 4 + 2 * ((raw + 56) / 57);
}

qint64 EncodedMessageSize(const std::vector<TMimeSegment>& segments)
{
    qint64 size = 0;
    for (const TMimeSegment& s : segments)
        size += s.base64File.isEmpty() ? s.bytes.size() : Base64LinesSize(QFileInfo(s.base64File).size());
    return size;
}

QByteArray Base64Lines(const QByteArray& data)
{
    const QByteArray encoded = data.toBase64();
    QByteArray out;
    out.reserve(encoded.size() + encoded.size() / 38 + 4);
    for (qsizetype at = 0; at < encoded.size(); at += 76) {
        out.append(encoded.constData() + at, std::min<qsizetype>(76, encoded.size() - at));
        out.append("\r\n");
    }
    return out;
}

QByteArray FileNameParameters(const QString& fileName)
{
    if (isPlainHeaderText(fileName) && !fileName.contains(QLatin1Char('"')) && !fileName.contains(QLatin1Char('\\'))
        && fileName.size() < 60)
        return "\r\n filename=\"" + fileName.toLatin1() + '"';
    const QByteArray encoded = fileName.toUtf8().toPercentEncoding();
    QByteArray out;
    int index = 0;
    for (qsizetype pos = 0; pos < encoded.size(); ++index) {
        qsizetype len = std::min<qsizetype>(60, encoded.size() - pos);
        // Never split a %XX escape.
        if (pos + len < encoded.size() && encoded[pos + len - 1] == '%')
            len -= 1;
        else if (pos + len < encoded.size() && len >= 2 && encoded[pos + len - 2] == '%')
            len -= 2;
        out += "\r\n filename*" + QByteArray::number(index) + "*=" + (index == 0 ? "UTF-8''" : "")
             + encoded.mid(pos, len) + ';';
        pos += len;
    }
    out.chop(1);
    return out;
}

QByteArray FormatMailDate(const QDateTime& dt)
{
    static const char* days[] = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
    static const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const int offset = dt.offsetFromUtc() / 60;
    const QDate d = dt.date();
    return QByteArray(days[d.dayOfWeek() - 1]) + ", " + QByteArray::number(d.day()) + ' ' + months[d.month() - 1] + ' '
         + QByteArray::number(d.year()) + ' ' + dt.time().toString(QStringLiteral("HH:mm:ss")).toLatin1() + ' '
         + (offset < 0 ? '-' : '+') + QByteArray::number(std::abs(offset) / 60).rightJustified(2, '0')
         + QByteArray::number(std::abs(offset) % 60).rightJustified(2, '0');
}

TMimeMessage BuildMimeMessage(const TEMail& mail)
{
    TMimeMessage m;
    m.from = parseSender(mail.FVon);
    m.to = parseEntries(mail.FAn);
    m.cc = parseEntries(mail.FCc);
    m.bcc = parseEntries(mail.FBcc);
    m.subject = mail.FBetreff;
    m.date = QDateTime::currentDateTime();
    m.messageId = QStringLiteral("<%1@%2>").arg(QUuid::createUuid().toString(QUuid::WithoutBraces), domainOf(m.from));
    const QStringList attachments = NonEmptyTrimmed(mail.FAnhaenge);
    TMimePart* related = &m.root;
    if (attachments.isEmpty()) {
        m.root.contentType = QStringLiteral("multipart/related");
    } else {
        m.root.contentType = QStringLiteral("multipart/mixed");
        related = &m.root.AddChild(QStringLiteral("multipart/related"));
    }
    related->extraTypeParams << QStringLiteral("type=\"multipart/alternative\"");
    TMimePart& alternative = related->AddChild(QStringLiteral("multipart/alternative"));
    TMimePart& plainPart = alternative.AddChild(QStringLiteral("text/plain"));
    TMimePart& htmlPart = alternative.AddChild(QStringLiteral("text/html"));
    if (mail.FPreparedBody) {
        plainPart.encoded = mail.FPreparedBody->plain;
        htmlPart.encoded = mail.FPreparedBody->html;
        mail.FPreparedBody->pictures->AddParts(*related);
    } else {
        plainPart.text = mail.FBodyPlain;
        TRelatedPictures pictures;
        htmlPart.text = pictures.Relate(JoinedHtml(mail.FBodyHTML));
        pictures.AddParts(*related);
    }
    for (const QString& path : attachments) {
        TMimePart& file = m.root.AddChild(mimeTypeOf(path));
        file.filePath = path;
        file.extraTypeParams << QStringLiteral("name=\"%1\"").arg(QString::fromLatin1(
            EncodeHeaderWord(QFileInfo(path).fileName(), 10).replace("\r\n ", " ").replace('"', "'")));
    }
    return m;
}

std::vector<TMimeSegment> AssembleMessage(const TMimeMessage& message)
{
    QByteArray head = AddressHeader("From", {message.from});
    if (!message.to.empty())
        head += AddressHeader("To", message.to);
    if (!message.cc.empty())
        head += AddressHeader("Cc", message.cc);
    THeaderFolder subject("Subject");
    subject.AddAll(unstructuredTokens(message.subject, kMaxHeaderLine - 9));
    head += subject.Take();
    head += "Date: " + FormatMailDate(message.date) + "\r\n";
    head += "Message-ID: " + message.messageId.toLatin1() + "\r\n";
    head += "MIME-Version: 1.0\r\n";
    std::vector<TMimeSegment> out;
    appendBytes(out, head);
    assemblePart(message.root, 0, out);
    return out;
}

}  // namespace kalvex
