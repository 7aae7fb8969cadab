#pragma once
// Recipients handed over by the host (read only: the module never writes
// this list back, SaveToStream exists for hosts and tests).

#include "mailinterface/ObjectList.h"
#include "mailinterface/StreamIO.h"

#include <QString>
#include <QUuid>

namespace kalvex {

enum class TEmpfaengerTyp : int32_t { elAn = 0, elCc = 1, elBcc = 2 };

// "An", "Cc", "Bcc": the texts of the recipient list column.
QString RecipientKindText(TEmpfaengerTyp kind);
// The position of a kind text in that list; -1 for any other text.
int RecipientKindIndex(const QString& text);

class TEmpfaenger2 {
public:
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    TEmpfaengerTyp FEmpfaengerTyp = TEmpfaengerTyp::elAn;
    QString FEMailAdresse;
    QString FName;
    QString FTabelle;         // table of the host address database
    QString FFeldnameGUID;    // its key column
    QString FFeldnameEMail;   // its e-mail column
    QUuid FGUID;              // the address record
};

class TEmpfaengerListe : public TObjectList<TEmpfaenger2> {
public:
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);
};

}  // namespace kalvex
