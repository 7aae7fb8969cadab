#include "mailinterface/MailAddress.h"

#include "config/LanguageUnit.h"

#include <QStringList>
#include <QUrl>

#include <string>
#include <string_view>

namespace kalvex {

namespace {

constexpr qsizetype kMaxLocalOctets = 64;     // RFC 5321 4.5.3.1.1
constexpr qsizetype kMaxAddressOctets = 254;  // what fits into a forward path
constexpr qsizetype kMaxDomainOctets = 253;
constexpr qsizetype kMaxLabelOctets = 63;

bool isAsciiAtext(char32_t c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
        || std::u32string_view(U"!#$%&'*+-/=?^_`{|}~").find(c) != std::u32string_view::npos;
}

// Non-ASCII characters that may stand in an address: printable, no blank,
// no format character (a right-to-left override would disguise the address).
bool isWideText(char32_t c)
{
    return c >= 0x80 && QChar::isPrint(c) && QChar::category(c) != QChar::Separator_Space;
}

bool isAtext(char32_t c) { return isAsciiAtext(c) || isWideText(c); }
bool isPhraseChar(char32_t c) { return isAtext(c) || c == '.'; }   // "Dr. Anna Müller"
bool isBlank(char32_t c) { return c == ' ' || c == '\t'; }
// Inside quotes: printable ASCII and blank (as SMTP's quoted string has it), wide text.
bool isQuotedChar(char32_t c) { return (c >= 0x20 && c <= 0x7E) || (c >= 0x80 && QChar::isPrint(c)); }
bool isDtext(char32_t c) { return c >= 33 && c <= 126 && c != '[' && c != ']' && c != '\\'; }
bool isLdh(QChar c) { return c.isDigit() || c == QLatin1Char('-') || (c.unicode() < 0x80 && c.isLetter()); }

bool isAscii(const QString& text)
{
    for (QChar c : text)
        if (c.unicode() >= 0x80)
            return false;
    return true;
}

// A cursor over the code points of one entry.
class TScanner {
public:
    explicit TScanner(const QString& text)
    {
        for (char32_t c : text.toUcs4())
            FText += c;
    }
    bool AtEnd() const { return FPos >= FText.size(); }
    char32_t Peek() const { return AtEnd() ? 0 : FText[FPos]; }
    size_t Pos() const { return FPos; }
    void Reset(size_t pos) { FPos = pos; }
    char32_t Next() { return AtEnd() ? 0 : FText[FPos++]; }
    bool Take(char32_t c)
    {
        if (AtEnd() || FText[FPos] != c)
            return false;
        ++FPos;
        return true;
    }
    void SkipBlanks()
    {
        while (!AtEnd() && isBlank(FText[FPos]))
            ++FPos;
    }
    QString Run(bool (*accept)(char32_t))
    {
        const size_t start = FPos;
        while (!AtEnd() && accept(FText[FPos]))
            ++FPos;
        return QString::fromUcs4(FText.data() + start, static_cast<qsizetype>(FPos - start));
    }

private:
    std::u32string FText;
    size_t FPos = 0;
};

// atext runs joined by single dots: no dot first, last or doubled.
std::optional<QString> dotAtom(TScanner& s)
{
    QString out = s.Run(isAtext);
    if (out.isEmpty())
        return std::nullopt;
    while (s.Take('.')) {
        const QString atom = s.Run(isAtext);
        if (atom.isEmpty())
            return std::nullopt;
        out += QLatin1Char('.') + atom;
    }
    return out;
}

// A quoted string; raw receives it as written, the result is its content.
std::optional<QString> quotedString(TScanner& s, QString& raw)
{
    if (!s.Take('"'))
        return std::nullopt;
    QString content;
    raw = QStringLiteral("\"");
    while (!s.AtEnd()) {
        char32_t c = s.Next();
        if (c == '"') {
            raw += QLatin1Char('"');
            return content;
        }
        if (c == '\\') {
            raw += QLatin1Char('\\');
            if (s.AtEnd())
                return std::nullopt;
            c = s.Next();
        }
        if (!isQuotedChar(c))
            return std::nullopt;
        content += QString::fromUcs4(&c, 1);
        raw += QString::fromUcs4(&c, 1);
    }
    return std::nullopt;
}

// Words (atoms, with dots, or quoted strings) joined by one blank; may be empty.
std::optional<QString> phrase(TScanner& s)
{
    QStringList words;
    for (;;) {
        s.SkipBlanks();
        if (s.Peek() == '"') {
            QString raw;
            const auto word = quotedString(s, raw);
            if (!word)
                return std::nullopt;
            words << *word;
            continue;
        }
        const QString word = s.Run(isPhraseChar);
        if (word.isEmpty())
            return words.join(QLatin1Char(' '));
        words << word;
    }
}

std::optional<QString> localPart(TScanner& s)
{
    if (s.Peek() != '"')
        return dotAtom(s);
    QString raw;
    if (!quotedString(s, raw))
        return std::nullopt;
    return raw;
}

bool isIpv4(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char('.'));
    if (parts.size() != 4)
        return false;
    for (const QString& p : parts) {
        bool ok = false;
        if (p.isEmpty() || p.size() > 3 || p.toInt(&ok) > 255 || !ok || !p.at(0).isDigit())
            return false;
    }
    return true;
}

// "[192.0.2.1]" or "[IPv6:...]" (any tag followed by dtext).
bool isAddressLiteral(const QString& inner)
{
    if (isIpv4(inner))
        return true;
    const qsizetype colon = inner.indexOf(QLatin1Char(':'));
    if (colon <= 0 || colon + 1 >= inner.size())
        return false;
    for (QChar c : inner.left(colon))
        if (!isLdh(c))
            return false;
    return true;
}

std::optional<QString> domainLiteral(TScanner& s)
{
    if (!s.Take('['))
        return std::nullopt;
    const QString inner = s.Run(isDtext);
    if (!s.Take(']') || !isAddressLiteral(inner))
        return std::nullopt;
    return QLatin1Char('[') + inner + QLatin1Char(']');
}

// Letters, digits and hyphens in labels of 1 to 63 characters, no hyphen
// at either end; international labels are judged in their IDNA form.
bool isHostName(const QString& domain)
{
    const QString ace = isAscii(domain) ? domain : QUrl::toAce(domain);
    if (ace.isEmpty() || ace.size() > kMaxDomainOctets)
        return false;
    for (const QString& label : ace.split(QLatin1Char('.'))) {
        if (label.isEmpty() || label.size() > kMaxLabelOctets || label.startsWith(QLatin1Char('-'))
            || label.endsWith(QLatin1Char('-')))
            return false;
        for (QChar c : label)
            if (!isLdh(c))
                return false;
    }
    return true;
}

std::optional<QString> domain(TScanner& s)
{
    if (s.Peek() == '[')
        return domainLiteral(s);
    const auto name = dotAtom(s);
    if (!name || !isHostName(*name))
        return std::nullopt;
    return name;
}

std::optional<TMailbox> addrSpec(TScanner& s)
{
    const auto local = localPart(s);
    if (!local || !s.Take('@'))
        return std::nullopt;
    const auto host = domain(s);
    if (!host)
        return std::nullopt;
    TMailbox m{QString(), *local, *host};
    if (local->toUtf8().size() > kMaxLocalOctets || m.Address().toUtf8().size() > kMaxAddressOctets)
        return std::nullopt;
    return m;
}

// [phrase] "<" addr-spec ">"
std::optional<TMailbox> nameAddr(TScanner& s)
{
    const auto name = phrase(s);
    s.SkipBlanks();
    if (!name || !s.Take('<'))
        return std::nullopt;
    auto m = addrSpec(s);
    if (!m || !s.Take('>'))
        return std::nullopt;
    m->displayName = *name;
    return m;
}

std::optional<TMailbox> mailbox(TScanner& s)
{
    s.SkipBlanks();
    const size_t start = s.Pos();
    if (auto bare = addrSpec(s)) {
        s.SkipBlanks();
        if (s.AtEnd())
            return bare;
    }
    s.Reset(start);
    auto named = nameAddr(s);
    s.SkipBlanks();
    if (!named || !s.AtEnd())
        return std::nullopt;
    return named;
}

QString trimBlanks(const QString& text)
{
    qsizetype from = 0, to = text.size();
    while (from < to && isBlank(text.at(from).unicode()))
        ++from;
    while (to > from && isBlank(text.at(to - 1).unicode()))
        --to;
    return text.mid(from, to - from);
}

// The entries of a list: cut at "," and ";" outside quotes and "<...>".
QStringList splitEntries(const QString& text)
{
    QStringList entries;
    QString current;
    bool quoted = false, escaped = false;
    int angle = 0;
    for (QChar c : text) {
        if (!quoted && angle == 0 && (c == QLatin1Char(',') || c == QLatin1Char(';'))) {
            entries << current;
            current.clear();
            continue;
        }
        current += c;
        if (escaped)
            escaped = false;
        else if (quoted && c == QLatin1Char('\\'))
            escaped = true;
        else if (c == QLatin1Char('"'))
            quoted = !quoted;
        else if (!quoted && c == QLatin1Char('<'))
            ++angle;
        else if (!quoted && c == QLatin1Char('>') && angle > 0)
            --angle;
    }
    entries << current;
    return entries;
}

bool needsQuotes(const QString& name)
{
    if (name != trimBlanks(name) || name.contains(QLatin1String("  ")))
        return true;
    for (char32_t c : name.toUcs4())
        if (!isAtext(c) && c != ' ')
            return true;
    return false;
}

}  // namespace

QString TMailbox::Address() const
{
    return localPart + QLatin1Char('@') + domain;
}

bool TMailbox::LocalPartIsAscii() const
{
    return isAscii(localPart);
}

bool TMailbox::IsAscii() const
{
    return isAscii(localPart) && isAscii(domain);
}

QString TMailbox::AceAddress() const
{
    return localPart + QLatin1Char('@') + (isAscii(domain) ? domain : QUrl::toAce(domain));
}

QString TMailbox::ToString() const
{
    if (displayName.isEmpty())
        return Address();
    return FormatDisplayName(displayName) + QLatin1String(" <") + Address() + QLatin1Char('>');
}

QString FormatDisplayName(const QString& name)
{
    if (!needsQuotes(name))
        return name;
    QString escaped = name;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('"'), QLatin1String("\\\""));
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

std::optional<TMailbox> ParseMailbox(const QString& text)
{
    if (!text.isValidUtf16())
        return std::nullopt;
    TScanner s(text);
    return mailbox(s);
}

TAddressList ParseAddressList(const QString& text)
{
    TAddressList list;
    for (const QString& raw : splitEntries(text)) {
        const QString entry = trimBlanks(raw);
        if (entry.isEmpty())
            continue;
        const auto m = ParseMailbox(entry);
        if (!m) {
            list.valid = false;
            list.invalid = entry;
            return list;
        }
        list.mailboxes.push_back(*m);
    }
    return list;
}

QStringList SplitAddressList(const QString& text)
{
    return splitEntries(text);
}

QString AddressRefusalText(const QString& address)
{
    return Tx(1016, "Die Adresse ") + address + Tx(1017, " scheint fehlerhaft zu sein.");
}

bool IsValidEMailAddress(const QString& address)
{
    const auto m = ParseMailbox(address);
    if (!m || m->Address() != address || m->domain.startsWith(QLatin1Char('[')))
        return false;
    const qsizetype dot = m->domain.lastIndexOf(QLatin1Char('.'));
    return dot > 0 && m->domain.size() - dot - 1 >= 2;
}

}  // namespace kalvex
