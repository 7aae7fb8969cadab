#include "compose/uEMailVorlage.h"

#include "db/BasedbClasses.h"

namespace kalvex {

TEMailVorlage::TEMailVorlage(int32_t id, bool modified, QString bodyRTF, QString bodyPlain, QString betreff, int32_t typ,
                             TEMailVorlageArt art, int32_t kategorieID, QString name)
    : ID(id), Name(std::move(name)), KategorieID(kategorieID), Art(art), Typ(typ), Betreff(std::move(betreff)),
      BodyPlain(std::move(bodyPlain)), BodyRTF(std::move(bodyRTF)), Modified(modified)
{
}

TKategorie* TKategorieListe::FindByID(int32_t id)
{
    for (auto& k : *this)
        if (k->ID == id)
            return k.get();
    return nullptr;
}

TKategorieListe LoadKategorieListeFromDB(TQMBDatabaseHandler& handler)
{
    TKategorieListe list;
    TQMBDataSet* ds = handler.OpenSQL(QStringLiteral("select * from KVXKategorie"));
    while (ds->Next()) {
        TKategorie& k = list.Add();
        k.ID = ds->Field("ID").toInt();
        k.Kategorie = ds->Field("Kategorie").toString();
    }
    ds->Close();
    return list;
}

TKategorieListe LoadVorlagenFromDB(TQMBDatabaseHandler& handler)
{
    TKategorieListe list = LoadKategorieListeFromDB(handler);
    TQMBDataSet* ds = handler.OpenSQL(QStringLiteral(
        "select kat.ID as KategorieID, kat.Kategorie as Kategorie, vorl.ID as VorlageID, vorl.Name as VorlageName, "
        "vorl.KategorieID as VorlageKategorieID, Art, Typ, Betreff, BodyPlain, BodyRTF from KVXKategorie kat inner join "
        "KVXVorlage vorl on (kat.ID = vorl.KategorieID) order by kat.ID asc"));
    while (ds->Next()) {
        TKategorie* k = list.FindByID(ds->Field("KategorieID").toInt());
        if (!k)
            continue;
        k->Vorlagen.Add(std::make_unique<TEMailVorlage>(
            ds->Field("VorlageID").toInt(), false, ds->Field("BodyRTF").toString(), ds->Field("BodyPlain").toString(),
            ds->Field("Betreff").toString(), ds->Field("Typ").toInt(),
            static_cast<TEMailVorlageArt>(ds->Field("Art").toInt() == 1 ? 1 : 0), ds->Field("VorlageKategorieID").toInt(),
            ds->Field("VorlageName").toString()));
    }
    ds->Close();
    return list;
}

void SaveKategorieToDB(TQMBDatabaseHandler& handler, TKategorie& k)
{
    if (k.ID == -1)
        k.ID = static_cast<int32_t>(handler.ExecSQL(QStringLiteral("insert into KVXKategorie (Kategorie) values (:Kategorie)"),
                                                    {P("Kategorie", k.Kategorie)}, true, TECommandTypes::sttInsert,
                                                    TExecSQLReturnValue::erInsertedID));
    else
        handler.ExecSQL(QStringLiteral("update KVXKategorie set Kategorie = :Kategorie where ID = :ID"),
                        {P("Kategorie", k.Kategorie), P("ID", k.ID)});
}

void SaveEMailVorlageToDB(TQMBDatabaseHandler& handler, TEMailVorlage& v)
{
    TParamInfoV2Array params = {P("Name", v.Name), P("KategorieID", v.KategorieID), P("Art", static_cast<int>(v.Art)),
                                P("Typ", v.Typ), P("IsStandard", v.IsStandard), P("Betreff", v.Betreff),
                                P("BodyPlain", v.BodyPlain), P("BodyRTF", v.BodyRTF)};
    if (v.ID == -1) {
        v.ID = static_cast<int32_t>(handler.ExecSQL(
            QStringLiteral("insert into KVXVorlage (Name, KategorieID, Art, Typ, IsStandard, Betreff, BodyPlain, BodyRTF) values (:Name, :KategorieID, :Art, :Typ, :IsStandard, :Betreff, :BodyPlain, :BodyRTF)"),
            params, true, TECommandTypes::sttInsert, TExecSQLReturnValue::erInsertedID));
    } else {
        params.push_back(P("ID", v.ID));
        handler.ExecSQL(QStringLiteral("update KVXVorlage set Name = :Name, KategorieID = :KategorieID, Art = :Art, Typ = :Typ, IsStandard = :IsStandard, Betreff = :Betreff, BodyPlain = :BodyPlain, BodyRTF = :BodyRTF where ID = :ID"),
                        params);
    }
    v.Modified = false;
}

void DeleteEMailVorlageFromDB(TQMBDatabaseHandler& handler, const TEMailVorlage& v)
{
    handler.ExecSQL(QStringLiteral("delete from KVXVorlage where ID = :ID"), {P("ID", v.ID)});
}

void DeleteKategorieFromDB(TQMBDatabaseHandler& handler, const TKategorie& k)
{
    handler.ExecSQL(QStringLiteral("delete from KVXKategorie where ID = :ID"), {P("ID", k.ID)});
}

}  // namespace kalvex
