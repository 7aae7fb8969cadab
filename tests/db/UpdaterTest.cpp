#include "StoreFixture.h"

#include "Together.h"
#include "db/DBUpdater.h"
#include <QSqlField>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

// Every table's definition and rows, as text: two equal dumps mean the
// store did not change.
QString dump(TQMBDatabaseHandler& h)
{
    QString out;
    for (const QString& table : h.getTableNames(false)) {
        TQMBDataSet* ds = h.OpenSQL("select * from [" + table + "]");
        const QSqlRecord columns = ds->getDataSet().record();
        for (int i = 0; i < columns.count(); ++i)
            out += columns.fieldName(i) + QString::number(columns.field(i).metaType().id()) + ",";
        out += "\n";
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
    using T = TFieldType;
    auto f = [](const char* name, TFieldType type, int length = 0) { return TFieldInfoV2{name, type, length, {}, false}; };
    h->createTable("KVXEmpfaenger", {f("ID", T::ftAutoInc), f("MailID", T::ftInteger), f("Adresse", T::ftWideString, 255)});
    h->ExecSQL("insert into KVXEmpfaenger (MailID, Adresse) values (1, 'a@x.de')");
    h->createTable("KVXGesendeteMails", {f("ID", T::ftAutoInc), f("Betreff", T::ftMemo), f("Datum", T::ftDateTime),
                                         f("Status", T::ftWideString, 255)});
    h->ExecSQL("insert into KVXGesendeteMails (Betreff, Datum, Status) values ('alt', 45000.5, 'gesendet')");
    h->ExecSQL("insert into KVXGesendeteMails (Betreff, Datum, Status) values ('neu', 2460019.0, 'bearbeiten')");
    h->createTable("KVXRubrik", {f("ID", T::ftAutoInc), f("Rubrik", T::ftWideString, 255), f("KategorieID", T::ftInteger),
                                 f("Inhalt", T::ftMemo)});
    h->ExecSQL("insert into KVXRubrik (Rubrik, KategorieID, Inhalt) values ('Eigener Baustein', 1, 'Hallo')");
    h->createTable("KVXVorlage", {f("ID", T::ftAutoInc), f("Name", T::ftWideString, 255), f("KategorieID", T::ftInteger),
                                  f("Typ", T::ftInteger), f("IsStandard", T::ftBoolean), f("Betreff", T::ftWideString, 255),
                                  f("BodyPlain", T::ftMemo), f("BodyRTF", T::ftMemo)});

    h->createTable("KVXAdresse", {f("ID", T::ftAutoInc), f("GruppenID", T::ftInteger), f("Nachname", T::ftWideString, 255)});
    h->ExecSQL("insert into KVXAdresse (GruppenID, Nachname) values (1, 'Albers')");

    TDBUpdater(*h).CheckTables();
    EXPECT_EQ(h->CalcSQL_Int(-1, "select EmpfType from KVXEmpfaenger"), 0);
    EXPECT_EQ(h->CalcSQL_Int(-1, "select Anrede from KVXAdresse where Nachname = 'Albers'"), 0);   // not recorded
    // Old day counts exist only in SQLite stores; a server store is never converted.
    EXPECT_DOUBLE_EQ(h->CalcSQL_Real(0, "select Datum from KVXGesendeteMails where Betreff = 'alt'"),
                     IsSQLite() ? 2460019.0 : 45000.5);
    EXPECT_DOUBLE_EQ(h->CalcSQL_Real(0, "select Datum from KVXGesendeteMails where Betreff = 'neu'"), 2460019.0);
    // The check at every start reads an index, and still finds a day count
    // that an older module sharing the store wrote since.
    EXPECT_EQ(h->IndexExists("KVXGesendeteMails", "IX_KVXGesendeteMails_Datum"), IsSQLite());
    h->ExecSQL("insert into KVXGesendeteMails (Betreff, Datum, Status) values ('später', 45001.5, 'gesendet')");
    TDBUpdater(*h).CheckTables();
    EXPECT_DOUBLE_EQ(h->CalcSQL_Real(0, "select Datum from KVXGesendeteMails where Betreff = 'später'"),
                     IsSQLite() ? 2460020.0 : 45001.5);
    EXPECT_EQ(h->CalcSQL_Int(-1, "select MailStatus from KVXGesendeteMails where Betreff = 'alt'"), 2);
    EXPECT_EQ(h->CalcSQL_Int(-1, "select MailStatus from KVXGesendeteMails where Betreff = 'neu'"), 1);
    EXPECT_EQ(h->CalcSQL_String("", "select BodyRTF from KVXVorlage where Name = 'Eigener Baustein'"), "Hallo");
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from KVXRubrik"), 1);   // an existing table is not seeded

    // A column that exists is never touched, even where it holds NULL.
    h->ExecSQL("update KVXEmpfaenger set EmpfType = NULL");
    TDBUpdater(*h).CheckTables();
    EXPECT_TRUE(h->CalcSQL_String("x", "select coalesce(EmpfType, 'null') from KVXEmpfaenger") == "null");
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from KVXVorlage"), 1);   // copied once only
}

// Processes opening a new store at the same moment: each succeeds, the
// tables are made once and seeded once.
TEST_P(UpdaterTest, ProcessesStartingTogetherOnANewStoreAllSucceed)
{
    for (int round = 0; round < 4; ++round) {
        TQMBDatabaseConfig config = Config();
        if (IsSQLite())
            config.DatabaseName = QString("round%1.db").arg(round);
        else
            config = MariaDBServer::Instance().NewSchema();
        const int failed = RunTogether(8, [&](int) {
            auto h = TQMBDatabaseFactory::CreateDbHandler(config, QString(), -1);
            h->SetConnected(true);
            TDBUpdater(*h).CheckTables();
            return true;
        });
        ASSERT_EQ(failed, 0) << "round " << round;
        auto h = TQMBDatabaseFactory::CreateDbHandler(config, QString(), -1);
        h->SetConnected(true);
        EXPECT_EQ(h->getTableNames(false).size(), 12);
        EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from KVXKategorie"), 2);
        EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from KVXRubrik"), 7);
        EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from KVXVorlage"), 7);
    }
}

INSTANTIATE_TEST_SUITE_P(Stores, UpdaterTest, ::testing::ValuesIn(Backends()), BackendName);
