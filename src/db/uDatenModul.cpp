#include "db/uDatenModul.h"

#include "config/AppPaths.h"
#include "config/AttachmentFiles.h"
#include "config/HelperPrograms.h"
#include "config/IniPlus.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/ProcessWait.h"
#include "config/UserMessages.h"
#include "config/uConfig.h"
#include "db/DBUpdater.h"

#include <QDeadlineTimer>
#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QUrl>
#include <QHash>
#include <utility>

namespace kalvex {

namespace {

constexpr int kConverterTimeoutMs = 30 * 60 * 1000;   // a large old store takes minutes

// Reads the converter's lines (its steps and the rows copied) while it runs
// and shows each; polls so that the wait window stays painted.
// Returns everything it printed.
QString waitForConverter(QProcess& converter, IProcessWait* wait)
{
    QString output;
    QString last;
    if (wait)
        wait->Begin(QFileInfo(converter.program()).fileName());
    const QDeadlineTimer deadline(kConverterTimeoutMs);
    for (bool running = true; running;) {
        running = !converter.waitForFinished(50) && converter.state() != QProcess::NotRunning && !deadline.hasExpired();
        while (converter.canReadLine() || (!running && converter.bytesAvailable() > 0)) {
            last = QString::fromUtf8(converter.readLine()).trimmed();
            output += last + QLatin1Char('\n');
            if (wait)
                wait->Show(last);
        }
        if (wait)
            wait->Show(last);
    }
    if (wait)
        wait->End();
    return output.trimmed();
}

}  // namespace

namespace {

// Freed by its owner (TMail, the command line). Whatever is left at process
// exit is not destroyed then: Qt's SQL registry may already be gone.
struct TModuleHolder {
    std::unique_ptr<TDatenModul> module;
    ~TModuleHolder() { (void)module.release(); }
};

std::unique_ptr<TDatenModul>& globalModule()
{
    static TModuleHolder holder;
    return holder.module;
}

const QString kSection = QStringLiteral("Kalvex");
const QString kServerDbIni = QStringLiteral("serverdboptions.ini");

QString guidText(const QUuid& guid)
{
    return GuidToString(guid);
}

TMailStatus statusOf(const QVariant& mailStatus, const QString& statusText)
{
    if (!mailStatus.isNull() && mailStatus.toInt() >= 0 && mailStatus.toInt() <= 2)
        return static_cast<TMailStatus>(mailStatus.toInt());
    if (statusText == QLatin1String("bearbeiten"))
        return TMailStatus::stEntwurf;
    return statusText == QLatin1String("gesendet") ? TMailStatus::stGesendet : TMailStatus::stUndefined;
}

TMailSender senderOf(const QString& text)
{
    if (text == QLatin1String("Kalvex"))
        return TMailSender::msKalvex;
    return text == QLatin1String("Standard-E-Mail-Client") ? TMailSender::msStandardClient : TMailSender::msUndefined;
}

// A kind stored without a field catalogue (NULL, empty, or the 0 that the
// schema upgrade writes into the column it adds) has no fields. No stream
// is that short, so "0" is never a catalogue.
TFelder felderOf(const QVariant& stored)
{
    TFelder felder;
    const QByteArray bytes = stored.isNull() ? QByteArray() : stored.toByteArray();
    if (!bytes.isEmpty() && bytes != "0")
        felder.LoadFromBytes(bytes);
    return felder;
}

[[noreturn]] void throwNotInitialised()
{
    throw EKalvex(QStringLiteral("OrvanProgID nicht initialisiert (InitInterface)"));
}

}  // namespace

TDatenModul::TDatenModul(const QString& databaseFolder, IProcessWait* wait, IUserMessages* messages)
{
    openStore(databaseFolder, wait, messages);
}

// The log lives as long as the data module of the process: freeing the
// installed module (or the last one) writes the log's end entry. A module
// replaced by Install leaves the log to its successor.
TDatenModul::~TDatenModul()
{
    FEMailListe.Clear();
    FDBHandler.reset();
    if (!globalModule())
        TLogFile::Uninstall();
}

TDatenModul* TDatenModul::Instance()
{
    return globalModule().get();
}

TDatenModul& TDatenModul::Install(std::unique_ptr<TDatenModul> module)
{
    globalModule() = std::move(module);
    return *globalModule();
}

void TDatenModul::Free()
{
    globalModule().reset();
}

QString TDatenModul::GetServerDBIniPfadFromRegistry()
{
    return TConfig::Ensure().FProgramDataPath;
}

// The host's folder and section first, then the installation's data folder,
// then the module's own settings folder: the first file whose section
// names a DatabaseType holds the store's settings.
std::vector<TDatenModul::TStoreSettings> TDatenModul::StoreSettingsSources()
{
    const TConfig& config = TConfig::Ensure();
    const QString section = config.FSektionsName.trimmed().isEmpty() ? kSection : config.FSektionsName.trimmed();
    std::vector<TStoreSettings> sources;
    if (!config.FServerDBIniDir.trimmed().isEmpty())
        sources.push_back({QDir(config.FServerDBIniDir.trimmed()).filePath(kServerDbIni), section});
    if (const QString installed = GetServerDBIniPfadFromRegistry(); !installed.isEmpty())
        sources.push_back({QDir(installed).filePath(kServerDbIni), section});
    sources.push_back({config.IniFolder() + kServerDbIni, kSection});
    return sources;
}

TQMBDatabaseConfig TDatenModul::readConfig(const QString& databaseFolder) const
{
    TQMBDatabaseConfig defaults;
    defaults.HostName = databaseFolder.isEmpty() ? TConfig::Ensure().CommonFolder04() : IncludeTrailingSeparator(databaseFolder);
    defaults.DatabaseName = QStringLiteral("kalvex.db");
    for (const TStoreSettings& source : StoreSettingsSources())
        if (TIniFile(source.file).ValueExists(source.section, QStringLiteral("DatabaseType")))
            return loadConfig(source, defaults);
    return defaults;
}

TQMBDatabaseConfig TDatenModul::loadConfig(const TStoreSettings& source, const TQMBDatabaseConfig& defaults)
{
    TQMBDatabaseConfig dbConfig = defaults;
    TQMBDatabaseFactory::LoadDatabaseConfig(source.file, source.section, dbConfig);
    const TIniFile options(source.file);
    dbConfig.Options.Provider = options.ReadString(QStringLiteral("Options"), QStringLiteral("Provider"), dbConfig.Options.Provider);
    dbConfig.Options.OdbcDriver = options.ReadString(QStringLiteral("Options"), QStringLiteral("OdbcDriver"), QString());
    if (dbConfig.DatabaseType == TQMBDatabaseConfigType::dbtSQLite)
        completeSQLiteConfig(dbConfig, source, defaults);
    else
        requireStoreKeys(dbConfig, source);
    return dbConfig;
}

void TDatenModul::completeSQLiteConfig(TQMBDatabaseConfig& dbConfig, const TStoreSettings& source,
                                       const TQMBDatabaseConfig& defaults)
{
    // Older installations named the SQLite file *.db3.
    if (dbConfig.DatabaseName.endsWith(QLatin1String("db3"))) {
        dbConfig.DatabaseName = defaults.DatabaseName;
        TQMBDatabaseFactory::SaveDatabaseConfig(source.file, source.section, dbConfig);
    }
    // A key left out means the module's own store, never a nameless one.
    if (dbConfig.HostName.trimmed().isEmpty())
        dbConfig.HostName = defaults.HostName;
    if (dbConfig.DatabaseName.trimmed().isEmpty())
        dbConfig.DatabaseName = defaults.DatabaseName;
}

// Without its server or its database a store would be some other database
// (an empty temporary one): what is saved there is lost.
void TDatenModul::requireStoreKeys(const TQMBDatabaseConfig& dbConfig, const TStoreSettings& source)
{
    const bool fileStore = dbConfig.DatabaseType == TQMBDatabaseConfigType::dbtMSAccess
                        || dbConfig.DatabaseType == TQMBDatabaseConfigType::dbtMSAccessACCDB;
    const QString missing = !fileStore && dbConfig.HostName.trimmed().isEmpty() ? QStringLiteral("Hostname")
                          : dbConfig.DatabaseName.trimmed().isEmpty()            ? QStringLiteral("DatabaseName")
                                                                                 : QString();
    if (missing.isEmpty())
        return;
    throw EKalvex(Tx(2700, "Die Datenbankeinstellungen in %1, Abschnitt [%2], sind unvollständig: \"%3\" fehlt oder ist leer. "
                           "Ohne diesen Wert kann die Datenbank nicht geöffnet werden.")
                      .arg(source.file, source.section, missing));
}

namespace {

// logText: what the log gets (all the converter printed); the user gets
// the reason.
[[noreturn]] void failConversion(const QString& mdb, const QString& db, const QString& reason, const QString& logText)
{
    TLogFile::LogGlobal(false, QStringLiteral("ConvertDBToSQLite: ") + logText);
    QFile::remove(db);
    throw EStoreNotConverted(
        Tx(4408, "Die alte Datenbank %1 konnte nicht in das neue Format übernommen werden: %2. Die E-Mails darin "
                 "bleiben erhalten; die Übernahme wird beim nächsten Start wiederholt. Bis dahin kann das "
                 "E-Mail-Modul nicht arbeiten.")
            .arg(mdb, reason));
}

bool gLogFailureSaid = false;   // the user hears once per process that there is no log

}  // namespace

// Without a writable log the module works on; the user hears it once.
void TDatenModul::openLog(const QString& commonPath, IUserMessages* messages)
{
    try {
        TLogFile::EnsureGlobal(commonPath);
    } catch (const EKalvex&) {
        if (messages && !std::exchange(gLogFailureSaid, true))
            messages->ShowError(Tx(4405, "Die Protokolldatei %1 kann nicht geschrieben werden. Das E-Mail-Modul "
                                         "arbeitet ohne Protokoll weiter.")
                                    .arg(TLogFile::DefaultFileName(commonPath)));
    }
}

QString TDatenModul::dataFolder() const
{
    const bool fileStore = FConfig.DatabaseType == TQMBDatabaseConfigType::dbtSQLite
                        || FConfig.DatabaseType == TQMBDatabaseConfigType::dbtMSAccess
                        || FConfig.DatabaseType == TQMBDatabaseConfigType::dbtMSAccessACCDB;
    if (fileStore && QDir::isAbsolutePath(FConfig.HostName))
        return IncludeTrailingSeparator(FConfig.HostName);
    const QString cache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    return IncludeTrailingSeparator((QDir::isAbsolutePath(cache) ? cache : QDir::tempPath()) + QStringLiteral("/kalvex"));
}

// A failed conversion stops the module only when its store is the one the
// conversion was to write; a site on another store goes on (logged).
bool TDatenModul::convertOldAccessStoreFor(IProcessWait* wait)
{
    try {
        return convertOldAccessStore(wait);
    } catch (const EStoreNotConverted&) {
        const QString db = TConfig::Ensure().CommonFolder04() + QStringLiteral("kalvex.db");
        if (FConfig.DatabaseType == TQMBDatabaseConfigType::dbtSQLite
            && QFileInfo(FConfig.FilePath()).absoluteFilePath() == QFileInfo(db).absoluteFilePath())
            throw;
        return false;
    }
}

// The converter sits next to the host program or on the PATH.
QString TDatenModul::converterProgram()
{
    return DatabaseConverterProgram();
}

// A conversion that cannot run or fails leaves no kalvex.db behind: the
// old store stays the one to convert, at the next start.
bool TDatenModul::convertOldAccessStore(IProcessWait* wait)
{
    TLogFile::LogGlobal(true, QStringLiteral("ConvertDBToSQLite: start"));
    const QString folder = TConfig::Ensure().CommonFolder04();
    const QString mdb = folder + QStringLiteral("kalvex.mdb");
    TLogFile::LogGlobal(true, QStringLiteral("ConvertDBToSQLite: nach getSpecialFolder 1"));
    const QString db = folder + QStringLiteral("kalvex.db");
    const QString program = converterProgram();
    TLogFile::LogGlobal(true, QStringLiteral("ConvertDBToSQLite: nach getSpecialFolder 2"));
    if (folder.isEmpty() || !QFileInfo::exists(mdb) || QFileInfo::exists(db))
        return false;
    if (program.isEmpty()) {
        const QString reason = Tx(4409, "das Programm kalvex-dbconvert ist nicht installiert");
        failConversion(mdb, db, reason, reason);
    }
    runConverter(program, mdb, db, wait);
    return true;
}

void TDatenModul::runConverter(const QString& program, const QString& mdb, const QString& db, IProcessWait* wait)
{
    QProcess converter;
    converter.setProcessChannelMode(QProcess::MergedChannels);
    converter.start(program, {QStringLiteral("-c"), mdb, db, QStringLiteral("-ctCopyAutoIncAsautoinc")});
    const QString output = waitForConverter(converter, wait);
    const bool done = converter.state() == QProcess::NotRunning && converter.exitStatus() == QProcess::NormalExit
                   && converter.exitCode() == 0;
    TLogFile::LogGlobal(true, QStringLiteral("ConvertDBToSQLite: nach RunProcess"));
    if (!done)
        failConversion(mdb, db, output.isEmpty() ? converter.errorString() : output.section(QLatin1Char('\n'), -1),
                       output + converter.errorString());
}

void TDatenModul::openStore(const QString& databaseFolder, IProcessWait* wait, IUserMessages* messages)
{
    const TConfig& config = TConfig::Ensure();
    if (config.FCommonPath.isEmpty())   // every folder of the module would land in the working folder
        throw EKalvex(Tx(4406, "Der gemeinsame Datenordner ist nicht eingerichtet: die Registrierungsdatei nennt "
                               "ihn nicht (Schlüssel %1, Wert Common).")
                          .arg(QStringLiteral("SOFTWARE\\QMB GmbH\\Common")));
    openLog(config.FCommonPath, messages);
    FConfig = readConfig(databaseFolder);   // a configuration error leaves every file as it is
    const bool converted = convertOldAccessStoreFor(wait);
    if (FConfig.DatabaseType == TQMBDatabaseConfigType::dbtSQLite)
        QDir().mkpath(FConfig.HostName);
    try {
        FDBHandler = TQMBDatabaseFactory::CreateDbHandler(FConfig, QString(), -1);
        FDBHandler->LoadLogSettings(config.IniFolder() + QStringLiteral("serverdboptions.ini"), kSection,
                                    QFileInfo(TLogFile::DefaultFileName(config.FCommonPath)).path());
        FDBHandler->SetConnected(true);
    } catch (const EKalvex& e) {
        FDBHandler.reset();
        TLogFile::LogGlobal(false, QStringLiteral("TDatenModul.Create: ") + e.message());
        throw EKalvex(Tx(1402, "Es ist ein Fehler beim Verbinden zur Datenbank aufgetreten!") + QStringLiteral("\r\n")
                      + QStringLiteral("DataBaseName: ") + FConfig.FilePath() + QStringLiteral("\r\n") + e.message());
    }
    TDBUpdater(*FDBHandler).CheckTables(converted);
    FDatenPfad = dataFolder();
    QDir().mkpath(FDatenPfad + QStringLiteral("KVXTemp"));
    LoadProgrammVorlageArtListeFromDB();
    LoadProgrammVorlageListeFromDB();
}

// ---------------------------------------------------------------- mails

// What a list shows of a mail: no bodies (a large log would be read and
// converted whole for nothing).
static QString mailListSql()
{
    return QStringLiteral("select ID, Betreff, Datum, MailStatus, Status, GesendetDurch, SeperatSenden from KVXGesendeteMails");
}

void TDatenModul::LoadEMailListeFromDB(bool withAttachmentContent)
{
    TEMailListe mails;
    QHash<int32_t, TEMail*> byId;
    {
        const std::unique_ptr<TRowReader> rows = FDBHandler->ReadRows(
            withAttachmentContent ? QStringLiteral("select * from KVXGesendeteMails") : mailListSql());
        const TMailColumns columns(*rows, withAttachmentContent);
        while (rows->Next()) {
            TEMail& mail = mails.Add();
            readMail(*rows, columns, mail);
            byId[mail.FID] = &mail;
        }
    }
    readRecipients(*FDBHandler->ReadRows(QStringLiteral("select * from KVXEmpfaenger")), byId);
    readAttachments(*FDBHandler->ReadRows(withAttachmentContent ? QStringLiteral("select * from KVXAnhang")
                                                                : attachmentListSql(QString())),
                    byId, withAttachmentContent);
    FEMailListe = std::move(mails);
}

// Drafts are few and their list shows the start of the text: only theirs is read.
void TDatenModul::LoadDraftTexts()
{
    for (const auto& mail : FEMailListe) {
        if (mail->FStatus != TMailStatus::stEntwurf)
            continue;
        TQMBDataSet* ds = FDBHandler->OpenSQL(QStringLiteral("select Inhalt from KVXGesendeteMails where ID = :ID"),
                                              {P("ID", mail->FID)});
        if (ds->Next())
            mail->FBodyPlain = ds->Field(QStringLiteral("Inhalt")).toString();
        ds->Close();
    }
}

std::unique_ptr<TEMail> TDatenModul::LoadEMail(int32_t mailId, bool withAttachmentContent)
{
    auto mail = std::make_unique<TEMail>();
    {
        const std::unique_ptr<TRowReader> rows =
            FDBHandler->ReadRows(QStringLiteral("select * from KVXGesendeteMails where ID = :ID"), {P("ID", mailId)});
        if (!rows->Next())
            return nullptr;
        readMail(*rows, TMailColumns(*rows, true), *mail);
    }
    const QHash<int32_t, TEMail*> byId{{mailId, mail.get()}};
    readRecipients(*FDBHandler->ReadRows(QStringLiteral("select * from KVXEmpfaenger where MailID = :MailID"),
                                         {P("MailID", mailId)}),
                   byId);
    readAttachments(*FDBHandler->ReadRows(withAttachmentContent ? QStringLiteral("select * from KVXAnhang where MailID = :MailID")
                                                                : attachmentListSql(QStringLiteral(" where MailID = :MailID")),
                                          {P("MailID", mailId)}),
                    byId, withAttachmentContent);
    return mail;
}

TDatenModul::TMailColumns::TMailColumns(const TRowReader& rows, bool withTexts)
    : id(rows.Column(QStringLiteral("ID"))), betreff(rows.Column(QStringLiteral("Betreff"))),
      datum(rows.Column(QStringLiteral("Datum"))), mailStatus(rows.Column(QStringLiteral("MailStatus"))),
      status(rows.Column(QStringLiteral("Status"))), gesendetDurch(rows.Column(QStringLiteral("GesendetDurch"))),
      seperatSenden(rows.Column(QStringLiteral("SeperatSenden"))),
      rtf(withTexts ? rows.Column(QStringLiteral("InhaltRTF")) : -1), plain(withTexts ? rows.Column(QStringLiteral("Inhalt")) : -1)
{
}

// Without the texts in the result (a list), the bodies stay empty.
void TDatenModul::readMail(const TRowReader& rows, const TMailColumns& c, TEMail& mail)
{
    mail.FID = static_cast<int32_t>(rows.Int(c.id));
    mail.FBetreff = rows.Text(c.betreff);
    mail.FDatum = TQMBDatabaseHandler::DaysOf(rows.Value(c.datum));
    mail.SetStatus(statusOf(rows.Value(c.mailStatus), rows.Text(c.status)));
    mail.FGesendetDurch = rows.Text(c.gesendetDurch);
    mail.FSender = senderOf(mail.FGesendetDurch);
    mail.FSeperatSenden = rows.Int(c.seperatSenden) != 0;
    mail.FBodyRTF = rows.Text(c.rtf);
    mail.FBodyPlain = rows.Text(c.plain);
}

void TDatenModul::readRecipients(TRowReader& rows, const QHash<int32_t, TEMail*>& byId)
{
    const int mailId = rows.Column(QStringLiteral("MailID")), id = rows.Column(QStringLiteral("ID"));
    const int adresse = rows.Column(QStringLiteral("Adresse")), name = rows.Column(QStringLiteral("GanzerName"));
    const int firma = rows.Column(QStringLiteral("Firma")), adressDb = rows.Column(QStringLiteral("AdressDB_ID"));
    const int kind = rows.Column(QStringLiteral("EmpfType"));
    while (rows.Next()) {
        const auto it = byId.constFind(static_cast<int32_t>(rows.Int(mailId)));
        if (it == byId.constEnd())
            continue;
        TEMailEmpfaenger& r = (*it)->FLEmpfaenger.Add();
        r.FID = static_cast<int32_t>(rows.Int(id));
        r.FMailID = it.key();
        r.FAdresse = rows.Text(adresse);
        r.FGanzerName = rows.Text(name);
        r.FFirma = rows.Text(firma);
        r.FAdressDB_ID = static_cast<int32_t>(rows.Int(adressDb));
        const qint64 type = rows.Int(kind);
        r.FEmpfType = type >= 0 && type <= 2 ? static_cast<TEmpfaengerTyp>(type) : TEmpfaengerTyp::elAn;
    }
    for (TEMail* mail : byId)
        mail->Convert();
}

// Without the contents, their length tells whether the store holds them.
// Not the byte count: only whether it is 0 matters, and SQLite answers the
// plain length of a blob from the record header without reading the blob.
QString TDatenModul::attachmentListSql(const QString& where) const
{
    return QStringLiteral("select ID, MailID, Pfad, Dateigroesse, %1 from KVXAnhang")
               .arg(FDBHandler->BuildSqlDataLength(QStringLiteral("Objekt"), false, QStringLiteral("ObjektLaenge")))
         + where;
}

void TDatenModul::readAttachments(TRowReader& rows, const QHash<int32_t, TEMail*>& byId, bool withContent)
{
    const int mailId = rows.Column(QStringLiteral("MailID")), id = rows.Column(QStringLiteral("ID"));
    const int pfad = rows.Column(QStringLiteral("Pfad")), size = rows.Column(QStringLiteral("Dateigroesse"));
    const int content = rows.Column(withContent ? QStringLiteral("Objekt") : QStringLiteral("ObjektLaenge"));
    while (rows.Next()) {
        const auto it = byId.constFind(static_cast<int32_t>(rows.Int(mailId)));
        if (it == byId.constEnd())
            continue;
        TAnhang& a = (*it)->FLAnhaengeBlob.Add();
        a.FID = static_cast<int32_t>(rows.Int(id));
        a.FMailID = it.key();
        a.FPfad = rows.Text(pfad);
        a.FDateigroesse = rows.Real(size);
        if (withContent)
            a.FObjekt = rows.Value(content).toByteArray();
        a.FGespeichert = withContent ? !a.FObjekt.isEmpty() : rows.Int(content) > 0;
        (*it)->FAnhaenge << a.FPfad;
    }
}

// After a failure in the middle nothing of the work stays.
void TDatenModul::inTransaction(const std::function<void()>& work)
{
    FDBHandler->BeginTrans();
    try {
        work();
        FDBHandler->CommitTrans();
    } catch (...) {
        FDBHandler->RollbackTrans();
        throw;
    }
}

void TDatenModul::SaveEMail(TEMail& mail, TMailStatus status)
{
    qint64 id = -1;
    inTransaction([&] {
        id = FDBHandler->ExecSQL(
            QStringLiteral("insert into KVXGesendeteMails (Betreff, Datum, InhaltRTF, Inhalt, MailStatus, Status, GesendetDurch, SeperatSenden) Values (:Betreff, :Datum, :InhaltRTF, :Inhalt, :MailStatus, :Status, :MailSender, :SeperatSenden);"),
            {P("Betreff", mail.FBetreff), P("Datum", FDBHandler->DateTimeValue(mail.FDatum)), P("InhaltRTF", mail.FBodyRTF),
             P("Inhalt", mail.FBodyPlain), P("MailStatus", static_cast<int>(status)), P("Status", MailStatusText(status)),
             P("MailSender", MailSenderText(mail.FSender)), P("SeperatSenden", mail.FSeperatSenden)},
            true, TECommandTypes::sttInsert, TExecSQLReturnValue::erInsertedID);
        for (const auto& r : mail.FLEmpfaenger)
            FDBHandler->ExecSQL(QStringLiteral("insert into KVXEmpfaenger (MailID, Adresse, GanzerName, Firma, AdressDB_ID, EmpfType) Values (:MailID, :Adresse, :GanzerName, :Firma, :AdressDB_ID, :EmpfType);"),
                                {P("MailID", id), P("Adresse", r->FAdresse), P("GanzerName", r->FGanzerName),
                                 P("Firma", r->FFirma), P("AdressDB_ID", r->FAdressDB_ID),
                                 P("EmpfType", static_cast<int>(r->FEmpfType))});
        for (const QString& path : mail.FAnhaenge)
            saveAttachment(id, path);
    });
    mail.FID = static_cast<int32_t>(id);
    mail.SetStatus(status);
}

void TDatenModul::CheckAttachmentsFit(const TEMail& mail)
{
    for (const QString& path : mail.FAnhaenge)
        FDBHandler->CheckBlobFits(QFileInfo(path).size(), path);
}

// The file's content goes into the store as the store can take it best
// (SQLite: piece by piece, never whole in memory).
void TDatenModul::saveAttachment(qint64 mailId, const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw EKalvex(Tx(1401, "Der Anhang \"%1\" konnte nicht gelesen werden: %2").arg(path, file.errorString()));
    const qint64 size = file.size();
    FDBHandler->InsertWithBlobFile(
        QStringLiteral("insert into KVXAnhang (MailID, Pfad, Objekt, Dateigroesse) Values (:MailID, :Pfad, :Objekt, :Dateigroesse);"),
        {P("MailID", mailId), P("Pfad", path), P("Dateigroesse", size)},
        {QStringLiteral("Objekt"), QStringLiteral("KVXAnhang"), QStringLiteral("Objekt"), &file, size});
}

void TDatenModul::DeleteEMail(int32_t mailId)
{
    inTransaction([&] {
        FDBHandler->ExecSQL(QStringLiteral("delete from KVXAnhang where MailID = :MailID"), {P("MailID", mailId)});
        FDBHandler->ExecSQL(QStringLiteral("delete from KVXEmpfaenger where MailID = :MailID"), {P("MailID", mailId)});
        FDBHandler->ExecSQL(QStringLiteral("delete from KVXGesendeteMails where ID = :ID"), {P("ID", mailId)});
    });
    if (TEMail* mail = FEMailListe.FindByID(mailId))
        FEMailListe.Remove(mail);
}

QByteArray TDatenModul::AnhangOeffnen(const QString& path)
{
    TQMBDataSet* ds = FDBHandler->OpenSQL(QStringLiteral("select Objekt from KVXAnhang where Pfad like :a;"), {P("a", path)});
    QByteArray content;
    if (ds->Next())
        content = ds->Field(QStringLiteral("Objekt")).toByteArray();
    ds->Close();
    return content;
}

QByteArray TDatenModul::AnhangInhalt(int32_t attachmentId)
{
    TQMBDataSet* ds = FDBHandler->OpenSQL(QStringLiteral("select Objekt from KVXAnhang where ID = :ID"), {P("ID", attachmentId)});
    QByteArray content;
    if (ds->Next())
        content = ds->Field(QStringLiteral("Objekt")).toByteArray();
    ds->Close();
    return content;
}

void TDatenModul::InsertTempEmpf(const QString& address, const QString& name, const QString& company, int32_t adressDbId)
{
    FDBHandler->ExecSQL(QStringLiteral("insert into KVXTempEmpf (MailAdr, GanzerName, Firma, AdressDB_ID) values (:a, :b, :C, :d);"),
                        {P("a", address), P("b", name), P("C", company), P("d", adressDbId)});
}

// ---------------------------------------------------------------- program templates

void TDatenModul::LoadProgrammVorlageArtListeFromDB()
{
    TProgrammVorlageArtListe kinds;
    kinds.FComparer = FProgrammVorlageArtListe.FComparer;
    TQMBDataSet* ds = FDBHandler->OpenSQL(QStringLiteral("select va.GUID, va.Name1031, va.Beschreibung1031, va.Name1033, va.Beschreibung1033, va.Felder, va.FelderVersion, vp.Programm_ID from ProgrammVorlageArt va left join ProgrammVorlageArt_Programm vp on (va.GUID = vp.ProgrammVorlageArt_GUID) order by va.GUID asc"));
    TProgrammVorlageArt* current = nullptr;
    while (ds->Next()) {
        const QUuid guid = StringToGuid(ds->Field(QStringLiteral("GUID")).toString());
        if (!current || current->FGUID != guid) {
            current = &kinds.Add();
            current->FGUID = guid;
            current->SetTranslation(1031, ds->Field(QStringLiteral("Name1031")).toString(), ds->Field(QStringLiteral("Beschreibung1031")).toString());
            current->SetTranslation(1033, ds->Field(QStringLiteral("Name1033")).toString(), ds->Field(QStringLiteral("Beschreibung1033")).toString());
            current->FFelderVersion = ds->Field(QStringLiteral("FelderVersion")).toInt();
            current->FFelder = felderOf(ds->Field(QStringLiteral("Felder")));
        }
        if (!ds->Field(QStringLiteral("Programm_ID")).isNull())
            current->AddProgID(ds->Field(QStringLiteral("Programm_ID")).toInt());
    }
    ds->Close();
    kinds.SortByName();
    FProgrammVorlageArtListe = std::move(kinds);
}

void TDatenModul::SaveProgrammVorlageArt(TProgrammVorlageArt& kind, bool isNew)
{
    const TParamInfoV2Array names = {P("GUID", guidText(kind.FGUID)), P("Name1031", kind.GetName(1031)),
                                     P("Beschreibung1031", kind.GetBeschreibung(1031)), P("Name1033", kind.GetName(1033)),
                                     P("Beschreibung1033", kind.GetBeschreibung(1033))};
    inTransaction([&] {
        if (isNew) {
            TParamInfoV2Array params = names;
            params.push_back(P("Felder", kind.FFelder.SaveToBytes()));
            params.push_back(P("FelderVersion", kind.FFelderVersion));
            FDBHandler->ExecSQL(QStringLiteral("insert into [ProgrammVorlageArt] (GUID, Name1031, Beschreibung1031, Name1033, Beschreibung1033, Felder, FelderVersion) values (:GUID, :Name1031, :Beschreibung1031, :Name1033, :Beschreibung1033, :Felder, :FelderVersion)"), params);
        } else {
            FDBHandler->ExecSQL(QStringLiteral("update [ProgrammVorlageArt] set Name1031 = :Name1031, Beschreibung1031 = :Beschreibung1031, Name1033 = :Name1033, Beschreibung1033 = :Beschreibung1033 where GUID = :GUID"), names);
            // The catalogue travels too: a replaced field list must be stored.
            FDBHandler->ExecSQL(QStringLiteral("update [ProgrammVorlageArt] set Felder = :Felder, FelderVersion = :FelderVersion where GUID = :GUID"),
                                {P("Felder", kind.FFelder.SaveToBytes()), P("FelderVersion", kind.FFelderVersion),
                                 P("GUID", guidText(kind.FGUID))});
        }
        saveProgIDs(kind);
    });
}

void TDatenModul::saveProgIDs(const TProgrammVorlageArt& kind)
{
    FDBHandler->ExecSQL(QStringLiteral("delete from [ProgrammVorlageArt_Programm] WHERE ProgrammVorlageArt_GUID = :guid"),
                        {P("guid", guidText(kind.FGUID))});
    for (int id = 0; id < 16; ++id)
        if (kind.HasProgID(id))
            FDBHandler->ExecSQL(QStringLiteral("insert into [ProgrammVorlageArt_Programm] (ProgrammVorlageArt_GUID, Programm_ID) values (:ProgrammVorlageArt_GUID, :Programm_ID)"),
                                {P("ProgrammVorlageArt_GUID", guidText(kind.FGUID)), P("Programm_ID", id)});
}

void TDatenModul::LoadProgrammVorlageListeFromDB(const QUuid& art)
{
    TProgrammVorlageListe list;
    list.FComparer = FProgrammVorlageListe.FComparer;
    TQMBDataSet* ds = art.isNull()
        ? FDBHandler->OpenSQL(QStringLiteral("SELECT GUID, Art, Name1031, Name1033, Betreff, Body, IsStandard, IsDefault, OrvanProgVersion, FelderVersion FROM [ProgrammVorlage]"))
        : FDBHandler->OpenSQL(QStringLiteral("SELECT GUID, Art, Name1031, Name1033, Betreff, Body, IsStandard, IsDefault, OrvanProgVersion, FelderVersion  FROM [ProgrammVorlage] WHERE Art = :Art ORDER BY Name"),
                              {P("Art", guidText(art))});
    while (ds->Next()) {
        TProgrammVorlage& t = list.Add();
        t.FGUID = StringToGuid(ds->Field(QStringLiteral("GUID")).toString());
        t.FArt = StringToGuid(ds->Field(QStringLiteral("Art")).toString());
        t.SetTranslation(1031, ds->Field(QStringLiteral("Name1031")).toString());
        t.SetTranslation(1033, ds->Field(QStringLiteral("Name1033")).toString());
        t.FBetreff = ds->Field(QStringLiteral("Betreff")).toString();
        t.FBody = ds->Field(QStringLiteral("Body")).toString();
        t.FIsStandard = ds->Field(QStringLiteral("IsStandard")).toInt() != 0;
        t.FIsDefault = ds->Field(QStringLiteral("IsDefault")).toInt() != 0;
        t.FOrvanProgVersion = ds->Field(QStringLiteral("OrvanProgVersion")).toInt();
        t.FFelderVersion = ds->Field(QStringLiteral("FelderVersion")).toInt();
    }
    ds->Close();
    list.SortByName();
    FProgrammVorlageListe = std::move(list);
}

void TDatenModul::SaveProgrammVorlage(TProgrammVorlage& t, bool isNew)
{
    const TParamInfoV2Array params = {P("GUID", guidText(t.FGUID)), P("Art", guidText(t.FArt)),
                                      P("Name1031", t.GetName(1031)), P("Name1033", t.GetName(1033)),
                                      P("Betreff", t.FBetreff), P("Body", t.FBody), P("IsStandard", t.FIsStandard),
                                      P("IsDefault", t.FIsDefault), P("OrvanProgVersion", t.FOrvanProgVersion),
                                      P("FelderVersion", t.FFelderVersion)};
    FDBHandler->ExecSQL(isNew ? QStringLiteral("insert into [ProgrammVorlage] (GUID, Art, Name1031, Name1033, Betreff, Body, IsStandard, IsDefault, OrvanProgVersion, FelderVersion) values (:GUID, :Art, :Name1031, :Name1033, :Betreff, :Body, :IsStandard, :IsDefault, :OrvanProgVersion, :FelderVersion)")
                              : QStringLiteral("update [ProgrammVorlage] set Art = :Art, Name1031 = :Name1031, Name1033 = :Name1033, Betreff = :Betreff, Body = :Body, IsStandard = :IsStandard, IsDefault = :IsDefault, OrvanProgVersion = :OrvanProgVersion, FelderVersion = :FelderVersion where GUID = :GUID"),
                        params);
}

void TDatenModul::DeleteProgrammVorlage(const QUuid& vorlage)
{
    FDBHandler->ExecSQL(QStringLiteral("delete from [ProgrammVorlage] where GUID = :GUID"), {P("GUID", guidText(vorlage))});
}

void TDatenModul::SetListLanguage(int32_t lang)
{
    FProgrammVorlageArtListe.SetLanguage(lang);
    FProgrammVorlageListe.SetLanguage(lang);
    FProgrammVorlageArtListe.SortByName();
    FProgrammVorlageListe.SortByName();
}

// ---------------------------------------------------------------- host template operations

void TDatenModul::EnsureGeneralKind()
{
    if (FProgrammVorlageArtListe.ProgrammVorlageArtVorhanden(GeneralKindGUID()))
        return;
    VorlageArtAnlegen(GeneralKindGUID(), QStringLiteral("Allgemein"), QStringLiteral("Common"),
                      QStringLiteral("Common kind of template without data fields"),
                      QStringLiteral("Allgemeine Vorlageart ohne Datenfelder"), TFelder(), 0, true);
}

void TDatenModul::VorlageArtAnlegen(const QUuid& art, const QString& nameDE, const QString& nameEN,
                                    const QString& beschreibungEN, const QString& beschreibungDE, TFelder felder,
                                    int32_t felderVersion, bool generalKind)
{
    if (FOrvanProgID < 0)
        throwNotInitialised();
    TProgrammVorlageArt* kind = FProgrammVorlageArtListe.GetProgrammVorlageArt(art);
    std::unique_ptr<TProgrammVorlageArt> created;
    if (!kind) {
        created = std::make_unique<TProgrammVorlageArt>();
        created->FGUID = art;
        created->FFelderVersion = felderVersion;
        created->FFelder = std::move(felder);
        kind = created.get();
    }
    kind->SetTranslation(1031, nameDE, beschreibungDE);
    kind->SetTranslation(1033, nameEN, beschreibungEN);
    if (!generalKind)
        kind->AddProgID(FOrvanProgID);
    SaveProgrammVorlageArt(*kind, created != nullptr);
    if (created) {
        FProgrammVorlageArtListe.Add(std::move(created));
        FProgrammVorlageArtListe.SortByName();
    }
}

void TDatenModul::VorlageArtFelderAktualisieren(const QUuid& art, TFelder felder, int32_t felderVersion)
{
    TProgrammVorlageArt* kind = FProgrammVorlageArtListe.GetProgrammVorlageArt(art);
    if (!kind)
        return;
    kind->FFelder = std::move(felder);
    kind->FFelderVersion = felderVersion;
    SaveProgrammVorlageArt(*kind, false);
}

int32_t TDatenModul::VorlageArtFelderVersion(const QUuid& art)
{
    const TProgrammVorlageArt* kind = FProgrammVorlageArtListe.GetProgrammVorlageArt(art);
    return kind ? kind->FFelderVersion : -1;
}

void TDatenModul::VorlageArtErweitern(const QUuid& art, int progId)
{
    if (FOrvanProgID < 0)
        throwNotInitialised();
    TProgrammVorlageArt* kind = FProgrammVorlageArtListe.GetProgrammVorlageArt(art);
    if (!kind)
        return;
    kind->AddProgID(progId);   // 16 and above are ignored, the kind is saved all the same
    SaveProgrammVorlageArt(*kind, false);
}

void TDatenModul::VorlageArtUmbenennen(const QUuid& art, const QString& name, int32_t lang)
{
    TProgrammVorlageArt* kind = FProgrammVorlageArtListe.GetProgrammVorlageArt(art);
    if (!kind)
        return;
    kind->SetTranslation(lang, name, kind->GetBeschreibung(lang));
    SaveProgrammVorlageArt(*kind, false);
    FProgrammVorlageArtListe.SortByName();
}

int32_t TDatenModul::VorlageVorhanden(const QUuid& vorlage)
{
    const TProgrammVorlage* t = FProgrammVorlageListe.FindByGUID(vorlage);
    return t ? t->FFelderVersion : -1;
}

void TDatenModul::VorlageAnlegen(const QUuid& art, const QUuid& vorlage, const QString& nameDE, const QString& nameEN,
                                 const QString& betreff, const QString& body, const QString& pfad, bool isDefault)
{
    if (FOrvanProgID < 0)
        throwNotInitialised();
    auto t = std::make_unique<TProgrammVorlage>();
    t->FGUID = vorlage;
    t->FArt = art;
    t->SetTranslation(1031, nameDE);
    t->SetTranslation(1033, nameEN);
    t->FBetreff = betreff;
    t->FBody = body;
    t->FVorlagePfad = pfad;
    t->FIsDefault = isDefault;
    t->FIsStandard = true;
    t->FOrvanProgVersion = TConfig::Ensure().FVersion;
    SaveProgrammVorlage(*t, true);
    FProgrammVorlageListe.Add(std::move(t));
    FProgrammVorlageListe.SortByName();
}

// An unknown GUID is ignored.
void TDatenModul::VorlageAktualisieren(const TProgrammVorlage& source)
{
    TProgrammVorlage* t = FProgrammVorlageListe.FindByGUID(source.FGUID);
    if (!t)
        return;
    t->FArt = source.FArt;
    t->SetTranslation(1031, source.GetName(1031));
    t->SetTranslation(1033, source.GetName(1033));
    t->FBetreff = source.FBetreff;
    t->FBody = source.FBody;
    t->FIsStandard = source.FIsStandard;
    t->FIsDefault = source.FIsDefault;
    t->FOrvanProgVersion = source.FOrvanProgVersion;
    SaveProgrammVorlage(*t, false);
}

// Removes the template from the list and from the store at once, so that it
// does not come back with the next load.
void TDatenModul::VorlageLoeschen(const QUuid& vorlage)
{
    TProgrammVorlage* t = FProgrammVorlageListe.FindByGUID(vorlage);
    if (!t)
        return;
    DeleteProgrammVorlage(vorlage);
    FProgrammVorlageListe.Remove(t);
}

}  // namespace kalvex
