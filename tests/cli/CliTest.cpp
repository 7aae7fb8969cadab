#include "smtp/SmtpServer.h"

#include "config/IniPlus.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTcpServer>
#include <gtest/gtest.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

struct Result {
    int code;
    QString out;
    QString err;
};

// The command line on a fresh installation in a temporary folder.
class CliTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        App();
        TIniFile reg(dir.filePath("registry.ini"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Cli", dir.filePath("data"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", dir.filePath("common"));
    }
    std::unique_ptr<QProcess> start(const QStringList& args)
    {
        auto p = std::make_unique<QProcess>();
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("KALVEX_REGISTRY", dir.filePath("registry.ini"));
        env.insert("QT_QPA_PLATFORM", "offscreen");
        p->setProcessEnvironment(env);
        p->start(KALVEX_CLI, QStringList{"--install-key", "Cli"} + args);
        return p;
    }
    static Result resultOf(QProcess& p)
    {
        if (p.exitStatus() != QProcess::NormalExit)
            return {-1, QString(), QStringLiteral("crashed: ") + p.errorString()};
        return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
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
    QTemporaryDir dir;
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
