// The separate run as providers see it: one connection, a pace the
// provider allows, retries after temporary refusals and none after
// permanent ones, never a mail twice, and a summary from which the mail
// goes again to just those who did not get it.

#include "InstalledModuleTest.h"
#include "smtp/SmtpServer.h"

#include "config/IniPlus.h"
#include "config/LogFileUnit.h"
#include "config/UserMessages.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"
#include "send/EMailVersand.h"
#include "send/MailingRun.h"
#include "send/SendPacing.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTextDocument>
#include <gtest/gtest.h>
#include <iostream>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

// Records what the progress window would show; cancels like the user once
// a shown text matches.
class TRecordingProgress : public IProgressDisplay {
public:
    void Begin(const QString&, qint64) override {}
    void Step(const QString& text, qint64) override { note(text); }
    bool Cancelled() const override { return FCancelled; }
    void End() override {}
    void BeginRun() override { FCancelled = false; }
    void RunStatus(const QString& text) override { note(text); }
    QStringList Shown;
    QString CancelOn;   // a pattern; empty: never

private:
    void note(const QString& text)
    {
        if (Shown.isEmpty() || Shown.last() != text)
            Shown << text;
        if (!CancelOn.isEmpty() && text.contains(QRegularExpression(CancelOn)))
            FCancelled = true;
    }
    bool FCancelled = false;
};

class SeparateRunTest : public InstalledModuleTest {
protected:
    void SetUp() override
    {
        InstalledModuleTest::SetUp();
        pacing.retryWaitMs = 50;
    }
    void useServer(const SmtpServer& server)
    {
        ASSERT_TRUE(server.Running());
        InstalledModuleTest::useServer(server);
    }
    void circularTo(const QStringList& addresses)
    {
        model.Subject = "Rundschreiben";
        model.Body().setPlainText("Gleicher Text für alle");
        for (const QString& a : addresses)
            model.AddRecipient({a, {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn});
        model.SeparateFlag = true;
    }
    TMailingRun makeRun()
    {
        TMailingRunDeps deps;
        deps.newSmtpSender = [this] {
            auto sender = std::make_unique<TEMailVersand>(&messages, &progress);
            sender->Settings().replyTimeoutMs = replyTimeoutMs;
            sender->Settings().connectTimeoutMs = std::min(replyTimeoutMs, 30000);
            sender->Settings().dataEndTimeoutMs = replyTimeoutMs;
            return sender;
        };
        deps.storeMail = [](TEMail& mail, int kind) {
            TDatenModul::Instance()->SaveEMail(mail, kind == 1 ? TMailStatus::stEntwurf : TMailStatus::stGesendet);
        };
        deps.progress = &progress;
        deps.pacing = [this] { return pacing; };
        deps.showRunSummary = [this](const TSeparateRunSummary& s) {
            summaries.push_back(s);
            return summaries.size() <= resendTimes;
        };
        return TMailingRun(model, messages, *config, deps);
    }
    QStringList received(const SmtpServer& server) const
    {
        QStringList out;
        for (int i = 1; i <= server.MailCount(); ++i)
            out << server.Envelope(i).value(1);
        return out;
    }
    qint64 logged(const QString& sql) { return TDatenModul::Instance()->Handler().CalcSQL_Int(-1, sql); }

    TComposeModel model;
    TRecordingMessages messages;
    TRecordingProgress progress;
    TSendPacingSettings pacing;
    std::vector<TSeparateRunSummary> summaries;
    size_t resendTimes = 0;
    int replyTimeoutMs = 5000;
};

}  // namespace

TEST(SendPacing, WaitsBetweenMailsAndBeforeRetries)
{
    TSendPacer off(0);
    EXPECT_EQ(off.WaitBefore(0), 0);
    off.Started(1000);
    EXPECT_EQ(off.WaitBefore(1000), 0);

    TSendPacer m365(30);   // Microsoft 365: 30 a minute, one every 2 s
    EXPECT_EQ(m365.IntervalMs(), 2000);
    EXPECT_EQ(m365.WaitBefore(5000), 0);   // the first mail goes at once
    m365.Started(5000);
    EXPECT_EQ(m365.WaitBefore(5300), 1700);
    EXPECT_EQ(m365.WaitBefore(7000), 0);
    EXPECT_EQ(m365.WaitBefore(9000), 0);
    EXPECT_EQ(TSendPacer(7).IntervalMs(), 8572);   // rounded up: never faster than allowed

    TSendPacingSettings s;
    s.retryWaitMs = 10000;
    EXPECT_EQ(RetryWaitMs(s, 1), 10000);
    EXPECT_EQ(RetryWaitMs(s, 2), 20000);
    EXPECT_EQ(RetryWaitMs(s, 3), 40000);
}

TEST(SendPacing, StoredInConfigIniWithDefaultsAndLimits)
{
    QTemporaryDir dir;
    const QString ini = dir.filePath("config.ini");
    TSendPacingSettings s = LoadSendPacing(ini);
    EXPECT_EQ(s.mailsPerMinute, 0);   // off unless set
    EXPECT_EQ(s.tries, 3);
    EXPECT_EQ(s.retryWaitMs, 10000);
    s.mailsPerMinute = 30;
    s.tries = 5;
    SaveSendPacing(ini, s);
    EXPECT_EQ(TIniFile(ini).ReadInteger("Versand", "MailsProMinute", -1), 30);
    EXPECT_EQ(LoadSendPacing(ini).tries, 5);
    TIniFile(ini).WriteStrings("Versand", {{"MailsProMinute", "-4"}, {"Versuche", "0"}, {"WiederholenNachSekunden", "99999"}});
    s = LoadSendPacing(ini);
    EXPECT_EQ(s.mailsPerMinute, 0);
    EXPECT_EQ(s.tries, 1);
    EXPECT_EQ(s.retryWaitMs, 600000);
}

// Two temporary refusals, then the mail goes; a permanent refusal is asked
// once; a recipient refused for now on every try fails after three. All on
// connections the run keeps; no box per failure, the summary names them.
TEST_F(SeparateRunTest, TemporaryRefusalsAreRetriedPermanentOnesNot)
{
    SmtpServer server({"--tempfail", "MAIL=2", "--refuse", "falsch@example.org"}, "smtp_fault_server.py");
    useServer(server);
    circularTo({"a@example.org", "falsch@example.org", "c@example.org"});
    TMailingRun run = makeRun();
    run.SendClick();
    EXPECT_EQ(received(server), QStringList({"a@example.org", "c@example.org"}));
    const QStringList t = server.Transcript(4);   // a failure ends its connection
    EXPECT_EQ(t.filter("MAIL FROM").size(), 5);                   // a three times, then one each
    EXPECT_EQ(t.count("RCPT TO:<falsch@example.org>"), 1);        // 5xx: asked once
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Error).isEmpty());
    EXPECT_TRUE(progress.Shown.contains("Der Server hat vorübergehend abgelehnt. Versuch 2 von 3 in 1 s ..."));
    EXPECT_TRUE(progress.Shown.contains("Der Server hat vorübergehend abgelehnt. Versuch 3 von 3 in 1 s ..."));
    ASSERT_EQ(summaries.size(), 1u);
    EXPECT_EQ(summaries[0].sent, QStringList({"a@example.org", "c@example.org"}));
    ASSERT_EQ(summaries[0].failed.size(), 1);
    EXPECT_EQ(summaries[0].failed[0].first, "falsch@example.org");
    EXPECT_TRUE(summaries[0].failed[0].second.contains("550 5.1.1 No such user"));
    EXPECT_EQ(RunSummaryText(summaries[0]), "2 von 3 E-Mails wurden gesendet. 1 Empfänger hat die E-Mail nicht erhalten.");
    EXPECT_EQ(run.Tally().sent, 2);
    EXPECT_EQ(run.Tally().failed, 1);
    EXPECT_EQ(logged("select count(*) from KVXGesendeteMails"), 1);   // one entry per run

    SmtpServer busy({"--tempfail", "MAIL=9"}, "smtp_fault_server.py");
    useServer(busy);
    model.Recipients.clear();
    circularTo({"a@example.org"});
    run.SendClick();
    EXPECT_EQ(busy.MailCount(), 0);
    EXPECT_EQ(busy.Transcript(3).filter("MAIL FROM").size(), 3);   // the default three tries
    EXPECT_EQ(run.LastSeparateRun().failed.size(), 1);
}

// A line dropped in the middle of a run is tried again on a new
// connection; a mail whose end of data went out unanswered is not sent
// again: the server has it. Its delivery is unknown, not failed, so
// "Erneut senden" leaves it out.
TEST_F(SeparateRunTest, ADroppedLineIsRetriedButATakenMailNeverSentTwice)
{
    SmtpServer server({"--drop", "DATA=2", "--drop", "END=3"}, "smtp_fault_server.py");
    useServer(server);
    circularTo({"a@example.org", "b@example.org", "c@example.org", "d@example.org"});
    resendTimes = 1;
    TMailingRun run = makeRun();
    run.SendClick();
    // b: dropped before its data, sent on the next connection; c: taken,
    // then the line dropped before the 250.
    EXPECT_EQ(received(server), QStringList({"a@example.org", "b@example.org", "c@example.org", "d@example.org"}));
    ASSERT_EQ(summaries.size(), 1u);   // nobody is missing: no second run
    EXPECT_EQ(summaries[0].sent, QStringList({"a@example.org", "b@example.org", "d@example.org"}));
    EXPECT_TRUE(summaries[0].Missing().isEmpty());
    EXPECT_EQ(summaries[0].unknown, (QList<QPair<QString, QString>>{
                                        {"c@example.org", "Der SMTP-Server hat die Verbindung unerwartet beendet."}}));
    EXPECT_EQ(RunSummaryText(summaries[0]),
              "3 von 4 E-Mails wurden gesendet. Bei 1 Empfänger ist die Zustellung unbekannt: die Verbindung endete, "
              "bevor der Server den Empfang bestätigte. Die E-Mail ist wahrscheinlich angekommen und wird nicht "
              "erneut gesendet.");
    EXPECT_EQ(run.Tally().unknown, 1);
    EXPECT_EQ(run.Tally().failed, 0);
    EXPECT_EQ(server.RawTranscript(3).filter(QRegularExpression("^CONNECT ")).size(), 3);
}

// With PIPELINING each mail's commands go right behind the end of the one
// before. A temporary refusal of an end of data is tried again (on a new
// connection: the mail sent ahead may have had its 354); a line dropped
// after an end of data leaves that mail unknown, and the one sent ahead
// behind it goes on a new connection, once.
TEST_F(SeparateRunTest, PipelinedRunRetriesAndNeverSendsAMailTwice)
{
    SmtpServer server({"--pipelining", "--batch", "0.05", "--tempfail", "END=@2", "--drop", "END=5"},
                      "smtp_fault_server.py");
    useServer(server);
    circularTo({"a@example.org", "b@example.org", "c@example.org", "d@example.org", "e@example.org"});
    TMailingRun run = makeRun();
    run.SendClick();
    EXPECT_EQ(received(server), QStringList({"a@example.org", "b@example.org", "c@example.org", "d@example.org",
                                             "e@example.org"}));
    ASSERT_EQ(summaries.size(), 1u);
    EXPECT_EQ(summaries[0].sent, QStringList({"a@example.org", "b@example.org", "c@example.org", "e@example.org"}));
    EXPECT_EQ(summaries[0].Unknown(), QStringList({"d@example.org"}));
    EXPECT_TRUE(summaries[0].Missing().isEmpty());
    const QStringList t = server.Transcript(3);
    EXPECT_EQ(t.filter(QRegularExpression("^AHEAD ")),
              QStringList({"AHEAD after a@example.org", "AHEAD after b@example.org", "AHEAD after b@example.org",
                           "AHEAD after c@example.org"}));   // c behind b's refusal and behind its retry
    EXPECT_EQ(t.filter(QRegularExpression("^DATA-END ")).size(), 6);   // b twice: refused for now, then taken
}

// A cancel while the next mail's commands are on their way: that mail
// never gets its data (the connection is dropped, not ended with a QUIT
// the server could take as message text) and counts as not sent.
TEST_F(SeparateRunTest, ACancelWithTheNextMailSentAheadDoesNotSendIt)
{
    SmtpServer server({"--pipelining", "--batch", "0.05"}, "smtp_fault_server.py");
    useServer(server);
    circularTo({"a@example.org", "b@example.org", "c@example.org", "d@example.org"});
    progress.CancelOn = "^Empfänger 3 von";
    TMailingRun run = makeRun();
    run.SendClick();
    EXPECT_EQ(received(server), QStringList({"a@example.org", "b@example.org"}));
    ASSERT_EQ(summaries.size(), 1u);
    EXPECT_TRUE(summaries[0].cancelled);
    EXPECT_EQ(summaries[0].notSent, QStringList({"c@example.org", "d@example.org"}));
    const QStringList t = server.Transcript(1);
    EXPECT_TRUE(t.contains("AHEAD after b@example.org"));   // c's commands had gone out
    EXPECT_EQ(t.count("QUIT"), 0);
}

// The first mail of a run taken without an answer (the time ran out) is
// logged like a sent one: the log shows what probably went out.
TEST_F(SeparateRunTest, AnUnansweredFirstMailIsLoggedAndNotRetried)
{
    SmtpServer server({"--hang", "END=1"}, "smtp_fault_server.py");
    useServer(server);
    circularTo({"a@example.org", "b@example.org"});
    replyTimeoutMs = 700;   // the end of data waits as long as any reply here
    TMailingRun run = makeRun();
    run.SendClick();
    EXPECT_EQ(received(server), QStringList({"a@example.org", "b@example.org"}));
    ASSERT_EQ(summaries.size(), 1u);
    EXPECT_EQ(summaries[0].Unknown(), QStringList{"a@example.org"});
    EXPECT_EQ(summaries[0].sent, QStringList{"b@example.org"});
    EXPECT_EQ(server.Transcript(2).filter("MAIL FROM").size(), 2);   // a was not tried again
    EXPECT_EQ(logged("select count(*) from KVXGesendeteMails"), 1);
    EXPECT_EQ(logged("select count(*) from KVXEmpfaenger where Adresse = 'a@example.org'"), 1);
}

// A server that takes the connection and never greets is as good as an
// unreachable one: the first recipient's tries, then the run ends.
TEST_F(SeparateRunTest, ASilentServerEndsTheRunAfterTheFirstRecipientsTries)
{
    SmtpServer server({"--fault", "silent"}, "smtp_fault_server.py");
    useServer(server);
    circularTo({"a@example.org", "b@example.org", "c@example.org"});
    pacing.tries = 2;
    replyTimeoutMs = 300;
    TMailingRun run = makeRun();
    run.SendClick();
    EXPECT_EQ(server.RawTranscript(2).filter(QRegularExpression("^CONNECT ")).size(), 2);
    ASSERT_EQ(summaries.size(), 1u);
    ASSERT_EQ(summaries[0].failed.size(), 3);
    EXPECT_EQ(summaries[0].failed[0].second, "Der SMTP-Server 127.0.0.1 hat nicht innerhalb von 0.3 Sekunden geantwortet.");
    for (int i : {1, 2})
        EXPECT_EQ(summaries[0].failed[i].second, "nicht versucht, der SMTP-Server ist nicht erreichbar");
    EXPECT_EQ(run.Tally().failed, 3);
}

// The pace: the wait before each further mail is shown; cancelling while
// it waits ends the run at once, and the mails not tried are named.
TEST_F(SeparateRunTest, PacingWaitsAreShownAndCancelEndsTheWait)
{
    SmtpServer server({}, "smtp_fault_server.py");
    useServer(server);
    circularTo({"a@example.org", "b@example.org", "c@example.org"});
    pacing.mailsPerMinute = 300;   // one every 200 ms
    TMailingRun run = makeRun();
    QElapsedTimer clock;
    clock.start();
    run.SendClick();
    EXPECT_GE(clock.elapsed(), 350);   // two waits; a sanity check, not a timing
    EXPECT_EQ(server.MailCount(), 3);
    EXPECT_EQ(progress.Shown.filter("Nächste E-Mail in 1 s (höchstens 300 E-Mails pro Minute)").size(), 2);
    const QStringList order = progress.Shown.filter(QRegularExpression("^(Empfänger|Nächste)"));
    EXPECT_EQ(order.mid(0, 4), QStringList({"Empfänger 1 von 3: a@example.org", "Empfänger 2 von 3: b@example.org",
                                            "Nächste E-Mail in 1 s (höchstens 300 E-Mails pro Minute)",
                                            "Empfänger 3 von 3: c@example.org"}));

    pacing.mailsPerMinute = 1;     // a minute between mails: only a cancel ends this soon
    progress.CancelOn = "^Nächste E-Mail";
    summaries.clear();
    clock.restart();
    run.SendClick();
    EXPECT_LT(clock.elapsed(), 20000);
    EXPECT_EQ(server.MailCount(), 4);
    ASSERT_EQ(summaries.size(), 1u);
    EXPECT_TRUE(summaries[0].cancelled);
    EXPECT_EQ(summaries[0].sent, QStringList{"a@example.org"});
    EXPECT_EQ(summaries[0].notSent, QStringList({"b@example.org", "c@example.org"}));
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information),
              QStringList{"Der Versand wurde abgebrochen.\n1 von 3 E-Mails wurden gesendet, 2 wurden nicht gesendet."});
}

// "Erneut an fehlgeschlagene Empfänger senden": the same mail once more to
// just those who did not get it; the server gets every address once.
TEST_F(SeparateRunTest, SendingAgainReachesJustTheMissingRecipients)
{
    SmtpServer server({"--tempfail", "RCPT=2"}, "smtp_fault_server.py");
    useServer(server);
    circularTo({"a@example.org", "b@example.org", "c@example.org", "d@example.org"});
    pacing.tries = 1;
    resendTimes = 1;
    TMailingRun run = makeRun();
    run.SendClick();
    EXPECT_EQ(received(server), QStringList({"c@example.org", "d@example.org", "a@example.org", "b@example.org"}));
    ASSERT_EQ(summaries.size(), 2u);
    EXPECT_EQ(summaries[0].Missing(), QStringList({"a@example.org", "b@example.org"}));
    EXPECT_EQ(summaries[1].sent, QStringList({"a@example.org", "b@example.org"}));
    EXPECT_TRUE(summaries[1].Missing().isEmpty());
    EXPECT_EQ(RunSummaryText(summaries[1]), "2 von 2 E-Mails wurden gesendet.");
    EXPECT_EQ(logged("select count(*) from KVXGesendeteMails"), 1);   // a run logs its first mail when it went out
    EXPECT_EQ(run.Tally().sent, 4);
}

// Nobody answers on the server's port: the first recipient's tries, then
// the run ends instead of letting every further recipient wait through
// the same tries; the rest are named as not sent, ready to be sent again.
TEST_F(SeparateRunTest, AnUnreachableServerEndsTheRunAfterTheFirstRecipientsTries)
{
    QTcpServer closed;
    ASSERT_TRUE(closed.listen(QHostAddress::LocalHost));
    const quint16 port = closed.serverPort();
    closed.close();
    config->FSendDirekt = 1;
    config->FVersandart = TVersandArt::vaDirekt;
    config->FHost = "127.0.0.1";
    config->FPort = port;
    config->FUser = "absender@example.org";
    config->FVerbindungVerschluesselt = false;
    circularTo({"a@example.org", "b@example.org", "c@example.org"});
    pacing.tries = 2;
    TMailingRun run = makeRun();
    run.SendClick();
    ASSERT_EQ(summaries.size(), 1u);
    ASSERT_EQ(summaries[0].failed.size(), 3);
    EXPECT_EQ(summaries[0].failed[0].first, "a@example.org");
    EXPECT_TRUE(summaries[0].failed[0].second.contains("nicht erreichbar")) << summaries[0].failed[0].second.toStdString();
    EXPECT_EQ(summaries[0].failed[2], qMakePair(QString("c@example.org"),
                                                QString("nicht versucht, der SMTP-Server ist nicht erreichbar")));
    EXPECT_EQ(progress.Shown.filter("Versuch 2 von 2").size(), 1);   // only the first recipient was tried again
    EXPECT_EQ(run.Tally().failed, 3);
    EXPECT_EQ(RunSummaryText(summaries[0]), "0 von 3 E-Mails wurden gesendet. 3 Empfänger haben die E-Mail nicht erhalten.");
}
