#include "db/BasedbClasses.h"

#include "config/IniPlus.h"
#include "config/KalvexError.h"
#include "config/LogFileUnit.h"
#include "db/TextCipher.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSqlField>
#include <QSqlRecord>
#include <algorithm>

namespace kalvex {

// ---------------------------------------------------------------- config

namespace {

const QStringList kScrambledKeys = {QStringLiteral("Username"), QStringLiteral("Password"),
                                    QStringLiteral("DatabaseName"), QStringLiteral("AdditionalParameters")};

bool noCode(const TIniFile& ini, const QString& section)
{
    return ini.ReadInteger(section, QStringLiteral("NoCode"), 0) == 1
        || ini.ReadInteger(QStringLiteral("Alle"), QStringLiteral("NoCode"), 0) == 1;
}

QString readText(const TIniFile& ini, const QString& section, const QString& key, bool plain)
{
    const QString value = ini.ReadString(section, key, QString());
    if (plain || !kScrambledKeys.contains(key))
        return value;
    return TTextCipher(DefaultCipherKey()).Decode(value);
}

QString storedText(const QString& key, const QString& value, bool plain)
{
    if (plain || !kScrambledKeys.contains(key) || value.isEmpty())
        return value;
    return TTextCipher(DefaultCipherKey()).Encode(value);
}

}  // namespace

TQMBDatabaseConfig TQMBDatabaseConfig::Clone(const QString& newHostName, const QString& newDatabaseName) const
{
    TQMBDatabaseConfig copy = *this;
    copy.HostName = newHostName;
    copy.DatabaseName = newDatabaseName;
    return copy;
}

QString TQMBDatabaseConfig::FilePath() const
{
    if (HostName.isEmpty() || QFileInfo(DatabaseName).isAbsolute())
        return DatabaseName;
    return QDir(QString(HostName).replace(QLatin1Char('\\'), QLatin1Char('/'))).filePath(DatabaseName);
}

void TQMBDatabaseConfig::LoadFromIni(const QString& iniFileName, const QString& section)
{
    const TIniFile ini(iniFileName);
    const bool plain = noCode(ini, section);
    auto text = [&](const char* key) { return readText(ini, section, QString::fromLatin1(key), plain); };
    DatabaseType = static_cast<TQMBDatabaseConfigType>(ini.ReadInteger(section, QStringLiteral("DatabaseType"),
                                                                       static_cast<int>(DatabaseType)));
    HostName = text("Hostname");
    Username = text("Username");
    Password = text("Password");
    TLogFile::RegisterSecret(Password);
    DatabaseName = text("DatabaseName");
    OSAuthentication = ini.ReadBool(section, QStringLiteral("OSAuthentication"), false);
    Options.SecurityConnectionEncrypt = ini.ReadBool(section, QStringLiteral("SecurityConnectionEncrypt"), false);
    Options.SecurityConnectionTrustServerCertificate =
        ini.ReadBool(section, QStringLiteral("SecurityConnectionTrustServerCertificate"), false);
    Options.AdditionalParameters = text("AdditionalParameters");
    Options.SqliteDateTimeFormat = static_cast<TQMBDatabaseConfigSqliteDateTimeFormat>(
        ini.ReadInteger(section, QStringLiteral("SqliteDateTimeFormat"), 0));
    Options.SqliteGuidFormat =
        static_cast<TQMBDatabaseConfigSqliteGuidFormat>(ini.ReadInteger(section, QStringLiteral("SqliteGuidFormat"), 0));
    Options.CreateDatabase = ini.ReadBool(section, QStringLiteral("CreateDatabase"), false);
    Options.BusyTimeoutMs = std::max(0, ini.ReadInteger(section, QStringLiteral("BusyTimeout"), Options.BusyTimeoutMs));
    Options.ServerTimeoutSeconds =
        std::max(1, ini.ReadInteger(section, QStringLiteral("Timeout"), Options.ServerTimeoutSeconds));
}

void TQMBDatabaseConfig::SaveToIni(const QString& iniFileName, const QString& section) const
{
    TIniFile ini(iniFileName, TIniAccess::OwnerOnly);   // it holds the store's password
    const bool plain = noCode(ini, section);
    auto text = [&](const char* key, const QString& value) {
        ini.WriteString(section, QString::fromLatin1(key), storedText(QString::fromLatin1(key), value, plain));
    };
    ini.WriteInteger(section, QStringLiteral("DatabaseType"), static_cast<int>(DatabaseType));
    text("Hostname", HostName);
    text("Username", Username);
    text("Password", Password);
    text("DatabaseName", DatabaseName);
    ini.WriteBool(section, QStringLiteral("OSAuthentication"), OSAuthentication);
    ini.WriteBool(section, QStringLiteral("SecurityConnectionEncrypt"), Options.SecurityConnectionEncrypt);
    ini.WriteBool(section, QStringLiteral("SecurityConnectionTrustServerCertificate"),
                  Options.SecurityConnectionTrustServerCertificate);
    text("AdditionalParameters", Options.AdditionalParameters);
    ini.WriteInteger(section, QStringLiteral("SqliteDateTimeFormat"), static_cast<int>(Options.SqliteDateTimeFormat));
    ini.WriteInteger(section, QStringLiteral("SqliteGuidFormat"), static_cast<int>(Options.SqliteGuidFormat));
    ini.WriteBool(section, QStringLiteral("CreateDatabase"), Options.CreateDatabase);
}

// ---------------------------------------------------------------- parameters

TParamInfoV2 P(const QString& name, const QVariant& value)
{
    return TParamInfoV2{name, TFieldType::ftUnknown, value};
}

namespace {

TFieldType typeOfVariant(const QVariant& v, int index)
{
    switch (v.typeId()) {
    case QMetaType::QString: return TFieldType::ftWideString;
    case QMetaType::Int:
    case QMetaType::UInt: return TFieldType::ftInteger;
    case QMetaType::LongLong:
    case QMetaType::ULongLong: return TFieldType::ftLargeint;
    case QMetaType::Bool: return TFieldType::ftBoolean;
    case QMetaType::Double: return TFieldType::ftFloat;
    case QMetaType::QDateTime: return TFieldType::ftDateTime;
    case QMetaType::QDate: return TFieldType::ftDate;
    case QMetaType::QByteArray: return TFieldType::ftBlob;
    case QMetaType::QUuid: return TFieldType::ftGuid;
    default:
        throw EKalvex(QStringLiteral("Falscher Varianttyp in Parameterliste (%1, index=%2)")
                          .arg(QString::fromLatin1(v.typeName())).arg(index));
    }
}

}  // namespace

TParamInfoV2Array VariantArrayToParamInfoArray(const QVariantList& params)
{
    TParamInfoV2Array out;
    for (int i = 0; i < params.size(); ++i) {
        const QVariant& v = params[i];
        if (!v.isValid() || v.isNull())
            throw EKalvex(QStringLiteral("Parameter (index=%1) in Parameterliste darf nicht Null sein").arg(i));
        out.push_back({QStringLiteral("p%1").arg(i + 1), typeOfVariant(v, i), v});
    }
    return out;
}

QString RenderParamsForLog(const TParamInfoV2Array& params)
{
    QStringList parts;
    for (const TParamInfoV2& p : params)
        parts << (p.Value.isNull() ? QStringLiteral("Null") : QStringLiteral("?"));
    return parts.join(QLatin1Char(','));
}

// ---------------------------------------------------------------- data sets

TQMBDataSet::TQMBDataSet(QSqlQuery query, TECommandTypes commandType, TQMBDatabaseHandler* handler)
    : FDataSet(std::move(query)), FCommandType(commandType), FDatabaseHandler(handler)
{
}

void TQMBDataSet::Close()
{
    FDataSet.finish();
    FOpen = false;
}

void TQMBDataSet::MarkOpen()
{
    FOpen = true;
    FColumns.clear();
    const QSqlRecord record = FDataSet.record();
    for (int i = record.count() - 1; i >= 0; --i) {   // the first of equal names wins
        FColumns.insert(record.fieldName(i), i);
        FColumns.insert(record.fieldName(i).toLower(), i);
    }
}

std::unique_ptr<TRowReader> TQMBDatabaseHandler::ReadRows(const QString& command, const TParamInfoV2Array& params)
{
    return std::make_unique<TDataSetRows>(OpenSQL(command, params));
}

QVariant TQMBDataSet::Field(const QString& name) const
{
    return Value(Column(name));
}

int TQMBDataSet::Column(const QString& name) const
{
    auto it = FColumns.constFind(name);
    if (it == FColumns.constEnd())
        it = FColumns.constFind(name.toLower());
    return it == FColumns.constEnd() ? -1 : *it;
}

bool TQMBDataSet::HasField(const QString& name) const
{
    return FColumns.contains(name) || FColumns.contains(name.toLower());
}

TQMBDataSetList::TQMBDataSetList(TQMBDatabaseHandler* handler, int datasetCount)
    : FDatabaseHandler(handler), FDatasetCount(datasetCount)
{
}

TQMBDataSetList::~TQMBDataSetList()
{
    FDatabaseHandler->addlog(QStringLiteral("TQMBDataSetList.Destroy (%1 von %2 Datasets offen)")
                                 .arg(OpenedCount()).arg(Count()), TLogLevel::llDebug);
}

int TQMBDataSetList::OpenedCount() const
{
    return static_cast<int>(std::count_if(FList.begin(), FList.end(), [](const auto& d) { return d->IsOpen(); }));
}

TQMBDataSet* TQMBDataSetList::findClosed(const QString* sameCommand, TECommandTypes commandType) const
{
    TQMBDataSet* best = nullptr;
    for (const auto& d : FList) {
        if (d->IsOpen() || d->getCommandType() != commandType)
            continue;
        if (sameCommand && d->getCommandText() != *sameCommand)
            continue;
        if (!best || d->getLastAccess() < best->getLastAccess())
            best = d.get();
    }
    return best;
}

// Reuse rules: the oldest closed data set with the same SQL; else a new one
// while the limit allows; else the oldest closed one with other SQL; else new.
TQMBDataSet* TQMBDataSetList::GetDataSet(const QString& command, TECommandTypes commandType)
{
    FDatabaseHandler->addlog(QStringLiteral("TQMBDataSetList.GetDataSet (%1 von %2 offen): \"%3\"")
                                 .arg(OpenedCount()).arg(Count()).arg(command), TLogLevel::llDebug);
    TQMBDataSet* found = findClosed(&command, commandType);
    if (found) {
        FDatabaseHandler->addlog(QStringLiteral("  gefunden mit GLEICHEM SQL-Text"), TLogLevel::llDebug);
    } else if (!(FDatasetCount >= 0 && Count() < FDatasetCount)) {
        found = findClosed(nullptr, commandType);
        if (found) {
            found->setCommandText(command);
            FDatabaseHandler->addlog(QStringLiteral("  gefunden mit anderem SQL-Text"), TLogLevel::llDebug);
        }
    }
    if (!found) {
        FDatabaseHandler->addlog(QStringLiteral("  anlegen eines neuen Datasets"), TLogLevel::llDebug);
        FList.push_back(CreateDataSet(command, commandType));
        found = FList.back().get();
        FDatabaseHandler->addlog(QStringLiteral("TQMBDataSetList.AddDataSet \"%1\"").arg(command), TLogLevel::llDebug);
    }
    found->setAccessed();
    return found;
}

void TQMBDataSetList::CloseAllDataSets()
{
    FDatabaseHandler->addlog(QStringLiteral("CloseAllDataSets %1 sind offen").arg(OpenedCount()), TLogLevel::llDebug);
    for (const auto& d : FList) {
        if (!d->IsOpen())
            continue;
        FDatabaseHandler->addlog(QStringLiteral("   Offen: ") + d->getCommandText(), TLogLevel::llDebug);
        d->Close();
    }
}

QString TQMBDataSetList::getDebugInfo() const
{
    QStringList lines{QStringLiteral("Anzahl DataSets: %1").arg(Count()),
                      QStringLiteral("Anzahl offene DataSets: %1").arg(OpenedCount())};
    for (const auto& d : FList)
        if (d->IsOpen())
            lines << d->getCommandText();
    return lines.join(QLatin1Char('\n'));
}

// ---------------------------------------------------------------- field cache

QString TQMBDatabaseFieldExistsCache::key(const QString& table, const QString& field)
{
    return table.toLower() + QLatin1Char('\n') + field.toLower();
}

const TQMBDatabaseFieldExistsCache::Item* TQMBDatabaseFieldExistsCache::Find(const QString& table,
                                                                             const QString& field) const
{
    const auto it = FItems.constFind(key(table, field));
    return it == FItems.constEnd() ? nullptr : &*it;
}

void TQMBDatabaseFieldExistsCache::SetExists(const QString& table, const QString& field, TFieldType type, int size)
{
    FItems.insert(key(table, field), Item{true, type, size});
}

void TQMBDatabaseFieldExistsCache::SetNotExists(const QString& table, const QString& field)
{
    FItems.insert(key(table, field), Item{});
}

void TQMBDatabaseFieldExistsCache::ForgetTable(const QString& table)
{
    const QString prefix = table.toLower() + QLatin1Char('\n');
    for (auto it = FItems.begin(); it != FItems.end();)
        it = it.key().startsWith(prefix) ? FItems.erase(it) : std::next(it);
}

bool TQMBDatabaseFieldExistsCache::HasTableAndExists(const QString& table) const
{
    const QString prefix = table.toLower() + QLatin1Char('\n');
    for (auto it = FItems.constBegin(); it != FItems.constEnd(); ++it)
        if (it->exists && it.key().startsWith(prefix))
            return true;
    return false;
}

// ---------------------------------------------------------------- handler

namespace {

TFieldType typeOfField(const QSqlField& f)
{
    switch (f.metaType().id()) {
    case QMetaType::Int:
    case QMetaType::LongLong: return TFieldType::ftInteger;
    case QMetaType::Bool: return TFieldType::ftBoolean;
    case QMetaType::Double: return TFieldType::ftFloat;
    case QMetaType::QDateTime: return TFieldType::ftDateTime;
    case QMetaType::QDate: return TFieldType::ftDate;
    case QMetaType::QByteArray: return TFieldType::ftBlob;
    case QMetaType::QString: return TFieldType::ftWideString;
    default: return TFieldType::ftUnknown;
    }
}

}  // namespace

TQMBDatabaseHandler::TQMBDatabaseHandler(std::unique_ptr<TQMBDatabase> database, const QString& logPrefix, int)
    : FPerformanceLog(std::make_unique<TQMBDatabasePerformanceLog>(*this)), FDatabase(std::move(database)), FLogPrefix(logPrefix)
{
    addlog(QStringLiteral("TQMBDatabaseHandler.Create für \"%1\"").arg(FDatabase->ConnectionInfo().DatabaseName),
           TLogLevel::llNormal);
}

TQMBDatabaseHandler::~TQMBDatabaseHandler()
{
    addlog(QStringLiteral("TQMBDatabaseHandler.Destroy"), TLogLevel::llNormal);
}

bool TQMBDatabaseHandler::ReadFieldInfo(const QString& table, const QString& field, int& size, TFieldType& type)
{
    TQMBDataSet* ds = OpenSQL(QStringLiteral("SELECT * FROM [%1] WHERE 1=0").arg(table));
    const QSqlRecord record = ds->getDataSet().record();
    ds->Close();
    const int index = record.indexOf(field);
    if (index < 0)
        return false;
    size = record.field(index).length();
    type = typeOfField(record.field(index));
    return true;
}

qint64 TQMBDatabaseHandler::ExecSQL(const QString& command, TECommandTypes type, TExecSQLReturnValue ret)
{
    return ExecSQL(command, TParamInfoV2Array{}, true, type, ret);
}

qint64 TQMBDatabaseHandler::ExecSQL(const QString& command, const QVariantList& params, bool prepare,
                                    TECommandTypes type, TExecSQLReturnValue ret)
{
    return ExecSQL(command, VariantArrayToParamInfoArray(params), prepare, type, ret);
}

TQMBDataSet* TQMBDatabaseHandler::OpenSQL(const QString& command, bool prepare, TECommandTypes type)
{
    return OpenSQL(command, TParamInfoV2Array{}, prepare, type);
}

TQMBDataSet* TQMBDatabaseHandler::OpenSQL(const QString& command, const QVariantList& params, bool prepare,
                                          TECommandTypes type)
{
    return OpenSQL(command, VariantArrayToParamInfoArray(params), prepare, type);
}

namespace {

// Opens, reads the first column of the first row (if any), always closes.
template <class T, class Convert>
T calcFirst(TQMBDatabaseHandler& h, T def, const QString& command, const TParamInfoV2Array& params, Convert convert)
{
    TQMBDataSet* ds = h.OpenSQL(command, params);
    T result = def;
    if (ds->Next() && !ds->getDataSet().value(0).isNull())
        result = convert(ds->getDataSet().value(0));
    ds->Close();
    return result;
}

}  // namespace

double TQMBDatabaseHandler::CalcSQL_Real(double def, const QString& command, const TParamInfoV2Array& params)
{
    return calcFirst<double>(*this, def, command, params, [](const QVariant& v) { return v.toDouble(); });
}

qint64 TQMBDatabaseHandler::CalcSQL_Int(qint64 def, const QString& command, const TParamInfoV2Array& params)
{
    return calcFirst<qint64>(*this, def, command, params, [](const QVariant& v) { return v.toLongLong(); });
}

QString TQMBDatabaseHandler::CalcSQL_String(const QString& def, const QString& command, const TParamInfoV2Array& params)
{
    return calcFirst<QString>(*this, def, command, params, [](const QVariant& v) { return v.toString(); });
}

qint64 TQMBDatabaseHandler::CalcSQL_MaxInt(const QString& table, const QString& field, const QString& where)
{
    QString sql = QStringLiteral("SELECT MAX(%1) FROM [%2]").arg(field, table);
    if (!where.isEmpty())
        sql += QStringLiteral(" WHERE ") + where;
    return CalcSQL_Int(0, sql);
}

qint64 TQMBDatabaseHandler::CalcSQL_MinInt(const QString& table, const QString& field, const QString& where)
{
    QString sql = QStringLiteral("SELECT MIN(%1) FROM [%2]").arg(field, table);
    if (!where.isEmpty())
        sql += QStringLiteral(" WHERE ") + where;
    return CalcSQL_Int(0, sql);
}

void TQMBDatabaseHandler::addField(const QString& table, const QString& field, TFieldType type, int size)
{
    addField(table, TFieldInfoV2{field, type, size, QString(), false});
}

bool TQMBDatabaseHandler::FieldExists(const QString& table, const QString& field, TFieldInfoV2* result)
{
    if (FFieldExistsCache.FActive) {
        if (const auto* item = FFieldExistsCache.Find(table, field)) {
            if (item->exists && result)
                *result = TFieldInfoV2{field, item->type, item->size, QString(), false};
            return item->exists;
        }
    }
    int size = 0;
    TFieldType type = TFieldType::ftUnknown;
    const bool exists = ReadFieldInfo(table, field, size, type);
    if (exists)
        FFieldExistsCache.SetExists(table, field, type, size);
    else
        FFieldExistsCache.SetNotExists(table, field);
    if (exists && result)
        *result = TFieldInfoV2{field, type, size, QString(), false};
    return exists;
}

bool TQMBDatabaseHandler::TableExists(const QString& table)
{
    if (FFieldExistsCache.FActive && FFieldExistsCache.HasTableAndExists(table))
        return true;
    return getTableNames(true).contains(table, Qt::CaseInsensitive);
}

QString TQMBDatabaseHandler::GetDefaultPrimaryKeyName(const QString& table, const QString& field)
{
    return QStringLiteral("PK_{TableName}_{FieldName}")
        .replace(QStringLiteral("{TableName}"), table, Qt::CaseInsensitive)
        .replace(QStringLiteral("{FieldName}"), field, Qt::CaseInsensitive);
}

QString TQMBDatabaseHandler::GetDefaultForeignKeyName(const QString& srcTable, const QString& srcField, const QString& destTable,
                                                      const QString& destField)
{
    return QStringLiteral("FK_{SrcTableName}_{SrcFieldName}_{DestTableName}_{DestFieldName}")
        .replace(QStringLiteral("{SrcTableName}"), srcTable, Qt::CaseInsensitive)
        .replace(QStringLiteral("{SrcFieldName}"), srcField, Qt::CaseInsensitive)
        .replace(QStringLiteral("{DestTableName}"), destTable, Qt::CaseInsensitive)
        .replace(QStringLiteral("{DestFieldName}"), destField, Qt::CaseInsensitive);
}

QString TQMBDatabaseHandler::GetDefaultIndexName(const QString& table, const QString& fields)
{
    QString joined = fields;
    joined.replace(QRegularExpression(QStringLiteral("[\\s,;\\[\\]]+")), QStringLiteral("_"));
    return QStringLiteral("IX_{TableName}_{FieldNames}")
        .replace(QStringLiteral("{TableName}"), table, Qt::CaseInsensitive)
        .replace(QStringLiteral("{FieldNames}"), joined, Qt::CaseInsensitive);
}

void TQMBDatabaseHandler::StartFreshLogFile()
{
    QFile::remove(LogFilePath());
}

// Names written on Windows may carry backslashes; either separator makes a path.
QString TQMBDatabaseHandler::LogFilePath() const
{
    const QString name = FLogFile.isEmpty() ? QStringLiteral("log-sql.txt") : FLogFile;
    if (name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\')) || FLogFolder.isEmpty())
        return name;
    return QDir(FLogFolder).filePath(name);
}

void TQMBDatabaseHandler::LoadLogSettings(const QString& iniFileName, const QString& section, const QString& folder)
{
    const TIniFile ini(iniFileName);
    const int level = ini.ReadInteger(section, QStringLiteral("LogLevel"), static_cast<int>(TLogLevel::llNormal));
    FLogLevel = static_cast<TLogLevel>(std::clamp(level, 0, static_cast<int>(TLogLevel::llSQL)));
    FLogFile = ini.ReadString(section, QStringLiteral("LogFile"), QString());
    FLogFolder = folder;
}

void TQMBDatabaseHandler::addlog(const QString& text, TLogLevel level, bool isError)
{
    if (OnLog)
        OnLog(isError, text);
    if (FLogLevel == TLogLevel::llNone || (static_cast<int>(level) > static_cast<int>(FLogLevel) && !isError))
        return;
    QFile file(LogFilePath());
    const bool fresh = !file.exists();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return;   // the SQL log is a diagnostic aid: never fail a statement for it
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    QByteArray out;
    if (fresh)
        out += "Laufzeit-Protokolldatei Datenmodul\nStartzeit: "
             + QDateTime::currentDateTime().toString(QStringLiteral("dd.MM.yyyy hh:mm:ss")).toUtf8() + '\n';
    out += QTime::currentTime().toString(QStringLiteral("hh:mm:ss,zzz")).toUtf8() + ' '
         + TLogFile::MaskSecrets(FLogPrefix + text).toUtf8() + '\n';
    file.write(out);
}

// ---------------------------------------------------------------- factory

namespace {

struct Registry {
    QHash<QString, TQMBDatabaseFactory::DatabaseCreator> databases;
    QHash<QString, TQMBDatabaseFactory::HandlerCreator> handlers;
};

Registry& registry()
{
    static Registry r;
    return r;
}

QPair<QString, QString> classNamesFor(TQMBDatabaseConfigType type)
{
    switch (type) {
    case TQMBDatabaseConfigType::dbtMSAccess: return {"TQMBADODataBaseHandler", "TQMBADODatabase"};
    case TQMBDatabaseConfigType::dbtMSSQL: return {"TQMBMSSQLDataBaseHandler", "TQMBMSSQLDatabase"};
    case TQMBDatabaseConfigType::dbtMSAccessACCDB: return {"TQMBAccessDataBaseHandler", "TQMBAccessDatabase"};
    case TQMBDatabaseConfigType::dbtSQLite: return {"TQMBSQLiteDatabaseHandler", "TQMBSQLiteDatabase"};
    case TQMBDatabaseConfigType::dbtMariaDB: return {"TQMBMariaDBDataBaseHandler", "TQMBMariaDBDatabase"};
    case TQMBDatabaseConfigType::dbtMSSQLFireDAC: return {"TQMBMSSQLFireDACDataBaseHandler", "TQMBMSSQLFireDACDatabase"};
    case TQMBDatabaseConfigType::dbtOracle: return {"TQMBOracleDataBaseHandler", "TQMBOracleDatabase"};
    case TQMBDatabaseConfigType::dbtMySQL: break;
    }
    throw EKalvex(QStringLiteral("TQMBDatabaseFactory.CreateDbHandler: DatabaseType nicht unterstützt %1")
                      .arg(static_cast<int>(type)));
}

}  // namespace

TQMBDatabaseFactory::TQMBDatabaseFactory(QString handlerClassName, QString databaseClassName, bool deleteLogFile,
                                         bool setShowDebugExceptions)
    : FDataBaseHandlerClassName(std::move(handlerClassName)),
      FDataBaseClassName(std::move(databaseClassName)),
      FDeleteLogFile(deleteLogFile),
      FSetShowDebugExceptions(setShowDebugExceptions)
{
}

std::unique_ptr<TQMBDatabaseHandler> TQMBDatabaseFactory::CreateDatabaseHandler(const TQMBDatabaseConfig& config,
                                                                                const QString& logPrefix,
                                                                                int datasetCount) const
{
    const auto handler = registry().handlers.constFind(FDataBaseHandlerClassName);
    if (handler == registry().handlers.constEnd())
        throw EKalvex(QStringLiteral("TQMBDatabaseHandlerClass nicht zugewiesen (%1)").arg(FDataBaseHandlerClassName));
    const auto database = registry().databases.constFind(FDataBaseClassName);
    if (database == registry().databases.constEnd())
        throw EKalvex(QStringLiteral("TQMBDatabaseClass nicht zugewiesen (%1)").arg(FDataBaseClassName));
    std::unique_ptr<TQMBDatabaseHandler> result = (*handler)((*database)(config), logPrefix, datasetCount);
    if (FSetShowDebugExceptions)
        result->FShowDebugExceptions = true;
    if (FDeleteLogFile)
        result->StartFreshLogFile();
    return result;
}

void TQMBDatabaseFactory::RegisterDatabaseClass(const QString& name, DatabaseCreator creator)
{
    registry().databases.insert(name, std::move(creator));
}

void TQMBDatabaseFactory::RegisterHandlerClass(const QString& name, HandlerCreator creator)
{
    registry().handlers.insert(name, std::move(creator));
}

std::unique_ptr<TQMBDatabaseHandler> TQMBDatabaseFactory::CreateDbHandler(const TQMBDatabaseConfig& config,
                                                                          const QString& logPrefix, int datasetCount)
{
    RegisterBuiltInStores();
    const auto [handler, database] = classNamesFor(config.DatabaseType);
    return TQMBDatabaseFactory(handler, database).CreateDatabaseHandler(config, logPrefix, datasetCount);
}

void TQMBDatabaseFactory::LoadDatabaseConfig(const QString& iniFileName, const QString& section,
                                             TQMBDatabaseConfig& config)
{
    config.LoadFromIni(iniFileName, section);
}

void TQMBDatabaseFactory::SaveDatabaseConfig(const QString& iniFileName, const QString& section,
                                             const TQMBDatabaseConfig& config)
{
    config.SaveToIni(iniFileName, section);
}

}  // namespace kalvex
