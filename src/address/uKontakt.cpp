#include "address/uKontakt.h"

#include "config/LogFileUnit.h"
#include "db/BasedbClasses.h"

namespace kalvex {

namespace {

TParamInfoV2Array contactParams(const TKontakt& k, int32_t gruppenID)
{
    return {P("a", gruppenID), P("b", k.AdressDB_ID), P("c", k.Vorname), P("d", k.Nachname), P("e", k.Firma),
            P("f", k.Zusatz), P("g", k.EMail), P("h", k.Titel), P("i", k.Branche), P("j", k.Strasse),
            P("k", k.HausNr), P("l", k.PLZ), P("m", k.Ort), P("n", k.Telefon), P("o", k.Fax), P("p", k.Funk),
            P("q", k.Beruf)};
}

TAnrede anredeOf(int value)
{
    return value >= 1 && value <= 3 ? static_cast<TAnrede>(value) : TAnrede::anKeine;
}

// The row's own statements name the older columns only; the salutation
// goes in a statement of its own.
void saveAnrede(TQMBDatabaseHandler& handler, const TKontakt& k)
{
    handler.ExecSQL(QStringLiteral("update KVXAdresse set Anrede = :a where ID = :b"),
                    {P("a", static_cast<int32_t>(k.Anrede)), P("b", k.ID)});
}

TKontakt contactOf(TQMBDataSet& ds)
{
    TKontakt k;
    k.ID = ds.Field("ID").toInt();
    k.AdressDB_ID = ds.Field("AdressDB_ID").toInt();
    k.Vorname = ds.Field("Vorname").toString();
    k.Nachname = ds.Field("Nachname").toString();
    k.Firma = ds.Field("Firma").toString();
    k.Zusatz = ds.Field("Zusatz").toString();
    k.EMail = ds.Field("EMail").toString();
    k.Titel = ds.Field("Titel").toString();
    k.Branche = ds.Field("Branche").toString();
    k.Strasse = ds.Field("Strasse").toString();
    k.HausNr = ds.Field("HausNr").toString();
    k.PLZ = ds.Field("PLZ").toString();
    k.Ort = ds.Field("Ort").toString();
    k.Telefon = ds.Field("Telefon").toString();
    k.Fax = ds.Field("Fax").toString();
    k.Funk = ds.Field("Funk").toString();
    k.Beruf = ds.Field("Beruf").toString();
    k.Anrede = anredeOf(ds.Field("Anrede").toInt());
    return k;
}

}  // namespace

void TKontakt::Save(TQMBDatabaseHandler& handler, int32_t gruppenID)
{
    try {
        TParamInfoV2Array params = contactParams(*this, gruppenID);
        if (ID < 1) {
            ID = static_cast<int32_t>(handler.ExecSQL(
                QStringLiteral("insert into KVXAdresse (GruppenID, AdressDB_ID, Vorname, Nachname, Firma, Zusatz, EMail, Titel, Branche, Strasse, HausNr, PLZ, Ort, Telefon, Fax, Funk, Beruf) Values (:a, :b, :c, :d, :e, :f, :g, :h, :i, :j, :k, :l, :m, :n, :o, :p, :q);"),
                params, true, TECommandTypes::sttInsert, TExecSQLReturnValue::erInsertedID));
            saveAnrede(handler, *this);
            return;
        }
        params.push_back(P("r", ID));
        handler.ExecSQL(QStringLiteral("update KVXAdresse set GruppenID = :a, AdressDB_ID = :b, Vorname = :c, Nachname = :d, Firma = :e, Zusatz = :f, EMail = :g, Titel = :h, Branche = :i, Strasse = :j, HausNr = :k, PLZ = :l, Ort = :m, Telefon = :n, Fax = :o, Funk = :p, Beruf = :q WHERE ID = :r"),
                        params);
        saveAnrede(handler, *this);
    } catch (const std::exception& e) {
        TLogFile::LogGlobal(false, QStringLiteral("TAdresse.Save: ") + QString::fromUtf8(e.what()));
    }
}

TRecipientPerson PersonOf(const TKontakt& k)
{
    TRecipientPerson p;
    p.anrede = k.Anrede;
    p.title = k.Titel.trimmed();
    p.firstName = k.Vorname.trimmed();
    p.lastName = k.Nachname.trimmed();
    p.company = k.Firma.trimmed();
    p.email = k.EMail.trimmed();
    return p;
}

TGruppenListe LoadGruppenListeFromDB(TQMBDatabaseHandler& handler)
{
    TGruppenListe groups;
    TQMBDataSet* ds = handler.OpenSQL(QStringLiteral("select * from KVXGruppe order by ID"));
    while (ds->Next()) {
        auto g = std::make_unique<TGruppe>();
        g->ID = ds->Field("ID").toInt();
        g->Gruppenname = ds->Field("Gruppenname").toString();
        groups[g->ID] = std::move(g);
    }
    ds->Close();
    ds = handler.OpenSQL(QStringLiteral("select * from KVXAdresse"));
    while (ds->Next()) {
        const auto group = groups.find(ds->Field("GruppenID").toInt());
        if (group == groups.end())
            continue;
        auto k = std::make_unique<TKontakt>(contactOf(*ds));
        group->second->Kontakte[k->ID] = std::move(k);
    }
    ds->Close();
    return groups;
}

int32_t NeueGruppeAnlegen(TQMBDatabaseHandler& handler, const QString& name)
{
    return static_cast<int32_t>(handler.ExecSQL(QStringLiteral("insert into KVXGruppe (Gruppenname) Values (:Gruppenname)"),
                                                {P("Gruppenname", name)}, true, TECommandTypes::sttInsert,
                                                TExecSQLReturnValue::erInsertedID));
}

void GruppeUmbenennen(TQMBDatabaseHandler& handler, int32_t gruppe, const QString& name)
{
    handler.ExecSQL(QStringLiteral("update KVXGruppe set Gruppenname = :Gruppenname where ID = :ID"),
                    {P("Gruppenname", name), P("ID", gruppe)});
}

// The group row first, then all its addresses.
bool GruppeLoeschen(TQMBDatabaseHandler& handler, int32_t gruppe)
{
    try {
        handler.ExecSQL(QStringLiteral("delete from KVXGruppe where ID = :ID"), {P("ID", gruppe)});
        handler.ExecSQL(QStringLiteral("delete from KVXAdresse where GruppenID = :GruppenID;"), {P("GruppenID", gruppe)});
        return true;
    } catch (const std::exception& e) {
        TLogFile::LogGlobal(false, QStringLiteral("TDatenModul.GruppeLoeschen: ") + QString::fromUtf8(e.what()));
        return false;
    }
}

void DeleteAdresse(TQMBDatabaseHandler& handler, int32_t kontakt)
{
    handler.ExecSQL(QStringLiteral("delete from KVXAdresse where ID = :ID"), {P("ID", kontakt)});
}

}  // namespace kalvex
