#include "mailinterface/RecipientKey.h"

#include "mailinterface/MailAddress.h"

#include <QUrl>

namespace kalvex {

namespace {

// "xn--bcher-kva.de" and "bücher.de" are one domain.
QString unicodeDomain(const QString& domain)
{
    if (!domain.contains(QLatin1String("xn--"), Qt::CaseInsensitive))
        return domain;
    const QString decoded = QUrl::fromAce(domain.toLatin1());
    return decoded.isEmpty() ? domain : decoded;
}

}  // namespace

QString RecipientKey(const QString& entry)
{
    const std::optional<TMailbox> box = ParseMailbox(entry);
    if (!box)
        return entry.trimmed().toCaseFolded();
    return box->localPart.toCaseFolded() + QLatin1Char('@') + unicodeDomain(box->domain).toCaseFolded();
}

}  // namespace kalvex
