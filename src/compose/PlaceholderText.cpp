#include "compose/PlaceholderText.h"

#include "config/TextDecoding.h"

namespace kalvex {

namespace {

// A control word at rtf[i] (after the backslash): its name and number;
// i ends after the delimiting blank, if any.
QString controlWord(QStringView rtf, qsizetype& i, int& number)
{
    const qsizetype start = i;
    while (i < rtf.size() && rtf[i].isLetter())
        ++i;
    const QString word = rtf.mid(start, i - start).toString();
    const qsizetype digits = i;
    if (i < rtf.size() && rtf[i] == QLatin1Char('-'))
        ++i;
    while (i < rtf.size() && rtf[i].isDigit())
        ++i;
    number = rtf.mid(digits, i - digits).toInt();
    if (i < rtf.size() && rtf[i] == QLatin1Char(' '))
        ++i;
    return word;
}

// One escape after a backslash at rtf[i - 1]; i ends after it.
void rtfEscape(QStringView rtf, qsizetype& i, QString& out)
{
    const QChar c = rtf[i];
    if (c == QLatin1Char('\'')) {
        out += FromWindows1252(QByteArray(1, static_cast<char>(rtf.mid(i + 1, 2).toString().toInt(nullptr, 16))));
        i += 3;
    } else if (c.isLetter()) {
        int number = 0;
        const QString word = controlWord(rtf, i, number);
        if (word == QLatin1String("u")) {
            out += QChar(static_cast<char16_t>(number < 0 ? number + 65536 : number));
            if (i < rtf.size() && rtf[i] != QLatin1Char('\\') && rtf[i] != QLatin1Char('{') && rtf[i] != QLatin1Char('}'))
                ++i;   // the stand-in for readers without Unicode
        }
    } else {
        out += c;   // \\ \{ \} and the like
        ++i;
    }
}

}  // namespace

TShownText ShownRtfText(QStringView rtf)
{
    TShownText shown;
    int depth = 0;
    for (qsizetype i = 0; i < rtf.size();) {
        const QChar c = rtf[i++];
        if (c == QLatin1Char('{'))
            ++depth;
        else if (c == QLatin1Char('}'))
            --depth;
        else if (c == QLatin1Char('\\') && i < rtf.size())
            rtfEscape(rtf, i, shown.text);
        else if (c != QLatin1Char('\r') && c != QLatin1Char('\n'))
            shown.text += c;
    }
    shown.balanced = depth == 0;
    return shown;
}

TShownText ShownHtmlText(QStringView html)
{
    TShownText shown;
    int depth = 0;
    for (qsizetype i = 0; i < html.size();) {
        if (html[i] == QLatin1Char('<')) {
            const qsizetype end = html.indexOf(QLatin1Char('>'), i);
            if (end < 0)
                return {shown.text, false};
            const QStringView tag = html.mid(i + 1, end - i - 1);
            const bool isVoid = tag.startsWith(QLatin1String("br")) || tag.startsWith(QLatin1String("img")) || tag.endsWith(QLatin1Char('/'));
            depth += tag.startsWith(QLatin1Char('/')) ? -1 : isVoid ? 0 : 1;
            i = end + 1;
        } else if (html[i] == QLatin1Char('&')) {
            const qsizetype end = html.indexOf(QLatin1Char(';'), i);
            const QStringView entity = end < 0 ? QStringView() : html.mid(i + 1, end - i - 1);
            const QChar c = entity == QLatin1String("lt") ? QChar('<') : entity == QLatin1String("gt") ? QChar('>')
                          : entity == QLatin1String("amp") ? QChar('&') : entity == QLatin1String("quot") ? QChar('"')
                          : entity == QLatin1String("nbsp") ? QChar(' ') : QChar('&');
            shown.text += c;
            i = c == QLatin1Char('&') && entity != QLatin1String("amp") ? i + 1 : end + 1;
        } else {
            shown.text += html[i++];
        }
    }
    shown.balanced = depth == 0;
    return shown;
}

}  // namespace kalvex
