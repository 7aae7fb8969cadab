#pragma once
// The default store: one SQLite file through QtSql's QSQLITE driver.
// A second process holding the write lock makes a statement wait (busy
// time-out) instead of failing at once.

#include "db/qtsql/QtSqlStore.h"

namespace kalvex {

class TQMBSQLiteDatabase : public TQMBQtSqlDatabase {
public:
    explicit TQMBSQLiteDatabase(const TQMBDatabaseConfig& config);
    static constexpr int NewStorePageSize = 65536;   // SQLite's largest

protected:
    void AfterOpen(QSqlDatabase& db) override;
};

class TQMBSQLiteDatabaseHandler : public TQMBQtSqlDatabaseHandler {
public:
    using TQMBQtSqlDatabaseHandler::TQMBQtSqlDatabaseHandler;
    QString ClassName() const override { return QStringLiteral("TQMBSQLiteDatabaseHandler"); }

    void deleteField(const QString& table, const QString& field) override;
    QStringList getTableNames(bool includeSysTables) override;
    void DropIndex(const QString& table, const QString& name) override;
    bool IndexExists(const QString& table, const QString& name) override;
    QString FieldTypeToString(const TFieldInfoV2& field) const override;
    qint64 getDatabaseSize() override;
    QString getSystemTimeCommand(bool includeDate, bool includeTime) const override;
    QString AutoIncFieldOf(const QString& table) override;
    void AddPrimaryKey(const QString& table, const QString& field, const QString& name) override;
    void AddForeignKey(const QString& srcTable, const QString& srcField, const QString& destTable, const QString& destField,
                       const QString& name, TForeignKeyAction onUpdate, TForeignKeyAction onDelete) override;
    void DropForeignKey(const QString& table, const QString& name) override;
    void AddCheckConstraint(const QString& table, const QString& name, const QString& check) override;
    void DropCheckConstraint(const QString& table, const QString& name) override;
    void AlterField(const QString& table, const TFieldInfoV2& field, bool skipIfFieldTypeAndSizeOk) override;
    void ShrinkDatabase() override { ExecSQL(QStringLiteral("VACUUM")); }
    // Through SQLite's own statement on the same connection.
    std::unique_ptr<TRowReader> ReadRows(const QString& command, const TParamInfoV2Array& params = {}) override;
    // The row is inserted with a zero blob of the file's size, which the
    // file then fills piece by piece: the file is never held in memory
    // when the blob is the row's last column (SQLite builds a row whose
    // blob is followed by other values whole).
    qint64 InsertWithBlobFile(const QString& command, TParamInfoV2Array params, const TBlobFile& blob) override;
    static constexpr qint64 BlobChunkSize = 1 << 20;
    QString BuildSqlIfNull(const QString& field, const QString& def) const override;
    QString BuildSqlDataLength(const QString& field, bool returnByteCount, const QString& alias) const override;
    QString BuildSqlMinDateTime(const QString& field, const QString& alias) const override;
    QString BuildSqlMaxDateTime(const QString& field, const QString& alias) const override;

    // Rebuilds a table from its changed CREATE statement (SQLite cannot
    // drop or change columns in place). Keeps the backup when rows are lost.
    void RecreateTable(const QString& table, const std::function<QString(const QString&)>& changeStatement,
                       int expectedFieldCount);

protected:
    QString InsertedIdSQL() const override { return QStringLiteral("SELECT last_insert_rowid()"); }
    // GUIDs as braced text or 16 bytes, date-times as Julian days, text or
    // day counts from 1899-12-30, as the store's options say.
    QVariant StoredValue(const QVariant& value) const override;
    void StartTransaction() override;

private:
    void writeBlob(const TBlobFile& blob, qint64 rowId);
    QStringList columnNames(const QString& table);
    void recreateWith(const QString& operation, const QString& names, int expectedFieldCount,
                      const std::function<QString(const QString&)>& changeStatement);
    QString createStatementOf(const QString& table);
};

}  // namespace kalvex
