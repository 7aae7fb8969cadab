#pragma once
// The module's own small address book: contacts in groups, stored in
// KVXAdresse and KVXGruppe. A contact may carry the number of the host
// address it was taken from.

#include <map>
#include "compose/RecipientFields.h"

#include <QString>
#include <memory>

namespace kalvex {

class TQMBDatabaseHandler;

class TKontakt {
public:
    // Inserts when the ID is below 1 (the new row's ID is taken), updates
    // otherwise; another group ID moves the contact. Failures are logged
    // ("TAdresse.Save: ...") and not passed on: a new contact then keeps its
    // ID below 1.
    void Save(TQMBDatabaseHandler& handler, int32_t gruppenID);

    int32_t ID = -1;
    int32_t AdressDB_ID = 0;
    TAnrede Anrede = TAnrede::anKeine;   // column Anrede
    QString Vorname, Nachname, Firma, Zusatz, EMail, Titel, Branche, Strasse, HausNr, PLZ, Ort, Telefon, Fax, Funk,
        Beruf;
};

// What a personal circular's recipient fields take from the contact.
TRecipientPerson PersonOf(const TKontakt& kontakt);

// A group owns its contacts, by contact ID.
class TGruppe {
public:
    int32_t ID = -1;
    QString Gruppenname;
    std::map<int32_t, std::unique_ptr<TKontakt>> Kontakte;
};

using TGruppenListe = std::map<int32_t, std::unique_ptr<TGruppe>>;

// The data module's group operations.
TGruppenListe LoadGruppenListeFromDB(TQMBDatabaseHandler& handler);
int32_t NeueGruppeAnlegen(TQMBDatabaseHandler& handler, const QString& name);
void GruppeUmbenennen(TQMBDatabaseHandler& handler, int32_t gruppe, const QString& name);
// Returns false (after logging) when the group could not be deleted.
bool GruppeLoeschen(TQMBDatabaseHandler& handler, int32_t gruppe);
void DeleteAdresse(TQMBDatabaseHandler& handler, int32_t kontakt);

}  // namespace kalvex
