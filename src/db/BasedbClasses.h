#pragma once
// The one way into the module's store. TQMBDatabaseHandler speaks
// bracket-quoted SQL with named ":parameters"; concrete stores (SQLite,
// later ODBC and MariaDB) derive from it and from TQMBDatabase. The factory
// creates the pair from a TQMBDatabaseConfig through a registry of class
// names that each store fills at start-up.
//
// Ownership: the handler owns its database object and its cache of data
// sets. A data set returned by OpenSQL stays owned by the cache; the caller
// closes it when done, which makes it reusable.

#include "db/RowReader.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QRecursiveMutex>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <QVariant>
#include <functional>
#include <memory>
#include <vector>

namespace kalvex {

enum class TECommandTypes { sttSelect, sttInsert, sttUpdate, sttDelete, sttExecute, sttProc, sttDDL };
enum class TExecSQLReturnValue { erRowsAffected, erInsertedID };
enum class TTransactionIsolationLevel { tilDefault, tilDirtyRead, tilReadCommitted, tilRepeatableRead };
enum class TConnectionError { tceOK, tceHostError, tceLoginError, tceDatabaseError, tceTimeOut, tceUnknown };
enum class TQMBDatabaseConfigType { dbtMSAccess, dbtMSSQL, dbtMSAccessACCDB, dbtSQLite, dbtMariaDB, dbtMSSQLFireDAC, dbtOracle, dbtMySQL };
enum class TQMBDatabaseConfigSqliteDateTimeFormat { dbdtfDefault, dbdtfReal, dbdtfString, dbdtfDelphi };
enum class TQMBDatabaseConfigSqliteGuidFormat { dbgfDefault, dbgfString, dbgfBinary };
enum class TLogLevel { llNone, llNormal, llDebug, llSQL };

// The data-access layer's field types, as far as the stores map them.
enum class TFieldType {
    ftUnknown, ftString, ftWideString, ftSmallint, ftInteger, ftLargeint, ftAutoInc, ftBoolean, ftFloat,
    ftCurrency, ftDate, ftTime, ftDateTime, ftBytes, ftBlob, ftMemo, ftWideMemo, ftGuid,
};

struct TQMBDatabaseConfigOptions {
    bool SecurityConnectionEncrypt = false;
    bool SecurityConnectionTrustServerCertificate = false;
    QString AdditionalParameters;
    TQMBDatabaseConfigSqliteDateTimeFormat SqliteDateTimeFormat = TQMBDatabaseConfigSqliteDateTimeFormat::dbdtfDefault;
    TQMBDatabaseConfigSqliteGuidFormat SqliteGuidFormat = TQMBDatabaseConfigSqliteGuidFormat::dbgfDefault;
    // Site settings of the ODBC stores, from section "Options" of
    // serverdboptions.ini (keys "Provider" and "OdbcDriver"), not from the
    // store's own section.
    QString Provider = QStringLiteral("SQLOLEDB.1");
    QString OdbcDriver;
    // Server stores: make a missing database on connect (key
    // "CreateDatabase"). Off by default, so a mistyped name is an error
    // instead of an empty database of its own.
    bool CreateDatabase = false;
    // SQLite: how long a statement waits for another process's lock before
    // it fails (key "BusyTimeout", milliseconds).
    int BusyTimeoutMs = 10000;
    // Server stores: how long connecting, and each read or write of the
    // connection, may take before the statement fails (key "Timeout",
    // seconds). A frozen server then ends the call instead of blocking it.
    int ServerTimeoutSeconds = 60;
};

// The connection description, copied whole.
struct TQMBDatabaseConfig {
    TQMBDatabaseConfigType DatabaseType = TQMBDatabaseConfigType::dbtSQLite;
    QString HostName;       // file stores: the folder
    QString Username;
    QString Password;
    QString DatabaseName;   // file stores: the file name
    bool OSAuthentication = false;
    TQMBDatabaseConfigOptions Options;

    void Clear() { *this = TQMBDatabaseConfig(); }
    TQMBDatabaseConfig Clone(const QString& newHostName, const QString& newDatabaseName) const;
    QString FilePath() const;   // HostName joined with DatabaseName
    // Username, Password, DatabaseName and AdditionalParameters are stored
    // scrambled unless "NoCode" is 1 in the section or in section "Alle".
    void LoadFromIni(const QString& iniFileName, const QString& section);
    void SaveToIni(const QString& iniFileName, const QString& section) const;
};

struct TParamInfoV2 {
    QString Name;   // without the colon
    TFieldType Datatype = TFieldType::ftUnknown;
    QVariant Value;
};
using TParamInfoV2Array = std::vector<TParamInfoV2>;

// Shorthand for the many call sites: {"Betreff", text}.
TParamInfoV2 P(const QString& name, const QVariant& value);

struct TFieldInfoV2 {
    QString Fieldname;
    TFieldType Datatype = TFieldType::ftString;
    int Length = 0;
    QString DefaultExpression;   // inserted literally into DDL
    bool NotNull = false;
};
using TFieldInfoV2List = std::vector<TFieldInfoV2>;

// Turns an array of values into parameters p1, p2, ... with their types
// from the values. Null raises "Parameter (index=n) in Parameterliste darf
// nicht Null sein".
TParamInfoV2Array VariantArrayToParamInfoArray(const QVariantList& params);
QString RenderParamsForLog(const TParamInfoV2Array& params);

class TQMBDatabaseHandler;
class TQMBDataSet;

// A file that becomes the blob of a new row: the statement's parameter
// that takes it, the column it lands in, and the file opened for reading
// (Size bytes from its current position).
struct TBlobFile {
    QString Param;
    QString Table;
    QString Field;
    QFile* File = nullptr;
    qint64 Size = 0;
};

enum class TForeignKeyAction { fkaDefault, fkaCascade, fkaNoAction, fkaSetToNull, fkaSetToDefault };

enum class TCopyTableOption {
    ctCopyAutoIncAsInt, ctCopyAutoIncAsAutoInc, ctCopyFieldTypeBytes, ctForceCreateTableIfEmpty, ctReturnMaxIgnoreField,
    ctReturnLastAutoInc, ctRowIdColumnnameAsInteger
};
enum class TCopyTableSettingsKeyExistsAction { keSkip, keUpdate };

// How copyTableValuesV4 copies: which key decides "row exists", which
// columns get fixed values, which are left out.
struct TCopyTableSettings {
    struct KeyExistsCheck {
        bool Active = false;
        QString KeyFieldName;
        TFieldType KeyFieldType = TFieldType::ftInteger;
        TCopyTableSettingsKeyExistsAction KeyExistsAction = TCopyTableSettingsKeyExistsAction::keSkip;
    } KeyExists;
    QList<QPair<QString, QVariant>> ReplaceFieldList;   // column, value for every row
    QStringList IgnoreFieldListForCopy;
    QStringList IgnoreFieldListForCreateTable;
    bool IgnoreExceptions = false;
    QList<TCopyTableOption> Options;
    int MaxRecordCount = -1;   // -1: all rows
    bool Has(TCopyTableOption o) const { return Options.contains(o); }
};

struct TSessionInfo {
    bool Valid = false;
    QString SessionID;
    QString UserID;
    QDateTime LoginTime;
    QString LoginComputer;
};

// Slow statements into a table of the store itself (default off).
class TQMBDatabasePerformanceLog {
public:
    TQMBDatabasePerformanceLog(TQMBDatabaseHandler& handler, bool autoCreateTable = false,
                               QString tablename = QStringLiteral("SqlPerformanceLog"));
    void CreateTable();
    // Writes a row when active, connected and the statement took at least
    // DurationMinSeconds; never for statements on the log table, ALTER or DROP.
    void LogSqlCommand(const QString& sql, const TParamInfoV2Array& params, const QElapsedTimer& started);
    bool Active = false;
    double DurationMinSeconds = 1.0;
    bool AutoCreateTable;
    const QString& Tablename() const { return FTablename; }

private:
    TQMBDatabaseHandler& FHandler;
    QString FTablename;
    bool FAutoCreateTableDone = false;
    bool FWriting = false;   // the log's own insert is not measured
};

// One cached query object.
class TQMBDataSet {
public:
    TQMBDataSet(QSqlQuery query, TECommandTypes commandType, TQMBDatabaseHandler* handler);
    virtual ~TQMBDataSet() = default;

    QSqlQuery& getDataSet() { return FDataSet; }
    const QString& getCommandText() const { return FCommandText; }
    virtual void setCommandText(const QString& command) { FCommandText = command; }
    TECommandTypes getCommandType() const { return FCommandType; }
    void setCommandType(TECommandTypes type) { FCommandType = type; }
    void setAccessed() { FLastAccess = FSequence++; }
    quint64 getLastAccess() const { return FLastAccess; }
    bool IsOpen() const { return FOpen; }
    void MarkOpen();   // also learns the column positions of the result
    void Close();   // makes the data set reusable

    // Row access while open.
    bool Next() { return FDataSet.next(); }
    QVariant Field(const QString& name) const;
    bool HasField(const QString& name) const;
    // A loop over many rows finds its columns once: the column's index,
    // or -1 when the result has none, and the current row's value there.
    int Column(const QString& name) const;
    QVariant Value(int column) const { return column < 0 ? QVariant() : FDataSet.value(column); }

private:
    QSqlQuery FDataSet;
    quint64 FLastAccess = 0;   // an ever-growing stamp: ties and clock steps cannot reorder
    TECommandTypes FCommandType;
    TQMBDatabaseHandler* FDatabaseHandler;
    QString FCommandText;
    bool FOpen = false;
    QHash<QString, int> FColumns;   // exact and lower-case names: no record per value read
    static inline quint64 FSequence = 1;
};

// The per-handler cache of data sets.
class TQMBDataSetList {
public:
    TQMBDataSetList(TQMBDatabaseHandler* handler, int datasetCount);
    virtual ~TQMBDataSetList();

    int Count() const { return static_cast<int>(FList.size()); }
    int OpenedCount() const;
    TQMBDataSet* GetDataSet(const QString& command, TECommandTypes commandType);
    void CloseAllDataSets();
    QString getDebugInfo() const;
    TQMBDataSet* GetDataSetByIndex(int index) { return FList.at(static_cast<size_t>(index)).get(); }

protected:
    virtual std::unique_ptr<TQMBDataSet> CreateDataSet(const QString& command, TECommandTypes commandType) = 0;
    TQMBDatabaseHandler* FDatabaseHandler;

private:
    TQMBDataSet* findClosed(const QString* sameCommand, TECommandTypes commandType) const;

    std::vector<std::unique_ptr<TQMBDataSet>> FList;
    int FDatasetCount;
};

class TQMBDatabase {
public:
    explicit TQMBDatabase(const TQMBDatabaseConfig& config) : FConnectionInfo(config) {}
    virtual ~TQMBDatabase() = default;
    virtual void SetConnected(bool value) = 0;
    virtual bool GetConnected() const = 0;
    const TQMBDatabaseConfig& ConnectionInfo() const { return FConnectionInfo; }

protected:
    TQMBDatabaseConfig FConnectionInfo;
};

// Remembers which fields exist, so that repeated checks need no query.
class TQMBDatabaseFieldExistsCache {
public:
    struct Item {
        bool exists = false;
        TFieldType type = TFieldType::ftUnknown;
        int size = 0;
    };
    bool FActive = true;
    const Item* Find(const QString& table, const QString& field) const;
    void SetExists(const QString& table, const QString& field, TFieldType type, int size);
    void SetNotExists(const QString& table, const QString& field);
    void ForgetTable(const QString& table);
    bool HasTableAndExists(const QString& table) const;

private:
    static QString key(const QString& table, const QString& field);
    QHash<QString, Item> FItems;   // "table\nfield", lower case
};

class TQMBDatabaseHandler {
public:
    TQMBDatabaseHandler(std::unique_ptr<TQMBDatabase> database, const QString& logPrefix, int datasetCount);
    virtual ~TQMBDatabaseHandler();
    TQMBDatabaseHandler(const TQMBDatabaseHandler&) = delete;
    TQMBDatabaseHandler& operator=(const TQMBDatabaseHandler&) = delete;

    virtual void SetConnected(bool value) = 0;
    virtual bool GetConnected() const = 0;
    virtual bool ReadFieldInfo(const QString& table, const QString& field, int& size, TFieldType& type);
    virtual TQMBDataSetList& getDatasetList() = 0;
    virtual TConnectionError GetConnectionError() const = 0;

    qint64 ExecSQL(const QString& command, TECommandTypes type = TECommandTypes::sttExecute,
                   TExecSQLReturnValue ret = TExecSQLReturnValue::erRowsAffected);
    virtual qint64 ExecSQL(const QString& command, const TParamInfoV2Array& params, bool prepare = true,
                           TECommandTypes type = TECommandTypes::sttExecute,
                           TExecSQLReturnValue ret = TExecSQLReturnValue::erRowsAffected) = 0;
    qint64 ExecSQL(const QString& command, const QVariantList& params, bool prepare = true,
                   TECommandTypes type = TECommandTypes::sttExecute,
                   TExecSQLReturnValue ret = TExecSQLReturnValue::erRowsAffected);
    TQMBDataSet* OpenSQL(const QString& command, bool prepare = true, TECommandTypes type = TECommandTypes::sttSelect);
    virtual TQMBDataSet* OpenSQL(const QString& command, const TParamInfoV2Array& params, bool prepare = true,
                                 TECommandTypes type = TECommandTypes::sttSelect) = 0;
    TQMBDataSet* OpenSQL(const QString& command, const QVariantList& params, bool prepare = true,
                         TECommandTypes type = TECommandTypes::sttSelect);
    // The rows of a select, for reading long results: by default through
    // OpenSQL; a store may read them its own faster way.
    virtual std::unique_ptr<TRowReader> ReadRows(const QString& command, const TParamInfoV2Array& params = {});

    double CalcSQL_Real(double def, const QString& command, const TParamInfoV2Array& params = {});
    qint64 CalcSQL_Int(qint64 def, const QString& command, const TParamInfoV2Array& params = {});
    QString CalcSQL_String(const QString& def, const QString& command, const TParamInfoV2Array& params = {});
    qint64 CalcSQL_MaxInt(const QString& table, const QString& field, const QString& where = QString());
    qint64 CalcSQL_MinInt(const QString& table, const QString& field, const QString& where = QString());

    virtual void addField(const QString& table, const TFieldInfoV2& field) = 0;
    void addField(const QString& table, const QString& field, TFieldType type, int size);
    virtual void deleteField(const QString& table, const QString& field) = 0;
    bool FieldExists(const QString& table, const QString& field, TFieldInfoV2* result = nullptr);
    virtual void createTable(const QString& table, const TFieldInfoV2List& fields) = 0;
    virtual QString getCreateTableCommand(const QString& table, const TFieldInfoV2List& fields) = 0;
    virtual void deleteTable(const QString& table) = 0;
    bool TableExists(const QString& table);
    virtual QStringList getTableNames(bool includeSysTables) = 0;
    virtual void RenameTable(const QString& oldName, const QString& newName) = 0;
    virtual void AddIndex(const QString& table, const QString& fields, const QString& name, bool unique) = 0;
    virtual void DropIndex(const QString& table, const QString& name) = 0;
    virtual bool IndexExists(const QString& table, const QString& name) = 0;
    virtual QString FieldTypeToString(const TFieldInfoV2& field) const = 0;
    virtual qint64 getDatabaseSize() = 0;
    virtual QDateTime getSystemTime() = 0;
    virtual QString getSystemTimeCommand(bool includeDate, bool includeTime) const = 0;

    virtual void BeginTrans() = 0;
    virtual void CommitTrans() = 0;
    virtual void RollbackTrans() = 0;
    virtual unsigned GetTransactionNestedCount() const = 0;
    // Checking and changing the schema, one process after the other: what
    // runs between these two holds the store's schema lock. The default is
    // a transaction (DDL is transactional there); a store whose DDL commits
    // at once takes a lock of its own.
    virtual void BeginSchemaChange() { BeginTrans(); }
    virtual void EndSchemaChange(bool commit) { commit ? CommitTrans() : RollbackTrans(); }

    // Sums and GUIDs; the MIN/MAX/SUM expressions the CalcSQL family builds.
    qint64 CalcSQL_SumInt(const QString& table, const QString& field, const QString& where = QString());
    double CalcSQL_SumReal(const QString& table, const QString& field, const QString& where = QString());
    QUuid CalcSQL_GUID(const QUuid& def, const QString& command, const TParamInfoV2Array& params = {});
    virtual QString BuildSqlSumInt(const QString& field, const QString& alias) const;
    virtual QString BuildSqlMinReal(const QString& field, const QString& alias) const;
    virtual QString BuildSqlMaxReal(const QString& field, const QString& alias) const;
    virtual QString BuildSqlSumReal(const QString& field, const QString& alias) const;

    // Expressions the callers put into their SQL; stores add their dialect.
    virtual QString BuildSqlIfNull(const QString& field, const QString& def) const;
    virtual QString BuildSqlDataLength(const QString& field, bool returnByteCount, const QString& alias) const;
    virtual QString BuildSqlMinDateTime(const QString& field, const QString& alias) const;
    virtual QString BuildSqlMaxDateTime(const QString& field, const QString& alias) const;
    virtual qint64 getTableSize(const QString& table, bool includeDataSize, bool includeIndexSize);
    virtual qint64 getDatabaseSizeUnused();

    // Date-times of the records (days since 1899-12-30) as this store keeps
    // them: Julian day numbers in the own stores, the server's own type in
    // the ODBC stores; and back from what a query returns.
    virtual QVariant DateTimeValue(double days) const;
    static double DaysOf(const QVariant& stored);

    // Row versions: bytes read big-endian into a number.
    static qint64 ConvertRowVersion(const QVariant& value);
    qint64 GetRowVersion(const QString& sql, const TParamInfoV2Array& params = {});
    qint64 GetRowVersionMax(const QString& table, const QString& field);
    qint64 GetRowVersionMaxDB();   // SQL Server's @@DBTS; other stores refuse it

    // Blobs between a row and a file, without holding them in a string.
    void SetLargeBLOBFromFile(const QString& table, const QString& keyField, const QVariant& keyValue,
                              const QString& blobField, const QString& fileName);
    void GetLargeBLOBAsFile(const QString& table, const QString& keyField, const QVariant& keyValue,
                            const QString& blobField, const QString& fileName);
    // Inserts one row whose blob comes from a file and returns the new
    // row's ID. The base reads the file whole; a store that can write a
    // blob in pieces does so.
    virtual qint64 InsertWithBlobFile(const QString& command, TParamInfoV2Array params, const TBlobFile& blob);
    // The largest blob the store takes in one statement; -1 without limit.
    virtual qint64 MaxBlobSize() { return -1; }
    // Refuses, with the user's message, a blob the store cannot take.
    virtual void CheckBlobFits(qint64 size, const QString& name) { (void)size; (void)name; }

    // Sessions of the users working on the store (table DBActiveSession).
    void InitSession();
    void SessionForceClose(const QString& sessionID);
    QStringList GetActiveSessionIDs();
    TSessionInfo GetSessionInfo(const QString& sessionID);
    bool SessionActive();
    const QString& SessionID() const { return FSessionID; }
    QString UserID;

    // A number no other caller of the same table gets, across processes.
    qint64 getUniqueID(const QString& idTableName = QString());

    // Copies rows between tables, creating the target when it is missing.
    // The older forms fill the settings that V4 takes.
    qint64 copyTableValues(const QString& sourceTable, const QString& targetTable, const QList<TCopyTableOption>& options);
    qint64 copyTableValuesV2(const QString& sourceTable, const QString& targetTable, const QList<TCopyTableOption>& options,
                             const QStringList& ignoreFields);
    qint64 copyTableValuesV3(const QString& sourceTable, const QString& targetTable, const QList<TCopyTableOption>& options,
                             const QStringList& ignoreFields, const QList<QPair<QString, QVariant>>& replaceFields,
                             int maxRecordCount = -1);
    qint64 copyTableValuesV4(const QString& sourceTable, const QString& targetTable, const TCopyTableSettings& settings);
    qint64 copyTableValuesV4(TQMBDataSet& source, const QString& targetTable, const TCopyTableSettings& settings,
                             const QString& autoIncField = QString());
    // Keys, constraints and column changes; the base class speaks the ALTER
    // TABLE of the servers, SQLite rebuilds the table instead.
    virtual void AddPrimaryKey(const QString& table, const QString& field, const QString& name);
    virtual void DropPrimaryKey(const QString& table, const QString& name);
    virtual void AddForeignKey(const QString& srcTable, const QString& srcField, const QString& destTable,
                               const QString& destField, const QString& name, TForeignKeyAction onUpdate,
                               TForeignKeyAction onDelete);
    virtual void DropForeignKey(const QString& table, const QString& name);
    virtual void AddCheckConstraint(const QString& table, const QString& name, const QString& check);
    virtual void DropCheckConstraint(const QString& table, const QString& name);
    virtual void AlterField(const QString& table, const TFieldInfoV2& field, bool skipIfFieldTypeAndSizeOk);
    virtual void RenameField(const QString& table, const QString& oldName, const QString& newName);
    virtual void ShrinkDatabase() {}
    virtual void RefreshCache() {}
    virtual void SetTransactionIsolationLevel(TTransactionIsolationLevel) {}
    static QString ForeignKeyActions(TForeignKeyAction onUpdate, TForeignKeyAction onDelete);

    // Identity inserts for stores that refuse explicit counter values.
    virtual void SetAutoIncInsert(const QString& table, bool activate);
    // The table's counter column, when the store can tell ("" otherwise).
    virtual QString AutoIncFieldOf(const QString& table);

    // Inserts and updates from column/value lists.
    qint64 Insert(const QString& table, const QList<QPair<QString, QVariant>>& values);
    qint64 Update(const QString& table, const QList<QPair<QString, QVariant>>& values, const QString& idFieldName);

    TQMBDatabasePerformanceLog& PerformanceLog() { return *FPerformanceLog; }

    static QString GetDefaultPrimaryKeyName(const QString& table, const QString& field);
    static QString GetDefaultForeignKeyName(const QString& srcTable, const QString& srcField, const QString& destTable,
                                            const QString& destField);
    static QString GetDefaultIndexName(const QString& table, const QString& fields);

    // The SQL log: "log-sql.txt" unless named otherwise; a bare file name
    // lies in the log folder.
    void addlog(const QString& text, TLogLevel level, bool isError = false);
    void SetLogFile(const QString& fileName) { FLogFile = fileName; }
    void SetLogFolder(const QString& folder) { FLogFolder = folder; }
    QString LogFilePath() const;
    // Keys "LogLevel" (0 none .. 3 every statement, default 1: errors and
    // events) and "LogFile" of a settings section.
    void LoadLogSettings(const QString& iniFileName, const QString& section, const QString& folder);
    void SetLogLevel(TLogLevel level) { FLogLevel = level; }
    TLogLevel LogLevel() const { return FLogLevel; }
    const QString& LogFile() const { return FLogFile; }
    void StartFreshLogFile();
    std::function<void(bool isError, const QString& text)> OnLog;

    TQMBDatabase& Database() { return *FDatabase; }
    TQMBDatabaseFieldExistsCache& FieldExistsCache() { return FFieldExistsCache; }
    bool FShowDebugExceptions = false;
    // How many statements reached the store; lets tests see cache answers.
    quint64 StatementCount() const { return FStatementCount; }

protected:
    void countStatement() { ++FStatementCount; }
    // How ALTER TABLE names a column change ("ALTER COLUMN" on SQL Server).
    virtual QString AlterColumnKeyword() const { return QStringLiteral("ALTER COLUMN"); }
    // After a change of a table's shape: statements prepared before are stale.
    virtual void ForgetPreparedStatements() {}
    std::unique_ptr<TQMBDatabasePerformanceLog> FPerformanceLog;
    QString FSessionID;
    std::unique_ptr<TQMBDatabase> FDatabase;
    QRecursiveMutex FLock;
    QString FLogPrefix;
    TQMBDatabaseFieldExistsCache FFieldExistsCache;

private:
    QString FLogFile;
    QString FLogFolder;
    TLogLevel FLogLevel = TLogLevel::llNone;
    quint64 FStatementCount = 0;
};

// Creates handler and database pairs by class name.
class TQMBDatabaseFactory {
public:
    using DatabaseCreator = std::function<std::unique_ptr<TQMBDatabase>(const TQMBDatabaseConfig&)>;
    using HandlerCreator = std::function<std::unique_ptr<TQMBDatabaseHandler>(std::unique_ptr<TQMBDatabase>,
                                                                              const QString& logPrefix, int datasetCount)>;

    TQMBDatabaseFactory(QString handlerClassName, QString databaseClassName, bool deleteLogFile = false,
                        bool setShowDebugExceptions = false);
    std::unique_ptr<TQMBDatabaseHandler> CreateDatabaseHandler(const TQMBDatabaseConfig& config,
                                                               const QString& logPrefix, int datasetCount) const;

    static void RegisterDatabaseClass(const QString& name, DatabaseCreator creator);
    static void RegisterHandlerClass(const QString& name, HandlerCreator creator);
    static std::unique_ptr<TQMBDatabaseHandler> CreateDbHandler(const TQMBDatabaseConfig& config,
                                                                const QString& logPrefix, int datasetCount);
    static void LoadDatabaseConfig(const QString& iniFileName, const QString& section, TQMBDatabaseConfig& config);
    static void SaveDatabaseConfig(const QString& iniFileName, const QString& section, const TQMBDatabaseConfig& config);

private:
    QString FDataBaseHandlerClassName;
    QString FDataBaseClassName;
    bool FDeleteLogFile;
    bool FSetShowDebugExceptions;
};

// Registers the stores of this module with the factory (idempotent).
void RegisterBuiltInStores();

}  // namespace kalvex
