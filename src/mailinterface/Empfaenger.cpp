#include "mailinterface/Empfaenger.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <QStringList>

namespace kalvex {

namespace {

const QStringList& kindTexts()
{
    static const QStringList texts{QStringLiteral("An"), QStringLiteral("Cc"), QStringLiteral("Bcc")};
    return texts;
}

TEmpfaengerTyp toEmpfaengerTyp(int32_t value)
{
    if (value < 0 || value > 2)
        throw EKalvex(Tx(1806, "Der Datenstrom enthält einen ungültigen Empfängertyp %1.").arg(value));
    return static_cast<TEmpfaengerTyp>(value);
}

}  // namespace

QString RecipientKindText(TEmpfaengerTyp kind)
{
    return kindTexts().value(static_cast<int>(kind), kindTexts().first());
}

int RecipientKindIndex(const QString& text)
{
    return static_cast<int>(kindTexts().indexOf(text));
}

void TEmpfaenger2::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteInteger(static_cast<int32_t>(FEmpfaengerTyp));
    w.WriteString(FEMailAdresse);
    w.WriteString(FName);
    w.WriteString(FTabelle);
    w.WriteString(FFeldnameGUID);
    w.WriteString(FFeldnameEMail);
    w.WriteGUID(FGUID);
}

void TEmpfaenger2::LoadFromStream(TStreamReader& r)
{
    if (r.ReadInteger() != KStreamVersion)
        return;
    FEmpfaengerTyp = toEmpfaengerTyp(r.ReadInteger());
    FEMailAdresse = r.ReadString();
    FName = r.ReadString();
    FTabelle = r.ReadString();
    FFeldnameGUID = r.ReadString();
    FFeldnameEMail = r.ReadString();
    FGUID = r.ReadGUID();
}

void TEmpfaengerListe::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(KStreamVersion);
    w.WriteInteger(Count());
    for (const auto& item : *this)
        item->SaveToStream(w);
}

void TEmpfaengerListe::LoadFromStream(TStreamReader& r)
{
    if (r.ReadInteger() != KStreamVersion)
        return;
    const int32_t count = r.ReadCount(4);
    TObjectList<TEmpfaenger2> items;
    items.Reserve(count);
    for (int32_t i = 0; i < count; ++i)
        items.Add().LoadFromStream(r);
    static_cast<TObjectList<TEmpfaenger2>&>(*this) = std::move(items);
}

}  // namespace kalvex
