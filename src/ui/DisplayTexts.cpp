#include "ui/DisplayTexts.h"

#include "config/LanguageUnit.h"
#include "mailinterface/EMail.h"

namespace kalvex {

QString KindCaption(TEmpfaengerTyp kind)
{
    switch (kind) {
    case TEmpfaengerTyp::elCc: return QStringLiteral("Cc");
    case TEmpfaengerTyp::elBcc: return QStringLiteral("Bcc");
    default: return Tx(2200, "An");
    }
}

QString SentByCaption(const QString& stored)
{
    if (stored == MailSenderText(TMailSender::msStandardClient))
        return Tx(4505, "Standard-E-Mail-Client");
    if (stored == MailSenderText(TMailSender::msUndefined))
        return Tx(4506, "undefiniert");
    if (stored == QLatin1String("Verbindungstest"))
        return Tx(1858, "Verbindungstest");
    return stored;
}

QString StatusCaption(TMailStatus status)
{
    switch (status) {
    case TMailStatus::stGesendet: return Tx(2304, "gesendet");
    case TMailStatus::stEntwurf: return Tx(4512, "Entwurf");
    case TMailStatus::stUndefined: break;
    }
    return Tx(4506, "undefiniert");
}

}  // namespace kalvex
