#include "smtp/SmtpServer.h"

#include "config/IniPlus.h"

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
    Result run(const QStringList& args, const QByteArray& input = {})
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("KALVEX_REGISTRY", dir.filePath("registry.ini"));
        env.insert("QT_QPA_PLATFORM", "offscreen");
        p.setProcessEnvironment(env);
        p.start(KALVEX_CLI, QStringList{"--install-key", "Cli"} + args);
        p.write(input);
        p.closeWriteChannel();
        p.waitForFinished(60000);
        if (p.exitStatus() != QProcess::NormalExit)
            return {-1, QString(), QStringLiteral("crashed: ") + p.errorString()};
        return {p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }
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
