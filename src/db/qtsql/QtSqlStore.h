#pragma once
// What every QtSql-driven store shares: one named QSqlDatabase connection,
// the cache of forward-only data sets, named-parameter binding with the
// blob markers, prepared statements kept per SQL text, counted nested
// transactions and the error log. A concrete store adds its dialect: how
// the bracket-quoted SQL reads natively, its column types and its catalog
// queries.
//
// Ownership: the handler owns its database object (and with it the
// connection) and the data set cache; data sets die with the handler.

#include "db/BasedbClasses.h"

#include <QSqlDatabase>
#include <QSqlError>

namespace kalvex {

class TQMBQtSqlDatabase : public TQMBDatabase {
public:
    TQMBQtSqlDatabase(const TQMBDatabaseConfig& config, const QString& driver);
    ~TQMBQtSqlDatabase() override;
    void SetConnected(bool value) override;
    bool GetConnected() const override;
    QSqlDatabase Connection() const;
    const QString& ConnectionName() const { return FConnectionName; }

protected:
    // Runs once after the connection opened; throws to refuse it.
    virtual void AfterOpen(QSqlDatabase&) {}
    // The user's message for a connection that could not be opened.
    virtual QString OpenFailure(const QSqlError& error) const;

private:
    QString FConnectionName;
};

class TQMBQtSqlDataSetList : public TQMBDataSetList {
public:
    TQMBQtSqlDataSetList(TQMBDatabaseHandler* handler, int datasetCount, TQMBQtSqlDatabase& db)
        : TQMBDataSetList(handler, datasetCount), FDb(db) {}

protected:
    std::unique_ptr<TQMBDataSet> CreateDataSet(const QString& command, TECommandTypes commandType) override;

private:
    TQMBQtSqlDatabase& FDb;
};

class TQMBQtSqlDatabaseHandler : public TQMBDatabaseHandler {
public:
    TQMBQtSqlDatabaseHandler(std::unique_ptr<TQMBDatabase> database, const QString& logPrefix, int datasetCount);
    ~TQMBQtSqlDatabaseHandler() override;

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
    void createTable(const QString& table, const TFieldInfoV2List& fields) override;
    QString getCreateTableCommand(const QString& table, const TFieldInfoV2List& fields) override;
    void deleteTable(const QString& table) override;
    void RenameTable(const QString& oldName, const QString& newName) override;
    void AddIndex(const QString& table, const QString& fields, const QString& name, bool unique) override;
    QDateTime getSystemTime() override;

    void BeginTrans() override;
    void CommitTrans() override;
    void RollbackTrans() override;
    unsigned GetTransactionNestedCount() const override { return FTransactionNestedCount; }

    // The statement as the driver receives it (tests compare it).
    virtual QString NativeSQL(const QString& command) const { return command; }
    // The class name that log lines and messages carry.
    virtual QString ClassName() const = 0;
    // The user's message for a failed statement; the default is the driver's text.
    virtual QString ErrorMessage(const QSqlError& error) const;

protected:
    TQMBQtSqlDatabase& db() const { return static_cast<TQMBQtSqlDatabase&>(*FDatabase); }
    virtual QString InsertedIdSQL() const = 0;
    // What the store keeps for a value; the default keeps date-times as
    // Julian day numbers, booleans as 0/1 and GUIDs as braced text.
    virtual QVariant StoredValue(const QVariant& value) const;
    virtual QString TableOptions() const { return QString(); }
    virtual QString CreateIndexSQL(bool unique) const;
    // Starts the outermost transaction; throws with the driver's message.
    virtual void StartTransaction();
    void ForgetPreparedStatements() override;
    [[noreturn]] void Fail(const QString& command, const TParamInfoV2Array& params, const QString& error);
    void logStatement(const char* operation, const QString& command, bool withParams);

    std::unique_ptr<TQMBQtSqlDataSetList> FDatasets;

private:
    void bindParams(QSqlQuery& query, const QString& command, const TParamInfoV2Array& params) const;
    QSqlQuery& preparedExec(const QString& command, const TParamInfoV2Array& params);

    QHash<QString, QSqlQuery> FExecStatements;   // prepared once per SQL text
    unsigned FTransactionNestedCount = 0;
    QString FLastError;
};

// Qt's SQL drivers warn on standard error (statement handles that cannot
// be freed after a lost connection, and the like); a host's user has no
// use for it. Their warnings go to the module's log file instead; every
// other message keeps its way. Installed once, by the first connection.
void InstallSqlWarningFilter();

// Named ":parameters" of a statement in order of first use, skipping quoted
// text, bracket and backtick names and "::" casts.
QStringList PlaceholderNames(const QString& sql);

// Julian day number of a date-time (the column format of the own stores).
double DateTimeToJulianDay(const QDateTime& dt);
QDateTime JulianDayToDateTime(double julianDay);

}  // namespace kalvex
