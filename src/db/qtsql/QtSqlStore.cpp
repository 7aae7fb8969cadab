#include "db/qtsql/QtSqlStore.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "mailinterface/EMail.h"
#include "mailinterface/StreamIO.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSqlError>
#include <QSqlRecord>
#include <QUuid>
#include <atomic>

namespace kalvex {

namespace {

constexpr double kJulianDayOf18991230 = 2415018.5;
const QString kBlobFileMarker = QStringLiteral("ISABLOBVALUEFILENAME");
const QString kBlobMarker = QStringLiteral("ISABLOBVALUE");

QString nextConnectionName()
{
    static std::atomic<int> counter{0};
    return QStringLiteral("kalvex-db-%1").arg(++counter);
}

QChar closingQuoteOf(QChar c)
{
    if (c == QLatin1Char('\'') || c == QLatin1Char('"') || c == QLatin1Char('`'))
        return c;
    return c == QLatin1Char('[') ? QLatin1Char(']') : QChar();
}

bool startsPlaceholder(const QString& sql, qsizetype i)
{
    return sql.at(i) == QLatin1Char(':') && i + 1 < sql.size()
        && (sql.at(i + 1).isLetter() || sql.at(i + 1) == QLatin1Char('_'))
        && (i == 0 || sql.at(i - 1) != QLatin1Char(':'));
}

QByteArray readBlobFile(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        throw EKalvex(QStringLiteral("Die Datei \"%1\" konnte nicht gelesen werden: %2").arg(fileName, file.errorString()));
    return file.readAll();
}

QVariant blobOrText(const QString& s)
{
    if (s.startsWith(kBlobFileMarker))
        return readBlobFile(s.mid(kBlobFileMarker.size()));
    if (s.startsWith(kBlobMarker))
        return s.mid(kBlobMarker.size()).toLatin1();
    return s;
}

const TParamInfoV2* findParam(const TParamInfoV2Array& params, const QString& name)
{
    for (const TParamInfoV2& p : params)
        if (p.Name.compare(name, Qt::CaseInsensitive) == 0)
            return &p;
    return nullptr;
}

// Qt 6.4 drivers warn without a category of their own; their texts start
// with the driver's or the SQL classes' names.
// No static objects here: warnings come also while statics are destroyed.
bool isSqlDriverMessage(const char* category, const QString& message)
{
    if (category && qstrncmp(category, "qt.sql", 6) == 0)
        return true;
    for (const char* prefix : {"QMYSQL", "QMARIADB", "QODBC", "QSQLITE", "QSql"})
        if (message.startsWith(QLatin1String(prefix)))
            return true;
    return false;
}

QtMessageHandler previousMessageHandler = nullptr;
thread_local bool tlLogging = false;   // the log file's own warnings take the old way

void sqlWarningFilter(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (tlLogging || type == QtFatalMsg || !isSqlDriverMessage(context.category, message)) {
        if (previousMessageHandler)
            previousMessageHandler(type, context, message);
        return;
    }
    tlLogging = true;
    TLogFile::LogGlobal(true, QStringLiteral("Qt SQL: ") + message);
    tlLogging = false;
}

// The host may unload the module before Qt: the old handler comes back then.
struct TSqlWarningFilterInstallation {
    TSqlWarningFilterInstallation() { previousMessageHandler = qInstallMessageHandler(sqlWarningFilter); }
    ~TSqlWarningFilterInstallation() { qInstallMessageHandler(previousMessageHandler); }
};

}  // namespace

void InstallSqlWarningFilter()
{
    static TSqlWarningFilterInstallation installation;
}

QStringList PlaceholderNames(const QString& sql)
{
    QStringList names;
    QChar quote;
    for (qsizetype i = 0; i < sql.size(); ++i) {
        const QChar c = sql.at(i);
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
            continue;
        }
        quote = closingQuoteOf(c);
        if (!quote.isNull() || !startsPlaceholder(sql, i))
            continue;
        qsizetype end = i + 1;
        while (end < sql.size() && (sql.at(end).isLetterOrNumber() || sql.at(end) == QLatin1Char('_')))
            ++end;
        const QString name = sql.mid(i + 1, end - i - 1);
        if (!names.contains(name, Qt::CaseInsensitive))
            names << name;
        i = end - 1;
    }
    return names;
}

double DateTimeToJulianDay(const QDateTime& dt)
{
    return DateTimeToDays(dt) + kJulianDayOf18991230;
}

QDateTime JulianDayToDateTime(double julianDay)
{
    return DaysToDateTime(julianDay - kJulianDayOf18991230);
}

// ---------------------------------------------------------------- database

TQMBQtSqlDatabase::TQMBQtSqlDatabase(const TQMBDatabaseConfig& config, const QString& driver)
    : TQMBDatabase(config), FConnectionName(nextConnectionName())
{
    InstallSqlWarningFilter();
    QSqlDatabase::addDatabase(driver, FConnectionName);
}

TQMBQtSqlDatabase::~TQMBQtSqlDatabase()
{
    {
        QSqlDatabase db = QSqlDatabase::database(FConnectionName, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(FConnectionName);
}

QSqlDatabase TQMBQtSqlDatabase::Connection() const
{
    return QSqlDatabase::database(FConnectionName, false);
}

void TQMBQtSqlDatabase::SetConnected(bool value)
{
    QSqlDatabase db = Connection();
    if (!value) {
        db.close();
        return;
    }
    if (db.isOpen())
        return;
    if (!db.open())
        throw EKalvex(OpenFailure(db.lastError()));
    try {
        AfterOpen(db);
    } catch (const EKalvex&) {
        db.close();
        throw;
    }
}

QString TQMBQtSqlDatabase::OpenFailure(const QSqlError& error) const
{
    return error.text();
}

bool TQMBQtSqlDatabase::GetConnected() const
{
    return Connection().isOpen();
}

std::unique_ptr<TQMBDataSet> TQMBQtSqlDataSetList::CreateDataSet(const QString& command, TECommandTypes commandType)
{
    FDatabaseHandler->addlog(QStringLiteral("CreateDataSet ") + command, TLogLevel::llDebug);
    QSqlQuery query(FDb.Connection());
    query.setForwardOnly(true);
    auto ds = std::make_unique<TQMBDataSet>(std::move(query), commandType, FDatabaseHandler);
    ds->setCommandText(command);
    return ds;
}

// ---------------------------------------------------------------- handler

TQMBQtSqlDatabaseHandler::TQMBQtSqlDatabaseHandler(std::unique_ptr<TQMBDatabase> database, const QString& logPrefix,
                                                   int datasetCount)
    : TQMBDatabaseHandler(std::move(database), logPrefix, datasetCount),
      FDatasets(std::make_unique<TQMBQtSqlDataSetList>(this, datasetCount, db()))
{
}

// An open transaction at the end is committed: the handler's owner ended
// the work, and losing it silently would be worse.
TQMBQtSqlDatabaseHandler::~TQMBQtSqlDatabaseHandler()
{
    if (FTransactionNestedCount > 0) {
        addlog(QStringLiteral("Destroy: Es ist noch mindestens eine Transaktion aktiv."), TLogLevel::llNormal, true);
        for (int i = 0; i < 20 && FTransactionNestedCount > 0; ++i)
            CommitTrans();
    }
    FExecStatements.clear();
    FDatasets.reset();
}

void TQMBQtSqlDatabaseHandler::SetConnected(bool value)
{
    try {
        db().SetConnected(value);
        FLastError.clear();
    } catch (const EKalvex& e) {
        FLastError = e.message();
        throw;
    }
}

bool TQMBQtSqlDatabaseHandler::GetConnected() const
{
    return db().GetConnected();
}

// Driver texts of the stores, German and English, sorted into the causes
// that a caller can act on.
TConnectionError TQMBQtSqlDatabaseHandler::GetConnectionError() const
{
    static const QStringList login = {QStringLiteral(". Login fails"), QStringLiteral("requested by the login. The login failed"),
                                      QStringLiteral("Access denied for user")};
    static const QStringList database = {QStringLiteral("Cannot open database requested in login "),
                                         QStringLiteral("Cannot open database "), QStringLiteral("Unknown database"),
                                         QStringLiteral("gibt es auf dem Datenbankserver")};
    static const QStringList host = {QStringLiteral("SQL Server existiert nicht oder Zugriff verweigert"),
                                     QStringLiteral("Can't connect to"), QStringLiteral("Verbindung zum Datenbankserver")};
    static const QStringList timeout = {QStringLiteral("Timeout abgelaufen"), QStringLiteral("Anmeldungstimeout abgelaufen"),
                                        QStringLiteral("Abfragetimeout abgelaufen")};
    auto any = [&](const QStringList& texts) {
        return std::any_of(texts.begin(), texts.end(), [&](const QString& t) { return FLastError.contains(t); });
    };
    if (FLastError.isEmpty())
        return TConnectionError::tceOK;
    if (any(database))
        return TConnectionError::tceDatabaseError;
    if (any(login))
        return TConnectionError::tceLoginError;
    if (any(host))
        return TConnectionError::tceHostError;
    return any(timeout) ? TConnectionError::tceTimeOut : TConnectionError::tceUnknown;
}

QVariant TQMBQtSqlDatabaseHandler::StoredValue(const QVariant& v) const
{
    if (v.isNull())
        return v;
    switch (v.typeId()) {
    case QMetaType::QDateTime: return DateTimeToJulianDay(v.toDateTime());
    case QMetaType::QDate: return DateTimeToJulianDay(QDateTime(v.toDate(), QTime(0, 0)));
    case QMetaType::Bool: return v.toBool() ? 1 : 0;
    case QMetaType::QUuid: return GuidToString(v.toUuid());
    case QMetaType::QString: return blobOrText(v.toString());
    default: return v;
    }
}

// Drivers without named binding get the values by position, in the order
// of the placeholders' first use (a name used twice is bound once).
void TQMBQtSqlDatabaseHandler::bindParams(QSqlQuery& query, const QString& command, const TParamInfoV2Array& params) const
{
    const QStringList names = PlaceholderNames(command);
    for (const QString& name : names) {
        const TParamInfoV2* p = findParam(params, name);
        if (!p)
            throw EKalvex(QStringLiteral("Fehlender Parameter \"%1\"").arg(name));
        query.bindValue(QLatin1Char(':') + name, StoredValue(p->Value));
    }
    if (names.isEmpty() && command.contains(QLatin1Char('?')))
        for (int i = 0; i < static_cast<int>(params.size()); ++i)
            query.bindValue(i, StoredValue(params[static_cast<size_t>(i)].Value));
}

QString TQMBQtSqlDatabaseHandler::ErrorMessage(const QSqlError& error) const
{
    return error.text();
}

void TQMBQtSqlDatabaseHandler::Fail(const QString& command, const TParamInfoV2Array& params, const QString& error)
{
    FLastError = error;
    addlog(QStringLiteral("SQL: ") + command, TLogLevel::llNormal, true);
    if (!params.empty())
        addlog(QStringLiteral("Parameter: ") + RenderParamsForLog(params), TLogLevel::llNormal, true);
    throw EKalvex(error);
}

void TQMBQtSqlDatabaseHandler::logStatement(const char* operation, const QString& command, bool withParams)
{
    addlog(ClassName() + QLatin1Char('.') + QLatin1String(operation)
               + (withParams ? QStringLiteral(" mit Parametern \"") : QStringLiteral(" \"")) + command + QLatin1Char('"'),
           TLogLevel::llSQL);
    countStatement();
}

// After a change of a table's shape a prepared statement may describe
// the old columns: every one is prepared anew on its next use.
void TQMBQtSqlDatabaseHandler::ForgetPreparedStatements()
{
    FDatasets->CloseAllDataSets();
    for (int i = 0; i < FDatasets->Count(); ++i)
        FDatasets->GetDataSetByIndex(i)->getDataSet().clear();
    FExecStatements.clear();
}

QSqlQuery& TQMBQtSqlDatabaseHandler::preparedExec(const QString& command, const TParamInfoV2Array& params)
{
    auto it = FExecStatements.find(command);
    if (it != FExecStatements.end())
        return *it;
    QSqlQuery query(db().Connection());
    if (!query.prepare(NativeSQL(command)))
        Fail(command, params, ErrorMessage(query.lastError()));
    return *FExecStatements.insert(command, query);
}

qint64 TQMBQtSqlDatabaseHandler::ExecSQL(const QString& command, const TParamInfoV2Array& params, bool, TECommandTypes,
                                         TExecSQLReturnValue ret)
{
    QMutexLocker lock(&FLock);
    logStatement("ExecSQL", command, !params.empty());
    QElapsedTimer started;
    started.start();
    QSqlQuery& query = preparedExec(command, params);
    bindParams(query, command, params);
    if (!query.exec()) {
        const QString error = ErrorMessage(query.lastError());
        FExecStatements.remove(command);   // a failed statement may have gone stale
        Fail(command, params, error);
    }
    const qint64 affected = query.numRowsAffected();
    query.finish();
    FLastError.clear();
    FPerformanceLog->LogSqlCommand(command, params, started);
    if (ret == TExecSQLReturnValue::erInsertedID)
        return CalcSQL_Int(0, InsertedIdSQL());
    return affected;
}

TQMBDataSet* TQMBQtSqlDatabaseHandler::OpenSQL(const QString& command, const TParamInfoV2Array& params, bool,
                                               TECommandTypes type)
{
    QMutexLocker lock(&FLock);
    logStatement("OpenSQL", command, !params.empty());
    QElapsedTimer timer;
    timer.start();
    TQMBDataSet* ds = FDatasets->GetDataSet(command, type);
    QSqlQuery& query = ds->getDataSet();
    const QString native = NativeSQL(command);
    if (query.lastQuery() != native && !query.prepare(native))
        Fail(command, params, ErrorMessage(query.lastError()));
    bindParams(query, command, params);
    if (!query.exec()) {
        const QString error = ErrorMessage(query.lastError());
        ds->Close();
        query.clear();   // prepare again next time
        Fail(command, params, error);
    }
    ds->MarkOpen();
    FLastError.clear();
    FPerformanceLog->LogSqlCommand(command, params, timer);
    addlog(QStringLiteral("Zeit: ") + QTime(0, 0).addMSecs(static_cast<int>(timer.elapsed())).toString(QStringLiteral("hh:mm:ss,zzz")),
           TLogLevel::llDebug);
    return ds;
}

QString TQMBQtSqlDatabaseHandler::getCreateTableCommand(const QString& table, const TFieldInfoV2List& fields)
{
    QStringList definitions;
    for (const TFieldInfoV2& f : fields)
        definitions << FieldTypeToString(f)
                           + (f.DefaultExpression.isEmpty() ? QString() : QStringLiteral(" DEFAULT ") + f.DefaultExpression);
    return QStringLiteral("CREATE TABLE [%1] (%2)").arg(table, definitions.join(QStringLiteral(", "))) + TableOptions();
}

void TQMBQtSqlDatabaseHandler::createTable(const QString& table, const TFieldInfoV2List& fields)
{
    ExecSQL(getCreateTableCommand(table, fields), TECommandTypes::sttDDL);
    FFieldExistsCache.ForgetTable(table);
}

void TQMBQtSqlDatabaseHandler::addField(const QString& table, const TFieldInfoV2& field)
{
    if (FieldExists(table, field.Fieldname)) {
        addlog(ClassName() + QStringLiteral(".addField %1.%2 : Feld ist bereits vorhanden").arg(table, field.Fieldname),
               TLogLevel::llNormal);
        return;
    }
    QString sql = QStringLiteral("ALTER TABLE [%1] ADD ").arg(table) + FieldTypeToString(field);
    if (!field.DefaultExpression.isEmpty())
        sql += QStringLiteral(" DEFAULT ") + field.DefaultExpression;
    ForgetPreparedStatements();   // statements on the old shape must be prepared anew
    ExecSQL(sql, TECommandTypes::sttDDL);
    FFieldExistsCache.SetExists(table, field.Fieldname, field.Datatype, field.Length);
}

void TQMBQtSqlDatabaseHandler::deleteTable(const QString& table)
{
    addlog(ClassName() + QStringLiteral(".deleteTable ") + table, TLogLevel::llNormal);
    ForgetPreparedStatements();
    ExecSQL(QStringLiteral("DROP TABLE [%1]").arg(table), TECommandTypes::sttDDL);
    FFieldExistsCache.ForgetTable(table);
}

void TQMBQtSqlDatabaseHandler::RenameTable(const QString& oldName, const QString& newName)
{
    addlog(ClassName() + QStringLiteral(".RenameTable %1 => %2").arg(oldName, newName), TLogLevel::llNormal);
    if (TableExists(newName))
        throw EKalvex(ClassName() + QStringLiteral(".RenameTable: Zieltabelle \"%1\" ist bereits vorhanden.").arg(newName));
    ForgetPreparedStatements();
    ExecSQL(QStringLiteral("ALTER TABLE [%1] RENAME TO [%2]").arg(oldName, newName), TECommandTypes::sttDDL);
    FFieldExistsCache.ForgetTable(oldName);
    FFieldExistsCache.ForgetTable(newName);
}

QString TQMBQtSqlDatabaseHandler::CreateIndexSQL(bool unique) const
{
    return QStringLiteral("CREATE %1INDEX IF NOT EXISTS [%2] ON [%3] (%4)").arg(unique ? QStringLiteral(" UNIQUE ") : QString());
}

void TQMBQtSqlDatabaseHandler::AddIndex(const QString& table, const QString& fields, const QString& name, bool unique)
{
    ExecSQL(CreateIndexSQL(unique).arg(name, table, fields), TECommandTypes::sttDDL);
}

QDateTime TQMBQtSqlDatabaseHandler::getSystemTime()
{
    return JulianDayToDateTime(CalcSQL_Real(0, QStringLiteral("SELECT ") + getSystemTimeCommand(true, true)));
}

void TQMBQtSqlDatabaseHandler::StartTransaction()
{
    if (!db().Connection().transaction())
        throw EKalvex(ErrorMessage(db().Connection().lastError()));
}

void TQMBQtSqlDatabaseHandler::BeginTrans()
{
    if (FTransactionNestedCount == 0)
        StartTransaction();
    ++FTransactionNestedCount;
}

// A commit that fails (another process still reads, the server went away)
// leaves the engine inside the transaction: it is rolled back at once, so
// the next transaction starts clean and the caller learns that nothing of
// the work was kept.
void TQMBQtSqlDatabaseHandler::CommitTrans()
{
    if (FTransactionNestedCount == 0)
        return;
    if (--FTransactionNestedCount > 0 || db().Connection().commit())
        return;
    const QString error = ErrorMessage(db().Connection().lastError());
    db().Connection().rollback();
    addlog(QStringLiteral("CommitTrans: ") + error, TLogLevel::llNormal, true);
    throw EKalvex(Tx(4400, "Die Änderungen konnten nicht in der Datenbank gespeichert werden und wurden verworfen.")
                  + QStringLiteral(" (") + error + QLatin1Char(')'));
}

// An inner rollback is only counted: the outermost end decides.
void TQMBQtSqlDatabaseHandler::RollbackTrans()
{
    if (FTransactionNestedCount == 0)
        return;
    if (--FTransactionNestedCount == 0)
        db().Connection().rollback();
}

}  // namespace kalvex
