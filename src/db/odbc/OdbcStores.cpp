#include "db/odbc/OdbcStores.h"

#include "config/KalvexError.h"
#include "db/mariadb/MariaDBStore.h"
#include "mailinterface/EMail.h"
#include "mailinterface/StreamIO.h"

#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlDriver>
#include <QSqlIndex>
#include <QUuid>

namespace kalvex {

namespace {

using T = TFieldType;

QString sqlServerType(const TFieldInfoV2& f, bool nativeDriver)
{
    switch (f.Datatype) {
    case T::ftString:
    case T::ftWideString: return QStringLiteral(" [nvarchar] (%1)").arg(f.Length);
    case T::ftSmallint: return QStringLiteral(" [smallint]");
    case T::ftInteger: return QStringLiteral(" [int]");
    case T::ftLargeint: return nativeDriver ? QStringLiteral(" [bigint]") : QString();
    case T::ftBoolean: return QStringLiteral(" [bit]");
    case T::ftFloat: return QStringLiteral(" [float]");
    case T::ftDate:
    case T::ftTime:
    case T::ftDateTime: return QStringLiteral(" [datetime]");
    case T::ftBytes: return QStringLiteral(" [rowversion]");
    case T::ftAutoInc: return QStringLiteral(" [int] IDENTITY (1, 1) NOT NULL");
    case T::ftBlob: return nativeDriver ? QStringLiteral(" varbinary(max)") : QStringLiteral(" [image]");
    case T::ftMemo:
    case T::ftWideMemo: return nativeDriver ? QStringLiteral(" nvarchar(max)") : QStringLiteral(" [ntext]");
    case T::ftGuid: return QStringLiteral(" [uniqueidentifier]");
    default: return QString();
    }
}

// The name's closing bracket belongs to the Access type texts.
QString accessType(const TFieldInfoV2& f)
{
    switch (f.Datatype) {
    case T::ftString:
    case T::ftWideString: return QStringLiteral("] Text (%1)").arg(f.Length);
    case T::ftSmallint: return QStringLiteral("] integer");
    case T::ftInteger: return QStringLiteral("] Integer");
    case T::ftBoolean: return QStringLiteral("] yesno");
    case T::ftFloat: return QStringLiteral("] float");
    case T::ftDate:
    case T::ftTime:
    case T::ftDateTime: return QStringLiteral("] datetime");
    case T::ftAutoInc: return QStringLiteral("] counter");
    case T::ftBlob: return QStringLiteral("] longbinary");
    case T::ftMemo:
    case T::ftWideMemo: return QStringLiteral("] memo");
    case T::ftGuid: return QStringLiteral("] GUID");
    default: return QString();
    }
}

QString withName(const TFieldInfoV2& f, const QString& type)
{
    return type.startsWith(QLatin1Char(']')) ? QLatin1Char('[') + f.Fieldname + type
                                              : QLatin1Char('[') + f.Fieldname + QLatin1Char(']') + type;
}

// ODBC values in braces may hold ';' and must double a closing brace.
QString braced(const QString& value)
{
    QString v = value;
    return QLatin1Char('{') + v.replace(QLatin1Char('}'), QStringLiteral("}}")) + QLatin1Char('}');
}

QString odbcDriver(const TQMBDatabaseConfig& config, const QString& fallback)
{
    return config.Options.OdbcDriver.isEmpty() ? fallback : config.Options.OdbcDriver;
}

QString appendParameters(QString text, const QString& additional)
{
    if (additional.isEmpty())
        return text;
    if (!text.endsWith(QLatin1Char(';')))
        text += QLatin1Char(';');
    return text + additional;
}

}  // namespace

// ---------------------------------------------------------------- databases

TQMBOdbcDatabase::TQMBOdbcDatabase(const TQMBDatabaseConfig& config, const QString& odbcConnectionText)
    : TQMBQtSqlDatabase(config, QStringLiteral("QODBC"))
{
    UseConnectionText(odbcConnectionText);
}

// Some drivers (MariaDB's 3.1) refuse a text that ends in ';'.
void TQMBOdbcDatabase::UseConnectionText(const QString& odbcConnectionText)
{
    QString text = odbcConnectionText;
    while (text.endsWith(QLatin1Char(';')))
        text.chop(1);
    QSqlDatabase db = Connection();
    db.setDatabaseName(text);
    db.setConnectOptions(QStringLiteral("SQL_ATTR_LOGIN_TIMEOUT=%1").arg(LoginTimeoutSeconds));
}

TQMBMSSQLDatabase::TQMBMSSQLDatabase(const TQMBDatabaseConfig& config)
    : TQMBOdbcDatabase(config, OdbcConnectionText(config))
{
}

QString TQMBMSSQLDatabase::OleDbConnectionText(const TQMBDatabaseConfig& c)
{
    QString text = QStringLiteral("Provider=") + c.Options.Provider;
    if (c.OSAuthentication)
        text += QStringLiteral(";Integrated Security=SSPI;Persist Security Info=False;");
    else
        text += QStringLiteral(";Password=") + c.Password + QStringLiteral(";Persist Security Info=False;User ID=") + c.Username + QLatin1Char(';');
    text += QStringLiteral("Initial Catalog=") + c.DatabaseName + QStringLiteral(";Data Source=") + c.HostName + QLatin1Char(';');
    if (c.Options.SecurityConnectionEncrypt)
        text += QStringLiteral("Encrypt=Yes;");
    if (c.Options.SecurityConnectionTrustServerCertificate)
        text += QStringLiteral("TrustServerCertificate=Yes;");
    return text + c.Options.AdditionalParameters;
}

// FreeTDS: SERVER takes "host" or "host\instance"; PORT comes from
// freetds.conf or AdditionalParameters ("Port=1433"). Windows logins need
// a Kerberos set-up on Linux; FreeTDS then takes "Trusted_Connection=Yes".
QString TQMBMSSQLDatabase::OdbcConnectionText(const TQMBDatabaseConfig& c)
{
    QString text = QStringLiteral("DRIVER=") + braced(odbcDriver(c, QStringLiteral("FreeTDS"))) + QStringLiteral(";SERVER=")
                 + braced(c.HostName) + QStringLiteral(";DATABASE=") + braced(c.DatabaseName) + QLatin1Char(';');
    if (c.OSAuthentication)
        text += QStringLiteral("Trusted_Connection=Yes;");
    else
        text += QStringLiteral("UID=") + braced(c.Username) + QStringLiteral(";PWD=") + braced(c.Password) + QLatin1Char(';');
    if (c.Options.SecurityConnectionEncrypt)
        text += QStringLiteral("Encrypt=Yes;");
    if (c.Options.SecurityConnectionTrustServerCertificate)
        text += QStringLiteral("TrustServerCertificate=Yes;");
    return appendParameters(text + QStringLiteral("ClientCharset=UTF-8;"), c.Options.AdditionalParameters);
}

TQMBMSSQLFireDACDatabase::TQMBMSSQLFireDACDatabase(const TQMBDatabaseConfig& config)
    : TQMBOdbcDatabase(config, TQMBMSSQLDatabase::OdbcConnectionText(config))
{
}

QStringList TQMBMSSQLFireDACDatabase::FireDACParams(const TQMBDatabaseConfig& c)
{
    QStringList params{QStringLiteral("DriverID=MSSQL"), QStringLiteral("Server=") + c.HostName,
                       QStringLiteral("Database=") + c.DatabaseName};
    if (c.OSAuthentication)
        params << QStringLiteral("OSAuthent=Yes");
    else
        params << QStringLiteral("OSAuthent=No") << QStringLiteral("User_Name=") + c.Username << QStringLiteral("Password=") + c.Password;
    if (c.Options.SecurityConnectionEncrypt)
        params << QStringLiteral("Encrypt=Yes");
    if (c.Options.SecurityConnectionTrustServerCertificate)
        params << QStringLiteral("ODBCAdvanced=TrustServerCertificate=Yes");
    return params;
}

TQMBADODatabase::TQMBADODatabase(const TQMBDatabaseConfig& config)
    : TQMBOdbcDatabase(config, OdbcConnectionText(config))
{
}

QString TQMBADODatabase::OleDbConnectionText(const TQMBDatabaseConfig& c, const QString& provider, const QString& systemDatabase)
{
    const QString head = QStringLiteral("Provider=") + provider + QStringLiteral(";User ID=") + c.Username + QLatin1Char(';')
                       + QStringLiteral("Data Source=") + c.FilePath() + QLatin1Char(';');
    if (!systemDatabase.isEmpty())
        return head + QStringLiteral("Password=") + c.Password + QLatin1Char(';')
             + QStringLiteral("Mode=Share Deny None;Extended Properties=\"\";Persist Security Info=False;Jet OLEDB:System database=")
             + systemDatabase + QStringLiteral(";Jet OLEDB:Registry Path=\"\";Jet OLEDB:Engine Type=5;");
    return head
         + QStringLiteral("Mode=Share Deny None;Extended Properties=\"\";Persist Security Info=False;Jet OLEDB:System database=\"\";"
                          "Jet OLEDB:Registry Path=\"\";Jet OLEDB:Database Password=\"")
         + c.Password + QStringLiteral("\";Jet OLEDB:Engine Type=5;")
         + QStringLiteral("Jet OLEDB:Database Locking Mode=0;Jet OLEDB:Global Partial Bulk Ops=2;Jet OLEDB:Global Bulk Transactions=1;"
                          "Jet OLEDB:New Database Password=\"\";")
         + QStringLiteral("Jet OLEDB:Create System Database=False;Jet OLEDB:Encrypt Database=False;Jet OLEDB:Don't Copy Locale on "
                          "Compact=False;Jet OLEDB:Compact Without Replica Repair=False;Jet OLEDB:SFP=False");
}

// mdbtools' driver ("MDBTools", package odbc-mdbtools) reads only; a site
// with a commercial Access ODBC driver names it in "OdbcDriver".
QString TQMBADODatabase::OdbcConnectionText(const TQMBDatabaseConfig& c)
{
    QString text = QStringLiteral("DRIVER=") + braced(odbcDriver(c, QStringLiteral("MDBTools"))) + QStringLiteral(";DBQ=")
                 + braced(c.FilePath()) + QLatin1Char(';');
    if (!c.Password.isEmpty())
        text += QStringLiteral("PWD=") + braced(c.Password) + QLatin1Char(';');
    return appendParameters(text, c.Options.AdditionalParameters);
}

QString TQMBAccessDatabase::OleDbConnectionText(const TQMBDatabaseConfig& c, const QString& systemDatabase)
{
    return TQMBADODatabase::OleDbConnectionText(c, QStringLiteral("Microsoft.ACE.OLEDB.12.0"), systemDatabase);
}

// ---------------------------------------------------------------- dialects

TOdbcDialect MSSQLDialect()
{
    TOdbcDialect d{QStringLiteral("TQMBMSSQLDataBaseHandler"), QStringLiteral("SELECT SCOPE_IDENTITY()"),
                   [](const TFieldInfoV2& f) { return sqlServerType(f, false); }};
    d.sqlServer = true;
    return d;
}

TOdbcDialect MSSQLFireDACDialect()
{
    TOdbcDialect d{QStringLiteral("TQMBMSSQLFireDACDataBaseHandler"), QStringLiteral("SELECT SCOPE_IDENTITY()"),
                   [](const TFieldInfoV2& f) { return sqlServerType(f, true); }};
    d.sqlServer = true;
    return d;
}

TOdbcDialect AccessDialect(const QString& className)
{
    TOdbcDialect d{className, QStringLiteral("SELECT @@IDENTITY"), accessType};
    d.systemTimeSql = QStringLiteral("Now()");
    return d;
}

TOdbcDialect MariaDBOdbcDialect()
{
    TOdbcDialect d{QStringLiteral("TQMBOdbcDataBaseHandler"), QStringLiteral("SELECT LAST_INSERT_ID()"), MariaDBColumnType};
    d.nativeSql = BracketsToBackticks;
    d.systemTimeSql = QStringLiteral("NOW()");
    return d;
}

// ---------------------------------------------------------------- handler

TQMBOdbcDataBaseHandler::TQMBOdbcDataBaseHandler(std::unique_ptr<TQMBDatabase> database, const QString& logPrefix,
                                                 int datasetCount, TOdbcDialect dialect)
    : TQMBQtSqlDatabaseHandler(std::move(database), logPrefix, datasetCount), FDialect(std::move(dialect))
{
}

QString TQMBOdbcDataBaseHandler::FieldTypeToString(const TFieldInfoV2& field) const
{
    const QString type = FDialect.columnType(field);
    if (type.isEmpty())
        throw EKalvex(QStringLiteral("%1\nUnbekannter Feldtyp für \"%2\" Datatype=%3")
                          .arg(FDialect.className, field.Fieldname).arg(static_cast<int>(field.Datatype)));
    const bool addNotNull = field.NotNull && !type.endsWith(QLatin1String(" NOT NULL"));
    return withName(field, type) + (addNotNull ? QStringLiteral(" NOT NULL") : QString());
}

// The servers' own types take date-times, booleans and GUIDs as they are.
QVariant TQMBOdbcDataBaseHandler::StoredValue(const QVariant& value) const
{
    switch (value.typeId()) {
    case QMetaType::QDateTime:
    case QMetaType::QDate:
    case QMetaType::Bool: return value;
    case QMetaType::QUuid: return GuidToString(value.toUuid());
    default: return TQMBQtSqlDatabaseHandler::StoredValue(value);
    }
}

void TQMBOdbcDataBaseHandler::deleteField(const QString& table, const QString& field)
{
    const QString prefix = FDialect.className + QStringLiteral(".DeleteField(\"%1\", \"%2\"): ").arg(table, field);
    try {
        ForgetPreparedStatements();
        ExecSQL(QStringLiteral("ALTER TABLE [%1] DROP COLUMN [%2]").arg(table, field), TECommandTypes::sttDDL);
        FFieldExistsCache.ForgetTable(table);
    } catch (const EKalvex& e) {
        throw EKalvex(prefix + e.message());
    }
}

// The ODBC catalog answers for every driver alike.
QStringList TQMBOdbcDataBaseHandler::getTableNames(bool includeSysTables)
{
    QStringList names = db().Connection().tables(QSql::Tables);
    if (includeSysTables)
        names << db().Connection().tables(QSql::SystemTables);
    names.sort(Qt::CaseInsensitive);
    return names;
}

void TQMBOdbcDataBaseHandler::DropIndex(const QString& table, const QString& name)
{
    ExecSQL(QStringLiteral("DROP INDEX [%1] ON [%2]").arg(name, table), TECommandTypes::sttDDL);
}

bool TQMBOdbcDataBaseHandler::IndexExists(const QString& table, const QString& name)
{
    if (FDialect.sqlServer)
        return CalcSQL_Int(0, QStringLiteral("SELECT count(*) FROM sys.indexes WHERE name = :n AND object_id = OBJECT_ID(:t)"),
                           {P(QStringLiteral("n"), name), P(QStringLiteral("t"), table)}) > 0;
    return db().Connection().primaryIndex(table).name().compare(name, Qt::CaseInsensitive) == 0;
}

qint64 TQMBOdbcDataBaseHandler::getDatabaseSize()
{
    if (FDialect.sqlServer)
        return CalcSQL_Int(0, QStringLiteral("SELECT SUM(CAST(size AS bigint)) * 8192 FROM sys.database_files"));
    return QFileInfo(FDatabase->ConnectionInfo().FilePath()).size();
}

QDateTime TQMBOdbcDataBaseHandler::getSystemTime()
{
    TQMBDataSet* ds = OpenSQL(QStringLiteral("SELECT ") + FDialect.systemTimeSql);
    const QDateTime now = ds->Next() ? ds->getDataSet().value(0).toDateTime() : QDateTime();
    ds->Close();
    return now;
}

QString TQMBOdbcDataBaseHandler::getSystemTimeCommand(bool includeDate, bool includeTime) const
{
    if (includeDate && includeTime)
        return FDialect.systemTimeSql;
    if (includeDate)
        return FDialect.sqlServer ? QStringLiteral("CAST(GETDATE() AS date)") : QStringLiteral("Date()");
    return FDialect.sqlServer ? QStringLiteral("CAST(GETDATE() AS time)") : QStringLiteral("Time()");
}

QString TQMBOdbcDataBaseHandler::SetAutoIncInsertSQL(const QString& table, bool activate)
{
    return QStringLiteral("SET IDENTITY_INSERT [") + table + QStringLiteral("] ") + (activate ? QStringLiteral("ON") : QStringLiteral("OFF"));
}

void TQMBOdbcDataBaseHandler::SetAutoIncInsert(const QString& table, bool activate)
{
    ExecSQL(SetAutoIncInsertSQL(table, activate), TECommandTypes::sttExecute);
}

// [datetime] columns take the server's own type.
QVariant TQMBOdbcDataBaseHandler::DateTimeValue(double days) const
{
    return DaysToDateTime(days);
}

// SQL Server renames columns through its procedure; the others speak ALTER TABLE.
void TQMBOdbcDataBaseHandler::RenameField(const QString& table, const QString& oldName, const QString& newName)
{
    if (!FDialect.sqlServer) {
        TQMBQtSqlDatabaseHandler::RenameField(table, oldName, newName);
        return;
    }
    ForgetPreparedStatements();
    ExecSQL(QStringLiteral("EXEC sp_rename '%1.%2', '%3', 'COLUMN'").arg(table, oldName, newName), TECommandTypes::sttDDL);
    FFieldExistsCache.ForgetTable(table);
}

// ---------------------------------------------------------------- registration

namespace {

template <class Database>
void registerOdbcStore(const char* databaseClass, const char* handlerClass, TOdbcDialect (*dialect)())
{
    TQMBDatabaseFactory::RegisterDatabaseClass(QString::fromLatin1(databaseClass), [](const TQMBDatabaseConfig& c) {
        return std::make_unique<Database>(c);
    });
    TQMBDatabaseFactory::RegisterHandlerClass(
        QString::fromLatin1(handlerClass),
        [dialect](std::unique_ptr<TQMBDatabase> db, const QString& prefix, int count) -> std::unique_ptr<TQMBDatabaseHandler> {
            return std::make_unique<TQMBOdbcDataBaseHandler>(std::move(db), prefix, count, dialect());
        });
}

TOdbcDialect jetDialect() { return AccessDialect(QStringLiteral("TQMBADODataBaseHandler")); }
TOdbcDialect aceDialect() { return AccessDialect(QStringLiteral("TQMBAccessDataBaseHandler")); }

}  // namespace

void RegisterOdbcStores()
{
    registerOdbcStore<TQMBMSSQLDatabase>("TQMBMSSQLDatabase", "TQMBMSSQLDataBaseHandler", MSSQLDialect);
    registerOdbcStore<TQMBMSSQLFireDACDatabase>("TQMBMSSQLFireDACDatabase", "TQMBMSSQLFireDACDataBaseHandler", MSSQLFireDACDialect);
    registerOdbcStore<TQMBADODatabase>("TQMBADODatabase", "TQMBADODataBaseHandler", jetDialect);
    registerOdbcStore<TQMBAccessDatabase>("TQMBAccessDatabase", "TQMBAccessDataBaseHandler", aceDialect);
}

}  // namespace kalvex
