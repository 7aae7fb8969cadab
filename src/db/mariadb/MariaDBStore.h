#pragma once
// The server store that Linux sites run: MariaDB (or MySQL) through QtSql's
// QMYSQL driver. The module's SQL is bracket-quoted; the store turns the
// brackets into backticks before the driver sees a statement. Date-times
// are kept as Julian day numbers in DOUBLE columns, as in the SQLite store,
// so the data module's SQL and value handling run unchanged.
//
// Connection: HostName is "host", "host:port" or the path of the server's
// Unix socket; DatabaseName is the schema, created (utf8mb4) when missing
// only when the settings say CreateDatabase=1 (and the user may create it).
//
// The server takes no statement larger than its max_allowed_packet, read
// once per connection: a larger attachment is refused before it is sent.

#include "db/qtsql/QtSqlStore.h"

namespace kalvex {

class TQMBMariaDBDatabase : public TQMBQtSqlDatabase {
public:
    static constexpr int ConnectTimeoutSeconds = 10;
    explicit TQMBMariaDBDatabase(const TQMBDatabaseConfig& config);
    void SetConnected(bool value) override;
    // The server's max_allowed_packet of the open connection; 0 before.
    qint64 MaxAllowedPacket() const { return FMaxAllowedPacket; }

protected:
    void AfterOpen(QSqlDatabase& db) override;
    QString OpenFailure(const QSqlError& error) const override;

private:
    void createSchema();
    qint64 FMaxAllowedPacket = 0;
};

class TQMBMariaDBDataBaseHandler : public TQMBQtSqlDatabaseHandler {
public:
    using TQMBQtSqlDatabaseHandler::TQMBQtSqlDatabaseHandler;
    QString ClassName() const override { return QStringLiteral("TQMBMariaDBDataBaseHandler"); }
    QString NativeSQL(const QString& command) const override;
    QString ErrorMessage(const QSqlError& error) const override;

    // Room in a statement's packet for everything beside the blob.
    static constexpr qint64 PacketReserve = 64 * 1024;
    qint64 MaxBlobSize() override;
    void CheckBlobFits(qint64 size, const QString& name) override;
    qint64 InsertWithBlobFile(const QString& command, TParamInfoV2Array params, const TBlobFile& blob) override;
    // Values over the packet limit are refused before they are sent: the
    // server would drop the connection on them.
    using TQMBQtSqlDatabaseHandler::ExecSQL;
    qint64 ExecSQL(const QString& command, const TParamInfoV2Array& params, bool prepare, TECommandTypes type,
                   TExecSQLReturnValue ret) override;

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
    int schemaLockWaitSeconds() const;
    QString InsertedIdSQL() const override { return QStringLiteral("SELECT LAST_INSERT_ID()"); }
    QString AlterColumnKeyword() const override { return QStringLiteral("MODIFY COLUMN"); }
    QString TableOptions() const override { return QStringLiteral(" ENGINE=InnoDB DEFAULT CHARSET=utf8mb4"); }
};

// Server error numbers the user gets a message of their own for.
enum TMariaDBError {
    meUnknownDatabase = 1049,
    mePacketTooLarge = 1153,
    meLockWaitTimeout = 1205,
    meServerGone = 2006,
    meConnectionLost = 2013,
};

// The user's message for a driver error: German for the errors above,
// with the driver's text in parentheses; the driver's text otherwise.
QString MariaDBErrorMessage(const QSqlError& error, const QString& server, qint64 maxAllowedPacket);

// Sizes as the messages give them: "20,0 MB".
QString MegabyteText(qint64 bytes);

// The column type text after the name; empty for a type the store refuses.
QString MariaDBColumnType(const TFieldInfoV2& field);

// Bracket-quoted names become backtick-quoted ones; quoted text stays.
QString BracketsToBackticks(const QString& sql);

}  // namespace kalvex
