#include "mailinterface/ProgrammVorlage.h"

#include <functional>

namespace kalvex {

namespace {

QString placeholder(const QString& name)
{
    return QLatin1Char('<') + name + QLatin1Char('>');
}

QString guidPlaceholder(const QUuid& guid)
{
    return placeholder(GuidToString(guid));
}

// Visits every field with a GUID: simple fields first, then block columns.
void forEachNamedField(const TFelder& fields, int32_t lang,
                       const std::function<void(const QUuid&, const QString&)>& visit)
{
    for (const auto& field : fields.FEinfachListe)
        if (!field->FGUID.isNull())
            visit(field->FGUID, field->GetFeldname(lang));
    for (const auto& block : fields.FWiederholungListe)
        for (const auto& column : block->FBlockFeldListe)
            if (!column->FGUID.isNull())
                visit(column->FGUID, column->GetFeldname(lang));
}

}  // namespace

QUuid GeneralKindGUID()
{
    return QUuid(QStringLiteral("{94170175-1E44-488F-B5E4-0FCED6F84302}"));
}

void TProgrammVorlageArt::SetTranslation(int32_t lang, const QString& name, const QString& beschreibung)
{
    FNameList.SetText(lang, name);
    FBeschreibungList.SetText(lang, beschreibung);
}

void TProgrammVorlageArt::AddProgID(int id)
{
    if (id >= 0 && id < 16)
        FOrvanProgIDs |= 1u << id;
}

void TProgrammVorlageArt::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteGUID(FGUID);
    w.WriteInteger(static_cast<int32_t>(FOrvanProgIDs));
    w.WriteInteger(FFelderVersion);
}

void TProgrammVorlageArt::LoadFromStream(TStreamReader& r)
{
    if (r.ReadInteger() != KStreamVersion)
        return;
    FGUID = r.ReadGUID();
    FOrvanProgIDs = static_cast<uint32_t>(r.ReadInteger());
    FFelderVersion = r.ReadInteger();
}

int TComparerArt::Compare(const TProgrammVorlageArt& a, const TProgrammVorlageArt& b) const
{
    return QString::compare(a.GetName(FLang), b.GetName(FLang), Qt::CaseSensitive);
}

TProgrammVorlageArt* TProgrammVorlageArtListe::GetProgrammVorlageArt(const QUuid& guid)
{
    for (auto& kind : *this)
        if (kind->FGUID == guid)
            return kind.get();
    return nullptr;
}

bool TProgrammVorlageArtListe::ProgrammVorlageArtVorhanden(const QUuid& guid) const
{
    return std::any_of(begin(), end(), [&](const auto& kind) { return kind->FGUID == guid; });
}

void TProgrammVorlageArtListe::SortByName()
{
    Sort([this](const TProgrammVorlageArt& a, const TProgrammVorlageArt& b) { return FComparer.Compare(a, b) < 0; });
}

void TProgrammVorlageArtListe::SaveToStream(TStreamWriter& w) const
{
    WriteRecordList(w, *this);
}

void TProgrammVorlageArtListe::LoadFromStream(TStreamReader& r)
{
    ReadRecordList<TProgrammVorlageArt>(r, *this);
}

void TProgrammVorlage::ReplaceFeldnamenToGuid(int32_t lang, const QString& text, QString& result, const TFelder& fields)
{
    QString out = text;
    forEachNamedField(fields, lang, [&](const QUuid& guid, const QString& name) {
        if (!name.isEmpty())
            out.replace(placeholder(name), guidPlaceholder(guid), Qt::CaseSensitive);
    });
    result = out;
}

void TProgrammVorlage::ReplaceGuidToFeldnamen(int32_t lang, const QString& text, QString& result, const TFelder& fields)
{
    QString out = text;
    forEachNamedField(fields, lang, [&](const QUuid& guid, const QString& name) {
        out.replace(guidPlaceholder(guid), placeholder(name), Qt::CaseInsensitive);
    });
    result = out;
}

void TProgrammVorlage::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteGUID(FGUID);
    w.WriteGUID(FArt);
    w.WriteString(FBetreff);
    w.WriteString(FBody);
    w.WriteBoolean(FIsStandard);
    w.WriteBoolean(FIsDefault);
    w.WriteInteger(FOrvanProgVersion);
    w.WriteString(FVorlagePfad);
    FNameList.SaveToStream(w);
}

void TProgrammVorlage::LoadFromStream(TStreamReader& r)
{
    if (r.ReadInteger() != KStreamVersion)
        return;
    FGUID = r.ReadGUID();
    FArt = r.ReadGUID();
    FBetreff = r.ReadString();
    FBody = r.ReadString();
    FIsStandard = r.ReadBoolean();
    FIsDefault = r.ReadBoolean();
    FOrvanProgVersion = r.ReadInteger();
    FVorlagePfad = r.ReadString();
    FNameList.LoadFromStream(r);
}

int TComparerVorlage::Compare(const TProgrammVorlage& a, const TProgrammVorlage& b) const
{
    return QString::compare(a.GetName(FLang), b.GetName(FLang), Qt::CaseSensitive);
}

TProgrammVorlage* TProgrammVorlageListe::FindByGUID(const QUuid& guid)
{
    for (auto& t : *this)
        if (t->FGUID == guid)
            return t.get();
    return nullptr;
}

bool TProgrammVorlageListe::ProgrammVorlageVorhanden(const QUuid& guid) const
{
    return std::any_of(begin(), end(), [&](const auto& t) { return t->FGUID == guid; });
}

void TProgrammVorlageListe::SortByName()
{
    Sort([this](const TProgrammVorlage& a, const TProgrammVorlage& b) { return FComparer.Compare(a, b) < 0; });
}

void TProgrammVorlageListe::SaveToStream(TStreamWriter& w) const
{
    WriteRecordList(w, *this);
}

void TProgrammVorlageListe::LoadFromStream(TStreamReader& r)
{
    ReadRecordList<TProgrammVorlage>(r, *this);
}

}  // namespace kalvex
