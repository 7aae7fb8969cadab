#pragma once
// The Windows-era stores, reached on Linux through QtSql's QODBC driver:
// SQL Server (FreeTDS, driver "FreeTDS") in two flavours and Access files
// (Jet and ACE; on Linux the mdbtools ODBC driver, which reads only).
//
// Each database keeps the connection text that the original provider
// takes (OleDbConnectionText, FireDACParams) next to the ODBC text that
// the Linux driver takes (OdbcConnectionText); the latter opens the
// connection. Each handler brings its column types, its inserted-id query
// and its catalog queries; the SQL they send is bracket-quoted as written,
// which both servers read natively.

#include "db/qtsql/QtSqlStore.h"

namespace kalvex {

// How an ODBC handler speaks to its server.
struct TOdbcDialect {
    QString className;
    QString insertedIdSql;
    std::function<QString(const TFieldInfoV2&)> columnType;   // "" refuses the type
    std::function<QString(const QString&)> nativeSql = [](const QString& sql) { return sql; };
    QString systemTimeSql = QStringLiteral("GETDATE()");
    bool sqlServer = false;   // catalog and size queries of SQL Server
};

class TQMBOdbcDatabase : public TQMBQtSqlDatabase {
public:
    static constexpr int LoginTimeoutSeconds = 15;
    TQMBOdbcDatabase(const TQMBDatabaseConfig& config, const QString& odbcConnectionText);
    // Only when the ODBC text does not depend on virtual calls.
    void UseConnectionText(const QString& odbcConnectionText);
};

class TQMBMSSQLDatabase : public TQMBOdbcDatabase {
public:
    explicit TQMBMSSQLDatabase(const TQMBDatabaseConfig& config);
    static QString OleDbConnectionText(const TQMBDatabaseConfig& config);
    static QString OdbcConnectionText(const TQMBDatabaseConfig& config);
};

class TQMBMSSQLFireDACDatabase : public TQMBOdbcDatabase {
public:
    explicit TQMBMSSQLFireDACDatabase(const TQMBDatabaseConfig& config);
    static QStringList FireDACParams(const TQMBDatabaseConfig& config);
};

class TQMBADODatabase : public TQMBOdbcDatabase {
public:
    explicit TQMBADODatabase(const TQMBDatabaseConfig& config);
    // The Jet text; the ACE store's differs in the provider only.
    static QString OleDbConnectionText(const TQMBDatabaseConfig& config, const QString& provider = QStringLiteral("Microsoft.Jet.OLEDB.4.0"),
                                       const QString& systemDatabase = QString());
    static QString OdbcConnectionText(const TQMBDatabaseConfig& config);
};

class TQMBAccessDatabase : public TQMBADODatabase {
public:
    using TQMBADODatabase::TQMBADODatabase;
    static QString OleDbConnectionText(const TQMBDatabaseConfig& config, const QString& systemDatabase = QString());
};

class TQMBOdbcDataBaseHandler : public TQMBQtSqlDatabaseHandler {
public:
    TQMBOdbcDataBaseHandler(std::unique_ptr<TQMBDatabase> database, const QString& logPrefix, int datasetCount,
                            TOdbcDialect dialect);
    QString ClassName() const override { return FDialect.className; }
    QString NativeSQL(const QString& command) const override { return FDialect.nativeSql(command); }

    void deleteField(const QString& table, const QString& field) override;
    QStringList getTableNames(bool includeSysTables) override;
    void DropIndex(const QString& table, const QString& name) override;
    bool IndexExists(const QString& table, const QString& name) override;
    QString FieldTypeToString(const TFieldInfoV2& field) const override;
    qint64 getDatabaseSize() override;
    QDateTime getSystemTime() override;
    QString getSystemTimeCommand(bool includeDate, bool includeTime) const override;

    // SQL Server only: the newest row version of the database, and inserts
    // with given values for identity columns (copying tables with IDs).
    QString GetRowVersionMaxDBSQL() const { return QStringLiteral("SELECT @@DBTS"); }
    static QString SetAutoIncInsertSQL(const QString& table, bool activate);
    void SetAutoIncInsert(const QString& table, bool activate) override;
    void RenameField(const QString& table, const QString& oldName, const QString& newName) override;
    QVariant DateTimeValue(double days) const override;

protected:
    QString InsertedIdSQL() const override { return FDialect.insertedIdSql; }
    QVariant StoredValue(const QVariant& value) const override;

private:
    TOdbcDialect FDialect;
};

// The dialects of the four stores and, to run the ODBC path against a
// server that is here, of MariaDB's ODBC driver.
TOdbcDialect MSSQLDialect();
TOdbcDialect MSSQLFireDACDialect();
TOdbcDialect AccessDialect(const QString& className);
TOdbcDialect MariaDBOdbcDialect();

void RegisterOdbcStores();

}  // namespace kalvex
