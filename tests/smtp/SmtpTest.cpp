#include "SmtpServer.h"

#include "config/LogFileUnit.h"
#include "config/UserMessages.h"
#include "mailinterface/EMail.h"
#include "send/EMailVersand.h"

#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QTcpServer>
#include <gtest/gtest.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

TEMail simpleMail()
{
    TEMail mail;
    mail.FVon = "absender@example.org";
    mail.FAn = {"anna@example.org"};
    mail.FBetreff = "Test";
    mail.FBodyPlain = "Hallo";
    mail.FBodyHTML = {"<p>Hallo</p>"};
    return mail;
}

struct SendResult {
    bool ok = false;
    QString message;
    QByteArray mechanism;
};

SendResult sendTo(const SmtpServer& server, TEMail& mail, bool encrypted, const QString& user = QString(),
                  const QString& password = QString(), IUserMessages* messages = nullptr, uint16_t port = 0,
                  int replyTimeoutMs = 5000, bool verify = false)
{
    TEMailVersand sender(messages);
    sender.Setup("127.0.0.1", user, encrypted, port ? port : server.Port(), password);
    sender.Settings().replyTimeoutMs = replyTimeoutMs;
    sender.Settings().connectTimeoutMs = 5000;
    sender.Settings().verifyCertificate = verify;
    SendResult r;
    try {
        r.ok = sender.SendMail(mail);
    } catch (const EKalvex& e) {
        r.message = e.message();
    }
    r.mechanism = sender.LastMechanism();
    return r;
}

class SmtpTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        App();
        TLogFile::Install(std::make_unique<TLogFile>(FLogDir.filePath("log.txt")));
    }
    void TearDown() override { TLogFile::Uninstall(); }
    QString Log() const
    {
        QFile f(FLogDir.filePath("log.txt"));
        f.open(QIODevice::ReadOnly);
        return QString::fromUtf8(f.readAll());
    }
    QTemporaryDir FLogDir;
};

const QString kDifficultName = QString::fromUtf8("Bericht über Mängel (Juni) & mehr.pdf");

}  // namespace

// One message through a real server, checked by an independent parser:
// part tree, texts, attachment bytes, and no injected header.
TEST_F(SmtpTest, MessageArrivesIntactAndNothingIsInjected)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    QTemporaryDir dir;
    QFile file(dir.filePath(kDifficultName));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    QByteArray content;
    for (int i = 0; i < 300001; ++i)   // one byte past whole groups of three: base64 padding
        content += static_cast<char>((static_cast<unsigned>(i) * 7919u) % 256u);
    file.write(content);
    file.close();

    TEMail mail = simpleMail();
    mail.FAn = {"anna@example.org", "", "bernd@example.org"};
    mail.FCc = {"carla@example.org"};
    mail.FBcc = {"geheim@example.org"};
    mail.FBetreff = QString::fromUtf8("Grüße zum Abschluss\r\nBcc: evil@example.org");
    mail.FBodyPlain = QString::fromUtf8("Zeile 1\n.\nZeile ü\r") + QString(2000, 'x') + "\r\nEnde";
    mail.FBodyHTML = {"<p>1</p>", "<p>2</p>", "<p>3</p>"};
    mail.FAnhaenge = {file.fileName()};
    const SendResult r = sendTo(server, mail, false);
    ASSERT_TRUE(r.ok) << r.message.toStdString();
    EXPECT_EQ(mail.FStatus, TMailStatus::stGesendet);
    ASSERT_EQ(server.MailCount(), 1);
    EXPECT_EQ(server.Envelope(1), (QStringList{"absender@example.org", "anna@example.org", "bernd@example.org",
                                               "carla@example.org", "geheim@example.org"}));

    const QJsonObject m = server.Parsed(1);
    EXPECT_TRUE(m["problems"].toArray().isEmpty()) << QJsonDocument(m["problems"].toArray()).toJson().toStdString();
    EXPECT_EQ(m["bcc"].toString(), "");
    EXPECT_FALSE(m["headers"].toArray().contains(QJsonValue("bcc")));
    EXPECT_EQ(m["subject"].toString().remove('\r').remove('\n'), mail.FBetreff.remove('\r').remove('\n'));
    EXPECT_TRUE(m["has_date"].toBool());
    EXPECT_TRUE(m["message_id"].toString().endsWith("@example.org>"));
    EXPECT_EQ(m["cc"].toString(), "carla@example.org");
    const QJsonArray parts = m["parts"].toArray();
    QStringList types;
    for (const auto& p : parts)
        types << p.toObject()["type"].toString();
    EXPECT_EQ(types, (QStringList{"multipart/mixed", "multipart/related", "multipart/alternative", "text/plain",
                                  "text/html", "application/pdf"}));
    EXPECT_EQ(parts[3].toObject()["text"].toString().remove('\r'),
              QString::fromUtf8("Zeile 1\n.\nZeile ü\n") + QString(2000, 'x') + "\nEnde\n");
    EXPECT_EQ(parts[4].toObject()["text"].toString().remove('\r'), " <p>1</p> <p>2</p> <p>3</p>\n");
    EXPECT_EQ(parts[5].toObject()["filename"].toString(), kDifficultName);
    EXPECT_EQ(parts[5].toObject()["size"].toInt(), content.size());
    EXPECT_EQ(parts[5].toObject()["sha1"].toString(),
              QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha1).toHex()));

    // Two bytes past whole groups, and a file of one line's bytes exactly.
    for (const int size : {57 * 4096 + 2, 57}) {
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(content.left(size));
        file.close();
        TEMail again = simpleMail();
        again.FAnhaenge = {file.fileName()};
        ASSERT_TRUE(sendTo(server, again, false).ok);
        const QJsonArray p = server.Parsed(server.MailCount())["parts"].toArray();
        EXPECT_EQ(p.last().toObject()["sha1"].toString(),
                  QString::fromLatin1(QCryptographicHash::hash(content.left(size), QCryptographicHash::Sha1).toHex())) << size;
    }
}

TEST_F(SmtpTest, StartTlsOnPort587WithTheMechanismOfFirstPreference)
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 587))
        GTEST_SKIP() << "port 587 cannot be bound here";
    probe.close();
    SmtpServer server({"--port", "587", "--tls", "starttls", "--auth", "PLAIN,LOGIN"});
    ASSERT_TRUE(server.Running());
    TEMail mail = simpleMail();
    const SendResult r = sendTo(server, mail, true, "kalvex", "geheim");
    ASSERT_TRUE(r.ok) << r.message.toStdString();
    EXPECT_EQ(r.mechanism, "LOGIN");   // LOGIN precedes PLAIN
    EXPECT_EQ(server.MailCount(), 1);

    // Encryption off: no TLS at all, and this server insists on it.
    TEMail plain = simpleMail();
    EXPECT_FALSE(sendTo(server, plain, false, "kalvex", "geheim").ok);
}

TEST_F(SmtpTest, ImplicitTlsWithCramMd5AndCertificateChecking)
{
    SmtpServer server({"--tls", "implicit", "--auth", "PLAIN,CRAM-MD5"});
    ASSERT_TRUE(server.Running());
    TEMail mail = simpleMail();
    SendResult r = sendTo(server, mail, true, "kalvex", "geheim");
    ASSERT_TRUE(r.ok) << r.message.toStdString();
    EXPECT_EQ(r.mechanism, "CRAM-MD5");

    TEMail wrong = simpleMail();
    r = sendTo(server, wrong, true, "kalvex", "falsch");
    EXPECT_EQ(r.message, "Der SMTP-Server antwortet nicht. Bitte überprüfen Sie die Verbindungseinstellungen. "
                         "Antwort des Servers: 535 5.7.8 Authentication credentials invalid");

    // Checking switched on: the self-signed certificate is refused.
    TRecordingMessages messages;
    TEMail checked = simpleMail();
    r = sendTo(server, checked, true, "kalvex", "geheim", &messages, 0, 5000, true);
    EXPECT_EQ(r.message, "Es konnte keine verschlüsselte Verbindung (TLS/SSL) aufgebaut werden..");
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information), QStringList{"TLSHandShake Failed"});
    EXPECT_EQ(server.MailCount(), 1);
}

TEST_F(SmtpTest, AuthenticationChoices)
{
    SmtpServer none({"--auth", ""});
    ASSERT_TRUE(none.Running());
    TEMail mail = simpleMail();
    SendResult r = sendTo(none, mail, false, "kalvex", "geheim");
    EXPECT_EQ(r.message, "Authentifizierung über SASL wird von Ihrem E-Mail-Provider offenbar nicht unterstützt.");
    EXPECT_TRUE(Log().contains("FEHLER - ") && Log().contains("TEMailVersand.Send - "));

    // User name without password: no AUTH at all.
    TEMail unauthenticated = simpleMail();
    r = sendTo(none, unauthenticated, false, "kalvex", QString());
    EXPECT_TRUE(r.ok) << r.message.toStdString();
    EXPECT_TRUE(r.mechanism.isEmpty());
}

TEST_F(SmtpTest, ServerFailuresAtEachStep)
{
    for (const char* step : {"MAIL", "RCPT", "END"}) {
        SmtpServer server({"--fail-at", step, "--fail-reply", "451 try later"});
        ASSERT_TRUE(server.Running());
        TRecordingMessages messages;
        TEMail mail = simpleMail();
        const SendResult r = sendTo(server, mail, false, {}, {}, &messages);
        EXPECT_EQ(r.message, "Der SMTP-Server antwortet nicht. Bitte überprüfen Sie die Verbindungseinstellungen. "
                             "Antwort des Servers: 451 try later") << step;
        EXPECT_EQ(mail.FStatus, TMailStatus::stUndefined) << step;
        EXPECT_TRUE(Log().contains("TEMailVersand.Send - 451 try later")) << step;
        if (QByteArray(step) == "RCPT") {
            EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Error),
                      QStringList{"Die Adresse anna@example.org scheint fehlerhaft zu sein."});
        }
    }
    SmtpServer closing({"--mode", "closedata"});
    TEMail mail = simpleMail();
    mail.FBodyPlain = QString(20000, 'a');
    EXPECT_EQ(sendTo(closing, mail, false).message, "Der SMTP-Server hat die Verbindung unerwartet beendet.");

    SmtpServer silent({"--mode", "silent"});
    TEMail waiting = simpleMail();
    EXPECT_TRUE(sendTo(silent, waiting, false, {}, {}, nullptr, 0, 1200).message.contains("nicht innerhalb von 1.2 Sekunden"));

    // Implicit TLS against a server that speaks plain text.
    SmtpServer plain({});
    TEMail tls = simpleMail();
    EXPECT_EQ(sendTo(plain, tls, true, {}, {}, nullptr, 0, 3000).message,
              "Es konnte keine verschlüsselte Verbindung (TLS/SSL) aufgebaut werden..");
}

// Bad input is refused before anything reaches the server.
TEST_F(SmtpTest, BadInputNeverReachesTheServer)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    TEMail injected = simpleMail();
    injected.FAn = {"anna@example.org\r\nRCPT TO:<evil@example.org>"};
    EXPECT_EQ(sendTo(server, injected, false).message,
              "Die Adresse anna@example.org\r\nRCPT TO:<evil@example.org> scheint fehlerhaft zu sein.");
    TEMail missing = simpleMail();
    missing.FAnhaenge = {"/nicht/da/angebot.pdf"};
    EXPECT_TRUE(sendTo(server, missing, false).message.contains("/nicht/da/angebot.pdf"));
    TEMail noTo = simpleMail();
    noTo.FAn = {"", " "};
    EXPECT_EQ(sendTo(server, noTo, false).message, "Es wurden keine Empfänger angegeben.");
    TEMail noFrom = simpleMail();
    noFrom.FVon.clear();
    EXPECT_EQ(sendTo(server, noFrom, false).message, "Es wurde kein Absender angegeben.");
    EXPECT_EQ(server.MailCount(), 0);
}

// With SMTPUTF8 international addresses go as they are; without it the
// domain goes in its IDNA form and a non-ASCII local part is refused.
TEST_F(SmtpTest, InternationalAddressesUseSmtpUtf8OrIdna)
{
    SmtpServer utf8({"--smtputf8"});
    ASSERT_TRUE(utf8.Running());
    TEMail mail = simpleMail();
    mail.FAn = {QString::fromUtf8("Jürgen Groß <jürgen@müller.example>, anna@bücher.example")};
    SendResult r = sendTo(utf8, mail, false);
    ASSERT_TRUE(r.ok) << r.message.toStdString();
    EXPECT_EQ(utf8.Envelope(1), (QStringList{"absender@example.org", QString::fromUtf8("jürgen@müller.example"),
                                             QString::fromUtf8("anna@bücher.example")}));
    EXPECT_TRUE(utf8.MailLine(1).contains("SMTPUTF8")) << utf8.MailLine(1).toStdString();
    QFile raw(utf8.MailFile(1));
    ASSERT_TRUE(raw.open(QIODevice::ReadOnly));
    EXPECT_TRUE(raw.readAll().contains("To: =?UTF-8?B?SsO8cmdlbiBHcm/Dnw==?= <j\xc3\xbcrgen@m\xc3\xbcller.example>,\r\n"
                                       " anna@xn--bcher-kva.example\r\n"));

    SmtpServer ascii({});
    ASSERT_TRUE(ascii.Running());
    TEMail idn = simpleMail();
    idn.FAn = {QString::fromUtf8("Anna Bücher <anna@bücher.example>")};
    r = sendTo(ascii, idn, false);
    ASSERT_TRUE(r.ok) << r.message.toStdString();
    EXPECT_EQ(ascii.Envelope(1), (QStringList{"absender@example.org", "anna@xn--bcher-kva.example"}));
    EXPECT_FALSE(ascii.MailLine(1).contains("SMTPUTF8"));
    EXPECT_EQ(ascii.Parsed(1)["to"].toString(), QString::fromUtf8("Anna Bücher <anna@xn--bcher-kva.example>"));
    TEMail wide = simpleMail();
    wide.FCc = {QString::fromUtf8("jürgen@example.org")};
    EXPECT_EQ(sendTo(ascii, wide, false).message,
              QString::fromUtf8("Die Adresse jürgen@example.org enthält vor dem @ Zeichen außerhalb von ASCII. "
                                "Der SMTP-Server kann solche Adressen nicht annehmen (SMTPUTF8 fehlt)."));
    EXPECT_EQ(ascii.MailCount(), 1);
}

// Lists in one entry become one RCPT each; bad forms are refused before
// any connection, named as written.
TEST_F(SmtpTest, AddressListsAndDisplayNames)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    TEMail mail = simpleMail();
    mail.FVon = QString::fromUtf8("Büro Schäfer <absender@example.org>");
    mail.FAn = {"a@example.org,b@example.org", "\"Albers, Bernd\" <bernd@example.org>"};
    mail.FCc = {"a@example.org"};
    SendResult r = sendTo(server, mail, false);
    ASSERT_TRUE(r.ok) << r.message.toStdString();
    EXPECT_EQ(server.Envelope(1), (QStringList{"absender@example.org", "a@example.org", "b@example.org",
                                               "bernd@example.org"}));
    const QJsonObject m = server.Parsed(1);
    EXPECT_TRUE(m["problems"].toArray().isEmpty()) << QJsonDocument(m["problems"].toArray()).toJson().toStdString();
    EXPECT_EQ(m["from"].toString(), QString::fromUtf8("Büro Schäfer <absender@example.org>"));
    EXPECT_EQ(m["to"].toString(), "a@example.org, b@example.org, \"Albers, Bernd\" <bernd@example.org>");
    for (const char* bad : {"@", "a@", "@b", "a@@b", "a@x)", "Anna <a@x.org"}) {
        TEMail refused = simpleMail();
        refused.FAn = {QString("ok@example.org, ") + bad};
        EXPECT_EQ(sendTo(server, refused, false).message, QString("Die Adresse %1 scheint fehlerhaft zu sein.").arg(bad));
    }
    EXPECT_EQ(server.MailCount(), 1);
}
