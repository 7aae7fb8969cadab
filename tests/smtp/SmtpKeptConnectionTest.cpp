// One sender for a run of mails: one connection where the server allows it,
// MAIL right after the last mail, a new connection after the server's limit (421) or a
// dropped line, TLS sessions resumed on new connections, and the failures
// sorted into those worth another try and those that are not.

#include "SmtpServer.h"

#include "config/LogFileUnit.h"
#include "mailinterface/EMail.h"
#include "send/EMailVersand.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

TEMail circularTo(const QString& to)
{
    TEMail mail;
    mail.FVon = "absender@example.org";
    mail.FAn = {to};
    mail.FBetreff = "Rundschreiben";
    mail.FBodyPlain = "Text";
    mail.FBodyHTML = {"<p>Text</p>"};
    return mail;
}

// Sends to a0 .. a(n-1) on one kept sender; the failures' temporary flags,
// or "ok", per mail.
QStringList sendRun(TEMailVersand& sender, int count)
{
    QStringList outcomes;
    for (int i = 0; i < count; ++i) {
        TEMail mail = circularTo(QString("a%1@example.org").arg(i));
        try {
            sender.SendMail(mail);
            outcomes << "ok";
        } catch (const ESendFailed& e) {
            outcomes << (e.Temporary() ? "temporary" : "permanent");
        }
    }
    sender.Close();
    return outcomes;
}

class SmtpKeptConnectionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        App();
        TLogFile::Install(std::make_unique<TLogFile>(FLogDir.filePath("log.txt")));
    }
    void TearDown() override { TLogFile::Uninstall(); }
    void keep(TEMailVersand& sender, const SmtpServer& server, bool tls = false)
    {
        ASSERT_TRUE(server.Running());
        sender.Setup("127.0.0.1", "kalvex", tls, server.Port(), QString());
        sender.Settings().replyTimeoutMs = 5000;
        sender.KeepConnection();
    }
    QTemporaryDir FLogDir;
};

}  // namespace

TEST_F(SmtpKeptConnectionTest, OneConnectionAndANewOneAfterTheServersLimit)
{
    for (const QStringList& pipelining : {QStringList(), QStringList{"--pipelining"}}) {
    SCOPED_TRACE(pipelining.join(' ').toStdString());
    SmtpServer server(QStringList{"--limit", "2"} + pipelining, "smtp_fault_server.py");
    TEMailVersand sender;
    keep(sender, server);
    EXPECT_EQ(sendRun(sender, 5), QStringList({"ok", "ok", "ok", "ok", "ok"}));
    const QStringList t = server.Transcript(3);
    EXPECT_EQ(server.MailCount(), 5);
    EXPECT_EQ(sender.Connections(), 3);   // 2 + 2 + 1 mails: the 421 to the next MAIL opens the next
    EXPECT_EQ(t.count("EHLO kalvex.localdomain"), 3);
    EXPECT_EQ(t.count("RSET"), 0);        // a finished mail needs none before the next
    EXPECT_EQ(t.filter(QRegularExpression("^MAIL FROM")).size(), 5 + 2);   // two of them refused with 421
    EXPECT_EQ(t.count("QUIT"), 1);        // at the end of the run only
    for (int i = 1; i <= 5; ++i)
        EXPECT_EQ(server.Envelope(i).value(1), QString("a%1@example.org").arg(i - 1));
    }
}

TEST_F(SmtpKeptConnectionTest, WithoutKeepingEveryMailHasItsOwnConnection)
{
    SmtpServer server({}, "smtp_fault_server.py");
    ASSERT_TRUE(server.Running());
    TEMailVersand sender;
    sender.Setup("127.0.0.1", "kalvex", false, server.Port(), QString());
    EXPECT_EQ(sendRun(sender, 3), QStringList({"ok", "ok", "ok"}));
    const QStringList t = server.Transcript(3);
    EXPECT_EQ(t.count("QUIT"), 3);
    EXPECT_EQ(t.count("RSET"), 0);
}

// A 4xx at any step and a line lost before the end of the data are worth
// another try; a 5xx is not, nor a line lost after the end of the data
// went out (the server took this mail: it must not arrive twice). The
// next mail always finds a working connection. The same when the commands
// up to DATA go in one write (PIPELINING): the replies are taken in turn.
TEST_F(SmtpKeptConnectionTest, FailuresAreSortedIntoTemporaryAndPermanent)
{
    struct Case {
        QStringList args;
        QStringList outcomes;
        int received;
    } cases[] = {
        {{"--tempfail", "MAIL=1"}, {"temporary", "ok"}, 1},
        {{"--tempfail", "RCPT=1"}, {"temporary", "ok"}, 1},
        {{"--tempfail", "DATA=1"}, {"temporary", "ok"}, 1},
        {{"--tempfail", "END=1"}, {"temporary", "ok"}, 1},
        {{"--drop", "MAIL=1"}, {"temporary", "ok"}, 1},
        {{"--drop", "MAIL=2"}, {"ok", "ok", "ok"}, 3},   // the rested link was gone: a new one, no try lost
        {{"--drop", "DATA=1"}, {"temporary", "ok"}, 1},
        {{"--drop", "END=1"}, {"permanent", "ok"}, 2},   // taken, but never confirmed
        {{"--refuse", "a0@example.org"}, {"permanent", "ok"}, 1},
        {{"--reply", "MAIL=552 5.7.0 Policy"}, {"permanent", "permanent"}, 0},
        {{"--tempfail", "MAIL=@2"}, {"ok", "temporary", "ok"}, 2},
        {{"--tempfail", "RCPT=@2"}, {"ok", "temporary", "ok"}, 2},
        {{"--tempfail", "DATA=@2"}, {"ok", "temporary", "ok"}, 2},
        {{"--refuse", "a1@example.org"}, {"ok", "permanent", "ok"}, 2},
        {{"--drop", "RCPT=2"}, {"ok", "temporary", "ok"}, 2},
        {{"--tempfail", "END=@2"}, {"ok", "temporary", "ok"}, 2},
    };
    for (const QStringList& pipelining : {QStringList(), QStringList{"--pipelining"}})
        for (const Case& c : cases) {
            const std::string trace = (c.args + pipelining).join(' ').toStdString();
            SmtpServer server(c.args + pipelining, "smtp_fault_server.py");
            TEMailVersand sender;
            keep(sender, server);
            EXPECT_EQ(sendRun(sender, c.outcomes.size()), c.outcomes) << trace;
            EXPECT_EQ(server.MailCount(), c.received) << trace;
            const QStringList t = server.Transcript(sender.Connections());
            EXPECT_EQ(t.count("RSET"), 0) << trace;
        }
}

// A new TLS connection offers the session of the one before: the server
// resumes it instead of a full handshake.
TEST_F(SmtpKeptConnectionTest, NewTlsConnectionsResumeTheSession)
{
    SmtpServer server({"--tls", "implicit", "--limit", "1"}, "smtp_fault_server.py");
    TEMailVersand sender;
    keep(sender, server, true);
    EXPECT_EQ(sendRun(sender, 3), QStringList({"ok", "ok", "ok"}));
    const QStringList connects = server.RawTranscript(3).filter(QRegularExpression("^CONNECT "));
    EXPECT_EQ(connects, QStringList({"CONNECT tls=1 reused=0", "CONNECT tls=1 reused=1", "CONNECT tls=1 reused=1"}));
    EXPECT_EQ(server.MailCount(), 3);
}
