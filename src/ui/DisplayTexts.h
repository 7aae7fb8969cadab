#pragma once
// Stored values as the windows show them: the store keeps the German words
// ("An", "Standard-E-Mail-Client"), the windows show them in the interface
// language.

#include "mailinterface/EMail.h"
#include "mailinterface/Empfaenger.h"

#include <QString>

namespace kalvex {

// "An" / "To", "Cc", "Bcc".
QString KindCaption(TEmpfaengerTyp kind);
// A stored "Gesendet durch" value in the interface language; unknown
// values as stored.
QString SentByCaption(const QString& stored);
// A mail's status ("gesendet", "Entwurf") in the interface language.
QString StatusCaption(TMailStatus status);

}  // namespace kalvex
