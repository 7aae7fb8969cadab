#pragma once
// The default store: one SQLite file through QtSql's QSQLITE driver.
// A second process holding the write lock makes a statement wait (busy
// time-out) instead of failing at once.

#include "db/BasedbClasses.h"

#include <QSqlDatabase>

namespace kalvex {

class TQMBSQLiteDatabase : public TQMBDatabase {
public:
    static constexpr int BusyTimeoutMs = 10000;

    explicit TQMBSQLiteDatabase(const TQMBDatabaseConfig& config);
    ~TQMBSQLiteDatabase() override;
    void SetConnected(bool value) override;
    bool GetConnected() const override;
    QSqlDatabase Connection() const;
    const QString& ConnectionName() const { return FConnectionName; }

private:
    QString FConnectionName;
};

class TQMBSQLiteDataSetList : public TQMBDataSetList {
public:
    TQMBSQLiteDataSetList(TQMBDatabaseHandler* handler, int datasetCount, TQMBSQLiteDatabase& db)
        : TQMBDataSetList(handler, datasetCount), FDb(db) {}

protected:
    std::unique_ptr<TQMBDataSet> CreateDataSet(const QString& command, TECommandTypes commandType) override;

private:
    TQMBSQLiteDatabase& FDb;
};

class TQMBSQLiteDatabaseHandler : public TQMBDatabaseHandler {
public:
    TQMBSQLiteDatabaseHandler(std::unique_ptr<TQMBDatabase> database, const QString& logPrefix, int datasetCount);
    ~TQMBSQLiteDatabaseHandler() override;

    void SetConnected(bool value) override;
    bool GetConnected() const override;
    TQMBDataSetList& getDatasetList() override { return *FDatasets; }
    TConnectionError GetConnectionError() const override;

    using TQMBDatabaseHandler::ExecSQL;
    using TQMBDatabaseHandler::OpenSQL;
    qint64 ExecSQL(const QString& command, const TParamInfoV2Array& params, bool prepare, TECommandTypes type,
                   TExecSQLReturnValue ret) override;
    TQMBDataSet* OpenSQL(const QString& command, const TParamInfoV2Array& params, bool prepare,
                         TECommandTypes type) override;

    using TQMBDatabaseHandler::addField;
    void addField(const QString& table, const TFieldInfoV2& field) override;
    void deleteField(const QString& table, const QString& field) override;
    void createTable(const QString& table, const TFieldInfoV2List& fields) override;
    QString getCreateTableCommand(const QString& table, const TFieldInfoV2List& fields) override;
    void deleteTable(const QString& table) override;
    QStringList getTableNames(bool includeSysTables) override;
    void RenameTable(const QString& oldName, const QString& newName) override;
    void AddIndex(const QString& table, const QString& fields, const QString& name, bool unique) override;
    void DropIndex(const QString& table, const QString& name) override;
    bool IndexExists(const QString& table, const QString& name) override;
    QString FieldTypeToString(const TFieldInfoV2& field) const override;
    qint64 getDatabaseSize() override;
    QDateTime getSystemTime() override;
    QString getSystemTimeCommand(bool includeDate, bool includeTime) const override;

    void BeginTrans() override;
    void CommitTrans() override;
    void RollbackTrans() override;
    unsigned GetTransactionNestedCount() const override { return FTransactionNestedCount; }

    // Rebuilds a table from its changed CREATE statement (SQLite cannot
    // drop or change columns in place). Keeps the backup when rows are lost.
    void RecreateTable(const QString& table, const std::function<QString(const QString&)>& changeStatement,
                       int expectedFieldCount);

private:
    TQMBSQLiteDatabase& db() const { return static_cast<TQMBSQLiteDatabase&>(*FDatabase); }
    void bindParams(QSqlQuery& query, const QString& command, const TParamInfoV2Array& params) const;
    [[noreturn]] void fail(const QString& command, const TParamInfoV2Array& params, const QString& error);
    QStringList columnNames(const QString& table);
    QString createStatementOf(const QString& table);

    std::unique_ptr<TQMBSQLiteDataSetList> FDatasets;
    QHash<QString, QSqlQuery> FExecStatements;   // prepared once per SQL text
    unsigned FTransactionNestedCount = 0;
    QString FLastError;
};

// Julian day number of a date-time (the store's date-time column format).
double DateTimeToJulianDay(const QDateTime& dt);
QDateTime JulianDayToDateTime(double julianDay);

}  // namespace kalvex
