// The real sender against a deliberately broken server: every fault must
// end in the right German message, promptly (the reply time-out stays at
// its 60 s default, so a client that hangs fails with the time-out text),
// and the server must have received what a careful client sends.

#include "SmtpServer.h"

#include "config/LogFileUnit.h"
#include "config/UserMessages.h"
#include "mailinterface/EMail.h"
#include "send/EMailVersand.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <functional>
#include <gtest/gtest.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

const QString kRefused = "Der SMTP-Server antwortet nicht. Bitte überprüfen Sie die Verbindungseinstellungen. "
                         "Antwort des Servers: ";

struct Outcome {
    bool ok = false;
    bool unknown = false;   // the server may have it: neither sent nor failed
    QString message;
    TDeliveryReport delivery;
    QByteArray mechanism;
    QStringList errors;   // message boxes
};

TEMail mailTo(const QStringList& to)
{
    TEMail mail;
    mail.FVon = "absender@example.org";
    mail.FAn = to;
    mail.FBetreff = "Test";
    mail.FBodyPlain = "Hallo";
    mail.FBodyHTML = {"<p>Hallo</p>"};
    return mail;
}

Outcome send(const SmtpServer& server, TEMail& mail, const QString& password = {},
             const std::function<void(TSmtpSettings&)>& adjust = {})
{
    TRecordingMessages messages;
    TEMailVersand sender(&messages);
    sender.Setup("127.0.0.1", "kalvex", false, server.Port(), password);
    if (adjust)
        adjust(sender.Settings());
    Outcome o;
    try {
        o.ok = sender.SendMail(mail);
        o.delivery = sender.LastDelivery();
    } catch (const ESendUnknown& e) {
        o.unknown = true;
        o.message = e.message();
    } catch (const EKalvex& e) {
        o.message = e.message();
    }
    o.mechanism = sender.LastMechanism();
    o.errors = messages.Texts(TRecordingMessages::Kind::Error);
    return o;
}

Outcome send(const SmtpServer& server, TEMail&& mail, const QString& password = {},
             const std::function<void(TSmtpSettings&)>& adjust = {})
{
    return send(server, mail, password, adjust);
}

class SmtpFaultTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        App();
        TLogFile::Install(std::make_unique<TLogFile>(FLogDir.filePath("log.txt")));
    }
    void TearDown() override { TLogFile::Uninstall(); }
    QTemporaryDir FLogDir;
};

}  // namespace

// A reply without end, in lines or in one line: the client stops at its cap
// and hangs up without another word.
TEST_F(SmtpFaultTest, EndlessRepliesAreCutOff)
{
    for (const char* fault : {"endless-multiline", "endless-line"}) {
        SmtpServer server({"--fault", fault}, "smtp_fault_server.py");
        ASSERT_TRUE(server.Running());
        const Outcome o = send(server, mailTo({"anna@example.org"}));
        EXPECT_EQ(o.message, "Der SMTP-Server sendet eine übergroße Antwort.") << fault;
        EXPECT_EQ(server.Transcript(), (QStringList{"EHLO kalvex.localdomain", "CLOSED"})) << fault;
    }
}

// Challenges without end get the password once (LOGIN) or not again
// (PLAIN sent it with the command), then QUIT.
TEST_F(SmtpFaultTest, EndlessChallengesAreNotAnswered)
{
    SmtpServer login({"--fault", "endless-334", "--auth", "LOGIN"}, "smtp_fault_server.py");
    ASSERT_TRUE(login.Running());
    Outcome o = send(login, mailTo({"anna@example.org"}), "geheim");
    EXPECT_EQ(o.message, "Der SMTP-Server verlangt für die Anmeldung (LOGIN) mehr Schritte, als das Verfahren vorsieht.");
    EXPECT_EQ(login.Transcript(), (QStringList{"EHLO kalvex.localdomain", "AUTH LOGIN", "a2FsdmV4", "Z2VoZWlt", "QUIT",
                                               "CLOSED"}));

    SmtpServer plain({"--fault", "endless-334", "--auth", "PLAIN"}, "smtp_fault_server.py");
    ASSERT_TRUE(plain.Running());
    o = send(plain, mailTo({"anna@example.org"}), "geheim");
    EXPECT_EQ(o.message, "Der SMTP-Server verlangt für die Anmeldung (PLAIN) mehr Schritte, als das Verfahren vorsieht.");
    EXPECT_EQ(plain.Transcript(), (QStringList{"EHLO kalvex.localdomain", "AUTH PLAIN AGthbHZleABnZWhlaW0=", "QUIT",
                                               "CLOSED"}));
}

// 452 to a recipient means "no more in this transaction": the accepted
// ones get the mail, the rest follow in further transactions; nobody is
// told an address is wrong. A 452 to the first recipient cannot progress.
TEST_F(SmtpFaultTest, TooManyRecipientsContinueInFurtherTransactions)
{
    SmtpServer server({"--rcpt-limit", "101"}, "smtp_fault_server.py");
    ASSERT_TRUE(server.Running());
    QStringList to;
    for (int i = 1; i <= 250; ++i)
        to << QString("r%1@example.org").arg(i, 3, 10, QChar('0'));
    const Outcome o = send(server, mailTo(to));
    ASSERT_TRUE(o.ok) << o.message.toStdString();
    EXPECT_TRUE(o.errors.isEmpty()) << o.errors.join('\n').toStdString();
    ASSERT_EQ(server.MailCount(), 3);
    EXPECT_EQ(server.Envelope(1), QStringList{"absender@example.org"} + to.mid(0, 100));
    EXPECT_EQ(server.Envelope(2), QStringList{"absender@example.org"} + to.mid(100, 100));
    EXPECT_EQ(server.Envelope(3), QStringList{"absender@example.org"} + to.mid(200));
    QFile first(server.MailFile(1)), last(server.MailFile(3));
    ASSERT_TRUE(first.open(QIODevice::ReadOnly) && last.open(QIODevice::ReadOnly));
    EXPECT_EQ(first.readAll(), last.readAll());

    SmtpServer none({"--rcpt-limit", "1"}, "smtp_fault_server.py");
    ASSERT_TRUE(none.Running());
    const Outcome refused = send(none, mailTo({"anna@example.org"}));
    EXPECT_EQ(refused.message, kRefused + "452 4.5.3 Too many recipients");
    EXPECT_TRUE(refused.errors.isEmpty());
    EXPECT_EQ(none.Transcript().mid(2), (QStringList{"RCPT TO:<anna@example.org>", "QUIT", "CLOSED"}));
}

// The handshake after STARTTLS has the connect time-out, and the message
// names that one.
TEST_F(SmtpFaultTest, StartTlsWithoutHandshakeNamesItsTimeOut)
{
    SmtpServer server({"--fault", "starttls-stall", "--starttls"}, "smtp_fault_server.py");
    ASSERT_TRUE(server.Running());
    const Outcome o = send(server, mailTo({"anna@example.org"}), {}, [](TSmtpSettings& s) {
        s.tls = TSmtpTls::StartTls;
        s.connectTimeoutMs = 1500;
    });
    EXPECT_EQ(o.message, "Der SMTP-Server 127.0.0.1 hat nicht innerhalb von 1.5 Sekunden geantwortet.");
    EXPECT_EQ(server.Transcript(), (QStringList{"EHLO kalvex.localdomain", "STARTTLS", "CLOSED"}));
}

// A refusal keeps the module's text and names the server's reply, without
// the control and format characters a server might slip in; the client
// says QUIT before it hangs up.
TEST_F(SmtpFaultTest, RefusalsNameTheServerReply)
{
    const struct {
        QString reply;
        QString shown;
        QString lastCommand;   // what the server received before QUIT; empty: nothing
    } cases[] = {
        {"GREETING=554 5.7.1 No service for you", "554 5.7.1 No service for you", ""},
        {"AUTH=535 5.7.8 Authentication credentials invalid", "535 5.7.8 Authentication credentials invalid", "Z2VoZWlt"},
        {"MAIL=554 5.7.1 Access\x1b[31m denied\xe2\x80\xae!", "554 5.7.1 Access[31m denied!", "MAIL FROM:<absender@example.org>"},
        {"END=552 5.3.4 Message too big", "552 5.3.4 Message too big", "DATA-END "},
    };
    for (const auto& c : cases) {
        SmtpServer server({"--reply", c.reply, "--auth", "LOGIN"}, "smtp_fault_server.py");
        ASSERT_TRUE(server.Running());
        const Outcome o = send(server, mailTo({"anna@example.org"}), "geheim");
        EXPECT_EQ(o.message, kRefused + c.shown) << c.reply.toStdString();
        QStringList t = server.Transcript();
        EXPECT_EQ(t.mid(t.size() - 2), (QStringList{"QUIT", "CLOSED"})) << t.join('|').toStdString();
        t = t.mid(0, t.size() - 2);
        EXPECT_EQ(t.isEmpty() ? QString() : t.last().left(c.lastCommand.size()), c.lastCommand) << t.join('|').toStdString();
        EXPECT_EQ(server.MailCount(), 0);
    }
}

// S/KEY answers its own "<sequence> <seed>" challenge with the MD4 one-time
// password; a challenge it cannot answer is broken off with "*" and the
// next mechanism is tried.
TEST_F(SmtpFaultTest, SkeyAnswersItsOwnChallengeOrStepsAside)
{
    SmtpServer skey({"--auth", "SKEY LOGIN", "--skey-challenge", "99 TeSt", "--password", "This is a test.",
                     "--skey-answer", "c5e612776e6c237a"}, "smtp_fault_server.py");
    ASSERT_TRUE(skey.Running());
    Outcome o = send(skey, mailTo({"anna@example.org"}), "This is a test.");
    ASSERT_TRUE(o.ok) << o.message.toStdString();
    EXPECT_EQ(o.mechanism, "SKEY");

    SmtpServer odd({"--auth", "SKEY LOGIN", "--skey-challenge", "otp-sha512 5 seed"}, "smtp_fault_server.py");
    ASSERT_TRUE(odd.Running());
    o = send(odd, mailTo({"anna@example.org"}), "geheim");
    ASSERT_TRUE(o.ok) << o.message.toStdString();
    EXPECT_EQ(o.mechanism, "LOGIN");
    EXPECT_TRUE(odd.Transcript().contains("*"));
    EXPECT_EQ(odd.MailCount(), 1);
}

// A refused one-time password may be a sequence out of step: the next
// mechanism the server offers is tried. Other refusals end the login.
TEST_F(SmtpFaultTest, OneTimePasswordRefusalTriesTheNextMechanism)
{
    SmtpServer server({"--auth", "SKEY OTP LOGIN", "--fail-auth", "SKEY OTP"}, "smtp_fault_server.py");
    ASSERT_TRUE(server.Running());
    Outcome o = send(server, mailTo({"anna@example.org"}), "geheim");
    ASSERT_TRUE(o.ok) << o.message.toStdString();
    EXPECT_EQ(o.mechanism, "LOGIN");
    QStringList auths = server.Transcript().filter(QRegularExpression("^AUTH "));
    EXPECT_EQ(auths, (QStringList{"AUTH SKEY a2FsdmV4", "AUTH OTP AGthbHZleA==", "AUTH LOGIN"}));
    EXPECT_EQ(server.MailCount(), 1);

    SmtpServer strict({"--auth", "LOGIN PLAIN", "--fail-auth", "LOGIN"}, "smtp_fault_server.py");
    ASSERT_TRUE(strict.Running());
    o = send(strict, mailTo({"anna@example.org"}), "geheim");
    EXPECT_EQ(o.message, kRefused + "535 5.7.8 Authentication credentials invalid");
    EXPECT_EQ(strict.Transcript().filter(QRegularExpression("^AUTH ")), QStringList{"AUTH LOGIN"});
}

// The size goes with MAIL FROM and is exactly what arrives; a message over
// the announced limit is refused before MAIL FROM, naming both sizes.
TEST_F(SmtpFaultTest, SizeLimitIsHonouredBeforeTheUpload)
{
    QTemporaryDir dir;
    QFile file(dir.filePath("plan.bin"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(10000, 'x') + "\n.\n" + QByteArray(4001, 'y'));
    file.close();
    TEMail mail = mailTo({"anna@example.org"});
    mail.FBodyPlain = "Zeile\n.\n.. zwei Punkte\n";
    mail.FAnhaenge = {file.fileName()};

    SmtpServer roomy({"--size", "1000000"}, "smtp_fault_server.py");
    ASSERT_TRUE(roomy.Running());
    ASSERT_TRUE(send(roomy, mail).ok);
    const qint64 size = QFileInfo(roomy.MailFile(1)).size();
    EXPECT_EQ(roomy.MailLine(1), QString("MAIL FROM:<absender@example.org> SIZE=%1").arg(size));

    SmtpServer tight({"--size", "4000"}, "smtp_fault_server.py");
    ASSERT_TRUE(tight.Running());
    const Outcome o = send(tight, mail);
    EXPECT_EQ(o.message, QString("Die E-Mail ist %1 Bytes groß, der SMTP-Server nimmt aber höchstens 4000 Bytes an.").arg(size));
    EXPECT_EQ(tight.Transcript(), (QStringList{"EHLO kalvex.localdomain", "QUIT", "CLOSED"}));
}

// The server took the mail and the line dropped, or its answer to the
// final "." never came: the outcome is unknown, not a failure, so nobody
// sends the mail again on its account.
TEST_F(SmtpFaultTest, AMailWhoseEndOfDataWentUnansweredIsUnknownNotFailed)
{
    SmtpServer dropped({"--drop", "END=1"}, "smtp_fault_server.py");
    ASSERT_TRUE(dropped.Running());
    Outcome o = send(dropped, mailTo({"anna@example.org"}));
    EXPECT_TRUE(o.unknown) << o.message.toStdString();
    EXPECT_EQ(o.message, "Der SMTP-Server hat die Verbindung unerwartet beendet.");
    EXPECT_EQ(dropped.MailCount(), 1);

    SmtpServer silent({"--hang", "END=1"}, "smtp_fault_server.py");
    ASSERT_TRUE(silent.Running());
    o = send(silent, mailTo({"anna@example.org"}), {}, [](TSmtpSettings& s) { s.dataEndTimeoutMs = 500; });
    EXPECT_TRUE(o.unknown) << o.message.toStdString();
    EXPECT_EQ(o.message, "Der SMTP-Server 127.0.0.1 hat nicht innerhalb von 0.5 Sekunden geantwortet.");
    EXPECT_EQ(silent.MailCount(), 1);

    SmtpServer early({"--drop", "DATA=1"}, "smtp_fault_server.py");   // before the data: a plain failure
    ASSERT_TRUE(early.Running());
    o = send(early, mailTo({"anna@example.org"}));
    EXPECT_FALSE(o.ok || o.unknown);
    EXPECT_EQ(early.MailCount(), 0);
}

// One recipient refused (550, or 452 also as the first of a transaction)
// leaves the others their mail: it goes to those accepted, and the
// refused one is named with the server's reply. Nobody accepted: the mail
// fails as before.
TEST_F(SmtpFaultTest, ARefusedRecipientDoesNotStopTheOthers)
{
    SmtpServer unknownUser({"--rcpt-reply", "b@example.org=550 5.1.1 No such user"}, "smtp_fault_server.py");
    ASSERT_TRUE(unknownUser.Running());
    Outcome o = send(unknownUser, mailTo({"a@example.org", "b@example.org", "c@example.org"}));
    ASSERT_TRUE(o.ok) << o.message.toStdString();
    ASSERT_EQ(unknownUser.MailCount(), 1);
    EXPECT_EQ(unknownUser.Envelope(1), (QStringList{"absender@example.org", "a@example.org", "c@example.org"}));
    EXPECT_EQ(o.delivery.refused, (QList<QPair<QString, QString>>{{"b@example.org", "550 5.1.1 No such user"}}));
    EXPECT_TRUE(o.delivery.unknown.isEmpty());
    EXPECT_EQ(o.errors, QStringList{"Die Adresse b@example.org scheint fehlerhaft zu sein."});

    SmtpServer full({"--rcpt-reply", "b@example.org=452 4.2.2 Mailbox full"}, "smtp_fault_server.py");
    ASSERT_TRUE(full.Running());
    o = send(full, mailTo({"a@example.org", "b@example.org", "c@example.org"}));
    ASSERT_TRUE(o.ok) << o.message.toStdString();
    ASSERT_EQ(full.MailCount(), 2);
    EXPECT_EQ(full.Envelope(1), (QStringList{"absender@example.org", "a@example.org"}));
    EXPECT_EQ(full.Envelope(2), (QStringList{"absender@example.org", "c@example.org"}));
    EXPECT_EQ(o.delivery.refused, (QList<QPair<QString, QString>>{{"b@example.org", "452 4.2.2 Mailbox full"}}));
    EXPECT_TRUE(o.errors.isEmpty());

    o = send(unknownUser, mailTo({"b@example.org"}));
    EXPECT_FALSE(o.ok);
    EXPECT_EQ(o.message, kRefused + "550 5.1.1 No such user");
    EXPECT_EQ(unknownUser.MailCount(), 1);
}
