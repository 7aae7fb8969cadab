#include "config/ControlCharacters.h"

#include <algorithm>

namespace kalvex {

namespace {

QString visible(QChar c)
{
    if (c.unicode() < 0x20)
        return QStringLiteral("^") + QChar(c.unicode() + 0x40);
    if (c.unicode() == 0x7F)
        return QStringLiteral("^?");
    return QString(QChar(0xFFFD));
}

}  // namespace

bool IsControlCharacter(QChar c)
{
    const char16_t u = c.unicode();
    return (u < 0x20 && u != u'\t') || (u >= 0x7F && u <= 0x9F);
}

bool HasControlCharacter(const QString& text)
{
    return std::any_of(text.begin(), text.end(), IsControlCharacter);
}

QString VisibleControlCharacters(const QString& text, bool keepLineBreaks)
{
    const QString source = keepLineBreaks ? QString(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n")) : text;
    const auto shownAsIs = [keepLineBreaks](QChar c) {
        return !IsControlCharacter(c) || (keepLineBreaks && c == QLatin1Char('\n'));
    };
    if (std::all_of(source.begin(), source.end(), shownAsIs))   // the common case: nothing to copy
        return source;
    QString out;
    out.reserve(source.size());
    for (const QChar c : source) {
        if (shownAsIs(c))
            out += c;
        else
            out += visible(c);
    }
    return out;
}

}  // namespace kalvex
