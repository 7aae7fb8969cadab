// The handler operations that every store gets from the base class,
// written once in bracket-quoted SQL: sums, row versions, large blobs,
// sessions, unique numbers, table copies, inserts and updates, and the
// performance log.

#include "db/BasedbClasses.h"

#include "config/KalvexError.h"
#include "db/qtsql/QtSqlStore.h"
#include "mailinterface/EMail.h"

#include <QDateTime>
#include <QFile>
#include <QSaveFile>
#include <QSqlField>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QSysInfo>
#include <QThread>
#include <optional>

namespace kalvex {

namespace {

constexpr int kUniqueIdAttempts = 500;
constexpr double kJulianDayOf18991230 = 2415018.5;
constexpr int kUniqueIdRetryMs = 10;
const QString kSessionTable = QStringLiteral("DBActiveSession");

QString aggregate(const char* function, const QString& field, const QString& alias)
{
    return QLatin1String(function) + QLatin1Char('(') + field + QLatin1Char(')')
         + (alias.isEmpty() ? QString() : QStringLiteral(" AS ") + alias);
}

QString withWhere(QString sql, const QString& where)
{
    return where.isEmpty() ? sql : sql + QStringLiteral(" WHERE ") + where;
}

// Stores keep date-times as Julian day numbers or as their own type.
QDateTime dateTimeOf(const QVariant& v)
{
    return v.typeId() == QMetaType::QDateTime ? v.toDateTime() : JulianDayToDateTime(v.toDouble());
}

TFieldInfoV2 fieldInfoOf(const QSqlField& f, const TCopyTableSettings& settings)
{
    TFieldInfoV2 info;
    info.Fieldname = f.name();
    info.Length = f.length() > 0 ? static_cast<int>(f.length()) : 255;
    switch (f.metaType().id()) {
    case QMetaType::Int:
    case QMetaType::LongLong: info.Datatype = TFieldType::ftInteger; break;
    case QMetaType::Double: info.Datatype = TFieldType::ftFloat; break;
    case QMetaType::QByteArray: info.Datatype = TFieldType::ftBlob; break;
    case QMetaType::QDateTime: info.Datatype = TFieldType::ftDateTime; break;
    case QMetaType::Bool: info.Datatype = TFieldType::ftBoolean; break;
    default: info.Datatype = TFieldType::ftMemo; break;
    }
    if (f.isAutoValue() && settings.Has(TCopyTableOption::ctCopyAutoIncAsAutoInc))
        info.Datatype = TFieldType::ftAutoInc;
    if (settings.Has(TCopyTableOption::ctRowIdColumnnameAsInteger) && f.name().compare(QLatin1String("ROWID"), Qt::CaseInsensitive) == 0)
        info.Datatype = TFieldType::ftInteger;
    return info;
}

void checkCopyOptions(const QString& target, const TCopyTableSettings& s)
{
    const QString prefix = QStringLiteral("TQMBDatabaseHandler.copyTableValues for \"%1\": ").arg(target);
    if (s.Has(TCopyTableOption::ctCopyAutoIncAsInt) && s.Has(TCopyTableOption::ctCopyAutoIncAsAutoInc))
        throw EKalvex(prefix + QStringLiteral("ctCopyAutoIncAsInt und ctCopyAutoIncAsAutoInc sind nicht gleichzeitig zulässig."));
    if (s.Has(TCopyTableOption::ctReturnMaxIgnoreField) && s.Has(TCopyTableOption::ctReturnLastAutoInc))
        throw EKalvex(prefix + QStringLiteral("ctReturnMaxIgnoreField und ctReturnLastAutoInc sind nicht gleichzeitig zulässig."));
}

// One table copy: which columns go where, and each row's statement.
class TTableCopy {
public:
    TTableCopy(TQMBDatabaseHandler& handler, QString target, const TCopyTableSettings& settings)
        : FHandler(handler), FTarget(std::move(target)), FSettings(settings)
    {
    }

    void PlanColumns(const QSqlRecord& record, const QString& knownAutoIncField)
    {
        FAutoIncField = knownAutoIncField;
        for (int i = 0; i < record.count(); ++i) {
            QSqlField f = record.field(i);
            if (f.name().compare(knownAutoIncField, Qt::CaseInsensitive) == 0)
                f.setAutoValue(true);
            const TFieldInfoV2 info = fieldInfoOf(f, FSettings);
            if (f.isAutoValue())
                FAutoIncField = info.Fieldname;
            if (!FSettings.IgnoreFieldListForCreateTable.contains(info.Fieldname, Qt::CaseInsensitive))
                FCreated.push_back(info);
            if (!FSettings.IgnoreFieldListForCopy.contains(info.Fieldname, Qt::CaseInsensitive))
                FColumns.push_back(info);
        }
    }

    void PrepareTarget()
    {
        if (!FHandler.TableExists(FTarget))
            FHandler.createTable(FTarget, FCreated);
        setIdentityInsert(true);
    }

    void CopyRow(const QSqlQuery& row)
    {
        Statement st = statementOf(row);
        trackResult(row);
        try {
            write(st);
        } catch (const EKalvex& e) {
            if (!FSettings.IgnoreExceptions)
                throw;
            FHandler.addlog(QStringLiteral("copyTableValues %1: Zeile übersprungen: %2").arg(FTarget, e.message()), TLogLevel::llNormal, true);
        }
    }

    qint64 Finish()
    {
        setIdentityInsert(false);
        return FResult;
    }

private:
    struct Statement {
        TParamInfoV2Array params;
        QStringList names, marks, sets;
        QVariant key;
    };

    void setIdentityInsert(bool on)
    {
        if (FSettings.Has(TCopyTableOption::ctCopyAutoIncAsAutoInc) && !FAutoIncField.isEmpty())
            FHandler.SetAutoIncInsert(FTarget, on);
    }

    QVariant valueOf(const QSqlQuery& row, const QString& column) const
    {
        QVariant value = row.value(column);
        for (const auto& [field, replacement] : FSettings.ReplaceFieldList)
            if (field.compare(column, Qt::CaseInsensitive) == 0)
                value = replacement;
        return value.isNull() ? QVariant(QMetaType(QMetaType::QString)) : value;
    }

    Statement statementOf(const QSqlQuery& row) const
    {
        Statement st;
        for (const TFieldInfoV2& c : FColumns) {
            const QVariant value = valueOf(row, c.Fieldname);
            if (c.Fieldname.compare(FSettings.KeyExists.KeyFieldName, Qt::CaseInsensitive) == 0)
                st.key = value;
            const QString p = QStringLiteral("p%1").arg(st.params.size() + 1);
            st.params.push_back(P(p, value));
            st.names << QLatin1Char('[') + c.Fieldname + QLatin1Char(']');
            st.marks << QLatin1Char(':') + p;
            st.sets << QStringLiteral("[%1]=:%2").arg(c.Fieldname, p);
        }
        return st;
    }

    void trackResult(const QSqlQuery& row)
    {
        if (FSettings.Has(TCopyTableOption::ctReturnLastAutoInc) && !FAutoIncField.isEmpty())
            FResult = std::max(FResult, row.value(FAutoIncField).toLongLong());
        if (FSettings.Has(TCopyTableOption::ctReturnMaxIgnoreField))
            for (const QString& ignored : FSettings.IgnoreFieldListForCopy)
                FResult = std::max(FResult, row.value(ignored).toLongLong());
    }

    bool keyExists(const QVariant& key) const
    {
        const auto& check = FSettings.KeyExists;
        return check.Active
            && FHandler.CalcSQL_Int(0, QStringLiteral("SELECT COUNT(*) FROM [%1] WHERE [%2]=:k").arg(FTarget, check.KeyFieldName),
                                    {P(QStringLiteral("k"), key)}) > 0;
    }

    void write(Statement& st)
    {
        if (!keyExists(st.key)) {
            FHandler.ExecSQL(QStringLiteral("INSERT INTO [%1] (%2) values (%3)")
                                 .arg(FTarget, st.names.join(QLatin1Char(',')), st.marks.join(QLatin1Char(','))),
                             st.params, true, TECommandTypes::sttInsert);
        } else if (FSettings.KeyExists.KeyExistsAction == TCopyTableSettingsKeyExistsAction::keUpdate) {
            st.params.push_back(P(QStringLiteral("pKey"), st.key));
            FHandler.ExecSQL(QStringLiteral("UPDATE [%1] SET %2 WHERE [%3]=:pKey")
                                 .arg(FTarget, st.sets.join(QLatin1Char(',')), FSettings.KeyExists.KeyFieldName),
                             st.params, true, TECommandTypes::sttUpdate);
        }
    }

    TQMBDatabaseHandler& FHandler;
    QString FTarget;
    const TCopyTableSettings& FSettings;
    TFieldInfoV2List FColumns, FCreated;
    QString FAutoIncField;
    qint64 FResult = 0;
};

}  // namespace

// ---------------------------------------------------------------- sums, GUIDs, row versions

QString TQMBDatabaseHandler::BuildSqlSumInt(const QString& field, const QString& alias) const { return aggregate("SUM", field, alias); }
QString TQMBDatabaseHandler::BuildSqlMinReal(const QString& field, const QString& alias) const { return aggregate("MIN", field, alias); }
QString TQMBDatabaseHandler::BuildSqlMaxReal(const QString& field, const QString& alias) const { return aggregate("MAX", field, alias); }
QString TQMBDatabaseHandler::BuildSqlSumReal(const QString& field, const QString& alias) const { return aggregate("SUM", field, alias); }

qint64 TQMBDatabaseHandler::CalcSQL_SumInt(const QString& table, const QString& field, const QString& where)
{
    return CalcSQL_Int(0, withWhere(QStringLiteral("SELECT %1 FROM [%2]").arg(BuildSqlSumInt(field, QString()), table), where));
}

double TQMBDatabaseHandler::CalcSQL_SumReal(const QString& table, const QString& field, const QString& where)
{
    return CalcSQL_Real(0, withWhere(QStringLiteral("SELECT %1 FROM [%2]").arg(BuildSqlSumReal(field, QString()), table), where));
}

QUuid TQMBDatabaseHandler::CalcSQL_GUID(const QUuid& def, const QString& command, const TParamInfoV2Array& params)
{
    const QString text = CalcSQL_String(QString(), command, params);
    const QUuid guid = QUuid::fromString(text);
    return text.isEmpty() || guid.isNull() ? def : guid;
}

QString TQMBDatabaseHandler::BuildSqlIfNull(const QString& field, const QString& def) const
{
    return QStringLiteral("COALESCE(%1, %2)").arg(field, def);
}

QString TQMBDatabaseHandler::BuildSqlDataLength(const QString& field, bool, const QString& alias) const
{
    return QStringLiteral("LENGTH(%1) AS [%2]").arg(field, alias);
}

QString TQMBDatabaseHandler::BuildSqlMinDateTime(const QString& field, const QString& alias) const { return aggregate("MIN", field, alias); }
QString TQMBDatabaseHandler::BuildSqlMaxDateTime(const QString& field, const QString& alias) const { return aggregate("MAX", field, alias); }

qint64 TQMBDatabaseHandler::getTableSize(const QString&, bool, bool)
{
    throw EKalvex(QStringLiteral("Noch nicht implementiert."));
}

qint64 TQMBDatabaseHandler::getDatabaseSizeUnused()
{
    throw EKalvex(QStringLiteral("Noch nicht implementiert."));
}

qint64 TQMBDatabaseHandler::GetRowVersionMax(const QString& table, const QString& field)
{
    addlog(QStringLiteral("GetRowVersionMax %1.%2").arg(table, field), TLogLevel::llDebug);
    return GetRowVersion(QStringLiteral("SELECT Max(%1) FROM [%2]").arg(field, table));
}

qint64 TQMBDatabaseHandler::GetRowVersionMaxDB()
{
    addlog(QStringLiteral("GetRowVersionMaxDB"), TLogLevel::llDebug);
    return GetRowVersion(QStringLiteral("SELECT @@DBTS"));
}

QVariant TQMBDatabaseHandler::DateTimeValue(double days) const
{
    return days + kJulianDayOf18991230;
}

double TQMBDatabaseHandler::DaysOf(const QVariant& stored)
{
    if (stored.typeId() == QMetaType::QDateTime)
        return DateTimeToDays(stored.toDateTime());
    return stored.toDouble() - kJulianDayOf18991230;
}

qint64 TQMBDatabaseHandler::ConvertRowVersion(const QVariant& value)
{
    quint64 result = 0;
    for (const char byte : value.toByteArray())
        result = (result << 8) + static_cast<unsigned char>(byte);
    return static_cast<qint64>(result);
}

qint64 TQMBDatabaseHandler::GetRowVersion(const QString& sql, const TParamInfoV2Array& params)
{
    TQMBDataSet* ds = OpenSQL(sql, params);
    const qint64 version = ds->Next() ? ConvertRowVersion(ds->getDataSet().value(0)) : 0;
    ds->Close();
    return version;
}

// ---------------------------------------------------------------- large blobs

void TQMBDatabaseHandler::SetLargeBLOBFromFile(const QString& table, const QString& keyField, const QVariant& keyValue,
                                               const QString& blobField, const QString& fileName)
{
    addlog(QStringLiteral("SetLargeBlobFromFile %1.%2 <- %3").arg(table, blobField, fileName), TLogLevel::llDebug);
    ExecSQL(QStringLiteral("UPDATE %1 SET [%2]=:p1 WHERE [%3]=:p2").arg(table, blobField, keyField),
            {P(QStringLiteral("p1"), QStringLiteral("ISABLOBVALUEFILENAME") + fileName), P(QStringLiteral("p2"), keyValue)});
}

qint64 TQMBDatabaseHandler::InsertWithBlobFile(const QString& command, TParamInfoV2Array params, const TBlobFile& blob)
{
    params.push_back(P(blob.Param, blob.File->read(blob.Size)));
    return ExecSQL(command, params, true, TECommandTypes::sttInsert, TExecSQLReturnValue::erInsertedID);
}

void TQMBDatabaseHandler::GetLargeBLOBAsFile(const QString& table, const QString& keyField, const QVariant& keyValue,
                                             const QString& blobField, const QString& fileName)
{
    TQMBDataSet* ds = OpenSQL(QStringLiteral("SELECT [%1] FROM [%2] WHERE [%3] =:p1").arg(blobField, table, keyField),
                              {P(QStringLiteral("p1"), keyValue)});
    const bool found = ds->Next();
    const QByteArray content = found ? ds->getDataSet().value(0).toByteArray() : QByteArray();
    ds->Close();
    if (!found)
        throw EKalvex(QStringLiteral("GetLargeBLOBAsFile: kein Datensatz in %1 mit %2 = %3").arg(table, keyField, keyValue.toString()));
    QSaveFile file(fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.commit())
        throw EKalvex(QStringLiteral("Die Datei \"%1\" konnte nicht geschrieben werden: %2").arg(fileName, file.errorString()));
}

// ---------------------------------------------------------------- sessions

void TQMBDatabaseHandler::InitSession()
{
    if (!TableExists(kSessionTable))
        createTable(kSessionTable, {{QStringLiteral("SessionID"), TFieldType::ftWideString, 40, {}, true},
                                    {QStringLiteral("UserID"), TFieldType::ftWideString, 100, {}, false},
                                    {QStringLiteral("LoginTime"), TFieldType::ftDateTime, 0, {}, false},
                                    {QStringLiteral("LoginComputer"), TFieldType::ftWideString, 100, {}, false}});
    FSessionID = QUuid::createUuid().toString(QUuid::WithBraces).toUpper();
    ExecSQL(QStringLiteral("INSERT INTO [DBActiveSession] ([SessionID],[UserID],[LoginTime],[LoginComputer]) values "
                           "(:pSessionID,:pUserID,:pLoginTime,:pLoginComputer)"),
            {P(QStringLiteral("pSessionID"), FSessionID), P(QStringLiteral("pUserID"), UserID),
             P(QStringLiteral("pLoginTime"), QDateTime::currentDateTime()),
             P(QStringLiteral("pLoginComputer"), QSysInfo::machineHostName())});
}

void TQMBDatabaseHandler::SessionForceClose(const QString& sessionID)
{
    ExecSQL(QStringLiteral("DELETE FROM [DBActiveSession] WHERE [SessionID]=:p1"), {P(QStringLiteral("p1"), sessionID)});
}

QStringList TQMBDatabaseHandler::GetActiveSessionIDs()
{
    QStringList ids;
    if (!TableExists(kSessionTable))
        return ids;
    TQMBDataSet* ds = OpenSQL(QStringLiteral("SELECT [SessionID] FROM [DBActiveSession] ORDER BY [LoginTime]"));
    while (ds->Next())
        ids << ds->getDataSet().value(0).toString();
    ds->Close();
    return ids;
}

TSessionInfo TQMBDatabaseHandler::GetSessionInfo(const QString& sessionID)
{
    TSessionInfo info;
    if (!TableExists(kSessionTable))
        return info;
    TQMBDataSet* ds = OpenSQL(QStringLiteral("SELECT * FROM [DBActiveSession] WHERE [SessionID]=:p1"), {P(QStringLiteral("p1"), sessionID)});
    if (ds->Next()) {
        info.Valid = true;
        info.SessionID = ds->Field(QStringLiteral("SessionID")).toString();
        info.UserID = ds->Field(QStringLiteral("UserID")).toString();
        info.LoginTime = dateTimeOf(ds->Field(QStringLiteral("LoginTime")));
        info.LoginComputer = ds->Field(QStringLiteral("LoginComputer")).toString();
    }
    ds->Close();
    return info;
}

bool TQMBDatabaseHandler::SessionActive()
{
    return !FSessionID.isEmpty() && GetSessionInfo(FSessionID).Valid;
}

// ---------------------------------------------------------------- unique numbers

namespace {

struct TIdRow {
    qint64 lastID = 0;
    QString locked;
    int rows = 0;
};

TIdRow readIdRow(TQMBDatabaseHandler& h, const QString& table)
{
    TIdRow row;
    TQMBDataSet* ds = h.OpenSQL(QStringLiteral("SELECT [LastID],[Locked] FROM [%1]").arg(table));
    for (; ds->Next(); ++row.rows)
        if (ds->getDataSet().value(0).toLongLong() >= row.lastID) {
            row.lastID = ds->getDataSet().value(0).toLongLong();
            row.locked = ds->getDataSet().value(1).toString();
        }
    ds->Close();
    return row;
}

// One round inside its own transaction; the number when this call's token
// is the one that came back.
std::optional<qint64> takeId(TQMBDatabaseHandler& h, const QString& table, const QString& token)
{
    if (h.ExecSQL(QStringLiteral("UPDATE [%1] SET [LastID]=[LastID]+1,[Locked]=:p1").arg(table), {P(QStringLiteral("p1"), token)}) == 0) {
        h.ExecSQL(QStringLiteral("INSERT INTO [%1] ([LastID]) values (1)").arg(table));   // an empty table is seeded
        return std::nullopt;
    }
    const TIdRow row = readIdRow(h, table);
    if (row.rows > 1)
        h.ExecSQL(QStringLiteral("DELETE FROM [%1] WHERE [LastID]<:p1").arg(table), {P(QStringLiteral("p1"), row.lastID)});
    return row.locked == token ? std::optional<qint64>(row.lastID) : std::nullopt;
}

}  // namespace

// The update marks the row with this call's token; when another caller
// came between update and read, the token differs and the call tries again.
qint64 TQMBDatabaseHandler::getUniqueID(const QString& idTableName)
{
    const QString table = idTableName.isEmpty() ? QStringLiteral("IDTABLE") : QStringLiteral("IDTABLE_") + idTableName;
    if (!TableExists(table))
        createTable(table, {{QStringLiteral("LastID"), TFieldType::ftInteger, 0, {}, false},
                            {QStringLiteral("Locked"), TFieldType::ftWideString, 40, {}, false}});
    const QString token = QUuid::createUuid().toString(QUuid::WithoutBraces);
    for (int attempt = 0; attempt < kUniqueIdAttempts; ++attempt) {
        BeginTrans();
        std::optional<qint64> id;
        try {
            id = takeId(*this, table, token);
            CommitTrans();
        } catch (...) {
            RollbackTrans();
            throw;
        }
        if (id)
            return *id;
        QThread::msleep(kUniqueIdRetryMs);
    }
    throw EKalvex(QStringLiteral("getUniqueID: keine Nummer aus %1 erhalten").arg(table));
}

// ---------------------------------------------------------------- inserts, updates

qint64 TQMBDatabaseHandler::Insert(const QString& table, const QList<QPair<QString, QVariant>>& values)
{
    QStringList fields, names;
    TParamInfoV2Array params;
    for (const auto& [field, value] : values) {
        fields << QLatin1Char('[') + field + QLatin1Char(']');
        names << QStringLiteral(":p%1").arg(params.size() + 1);
        params.push_back(P(QStringLiteral("p%1").arg(params.size() + 1), value));
    }
    return ExecSQL(QStringLiteral("INSERT INTO [%1] (%2) values (%3)").arg(table, fields.join(QLatin1Char(',')), names.join(QLatin1Char(','))),
                   params, true, TECommandTypes::sttInsert, TExecSQLReturnValue::erInsertedID);
}

qint64 TQMBDatabaseHandler::Update(const QString& table, const QList<QPair<QString, QVariant>>& values, const QString& idFieldName)
{
    QStringList sets;
    TParamInfoV2Array params;
    QVariant id;
    for (const auto& [field, value] : values) {
        if (field.compare(idFieldName, Qt::CaseInsensitive) == 0) {
            id = value;
            continue;
        }
        params.push_back(P(QStringLiteral("p%1").arg(params.size() + 1), value));
        sets << QStringLiteral("[%1]=:p%2").arg(field).arg(params.size());
    }
    params.push_back(P(QStringLiteral("pID"), id));
    return ExecSQL(QStringLiteral("UPDATE [%1] SET %2 WHERE [%3]=:pID").arg(table, sets.join(QLatin1Char(',')), idFieldName), params,
                   true, TECommandTypes::sttUpdate);
}

// ---------------------------------------------------------------- table copies

void TQMBDatabaseHandler::SetAutoIncInsert(const QString&, bool) {}

QString TQMBDatabaseHandler::AutoIncFieldOf(const QString&)
{
    return QString();
}

qint64 TQMBDatabaseHandler::copyTableValues(const QString& sourceTable, const QString& targetTable,
                                            const QList<TCopyTableOption>& options)
{
    return copyTableValuesV3(sourceTable, targetTable, options, {}, {});
}

qint64 TQMBDatabaseHandler::copyTableValuesV2(const QString& sourceTable, const QString& targetTable,
                                              const QList<TCopyTableOption>& options, const QStringList& ignoreFields)
{
    return copyTableValuesV3(sourceTable, targetTable, options, ignoreFields, {});
}

qint64 TQMBDatabaseHandler::copyTableValuesV3(const QString& sourceTable, const QString& targetTable,
                                              const QList<TCopyTableOption>& options, const QStringList& ignoreFields,
                                              const QList<QPair<QString, QVariant>>& replaceFields, int maxRecordCount)
{
    TCopyTableSettings settings;
    settings.Options = options;
    settings.IgnoreFieldListForCopy = ignoreFields;
    settings.ReplaceFieldList = replaceFields;
    settings.MaxRecordCount = maxRecordCount;
    return copyTableValuesV4(sourceTable, targetTable, settings);
}

qint64 TQMBDatabaseHandler::copyTableValuesV4(const QString& sourceTable, const QString& targetTable,
                                              const TCopyTableSettings& settings)
{
    const QString autoIncField = AutoIncFieldOf(sourceTable);
    TQMBDataSet* source = OpenSQL(QStringLiteral("SELECT * FROM [%1]").arg(sourceTable));
    try {
        const qint64 result = copyTableValuesV4(*source, targetTable, settings, autoIncField);
        source->Close();
        return result;
    } catch (...) {
        source->Close();
        throw;
    }
}

qint64 TQMBDatabaseHandler::copyTableValuesV4(TQMBDataSet& source, const QString& targetTable, const TCopyTableSettings& settings,
                                              const QString& knownAutoIncField)
{
    checkCopyOptions(targetTable, settings);
    TTableCopy copy(*this, targetTable, settings);
    copy.PlanColumns(source.getDataSet().record(), knownAutoIncField);
    copy.PrepareTarget();
    for (int copied = 0; (settings.MaxRecordCount < 0 || copied < settings.MaxRecordCount) && source.Next(); ++copied)
        copy.CopyRow(source.getDataSet());
    return copy.Finish();
}

// ---------------------------------------------------------------- keys and column changes

QString TQMBDatabaseHandler::ForeignKeyActions(TForeignKeyAction onUpdate, TForeignKeyAction onDelete)
{
    auto clause = [](const char* event, TForeignKeyAction a) -> QString {
        static const char* const actions[] = {"", "CASCADE", "NO ACTION", "SET NULL", "SET DEFAULT"};
        return a == TForeignKeyAction::fkaDefault ? QString()
                                                   : QStringLiteral(" ON %1 %2").arg(QLatin1String(event), QLatin1String(actions[static_cast<int>(a)]));
    };
    return clause("UPDATE", onUpdate) + clause("DELETE", onDelete);
}

void TQMBDatabaseHandler::AddPrimaryKey(const QString& table, const QString& field, const QString& name)
{
    ExecSQL(QStringLiteral("ALTER TABLE [%1] ADD CONSTRAINT [%2] PRIMARY KEY ([%3])").arg(table, name, field), TECommandTypes::sttDDL);
}

void TQMBDatabaseHandler::DropPrimaryKey(const QString& table, const QString& name)
{
    ExecSQL(QStringLiteral("ALTER TABLE [%1] DROP CONSTRAINT [%2]").arg(table, name), TECommandTypes::sttDDL);
}

void TQMBDatabaseHandler::AddForeignKey(const QString& srcTable, const QString& srcField, const QString& destTable,
                                        const QString& destField, const QString& name, TForeignKeyAction onUpdate,
                                        TForeignKeyAction onDelete)
{
    ExecSQL(QStringLiteral("ALTER TABLE [%1] ADD CONSTRAINT [%2] FOREIGN KEY ([%3]) REFERENCES [%4] ([%5])")
                    .arg(srcTable, name, srcField, destTable, destField) + ForeignKeyActions(onUpdate, onDelete),
            TECommandTypes::sttDDL);
}

void TQMBDatabaseHandler::DropForeignKey(const QString& table, const QString& name)
{
    ExecSQL(QStringLiteral("ALTER TABLE [%1] DROP CONSTRAINT [%2]").arg(table, name), TECommandTypes::sttDDL);
}

void TQMBDatabaseHandler::AddCheckConstraint(const QString& table, const QString& name, const QString& check)
{
    ExecSQL(QStringLiteral("ALTER TABLE [%1] ADD CONSTRAINT [%2] CHECK (%3)").arg(table, name, check), TECommandTypes::sttDDL);
}

void TQMBDatabaseHandler::DropCheckConstraint(const QString& table, const QString& name)
{
    ExecSQL(QStringLiteral("ALTER TABLE [%1] DROP CONSTRAINT [%2]").arg(table, name), TECommandTypes::sttDDL);
}

void TQMBDatabaseHandler::AlterField(const QString& table, const TFieldInfoV2& field, bool skipIfFieldTypeAndSizeOk)
{
    TFieldInfoV2 current;
    if (!FieldExists(table, field.Fieldname, &current))
        throw EKalvex(QStringLiteral("Field %1 not exists.").arg(field.Fieldname));
    if (skipIfFieldTypeAndSizeOk && current.Datatype == field.Datatype && current.Length == field.Length)
        return;
    ForgetPreparedStatements();
    ExecSQL(QStringLiteral("ALTER TABLE [%1] %2 ").arg(table, AlterColumnKeyword()) + FieldTypeToString(field), TECommandTypes::sttDDL);
    FFieldExistsCache.ForgetTable(table);
}

void TQMBDatabaseHandler::RenameField(const QString& table, const QString& oldName, const QString& newName)
{
    ForgetPreparedStatements();
    ExecSQL(QStringLiteral("ALTER TABLE [%1] RENAME COLUMN [%2] TO [%3]").arg(table, oldName, newName), TECommandTypes::sttDDL);
    FFieldExistsCache.ForgetTable(table);
}

// ---------------------------------------------------------------- performance log

TQMBDatabasePerformanceLog::TQMBDatabasePerformanceLog(TQMBDatabaseHandler& handler, bool autoCreateTable, QString tablename)
    : AutoCreateTable(autoCreateTable), FHandler(handler), FTablename(std::move(tablename))
{
}

void TQMBDatabasePerformanceLog::CreateTable()
{
    if (FHandler.TableExists(FTablename))
        return;
    FHandler.createTable(FTablename, {{QStringLiteral("CreatedTime"), TFieldType::ftDateTime, 0, {}, false},
                                      {QStringLiteral("SqlCommand"), TFieldType::ftMemo, 0, {}, false},
                                      {QStringLiteral("Duration"), TFieldType::ftFloat, 0, {}, false}});
}

void TQMBDatabasePerformanceLog::LogSqlCommand(const QString& sql, const TParamInfoV2Array& params, const QElapsedTimer& started)
{
    const double seconds = started.nsecsElapsed() / 1e9;
    if (!Active || FWriting || seconds < DurationMinSeconds || !FHandler.GetConnected())
        return;
    const QString upper = sql.trimmed().toUpper();
    if (sql.contains(QLatin1Char('[') + FTablename + QLatin1Char(']'), Qt::CaseInsensitive) || upper.startsWith(QLatin1String("ALTER "))
        || upper.startsWith(QLatin1String("DROP ")))
        return;
    FWriting = true;   // the log's own statements are not measured
    try {
        if (AutoCreateTable && !FAutoCreateTableDone) {
            CreateTable();
            FAutoCreateTableDone = true;
        }
        const QString text = params.empty() ? sql : sql + QStringLiteral(" [") + RenderParamsForLog(params) + QLatin1Char(']');
        FHandler.ExecSQL(QStringLiteral("INSERT INTO [%1] (CreatedTime,SqlCommand,Duration) VALUES (:p1,:p2,:p3)").arg(FTablename),
                         {P(QStringLiteral("p1"), QDateTime::currentDateTime()), P(QStringLiteral("p2"), text), P(QStringLiteral("p3"), seconds)});
    } catch (...) {
        FWriting = false;
        throw;
    }
    FWriting = false;
}

}  // namespace kalvex
