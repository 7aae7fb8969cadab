#include "StoreFixture.h"

#include "config/KalvexError.h"
#include "config/IniPlus.h"
#include "db/sqlite/SQLiteStore.h"

#include <QFileInfo>

using namespace kalvex;
using namespace kalvex::testing;

namespace {


TFieldInfoV2 field(const QString& name, TFieldType type, int length = 0)
{
    TFieldInfoV2 f;
    f.Fieldname = name;
    f.Datatype = type;
    f.Length = length;
    return f;
}

void createNumbers(TQMBDatabaseHandler& h)
{
    h.createTable("Zahlen", {field("ID", TFieldType::ftAutoInc), field("Wert", TFieldType::ftInteger),
                             field("Name", TFieldType::ftString, 40)});
    for (int i = 1; i <= 5; ++i)
        h.ExecSQL("insert into [Zahlen] (Wert, Name) values (:w, :n)", {P("w", i % 3), P("n", QString("n%1").arg(i))});
}

}  // namespace

class HandlerTest : public StoreTest {};

TEST_P(HandlerTest, DataSetCacheReuseRules)
{
    auto h = OpenHandler(0);
    createNumbers(*h);
    TQMBDataSetList& cache = h->getDatasetList();
    const int before = cache.Count();
    TQMBDataSet* a = h->OpenSQL("select * from Zahlen");
    a->Close();
    TQMBDataSet* b = h->OpenSQL("select * from Zahlen");
    EXPECT_EQ(a, b);                       // same SQL, closed: reused
    TQMBDataSet* c = h->OpenSQL("select Wert from Zahlen");
    EXPECT_NE(b, c);                       // b is open: a new one
    c->Close();
    b->Close();
    TQMBDataSet* d = h->OpenSQL("select Name from Zahlen");
    EXPECT_TRUE(d == b || d == c);         // limit 0: a closed one with other SQL is taken over
    d->Close();
    EXPECT_LE(cache.Count(), before + 2);

    auto unlimited = OpenHandler(-1);
    TQMBDataSet* e = unlimited->OpenSQL("select 1");
    e->Close();
    TQMBDataSet* f = unlimited->OpenSQL("select 2");
    EXPECT_EQ(e, f);                       // negative count never grows while a closed one exists
    ASSERT_TRUE(f->Next());
    EXPECT_EQ(f->getDataSet().value(0).toInt(), 2);
    f->Close();
}

TEST_P(HandlerTest, FieldAndTableChecksUseTheCache)
{
    auto h = OpenHandler();
    createNumbers(*h);
    EXPECT_TRUE(h->TableExists("zahlen"));
    EXPECT_TRUE(h->TableExists("ZAHLEN"));
    EXPECT_FALSE(h->TableExists("Nirgends"));
    TFieldInfoV2 info;
    EXPECT_TRUE(h->FieldExists("Zahlen", "Wert", &info));
    const quint64 statements = h->StatementCount();
    EXPECT_TRUE(h->FieldExists("ZAHLEN", "wert"));
    EXPECT_FALSE(h->FieldExists("Zahlen", "Fehlt"));
    EXPECT_FALSE(h->FieldExists("Zahlen", "Fehlt"));
    EXPECT_EQ(h->StatementCount(), statements + 1);   // only the first miss asked the store
    h->addField("Zahlen", "Neu", TFieldType::ftInteger, 0);
    EXPECT_TRUE(h->FieldExists("Zahlen", "Neu"));
    h->addField("Zahlen", "Neu", TFieldType::ftInteger, 0);   // already there: nothing happens
}

TEST_P(HandlerTest, ParametersAndMessages)
{
    auto h = OpenHandler();
    createNumbers(*h);
    EXPECT_EQ(ErrorOf([&] { h->ExecSQL("update Zahlen set Wert = :w where ID = :id", {P("w", 1)}); }),
              "Fehlender Parameter \"id\"");
    EXPECT_EQ(ErrorOf([&] { h->ExecSQL("select :p1, :p2", QVariantList{1, QVariant()}); }),
              "Parameter (index=1) in Parameterliste darf nicht Null sein");
    // A colon inside quotes or a "::" cast is no parameter.
    EXPECT_EQ(h->CalcSQL_String("", "select 'a:b' as t where :x = 'c'", {P("x", "c")}), "a:b");
    const qint64 id = h->ExecSQL("insert into [Zahlen] (Wert) values (:w)", {P("w", 9)}, true,
                                 TECommandTypes::sttInsert, TExecSQLReturnValue::erInsertedID);
    EXPECT_EQ(id, 6);
    EXPECT_EQ(h->CalcSQL_MaxInt("Zahlen", "Wert"), 9);
    EXPECT_FALSE(ErrorOf([&] { h->ExecSQL("select * from Nirgends"); }).isEmpty());
    EXPECT_TRUE(ErrorOf([&] { h->FieldTypeToString(field("Gross", TFieldType::ftUnknown)); }).contains("Unbekannter Feldtyp"));

    TQMBDatabaseConfig config;
    config.DatabaseType = TQMBDatabaseConfigType::dbtOracle;
    EXPECT_EQ(ErrorOf([&] { TQMBDatabaseFactory::CreateDbHandler(config, "", -1); }),
              "TQMBDatabaseHandlerClass nicht zugewiesen (TQMBOracleDataBaseHandler)");
    config.DatabaseType = TQMBDatabaseConfigType::dbtMySQL;
    EXPECT_EQ(ErrorOf([&] { TQMBDatabaseFactory::CreateDbHandler(config, "", -1); }),
              "TQMBDatabaseFactory.CreateDbHandler: DatabaseType nicht unterstützt 7");
}

TEST_P(HandlerTest, NestedTransactionsCommitAtTheOuterEnd)
{
    auto h = OpenHandler();
    createNumbers(*h);
    auto other = OpenHandler();   // a second connection sees only committed rows
    h->BeginTrans();
    h->BeginTrans();
    h->ExecSQL("delete from Zahlen where ID = 1");
    h->RollbackTrans();          // counted only
    EXPECT_EQ(h->GetTransactionNestedCount(), 1u);
    EXPECT_EQ(other->CalcSQL_Int(0, "select count(*) from Zahlen"), 5);
    h->CommitTrans();
    EXPECT_EQ(other->CalcSQL_Int(0, "select count(*) from Zahlen"), 4);
}

TEST_P(HandlerTest, TableRecreationKeepsRowsOrItsBackup)
{
    auto h = OpenHandler();
    createNumbers(*h);
    h->deleteField("Zahlen", "Name");
    EXPECT_FALSE(h->FieldExists("Zahlen", "Name"));
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from Zahlen"), 5);

    // A new definition that drops duplicate values loses rows: the backup
    // table stays and the count message names it.
    auto* sqlite = dynamic_cast<TQMBSQLiteDatabaseHandler*>(h.get());
    if (!sqlite)
        return;
    const QString msg = ErrorOf([&] {
        sqlite->RecreateTable("Zahlen", [](QString sql) {
            return sql.replace("[Wert] INTEGER", "[Wert] INTEGER UNIQUE ON CONFLICT IGNORE");
        }, 2);
    });
    EXPECT_TRUE(msg.startsWith("Error while copying: different dataset count: before=5, after=3, Backup in Zahlen_BcUp"))
        << msg.toStdString();
    const QStringList tables = h->getTableNames(false);
    EXPECT_EQ(tables.filter("Zahlen_BcUp").size(), 1);
    EXPECT_EQ(h->CalcSQL_Int(0, "select count(*) from [" + tables.filter("Zahlen_BcUp").first() + "]"), 5);
}

TEST_P(HandlerTest, ConnectionSettingsReadBackScrambled)
{
    const QString ini = FDir.filePath("serverdboptions.ini");
    TQMBDatabaseConfig config;
    config.DatabaseType = TQMBDatabaseConfigType::dbtMSSQL;
    config.HostName = "srv01";
    config.Username = "sa";
    config.Password = "Pässwört!~x";
    config.DatabaseName = "kalvex";
    config.Options.AdditionalParameters = "Encrypt=yes";
    TQMBDatabaseFactory::SaveDatabaseConfig(ini, "Kalvex", config);
    const QString text = TIniFile(ini).ReadString("Kalvex", "Password", "");
    EXPECT_NE(text, config.Password);
    TQMBDatabaseConfig back;
    TQMBDatabaseFactory::LoadDatabaseConfig(ini, "Kalvex", back);
    EXPECT_EQ(back.Password, config.Password);
    EXPECT_EQ(back.Username, "sa");
    EXPECT_EQ(back.DatabaseType, TQMBDatabaseConfigType::dbtMSSQL);
    TIniFile(ini).WriteInteger("Alle", "NoCode", 1);
    TQMBDatabaseFactory::SaveDatabaseConfig(ini, "Kalvex", config);
    EXPECT_EQ(TIniFile(ini).ReadString("Kalvex", "Password", ""), config.Password);
}

INSTANTIATE_TEST_SUITE_P(Stores, HandlerTest, ::testing::ValuesIn(Backends()), BackendName);

namespace {

std::unique_ptr<TQMBDatabaseHandler> openSQLite(const QTemporaryDir& dir, const QString& name,
                                                TQMBDatabaseConfigSqliteGuidFormat guid = {},
                                                TQMBDatabaseConfigSqliteDateTimeFormat dateTime = {})
{
    TQMBDatabaseConfig config;
    config.HostName = dir.path();
    config.DatabaseName = name;
    config.Options.SqliteGuidFormat = guid;
    config.Options.SqliteDateTimeFormat = dateTime;
    auto h = TQMBDatabaseFactory::CreateDbHandler(config, QString(), -1);
    h->SetConnected(true);
    return h;
}

}  // namespace

// The SQLite store's options: formats of typed GUIDs and date-times, unknown
// values refused before the file is opened, commits with synchronous NORMAL.
TEST(SQLiteOptionsTest, FormatsSynchronousAndUnknownValues)
{
    using G = TQMBDatabaseConfigSqliteGuidFormat;
    using D = TQMBDatabaseConfigSqliteDateTimeFormat;
    QTemporaryDir dir;
    const QUuid guid("{0F637C8A-F91A-4C32-822D-B6D1697C9146}");
    const QDateTime when(QDate(2024, 5, 6), QTime(18, 0));
    struct Row {
        G guidFormat;
        D dateTimeFormat;
        QString storedGuid;
        QString storedDate;
    };
    const Row rows[] = {
        {G::dbgfDefault, D::dbdtfDefault, "text:{0F637C8A-F91A-4C32-822D-B6D1697C9146}", "real:2460437.25"},
        {G::dbgfString, D::dbdtfReal, "text:{0F637C8A-F91A-4C32-822D-B6D1697C9146}", "real:2460437.25"},
        {G::dbgfBinary, D::dbdtfString, "blob:0F637C8AF91A4C32822DB6D1697C9146", "text:2024-05-06 18:00:00.000"},
        {G::dbgfBinary, D::dbdtfDelphi, "blob:0F637C8AF91A4C32822DB6D1697C9146", "real:45418.75"},
    };
    int n = 0;
    for (const Row& row : rows) {
        auto h = openSQLite(dir, QString("f%1.db").arg(++n), row.guidFormat, row.dateTimeFormat);
        EXPECT_EQ(h->CalcSQL_Int(-1, "PRAGMA synchronous"), 1);   // NORMAL
        h->ExecSQL("create table t (g GUID, d DATETIME)");
        h->ExecSQL("insert into t (g, d) values (:g, :d)", {P("g", guid), P("d", when)});
        auto stored = [&](const char* column) {
            const QString c = QString::fromLatin1(column);
            return h->CalcSQL_String("", "select typeof(" + c + ") || ':' || case typeof(" + c + ") when 'blob' then hex(" + c
                                             + ") when 'real' then printf('%.2f', " + c + ") else " + c + " end from t");
        };
        EXPECT_EQ(stored("g"), row.storedGuid) << n;
        EXPECT_EQ(stored("d"), row.storedDate) << n;
    }
    TQMBDatabaseConfig bad;
    bad.HostName = dir.path();
    bad.DatabaseName = "bad.db";
    bad.Options.SqliteGuidFormat = static_cast<G>(7);
    EXPECT_EQ(ErrorOf([&] { TQMBDatabaseFactory::CreateDbHandler(bad, QString(), -1); }),
              "TQMBSQLiteDatabase.Create: unknown Options.SqliteGuidFormat: 7");
    bad.Options.SqliteGuidFormat = G::dbgfBinary;
    bad.Options.SqliteDateTimeFormat = static_cast<D>(-1);
    EXPECT_EQ(ErrorOf([&] { TQMBDatabaseFactory::CreateDbHandler(bad, QString(), -1); }),
              "TQMBSQLiteDatabase.Create: unknown Options.SqliteDateTimeFormat: -1");
    EXPECT_FALSE(QFile::exists(dir.filePath("bad.db")));
}

// Deleted rows leave free pages behind; shrinking gives them back.
TEST(SQLiteOptionsTest, ShrinkDatabaseCompactsTheFile)
{
    QTemporaryDir dir;
    auto h = openSQLite(dir, "shrink.db");
    h->ExecSQL("create table t (b BLOB)");
    h->ExecSQL("insert into t (b) values (:b)", {P("b", QByteArray(4 << 20, 'x'))});
    h->ExecSQL("delete from t");
    const qint64 before = QFileInfo(dir.filePath("shrink.db")).size();
    h->ShrinkDatabase();
    const qint64 after = QFileInfo(dir.filePath("shrink.db")).size();
    EXPECT_GT(before, 4 << 20);
    EXPECT_LT(after, 1 << 20);
    EXPECT_EQ(h->CalcSQL_Int(-1, "select count(*) from t"), 0);
}
