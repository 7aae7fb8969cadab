#include "db/sqlite/SQLiteStore.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "db/sqlite/SQLiteRows.h"
#include "mailinterface/EMail.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <sqlite3.h>

namespace kalvex {

namespace {

using TGuidFormat = TQMBDatabaseConfigSqliteGuidFormat;
using TDateTimeFormat = TQMBDatabaseConfigSqliteDateTimeFormat;

// Settings files may hold any number: one that names no format is refused
// before the file is opened.
void checkFormats(const TQMBDatabaseConfigOptions& options)
{
    const int guid = static_cast<int>(options.SqliteGuidFormat);
    if (guid < static_cast<int>(TGuidFormat::dbgfDefault) || guid > static_cast<int>(TGuidFormat::dbgfBinary))
        throw EKalvex(QStringLiteral("TQMBSQLiteDatabase.Create: unknown Options.SqliteGuidFormat: %1").arg(guid));
    const int dateTime = static_cast<int>(options.SqliteDateTimeFormat);
    if (dateTime < static_cast<int>(TDateTimeFormat::dbdtfDefault) || dateTime > static_cast<int>(TDateTimeFormat::dbdtfDelphi))
        throw EKalvex(QStringLiteral("TQMBSQLiteDatabase.Create: unknown Options.SqliteDateTimeFormat: %1").arg(dateTime));
}

void execPragma(QSqlDatabase& db, const QString& pragma)
{
    QSqlQuery query(db);
    if (!query.exec(pragma)) {
        const QString error = query.lastError().text();
        query.finish();
        throw EKalvex(error);
    }
}

}  // namespace

TQMBSQLiteDatabase::TQMBSQLiteDatabase(const TQMBDatabaseConfig& config)
    : TQMBQtSqlDatabase(config, QStringLiteral("QSQLITE"))
{
    checkFormats(config.Options);
    QSqlDatabase db = Connection();
    db.setDatabaseName(config.FilePath());
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(config.Options.BusyTimeoutMs));
}

// Opening checks that the file is a database (SQLite itself would only
// notice at the first statement); a commit then waits for the journal but
// not for every page on disk (a power cut may lose the last commit, never
// the file).
//
// A new store gets large pages: an attachment is written as a zero blob and
// then filled, and with small pages the zero pages spill to the file, are
// read back and written again page by page (three system calls per 4 kB).
// An existing store keeps its page size (SQLite changes it only for a new
// file).
void TQMBSQLiteDatabase::AfterOpen(QSqlDatabase& db)
{
    execPragma(db, QStringLiteral("PRAGMA page_size = %1").arg(NewStorePageSize));
    execPragma(db, QStringLiteral("PRAGMA schema_version"));
    execPragma(db, QStringLiteral("PRAGMA synchronous = NORMAL"));
}

// Typed values follow the store's formats; the module's own columns are
// written as numbers and text and keep Julian days and braced GUIDs.
QVariant TQMBSQLiteDatabaseHandler::StoredValue(const QVariant& v) const
{
    const TQMBDatabaseConfigOptions& options = db().ConnectionInfo().Options;
    if (v.typeId() == QMetaType::QUuid && options.SqliteGuidFormat == TGuidFormat::dbgfBinary)
        return v.toUuid().toRfc4122();
    const bool dateTime = v.typeId() == QMetaType::QDateTime || v.typeId() == QMetaType::QDate;
    if (v.isNull() || !dateTime)
        return TQMBQtSqlDatabaseHandler::StoredValue(v);
    switch (options.SqliteDateTimeFormat) {
    case TDateTimeFormat::dbdtfString: return v.toDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    case TDateTimeFormat::dbdtfDelphi: return DateTimeToDays(v.toDateTime());
    default: return TQMBQtSqlDatabaseHandler::StoredValue(v);
    }
}

// A transaction writes from its first statement on: taking the write lock
// at the start waits for another writer (busy time-out), where a deferred
// one that read first would fail at once when it starts writing.
void TQMBSQLiteDatabaseHandler::StartTransaction()
{
    QSqlQuery begin(db().Connection());
    if (!begin.exec(QStringLiteral("BEGIN IMMEDIATE")))
        throw EKalvex(begin.lastError().text());
}

namespace {

sqlite3* sqliteHandle(const QSqlDatabase& db)
{
    const QVariant handle = db.driver()->handle();
    if (!handle.isValid() || qstrcmp(handle.typeName(), "sqlite3*") != 0)
        throw EKalvex(QStringLiteral("TQMBSQLiteDatabaseHandler: keine SQLite-Verbindung"));
    return *static_cast<sqlite3* const*>(handle.constData());
}

// The statement with the blob's parameter replaced by a zero blob of the
// size bound to that parameter.
QString withZeroBlob(const QString& command, const QString& param)
{
    QString out = command;
    const QRegularExpression placeholder(QLatin1Char(':') + QRegularExpression::escape(param) + QStringLiteral("(?!\\w)"));
    return out.replace(placeholder, QStringLiteral("zeroblob(:") + param + QLatin1Char(')'));
}

struct TBlobCloser {
    sqlite3_blob* blob = nullptr;
    ~TBlobCloser() { sqlite3_blob_close(blob); }
};

}  // namespace

std::unique_ptr<TRowReader> TQMBSQLiteDatabaseHandler::ReadRows(const QString& command, const TParamInfoV2Array& params)
{
    QMutexLocker lock(&FLock);
    logStatement("ReadRows", command, !params.empty());
    try {
        auto rows = std::make_unique<TSQLiteRows>(sqliteHandle(db().Connection()), NativeSQL(command));
        for (const TParamInfoV2& p : params)
            rows->Bind(p.Name, StoredValue(p.Value));
        return rows;
    } catch (const EKalvex& e) {
        Fail(command, params, e.message());
    }
}

qint64 TQMBSQLiteDatabaseHandler::InsertWithBlobFile(const QString& command, TParamInfoV2Array params, const TBlobFile& blob)
{
    QMutexLocker lock(&FLock);
    params.push_back(P(blob.Param, blob.Size));
    const qint64 id = ExecSQL(withZeroBlob(command, blob.Param), params, true, TECommandTypes::sttInsert,
                              TExecSQLReturnValue::erInsertedID);
    writeBlob(blob, id);
    return id;
}

void TQMBSQLiteDatabaseHandler::writeBlob(const TBlobFile& blob, qint64 rowId)
{
    sqlite3* db = sqliteHandle(this->db().Connection());
    TBlobCloser target;
    if (sqlite3_blob_open(db, "main", blob.Table.toUtf8().constData(), blob.Field.toUtf8().constData(), rowId, 1,
                          &target.blob) != SQLITE_OK)
        throw EKalvex(QString::fromUtf8(sqlite3_errmsg(db)));
    QByteArray chunk(static_cast<qsizetype>(std::min(BlobChunkSize, std::max<qint64>(blob.Size, 1))), Qt::Uninitialized);
    for (qint64 offset = 0; offset < blob.Size;) {
        const qint64 n = blob.File->read(chunk.data(), std::min<qint64>(chunk.size(), blob.Size - offset));
        if (n <= 0)
            throw EKalvex(Tx(2502, "Die Datei %1 konnte nicht vollständig gelesen werden.").arg(blob.File->fileName()));
        if (sqlite3_blob_write(target.blob, chunk.constData(), static_cast<int>(n), static_cast<int>(offset)) != SQLITE_OK)
            throw EKalvex(QString::fromUtf8(sqlite3_errmsg(db)));
        offset += n;
    }
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
    ForgetPreparedStatements();
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

namespace {

// Where a column's definition stands in a CREATE statement: from the comma
// (or opening parenthesis) before it up to the next comma or the end.
QRegularExpressionMatch columnDefinition(const QString& sql, const QString& field)
{
    const QRegularExpression column(QStringLiteral("[,(]\\s*[\\[\"]%1[\\]\"][^,()]*(\\([^)]*\\))?[^,)]*")
                                        .arg(QRegularExpression::escape(field)),
                                    QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch m = column.match(sql);
    if (!m.hasMatch())
        throw EKalvex(QStringLiteral("Column not found in create statement."));
    return m;
}

QString withClause(const QString& sql, const QString& clause)
{
    const qsizetype end = sql.lastIndexOf(QLatin1Char(')'));
    if (end < 0)
        throw EKalvex(QStringLiteral("Column (end) not found in create statement."));
    return sql.left(end) + QStringLiteral(", ") + clause + sql.mid(end);
}

}  // namespace

void TQMBSQLiteDatabaseHandler::recreateWith(const QString& operation, const QString& names, int expectedFieldCount,
                                             const std::function<QString(const QString&)>& changeStatement)
{
    try {
        RecreateTable(names.section(QLatin1Char('"'), 1, 1), changeStatement, expectedFieldCount);
    } catch (const EKalvex& e) {
        throw EKalvex(QStringLiteral("TQMBSQLiteDatabaseHandler.%1(%2): ").arg(operation, names) + e.message());
    }
}

void TQMBSQLiteDatabaseHandler::deleteField(const QString& table, const QString& field)
{
    const int expected = static_cast<int>(columnNames(table).size()) - 1;
    recreateWith(QStringLiteral("DeleteField"), QStringLiteral("\"%1\", \"%2\"").arg(table, field), expected, [&](const QString& sql) {
        const QRegularExpressionMatch m = columnDefinition(sql, field);
        QString out = sql;
        const bool first = out.at(m.capturedStart()) == QLatin1Char('(');
        out.remove(m.capturedStart() + (first ? 1 : 0), m.capturedLength() - (first ? 1 : 0));
        if (first)
            out.replace(QRegularExpression(QStringLiteral("\\(\\s*,")), QStringLiteral("("));
        return out;
    });
    FFieldExistsCache.ForgetTable(table);
}

void TQMBSQLiteDatabaseHandler::AlterField(const QString& table, const TFieldInfoV2& field, bool skipIfFieldTypeAndSizeOk)
{
    const QString names = QStringLiteral("\"%1\", \"%2\"").arg(table, field.Fieldname);
    const QString definition = FieldTypeToString(field);
    for (const char* special : {"PRIMARY", "FOREIGN", "CONSTRAINT"})
        if (definition.contains(QLatin1String(special), Qt::CaseInsensitive))
            throw EKalvex(QStringLiteral("TQMBSQLiteDatabaseHandler.AlterField(%1): Fieldcode contains special statement: \"%2\"").arg(names, definition));
    TFieldInfoV2 current;
    if (!FieldExists(table, field.Fieldname, &current))
        throw EKalvex(QStringLiteral("TQMBSQLiteDatabaseHandler.AlterField(%1): Field %2 not exists.").arg(names, field.Fieldname));
    if (skipIfFieldTypeAndSizeOk && current.Datatype == field.Datatype && current.Length == field.Length)
        return;
    const int expected = static_cast<int>(columnNames(table).size());
    recreateWith(QStringLiteral("AlterField"), names, expected, [&](const QString& sql) {
        const QRegularExpressionMatch m = columnDefinition(sql, field.Fieldname);
        QString out = sql;
        out.replace(m.capturedStart() + 1, m.capturedLength() - 1, QLatin1Char(' ') + definition);
        return out;
    });
    FFieldExistsCache.ForgetTable(table);
}

void TQMBSQLiteDatabaseHandler::AddPrimaryKey(const QString& table, const QString& field, const QString& name)
{
    const int expected = static_cast<int>(columnNames(table).size());
    recreateWith(QStringLiteral("AddPrimaryKey"), QStringLiteral("\"%1\", \"%2\", \"%3\"").arg(table, field, name), expected,
                 [&](const QString& sql) { return withClause(sql, QStringLiteral("CONSTRAINT [%1] PRIMARY KEY (%2)").arg(name, field)); });
}

void TQMBSQLiteDatabaseHandler::AddForeignKey(const QString& srcTable, const QString& srcField, const QString& destTable,
                                              const QString& destField, const QString& name, TForeignKeyAction onUpdate,
                                              TForeignKeyAction onDelete)
{
    const int expected = static_cast<int>(columnNames(srcTable).size());
    const QString clause = QStringLiteral("CONSTRAINT \"%1\" FOREIGN KEY(\"%2\") REFERENCES \"%3\"(\"%4\")")
                               .arg(name, srcField, destTable, destField) + ForeignKeyActions(onUpdate, onDelete);
    recreateWith(QStringLiteral("AddForeignKey"), QStringLiteral("\"%1\", \"%2\", \"%3\"").arg(srcTable, srcField, name), expected,
                 [&](const QString& sql) { return withClause(sql, clause); });
}

void TQMBSQLiteDatabaseHandler::DropForeignKey(const QString&, const QString&)
{
    throw EKalvex(QStringLiteral("ALTER TABLE ADD CONSTRAINT not supported."));
}

void TQMBSQLiteDatabaseHandler::AddCheckConstraint(const QString&, const QString&, const QString&)
{
    throw EKalvex(QStringLiteral("ALTER TABLE ADD CONSTRAINT not supported."));
}

void TQMBSQLiteDatabaseHandler::DropCheckConstraint(const QString&, const QString&)
{
    throw EKalvex(QStringLiteral("ALTER TABLE ADD CONSTRAINT not supported."));
}

// The one column declared INTEGER PRIMARY KEY AUTOINCREMENT.
QString TQMBSQLiteDatabaseHandler::AutoIncFieldOf(const QString& table)
{
    static const QRegularExpression column(QStringLiteral("[\\[\"`]?(\\w+)[\\]\"`]?\\s+INTEGER\\s+PRIMARY\\s+KEY\\s+AUTOINCREMENT"),
                                           QRegularExpression::CaseInsensitiveOption);
    const QString sql = CalcSQL_String(QString(), QStringLiteral("SELECT sql FROM sqlite_master WHERE type='table' AND name = :t"),
                                       {P(QStringLiteral("t"), table)});
    return column.match(sql).captured(1);
}

QString TQMBSQLiteDatabaseHandler::BuildSqlIfNull(const QString& field, const QString& def) const
{
    return QStringLiteral("IFNULL(%1, %2)").arg(field, def);
}

QString TQMBSQLiteDatabaseHandler::BuildSqlDataLength(const QString& field, bool returnByteCount, const QString& alias) const
{
    return (returnByteCount ? QStringLiteral("LENGTH(CAST(%1 AS BLOB))") : QStringLiteral("LENGTH(%1)")).arg(field)
         + QStringLiteral(" AS [%1]").arg(alias);
}

// The alias carries a type hint so that the result column is typed.
QString TQMBSQLiteDatabaseHandler::BuildSqlMinDateTime(const QString& field, const QString& alias) const
{
    return QStringLiteral("MIN(%1) AS \"%2::DATETIME\"").arg(field, alias);
}

QString TQMBSQLiteDatabaseHandler::BuildSqlMaxDateTime(const QString& field, const QString& alias) const
{
    return QStringLiteral("MAX(%1) AS \"%2::DATETIME\"").arg(field, alias);
}

}  // namespace kalvex
