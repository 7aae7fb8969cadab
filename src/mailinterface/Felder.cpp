#include "mailinterface/Felder.h"

namespace kalvex {

namespace {

// Smallest stream sizes, used to refuse impossible counts early.
constexpr qsizetype kMinRecord = 4;

bool readVersion(TStreamReader& r)
{
    return r.ReadInteger() == KStreamVersion;
}

}  // namespace

void TFeldEinfach::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteGUID(FGUID);
    w.WriteString(FWert);
    FFeldnameList.SaveToStream(w);
    FBeschreibungList.SaveToStream(w);
}

void TFeldEinfach::LoadFromStream(TStreamReader& r)
{
    if (!readVersion(r))
        return;
    FGUID = r.ReadGUID();
    FWert = r.ReadString();
    FFeldnameList.LoadFromStream(r);
    FBeschreibungList.LoadFromStream(r);
}

void TFeldWiederholungBlockFeld::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteGUID(FGUID);
    FFeldnameList.SaveToStream(w);
    FBeschreibungList.SaveToStream(w);
}

void TFeldWiederholungBlockFeld::LoadFromStream(TStreamReader& r)
{
    if (!readVersion(r))
        return;
    FGUID = r.ReadGUID();
    FFeldnameList.LoadFromStream(r);
    FBeschreibungList.LoadFromStream(r);
}

const TFeldWiederholungBlockFeld* TFeldWiederholungBlockFeldListe::FindByGUID(const QUuid& guid) const
{
    for (const auto& column : *this)
        if (column->FGUID == guid)
            return column.get();
    return nullptr;
}

void TFeldWiederholungBlockWert::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteGUID(FGUID);
    w.WriteString(FWert);
}

void TFeldWiederholungBlockWert::LoadFromStream(TStreamReader& r)
{
    if (!readVersion(r))
        return;
    FGUID = r.ReadGUID();
    FWert = r.ReadString();
}

const TFeldWiederholungBlockWert* TFeldWiederholungBlockDaten::FindByGUID(const QUuid& column) const
{
    for (const auto& cell : *this)
        if (cell->FGUID == column)
            return cell.get();
    return nullptr;
}

void TFeldWiederholungBlockDaten::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteInteger(Count());
    for (const auto& cell : *this)
        cell->SaveToStream(w);
}

void TFeldWiederholungBlockDaten::LoadFromStream(TStreamReader& r)
{
    if (!readVersion(r))
        return;
    const int32_t count = r.ReadCount(kMinRecord);
    Clear();
    Reserve(count);
    for (int32_t i = 0; i < count; ++i)
        Add().LoadFromStream(r);
}

TFeldWiederholung::TFeldWiederholung()
{
    FBlockListe.FFeldliste = &FBlockFeldListe;
}

QString TFeldWiederholung::GetFeldnameBlockAnfang(int32_t lang) const
{
    return GetFeldname(lang) + (lang == 1031 ? QStringLiteral("-Wiederholung-Anfang") : QStringLiteral("-loop-begin"));
}

QString TFeldWiederholung::GetFeldnameBlockEnde(int32_t lang) const
{
    return GetFeldname(lang) + (lang == 1031 ? QStringLiteral("-Wiederholung-Ende") : QStringLiteral("-loop-end"));
}

QString TFeldWiederholung::GetFeldnameBlockCount(int32_t lang) const
{
    return GetFeldname(lang) + (lang == 1031 ? QStringLiteral("-Wiederholung-Count") : QStringLiteral("-loop-count"));
}

TFeldWiederholungBlockDaten& TFeldWiederholung::AddRow()
{
    TFeldWiederholungBlockDaten& row = FBlockListe.Add();
    row.FFeldliste = &FBlockFeldListe;
    return row;
}

void TFeldWiederholung::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteGUID(FGUID);
    FFeldnameBlockList.SaveToStream(w);
    FBeschreibungList.SaveToStream(w);
    w.WriteInteger(FBlockFeldListe.Count());
    for (const auto& column : FBlockFeldListe)
        column->SaveToStream(w);
    w.WriteInteger(FBlockListe.Count());
    for (const auto& row : FBlockListe)
        row->SaveToStream(w);
}

void TFeldWiederholung::LoadFromStream(TStreamReader& r)
{
    if (readVersion(r))
        readBody(r);
}

void TFeldWiederholung::readBody(TStreamReader& r)
{
    FGUID = r.ReadGUID();
    FFeldnameBlockList.LoadFromStream(r);
    FBeschreibungList.LoadFromStream(r);
    const int32_t columns = r.ReadCount(kMinRecord);
    FBlockFeldListe.Clear();
    FBlockFeldListe.Reserve(columns);
    for (int32_t i = 0; i < columns; ++i)
        FBlockFeldListe.Add().LoadFromStream(r);
    const int32_t rows = r.ReadCount(kMinRecord);
    FBlockListe.Clear();
    FBlockListe.Reserve(rows);
    for (int32_t i = 0; i < rows; ++i)
        AddRow().LoadFromStream(r);
}

void TFelder::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteInteger(FEinfachListe.Count());
    for (const auto& field : FEinfachListe)
        field->SaveToStream(w);
    w.WriteInteger(FWiederholungListe.Count());
    for (const auto& block : FWiederholungListe)
        block->SaveToStream(w);
}

// Reads into fresh lists and swaps them in at the end, so that a broken
// stream leaves the previous fields in place.
void TFelder::LoadFromStream(TStreamReader& r)
{
    if (!readVersion(r))
        return;
    TObjectList<TFeldEinfach> simple;
    const int32_t simpleCount = r.ReadCount(kMinRecord);
    simple.Reserve(simpleCount);
    for (int32_t i = 0; i < simpleCount; ++i)
        simple.Add().LoadFromStream(r);
    TObjectList<TFeldWiederholung> blocks;
    const int32_t blockCount = r.ReadCount(kMinRecord);
    blocks.Reserve(blockCount);
    for (int32_t i = 0; i < blockCount; ++i)
        blocks.Add().LoadFromStream(r);
    FEinfachListe = std::move(simple);
    FWiederholungListe = std::move(blocks);
}

QByteArray TFelder::SaveToBytes() const
{
    TStreamWriter w;
    SaveToStream(w);
    return w.TakeData();
}

void TFelder::LoadFromBytes(const QByteArray& bytes)
{
    TStreamReader r(bytes);
    LoadFromStream(r);
}

void TFelder::Clear()
{
    FEinfachListe.Clear();
    FWiederholungListe.Clear();
}

}  // namespace kalvex
