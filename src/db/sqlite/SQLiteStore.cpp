#include "db/sqlite/SQLiteStore.h"

#include "config/KalvexError.h"
#include "mailinterface/EMail.h"
#include "mailinterface/StreamIO.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlRecord>
#include <QUuid>
#include <atomic>
#include <cmath>

namespace kalvex {

namespace {

constexpr double kJulianDayOf18991230 = 2415018.5;
const QString kBlobFileMarker = QStringLiteral("ISABLOBVALUEFILENAME");
const QString kBlobMarker = QStringLiteral("ISABLOBVALUE");

QString nextConnectionName()
{
    static std::atomic<int> counter{0};
    return QStringLiteral("kalvex-sqlite-%1").arg(++counter);
}

// Named ":parameters" of a statement, skipping quoted text and "::" casts.
QStringList placeholderNames(const QString& sql)
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
        if (c == QLatin1Char('\'') || c == QLatin1Char('"')) {
            quote = c;
        } else if (c == QLatin1Char('[')) {
            quote = QLatin1Char(']');
        } else if (c == QLatin1Char(':') && i + 1 < sql.size() && (sql.at(i + 1).isLetter() || sql.at(i + 1) == QLatin1Char('_'))
                   && (i == 0 || sql.at(i - 1) != QLatin1Char(':'))) {
            qsizetype end = i + 1;
            while (end < sql.size() && (sql.at(end).isLetterOrNumber() || sql.at(end) == QLatin1Char('_')))
                ++end;
            const QString name = sql.mid(i + 1, end - i - 1);
            if (!names.contains(name, Qt::CaseInsensitive))
                names << name;
            i = end - 1;
        }
    }
    return names;
}

QByteArray readBlobFile(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        throw EKalvex(QStringLiteral("Die Datei \"%1\" konnte nicht gelesen werden: %2").arg(fileName, file.errorString()));
    return file.readAll();
}

// What the store keeps for a value: date-times as Julian day numbers,
// booleans as 0/1, GUIDs as braced upper-case text, blobs as bytes.
QVariant storedValue(const QVariant& v)
{
    switch (v.typeId()) {
    case QMetaType::QDateTime: return DateTimeToJulianDay(v.toDateTime());
    case QMetaType::QDate: return DateTimeToJulianDay(QDateTime(v.toDate(), QTime(0, 0)));
    case QMetaType::Bool: return v.toBool() ? 1 : 0;
    case QMetaType::QUuid: return GuidToString(v.toUuid());
    case QMetaType::QString: {
        const QString s = v.toString();
        if (s.startsWith(kBlobFileMarker))
            return readBlobFile(s.mid(kBlobFileMarker.size()));
        if (s.startsWith(kBlobMarker))
            return s.mid(kBlobMarker.size()).toLatin1();
        return s;
    }
    default: return v;
    }
}

const TParamInfoV2* findParam(const TParamInfoV2Array& params, const QString& name)
{
    for (const TParamInfoV2& p : params)
        if (p.Name.compare(name, Qt::CaseInsensitive) == 0)
            return &p;
    return nullptr;
}

}  // namespace

double DateTimeToJulianDay(const QDateTime& dt)
{
    return DateTimeToDays(dt) + kJulianDayOf18991230;
}

QDateTime JulianDayToDateTime(double julianDay)
{
    return DaysToDateTime(julianDay - kJulianDayOf18991230);
}

// ---------------------------------------------------------------- database

TQMBSQLiteDatabase::TQMBSQLiteDatabase(const TQMBDatabaseConfig& config)
    : TQMBDatabase(config), FConnectionName(nextConnectionName())
{
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), FConnectionName);
    db.setDatabaseName(config.FilePath());
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(BusyTimeoutMs));
}

TQMBSQLiteDatabase::~TQMBSQLiteDatabase()
{
    {
        QSqlDatabase db = QSqlDatabase::database(FConnectionName, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(FConnectionName);
}

QSqlDatabase TQMBSQLiteDatabase::Connection() const
{
    return QSqlDatabase::database(FConnectionName, false);
}

// Opening checks that the file is a database: SQLite itself would only
// notice at the first statement.
void TQMBSQLiteDatabase::SetConnected(bool value)
{
    QSqlDatabase db = Connection();
    if (!value) {
        db.close();
        return;
    }
    if (db.isOpen())
        return;
    if (!db.open())
        throw EKalvex(db.lastError().text());
    QSqlQuery probe(db);
    if (!probe.exec(QStringLiteral("PRAGMA schema_version"))) {
        const QString error = probe.lastError().text();
        probe.finish();
        db.close();
        throw EKalvex(error);
    }
}

bool TQMBSQLiteDatabase::GetConnected() const
{
    return Connection().isOpen();
}

std::unique_ptr<TQMBDataSet> TQMBSQLiteDataSetList::CreateDataSet(const QString& command, TECommandTypes commandType)
{
    FDatabaseHandler->addlog(QStringLiteral("TQMBSQLiteDataSetList.CreateDataSet ") + command, TLogLevel::llDebug);
    QSqlQuery query(FDb.Connection());
    query.setForwardOnly(true);
    auto ds = std::make_unique<TQMBDataSet>(std::move(query), commandType, FDatabaseHandler);
    ds->setCommandText(command);
    return ds;
}

// ---------------------------------------------------------------- handler

TQMBSQLiteDatabaseHandler::TQMBSQLiteDatabaseHandler(std::unique_ptr<TQMBDatabase> database, const QString& logPrefix,
                                                     int datasetCount)
    : TQMBDatabaseHandler(std::move(database), logPrefix, datasetCount),
      FDatasets(std::make_unique<TQMBSQLiteDataSetList>(this, datasetCount, db()))
{
}

TQMBSQLiteDatabaseHandler::~TQMBSQLiteDatabaseHandler()
{
    addlog(QStringLiteral("TQMBSQLiteDatabaseHandler.Destroy"), TLogLevel::llNormal);
    if (FTransactionNestedCount > 0) {
        addlog(QStringLiteral("TQMBSQLiteDatabaseHandler.Destroy: Es ist noch mindestens eine Transaktion aktiv."),
               TLogLevel::llNormal, true);
        for (int i = 0; i < 20 && FTransactionNestedCount > 0; ++i)
            CommitTrans();
    }
    FExecStatements.clear();
    FDatasets.reset();
}

void TQMBSQLiteDatabaseHandler::SetConnected(bool value)
{
    db().SetConnected(value);
}

bool TQMBSQLiteDatabaseHandler::GetConnected() const
{
    return db().GetConnected();
}

TConnectionError TQMBSQLiteDatabaseHandler::GetConnectionError() const
{
    static const QStringList login = {QStringLiteral(". Login fails"), QStringLiteral("requested by the login. The login failed")};
    static const QStringList database = {QStringLiteral("Cannot open database requested in login "), QStringLiteral("Cannot open database ")};
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
    if (FLastError.contains(QStringLiteral("SQL Server existiert nicht oder Zugriff verweigert")))
        return TConnectionError::tceHostError;
    return any(timeout) ? TConnectionError::tceTimeOut : TConnectionError::tceUnknown;
}

void TQMBSQLiteDatabaseHandler::bindParams(QSqlQuery& query, const QString& command, const TParamInfoV2Array& params) const
{
    const QStringList names = placeholderNames(command);
    for (const QString& name : names) {
        const TParamInfoV2* p = findParam(params, name);
        if (!p)
            throw EKalvex(QStringLiteral("Fehlender Parameter \"%1\"").arg(name));
        query.bindValue(QLatin1Char(':') + name, storedValue(p->Value));
    }
    if (names.isEmpty() && command.contains(QLatin1Char('?')))
        for (int i = 0; i < static_cast<int>(params.size()); ++i)
            query.bindValue(i, storedValue(params[static_cast<size_t>(i)].Value));
}

void TQMBSQLiteDatabaseHandler::fail(const QString& command, const TParamInfoV2Array& params, const QString& error)
{
    FLastError = error;
    addlog(QStringLiteral("SQL: ") + command, TLogLevel::llNormal, true);
    if (!params.empty())
        addlog(QStringLiteral("Parameter: ") + RenderParamsForLog(params), TLogLevel::llNormal, true);
    throw EKalvex(error);
}

qint64 TQMBSQLiteDatabaseHandler::ExecSQL(const QString& command, const TParamInfoV2Array& params, bool,
                                          TECommandTypes, TExecSQLReturnValue ret)
{
    QMutexLocker lock(&FLock);
    addlog((params.empty() ? QStringLiteral("TQMBSQLiteDatabaseHandler.ExecSQL \"")
                           : QStringLiteral("TQMBSQLiteDatabaseHandler.ExecSQL mit Parametern \"")) + command
               + QLatin1Char('"'), TLogLevel::llSQL);
    countStatement();
    auto it = FExecStatements.find(command);
    if (it == FExecStatements.end()) {
        QSqlQuery query(db().Connection());
        if (!query.prepare(command))
            fail(command, params, query.lastError().text());
        it = FExecStatements.insert(command, query);
    }
    QSqlQuery& query = *it;
    bindParams(query, command, params);
    if (!query.exec()) {
        const QString error = query.lastError().text();
        FExecStatements.erase(it);   // a failed statement may have gone stale
        fail(command, params, error);
    }
    const qint64 affected = query.numRowsAffected();
    query.finish();
    FLastError.clear();
    if (ret == TExecSQLReturnValue::erInsertedID)
        return CalcSQL_Int(0, QStringLiteral("SELECT last_insert_rowid()"));
    return affected;
}

TQMBDataSet* TQMBSQLiteDatabaseHandler::OpenSQL(const QString& command, const TParamInfoV2Array& params, bool,
                                                TECommandTypes type)
{
    QMutexLocker lock(&FLock);
    addlog((params.empty() ? QStringLiteral("TQMBSQLiteDatabaseHandler.OpenSQL \"")
                           : QStringLiteral("TQMBSQLiteDatabaseHandler.OpenSQL mit Parametern \"")) + command
               + QLatin1Char('"'), TLogLevel::llSQL);
    countStatement();
    QElapsedTimer timer;
    timer.start();
    TQMBDataSet* ds = FDatasets->GetDataSet(command, type);
    QSqlQuery& query = ds->getDataSet();
    if (query.lastQuery() != command && !query.prepare(command))
        fail(command, params, query.lastError().text());
    bindParams(query, command, params);
    if (!query.exec()) {
        const QString error = query.lastError().text();
        ds->Close();
        query.clear();   // prepare again next time
        fail(command, params, error);
    }
    ds->MarkOpen();
    FLastError.clear();
    addlog(QStringLiteral("Zeit: ") + QTime(0, 0).addMSecs(static_cast<int>(timer.elapsed())).toString(QStringLiteral("hh:mm:ss,zzz")),
           TLogLevel::llDebug);
    return ds;
}

QString TQMBSQLiteDatabaseHandler::FieldTypeToString(const TFieldInfoV2& field) const
{
    QString type;
    switch (field.Datatype) {
    case TFieldType::ftString:
    case TFieldType::ftWideString: type = QStringLiteral(" NVARCHAR(%1)").arg(field.Length); break;
    case TFieldType::ftSmallint:
    case TFieldType::ftInteger: type = QStringLiteral(" INTEGER"); break;
    case TFieldType::ftBoolean: type = QStringLiteral(" BOOLEAN"); break;
    case TFieldType::ftFloat: type = QStringLiteral(" REAL"); break;
    case TFieldType::ftDate: type = QStringLiteral(" DATE"); break;
    case TFieldType::ftTime: type = QStringLiteral(" TIME"); break;
    case TFieldType::ftDateTime: type = QStringLiteral(" DATETIME"); break;
    case TFieldType::ftBytes: type = QStringLiteral(" [rowversion]"); break;
    case TFieldType::ftAutoInc: type = QStringLiteral(" INTEGER PRIMARY KEY AUTOINCREMENT"); break;
    case TFieldType::ftBlob: type = QStringLiteral(" BLOB"); break;
    case TFieldType::ftMemo:
    case TFieldType::ftWideMemo: type = QStringLiteral(" TEXT"); break;
    case TFieldType::ftGuid: type = QStringLiteral(" GUID"); break;
    default:
        throw EKalvex(QStringLiteral("TQMBSQLiteDatabaseHandler\nUnbekannter Feldtyp für \"%1\" Datatype=%2")
                          .arg(field.Fieldname).arg(static_cast<int>(field.Datatype)));
    }
    return QLatin1Char('[') + field.Fieldname + QLatin1Char(']') + type
         + (field.NotNull ? QStringLiteral(" NOT NULL") : QString());
}

QString TQMBSQLiteDatabaseHandler::getCreateTableCommand(const QString& table, const TFieldInfoV2List& fields)
{
    QStringList definitions;
    for (const TFieldInfoV2& f : fields)
        definitions << FieldTypeToString(f)
                           + (f.DefaultExpression.isEmpty() ? QString() : QStringLiteral(" DEFAULT ") + f.DefaultExpression);
    return QStringLiteral("CREATE TABLE [%1] (%2)").arg(table, definitions.join(QStringLiteral(", ")));
}

void TQMBSQLiteDatabaseHandler::createTable(const QString& table, const TFieldInfoV2List& fields)
{
    ExecSQL(getCreateTableCommand(table, fields), TECommandTypes::sttDDL);
    FFieldExistsCache.ForgetTable(table);
}

void TQMBSQLiteDatabaseHandler::addField(const QString& table, const TFieldInfoV2& field)
{
    if (FieldExists(table, field.Fieldname)) {
        addlog(QStringLiteral("TQMBSQLiteDatabaseHandler.addField %1.%2 : Feld ist bereits vorhanden").arg(table, field.Fieldname),
               TLogLevel::llNormal);
        return;
    }
    QString sql = QStringLiteral("ALTER TABLE [%1] ADD ").arg(table) + FieldTypeToString(field);
    if (!field.DefaultExpression.isEmpty())
        sql += QStringLiteral(" DEFAULT ") + field.DefaultExpression;
    ExecSQL(sql, TECommandTypes::sttDDL);
    FFieldExistsCache.SetExists(table, field.Fieldname, field.Datatype, field.Length);
}

void TQMBSQLiteDatabaseHandler::deleteTable(const QString& table)
{
    addlog(QStringLiteral("TQMBSQLiteDatabaseHandler.deleteTable ") + table, TLogLevel::llNormal);
    FDatasets->CloseAllDataSets();
    ExecSQL(QStringLiteral("DROP TABLE [%1]").arg(table), TECommandTypes::sttDDL);
    FFieldExistsCache.ForgetTable(table);
}

QStringList TQMBSQLiteDatabaseHandler::getTableNames(bool includeSysTables)
{
    QString sql = QStringLiteral("select * from sqlite_master WHERE ([type]='table') ");
    if (!includeSysTables)
        sql += QStringLiteral("AND(name NOT LIKE 'sqlite_%') ");
    sql += QStringLiteral("ORDER BY NAME");
    TQMBDataSet* ds = OpenSQL(sql);
    QStringList names;
    while (ds->Next())
        names << ds->Field(QStringLiteral("tbl_name")).toString();
    ds->Close();
    return names;
}

void TQMBSQLiteDatabaseHandler::RenameTable(const QString& oldName, const QString& newName)
{
    addlog(QStringLiteral("TQMBSQLiteDatabaseHandler.RenameTable %1 => %2").arg(oldName, newName), TLogLevel::llNormal);
    if (TableExists(newName))
        throw EKalvex(QStringLiteral("TQMBSQLiteDatabaseHandler.RenameTable: Zieltabelle \"%1\" ist bereits vorhanden.").arg(newName));
    FDatasets->CloseAllDataSets();
    ExecSQL(QStringLiteral("ALTER TABLE [%1] RENAME TO [%2]").arg(oldName, newName), TECommandTypes::sttDDL);
    FFieldExistsCache.ForgetTable(oldName);
    FFieldExistsCache.ForgetTable(newName);
}

void TQMBSQLiteDatabaseHandler::AddIndex(const QString& table, const QString& fields, const QString& name, bool unique)
{
    ExecSQL(QStringLiteral("CREATE %1INDEX IF NOT EXISTS [%2] ON [%3] (%4)")
                .arg(unique ? QStringLiteral(" UNIQUE ") : QString(), name, table, fields),
            TECommandTypes::sttDDL);
}

void TQMBSQLiteDatabaseHandler::DropIndex(const QString&, const QString& name)
{
    ExecSQL(QStringLiteral("DROP INDEX [%1]").arg(name), TECommandTypes::sttDDL);
}

bool TQMBSQLiteDatabaseHandler::IndexExists(const QString& table, const QString& name)
{
    return CalcSQL_Int(0, QStringLiteral("SELECT count(*) FROM sqlite_master WHERE type='index' and name=? and tbl_name=?"),
                       {P(QStringLiteral("p1"), name), P(QStringLiteral("p2"), table)}) > 0;
}

qint64 TQMBSQLiteDatabaseHandler::getDatabaseSize()
{
    return CalcSQL_Int(0, QStringLiteral("pragma page_size")) * CalcSQL_Int(0, QStringLiteral("pragma page_count"));
}

QString TQMBSQLiteDatabaseHandler::getSystemTimeCommand(bool includeDate, bool includeTime) const
{
    if (includeDate && includeTime)
        return QStringLiteral("julianday(datetime('now', 'localtime'))");
    return includeDate ? QStringLiteral("date('now', 'localtime')") : QStringLiteral("time('now', 'localtime')");
}

QDateTime TQMBSQLiteDatabaseHandler::getSystemTime()
{
    return JulianDayToDateTime(CalcSQL_Real(0, QStringLiteral("SELECT ") + getSystemTimeCommand(true, true)));
}

void TQMBSQLiteDatabaseHandler::BeginTrans()
{
    if (FTransactionNestedCount == 0 && !db().Connection().transaction())
        throw EKalvex(db().Connection().lastError().text());
    ++FTransactionNestedCount;
}

void TQMBSQLiteDatabaseHandler::CommitTrans()
{
    if (FTransactionNestedCount == 0)
        return;
    if (--FTransactionNestedCount == 0 && !db().Connection().commit())
        throw EKalvex(db().Connection().lastError().text());
}

// An inner rollback is only counted: the outermost end decides.
void TQMBSQLiteDatabaseHandler::RollbackTrans()
{
    if (FTransactionNestedCount == 0)
        return;
    if (--FTransactionNestedCount == 0)
        db().Connection().rollback();
}

QStringList TQMBSQLiteDatabaseHandler::columnNames(const QString& table)
{
    TQMBDataSet* ds = OpenSQL(QStringLiteral("pragma table_info('%1')").arg(table));
    QStringList names;
    while (ds->Next())
        names << ds->Field(QStringLiteral("name")).toString();
    ds->Close();
    return names;
}

QString TQMBSQLiteDatabaseHandler::createStatementOf(const QString& table)
{
    const QString sql = CalcSQL_String(QString(), QStringLiteral("SELECT sql FROM sqlite_master WHERE (type='table')AND(name = '%1')AND(tbl_name = '%1')").arg(table));
    if (sql.isEmpty())
        throw EKalvex(QStringLiteral("Create statement could not be determined (maybe case-sensitive)."));
    if (!sql.startsWith(QStringLiteral("CREATE TABLE \"")) && !sql.startsWith(QStringLiteral("CREATE TABLE [")))
        throw EKalvex(QStringLiteral("Create statement could not be parsed."));
    return sql;
}

void TQMBSQLiteDatabaseHandler::RecreateTable(const QString& table,
                                              const std::function<QString(const QString&)>& changeStatement,
                                              int expectedFieldCount)
{
    const QString newStatement = changeStatement(createStatementOf(table));
    const QString base = table + QStringLiteral("_BcUp") + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddHHmmss"));
    QString backup = base;
    for (int n = 2; TableExists(backup); ++n)
        backup = base + QString::number(n);
    ExecSQL(QStringLiteral("PRAGMA foreign_keys = OFF"));
    const qint64 before = CalcSQL_Int(0, QStringLiteral("SELECT Count(*) FROM [%1]").arg(table));
    FDatasets->CloseAllDataSets();
    FExecStatements.clear();
    ExecSQL(QStringLiteral("ALTER TABLE [%1] RENAME TO [%2]").arg(table, backup), TECommandTypes::sttDDL);
    ExecSQL(newStatement, TECommandTypes::sttDDL);
    FFieldExistsCache.ForgetTable(table);
    const QStringList columns = columnNames(table);
    if (columns.size() != expectedFieldCount)
        throw EKalvex(QStringLiteral("Unexpected field-count after recreation: %1, expected %2").arg(columns.size()).arg(expectedFieldCount));
    const QStringList backupColumns = columnNames(backup);
    QStringList shared;
    for (const QString& c : columns)
        if (backupColumns.contains(c, Qt::CaseInsensitive))
            shared << QLatin1Char('[') + c + QLatin1Char(']');
    const QString list = shared.join(QLatin1Char(','));
    ExecSQL(QStringLiteral("INSERT INTO [%1] (%2) SELECT %2 FROM [%3]").arg(table, list, backup));
    const qint64 after = CalcSQL_Int(0, QStringLiteral("SELECT Count(*) FROM [%1]").arg(table));
    if (before != after)
        throw EKalvex(QStringLiteral("Error while copying: different dataset count: before=%1, after=%2, Backup in %3.")
                          .arg(before).arg(after).arg(backup));
    ExecSQL(QStringLiteral("PRAGMA foreign_keys = ON"));
    // Every row arrived: the backup has done its job.
    ExecSQL(QStringLiteral("DROP TABLE [%1]").arg(backup), TECommandTypes::sttDDL);
}

void TQMBSQLiteDatabaseHandler::deleteField(const QString& table, const QString& field)
{
    const QString prefix = QStringLiteral("TQMBSQLiteDatabaseHandler.DeleteField(\"%1\", \"%2\"): ").arg(table, field);
    try {
        const int expected = static_cast<int>(columnNames(table).size()) - 1;
        RecreateTable(table, [&](const QString& sql) {
            const QRegularExpression column(QStringLiteral("[,(]\\s*[\\[\"]%1[\\]\"][^,()]*(\\([^)]*\\))?[^,)]*")
                                                .arg(QRegularExpression::escape(field)),
                                            QRegularExpression::CaseInsensitiveOption);
            const QRegularExpressionMatch m = column.match(sql);
            if (!m.hasMatch())
                throw EKalvex(QStringLiteral("Column not found in create statement."));
            QString out = sql;
            const bool first = out.at(m.capturedStart()) == QLatin1Char('(');
            out.remove(m.capturedStart() + (first ? 1 : 0), m.capturedLength() - (first ? 1 : 0));
            if (first)
                out.replace(QRegularExpression(QStringLiteral("\\(\\s*,")), QStringLiteral("("));
            return out;
        }, expected);
        FFieldExistsCache.ForgetTable(table);
    } catch (const EKalvex& e) {
        throw EKalvex(prefix + e.message());
    }
}

}  // namespace kalvex
