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

// With PIPELINING the next mail's MAIL, RCPT and DATA go out right behind
// the final "." of the mail before it, and the server, answering like one
// behind a slow link, holds its replies and sends them together. Each
// reply must still reach its own mail: a refused recipient (mail 2), a
// refused DATA (mail 3), a 550 (mail 4) and a 421 (mail 5) to the end of
// data, and the mails that got 250 are reported sent, each received once.
TEST_F(SmtpKeptConnectionTest, PipelinedAcrossMailsEachReplyReachesItsMail)
{
    SmtpServer server({"--pipelining", "--batch", "0.05", "--refuse", "a1@example.org",
                       "--data-reply", "a2@example.org=554 5.6.0 Content refused",
                       "--end-reply", "a3@example.org=550 5.7.1 Message refused",
                       "--end-reply", "a4@example.org=421 4.4.2 Closing connection"},
                      "smtp_fault_server.py");
    TEMailVersand sender;
    keep(sender, server);
    std::vector<std::unique_ptr<TEMail>> mails;
    for (int i = 0; i < 7; ++i)
        mails.push_back(std::make_unique<TEMail>(circularTo(QString("a%1@example.org").arg(i))));
    QStringList outcomes;
    for (size_t i = 0; i < mails.size(); ++i) {
        if (i + 1 < mails.size())
            sender.QueueNext(*mails[i + 1]);   // as the run does: the next mail is known before this one goes
        try {
            sender.SendMail(*mails[i]);
            outcomes << (sender.LastDelivery().Complete() ? "ok" : "partly");
        } catch (const ESendFailed& e) {
            outcomes << QString(e.Temporary() ? "temporary " : "permanent ") + e.message().section("Antwort des Servers: ", 1).left(9);
        }
    }
    sender.Close();
    EXPECT_EQ(outcomes, QStringList({"ok", "permanent 550 5.1.1", "permanent 554 5.6.0", "permanent 550 5.7.1",
                                     "temporary 421 4.4.2", "ok", "ok"}));
    ASSERT_EQ(server.MailCount(), 3);
    EXPECT_EQ(server.Envelope(1).value(1), "a0@example.org");
    EXPECT_EQ(server.Envelope(2).value(1), "a5@example.org");
    EXPECT_EQ(server.Envelope(3).value(1), "a6@example.org");
    const QStringList t = server.Transcript(sender.Connections());
    // The next mail's MAIL came before the server had answered the "." of the one before.
    EXPECT_EQ(t.filter(QRegularExpression("^AHEAD ")), QStringList({"AHEAD after a0@example.org", "AHEAD after a3@example.org",
                                                                    "AHEAD after a5@example.org"}));
    EXPECT_EQ(t.filter(QRegularExpression("^DATA-END ")).size(), 5);   // a0, a3, a4, a5, a6: no message twice
    EXPECT_EQ(sender.Connections(), 4);   // a failure before the "." and the 421 end the connection
}
