// The ODBC stores: what they would send to SQL Server and Access (no such
// server or writable driver runs here), and the whole ODBC path run for
// real against the private MariaDB server through MariaDB's ODBC driver.

#include "MariaDBServer.h"
#include "StoreFixture.h"

#include "config/KalvexError.h"
#include "db/mariadb/MariaDBStore.h"
#include "db/odbc/OdbcStores.h"

#include <gtest/gtest.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {


TQMBDatabaseConfig serverConfig()
{
    TQMBDatabaseConfig c;
    c.HostName = "sql01\\KALVEX";
    c.DatabaseName = "Mail";
    c.Username = "sa";
    c.Password = "ge;heim}";
    return c;
}

std::unique_ptr<TQMBDatabaseHandler> handlerOf(TQMBDatabaseConfigType type)
{
    TQMBDatabaseConfig c = serverConfig();
    c.DatabaseType = type;
    return TQMBDatabaseFactory::CreateDbHandler(c, QString(), -1);   // not connected
}

TFieldInfoV2 field(TFieldType type, int length = 0, bool notNull = false)
{
    return TFieldInfoV2{"F", type, length, QString(), notNull};
}

}  // namespace

TEST(OdbcStores, ConnectionTexts)
{
    TQMBDatabaseConfig c = serverConfig();
    c.Options.SecurityConnectionEncrypt = true;
    c.Options.SecurityConnectionTrustServerCertificate = true;
    c.Options.AdditionalParameters = "Application Name=Kalvex";
    EXPECT_EQ(TQMBMSSQLDatabase::OleDbConnectionText(c),
              "Provider=SQLOLEDB.1;Password=ge;heim};Persist Security Info=False;User ID=sa;Initial Catalog=Mail;"
              "Data Source=sql01\\KALVEX;Encrypt=Yes;TrustServerCertificate=Yes;Application Name=Kalvex");
    EXPECT_EQ(TQMBMSSQLDatabase::OdbcConnectionText(c),
              "DRIVER={FreeTDS};SERVER={sql01\\KALVEX};DATABASE={Mail};UID={sa};PWD={ge;heim}}};Encrypt=Yes;"
              "TrustServerCertificate=Yes;ClientCharset=UTF-8;Application Name=Kalvex");
    c.OSAuthentication = true;
    c.Options.Provider = "MSOLEDBSQL";
    EXPECT_TRUE(TQMBMSSQLDatabase::OleDbConnectionText(c).startsWith(
        "Provider=MSOLEDBSQL;Integrated Security=SSPI;Persist Security Info=False;Initial Catalog=Mail;"));
    EXPECT_TRUE(TQMBMSSQLDatabase::OdbcConnectionText(c).contains(";Trusted_Connection=Yes;"));
    EXPECT_EQ(TQMBMSSQLFireDACDatabase::FireDACParams(c),
              (QStringList{"DriverID=MSSQL", "Server=sql01\\KALVEX", "Database=Mail", "OSAuthent=Yes", "Encrypt=Yes",
                           "ODBCAdvanced=TrustServerCertificate=Yes"}));
    c.OSAuthentication = false;
    EXPECT_EQ(TQMBMSSQLFireDACDatabase::FireDACParams(c).mid(3, 3),
              (QStringList{"OSAuthent=No", "User_Name=sa", "Password=ge;heim}"}));

    TQMBDatabaseConfig a;
    a.HostName = "/srv/daten/";
    a.DatabaseName = "kalvex.mdb";
    a.Username = "Admin";
    a.Password = "pw";
    const QString jet = TQMBADODatabase::OleDbConnectionText(a);
    EXPECT_EQ(jet, "Provider=Microsoft.Jet.OLEDB.4.0;User ID=Admin;Data Source=/srv/daten/kalvex.mdb;Mode=Share Deny None;"
                   "Extended Properties=\"\";Persist Security Info=False;Jet OLEDB:System database=\"\";Jet OLEDB:Registry "
                   "Path=\"\";Jet OLEDB:Database Password=\"pw\";Jet OLEDB:Engine Type=5;Jet OLEDB:Database Locking Mode=0;"
                   "Jet OLEDB:Global Partial Bulk Ops=2;Jet OLEDB:Global Bulk Transactions=1;Jet OLEDB:New Database "
                   "Password=\"\";Jet OLEDB:Create System Database=False;Jet OLEDB:Encrypt Database=False;Jet OLEDB:Don't "
                   "Copy Locale on Compact=False;Jet OLEDB:Compact Without Replica Repair=False;Jet OLEDB:SFP=False");
    EXPECT_EQ(TQMBAccessDatabase::OleDbConnectionText(a), QString(jet).replace("Microsoft.Jet.OLEDB.4.0", "Microsoft.ACE.OLEDB.12.0"));
    EXPECT_TRUE(TQMBADODatabase::OleDbConnectionText(a, "Microsoft.Jet.OLEDB.4.0", "/srv/system.mdw")
                    .endsWith("Data Source=/srv/daten/kalvex.mdb;Password=pw;Mode=Share Deny None;Extended Properties=\"\";"
                              "Persist Security Info=False;Jet OLEDB:System database=/srv/system.mdw;Jet OLEDB:Registry "
                              "Path=\"\";Jet OLEDB:Engine Type=5;"));
    EXPECT_EQ(TQMBADODatabase::OdbcConnectionText(a), "DRIVER={MDBTools};DBQ={/srv/daten/kalvex.mdb};PWD={pw};");
}

TEST(OdbcStores, ColumnTypesAndTheSqlTheySend)
{
    using T = TFieldType;
    auto jet = handlerOf(TQMBDatabaseConfigType::dbtMSAccess);
    auto ace = handlerOf(TQMBDatabaseConfigType::dbtMSAccessACCDB);
    auto ole = handlerOf(TQMBDatabaseConfigType::dbtMSSQL);
    auto fire = handlerOf(TQMBDatabaseConfigType::dbtMSSQLFireDAC);
    struct Row { TFieldType type; const char *access, *oledb, *native; };
    const Row rows[] = {
        {T::ftWideString, "[F] Text (40)", "[F] [nvarchar] (40)", "[F] [nvarchar] (40)"},
        {T::ftSmallint, "[F] integer", "[F] [smallint]", "[F] [smallint]"},
        {T::ftInteger, "[F] Integer", "[F] [int]", "[F] [int]"},
        {T::ftBoolean, "[F] yesno", "[F] [bit]", "[F] [bit]"},
        {T::ftFloat, "[F] float", "[F] [float]", "[F] [float]"},
        {T::ftDateTime, "[F] datetime", "[F] [datetime]", "[F] [datetime]"},
        {T::ftAutoInc, "[F] counter", "[F] [int] IDENTITY (1, 1) NOT NULL", "[F] [int] IDENTITY (1, 1) NOT NULL"},
        {T::ftBlob, "[F] longbinary", "[F] [image]", "[F] varbinary(max)"},
        {T::ftWideMemo, "[F] memo", "[F] [ntext]", "[F] nvarchar(max)"},
        {T::ftGuid, "[F] GUID", "[F] [uniqueidentifier]", "[F] [uniqueidentifier]"},
        {T::ftBytes, nullptr, "[F] [rowversion]", "[F] [rowversion]"},
        {T::ftLargeint, nullptr, nullptr, "[F] [bigint]"},
    };
    for (const Row& r : rows) {
        const TFieldInfoV2 f = field(r.type, 40);
        SCOPED_TRACE(static_cast<int>(r.type));
        if (r.access) {
            EXPECT_EQ(jet->FieldTypeToString(f), r.access);
            EXPECT_EQ(ace->FieldTypeToString(f), r.access);
        } else {
            EXPECT_EQ(ErrorOf([&] { jet->FieldTypeToString(f); }).section(" Datatype", 0, 0),
                      "TQMBADODataBaseHandler\nUnbekannter Feldtyp für \"F\"");
        }
        if (r.oledb)
            EXPECT_EQ(ole->FieldTypeToString(f), r.oledb);
        else
            EXPECT_TRUE(ErrorOf([&] { ole->FieldTypeToString(f); }).startsWith("TQMBMSSQLDataBaseHandler\nUnbekannter"));
        EXPECT_EQ(fire->FieldTypeToString(f), r.native);
    }
    EXPECT_EQ(ole->FieldTypeToString(field(T::ftInteger, 0, true)), "[F] [int] NOT NULL");
    EXPECT_EQ(ole->FieldTypeToString(field(T::ftAutoInc, 0, true)), "[F] [int] IDENTITY (1, 1) NOT NULL");
    EXPECT_EQ(ole->getCreateTableCommand("T", {field(T::ftAutoInc)}), "CREATE TABLE [T] ([F] [int] IDENTITY (1, 1) NOT NULL)");

    auto* sqlServer = dynamic_cast<TQMBOdbcDataBaseHandler*>(ole.get());
    ASSERT_NE(sqlServer, nullptr);
    EXPECT_EQ(sqlServer->NativeSQL("select [a] from [b]"), "select [a] from [b]");
    EXPECT_EQ(TQMBOdbcDataBaseHandler::SetAutoIncInsertSQL("KVXAdresse", true), "SET IDENTITY_INSERT [KVXAdresse] ON");
    EXPECT_EQ(TQMBOdbcDataBaseHandler::SetAutoIncInsertSQL("KVXAdresse", false), "SET IDENTITY_INSERT [KVXAdresse] OFF");
    EXPECT_EQ(sqlServer->GetRowVersionMaxDBSQL(), "SELECT @@DBTS");
    EXPECT_EQ(BracketsToBackticks("select [a`b], 'x [y]', \"[z]\" from [t]"), "select `a``b`, 'x [y]', \"[z]\" from `t`");
}

// Every handler operation through QODBC and a real ODBC driver: named
// parameters become positional ones, ids come back, umlauts and bytes
// survive, nested transactions count, the ODBC catalog lists tables.
TEST(OdbcStores, OdbcPathEndToEnd)
{
    const TQMBDatabaseConfig schema = MariaDBServer::Instance().NewSchema();
    TQMBDatabaseFactory::CreateDbHandler(schema, QString(), -1)->SetConnected(true);   // makes the schema
    const QString text = QString("DRIVER={MariaDB Unicode};SOCKET=%1;DATABASE=%2;UID=root;")
                             .arg(MariaDBServer::Instance().Socket(), schema.DatabaseName);
    TQMBOdbcDataBaseHandler odbc(std::make_unique<TQMBOdbcDatabase>(schema, text), QString(), -1, MariaDBOdbcDialect());
    TQMBDatabaseHandler& h = odbc;   // the callers' view, with its default arguments
    h.SetConnected(true);

    using T = TFieldType;
    h.createTable("Post", {{"ID", T::ftAutoInc, 0, {}, false}, {"Betreff", T::ftWideString, 100, {}, false},
                           {"Anhang", T::ftBlob, 0, {}, false}, {"Nr", T::ftInteger, 0, {}, false}});
    const QByteArray bytes("\x00\x01\xff\xfe", 4);
    qint64 id = 0;
    for (int i = 1; i <= 3; ++i)
        id = h.ExecSQL("insert into [Post] ([Betreff], [Anhang], [Nr]) values (:b, :a, :n)",
                       {P("b", QString("Grüße %1").arg(i)), P("a", bytes), P("n", i)}, true, TECommandTypes::sttInsert,
                       TExecSQLReturnValue::erInsertedID);
    EXPECT_EQ(id, 3);
    EXPECT_EQ(h.CalcSQL_String("", "select [Betreff] from [Post] where [Nr] = :n and [ID] = :n", {P("n", 2)}), "Grüße 2");
    TQMBDataSet* ds = h.OpenSQL("select [Anhang] from [Post] where [ID] = :id", {P("id", 1)});
    ASSERT_TRUE(ds->Next());
    EXPECT_EQ(ds->Field("Anhang").toByteArray(), bytes);
    ds->Close();

    h.BeginTrans();
    h.BeginTrans();
    h.ExecSQL("delete from [Post]");
    h.CommitTrans();
    h.RollbackTrans();   // the outer end decides: nothing was deleted
    EXPECT_EQ(h.CalcSQL_Int(0, "select count(*) from [Post]"), 3);

    EXPECT_TRUE(h.getTableNames(false).contains("Post", Qt::CaseInsensitive));
    EXPECT_TRUE(h.FieldExists("Post", "Nr"));
    h.deleteField("Post", "Nr");
    EXPECT_FALSE(h.FieldExists("Post", "Nr"));
    EXPECT_EQ(ErrorOf([&] { h.ExecSQL("update [Post] set [Betreff] = :b where [ID] = :id", {P("b", "x")}); }),
              "Fehlender Parameter \"id\"");
}
