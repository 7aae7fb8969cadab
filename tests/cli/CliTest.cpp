#include "CliFixture.h"
#include "smtp/SmtpServer.h"
#include "oauth/OAuthServer.h"
#include "db/MariaDBServer.h"

#include "config/IniPlus.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTcpServer>
#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

using Result = CliResult;

QByteArray readBytes(const QString& path)
{
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    return f.readAll();
}

void writeBytes(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(bytes);
}

QFileDevice::Permissions modeOf(const QString& path)
{
    return QFile::permissions(path) & ~QFileDevice::Permissions(0x0700);   // without the "current user" bits
}

const QFileDevice::Permissions kOwnerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

// The command line on a fresh installation in a temporary folder.
class CliTest : public CliFixture {
protected:
    QString mailServerIni() const { return dir.filePath("common/Common04/KVXIni/mailserver.ini"); }
    // Mails in the store; 0 when there is no store yet.
    int storedMails() const
    {
        int count = 0;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "count");
            db.setDatabaseName(dir.filePath("common/Common04/kalvex.db"));
            QSqlQuery q(db);
            if (db.open() && q.exec("select count(*) from KVXGesendeteMails") && q.next())
                count = q.value(0).toInt();
        }
        QSqlDatabase::removeDatabase("count");
        return count;
    }
    Result run(const QStringList& args, const QByteArray& input = {})
    {
        std::unique_ptr<QProcess> p = start(args);
        p->write(input);
        p->closeWriteChannel();
        p->waitForFinished(60000);
        return resultOf(*p);
    }
    // Runs `workers` commands at a time, `each` per worker: a worker starts
    // its next command when its last one ended. Returns what the failed
    // commands said.
    QStringList runInParallel(int workers, int each, const std::function<QStringList(int worker, int n)>& argsOf)
    {
        std::vector<std::unique_ptr<QProcess>> running(workers);
        std::vector<int> started(workers, 0);
        QStringList failures;
        QElapsedTimer timer;
        timer.start();
        for (int w = 0; w < workers; ++w)
            running[w] = start(argsOf(w, started[w]++));
        for (int left = workers * each; left > 0 && timer.elapsed() < 600000;) {
            for (int w = 0; w < workers; ++w) {
                QProcess* p = running[w].get();
                if (!p || (p->state() != QProcess::NotRunning && !p->waitForFinished(10)))
                    continue;
                --left;
                const Result r = resultOf(*p);
                if (r.code != 0)
                    failures << QString("worker %1: exit %2: %3").arg(w).arg(r.code).arg(r.err);
                running[w] = started[w] < each ? start(argsOf(w, started[w]++)) : nullptr;
            }
        }
        return failures;
    }
    QString storeFile() const { return dir.filePath("common/Common04/kalvex.db"); }
};

}  // namespace

TEST_F(CliTest, SendFromAFreshInstallationWithStartTlsAndAuth)
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 587))
        GTEST_SKIP() << "port 587 cannot be bound here";
    probe.close();
    SmtpServer server({"--port", "587", "--tls", "starttls", "--auth", "PLAIN,LOGIN", "--user", "cli@example.org",
                       "--password", "Geheim 1"});
    ASSERT_TRUE(server.Running());
    Result r = run({"config", "--direct", "--host", "127.0.0.1", "--port", "587", "--encrypted", "1", "--sender",
                    "cli@example.org", "--password-stdin"}, "Geheim 1\n");
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    const TIniFile ini(dir.filePath("common/Common04/KVXIni/mailserver.ini"));
    EXPECT_NE(ini.ReadString("SMTP", "Passwort", ""), "Geheim 1");   // stored encoded

    QFile attachment(dir.filePath("liste.csv"));
    attachment.open(QIODevice::WriteOnly);
    attachment.write("a;b\n1;2\n");
    attachment.close();
    r = run({"send", "--subject", "Mängelliste", "--body", "Anbei die Liste.", "--to", "bau@example.org", "--cc",
             "chef@example.org", "--attach", attachment.fileName()});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("EMail(s) wurden gesendet."));
    ASSERT_EQ(server.MailCount(), 1);
    const QJsonObject m = server.Parsed(1);
    EXPECT_EQ(m["subject"].toString(), "Mängelliste");
    EXPECT_EQ(m["cc"].toString(), "chef@example.org");
    EXPECT_EQ(m["parts"].toArray().last().toObject()["filename"].toString(), "liste.csv");

    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "check");
        db.setDatabaseName(dir.filePath("common/Common04/kalvex.db"));
        ASSERT_TRUE(db.open());
        QSqlQuery q(db);
        ASSERT_TRUE(q.exec("select Betreff, MailStatus, GesendetDurch from KVXGesendeteMails"));
        ASSERT_TRUE(q.next());
        EXPECT_EQ(q.value(0).toString(), "Mängelliste");
        EXPECT_EQ(q.value(1).toInt(), 2);
        EXPECT_EQ(q.value(2).toString(), "Kalvex");
        ASSERT_TRUE(q.exec("select count(*) from KVXEmpfaenger"));
        q.next();
        EXPECT_EQ(q.value(0).toInt(), 2);
        ASSERT_TRUE(q.exec("select length(Objekt) from KVXAnhang"));
        q.next();
        EXPECT_EQ(q.value(0).toInt(), 8);
    }
    QSqlDatabase::removeDatabase("check");

    r = run({"list"});
    EXPECT_TRUE(r.out.contains("\tgesendet\t")) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains("bau@example.org, chef@example.org"));
}

// --version, --help, list and show work before any GUI object exists: a
// platform that cannot be loaded does not stop them, and stops a send.
TEST_F(CliTest, VersionHelpAndStoreReadingNeedNoGuiLayer)
{
    auto runWithoutPlatform = [&](const QStringList& args) {
        QProcess p;
        QProcessEnvironment noPlatform = env;
        noPlatform.insert("QT_QPA_PLATFORM", "keine-plattform");
        p.setProcessEnvironment(noPlatform);
        p.start(KALVEX_CLI, args);
        p.waitForFinished(60000);
        return resultOf(p);
    };
    const Result version = runWithoutPlatform({"--version"});
    EXPECT_EQ(version.code, 0) << version.err.toStdString();
    EXPECT_TRUE(version.out.startsWith("kalvex ")) << version.out.toStdString();
    const Result help = runWithoutPlatform({"--lang", "1033", "--install-key", "Cli", "--help"});
    EXPECT_EQ(help.code, 0) << help.err.toStdString();
    EXPECT_TRUE(help.out.contains("--version"));
    // Reading the store needs no GUI layer either; sending rich text does.
    const Result list = runWithoutPlatform({"--install-key", "Cli", "list"});
    EXPECT_EQ(list.code, 0) << list.err.toStdString();
    EXPECT_EQ(runWithoutPlatform({"--install-key", "Cli", "show", "4711"}).code, 2);   // no such mail, said without a GUI
    EXPECT_NE(runWithoutPlatform({"--install-key", "Cli", "send", "--subject", "x", "--body", "y", "--to", "a@example.org"}).code,
              0);
}

TEST_F(CliTest, UsageErrorsAndFailuresHaveTheirExitCodes)
{
    EXPECT_EQ(run({"unbekannt"}).code, 2);
    EXPECT_EQ(run({"send", "--gibtsnicht"}).code, 2);
    EXPECT_EQ(run({"show", "77"}).code, 2);
    Result help = run({"send", "--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_TRUE(help.out.contains("--attach"));
    SmtpServer refusing({"--fail-at", "RCPT"});
    ASSERT_TRUE(refusing.Running());
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(refusing.Port()), "--encrypted",
                   "0", "--sender", "cli@example.org"}).code, 0);
    const Result failed = run({"send", "--subject", "x", "--to", "a@example.org"});
    EXPECT_EQ(failed.code, 1);
    EXPECT_TRUE(failed.err.contains("Die Adresse a@example.org scheint fehlerhaft zu sein."));
    // English from the installation's translation file; German without one.
    EXPECT_TRUE(run({"--lang", "1033", "show", "77"}).err.contains("Es gibt keine E-Mail mit der ID 77."));
    ASSERT_TRUE(QFile::copy(KALVEX_TRANSLATIONS_DB, dir.filePath("common/Common04/DllsLang.db3")));
    EXPECT_TRUE(run({"--lang", "1033", "show", "77"}).err.contains("There is no e-mail with the ID 77."));
    const Result english = run({"--lang", "1033", "config", "--encrypted", "jein"});
    EXPECT_EQ(english.code, 2);
    EXPECT_TRUE(english.err.contains("Invalid value for --encrypted: \"jein\"")) << english.err.toStdString();
}

// One row per bad input: each ends with its exit code and a message that
// names what was wrong, and nothing is written, stored or sent.
TEST_F(CliTest, BadInputsExitWithTheirCodesAndChangeNothing)
{
    SmtpServer server({});   // receives whatever should not have left
    ASSERT_TRUE(server.Running());
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()), "--encrypted",
                   "1", "--sender", "cli@example.org"}).code, 0);
    ASSERT_EQ(run({"draft", "--subject", "Bleibt", "--to", "a@example.org"}).code, 0);   // mail 1
    const QString body = dir.filePath("brief.txt"), missing = dir.filePath("fehlt.rtf");
    writeBytes(body, "Text");
    const QString guid = "{0F637C8A-F91A-4C32-822D-B6D1697C9146}", to = "a@example.org";
    const QByteArray settings = readBytes(mailServerIni());
    ASSERT_FALSE(settings.isEmpty());
    const struct {
        QStringList args;
        int code;
        QString message;
        QByteArray input = {};
    } rows[] = {
        // truth values
        {{"config", "--encrypted", "jein"}, 2, "--encrypted: „jein“"},
        {{"config", "--encrypted", "01"}, 2, "--encrypted: „01“"},
        {{"config", "--encrypted", " ja"}, 2, "--encrypted: „ ja“"},
        {{"config", "--verify-certificate", "2"}, 2, "--verify-certificate: „2“"},
        {{"config", "--verify-certificate", ""}, 2, "--verify-certificate: „“"},
        {{"config", "--host", "neu.example.org", "--encrypted", "an"}, 2, "--encrypted: „an“"},
        // line breaks and control characters in settings
        {{"config", "--sender", "me@x\nHost=evil\n[Other]"}, 2, "--sender"},
        {{"config", "--host", "neu.example.org", "--sender", "me@x\rHost=evil", "--password-stdin"}, 2, "--sender", "neu\n"},
        {{"config", "--host", "smtp\x1b[31m.example.org"}, 2, "smtp^[[31m.example.org"},
        {{"config", "--sender-name", QString("Max") + QChar(0x85)}, 2, "--sender-name"},
        {{"config", "--login", "a\tb\x7f"}, 2, "--login"},
        // other settings
        {{"config", "--port", "70000"}, 2, "Port"},
        {{"config", "--direct", "--mail-client"}, 2, "schließen einander aus"},
        // stray positional arguments
        {{"send", "--subject", "x", "--to", to, "b@example.org"}, 2, "„b@example.org“"},
        {{"draft", "--subject", "x", "Rest"}, 2, "„Rest“"},
        {{"list", "alles"}, 2, "„alles“"},
        {{"config", "--host", "neu.example.org", "extra"}, 2, "„extra“"},
        {{"test-connection", "jetzt"}, 2, "„jetzt“"},
        {{"show", "1", "2"}, 2, "„2“"},
        {{"delete", "1", "2"}, 2, "„2“"},
        // missing values, unknown names
        {{"--install-key"}, 2, "Der Option --install-key fehlt ihr Wert."},
        {{"--install-key", "--yes", "list"}, 2, "Der Option --install-key fehlt ihr Wert."},
        {{"--lang"}, 2, "Der Option --lang fehlt ihr Wert."},
        {{"--lang", "1034", "list"}, 2, "--lang erwartet 1031 oder 1033."},
        {{"--laut", "list"}, 2, "Unbekannte Option: --laut"},
        {{"senden"}, 2, "Unbekannter Befehl: senden"},
        {{"send", "--to", to, "--subject"}, 2, "subject"},
        // mail IDs
        {{"show"}, 2, "Geben Sie die ID der E-Mail an"},
        {{"show", "-1"}, 2, "positive ganze Zahl sein (siehe 'kalvex list'): -1"},
        {{"show", "abc"}, 2, "positive ganze Zahl sein (siehe 'kalvex list'): abc"},
        {{"show", "0"}, 2, "positive ganze Zahl"},
        {{"show", "99999999999"}, 2, "positive ganze Zahl"},
        {{"delete"}, 2, "Geben Sie die ID der E-Mail an"},
        {{"delete", "-1"}, 2, "positive ganze Zahl"},
        {{"delete", "1x"}, 2, "positive ganze Zahl"},
        {{"delete", "77"}, 2, "Es gibt keine E-Mail mit der ID 77."},
        // files and templates
        {{"send", "--to", to, "--body-file", missing}, 2, "Die Datei " + missing + " konnte nicht gelesen werden."},
        {{"draft", "--to", to, "--body-file", dir.path()}, 2, "konnte nicht gelesen werden"},
        {{"send", "--to", to, "--body", "x", "--attach", body, "--attach", missing}, 2, missing},
        {{"send", "--to", to, "--template", guid, "--fields", missing}, 2, missing},
        {{"send", "--to", to, "--fields", body}, 2, "--fields gilt nur zusammen mit --template."},
        {{"send", "--to", to, "--template", guid}, 2, "Die Vorlage " + guid + " gibt es nicht."},
        {{"draft", "--to", to, "--template", "kaputt"}, 2, "\"kaputt\" ist keine gültige GUID."},
        {{"send", "--to", to, "--body", "x", "--body-file", body}, 2, "--body und --body-file schließen einander aus."},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.args.join(' ').toStdString());
        const Result r = run(row.args, row.input);
        EXPECT_EQ(r.code, row.code) << r.err.toStdString();
        EXPECT_TRUE(r.err.contains(row.message)) << r.err.toStdString();
        EXPECT_EQ(readBytes(mailServerIni()), settings);
        EXPECT_EQ(storedMails(), 1);
    }
    EXPECT_EQ(server.MailCount(), 0);
}

// Every spelling of a truth value in any case; the rows alternate so that a
// value left over from the row before cannot pass.
TEST_F(CliTest, TruthValuesInEverySpelling)
{
    const std::pair<QString, bool> rows[] = {{"1", true},   {"0", false},     {"ja", true},  {"Nein", false},
                                             {"YES", true}, {"no", false},    {"True", true}, {"FALSE", false},
                                             {"JA", true},  {"nEiN", false}};
    for (const auto& [text, value] : rows) {
        SCOPED_TRACE(text.toStdString());
        const Result r = run({"config", "--encrypted", text, "--verify-certificate", text});
        ASSERT_EQ(r.code, 0) << r.err.toStdString();
        const TIniFile ini(mailServerIni());
        EXPECT_EQ(ini.ReadString("SMTP", "EncodedConnect", "-"), value ? "1" : "0");
        EXPECT_EQ(ini.ReadString("SMTP", "VerifyCertificate", "-"), value ? "1" : "0");
        EXPECT_TRUE(r.out.contains(QString("Verschlüsselt:     ") + (value ? "Ja" : "Nein"))) << r.out.toStdString();
    }
}

// Subjects and addresses come from anywhere (hosts, drafts): list and show
// print their terminal controls visibly instead of sending them to the terminal.
TEST_F(CliTest, StoredControlCharactersAreShownNotObeyed)
{
    const QString subject = QString("Mängel\x1b]0;Titel\x07\x1b[2J") + QChar(0x9b) + "31m";
    EXPECT_EQ(run({"draft", "--subject", "x", "--to", "bau\x1b[31m@example.org"}).code, 2);   // no such address
    ASSERT_EQ(run({"draft", "--subject", subject, "--to", "bau@example.org", "--body", "Zeile 1\nZeile 2\x1b[0m"}).code, 0);
    const Result list = run({"list"});
    ASSERT_EQ(list.code, 0);
    const Result show = run({"show", "1"});
    ASSERT_EQ(show.code, 0) << show.err.toStdString();
    for (const Result& r : {list, show}) {
        for (const char16_t c : {u'\x1b', u'\x07', u'\x9b', u'\r'})
            EXPECT_FALSE(r.out.contains(QChar(c))) << int(c) << r.out.toStdString();
        EXPECT_TRUE(r.out.contains(QString("Mängel^[]0;Titel^G^[[2J") + QChar(0xFFFD) + "31m")) << r.out.toStdString();
    }
    EXPECT_EQ(list.out.count('\n'), 1);   // one line per mail, whatever the subject holds
    EXPECT_TRUE(show.out.contains("Zeile 1\nZeile 2^[[0m")) << show.out.toStdString();
}

// The files that hold an encoded password are the owner's alone, also when
// an older file had a wider mode.
TEST_F(CliTest, PasswordFilesAreWrittenOwnerOnly)
{
    writeBytes(mailServerIni(), "[SMTP]\nHost=alt.example.org\n");
    const QString options = dir.filePath("common/Common04/KVXIni/serverdboptions.ini");
    writeBytes(options, "[Kalvex]\nNoCode=1\nDatabaseType=3\nHostname=" + dir.filePath("common/Common04/").toUtf8()
                            + "\nDatabaseName=kalvex.db3\nPassword=geheim\n");
    const auto wide = kOwnerOnly | QFileDevice::ReadGroup | QFileDevice::ReadOther;
    for (const QString& f : {mailServerIni(), options})
        ASSERT_TRUE(QFile::setPermissions(f, wide));

    ASSERT_EQ(run({"config", "--host", "neu.example.org"}).code, 0);
    EXPECT_EQ(modeOf(mailServerIni()), kOwnerOnly);
    EXPECT_EQ(TIniFile(mailServerIni()).ReadString("SMTP", "Host", ""), "neu.example.org");
    // The store settings are rewritten when the old SQLite name is found.
    ASSERT_EQ(run({"list"}).code, 0);
    EXPECT_EQ(TIniFile(options).ReadString("Kalvex", "DatabaseName", ""), "kalvex.db");
    EXPECT_EQ(modeOf(options), kOwnerOnly);
}

// A password over a plain connection: config, send and test-connection say
// so once per run (also for several mails), sending leaves it in the log;
// with encryption or without a password nothing is said.
TEST_F(CliTest, APasswordOverAPlainConnectionIsWarnedAboutOnce)
{
    SmtpServer server({"--auth", "PLAIN", "--user", "cli@example.org", "--password", "Geheim 1"});
    ASSERT_TRUE(server.Running());
    const auto warnings = [](const Result& r) { return r.err.count("Passwort wird unverschlüsselt übertragen"); };
    Result r = run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()), "--encrypted",
                    "nein", "--sender", "cli@example.org", "--password-stdin"}, "Geheim 1\n");
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(warnings(r), 1) << r.err.toStdString();

    r = run({"send", "--separate", "--to", "a@example.org", "--to", "b@example.org", "--subject", "x", "--body", "y"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(warnings(r), 1) << r.err.toStdString();
    EXPECT_EQ(server.MailCount(), 2);
    const QString log = QString::fromUtf8(readBytes(dir.filePath("common/Common04/KVXLog/logfile_kalvex.txt")));
    EXPECT_EQ(log.count("kalvex send - Warnung: Das Passwort wird unverschlüsselt übertragen"), 1) << log.toStdString();

    r = run({"test-connection"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(warnings(r), 1);
    EXPECT_EQ(warnings(run({"draft", "--subject", "x", "--to", "a@example.org"})), 0);
    EXPECT_EQ(warnings(run({"config", "--encrypted", "ja"})), 0);
    ASSERT_EQ(run({"config", "--encrypted", "nein", "--password-stdin"}, "\n").code, 0);
    EXPECT_EQ(warnings(run({"test-connection"})), 0);
}

// A full disk after delivery: the mail went out, so it is reported as sent
// but not logged (exit 4), and the log file keeps it; it is never reported
// as aborted, which would lead the user to send it again.
TEST_F(CliTest, ADeliveredMailThatCannotBeLoggedIsReportedAsSent)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()), "--encrypted",
                   "0", "--sender", "cli@example.org"}).code, 0);
    ASSERT_EQ(run({"list"}).code, 0);   // the store exists
    const QString store = dir.filePath("common/Common04/kalvex.db");
    const QString attachment = dir.filePath("plan.bin");
    QFile f(attachment);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(QByteArray(300000, 'x'));
    f.close();
    // No file may grow past the store's present size: the store's next write fails as on a full disk.
    const qint64 blocks = QFileInfo(store).size() / 512;
    auto p = std::make_unique<QProcess>();
    p->setProcessEnvironment(env);
    p->start("/bin/sh", {"-c", QString("trap '' XFSZ; ulimit -f %1; exec \"$0\" \"$@\"").arg(blocks), KALVEX_CLI,
                         "--install-key", "Cli", "send", "--to", "a@example.org", "--subject", "Plan", "--body", "Anbei",
                         "--attach", attachment});
    ASSERT_TRUE(p->waitForFinished(60000));
    const Result r = resultOf(*p);
    EXPECT_EQ(r.code, 4) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("gesendet, aber nicht im Protokoll gespeichert")) << r.err.toStdString();
    EXPECT_FALSE(r.err.contains("abgebrochen")) << r.err.toStdString();
    EXPECT_EQ(server.MailCount(), 1);
    EXPECT_EQ(storedMails(), 0);
    const QString log = QString::fromUtf8(readBytes(dir.filePath("common/Common04/KVXLog/logfile_kalvex.txt")));
    EXPECT_TRUE(log.contains("Gesendet, aber nicht im Protokoll gespeichert: \"Plan\" an a@example.org")) << log.toStdString();
}

// Without settings the connection test names what is missing.
TEST_F(CliTest, ConnectionTestNamesTheMissingSettings)
{
    Result r = run({"test-connection"});
    EXPECT_EQ(r.code, 3);
    EXPECT_TRUE(r.err.contains("Es wurde kein SMTP-Server angegeben.")) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("Es wurde kein SMTP-Port angegeben."));
    EXPECT_TRUE(r.err.contains("Es wurde keine Absender-Adresse angegeben."));
    EXPECT_FALSE(r.err.contains("Empfänger"));
    ASSERT_EQ(run({"config", "--host", "127.0.0.1", "--port", "25"}).code, 0);
    r = run({"test-connection"});
    EXPECT_EQ(r.code, 3);
    EXPECT_FALSE(r.err.contains("SMTP-Server")) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("Es wurde keine Absender-Adresse angegeben."));
}

// Eight processes send twenty mails each, on a store none of them finds:
// none fails, the server receives every mail and the sent-mail log holds
// each once.
TEST_F(CliTest, ParallelSendsOnANewStoreAllSucceedAndAreLoggedOnce)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()), "--encrypted",
                   "0", "--sender", "cli@example.org"}).code, 0);
    ASSERT_FALSE(QFile::exists(storeFile()));
    const QStringList failures = runInParallel(8, 20, [](int w, int n) {
        return QStringList{"send", "--subject", QString("Rundbrief %1-%2").arg(w).arg(n), "--body", "Text", "--to",
                           "a@example.org"};
    });
    EXPECT_TRUE(failures.isEmpty()) << failures.join("\n").toStdString();
    EXPECT_EQ(server.MailCount(), 160);
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "check");
        db.setDatabaseName(storeFile());
        ASSERT_TRUE(db.open());
        QSqlQuery q(db);
        ASSERT_TRUE(q.exec("select count(*), count(distinct Betreff), min(MailStatus) from KVXGesendeteMails"));
        ASSERT_TRUE(q.next());
        EXPECT_EQ(q.value(0).toInt(), 160);
        EXPECT_EQ(q.value(1).toInt(), 160);
        EXPECT_EQ(q.value(2).toInt(), 2);
        ASSERT_TRUE(q.exec("select count(*) from KVXEmpfaenger"));
        ASSERT_TRUE(q.next());
        EXPECT_EQ(q.value(0).toInt(), 160);
    }
    QSqlDatabase::removeDatabase("check");
    const QString logFolder = dir.filePath("common/Common04/KVXLog/");
    for (const char* name : {"logfile_kalvex.txt", "Logfile.sav"}) {
        QFile log(logFolder + name);
        log.open(QIODevice::ReadOnly);
        EXPECT_FALSE(log.readAll().contains("FEHLER - ")) << name;
    }
}

// Eight processes opening an empty store at once all succeed, and it is
// created and seeded once (in several rounds: the starts overlap by chance).
TEST_F(CliTest, ProcessesStartingTogetherOnAnEmptyStoreAllSucceed)
{
    ASSERT_TRUE(QDir().mkpath(dir.filePath("common/Common04")));
    for (int round = 0; round < 8; ++round) {
        QFile::remove(storeFile());
        QFile(storeFile()).open(QIODevice::WriteOnly);   // an empty file is an empty database
        const QStringList failures = runInParallel(8, 1, [](int, int) { return QStringList{"list"}; });
        ASSERT_TRUE(failures.isEmpty()) << "round " << round << ": " << failures.join("\n").toStdString();
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "check");
        db.setDatabaseName(storeFile());
        ASSERT_TRUE(db.open());
        QSqlQuery q(db);
        ASSERT_TRUE(q.exec("select (select count(*) from KVXKategorie), (select count(*) from KVXRubrik), "
                           "(select count(*) from KVXVorlage)"));
        ASSERT_TRUE(q.next());
        EXPECT_EQ(q.value(0).toInt(), 2);
        EXPECT_EQ(q.value(1).toInt(), 7);
        EXPECT_EQ(q.value(2).toInt(), 7);
        q = QSqlQuery();
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase("check");
    }
}

// show and delete work on the one mail they name; show gives each
// attachment's stored size.
// An installation on a shared MariaDB database: a mistyped database name
// is refused, not made; a mail whose attachment the server cannot log
// (over its max_allowed_packet) does not go out, as a draft is not saved.
TEST_F(CliTest, OnASharedServerAMailThatCannotBeLoggedIsNotSent)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()), "--encrypted",
                   "0", "--sender", "cli@example.org"}).code, 0);
    const QString database = MariaDBServer::Instance().NewSchema().DatabaseName;
    TIniFile options(dir.filePath("common/Common04/KVXIni/serverdboptions.ini"));
    options.WriteInteger("Kalvex", "NoCode", 1);
    options.WriteInteger("Kalvex", "DatabaseType", 4);
    options.WriteString("Kalvex", "Hostname", MariaDBServer::Instance().Socket());
    options.WriteString("Kalvex", "Username", "root");
    options.WriteString("Kalvex", "DatabaseName", database);
    Result r = run({"list"});
    EXPECT_EQ(r.code, 3);
    EXPECT_TRUE(r.err.contains(QString("Die Datenbank \"%1\" gibt es").arg(database))) << r.err.toStdString();

    options.WriteInteger("Kalvex", "CreateDatabase", 1);
    const QString plan = dir.filePath("plan.bin");
    writeBytes(plan, QByteArray(20 * 1024 * 1024, 'p'));
    const QStringList mail{"--to", "a@example.org", "--subject", "Plan", "--body", "Anbei", "--attach"};
    for (const QString& command : {QString("send"), QString("draft")}) {
        r = run(QStringList{command} + mail + QStringList{plan});
        EXPECT_EQ(r.code, command == "send" ? 1 : 3) << command.toStdString();
        EXPECT_TRUE(r.err.contains("ist 20,0 MB groß") && r.err.contains("max_allowed_packet (16,0 MB)")) << r.err.toStdString();
    }
    EXPECT_EQ(server.MailCount(), 0);

    writeBytes(plan, QByteArray(1024 * 1024, 'p'));
    r = run(QStringList{"send"} + mail + QStringList{plan});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(server.MailCount(), 1);
    r = run({"list"});
    EXPECT_TRUE(r.out.contains("Plan")) << r.out.toStdString();
}

TEST_F(CliTest, ShowAndDeleteOneMail)
{
    QFile attachment(dir.filePath("plan.pdf"));
    attachment.open(QIODevice::WriteOnly);
    attachment.write(QByteArray(70000, 'p'));
    attachment.close();
    ASSERT_EQ(run({"draft", "--subject", "Erster", "--body", "Eins", "--to", "a@example.org"}).code, 0);
    Result r = run({"draft", "--subject", "Zweiter", "--body", "Zwei", "--to", "b@example.org", "--cc", "c@example.org",
                    "--attach", attachment.fileName()});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    r = run({"show", "2"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains("Betreff: Zweiter\n"));
    EXPECT_TRUE(r.out.contains(": c@example.org\n"));
    EXPECT_TRUE(r.out.contains("Anhang: " + attachment.fileName() + " (70000 Bytes)\n")) << r.out.toStdString();
    EXPECT_TRUE(r.out.endsWith("Zwei\n"));
    EXPECT_FALSE(r.out.contains("a@example.org"));
    r = run({"delete", "2"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains("E-Mail 2 gelöscht."));
    EXPECT_EQ(run({"show", "2"}).code, 2);
    r = run({"list"});
    EXPECT_TRUE(r.out.startsWith("1\t")) << r.out.toStdString();
    EXPECT_FALSE(r.out.contains("Zweiter"));
}

// --to, --cc and --bcc take address lists: each mailbox becomes a recipient,
// names reach the header, a bad address stops the command before sending.
TEST_F(CliTest, RecipientOptionsTakeAddressLists)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()), "--encrypted",
                   "0", "--sender", "cli@example.org"}).code, 0);
    Result r = run({"send", "--subject", "Liste", "--body", "Text", "--to",
                    "Anna Schäfer <anna@example.org>, bernd@example.org", "--bcc", "c@example.org;d@example.org"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    ASSERT_EQ(server.MailCount(), 1);
    EXPECT_EQ(server.Envelope(1), (QStringList{"cli@example.org", "anna@example.org", "bernd@example.org",
                                               "c@example.org", "d@example.org"}));
    EXPECT_EQ(server.Parsed(1)["to"].toString(), "Anna Schäfer <anna@example.org>, bernd@example.org");

    r = run({"send", "--subject", "x", "--to", "ok@example.org", "--cc", "chef@example.org, a@@b"});
    EXPECT_EQ(r.code, 2);
    EXPECT_TRUE(r.err.contains("Die Adresse a@@b scheint fehlerhaft zu sein.")) << r.err.toStdString();
    EXPECT_EQ(server.MailCount(), 1);
}

// A body file that another program wrote in Windows-1252 arrives as
// written, in the default font with a generic family behind it.
TEST_F(CliTest, ABodyFileInWindows1252ArrivesAsWritten)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()), "--encrypted",
                   "0", "--sender", "cli@example.org"}).code, 0);
    writeBytes(dir.filePath("gruss.txt"), "Gr\xFC\xDF" "e aus M\xFC" "nchen");
    const Result r = run({"send", "--subject", "Gruss", "--body-file", dir.filePath("gruss.txt"), "--to", "a@example.org"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    const QJsonObject m = server.Parsed(1);
    EXPECT_TRUE(m["problems"].toArray().isEmpty()) << QJsonDocument(m["problems"].toArray()).toJson().toStdString();
    for (const QJsonValue part : m["parts"].toArray()) {
        if (part["type"] == "text/plain") {
            EXPECT_EQ(part["text"].toString().remove('\r'), "Grüße aus München\n");
        }
        if (part["type"] == "text/html") {
            EXPECT_TRUE(part["shown"].toString().contains("Grüße aus München"));
            EXPECT_EQ(part["families"][0].toString(), "Arial, Helvetica, sans-serif");
            EXPECT_TRUE(part["text"].toString().contains("font-size:10pt"));
        }
    }
    // RTF whose 8-bit text stands raw in its code page, as older programs
    // write it: decoded by the code page, neither as UTF-8 nor twice.
    writeBytes(dir.filePath("brief.rtf"), "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0 Arial;}}\\f0 Stra\xDF" "e \x80 5 \\'80\\par}");
    const Result rtf = run({"send", "--subject", "Brief", "--body-file", dir.filePath("brief.rtf"), "--to", "a@example.org"});
    ASSERT_EQ(rtf.code, 0) << rtf.err.toStdString();
    QString plain;
    for (const QJsonValue part : server.Parsed(2)["parts"].toArray())
        if (part["type"] == "text/plain")
            plain = part["text"].toString().remove('\r').trimmed();
    EXPECT_EQ(plain, "Straße € 5 €");
}

// A store that an older version left (tables without the columns added
// since, a program template kind without a field catalogue) is upgraded
// and used: list, show, a draft from its template.
TEST_F(CliTest, AnOlderStoreIsUpgradedAndUsed)
{
    QDir().mkpath(dir.filePath("common/Common04"));
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "old");
        db.setDatabaseName(storeFile());
        ASSERT_TRUE(db.open());
        QSqlQuery q(db);
        for (const char* sql : {
                 "CREATE TABLE [KVXGesendeteMails] ([ID] INTEGER PRIMARY KEY AUTOINCREMENT, [Betreff] TEXT, [Datum] DATETIME, "
                 "[Status] NVARCHAR(255), [InhaltRTF] TEXT, [Inhalt] TEXT, [GesendetDurch] NVARCHAR(255))",
                 "INSERT INTO KVXGesendeteMails (Betreff, Datum, Status, Inhalt) VALUES ('Von früher', 45000.5, 'gesendet', 'Alt')",
                 "CREATE TABLE [KVXEmpfaenger] ([ID] INTEGER PRIMARY KEY AUTOINCREMENT, [MailID] INTEGER, [Adresse] NVARCHAR(255), "
                 "[GanzerName] NVARCHAR(255), [Firma] NVARCHAR(255), [AdressDB_ID] INTEGER)",
                 "INSERT INTO KVXEmpfaenger (MailID, Adresse) VALUES (1, 'alt@example.org')",
                 "CREATE TABLE [ProgrammVorlageArt] ([GUID] NVARCHAR(50), [Name1031] NVARCHAR(255), [Beschreibung1031] TEXT)",
                 "INSERT INTO ProgrammVorlageArt VALUES ('{0A0A0A0A-1111-2222-3333-444444444444}', 'Altes Formular', '')",
                 "CREATE TABLE [ProgrammVorlage] ([GUID] NVARCHAR(50), [Art] NVARCHAR(50), [Betreff] NVARCHAR(255), [Body] TEXT, "
                 "[IsStandard] BOOLEAN, [IsDefault] BOOLEAN, [OrvanProgVersion] INTEGER)",
                 "INSERT INTO ProgrammVorlage VALUES ('{0B0B0B0B-1111-2222-3333-444444444444}', "
                 "'{0A0A0A0A-1111-2222-3333-444444444444}', 'Aus der Vorlage', 'Vorlagentext', 1, 0, 2019)"})
            ASSERT_TRUE(q.exec(QString::fromUtf8(sql))) << sql;
    }
    QSqlDatabase::removeDatabase("old");
    Result r = run({"list"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains("Von früher")) << r.out.toStdString();
    r = run({"show", "1"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains("alt@example.org"));
    r = run({"draft", "--template", "{0B0B0B0B-1111-2222-3333-444444444444}", "--to", "neu@example.org"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    r = run({"show", "2"});
    EXPECT_TRUE(r.out.contains("Betreff: Aus der Vorlage\n")) << r.out.toStdString();
}

// Settings of a server store without its server: refused by the key's
// name, nothing stored anywhere.
TEST_F(CliTest, AServerStoreWithoutItsServerIsRefused)
{
    writeBytes(dir.filePath("common/Common04/KVXIni/serverdboptions.ini"), "[Kalvex]\nDatabaseType=4\n");
    const Result r = run({"draft", "--subject", "Wichtig", "--to", "a@example.org"});
    EXPECT_EQ(r.code, 3);
    EXPECT_TRUE(r.err.contains("Abschnitt [Kalvex], sind unvollständig: \"Hostname\" fehlt oder ist leer.")) << r.err.toStdString();
    EXPECT_FALSE(r.out.contains("Entwurf gespeichert."));
    EXPECT_FALSE(QFile::exists(storeFile()));
    EXPECT_EQ(run({"list"}).code, 3);
}

// A store that cannot be opened ends the command with its message and exit
// code 3; an unreadable translation database is told, the German texts serve.
TEST_F(CliTest, StoreAndTranslationFailuresReachTheUser)
{
    QDir().mkpath(storeFile());   // a folder where the store file belongs
    Result r = run({"list"});
    EXPECT_EQ(r.code, 3);
    EXPECT_TRUE(r.err.contains("Es ist ein Fehler beim Verbinden zur Datenbank aufgetreten!")) << r.err.toStdString();
    QDir().rmdir(storeFile());

    QFile lang(dir.filePath("common/Common04/DllsLang.db3"));
    ASSERT_TRUE(lang.open(QIODevice::WriteOnly));
    lang.write(QByteArray(4096, 'x'));
    lang.close();
    r = run({"list"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("Der Datenbankhandler konnte nicht erstellt werden!")) << r.err.toStdString();
}

// The pace and the tries are settings of config; a separate send lists who
// got the mail, writes those who did not to --failed-to, and --to-file
// sends the same mail to just them.
TEST_F(CliTest, ASeparateSendListsTheFailedAndSendsAgainToJustThem)
{
    SmtpServer server({"--tempfail", "RCPT=@2"}, "smtp_fault_server.py");
    ASSERT_TRUE(server.Running());
    Result r = run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()), "--encrypted",
                    "nein", "--sender", "cli@example.org", "--tries", "1", "--per-minute", "600"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains("Höchstens pro Minute: 600\nVersuche je E-Mail: 1\n")) << r.out.toStdString();
    EXPECT_EQ(run({"config", "--tries", "0"}).code, 2);

    const QString failed = dir.filePath("failed.txt");
    r = run({"send", "--separate", "--to", "a@example.org", "--to", "b@example.org", "--to", "c@example.org",
             "--subject", "Rundschreiben", "--body", "Text", "--failed-to", failed});
    EXPECT_EQ(r.code, 1) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains("gesendet: a@example.org\ngesendet: c@example.org\nnicht gesendet: b@example.org (")) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains("2 von 3 E-Mails wurden gesendet. 1 Empfänger hat die E-Mail nicht erhalten.")) << r.out.toStdString();
    EXPECT_EQ(readBytes(failed), "b@example.org\n");

    r = run({"send", "--separate", "--to-file", failed, "--subject", "Rundschreiben", "--body", "Text", "--failed-to", failed});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(readBytes(failed), "");   // everyone has it now
    QStringList received;
    for (int i = 1; i <= server.MailCount(); ++i)
        received << server.Envelope(i).value(1);
    EXPECT_EQ(received, QStringList({"a@example.org", "c@example.org", "b@example.org"}));
    EXPECT_EQ(run({"send", "--to", "a@example.org", "--failed-to", failed}).code, 2);   // only with --separate
}

// The command line's OAuth 2.0 account: device-code sign-in against a real
// authorization server, sending with the token, and what a revoked
// sign-in says.
TEST_F(CliTest, OAuthSignInWithDeviceCodeThenSendAndRevocation)
{
    OAuthServer oauth;
    SmtpServer smtp({"--auth", "XOAUTH2", "--oauth", oauth.Base()});
    ASSERT_TRUE(oauth.Running() && smtp.Running());
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");   // no secret store: the settings file
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(smtp.Port()), "--encrypted", "0",
                   "--sender", "nutzer@kalvex.test"}).code, 0);
    EXPECT_EQ(run({"oauth"}).code, 2);
    EXPECT_EQ(run({"oauth", "login", "--provider", "yahoo"}).code, 2);

    auto login = start({"oauth", "login", "--provider", "custom", "--client-id", "kalvex-test-client", "--scopes", "smtp openid",
                        "--authorization-url", oauth.Base() + "/authorize", "--token-url", oauth.Base() + "/token",
                        "--device-url", oauth.Base() + "/devicecode"});
    QString printed;
    for (int i = 0; i < 100 && !printed.contains("Code"); ++i) {
        login->waitForReadyRead(200);
        printed += QString::fromUtf8(login->readAllStandardOutput());
    }
    const auto shown = QRegularExpression("Öffnen Sie (\\S+) in einem Browser und geben Sie den Code (\\S+) ein").match(printed);
    ASSERT_TRUE(shown.hasMatch()) << printed.toStdString();
    EXPECT_EQ(shown.captured(1), oauth.Base() + "/device");
    TestDeviceUser user;
    user.Prompt()(shown.captured(1), shown.captured(2));
    ASSERT_TRUE(login->waitForFinished(30000));
    Result r = resultOf(*login);
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains("Angemeldet als nutzer@kalvex.test")) << r.out.toStdString();
    r = run({"oauth", "status"});
    EXPECT_EQ(r.code, 0);
    EXPECT_TRUE(r.out.contains("OAuth 2.0")) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains("nutzer@kalvex.test")) << r.out.toStdString();

    r = run({"send", "--subject", "Mit Token", "--body", "Hallo", "--to", "empfaenger@kalvex.test"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(smtp.MailCount(), 1);

    oauth.RevokeRefreshTokens();
    r = run({"send", "--subject", "Widerrufen", "--body", "Hallo", "--to", "empfaenger@kalvex.test"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.err.contains("kalvex oauth login")) << r.err.toStdString();
    EXPECT_EQ(smtp.MailCount(), 1);

    EXPECT_EQ(run({"oauth", "logout"}).code, 0);
    r = run({"oauth", "status"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.out.contains("nicht angemeldet")) << r.out.toStdString();
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
}

// A personal circular from a Windows-1252 CSV file: the preview of each
// recipient is what the server then receives for that recipient.
TEST_F(CliTest, PersonalCircularFromARecipientFileMatchesItsPreview)
{
    SmtpServer server({"--auth", "PLAIN", "--user", "cli@example.org", "--password", "Geheim"});
    ASSERT_TRUE(server.Running());
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()), "--encrypted",
                   "nein", "--sender", "cli@example.org", "--password-stdin"}, "Geheim\n").code, 0);
    writeBytes(dir.filePath("liste/plan.pdf"), "%PDF-1.4");
    writeBytes(dir.filePath("liste/liste.csv"), "Anrede,Titel,Vorname,Nachname,Firma,EMail,Anhang,Baustelle\r\n"
                                                "Frau,Dr.,Anna,Sch\xE4" "fer,\"Bau, Nord\",anna@example.org,plan.pdf,Halle 3\r\n"
                                                "Herr,,Bernd,Albers,,bernd@example.org,,\r\n");
    const QStringList circular = {"send", "--separate", "--recipients", dir.filePath("liste/liste.csv"), "--subject",
                                  "Baustelle <Empfaenger.Baustelle>", "--body", "<Empfaenger.Briefanrede>\nText für <Empfaenger.Firma>."};
    Result first = run(circular + QStringList{"--preview", "1"});
    ASSERT_EQ(first.code, 0) << first.err.toStdString();
    EXPECT_EQ(first.out, "An: anna@example.org\nBetreff: Baustelle Halle 3\nAnhang: " + QFileInfo(dir.filePath("liste/plan.pdf")).canonicalFilePath()
                             + "\n\nSehr geehrte Frau Dr. Schäfer,\nText für Bau, Nord.\n");
    Result second = run(circular + QStringList{"--preview", "2"});
    EXPECT_TRUE(second.out.contains("Sehr geehrter Herr Albers,\nText für .")) << second.out.toStdString();
    EXPECT_EQ(run(circular + QStringList{"--preview", "3"}).code, 2);
    EXPECT_EQ(run({"send", "--recipients", dir.filePath("liste/liste.csv"), "--preview", "1"}).code, 2);   // without --separate
    EXPECT_EQ(server.MailCount(), 0);

    Result sent = run(circular);
    ASSERT_EQ(sent.code, 0) << sent.err.toStdString();
    ASSERT_EQ(server.MailCount(), 2);
    const QJsonObject anna = server.Parsed(1);
    EXPECT_EQ(anna["subject"].toString(), "Baustelle Halle 3");
    const QJsonArray parts = anna["parts"].toArray();
    const auto plain = std::find_if(parts.begin(), parts.end(), [](const QJsonValue& p) { return p["type"] == "text/plain"; });
    ASSERT_NE(plain, parts.end());
    EXPECT_EQ(first.out.section(QStringLiteral("\n\n"), 1), QJsonValue(*plain).toObject()["text"].toString().replace("\r\n", "\n"));
    EXPECT_EQ(parts.last()["filename"].toString(), "plan.pdf");
    EXPECT_EQ(server.Parsed(2)["parts"].toArray().last()["filename"].toString(), "");

    // A recipient file naming a file that is not there sends nothing.
    writeBytes(dir.filePath("liste/fehlt.csv"), "EMail;Anhang\na@example.org;\nb@example.org;weg.pdf\n");
    Result refused = run({"send", "--separate", "--recipients", dir.filePath("liste/fehlt.csv"), "--subject", "x", "--body", "y"});
    EXPECT_EQ(refused.code, 2);
    EXPECT_TRUE(refused.err.contains("weg.pdf")) << refused.err.toStdString();
    EXPECT_EQ(server.MailCount(), 2);
}

// A recipient file from someone else names the user's own files: through a
// link out of its folder, "..", an absolute path, /proc and a FIFO. Those
// recipients get nothing, the preview lists what each would get or why
// not, and the server receives none of those files; a released folder
// lets its files through, /proc and the FIFO never.
TEST_F(CliTest, ARecipientFileCannotMailTheUsersFiles)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()), "--encrypted",
                   "nein", "--sender", "cli@example.org"}).code, 0);
    writeBytes(dir.filePath("privat/geheim.txt"), "GEHEIM");
    writeBytes(dir.filePath("liste/plan.pdf"), "%PDF-1.4 plan");
    ASSERT_TRUE(QFile::link(dir.filePath("privat/geheim.txt"), dir.filePath("liste/verweis.pdf")));
    ASSERT_EQ(::mkfifo(QFile::encodeName(dir.filePath("liste/rohr")).constData(), 0600), 0);
    const QString csv = dir.filePath("liste/liste.csv");
    writeBytes(csv, "EMail;Anhang\n"
                    "anna@example.org;plan.pdf\n"
                    "link@example.org;verweis.pdf\n"
                    "hoch@example.org;../privat/geheim.txt\n"
                    "abs@example.org;" + dir.filePath("privat/geheim.txt").toUtf8() + "\n"
                    "proc@example.org;/proc/self/environ\n"
                    "fifo@example.org;rohr\n");
    const QStringList circular = {"send", "--separate", "--recipients", csv, "--subject", "Plan", "--body", "Anbei."};
    const QString plan = QFileInfo(dir.filePath("liste/plan.pdf")).canonicalFilePath();

    Result r = run(circular + QStringList{"--preview", "1"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out, "An: anna@example.org\nBetreff: Plan\nAnhang: " + plan + "\n\nAnbei.\n");
    r = run(circular + QStringList{"--preview", "2"});
    EXPECT_TRUE(r.out.contains("Wird nicht gesendet: Zeile 3: Der Anhang \"verweis.pdf\" liegt außerhalb")) << r.out.toStdString();
    EXPECT_FALSE(r.out.contains("Anhang: ")) << r.out.toStdString();
    r = run(circular + QStringList{"--preview", "6"});   // the FIFO is not opened: this returns
    EXPECT_TRUE(r.out.contains("Wird nicht gesendet: Zeile 7: Der Anhang \"rohr\" ist keine gewöhnliche Datei")) << r.out.toStdString();

    r = run(circular);
    EXPECT_EQ(r.code, 1) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains("gesendet: anna@example.org\n")) << r.out.toStdString();
    for (const char* who : {"link", "hoch", "abs", "proc", "fifo"})
        EXPECT_TRUE(r.out.contains(QString("nicht gesendet: %1@example.org (Zeile ").arg(who))) << who;
    ASSERT_EQ(server.MailCount(), 1);
    const QString planHash = QCryptographicHash::hash("%PDF-1.4 plan", QCryptographicHash::Sha1).toHex();
    EXPECT_EQ(server.Parsed(1)["parts"].toArray().last()["sha1"].toString(), planHash);

    // Released: the private folder's file goes to those who named it.
    r = run(circular + QStringList{"--allow-attachments-from", dir.filePath("privat"), "--allow-attachments-from", "/proc"});
    EXPECT_EQ(r.code, 1) << r.err.toStdString();
    ASSERT_EQ(server.MailCount(), 5);
    const QString secretHash = QCryptographicHash::hash("GEHEIM", QCryptographicHash::Sha1).toHex();
    QStringList hashes;
    for (int n = 1; n <= server.MailCount(); ++n)
        for (const QJsonValue part : server.Parsed(n)["parts"].toArray())
            if (part["sha1"].isString())
                hashes << part["sha1"].toString();
    EXPECT_EQ(hashes, QStringList({planHash, planHash, secretHash, secretHash, secretHash}));
    EXPECT_TRUE(r.out.contains("nicht gesendet: proc@example.org (Zeile 6")) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains("nicht gesendet: fifo@example.org (Zeile 7")) << r.out.toStdString();

    EXPECT_EQ(run(circular + QStringList{"--allow-attachments-from", dir.filePath("gibt-es-nicht")}).code, 2);
    EXPECT_EQ(run({"send", "--to", "a@example.org", "--allow-attachments-from", dir.filePath("privat")}).code, 2);
    EXPECT_EQ(server.MailCount(), 5);
}

// One address in several spellings is one recipient of a circular.
TEST_F(CliTest, SpellingsOfOneAddressAreOneRecipient)
{
    writeBytes(dir.filePath("liste.csv"), "EMail;Firma\nAnna@Example.ORG;Bau\nbernd@example.org;Holz\n");
    const QStringList circular = {"send", "--separate", "--to", "Anna Schäfer <anna@example.org>", "--to", "ANNA@example.org",
                                  "--recipients", dir.filePath("liste.csv"), "--subject", "x", "--body", "y", "--preview"};
    EXPECT_TRUE(run(circular + QStringList{"2"}).out.startsWith("An: bernd@example.org\n"));
    const Result third = run(circular + QStringList{"3"});
    EXPECT_EQ(third.code, 2);
    EXPECT_TRUE(third.err.contains("Es gibt nur 2 Empfänger.")) << third.err.toStdString();
}

// A port in mailserver.ini that no port can be is named, not wrapped into
// another port; a new --port puts it right.
TEST_F(CliTest, APortOutOfRangeInTheSettingsFileIsRefused)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", "25", "--encrypted", "nein", "--sender",
                   "cli@example.org"}).code, 0);
    TIniFile(mailServerIni()).WriteString("SMTP", "Port", QString::number(server.Port() + 65536));
    const QString refusal = QString("Der Port \"%1\" in %2 (Abschnitt SMTP, Schlüssel Port) liegt nicht zwischen 1 und 65535.")
                                .arg(server.Port() + 65536).arg(mailServerIni());
    Result r = run({"config"});
    EXPECT_EQ(r.code, 0);
    EXPECT_TRUE(r.out.contains("Port:              0\n")) << r.out.toStdString();
    EXPECT_TRUE(r.err.contains(refusal)) << r.err.toStdString();
    for (const QStringList& args : {QStringList{"send", "--to", "a@example.org", "--subject", "x", "--body", "y"},
                                    QStringList{"test-connection"}}) {
        r = run(args);
        EXPECT_EQ(r.code, 3) << args.first().toStdString();
        EXPECT_TRUE(r.err.contains(refusal)) << r.err.toStdString();
    }
    EXPECT_EQ(server.MailCount(), 0);
    EXPECT_EQ(run({"config", "--port", "65536"}).code, 2);
    ASSERT_EQ(run({"config", "--port", QString::number(server.Port())}).code, 0);
    EXPECT_EQ(run({"send", "--to", "a@example.org", "--subject", "x", "--body", "y"}).code, 0);
    EXPECT_EQ(server.MailCount(), 1);
}

// Letters written by LibreOffice, pandoc, AbiWord and in RichEdit's manner,
// sent as they are: each picture a part of its own behind its cid:, links
// with their targets, the text exact in both parts; and the RTF the store
// keeps opens in LibreOffice with its bullets, numbers and cells.
TEST_F(CliTest, LettersFromOtherProgramsReachTheRecipientAsWritten)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()), "--encrypted",
                   "0", "--sender", "cli@example.org"}).code, 0);
    const QString corpus = qEnvironmentVariable("KALVEX_SOURCE_DIR") + "/tests/data/rtf/";
    const QList<QPair<QString, int>> letters{{"libreoffice", 2}, {"pandoc", 2}, {"abiword", 2}, {"abiword-rule", 0}, {"wordpad", 2}};
    for (int n = 1; n <= letters.size(); ++n) {
        const auto& [name, pictures] = letters[n - 1];
        const Result r = run({"send", "--subject", name, "--body-file", corpus + name + ".rtf", "--to", "a@example.org"});
        ASSERT_EQ(r.code, 0) << name.toStdString() << ": " << r.err.toStdString();
        const QJsonObject m = server.Parsed(n);
        EXPECT_TRUE(m["problems"].toArray().isEmpty()) << name.toStdString() << QJsonDocument(m["problems"].toArray()).toJson().toStdString();
        int parts = 0;
        QString plain, hrefs;
        for (const QJsonValue part : m["parts"].toArray()) {
            parts += part["cid"].isString();
            if (part["type"] == "text/plain")
                plain = part["text"].toString();
            for (const QJsonValue link : part["links"].toArray())
                hrefs += link["href"].toString() + ' ';
        }
        EXPECT_EQ(parts, pictures) << name.toStdString();
        EXPECT_TRUE(plain.contains("die Fläche <Fläche> kostet 25 € je m² – Grüße aus der Straße.")) << plain.toStdString();
        EXPECT_TRUE(plain.contains("Nummer eins")) << plain.toStdString();
        if (name != "abiword-rule") {
            EXPECT_TRUE(hrefs.contains("https://www.example.com/kalvex?a=1&b=2 ")) << name.toStdString() << hrefs.toStdString();
            EXPECT_TRUE(plain.contains("Kalvex-Seite <https://www.example.com/kalvex?a=1&b=2>")) << plain.toStdString();
        }
    }

    // The stored bodies, as LibreOffice reads them.
    QStringList files;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "letters");
        db.setDatabaseName(storeFile());
        ASSERT_TRUE(db.open());
        QSqlQuery q("SELECT Betreff, InhaltRTF FROM KVXGesendeteMails", db);
        while (q.next()) {
            files << dir.filePath(q.value(0).toString() + ".rtf");
            writeBytes(files.last(), q.value(1).toString().toLatin1());   // the writer writes 7-bit text
        }
    }
    QSqlDatabase::removeDatabase("letters");
    ASSERT_EQ(files.size(), letters.size());
    QProcess office;
    office.start("soffice", QStringList{"-env:UserInstallation=" + QUrl::fromLocalFile(dir.filePath("profile")).toString(),
                                        "--headless", "--convert-to", "txt:Text (encoded):UTF8", "--outdir", dir.path()} + files);
    ASSERT_TRUE(office.waitForFinished(300000)) << "soffice (Debian libreoffice-writer-nogui) did not finish";
    for (const QString& file : files) {
        QFile text(QString(file).replace(".rtf", ".txt"));
        ASSERT_TRUE(text.open(QIODevice::ReadOnly)) << file.toStdString() << office.readAllStandardError().toStdString();
        const QString shown = QString::fromUtf8(text.readAll());
        // AbiWord's letter lost its list markers on the way from LibreOffice: its items are plain text.
        const bool markers = !file.endsWith("abiword-rule.rtf");
        for (const char* line : {markers ? "^\\s*•\\s+erster Punkt$" : "^\\s*erster Punkt$",
                                 markers ? "^\\s*1\\.\\s+Nummer eins$" : "^\\s*Nummer eins$", "Äpfel", "^\\s*Menge$|\\tMenge"})
            EXPECT_TRUE(shown.contains(QRegularExpression(QString::fromUtf8(line), QRegularExpression::MultilineOption)))
                << file.toStdString() << ": " << line << "\nin:\n" << shown.toStdString();
    }
}
