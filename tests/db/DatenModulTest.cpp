#include "StoreFixture.h"

#include "config/IniPlus.h"
#include "config/KalvexError.h"
#include "config/LogFileUnit.h"
#include "config/UserMessages.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"

#include <QDir>
#include <QRegularExpression>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>

#include <sys/resource.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {


// An installation in a temporary folder: registry file, common folder.
class DatenModulTest : public StoreTest {
protected:
    void SetUp() override
    {
        common = FDir.filePath("common") + "/";
        TIniFile reg(FDir.filePath("registry.ini"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Test", FDir.filePath("data"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", common);
        qputenv("KALVEX_REGISTRY", FDir.filePath("registry.ini").toUtf8());
        TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Test")));
        QDir().mkpath(common + "Common04");
        if (!IsSQLite())   // the data module finds a server store through its settings file
            TQMBDatabaseFactory::SaveDatabaseConfig(common + "Common04/KVXIni/serverdboptions.ini", "Kalvex", Config());
    }
    void TearDown() override
    {
        TDatenModul::Free();
        TLogFile::Uninstall();
        TConfig::Free();
        qunsetenv("KALVEX_REGISTRY");
    }
    QString storeFile() const { return common + "Common04/kalvex.db"; }
    QString common;
};

TFelder oneField(const QString& name)
{
    TFelder f;
    TFeldEinfach& field = f.FEinfachListe.Add();
    field.FGUID = QUuid::createUuid();
    field.FFeldnameList.SetText(1031, name);
    return f;
}

}  // namespace

TEST_P(DatenModulTest, HostTemplateOperations)
{
    const QUuid kind("{11111111-2222-3333-4444-555555555555}");
    {
        TDatenModul dm;
        EXPECT_EQ(ErrorOf([&] { dm.EnsureGeneralKind(); }), "OrvanProgID nicht initialisiert (InitInterface)");
        dm.FOrvanProgID = 3;
        dm.EnsureGeneralKind();
        ASSERT_TRUE(dm.FProgrammVorlageArtListe.ProgrammVorlageArtVorhanden(GeneralKindGUID()));
        EXPECT_EQ(dm.FProgrammVorlageArtListe.GetProgrammVorlageArt(GeneralKindGUID())->FOrvanProgIDs, 0u);

        dm.VorlageArtAnlegen(kind, "Rechnung", "Invoice", "Invoices", "Rechnungen", oneField("Betrag"), 4);
        dm.FOrvanProgID = 5;
        dm.VorlageArtAnlegen(kind, "Rechnung neu", "Invoice new", "", "", oneField("Anderes"), 9);
        dm.VorlageArtErweitern(kind, 16);
        EXPECT_EQ(dm.VorlageArtFelderVersion(kind), 4);
        EXPECT_EQ(dm.VorlageArtFelderVersion(QUuid::createUuid()), -1);

        const QUuid t = QUuid::createUuid();
        EXPECT_EQ(dm.VorlageVorhanden(t), -1);
        dm.VorlageAnlegen(kind, t, "Mahnung", "Reminder", "Betreff <Betrag>", "Body", "/x.rtf", true);
        EXPECT_EQ(dm.VorlageVorhanden(t), 0);
        const QUuid gone = QUuid::createUuid();
        dm.VorlageAnlegen(kind, gone, "Weg", "Gone", "", "", "", false);
        dm.VorlageLoeschen(gone);
        EXPECT_EQ(dm.VorlageVorhanden(gone), -1);
    }
    TDatenModul reopened;   // everything came from the store
    const TProgrammVorlageArt* k = reopened.FProgrammVorlageArtListe.GetProgrammVorlageArt(kind);
    ASSERT_NE(k, nullptr);
    EXPECT_EQ(k->GetName(1031), "Rechnung neu");
    EXPECT_EQ(k->FFelderVersion, 4);
    ASSERT_EQ(k->FFelder.FEinfachListe.Count(), 1);
    EXPECT_EQ(k->FFelder.FEinfachListe[0].GetFeldname(1031), "Betrag");
    EXPECT_EQ(k->FOrvanProgIDs, (1u << 3) | (1u << 5));
    EXPECT_EQ(reopened.FProgrammVorlageListe.Count(), 1);
    EXPECT_TRUE(reopened.FProgrammVorlageListe[0].FIsDefault);
    EXPECT_TRUE(reopened.FProgrammVorlageListe[0].FIsStandard);
}

namespace {

// Bytes that differ from position to position, so that a piece written to
// the wrong place shows.
QByteArray pattern(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 7 + i / 251) & 0xff);
    return bytes;
}

// The process's peak resident memory so far.
qint64 PeakMemoryBytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<qint64>(usage.ru_maxrss) * 1024;
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& content)
{
    QFile file(dir.filePath(name));
    file.open(QIODevice::WriteOnly);
    file.write(content);
    return file.fileName();
}

}  // namespace

TEST_P(DatenModulTest, MailLogIsAllOrNothing)
{
    TDatenModul dm;
    const QByteArray big = pattern(2 * (1 << 20) + 12345);   // more than two pieces of a streamed blob
    const QString bericht = writeFile(FDir, "bericht.pdf", big);
    const QString leer = writeFile(FDir, "leer.txt", QByteArray());

    TEMail mail;
    mail.FBetreff = "Bericht";
    mail.FDatum = 45000.25;
    mail.FSender = TMailSender::msKalvex;
    TEMailEmpfaenger& r = mail.FLEmpfaenger.Add();
    r.FAdresse = "a@example.org";
    r.FEmpfType = TEmpfaengerTyp::elBcc;
    mail.FAnhaenge << bericht << leer;
    dm.SaveEMail(mail, TMailStatus::stGesendet);
    EXPECT_GT(mail.FID, 0);

    TEMail broken;
    broken.FBetreff = "Kaputt";
    broken.FLEmpfaenger.Add().FAdresse = "b@example.org";
    broken.FAnhaenge << bericht << FDir.filePath("fehlt.pdf");   // the first is in the store when the second fails
    EXPECT_TRUE(ErrorOf([&] { dm.SaveEMail(broken, TMailStatus::stGesendet); }).contains("fehlt.pdf"));

    dm.LoadEMailListeFromDB(true);
    ASSERT_EQ(dm.FEMailListe.Count(), 1);   // nothing of the broken mail stayed
    EXPECT_EQ(dm.Handler().CalcSQL_Int(0, "select count(*) from KVXEmpfaenger"), 1);
    EXPECT_EQ(dm.Handler().CalcSQL_Int(0, "select count(*) from KVXAnhang"), 2);
    const TEMail& back = dm.FEMailListe[0];
    EXPECT_EQ(back.FStatus, TMailStatus::stGesendet);
    EXPECT_EQ(back.FSender, TMailSender::msKalvex);
    EXPECT_DOUBLE_EQ(back.FDatum, 45000.25);
    EXPECT_EQ(back.FBcc, QStringList{"a@example.org"});
    ASSERT_EQ(back.FLAnhaengeBlob.Count(), 2);
    EXPECT_TRUE(back.FLAnhaengeBlob[0].FObjekt == big);
    EXPECT_EQ(back.FLAnhaengeBlob[0].FDateigroesse, big.size());
    EXPECT_TRUE(back.FLAnhaengeBlob[1].FObjekt.isEmpty());
    EXPECT_EQ(dm.Handler().CalcSQL_String("", "select Status from KVXGesendeteMails"), "gesendet");
    EXPECT_TRUE(dm.AnhangOeffnen(bericht) == big);
}

// An attachment larger than the server takes in one statement (its
// default max_allowed_packet is 16 MiB) is refused before anything is
// written or sent, with the setting and both sizes; SQLite has no limit.
TEST_P(DatenModulTest, AnAttachmentLargerThanTheStoreTakesIsRefusedBeforeSending)
{
    TDatenModul dm;
    const QString plan = writeFile(FDir, "plan.bin", QByteArray(20 * 1024 * 1024, 'p'));
    TEMail mail;
    mail.FBetreff = "Plan";
    mail.FLEmpfaenger.Add().FAdresse = "a@example.org";
    mail.FAnhaenge << plan;
    if (IsSQLite()) {
        EXPECT_EQ(dm.MaxBlobSize(), -1);
        dm.CheckAttachmentsFit(mail);
        dm.SaveEMail(mail, TMailStatus::stEntwurf);
        EXPECT_EQ(dm.Handler().CalcSQL_Int(0, "select Dateigroesse from KVXAnhang"), 20 * 1024 * 1024);
        return;
    }
    EXPECT_EQ(dm.MaxBlobSize(), 16 * 1024 * 1024 - 64 * 1024);
    const QString before = ErrorOf([&] { dm.CheckAttachmentsFit(mail); });
    for (const QString& part : {QString("max_allowed_packet (16,0 MB)"), QString("ist 20,0 MB groß"), plan,
                               MariaDBServer::Instance().Socket()})
        EXPECT_TRUE(before.contains(part)) << before.toStdString();
    EXPECT_EQ(ErrorOf([&] { dm.SaveEMail(mail, TMailStatus::stEntwurf); }), before);
    EXPECT_EQ(dm.Handler().CalcSQL_Int(0, "select count(*) from KVXGesendeteMails"), 0);

    mail.FAnhaenge = {writeFile(FDir, "klein.bin", QByteArray(15 * 1024 * 1024, 'k'))};
    dm.CheckAttachmentsFit(mail);
    dm.SaveEMail(mail, TMailStatus::stEntwurf);   // under the limit: stored whole
    EXPECT_EQ(dm.Handler().CalcSQL_Int(0, "select length(Objekt) from KVXAnhang"), 15 * 1024 * 1024);
}

// The store's SQL log is on without any setting: a failing statement
// leaves its SQL and parameters in log-sql.txt of the log folder. The keys
// LogFile (a bare name lies in the log folder) and LogLevel change it.
TEST_P(DatenModulTest, AFailingStatementIsWrittenToTheSqlLog)
{
    const QString logFolder = common + "Common04/KVXLog/";
    const QString insert = "insert into KVXGruppe (Gruppenname, Fehlt) values (:Gruppenname, :Fehlt)";
    auto failOnce = [&] {
        TDatenModul dm;
        EXPECT_FALSE(ErrorOf([&] { dm.Handler().ExecSQL(insert, {P("Gruppenname", "Bau"), P("Fehlt", 7)}); }).isEmpty());
    };
    failOnce();
    const QStringList lines = QString::fromUtf8(readAll(logFolder + "log-sql.txt")).split('\n');
    ASSERT_GE(lines.size(), 4) << lines.join('\n').toStdString();
    EXPECT_EQ(lines[0], "Laufzeit-Protokolldatei Datenmodul");
    EXPECT_TRUE(QRegularExpression("^Startzeit: \\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d$").match(lines[1]).hasMatch())
        << lines[1].toStdString();
    const QRegularExpression entry("^\\d\\d:\\d\\d:\\d\\d,\\d{3} ");
    EXPECT_GE(lines.indexOf(QRegularExpression(entry.pattern() + "SQL: " + QRegularExpression::escape(insert) + "$")), 0)
        << lines.join('\n').toStdString();
    EXPECT_GE(lines.indexOf(QRegularExpression(entry.pattern() + "Parameter: .+")), 0);
    EXPECT_LT(lines.indexOf(QRegularExpression(entry.pattern() + ".*ExecSQL")), 0);   // statements only at level 3

    TIniFile options(common + "Common04/KVXIni/serverdboptions.ini");
    options.WriteString("Kalvex", "LogFile", "eigen.txt");
    options.WriteInteger("Kalvex", "LogLevel", 3);
    failOnce();
    const QString own = QString::fromUtf8(readAll(logFolder + "eigen.txt"));
    EXPECT_TRUE(own.contains("SQL: " + insert)) << own.toStdString();
    EXPECT_TRUE(own.contains("ExecSQL mit Parametern \"" + insert + "\""));
}

// One mail is read alone, without attachment contents; a delete that fails
// half-way leaves the whole mail.
TEST_P(DatenModulTest, OneMailLoadsAloneAndDeletesWhole)
{
    TDatenModul dm;
    const QString anhang = writeFile(FDir, "anhang.bin", pattern(5000));
    int32_t ids[2];
    for (int32_t& id : ids) {
        TEMail mail;
        mail.FBetreff = QString("Mail %1").arg(&id - ids);
        mail.FLEmpfaenger.Add().FAdresse = "a@example.org";
        mail.FLEmpfaenger.Add().FAdresse = "b@example.org";
        mail.FAnhaenge << anhang;
        dm.SaveEMail(mail, TMailStatus::stEntwurf);
        id = mail.FID;
    }
    const std::unique_ptr<TEMail> one = dm.LoadEMail(ids[1]);
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->FBetreff, "Mail 1");
    EXPECT_EQ(one->FStatus, TMailStatus::stEntwurf);
    EXPECT_EQ(one->FAn, (QStringList{"a@example.org", "b@example.org"}));
    ASSERT_EQ(one->FLAnhaengeBlob.Count(), 1);
    EXPECT_EQ(one->FLAnhaengeBlob[0].FPfad, anhang);
    EXPECT_EQ(one->FLAnhaengeBlob[0].FDateigroesse, 5000);
    EXPECT_TRUE(one->FLAnhaengeBlob[0].FObjekt.isEmpty());
    EXPECT_EQ(dm.LoadEMail(ids[1] + 100), nullptr);

    TQMBDatabaseHandler& h = dm.Handler();
    h.ExecSQL(IsSQLite() ? "CREATE TRIGGER kx_keep BEFORE DELETE ON KVXGesendeteMails BEGIN SELECT RAISE(ABORT, 'gesperrt'); END"
                         : "CREATE TRIGGER kx_keep BEFORE DELETE ON KVXGesendeteMails FOR EACH ROW "
                           "SIGNAL SQLSTATE '45000' SET MESSAGE_TEXT = 'gesperrt'");
    EXPECT_TRUE(ErrorOf([&] { dm.DeleteEMail(ids[0]); }).contains("gesperrt"));
    auto count = [&](const char* table) {
        return h.CalcSQL_Int(-1, QString("select count(*) from %1 where MailID = :id").arg(table), {P("id", ids[0])});
    };
    EXPECT_EQ(count("KVXEmpfaenger"), 2);
    EXPECT_EQ(count("KVXAnhang"), 1);
    h.ExecSQL("DROP TRIGGER kx_keep");
    dm.DeleteEMail(ids[0]);
    EXPECT_EQ(count("KVXEmpfaenger"), 0);
    EXPECT_EQ(count("KVXAnhang"), 0);
    EXPECT_EQ(dm.LoadEMail(ids[0]), nullptr);
    EXPECT_NE(dm.LoadEMail(ids[1]), nullptr);
}

// A file that is not a database is reported and left as it was.
TEST_P(DatenModulTest, BrokenStoreFileIsReportedAndUntouched)
{
    if (!IsSQLite())
        GTEST_SKIP() << "a file store only";
    QFile junk(storeFile());
    junk.open(QIODevice::WriteOnly);
    const QByteArray bytes(8192, 'j');
    junk.write(bytes);
    junk.close();
    const QString msg = ErrorOf([] { TDatenModul dm; });
    EXPECT_TRUE(msg.startsWith("Es ist ein Fehler beim Verbinden zur Datenbank aufgetreten!\r\nDataBaseName: ")) << msg.toStdString();
    QFile again(storeFile());
    again.open(QIODevice::ReadOnly);
    EXPECT_EQ(again.readAll(), bytes);
}

TEST_P(DatenModulTest, OldSQLiteNameIsRewrittenOnce)
{
    if (!IsSQLite())
        GTEST_SKIP() << "a file store only";
    const QString ini = common + "Common04/KVXIni/serverdboptions.ini";
    TQMBDatabaseConfig config;
    config.HostName = common + "Common04";
    config.DatabaseName = "kalvex.db3";
    TQMBDatabaseFactory::SaveDatabaseConfig(ini, "Kalvex", config);
    { TDatenModul dm; }
    TQMBDatabaseConfig back;
    TQMBDatabaseFactory::LoadDatabaseConfig(ini, "Kalvex", back);
    EXPECT_EQ(back.DatabaseName, "kalvex.db");
    EXPECT_TRUE(QFile::exists(storeFile()));
}

// A file of another program under the store's name is refused and kept
// byte for byte.
TEST_P(DatenModulTest, ForeignDatabaseFileIsRefusedAndUntouched)
{
    if (!IsSQLite())
        GTEST_SKIP() << "a file store only";
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "foreign");
        db.setDatabaseName(storeFile());
        ASSERT_TRUE(db.open());
        QSqlQuery q(db);
        ASSERT_TRUE(q.exec("create table Kunden (Nr integer, Name text)"));
        ASSERT_TRUE(q.exec("insert into Kunden values (1, 'Meier')"));
    }
    QSqlDatabase::removeDatabase("foreign");
    QFile file(storeFile());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray before = file.readAll();
    file.close();
    const QString msg = ErrorOf([] { TDatenModul dm; });
    EXPECT_EQ(msg, "Die Datei " + storeFile() + " ist keine Datenbank von Kalvex: sie enthält Tabellen, aber keine des "
                   "Moduls. Sie wird nicht verändert.");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), before);
}

// Opening an up-to-date store and reading its mails only reads: a save that
// another connection holds open makes neither wait.
TEST_P(DatenModulTest, OpeningAndReadingWaitForNoOpenSave)
{
    TDatenModul writer;
    TQMBDatabaseHandler& w = writer.Handler();
    if (!IsSQLite())   // a wait for the open save fails within seconds, not after 50
        w.ExecSQL("SET GLOBAL innodb_lock_wait_timeout = 3");
    TEMail saved;
    saved.FBetreff = "Gespeichert";
    saved.FLEmpfaenger.Add().FAdresse = "a@example.org";
    writer.SaveEMail(saved, TMailStatus::stGesendet);
    w.BeginTrans();
    w.ExecSQL("insert into KVXGesendeteMails (Betreff, Datum) values ('Offen', 2460019.0)");
    w.ExecSQL("update KVXEmpfaenger set Firma = 'x' where MailID = :id", {P("id", saved.FID)});
    QString error = ErrorOf([&] {
        TDatenModul reader;
        reader.LoadEMailListeFromDB();
        ASSERT_EQ(reader.FEMailListe.Count(), 1);
        EXPECT_EQ(reader.FEMailListe[0].FBetreff, "Gespeichert");
        EXPECT_EQ(reader.FEMailListe[0].FAn, QStringList{"a@example.org"});
    });
    w.RollbackTrans();
    if (!IsSQLite())
        w.ExecSQL("SET GLOBAL innodb_lock_wait_timeout = 50");
    EXPECT_TRUE(error.isEmpty()) << error.toStdString();
}

namespace {

// A second process that reads the store in a transaction of its own until
// it is released: SQLite cannot commit a change while it reads.
class TForeignReader {
public:
    explicit TForeignReader(const QString& file)
    {
        FProcess.start("/usr/bin/python3",
                       {"-c", "import sqlite3, sys\n"
                              "c = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
                              "c.execute('BEGIN')\n"
                              "c.execute('SELECT count(*) FROM KVXGesendeteMails').fetchall()\n"
                              "print('reading', flush=True)\n"
                              "sys.stdin.read()\n"
                              "c.execute('COMMIT')\n",
                        file});
        FReading = FProcess.waitForReadyRead(30000) && FProcess.readLine().trimmed() == "reading";
    }
    ~TForeignReader() { Release(); }
    bool Reading() const { return FReading; }
    void Release()
    {
        FProcess.closeWriteChannel();
        FProcess.waitForFinished(30000);
    }

private:
    QProcess FProcess;
    bool FReading = false;
};

}  // namespace

// A save whose commit fails is rolled back and reported; the connection is
// not left inside the transaction, so the next saves work and stay.
TEST_P(DatenModulTest, FailedCommitIsReportedAndLeavesNoOpenTransaction)
{
    if (!IsSQLite())
        GTEST_SKIP() << "a reader blocks commits only in the file store";
    TDatenModul{};   // creates the schema
    TDatenModul::Free();
    TQMBDatabaseConfig config;
    config.HostName = common + "Common04/";
    config.DatabaseName = "kalvex.db";
    const QString ini = common + "Common04/KVXIni/serverdboptions.ini";
    TQMBDatabaseFactory::SaveDatabaseConfig(ini, "Kalvex", config);
    TIniFile(ini).WriteInteger("Kalvex", "BusyTimeout", 100);

    const QUuid kind = QUuid::createUuid(), vorlage = QUuid::createUuid();
    {
        TDatenModul dm;
        dm.FOrvanProgID = 1;
        TEMail lost;
        lost.FBetreff = "Verworfen";
        TForeignReader reader(storeFile());
        ASSERT_TRUE(reader.Reading());
        const QString error = ErrorOf([&] { dm.SaveEMail(lost, TMailStatus::stGesendet); });
        EXPECT_TRUE(error.startsWith("Die Änderungen konnten nicht in der Datenbank gespeichert werden")) << error.toStdString();
        EXPECT_EQ(dm.Handler().GetTransactionNestedCount(), 0u);
        reader.Release();

        TEMail kept;
        kept.FBetreff = "Gespeichert";
        EXPECT_EQ(ErrorOf([&] { dm.SaveEMail(kept, TMailStatus::stGesendet); }), "");
        dm.VorlageAnlegen(kind, vorlage, "Mahnung", "Reminder", "", "", "", false);
    }
    TDatenModul reopened;
    reopened.LoadEMailListeFromDB();
    ASSERT_EQ(reopened.FEMailListe.Count(), 1);
    EXPECT_EQ(reopened.FEMailListe[0].FBetreff, "Gespeichert");
    EXPECT_EQ(reopened.VorlageVorhanden(vorlage), 0);
}

// A log folder that cannot be written does not stop the module: it says
// so once and works on without its log.
TEST_P(DatenModulTest, WorksWithoutItsLogAndSaysSoOnce)
{
    if (!IsSQLite())
        GTEST_SKIP() << "the log does not depend on the store; the message comes once per process";
    QFile blocker(common + "Common04/KVXLog");   // a file where the log folder should be
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    TRecordingMessages messages;
    {
        TDatenModul dm(QString(), nullptr, &messages);
        TEMail mail;
        mail.FBetreff = "Ohne Protokoll";
        dm.SaveEMail(mail, TMailStatus::stGesendet);
    }
    TDatenModul again(QString(), nullptr, &messages);
    again.LoadEMailListeFromDB();
    ASSERT_EQ(again.FEMailListe.Count(), 1);
    const QStringList errors = messages.Texts(TRecordingMessages::Kind::Error);
    ASSERT_EQ(errors.size(), 1);
    EXPECT_TRUE(errors[0].startsWith("Die Protokolldatei " + common + "Common04/KVXLog/logfile_kalvex.txt kann nicht"))
        << errors[0].toStdString();
}

// Temporary files of a server store go to the user's cache folder: its
// host name is no folder, and relative to the working folder they would
// land wherever the host runs.
TEST_P(DatenModulTest, TemporaryFolderIsNeverBelowTheWorkingFolder)
{
    qputenv("XDG_CACHE_HOME", FDir.filePath("cache").toUtf8());
    TDatenModul dm;
    qunsetenv("XDG_CACHE_HOME");
    EXPECT_TRUE(QDir::isAbsolutePath(dm.FDatenPfad)) << dm.FDatenPfad.toStdString();
    EXPECT_TRUE(QDir(dm.FDatenPfad + "KVXTemp").exists()) << dm.FDatenPfad.toStdString();
    if (IsSQLite())
        EXPECT_EQ(dm.FDatenPfad, common + "Common04/");
    else
        EXPECT_EQ(dm.FDatenPfad, FDir.filePath("cache") + "/kalvex/");
}

// Without a common folder in the registry the module keeps its files in
// the user's data folder, and makes nothing below the working folder.
TEST_P(DatenModulTest, UnknownRegistryMakesNothingInTheWorkingFolder)
{
    if (!IsSQLite())
        GTEST_SKIP() << "the folders do not depend on the store";
    TConfig::Free();
    qputenv("KALVEX_REGISTRY", FDir.filePath("nowhere.ini").toUtf8());
    qputenv("XDG_DATA_HOME", FDir.filePath("user").toUtf8());
    QTemporaryDir work;
    const QString before = QDir::currentPath();
    QDir::setCurrent(work.path());
    TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Test")));
    const QString error = ErrorOf([&] {
        TDatenModul dm;
        TEMail mail;
        dm.SaveEMail(mail, TMailStatus::stEntwurf);
    });
    QDir::setCurrent(before);
    qunsetenv("XDG_DATA_HOME");
    EXPECT_EQ(error, "");
    EXPECT_EQ(QDir(work.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    EXPECT_TRUE(QFile::exists(FDir.filePath("user") + "/kalvex/Common/Common04/kalvex.db"));
    EXPECT_TRUE(QFile::exists(FDir.filePath("user") + "/kalvex/Common/Common04/KVXLog/logfile_kalvex.txt"));
}

namespace {

// A sent mail and a draft, each with a body and attachments of their own sizes.
QList<int32_t> saveListedMails(TDatenModul& dm, const QTemporaryDir& dir)
{
    QList<int32_t> ids;
    const QList<QPair<TMailStatus, qsizetype>> kinds = {{TMailStatus::stGesendet, 3000}, {TMailStatus::stEntwurf, 70001}};
    for (const auto& [status, size] : kinds) {
        TEMail mail;
        mail.FBetreff = QString("Betreff %1").arg(size);
        mail.FBodyPlain = QString("Text %1 ").arg(size).repeated(50);
        mail.FBodyRTF = "{\\rtf1 " + mail.FBodyPlain + "}";
        mail.FLEmpfaenger.Add().FAdresse = QString("to%1@example.org").arg(size);
        mail.FAnhaenge << writeFile(dir, QString("a%1.bin").arg(size), pattern(size))
                       << writeFile(dir, QString("b%1.bin").arg(size), pattern(size / 3));
        dm.SaveEMail(mail, status);
        ids << mail.FID;
    }
    return ids;
}

}  // namespace

// A list holds what it shows: subjects, recipients, attachment sizes, but
// no bodies and no attachment contents; the opened mail has them all.
TEST_P(DatenModulTest, ListHoldsRowsAndSizesWithoutBodies)
{
    TDatenModul dm;
    const QList<int32_t> ids = saveListedMails(dm, FDir);
    dm.LoadEMailListeFromDB();
    ASSERT_EQ(dm.FEMailListe.Count(), 2);
    for (const auto& mail : dm.FEMailListe) {
        EXPECT_TRUE(ids.contains(mail->FID));
        const QString size = mail->FBetreff.mid(8);
        EXPECT_EQ(mail->FAn, QStringList{"to" + size + "@example.org"});
        EXPECT_TRUE(mail->FBodyPlain.isEmpty());
        EXPECT_TRUE(mail->FBodyRTF.isEmpty());
        ASSERT_EQ(mail->FLAnhaengeBlob.Count(), 2);
        for (const auto& a : mail->FLAnhaengeBlob) {
            EXPECT_EQ(a->FDateigroesse, QFileInfo(a->FPfad).size()) << a->FPfad.toStdString();
            EXPECT_TRUE(a->FGespeichert);
            EXPECT_TRUE(a->FObjekt.isEmpty());
        }
    }
    dm.LoadDraftTexts();   // the draft list shows the start of a draft's text, of no sent mail
    EXPECT_EQ(dm.FEMailListe.FindByID(ids[0])->FBodyPlain, "");
    EXPECT_EQ(dm.FEMailListe.FindByID(ids[1])->FBodyPlain, QString("Text 70001 ").repeated(50));

    const std::unique_ptr<TEMail> opened = dm.LoadEMail(ids[1], true);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(opened->FBodyRTF, "{\\rtf1 " + QString("Text 70001 ").repeated(50) + "}");
    ASSERT_EQ(opened->FLAnhaengeBlob.Count(), 2);
    for (const auto& a : opened->FLAnhaengeBlob)
        EXPECT_EQ(a->FObjekt, readAll(a->FPfad));
    const TAnhang& listedAttachment = dm.FEMailListe.FindByID(ids[1])->FLAnhaengeBlob[1];
    EXPECT_EQ(dm.AnhangInhalt(listedAttachment.FID), readAll(listedAttachment.FPfad));   // read when opened
    EXPECT_TRUE(dm.AnhangInhalt(listedAttachment.FID + 1000).isEmpty());
    dm.LoadEMailListeFromDB(true);   // the host's stream of the whole log has everything
    EXPECT_EQ(dm.FEMailListe.FindByID(ids[0])->FBodyPlain, QString("Text 3000 ").repeated(50));
    EXPECT_EQ(dm.FEMailListe.FindByID(ids[0])->FLAnhaengeBlob[0].FObjekt, pattern(3000));
}

// A list and a mail shown next to large attachments do not read them: the
// process's peak memory stays far below one attachment.
TEST_P(DatenModulTest, LargeAttachmentsAreNotReadForTheList)
{
    if (!IsSQLite())
        GTEST_SKIP() << "the server measures its own attachments; this is about the file store read in the process";
    constexpr qint64 large = 300 * 1024 * 1024;
    int32_t id = 0;
    {
        TDatenModul dm;
        id = saveListedMails(dm, FDir)[0];
        dm.Handler().ExecSQL(QString("update KVXAnhang set Objekt = zeroblob(%1) where MailID = :id").arg(large),
                             {P("id", id)});
    }
    const qint64 before = PeakMemoryBytes();
    ASSERT_LT(before, large) << "the process used more than one attachment before";
    TDatenModul dm;
    dm.LoadEMailListeFromDB();
    ASSERT_EQ(dm.FEMailListe.Count(), 2);
    const TEMail* listed = dm.FEMailListe.FindByID(id);
    ASSERT_NE(listed, nullptr);
    ASSERT_EQ(listed->FLAnhaengeBlob.Count(), 2);
    EXPECT_TRUE(listed->FLAnhaengeBlob[0].FGespeichert);
    EXPECT_EQ(listed->FLAnhaengeBlob[0].FDateigroesse, 3000);
    const std::unique_ptr<TEMail> shown = dm.LoadEMail(id);
    ASSERT_NE(shown, nullptr);
    EXPECT_TRUE(shown->FLAnhaengeBlob[1].FGespeichert);
    EXPECT_LT(PeakMemoryBytes() - before, large / 4);
}

// A new file store has large pages (an attachment's pages are written once
// instead of spilled, read back and written again); an existing one keeps
// its pages and its mails.
TEST_P(DatenModulTest, NewFileStoresHaveLargePagesOldOnesKeepTheirs)
{
    if (!IsSQLite())
        GTEST_SKIP() << "a file store only";
    {
        TDatenModul dm;
        EXPECT_EQ(dm.Handler().CalcSQL_Int(0, "pragma page_size"), 65536);
    }
    TDatenModul::Free();
    QFile::remove(storeFile());
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "old");
        db.setDatabaseName(storeFile());
        ASSERT_TRUE(db.open());
        QSqlQuery q(db);
        ASSERT_TRUE(q.exec("pragma page_size = 4096"));
        ASSERT_TRUE(q.exec("create table Platzhalter (x integer)"));
        ASSERT_TRUE(q.exec("drop table Platzhalter"));
        db.close();
    }
    QSqlDatabase::removeDatabase("old");
    int32_t id = 0;
    {
        TDatenModul dm;
        EXPECT_EQ(dm.Handler().CalcSQL_Int(0, "pragma page_size"), 4096);
        id = saveListedMails(dm, FDir)[1];
    }
    TDatenModul reopened;
    EXPECT_EQ(reopened.Handler().CalcSQL_Int(0, "pragma page_size"), 4096);
    const std::unique_ptr<TEMail> mail = reopened.LoadEMail(id, true);
    ASSERT_NE(mail, nullptr);
    EXPECT_EQ(mail->FLAnhaengeBlob[0].FObjekt, pattern(70001));
}

INSTANTIATE_TEST_SUITE_P(Stores, DatenModulTest, ::testing::ValuesIn(Backends()), BackendName);

#include "address/uKontakt.h"

TEST_P(DatenModulTest, OwnAddressBookAndGroups)
{
    TDatenModul dm;
    TQMBDatabaseHandler& h = dm.Handler();
    const int32_t kunden = NeueGruppeAnlegen(h, "Kunden");
    const int32_t lieferanten = NeueGruppeAnlegen(h, "Lieferanten");
    TKontakt k;
    k.ID = 0;   // below 1: inserted, not updated
    k.Nachname = "Schäfer";
    k.EMail = "s@example.org";
    k.Save(h, kunden);
    ASSERT_GT(k.ID, 0);
    k.Ort = "Köln";
    k.Save(h, lieferanten);   // moves the contact
    TKontakt other;
    other.EMail = "o@example.org";
    other.Save(h, kunden);
    GruppeUmbenennen(h, kunden, "Stammkunden");

    TGruppenListe groups = LoadGruppenListeFromDB(h);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[kunden]->Gruppenname, "Stammkunden");
    ASSERT_EQ(groups[lieferanten]->Kontakte.size(), 1u);
    EXPECT_EQ(groups[lieferanten]->Kontakte.begin()->second->Ort, "Köln");
    EXPECT_EQ(groups[lieferanten]->Kontakte.begin()->second->Anrede, TAnrede::anKeine);

    // The salutation is stored with the contact and feeds its letter salutation.
    k.Anrede = TAnrede::anFrau;
    k.Titel = "Dr.";
    k.Save(h, lieferanten);
    groups = LoadGruppenListeFromDB(h);
    const TKontakt& stored = *groups[lieferanten]->Kontakte.begin()->second;
    EXPECT_EQ(stored.Anrede, TAnrede::anFrau);
    EXPECT_EQ(Briefanrede(PersonOf(stored)), "Sehr geehrte Frau Dr. Schäfer,");
    TKontakt divers;
    divers.Anrede = TAnrede::anDivers;
    divers.Vorname = "Kim";
    divers.Nachname = "Wolf";
    divers.Save(h, lieferanten);
    EXPECT_EQ(h.CalcSQL_Int(-1, "select Anrede from KVXAdresse where ID = :i", {P("i", divers.ID)}), 3);
    groups = LoadGruppenListeFromDB(h);

    // Deleting a group removes its addresses without asking any contact.
    EXPECT_TRUE(GruppeLoeschen(h, kunden));
    EXPECT_EQ(h.CalcSQL_Int(-1, "select count(*) from KVXAdresse where GruppenID = :g", {P("g", kunden)}), 0);
    EXPECT_EQ(h.CalcSQL_Int(-1, "select count(*) from KVXAdresse"), 2);

    // A failing save is logged, not raised, and the new contact keeps its ID.
    h.ExecSQL("ALTER TABLE KVXAdresse RENAME TO KVXAdresseWeg");
    TKontakt lost;
    lost.Save(h, lieferanten);
    EXPECT_LT(lost.ID, 1);
    QFile log(TLogFile::DefaultFileName(common));
    log.open(QIODevice::ReadOnly);
    EXPECT_TRUE(log.readAll().contains("TAdresse.Save: "));
}

#include "compose/uEMailVorlage.h"

TEST_P(DatenModulTest, UserTemplatesAndCategories)
{
    TDatenModul dm;
    TQMBDatabaseHandler& h = dm.Handler();
    TKategorie empty;
    empty.Kategorie = "Leer";
    SaveKategorieToDB(h, empty);
    ASSERT_GT(empty.ID, 2);   // after the two seeded categories
    TEMailVorlage v(-1, true, "{\\rtf1 x}", "x", "Betreff <Name>", 3, TEMailVorlageArt::vaVorlage, 1, "Meine Vorlage");
    v.IsStandard = true;
    SaveEMailVorlageToDB(h, v);
    const int32_t id = v.ID;
    ASSERT_GT(id, 0);
    EXPECT_FALSE(v.Modified);
    v.Name = "Umbenannt";
    SaveEMailVorlageToDB(h, v);   // the second save updates the same row
    EXPECT_EQ(v.ID, id);
    TEMailVorlage orphan(-1, false, "", "", "", 0, TEMailVorlageArt::vaTextbaustein, 999, "Waise");
    SaveEMailVorlageToDB(h, orphan);

    TKategorieListe list = LoadVorlagenFromDB(h);
    ASSERT_NE(list.FindByID(empty.ID), nullptr);
    EXPECT_EQ(list.FindByID(empty.ID)->Vorlagen.Count(), 0);
    const TKategorie* anrede = list.FindByID(1);
    ASSERT_NE(anrede, nullptr);
    const TEMailVorlage* mine = nullptr;
    int all = 0;
    for (const auto& k : list)
        for (const auto& t : k->Vorlagen) {
            ++all;
            if (t->ID == id)
                mine = t.get();
        }
    ASSERT_NE(mine, nullptr);
    EXPECT_EQ(mine->Name, "Umbenannt");
    EXPECT_EQ(mine->Art, TEMailVorlageArt::vaVorlage);
    EXPECT_FALSE(mine->IsStandard);   // not read by the join
    EXPECT_EQ(all, 8);                // seven seeded text blocks and ours; the orphan is not loaded
}

namespace {

TFieldInfoV2 column(const char* name, TFieldType type, int length = 0)
{
    return TFieldInfoV2{name, type, length, {}, false};
}

const QUuid kOldKind("{0A0A0A0A-1111-2222-3333-444444444444}");
const QUuid kOldTemplate("{0B0B0B0B-1111-2222-3333-444444444444}");

// The tables an older version left, with rows: every table that the schema
// check upgrades, in its older layout.
void writeOlderStore(TQMBDatabaseHandler& h, const QVariant& oldDate)
{
    using T = TFieldType;
    h.createTable("KVXGesendeteMails", {column("ID", T::ftAutoInc), column("Betreff", T::ftMemo),
                                        column("Datum", T::ftDateTime), column("Status", T::ftWideString, 255),
                                        column("InhaltRTF", T::ftMemo), column("Inhalt", T::ftMemo),
                                        column("GesendetDurch", T::ftWideString, 255)});
    h.ExecSQL("insert into KVXGesendeteMails (Betreff, Datum, Status, Inhalt, GesendetDurch) values ('Alt gesendet', :d, 'gesendet', 'a', 'Kalvex')",
              {P("d", oldDate)});
    h.ExecSQL("insert into KVXGesendeteMails (Betreff, Datum, Status, Inhalt) values ('Alter Entwurf', :d, 'bearbeiten', 'b')",
              {P("d", oldDate)});
    h.createTable("KVXEmpfaenger", {column("ID", T::ftAutoInc), column("MailID", T::ftInteger),
                                    column("Adresse", T::ftWideString, 255), column("GanzerName", T::ftWideString, 255),
                                    column("Firma", T::ftWideString, 255), column("AdressDB_ID", T::ftInteger)});
    h.ExecSQL("insert into KVXEmpfaenger (MailID, Adresse) values (1, 'alt@example.org')");
    h.ExecSQL("insert into KVXEmpfaenger (MailID, Adresse) values (2, 'entwurf@example.org')");
    h.createTable("KVXRubrik", {column("ID", T::ftAutoInc), column("Rubrik", T::ftWideString, 255),
                                column("KategorieID", T::ftInteger), column("Inhalt", T::ftMemo)});
    h.ExecSQL("insert into KVXRubrik (Rubrik, KategorieID, Inhalt) values ('Eigener Baustein', 1, 'Hallo')");
    h.createTable("KVXVorlage", {column("ID", T::ftAutoInc), column("Name", T::ftWideString, 255),
                                 column("KategorieID", T::ftInteger), column("Typ", T::ftInteger),
                                 column("IsStandard", T::ftBoolean), column("Betreff", T::ftWideString, 255),
                                 column("BodyPlain", T::ftMemo), column("BodyRTF", T::ftMemo)});
    h.createTable("ProgrammVorlageArt", {column("GUID", T::ftWideString, 50), column("Name1031", T::ftWideString, 255),
                                         column("Beschreibung1031", T::ftMemo)});
    h.ExecSQL("insert into ProgrammVorlageArt (GUID, Name1031, Beschreibung1031) values (:g, 'Altes Formular', 'von früher')",
              {P("g", GuidToString(kOldKind))});
    h.createTable("ProgrammVorlage", {column("GUID", T::ftWideString, 50), column("Art", T::ftWideString, 50),
                                      column("Betreff", T::ftWideString, 255), column("Body", T::ftMemo),
                                      column("IsStandard", T::ftBoolean), column("IsDefault", T::ftBoolean),
                                      column("OrvanProgVersion", T::ftInteger)});
    h.ExecSQL("insert into ProgrammVorlage (GUID, Art, Betreff, Body, IsStandard, IsDefault, OrvanProgVersion) values (:g, :a, 'Alt <Projekt>', 'Text', 1, 0, 2019)",
              {P("g", GuidToString(kOldTemplate)), P("a", GuidToString(kOldKind))});
    h.createTable("ProgrammVorlageArt_Programm", {column("ProgrammVorlageArt_GUID", T::ftGuid), column("Programm_ID", T::ftInteger)});
    h.ExecSQL("insert into ProgrammVorlageArt_Programm (ProgrammVorlageArt_GUID, Programm_ID) values (:g, 3)",
              {P("g", GuidToString(kOldKind))});
}

}  // namespace

// A store of an older version opens, keeps its rows and works like a new one
// afterwards: list, show, new kinds and templates, drafts.
TEST_P(DatenModulTest, AnOlderStoreIsUpgradedAndUsable)
{
    {
        TQMBDatabaseConfig config = Config();
        if (IsSQLite())
            config = config.Clone(common + "Common04", "kalvex.db");
        auto h = TQMBDatabaseFactory::CreateDbHandler(config, QString(), -1);
        h->SetConnected(true);
        // Older SQLite versions kept day counts; a server keeps its own date type.
        writeOlderStore(*h, IsSQLite() ? QVariant(45000.5) : h->DateTimeValue(45000.5));
    }
    const QUuid newKind = QUuid::createUuid();
    const QUuid newTemplate = QUuid::createUuid();
    {
        TDatenModul dm;
        const TProgrammVorlageArt* old = dm.FProgrammVorlageArtListe.GetProgrammVorlageArt(kOldKind);
        ASSERT_NE(old, nullptr);
        EXPECT_EQ(old->GetName(1031), "Altes Formular");
        EXPECT_EQ(old->FFelder.FEinfachListe.Count(), 0);
        EXPECT_EQ(old->FFelderVersion, 0);
        EXPECT_EQ(old->FOrvanProgIDs, 1u << 3);
        EXPECT_EQ(dm.VorlageVorhanden(kOldTemplate), 0);

        dm.LoadEMailListeFromDB();
        ASSERT_EQ(dm.FEMailListe.Count(), 2);
        const TEMail* sent = dm.FEMailListe.FindByID(1);
        ASSERT_NE(sent, nullptr);
        EXPECT_EQ(sent->FStatus, TMailStatus::stGesendet);
        EXPECT_DOUBLE_EQ(sent->FDatum, 45000.5);
        const std::unique_ptr<TEMail> draft = dm.LoadEMail(2);
        ASSERT_NE(draft, nullptr);
        EXPECT_EQ(draft->FStatus, TMailStatus::stEntwurf);
        EXPECT_EQ(draft->FAn, QStringList{"entwurf@example.org"});

        dm.FOrvanProgID = 3;
        dm.EnsureGeneralKind();
        dm.VorlageArtAnlegen(newKind, "Neu", "New", "", "", oneField("Betrag"), 2);
        dm.VorlageArtFelderAktualisieren(kOldKind, oneField("Projekt"), 1);
        dm.VorlageAnlegen(kOldKind, newTemplate, "Neue Vorlage", "New template", "<Projekt>", "Body", "", false);
        TEMail mail;
        mail.FBetreff = "Neuer Entwurf";
        mail.FLEmpfaenger.Add().FAdresse = "neu@example.org";
        dm.SaveEMail(mail, TMailStatus::stEntwurf);
        // Kinds written without a catalogue by other versions.
        dm.Handler().ExecSQL("insert into ProgrammVorlageArt (GUID, Name1031) values (:g, 'Ohne')",
                             {P("g", GuidToString(QUuid::createUuid()))});
        dm.Handler().ExecSQL("insert into ProgrammVorlageArt (GUID, Name1031, Felder) values (:g, 'Leer', :f)",
                             {P("g", GuidToString(QUuid::createUuid())), P("f", QByteArray(""))});
    }
    TDatenModul reopened;
    EXPECT_EQ(reopened.FProgrammVorlageArtListe.Count(), 5);
    const TProgrammVorlageArt* old = reopened.FProgrammVorlageArtListe.GetProgrammVorlageArt(kOldKind);
    ASSERT_NE(old, nullptr);
    ASSERT_EQ(old->FFelder.FEinfachListe.Count(), 1);
    EXPECT_EQ(old->FFelder.FEinfachListe[0].GetFeldname(1031), "Projekt");
    EXPECT_EQ(old->FFelderVersion, 1);
    ASSERT_NE(reopened.FProgrammVorlageArtListe.GetProgrammVorlageArt(newKind), nullptr);
    EXPECT_EQ(reopened.FProgrammVorlageArtListe.GetProgrammVorlageArt(newKind)->FFelderVersion, 2);
    EXPECT_EQ(reopened.FProgrammVorlageListe.Count(), 2);
    EXPECT_EQ(reopened.VorlageVorhanden(newTemplate), 0);
    reopened.LoadEMailListeFromDB();
    EXPECT_EQ(reopened.FEMailListe.Count(), 3);
    EXPECT_EQ(reopened.Handler().CalcSQL_String("", "select BodyRTF from KVXVorlage where Name = 'Eigener Baustein'"), "Hallo");
}

// A server store needs its server and its database: a setting without them
// is refused by the key's name and nothing is created anywhere. A SQLite
// setting without them is the module's own store.
TEST_P(DatenModulTest, PartialStoreSettingsNameTheMissingKey)
{
    const QString ini = common + "Common04/KVXIni/serverdboptions.ini";
    QFile::remove(ini);
    TIniFile settings(ini);
    settings.WriteInteger("Kalvex", "DatabaseType", static_cast<int>(GetParam().type));
    if (IsSQLite()) {
        {
            TDatenModul dm;
            EXPECT_EQ(dm.Config().FilePath(), storeFile());
            TEMail draft;
            draft.FBetreff = "Entwurf";
            dm.SaveEMail(draft, TMailStatus::stEntwurf);
        }
        TDatenModul reopened;
        reopened.LoadEMailListeFromDB();
        EXPECT_EQ(reopened.FEMailListe.Count(), 1);
        return;
    }
    const QString incomplete = "Die Datenbankeinstellungen in " + ini + ", Abschnitt [Kalvex], sind unvollständig: \"%1\" "
                               "fehlt oder ist leer. Ohne diesen Wert kann die Datenbank nicht geöffnet werden.";
    EXPECT_EQ(ErrorOf([] { TDatenModul dm; }), incomplete.arg("Hostname"));
    settings.WriteString("Kalvex", "Hostname", Config().HostName);
    EXPECT_EQ(ErrorOf([] { TDatenModul dm; }), incomplete.arg("DatabaseName"));
    EXPECT_FALSE(QFile::exists(storeFile()));
    settings.WriteString("Kalvex", "NoCode", "1");
    settings.WriteString("Kalvex", "DatabaseName", Config().DatabaseName);
    settings.WriteString("Kalvex", "Username", Config().Username);
    settings.WriteString("Kalvex", "CreateDatabase", "1");   // this test's database is new
    TDatenModul dm;
    EXPECT_EQ(dm.Config().DatabaseName, Config().DatabaseName);
}

// The host's folder and section come first, then the installation's data
// folder, then the module's own settings folder, then kalvex.db.
TEST_P(DatenModulTest, StoreSettingsComeFromTheHostThenTheInstallationThenTheCommonFolder)
{
    auto sqliteStore = [&](const char* name) {
        TQMBDatabaseConfig c;
        c.HostName = FDir.filePath("stores");
        c.DatabaseName = name;
        return c;
    };
    TConfig& config = TConfig::Ensure();
    config.FServerDBIniDir = FDir.filePath("host");
    config.FSektionsName = "Haupt";
    TQMBDatabaseFactory::SaveDatabaseConfig(FDir.filePath("host/serverdboptions.ini"), "Haupt", Config());
    TQMBDatabaseFactory::SaveDatabaseConfig(FDir.filePath("host/serverdboptions.ini"), "Kalvex", sqliteStore("nicht.db"));
    TQMBDatabaseFactory::SaveDatabaseConfig(FDir.filePath("data/serverdboptions.ini"), "Haupt", sqliteStore("install.db"));
    TQMBDatabaseFactory::SaveDatabaseConfig(common + "Common04/KVXIni/serverdboptions.ini", "Kalvex", sqliteStore("common.db"));
    EXPECT_EQ(TDatenModul::GetServerDBIniPfadFromRegistry(), FDir.filePath("data") + "/");
    auto opened = [] {
        TDatenModul dm;
        return dm.Config().FilePath();
    };
    EXPECT_EQ(opened(), Config().FilePath());
    config.FServerDBIniDir.clear();
    EXPECT_EQ(opened(), FDir.filePath("stores/install.db"));
    config.FSektionsName.clear();   // the installation's file has no section "Kalvex"
    EXPECT_EQ(opened(), FDir.filePath("stores/common.db"));
    QFile::remove(common + "Common04/KVXIni/serverdboptions.ini");
    EXPECT_EQ(opened(), storeFile());
}

// Every session's start entry is closed by its end entry when its data
// module is freed; a module that replaces another keeps the log going.
TEST_P(DatenModulTest, EachSessionEndsItsLogWhenItsModuleIsFreed)
{
    const QString logName = TLogFile::DefaultFileName(common);
    auto log = [&] {
        QFile f(logName);
        f.open(QIODevice::ReadOnly);
        return QString::fromUtf8(f.readAll());
    };
    for (int session = 1; session <= 2; ++session) {
        TDatenModul::Install(std::make_unique<TDatenModul>());
        EXPECT_EQ(log().count("Programmstart: "), session);
        EXPECT_EQ(log().count("Programmende: "), session - 1);
        TDatenModul::Free();
        EXPECT_EQ(log().count("Programmende: "), session);
    }
    const QRegularExpression end("\nProgrammende: .+ \\d\\d:\\d\\d:\\d\\d\n-{59}\n$");
    EXPECT_TRUE(end.match(log()).hasMatch()) << log().right(120).toStdString();

    TDatenModul::Install(std::make_unique<TDatenModul>());
    TDatenModul::Install(std::make_unique<TDatenModul>());   // the successor keeps the log
    TLogFile::LogGlobal(true, "noch da");
    EXPECT_TRUE(log().contains(" - noch da\n"));
    EXPECT_EQ(log().count("Programmende: "), 2);
    TDatenModul::Free();
    EXPECT_EQ(log().count("Programmende: "), 3);
}
