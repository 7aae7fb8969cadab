#include "db/mariadb/MariaDBStore.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <QSqlError>
#include <QSqlQuery>

#include <algorithm>

namespace kalvex {

namespace {

bool isSocketPath(const QString& host)
{
    return host.startsWith(QLatin1Char('/'));
}

QString backtickName(const QString& name)
{
    QString quoted = name;
    return QLatin1Char('`') + quoted.replace(QLatin1Char('`'), QStringLiteral("``")) + QLatin1Char('`');
}

void execOrThrow(QSqlQuery& query, const QString& sql)
{
    if (!query.exec(sql))
        throw EKalvex(query.lastError().text());
}

// A server that stops answering (frozen, cut off without a reset) would
// otherwise block the client library in its read for ever. Waiting for the
// schema lock reads longer than the time-out allows: see BeginSchemaChange.
QStringList timeoutOptions(int seconds)
{
    const int connect = std::min(seconds, TQMBMariaDBDatabase::ConnectTimeoutSeconds);
    return {QStringLiteral("MYSQL_OPT_CONNECT_TIMEOUT=%1").arg(connect),
            QStringLiteral("MYSQL_OPT_READ_TIMEOUT=%1").arg(seconds),
            QStringLiteral("MYSQL_OPT_WRITE_TIMEOUT=%1").arg(seconds)};
}

}  // namespace

QString BracketsToBackticks(const QString& sql)
{
    QString out = sql;
    QChar quote;
    for (qsizetype i = 0; i < out.size(); ++i) {
        const QChar c = out.at(i);
        if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
            else if (quote == QLatin1Char(']') && c == QLatin1Char('`'))
                out.insert(i++, QLatin1Char('`'));   // a backtick inside a name doubles
            if (c == QLatin1Char(']') && quote.isNull())
                out[i] = QLatin1Char('`');
            continue;
        }
        if (c == QLatin1Char('\'') || c == QLatin1Char('"') || c == QLatin1Char('`')) {
            quote = c;
        } else if (c == QLatin1Char('[')) {
            quote = QLatin1Char(']');
            out[i] = QLatin1Char('`');
        }
    }
    return out;
}

// ---------------------------------------------------------------- database

TQMBMariaDBDatabase::TQMBMariaDBDatabase(const TQMBDatabaseConfig& config)
    : TQMBQtSqlDatabase(config, QStringLiteral("QMYSQL"))
{
    QSqlDatabase db = Connection();
    QStringList options = timeoutOptions(config.Options.ServerTimeoutSeconds);
    if (isSocketPath(config.HostName)) {
        db.setHostName(QStringLiteral("localhost"));
        options << QStringLiteral("UNIX_SOCKET=") + config.HostName;
    } else {
        db.setHostName(config.HostName.section(QLatin1Char(':'), 0, 0));
        if (config.HostName.contains(QLatin1Char(':')))
            db.setPort(config.HostName.section(QLatin1Char(':'), 1).toInt());
    }
    if (!config.Options.AdditionalParameters.isEmpty())
        options << config.Options.AdditionalParameters;
    db.setConnectOptions(options.join(QLatin1Char(';')));
    db.setUserName(config.Username);
    db.setPassword(config.Password);
    db.setDatabaseName(config.DatabaseName);
}

// A new site may have the database made on first use; only when asked, as
// a mistyped name would otherwise store mail where nobody else looks.
void TQMBMariaDBDatabase::SetConnected(bool value)
{
    try {
        TQMBQtSqlDatabase::SetConnected(value);
    } catch (const EKalvex&) {
        const bool unknown = Connection().lastError().nativeErrorCode().toInt() == meUnknownDatabase;
        if (!value || !unknown || !FConnectionInfo.Options.CreateDatabase)
            throw;
        createSchema();
        TQMBQtSqlDatabase::SetConnected(true);
    }
}

QString TQMBMariaDBDatabase::OpenFailure(const QSqlError& error) const
{
    if (error.nativeErrorCode().toInt() != meUnknownDatabase)
        return MariaDBErrorMessage(error, FConnectionInfo.HostName, 0);
    return Tx(2750, "Die Datenbank \"%1\" gibt es auf dem Datenbankserver %2 nicht. Bitte prüfen Sie den Eintrag "
                    "DatabaseName in serverdboptions.ini; soll die Datenbank angelegt werden, setzen Sie dort CreateDatabase=1.")
               .arg(FConnectionInfo.DatabaseName, FConnectionInfo.HostName)
         + QStringLiteral(" (%1)").arg(error.text());
}

void TQMBMariaDBDatabase::createSchema()
{
    QSqlDatabase db = Connection();
    db.setDatabaseName(QString());
    if (!db.open())
        throw EKalvex(db.lastError().text());
    {
        QSqlQuery query(db);
        execOrThrow(query, QStringLiteral("CREATE DATABASE IF NOT EXISTS %1 CHARACTER SET utf8mb4 COLLATE utf8mb4_unicode_ci")
                               .arg(backtickName(FConnectionInfo.DatabaseName)));
    }
    db.close();
    db.setDatabaseName(FConnectionInfo.DatabaseName);
}

// Strict mode makes a too-long text an error instead of a silent cut.
void TQMBMariaDBDatabase::AfterOpen(QSqlDatabase& db)
{
    QSqlQuery query(db);
    execOrThrow(query, QStringLiteral("SET SESSION sql_mode = 'STRICT_TRANS_TABLES,NO_ENGINE_SUBSTITUTION'"));
    execOrThrow(query, QStringLiteral("SELECT @@max_allowed_packet"));
    FMaxAllowedPacket = query.next() ? query.value(0).toLongLong() : 0;
}

// ---------------------------------------------------------------- messages

QString MegabyteText(qint64 bytes)
{
    return QString::number(static_cast<double>(bytes) / (1024.0 * 1024.0), 'f', 1).replace(QLatin1Char('.'), QLatin1Char(','))
         + QStringLiteral(" MB");
}

namespace {

QString germanTextOf(int code, const QString& server, qint64 maxAllowedPacket)
{
    switch (code) {
    case meServerGone:
    case meConnectionLost:
        return Tx(2751, "Die Verbindung zum Datenbankserver %1 ist abgebrochen. Bitte prüfen Sie das Netzwerk "
                        "und versuchen Sie es noch einmal.").arg(server);
    case meLockWaitTimeout:
        return Tx(2752, "Die Daten werden gerade von einem anderen Benutzer geändert; die Wartezeit ist abgelaufen. "
                        "Bitte versuchen Sie es gleich noch einmal.");
    case mePacketTooLarge:
        return Tx(2753, "Die Daten sind größer, als der Datenbankserver %1 in einem Stück annimmt "
                        "(Einstellung max_allowed_packet: %2).").arg(server, MegabyteText(maxAllowedPacket));
    default:
        return QString();
    }
}

}  // namespace

QString MariaDBErrorMessage(const QSqlError& error, const QString& server, qint64 maxAllowedPacket)
{
    const QString german = germanTextOf(error.nativeErrorCode().toInt(), server, maxAllowedPacket);
    return german.isEmpty() ? error.text() : german + QStringLiteral(" (%1)").arg(error.text());
}

// ---------------------------------------------------------------- handler

QString TQMBMariaDBDataBaseHandler::NativeSQL(const QString& command) const
{
    return BracketsToBackticks(command);
}

QString TQMBMariaDBDataBaseHandler::ErrorMessage(const QSqlError& error) const
{
    const auto& database = static_cast<const TQMBMariaDBDatabase&>(*FDatabase);
    return MariaDBErrorMessage(error, database.ConnectionInfo().HostName, database.MaxAllowedPacket());
}

// Unknown (-1) until a connection has told it.
qint64 TQMBMariaDBDataBaseHandler::MaxBlobSize()
{
    const qint64 packet = static_cast<TQMBMariaDBDatabase&>(*FDatabase).MaxAllowedPacket();
    return packet > 0 ? packet - PacketReserve : -1;
}

void TQMBMariaDBDataBaseHandler::CheckBlobFits(qint64 size, const QString& name)
{
    const qint64 max = MaxBlobSize();
    if (max < 0 || size <= max)
        return;
    const auto& database = static_cast<const TQMBMariaDBDatabase&>(*FDatabase);
    throw EKalvex(Tx(2754, "Der Anhang \"%1\" ist %2 groß. Der Datenbankserver %3 nimmt wegen seiner Einstellung "
                           "max_allowed_packet (%4) so große Daten nicht an. Bitte lassen Sie max_allowed_packet "
                           "auf dem Server erhöhen.")
                      .arg(name, MegabyteText(size), database.ConnectionInfo().HostName,
                           MegabyteText(database.MaxAllowedPacket())));
}

namespace {

// At least the bytes the values take in the statement's packet.
qint64 valueBytes(const TParamInfoV2Array& params)
{
    qint64 bytes = 0;
    for (const TParamInfoV2& p : params) {
        if (p.Value.typeId() == QMetaType::QString)
            bytes += p.Value.toString().size();
        else if (p.Value.typeId() == QMetaType::QByteArray)
            bytes += p.Value.toByteArray().size();
    }
    return bytes;
}

}  // namespace

qint64 TQMBMariaDBDataBaseHandler::ExecSQL(const QString& command, const TParamInfoV2Array& params, bool prepare,
                                           TECommandTypes type, TExecSQLReturnValue ret)
{
    const qint64 limit = static_cast<TQMBMariaDBDatabase&>(*FDatabase).MaxAllowedPacket();
    if (limit > 0 && valueBytes(params) > limit)
        Fail(command, params, germanTextOf(mePacketTooLarge, FDatabase->ConnectionInfo().HostName, limit));
    return TQMBQtSqlDatabaseHandler::ExecSQL(command, params, prepare, type, ret);
}

qint64 TQMBMariaDBDataBaseHandler::InsertWithBlobFile(const QString& command, TParamInfoV2Array params, const TBlobFile& blob)
{
    CheckBlobFits(blob.Size, blob.File ? blob.File->fileName() : blob.Field);
    return TQMBQtSqlDatabaseHandler::InsertWithBlobFile(command, std::move(params), blob);
}

QString MariaDBColumnType(const TFieldInfoV2& field)
{
    switch (field.Datatype) {
    case TFieldType::ftString:
    case TFieldType::ftWideString: return QStringLiteral(" VARCHAR(%1)").arg(field.Length);
    case TFieldType::ftSmallint: return QStringLiteral(" SMALLINT");
    case TFieldType::ftInteger: return QStringLiteral(" INT");
    case TFieldType::ftLargeint: return QStringLiteral(" BIGINT");
    case TFieldType::ftBoolean: return QStringLiteral(" TINYINT(1)");
    case TFieldType::ftFloat:
    case TFieldType::ftCurrency:
    case TFieldType::ftDate:
    case TFieldType::ftTime:
    case TFieldType::ftDateTime: return QStringLiteral(" DOUBLE");
    case TFieldType::ftBytes: return QStringLiteral(" BIGINT UNSIGNED");
    case TFieldType::ftAutoInc: return QStringLiteral(" INT NOT NULL AUTO_INCREMENT PRIMARY KEY");
    case TFieldType::ftBlob: return QStringLiteral(" LONGBLOB");
    case TFieldType::ftMemo:
    case TFieldType::ftWideMemo: return QStringLiteral(" LONGTEXT");
    case TFieldType::ftGuid: return QStringLiteral(" CHAR(38)");
    default: return QString();
    }
}

QString TQMBMariaDBDataBaseHandler::FieldTypeToString(const TFieldInfoV2& field) const
{
    const QString type = MariaDBColumnType(field);
    if (type.isEmpty())
        throw EKalvex(QStringLiteral("TQMBMariaDBDataBaseHandler\nUnbekannter Feldtyp für \"%1\" Datatype=%2")
                          .arg(field.Fieldname).arg(static_cast<int>(field.Datatype)));
    const bool notNull = field.NotNull && field.Datatype != TFieldType::ftAutoInc;
    return QLatin1Char('[') + field.Fieldname + QLatin1Char(']') + type + (notNull ? QStringLiteral(" NOT NULL") : QString());
}

void TQMBMariaDBDataBaseHandler::deleteField(const QString& table, const QString& field)
{
    const QString prefix = QStringLiteral("TQMBMariaDBDataBaseHandler.DeleteField(\"%1\", \"%2\"): ").arg(table, field);
    try {
        ForgetPreparedStatements();
        ExecSQL(QStringLiteral("ALTER TABLE [%1] DROP COLUMN [%2]").arg(table, field), TECommandTypes::sttDDL);
        FFieldExistsCache.ForgetTable(table);
    } catch (const EKalvex& e) {
        throw EKalvex(prefix + e.message());
    }
}

QStringList TQMBMariaDBDataBaseHandler::getTableNames(bool)
{
    TQMBDataSet* ds = OpenSQL(QStringLiteral("SELECT TABLE_NAME AS tbl_name FROM information_schema.TABLES "
                                             "WHERE TABLE_SCHEMA = DATABASE() ORDER BY TABLE_NAME"));
    QStringList names;
    while (ds->Next())
        names << ds->Field(QStringLiteral("tbl_name")).toString();
    ds->Close();
    return names;
}

void TQMBMariaDBDataBaseHandler::DropIndex(const QString& table, const QString& name)
{
    ExecSQL(QStringLiteral("DROP INDEX [%1] ON [%2]").arg(name, table), TECommandTypes::sttDDL);
}

bool TQMBMariaDBDataBaseHandler::IndexExists(const QString& table, const QString& name)
{
    return CalcSQL_Int(0, QStringLiteral("SELECT count(*) FROM information_schema.STATISTICS WHERE TABLE_SCHEMA = DATABASE() "
                                         "AND INDEX_NAME = :n AND TABLE_NAME = :t"),
                       {P(QStringLiteral("n"), name), P(QStringLiteral("t"), table)}) > 0;
}

qint64 TQMBMariaDBDataBaseHandler::getDatabaseSize()
{
    return CalcSQL_Int(0, QStringLiteral("SELECT COALESCE(SUM(DATA_LENGTH + INDEX_LENGTH), 0) FROM information_schema.TABLES "
                                         "WHERE TABLE_SCHEMA = DATABASE()"));
}

// Julian day numbers like the stored date-times, from the server's clock.
QString TQMBMariaDBDataBaseHandler::getSystemTimeCommand(bool includeDate, bool includeTime) const
{
    if (includeDate && includeTime)
        return QStringLiteral("((TO_SECONDS(NOW()) - TO_SECONDS('1899-12-30')) / 86400.0 + 2415018.5)");
    return includeDate ? QStringLiteral("CURDATE()") : QStringLiteral("CURTIME()");
}

QString TQMBMariaDBDataBaseHandler::AutoIncFieldOf(const QString& table)
{
    return CalcSQL_String(QString(), QStringLiteral("SELECT COLUMN_NAME FROM information_schema.COLUMNS WHERE TABLE_SCHEMA = DATABASE() "
                                                    "AND TABLE_NAME = :t AND EXTRA LIKE '%auto_increment%'"),
                          {P(QStringLiteral("t"), table)});
}

// MariaDB names the primary key PRIMARY and drops foreign keys by their own word.
void TQMBMariaDBDataBaseHandler::DropPrimaryKey(const QString& table, const QString&)
{
    ExecSQL(QStringLiteral("ALTER TABLE [%1] DROP PRIMARY KEY").arg(table), TECommandTypes::sttDDL);
}

void TQMBMariaDBDataBaseHandler::DropForeignKey(const QString& table, const QString& name)
{
    ExecSQL(QStringLiteral("ALTER TABLE [%1] DROP FOREIGN KEY [%2]").arg(table, name), TECommandTypes::sttDDL);
}

// LENGTH counts bytes here, CHAR_LENGTH characters.
QString TQMBMariaDBDataBaseHandler::BuildSqlDataLength(const QString& field, bool returnByteCount, const QString& alias) const
{
    return (returnByteCount ? QStringLiteral("LENGTH(%1)") : QStringLiteral("CHAR_LENGTH(%1)")).arg(field)
         + QStringLiteral(" AS [%1]").arg(alias);
}

}  // namespace kalvex

namespace kalvex {

// The server answers GET_LOCK only when its wait ends: that wait must end
// before the connection's read time-out does.
int TQMBMariaDBDataBaseHandler::schemaLockWaitSeconds() const
{
    const int readTimeout = FDatabase->ConnectionInfo().Options.ServerTimeoutSeconds;
    return std::max(1, std::min(SchemaLockTimeoutSeconds, readTimeout - 2));
}

void TQMBMariaDBDataBaseHandler::BeginSchemaChange()
{
    const qint64 got = CalcSQL_Int(0, QStringLiteral("SELECT GET_LOCK('kalvex_schema', :t)"),
                                   {P(QStringLiteral("t"), schemaLockWaitSeconds())});
    if (got != 1)
        throw EKalvex(Tx(2501, "Die Datenbank %1 wird gerade von einem anderen Programm eingerichtet. "
                               "Bitte versuchen Sie es später noch einmal.")
                          .arg(FDatabase->ConnectionInfo().DatabaseName));
}

// Released also after a failure: the next process checks again.
void TQMBMariaDBDataBaseHandler::EndSchemaChange(bool)
{
    try {
        CalcSQL_Int(0, QStringLiteral("SELECT RELEASE_LOCK('kalvex_schema')"));
    } catch (const EKalvex&) {
        // a lost connection has released the lock with it
    }
}

}  // namespace kalvex
