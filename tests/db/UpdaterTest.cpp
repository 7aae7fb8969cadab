#include "StoreFixture.h"

#include "db/DBUpdater.h"

using namespace kalvex;
using namespace kalvex::testing;

namespace {

// Every table's definition and rows, as text: two equal dumps mean the
// store did not change.
QString dump(TQMBDatabaseHandler& h)
{
    QString out;
    for (const QString& table : h.getTableNames(false)) {
        out += h.CalcSQL_String("", "select sql from sqlite_master where name = :n", {P("n", table)}) + "\n";
        TQMBDataSet* ds = h.OpenSQL("select * from [" + table + "]");
        while (ds->Next())
            for (int i = 0; i < ds->getDataSet().record().count(); ++i)
                out += ds->getDataSet().value(i).toString() + "|";
        ds->Close();
        out += "\n";
    }
    return out;
}

}  // namespace

class UpdaterTest : public StoreTest {};

TEST_P(UpdaterTest, NewStoreIsCreatedAndSeededOnce)
{
    auto h = OpenHandler();
    TDBUpdater(*h).CheckTables();
    const QString first = dump(*h);
    TDBUpdater(*h).CheckTables();
    EXPECT_EQ(dump(*h), first);
    EXPECT_EQ(h->getTableNames(false).size(), 12);
    EXPECT_EQ(h->CalcSQL_String("", "select Kategorie from KVXKategorie where ID = 2"), "Mangel");
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from KVXRubrik"), 7);
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from KVXVorlage"), 7);
    const QString textD = h->CalcSQL_String("", "select Inhalt from KVXRubrik where Rubrik = 'Text 4'");
    EXPECT_TRUE(textD.contains("bist zum tt.mm.20jj"));
    EXPECT_TRUE(textD.contains("§ 8 Nr. 3 VOB/B"));
    EXPECT_TRUE(textD.contains("\r\n\r\nMit freundlichen Grüßen"));
    EXPECT_EQ(h->CalcSQL_String("", "select BodyRTF from KVXVorlage where Name = 'Text 4'"), textD);
}

TEST_P(UpdaterTest, OldStoresAreUpgraded)
{
    auto h = OpenHandler();
    h->ExecSQL("CREATE TABLE KVXEmpfaenger (ID INTEGER PRIMARY KEY AUTOINCREMENT, MailID INTEGER, Adresse NVARCHAR(255))");
    h->ExecSQL("insert into KVXEmpfaenger (MailID, Adresse) values (1, 'a@x.de')");
    h->ExecSQL("CREATE TABLE KVXGesendeteMails (ID INTEGER PRIMARY KEY AUTOINCREMENT, Betreff TEXT, Datum DATETIME, Status NVARCHAR(255))");
    h->ExecSQL("insert into KVXGesendeteMails (Betreff, Datum, Status) values ('alt', 45000.5, 'gesendet')");
    h->ExecSQL("insert into KVXGesendeteMails (Betreff, Datum, Status) values ('neu', 2460019.0, 'bearbeiten')");
    h->ExecSQL("CREATE TABLE KVXRubrik (ID INTEGER PRIMARY KEY AUTOINCREMENT, Rubrik NVARCHAR(255), KategorieID INTEGER, Inhalt TEXT)");
    h->ExecSQL("insert into KVXRubrik (Rubrik, KategorieID, Inhalt) values ('Eigener Baustein', 1, 'Hallo')");
    h->ExecSQL("CREATE TABLE KVXVorlage (ID INTEGER PRIMARY KEY AUTOINCREMENT, Name NVARCHAR(255), KategorieID INTEGER, "
               "Typ INTEGER, IsStandard BOOLEAN, Betreff NVARCHAR(255), BodyPlain TEXT, BodyRTF TEXT)");

    TDBUpdater(*h).CheckTables();
    EXPECT_EQ(h->CalcSQL_Int(-1, "select EmpfType from KVXEmpfaenger"), 0);
    EXPECT_DOUBLE_EQ(h->CalcSQL_Real(0, "select Datum from KVXGesendeteMails where Betreff = 'alt'"), 2460019.0);
    EXPECT_DOUBLE_EQ(h->CalcSQL_Real(0, "select Datum from KVXGesendeteMails where Betreff = 'neu'"), 2460019.0);
    EXPECT_EQ(h->CalcSQL_Int(-1, "select MailStatus from KVXGesendeteMails where Betreff = 'alt'"), 2);
    EXPECT_EQ(h->CalcSQL_Int(-1, "select MailStatus from KVXGesendeteMails where Betreff = 'neu'"), 1);
    EXPECT_EQ(h->CalcSQL_String("", "select BodyRTF from KVXVorlage where Name = 'Eigener Baustein'"), "Hallo");
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from KVXRubrik"), 1);   // an existing table is not seeded

    // A column that exists is never touched, even where it holds NULL.
    h->ExecSQL("update KVXEmpfaenger set EmpfType = NULL");
    TDBUpdater(*h).CheckTables();
    EXPECT_TRUE(h->CalcSQL_String("x", "select ifnull(EmpfType, 'null') from KVXEmpfaenger") == "null");
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from KVXVorlage"), 1);   // copied once only
}

INSTANTIATE_TEST_SUITE_P(Stores, UpdaterTest, ::testing::ValuesIn(Backends()), BackendName);
