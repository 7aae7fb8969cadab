#pragma once
// The user's own e-mail templates and text blocks, kept in categories (both
// are TEMailVorlage rows of KVXVorlage, told apart by Art).

#include "mailinterface/ObjectList.h"

#include <QString>
#include <cstdint>

namespace kalvex {

class TQMBDatabaseHandler;

enum class TEMailVorlageArt : uint8_t { vaTextbaustein = 0, vaVorlage = 1 };

class TEMailVorlage {
public:
    TEMailVorlage() = default;
    TEMailVorlage(int32_t id, bool modified, QString bodyRTF, QString bodyPlain, QString betreff, int32_t typ,
                  TEMailVorlageArt art, int32_t kategorieID, QString name);

    int32_t ID = -1;
    QString Name;
    int32_t KategorieID = -1;
    TEMailVorlageArt Art = TEMailVorlageArt::vaTextbaustein;
    int32_t Typ = 0;
    bool IsStandard = false;
    QString Betreff;
    QString BodyPlain;
    QString BodyRTF;
    bool Modified = false;   // set by the editing window, cleared by every save
};

class TEMailVorlageListe : public TObjectList<TEMailVorlage> {};

class TKategorie {
public:
    int32_t ID = -1;
    QString Kategorie;
    TEMailVorlageListe Vorlagen;   // owned
};

class TKategorieListe : public TObjectList<TKategorie> {
public:
    TKategorie* FindByID(int32_t id);
};

// The data module's operations on them.
TKategorieListe LoadKategorieListeFromDB(TQMBDatabaseHandler& handler);
// Categories first, then the templates through the join (a template whose
// category is missing is not loaded; IsStandard is not read).
TKategorieListe LoadVorlagenFromDB(TQMBDatabaseHandler& handler);
void SaveKategorieToDB(TQMBDatabaseHandler& handler, TKategorie& kategorie);
void SaveEMailVorlageToDB(TQMBDatabaseHandler& handler, TEMailVorlage& vorlage);
void DeleteEMailVorlageFromDB(TQMBDatabaseHandler& handler, const TEMailVorlage& vorlage);
void DeleteKategorieFromDB(TQMBDatabaseHandler& handler, const TKategorie& kategorie);

}  // namespace kalvex
