// The base-class operations of the handler, on every store.

#include "StoreFixture.h"

#include "config/KalvexError.h"

#include <QFile>
#include <QRandomGenerator>
#include <QSet>
#include <QSysInfo>

using namespace kalvex;
using namespace kalvex::testing;

namespace {


TFieldInfoV2 field(const char* name, TFieldType type, int length = 0)
{
    return TFieldInfoV2{name, type, length, QString(), false};
}

}  // namespace

class HandlerOperations : public StoreTest {};

// Two connections taking numbers in turn never get the same one.
TEST_P(HandlerOperations, UniqueIdsAndSessions)
{
    auto a = OpenHandler();
    auto b = OpenHandler();
    QSet<qint64> seen;
    for (int i = 0; i < 20; ++i) {
        seen.insert(a->getUniqueID());
        seen.insert(b->getUniqueID());
    }
    EXPECT_EQ(seen.size(), 40);
    EXPECT_EQ(*std::max_element(seen.begin(), seen.end()), 41);   // the first call seeds the row with 1
    EXPECT_EQ(a->getUniqueID("Belege"), 2);
    EXPECT_EQ(a->CalcSQL_Int(0, "select count(*) from [IDTABLE]"), 1);

    a->UserID = "anna";
    a->InitSession();
    b->UserID = "bernd";
    b->InitSession();
    EXPECT_EQ(a->GetActiveSessionIDs().size(), 2);
    const TSessionInfo info = b->GetSessionInfo(a->SessionID());
    ASSERT_TRUE(info.Valid);
    EXPECT_EQ(info.UserID, "anna");
    EXPECT_EQ(info.LoginComputer, QSysInfo::machineHostName());
    EXPECT_LT(std::abs(info.LoginTime.secsTo(QDateTime::currentDateTime())), 120);
    a->SessionForceClose(b->SessionID());
    EXPECT_FALSE(b->SessionActive());
    EXPECT_TRUE(a->SessionActive());
    EXPECT_FALSE(a->GetSessionInfo("{nicht-da}").Valid);
}

TEST_P(HandlerOperations, CopyTablesAndLargeBlobs)
{
    auto h = OpenHandler();
    h->createTable("Quelle", {field("ID", TFieldType::ftAutoInc), field("Name", TFieldType::ftWideString, 40),
                              field("Wert", TFieldType::ftInteger)});
    for (int i = 1; i <= 4; ++i)
        h->Insert("Quelle", {{"Name", QString("Zeile %1").arg(i)}, {"Wert", i * 10}});
    h->ExecSQL("update Quelle set Name = NULL where ID = 4");

    TCopyTableSettings copy;
    copy.Options = {TCopyTableOption::ctCopyAutoIncAsAutoInc, TCopyTableOption::ctReturnLastAutoInc};
    EXPECT_EQ(h->copyTableValuesV4("Quelle", "Ziel", copy), 4);
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from Ziel"), 4);
    EXPECT_EQ(h->CalcSQL_String("", "select Name from Ziel where ID = 3"), "Zeile 3");
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from Ziel where Name is null"), 1);   // NULL stays NULL

    TCopyTableSettings update;
    update.KeyExists.Active = true;
    update.KeyExists.KeyFieldName = "ID";
    update.KeyExists.KeyExistsAction = TCopyTableSettingsKeyExistsAction::keUpdate;
    update.ReplaceFieldList = {{"Wert", 99}};
    h->copyTableValuesV4("Quelle", "Ziel", update);
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from Ziel"), 4);
    EXPECT_EQ(h->CalcSQL_SumInt("Ziel", "Wert"), 4 * 99);
    update.KeyExists.KeyExistsAction = TCopyTableSettingsKeyExistsAction::keSkip;
    update.ReplaceFieldList = {{"Wert", 1}};
    h->copyTableValuesV4("Quelle", "Ziel", update);
    EXPECT_EQ(h->CalcSQL_SumInt("Ziel", "Wert"), 4 * 99);

    EXPECT_EQ(h->copyTableValuesV3("Quelle", "Teil", {TCopyTableOption::ctReturnMaxIgnoreField}, {"Wert"}, {}, 2), 20);
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from Teil where Wert is null"), 2);

    TCopyTableSettings wrong;
    wrong.Options = {TCopyTableOption::ctCopyAutoIncAsInt, TCopyTableOption::ctCopyAutoIncAsAutoInc};
    EXPECT_EQ(ErrorOf([&] { h->copyTableValuesV4("Quelle", "X", wrong); }),
              "TQMBDatabaseHandler.copyTableValues for \"X\": ctCopyAutoIncAsInt und ctCopyAutoIncAsAutoInc sind nicht gleichzeitig zulässig.");

    h->addField("Quelle", "Daten", TFieldType::ftBlob, 0);
    QByteArray big(3 * 1024 * 1024, Qt::Uninitialized);
    for (char& c : big)
        c = static_cast<char>(QRandomGenerator::global()->bounded(256));
    QFile in(FDir.filePath("gross.bin"));
    ASSERT_TRUE(in.open(QIODevice::WriteOnly));
    in.write(big);
    in.close();
    h->SetLargeBLOBFromFile("Quelle", "ID", 2, "Daten", in.fileName());
    h->GetLargeBLOBAsFile("Quelle", "ID", 2, "Daten", FDir.filePath("zurueck.bin"));
    QFile out(FDir.filePath("zurueck.bin"));
    ASSERT_TRUE(out.open(QIODevice::ReadOnly));
    EXPECT_EQ(out.readAll(), big);
    EXPECT_FALSE(ErrorOf([&] { h->GetLargeBLOBAsFile("Quelle", "ID", 77, "Daten", FDir.filePath("x.bin")); }).isEmpty());
}

TEST_P(HandlerOperations, PerformanceLogRowVersionsAndNames)
{
    auto h = OpenHandler();
    TQMBDatabasePerformanceLog& log = h->PerformanceLog();
    log.Active = true;
    log.AutoCreateTable = true;
    log.DurationMinSeconds = 0;   // every statement counts
    h->createTable("Zahlen", {field("Wert", TFieldType::ftInteger)});
    h->ExecSQL("insert into Zahlen (Wert) values (:w)", {P("w", 5)});
    log.Active = false;
    const qint64 rows = h->CalcSQL_Int(0, "select count(*) from [SqlPerformanceLog]");
    EXPECT_GE(rows, 2);
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from [SqlPerformanceLog] where SqlCommand like '%SqlPerformanceLog%'"), 0);
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from [SqlPerformanceLog] where SqlCommand like 'insert into Zahlen%'"), 1);

    EXPECT_EQ(TQMBDatabaseHandler::ConvertRowVersion(QByteArray::fromHex("00000000000007D1")), 2001);
    EXPECT_EQ(TQMBDatabaseHandler::GetDefaultForeignKeyName("KVXAdresse", "GruppenID", "KVXGruppe", "ID"),
              "FK_KVXAdresse_GruppenID_KVXGruppe_ID");
    h->createTable("Arten", {field("GUID", TFieldType::ftGuid), field("Name", TFieldType::ftWideString, 20)});
    h->Insert("Arten", {{"GUID", QUuid("{6B29FC40-CA47-1067-B31D-00DD010662DA}")}, {"Name", "Rechnung"}});
    EXPECT_EQ(h->CalcSQL_GUID(QUuid(), "select GUID from Arten where Name = :n", {P("n", "Rechnung")}),
              QUuid("{6B29FC40-CA47-1067-B31D-00DD010662DA}"));
    EXPECT_TRUE(h->CalcSQL_GUID(QUuid(), "select GUID from Arten where Name = :n", {P("n", "keine")}).isNull());

    h->Insert("Arten", {{"GUID", QUuid::createUuid()}, {"Name", "Grüße"}});
    const QString where = " from Arten where Name like 'Gr%'";
    EXPECT_EQ(h->CalcSQL_Int(0, "select " + h->BuildSqlDataLength("Name", true, "n") + where), 7);    // UTF-8 bytes
    EXPECT_EQ(h->CalcSQL_Int(0, "select " + h->BuildSqlDataLength("Name", false, "n") + where), 5);   // characters
    EXPECT_EQ(h->CalcSQL_String("", "select " + h->BuildSqlIfNull("NULL", "'leer'") + where), "leer");
}

INSTANTIATE_TEST_SUITE_P(Stores, HandlerOperations, ::testing::ValuesIn(Backends()), BackendName);

// Keys and column changes: SQLite rebuilds the table, MariaDB alters it;
// the rows and the rules come out the same.
TEST_P(HandlerOperations, KeysAndColumnChanges)
{
    auto h = OpenHandler();
    h->createTable("Gruppe", {field("ID", TFieldType::ftInteger), field("Name", TFieldType::ftWideString, 40)});
    h->createTable("Adresse", {field("ID", TFieldType::ftInteger), field("GruppenID", TFieldType::ftInteger),
                               field("EMail", TFieldType::ftWideString, 40)});
    h->Insert("Gruppe", {{"ID", 1}, {"Name", "Kunden"}});
    h->Insert("Gruppe", {{"ID", 2}, {"Name", "Lieferanten"}});
    for (int i = 1; i <= 3; ++i)
        h->Insert("Adresse", {{"ID", i}, {"GruppenID", i == 3 ? 2 : 1}, {"EMail", QString("a%1@example.org").arg(i)}});

    h->AddPrimaryKey("Gruppe", "ID", TQMBDatabaseHandler::GetDefaultPrimaryKeyName("Gruppe", "ID"));
    EXPECT_FALSE(ErrorOf([&] { h->Insert("Gruppe", {{"ID", 1}, {"Name", "doppelt"}}); }).isEmpty());
    h->AddForeignKey("Adresse", "GruppenID", "Gruppe", "ID",
                     TQMBDatabaseHandler::GetDefaultForeignKeyName("Adresse", "GruppenID", "Gruppe", "ID"),
                     TForeignKeyAction::fkaDefault, TForeignKeyAction::fkaCascade);
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from Adresse"), 3);   // the rebuild kept every row
    h->ExecSQL("delete from Gruppe where ID = 1");
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from Adresse"), 1);   // the cascade took the group's addresses

    const QString longAddress = QString(100, 'x') + "@example.org";
    if (!IsSQLite()) {   // SQLite does not enforce text lengths
        EXPECT_FALSE(ErrorOf([&] { h->Insert("Adresse", {{"ID", 9}, {"GruppenID", 2}, {"EMail", longAddress}}); }).isEmpty());
    }
    h->AlterField("Adresse", field("EMail", TFieldType::ftWideString, 200), false);
    h->Insert("Adresse", {{"ID", 10}, {"GruppenID", 2}, {"EMail", longAddress}});
    EXPECT_EQ(h->CalcSQL_String("", "select EMail from Adresse where ID = 10"), longAddress);
    EXPECT_TRUE(ErrorOf([&] { h->AlterField("Adresse", field("Fehlt", TFieldType::ftInteger), false); }).contains("Field Fehlt not exists."));

    h->RenameField("Adresse", "EMail", "Mail");
    EXPECT_TRUE(h->FieldExists("Adresse", "Mail"));
    EXPECT_FALSE(h->FieldExists("Adresse", "EMail"));
    EXPECT_EQ(h->CalcSQL_String("", "select Mail from Adresse where ID = 3"), "a3@example.org");

    const QString fkName = TQMBDatabaseHandler::GetDefaultForeignKeyName("Adresse", "GruppenID", "Gruppe", "ID");
    if (IsSQLite()) {
        EXPECT_EQ(ErrorOf([&] { h->DropForeignKey("Adresse", fkName); }), "ALTER TABLE ADD CONSTRAINT not supported.");
    } else {
        h->DropForeignKey("Adresse", fkName);
        h->ExecSQL("delete from Gruppe where ID = 2");
        EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from Adresse"), 2);   // no cascade any more
    }
}
