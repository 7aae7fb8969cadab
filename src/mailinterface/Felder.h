#pragma once
// The merge fields a host offers: simple fields and repeat blocks (columns
// and rows of cells). Each record streams as version Integer 1 followed by
// its fields; a record with another version is left unread and unchanged.

#include "mailinterface/ObjectList.h"
#include "mailinterface/StreamIO.h"
#include "mailinterface/TranslationList.h"

#include <QString>
#include <QUuid>

namespace kalvex {

class TFeldEinfach {
public:
    QString GetFeldname(int32_t lang) const { return FFeldnameList.GetText(lang); }
    QString GetBeschreibung(int32_t lang) const { return FBeschreibungList.GetText(lang); }
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    QUuid FGUID;
    QString FWert;
    TTranslationList FFeldnameList;
    TTranslationList FBeschreibungList;
};

// A column of a repeat block.
class TFeldWiederholungBlockFeld {
public:
    QString GetFeldname(int32_t lang) const { return FFeldnameList.GetText(lang); }
    QString GetBeschreibung(int32_t lang) const { return FBeschreibungList.GetText(lang); }
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    QUuid FGUID;
    TTranslationList FFeldnameList;
    TTranslationList FBeschreibungList;
};

class TFeldWiederholungBlockFeldListe : public TObjectList<TFeldWiederholungBlockFeld> {
public:
    const TFeldWiederholungBlockFeld* FindByGUID(const QUuid& guid) const;
};

// One cell: the column's GUID and the value.
class TFeldWiederholungBlockWert {
public:
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    QUuid FGUID;
    QString FWert;
};

// One row. FFeldliste points at the block's column list (not owned).
class TFeldWiederholungBlockDaten : public TObjectList<TFeldWiederholungBlockWert> {
public:
    const TFeldWiederholungBlockWert* FindByGUID(const QUuid& column) const;
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    const TFeldWiederholungBlockFeldListe* FFeldliste = nullptr;
};

// The rows of a block; FFeldliste points at the block's columns (not owned).
class TFeldWiederholungBlockListe : public TObjectList<TFeldWiederholungBlockDaten> {
public:
    const TFeldWiederholungBlockFeldListe* FFeldliste = nullptr;
};

class TFeldWiederholung {
public:
    TFeldWiederholung();
    TFeldWiederholung(const TFeldWiederholung&) = delete;
    TFeldWiederholung& operator=(const TFeldWiederholung&) = delete;

    QString GetFeldname(int32_t lang) const { return FFeldnameBlockList.GetText(lang); }
    QString GetBeschreibung(int32_t lang) const { return FBeschreibungList.GetText(lang); }
    QString GetFeldnameBlockAnfang(int32_t lang) const;
    QString GetFeldnameBlockEnde(int32_t lang) const;
    QString GetFeldnameBlockCount(int32_t lang) const;
    TFeldWiederholungBlockDaten& AddRow();   // a row wired to the columns
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);

    QUuid FGUID;
    TFeldWiederholungBlockFeldListe FBlockFeldListe;
    TFeldWiederholungBlockListe FBlockListe;
    TTranslationList FFeldnameBlockList;
    TTranslationList FBeschreibungList;

private:
    void readBody(TStreamReader& r);
};

class TFelder {
public:
    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);
    QByteArray SaveToBytes() const;
    void LoadFromBytes(const QByteArray& bytes);
    void Clear();

    TObjectList<TFeldEinfach> FEinfachListe;
    TObjectList<TFeldWiederholung> FWiederholungListe;
};

}  // namespace kalvex
