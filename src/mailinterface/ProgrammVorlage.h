#pragma once
// The host's program template kinds (with their field catalogue) and
// templates. Templates keep field references as GUID placeholders, so that
// renaming a field or switching the language does not break them.

#include "mailinterface/Felder.h"
#include "mailinterface/ObjectList.h"
#include "mailinterface/StreamIO.h"
#include "mailinterface/TranslationList.h"

#include <QString>
#include <QUuid>

namespace kalvex {

// The host products; the set travels as a bit mask (bit n = identifier n).
enum class TOrvanProgID : uint8_t {
    opUnbekannt = 0,
    opBauVerwaltung = 1,
    opMaengelManager = 2,
    opAusschreibung = 3,
    opAdressManager = 4,
    opKalvexCli = 5,
};

// The general kind that exists in every store.
QUuid GeneralKindGUID();

class TProgrammVorlageArt {
public:
    QString GetName(int32_t lang) const { return FNameList.GetText(lang); }
    QString GetBeschreibung(int32_t lang) const { return FBeschreibungList.GetText(lang); }
    void SetTranslation(int32_t lang, const QString& name, const QString& beschreibung);
    bool HasProgID(int id) const { return id >= 0 && id < 32 && (FOrvanProgIDs >> id) & 1u; }
    void AddProgID(int id);   // identifiers of 16 and above are ignored
    // Only GUID, program set and catalogue version travel; names,
    // descriptions and fields do not.
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    QUuid FGUID;
    TTranslationList FNameList;
    TTranslationList FBeschreibungList;
    uint32_t FOrvanProgIDs = 0;
    TFelder FFelder;
    int32_t FFelderVersion = 0;
};

// Orders kinds (or templates) by name in one language, by UTF-16 code unit.
class TComparerArt {
public:
    int32_t FLang = 1031;
    int Compare(const TProgrammVorlageArt& a, const TProgrammVorlageArt& b) const;
};

class TProgrammVorlageArtListe : public TObjectList<TProgrammVorlageArt> {
public:
    TProgrammVorlageArt* GetProgrammVorlageArt(const QUuid& guid);
    bool ProgrammVorlageArtVorhanden(const QUuid& guid) const;
    void SetLanguage(int32_t lang) { FComparer.FLang = lang; }
    void SortByName();
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    TComparerArt FComparer;
};

class TProgrammVorlage {
public:
    QString GetName(int32_t lang) const { return FNameList.GetText(lang); }
    void SetTranslation(int32_t lang, const QString& name) { FNameList.SetText(lang, name); }
    // "<name>" of every field with a GUID becomes "<{GUID}>" (simple
    // fields first, then the columns of each block); case-sensitive.
    static void ReplaceFeldnamenToGuid(int32_t lang, const QString& text, QString& result, const TFelder& fields);
    // The inverse: "<{GUID}>" (either case) becomes "<name>" in lang.
    static void ReplaceGuidToFeldnamen(int32_t lang, const QString& text, QString& result, const TFelder& fields);
    // FFelderVersion does not travel.
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    QUuid FGUID;
    QUuid FArt;
    TTranslationList FNameList;
    QString FBetreff;
    QString FBody;
    bool FIsStandard = false;
    bool FIsDefault = false;
    int32_t FOrvanProgVersion = 0;
    int32_t FFelderVersion = 0;
    QString FVorlagePfad;
};

class TComparerVorlage {
public:
    int32_t FLang = 1031;
    int Compare(const TProgrammVorlage& a, const TProgrammVorlage& b) const;
};

class TProgrammVorlageListe : public TObjectList<TProgrammVorlage> {
public:
    TProgrammVorlage* FindByGUID(const QUuid& guid);
    bool ProgrammVorlageVorhanden(const QUuid& guid) const;
    void SetLanguage(int32_t lang) { FComparer.FLang = lang; }
    void SortByName();
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    TComparerVorlage FComparer;
};

}  // namespace kalvex
