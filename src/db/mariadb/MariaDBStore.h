#pragma once
// The server store that Linux sites run: MariaDB (or MySQL) through QtSql's
// QMYSQL driver. The module's SQL is bracket-quoted; the store turns the
// brackets into backticks before the driver sees a statement. Date-times
// are kept as Julian day numbers in DOUBLE columns, as in the SQLite store,
// so the data module's SQL and value handling run unchanged.
//
// Connection: HostName is "host", "host:port" or the path of the server's
// Unix socket; DatabaseName is the schema, created (utf8mb4) when missing
// and the user may create it.

#include "db/qtsql/QtSqlStore.h"

namespace kalvex {

class TQMBMariaDBDatabase : public TQMBQtSqlDatabase {
public:
    static constexpr int ConnectTimeoutSeconds = 10;
    explicit TQMBMariaDBDatabase(const TQMBDatabaseConfig& config);
    void SetConnected(bool value) override;

protected:
    void AfterOpen(QSqlDatabase& db) override;

private:
    void createSchema();
};

class TQMBMariaDBDataBaseHandler : public TQMBQtSqlDatabaseHandler {
public:
    using TQMBQtSqlDatabaseHandler::TQMBQtSqlDatabaseHandler;
    QString ClassName() const override { return QStringLiteral("TQMBMariaDBDataBaseHandler"); }
    QString NativeSQL(const QString& command) const override;

    void deleteField(const QString& table, const QString& field) override;
    QStringList getTableNames(bool includeSysTables) override;
    void DropIndex(const QString& table, const QString& name) override;
    bool IndexExists(const QString& table, const QString& name) override;
    QString FieldTypeToString(const TFieldInfoV2& field) const override;
    qint64 getDatabaseSize() override;
    QString getSystemTimeCommand(bool includeDate, bool includeTime) const override;
    QString AutoIncFieldOf(const QString& table) override;
    void DropPrimaryKey(const QString& table, const QString& name) override;
    QString BuildSqlDataLength(const QString& field, bool returnByteCount, const QString& alias) const override;
    void DropForeignKey(const QString& table, const QString& name) override;

    // DDL commits at once here: schema changes are serialised by a named
    // lock of the server instead of a transaction.
    static constexpr int SchemaLockTimeoutSeconds = 120;
    void BeginSchemaChange() override;
    void EndSchemaChange(bool commit) override;

protected:
    QString InsertedIdSQL() const override { return QStringLiteral("SELECT LAST_INSERT_ID()"); }
    QString AlterColumnKeyword() const override { return QStringLiteral("MODIFY COLUMN"); }
    QString TableOptions() const override { return QStringLiteral(" ENGINE=InnoDB DEFAULT CHARSET=utf8mb4"); }
};

// The column type text after the name; empty for a type the store refuses.
QString MariaDBColumnType(const TFieldInfoV2& field);

// Bracket-quoted names become backtick-quoted ones; quoted text stays.
QString BracketsToBackticks(const QString& sql);

}  // namespace kalvex
