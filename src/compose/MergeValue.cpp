#include "compose/MergeValue.h"

namespace kalvex {

namespace {

void appendRtfChar(QString& out, QChar c)
{
    if (c == QLatin1Char('\\') || c == QLatin1Char('{') || c == QLatin1Char('}')) {
        out += QLatin1Char('\\');
        out += c;
    } else if (c.unicode() >= 0x80) {
        // \uN takes a signed 16-bit number; '?' is what readers without Unicode show.
        out += QStringLiteral("\\u%1?").arg(static_cast<qint16>(c.unicode()));
    } else if (c == QLatin1Char('\t')) {
        out += QLatin1String("\\tab ");
    } else {
        out += c;
    }
}

QString rtfValue(const QString& value)
{
    QString out;
    out.reserve(value.size() + 8);
    for (qsizetype i = 0; i < value.size(); ++i) {
        const QChar c = value.at(i);
        if (c == QLatin1Char('\r') || c == QLatin1Char('\n')) {
            if (c == QLatin1Char('\r') && i + 1 < value.size() && value.at(i + 1) == QLatin1Char('\n'))
                ++i;
            out += QLatin1String("\\line ");
        } else {
            appendRtfChar(out, c);
        }
    }
    return out;
}

QString htmlValue(const QString& value)
{
    QString out = value.toHtmlEscaped();
    out.replace(QLatin1String("\r\n"), QLatin1String("<br>"));
    out.replace(QLatin1Char('\r'), QLatin1String("<br>"));
    out.replace(QLatin1Char('\n'), QLatin1String("<br>"));
    return out;
}

}  // namespace

QString EncodeMergeValue(const QString& value, TMergeTarget target)
{
    switch (target) {
    case TMergeTarget::mtRtf: return rtfValue(value);
    case TMergeTarget::mtHtml: return htmlValue(value);
    case TMergeTarget::mtPlain: break;
    }
    return value;
}

}  // namespace kalvex
