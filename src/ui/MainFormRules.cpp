#include "ui/MainFormRules.h"

#include "config/LanguageUnit.h"

namespace kalvex {

QString ShortenForDraftList(const QString& text)
{
    constexpr int limit = 100;
    if (text.size() <= limit)
        return text;
    return text.left(limit - 1) + text.right(1) + QStringLiteral(" ...");
}

QString FollowUpSubject(const QString& subject)
{
    const QString prefix = Tx(239, "Nachtrag zu: ");
    if (subject.startsWith(prefix))
        return subject;
    return prefix.trimmed() + QLatin1Char(' ') + subject;
}

QString OriginPrefix()
{
    return Tx(291, "Ursprung:") + QLatin1Char(' ');
}

QString StripOriginPrefix(const QString& file, const QString& prefix)
{
    return file.startsWith(prefix) ? file.mid(prefix.size()) : file;
}

QString FileMovedMessage(const QString& path)
{
    return Tx(284, "Die Datei") + QLatin1Char(' ') + path + QLatin1Char(' ') + Tx(290, "wurde verschoben oder gelöscht.");
}

}  // namespace kalvex
