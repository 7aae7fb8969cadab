#include "InstalledModuleTest.h"
#include "smtp/SmtpServer.h"

#include "config/IniPlus.h"
#include "config/LogFileUnit.h"
#include "config/UserMessages.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"
#include "send/EMailVersand.h"
#include "send/MailingRun.h"

#include <QJsonArray>
#include <QTextDocument>
#include <gtest/gtest.h>
#include <iostream>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

// A fresh installation, a real store and a real SMTP server per test.
class MailingRunTest : public InstalledModuleTest {
protected:
    void useServer(const SmtpServer& server) { InstalledModuleTest::useServer(server, "geheim"); }
    TMailingRun makeRun()
    {
        TMailingRunDeps deps;
        deps.newSmtpSender = [this] {
            auto sender = std::make_unique<TEMailVersand>(&messages);
            sender->Settings().replyTimeoutMs = 5000;
            return sender;
        };
        deps.storeMail = [](TEMail& mail, int kind) {
            TDatenModul::Instance()->SaveEMail(mail, kind == 1 ? TMailStatus::stEntwurf : TMailStatus::stGesendet);
        };
        return TMailingRun(model, messages, *config, deps);
    }
    void addRecipient(const QString& address, TEmpfaengerTyp kind)
    {
        model.AddRecipient({address, {}, {}, 0, 0, 0, kind});
    }
    qint64 logged(const QString& sql) { return TDatenModul::Instance()->Handler().CalcSQL_Int(-1, sql); }

    TComposeModel model;
    TRecordingMessages messages;
};

}  // namespace

TEST_F(MailingRunTest, SeparateRunSendsOneMailPerRecipientAndLogsTheFirst)
{
    SmtpServer server({"--auth", "PLAIN,LOGIN", "--user", "absender@example.org"});
    ASSERT_TRUE(server.Running());
    useServer(server);
    model.Subject = "Rundschreiben";
    model.Body().setPlainText("Gleicher Text für alle");
    for (const char* a : {"a@example.org", "b@example.org", "c@example.org"})
        addRecipient(a, TEmpfaengerTyp::elAn);
    model.SeparateFlag = true;
    TMailingRun run = makeRun();
    run.SendClick();
    ASSERT_EQ(server.MailCount(), 3) << messages.Texts(TRecordingMessages::Kind::Error).join("|").toStdString();
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(server.Envelope(i).size(), 2);   // sender and exactly one recipient
        EXPECT_EQ(server.Parsed(i)["subject"].toString(), "Rundschreiben");
    }
    EXPECT_EQ(logged("select count(*) from KVXGesendeteMails"), 1);
    EXPECT_EQ(logged("select count(*) from KVXEmpfaenger"), 1);
    EXPECT_TRUE(messages.Entries().empty());   // no summary after a separate run
    QFile log(TLogFile::DefaultFileName(common));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const QString lines = QString::fromUtf8(log.readAll());
    EXPECT_EQ(lines.count("Passwort wird unverschlüsselt übertragen"), 1);   // the plain connection, said once
    EXPECT_EQ(lines.count("Rundschreiben an "), 3);                          // who received the circular
    EXPECT_EQ(run.Tally().sent, 3);
}

TEST_F(MailingRunTest, OneMailKeepsTheRecipientKindsAndTheResultCodeCarriesOver)
{
    SmtpServer server({"--auth", "PLAIN,LOGIN", "--user", "absender@example.org"});
    ASSERT_TRUE(server.Running());
    useServer(server);
    model.Subject = "Angebot";
    addRecipient("an@example.org", TEmpfaengerTyp::elAn);
    addRecipient("cc@example.org", TEmpfaengerTyp::elCc);
    addRecipient("bcc@example.org", TEmpfaengerTyp::elBcc);
    TMailingRun run = makeRun();
    run.NewMail();
    run.SendClick();
    ASSERT_EQ(server.MailCount(), 1);
    EXPECT_EQ(server.Parsed(1)["cc"].toString(), "cc@example.org");
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information), QStringList{"EMail(s) wurden gesendet."});
    EXPECT_EQ(logged("select count(*) from KVXEmpfaenger where EmpfType = 2"), 1);

    // A failing send after a good one still reports the earlier success.
    messages.Clear();
    SmtpServer refusing({"--fail-at", "MAIL"});
    config->FPort = refusing.Port();
    run.SendClick();
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Error).size(), 1);
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Error)[0].startsWith("Das Senden der E-Mail wurde abgebrochen.\r\nUrsache: "));
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information), QStringList{"EMail(s) wurden gesendet."});

    // After "Neue E-Mail" a failing send shows no summary.
    messages.Clear();
    run.NewMail();
    run.SendClick();
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Information).isEmpty());
}

TEST_F(MailingRunTest, SeparateFlagRefusals)
{
    addRecipient("a@example.org", TEmpfaengerTyp::elAn);
    addRecipient("c1@example.org", TEmpfaengerTyp::elCc);
    addRecipient("c2@example.org", TEmpfaengerTyp::elBcc);
    model.SeparateFlag = true;
    TMailingRun run = makeRun();
    config->FSendDirekt = 0;
    run.SendClick();
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Error),
              QStringList{"Die Option \"seperat senden\" steht bei Versand über Standard-Client nicht zur Verfügung."});
    messages.Clear();
    config->FSendDirekt = 1;
    run.SendClick();
    const QString each = "Wenn die Option \"seperat senden\" aktiviert ist kann für Empfänger weder CC noch BCC angegeben werden.";
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Error),
              (QStringList{each, each, "Die Option \"seperat senden\" steht bei Nutzung von Cc oder Bcc nicht zur Verfügung."}));
    // A SendDirekt value that is neither 0 nor 1: nothing happens.
    messages.Clear();
    model.SeparateFlag = false;
    config->FSendDirekt = 7;
    run.SendClick();
    EXPECT_TRUE(messages.Entries().empty());
}

TEST_F(MailingRunTest, ConnectionSettingsCheck)
{
    TMailingRun run = makeRun();
    config->FHost = "alt.example.org";
    TConnectionSettingsInput in{true, "", "0", "", "neu@example.org", "Neu Name", false, false, ""};
    EXPECT_FALSE(run.CheckConnectionSettings(in));
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information),
              QStringList{"Die Einstellungen sind unvollständig.\r\nEs wurde kein SMTP-Server angegeben.\r\n"
                          "Es wurde kein SMTP-Port angegeben.\r\nEs wurde kein Passwort angegeben."});
    EXPECT_EQ(config->FHost, "alt.example.org");
    EXPECT_EQ(config->FAbsenderName, "neu@example.org");   // the address lands in the name, as designed

    messages.Clear();
    in = {true, "smtp.example.org", "", "pässwort", "neu@example.org", "Neu Name", true, false, ""};
    EXPECT_TRUE(run.CheckConnectionSettings(in));   // an empty port is not "0"
    EXPECT_TRUE(messages.Entries().empty());
    const TIniFile ini(config->MailServerIniFileName());
    EXPECT_EQ(ini.ReadInteger("SMTP", "SendDirekt", -1), 1);
    EXPECT_NE(ini.ReadString("SMTP", "Passwort", ""), "pässwort");
    EXPECT_EQ(config->FPass, "pässwort");               // read back through the encoding
    EXPECT_EQ(config->FAbsenderName, "Neu Name");
    in.direct = false;
    run.CheckConnectionSettings(in);
    EXPECT_EQ(TIniFile(config->MailServerIniFileName()).ReadInteger("SMTP", "SendDirekt", -1), 0);
}

namespace {

TComposeRecipient personRow(const QString& address, TAnrede anrede, const QString& last, const QString& company)
{
    TComposeRecipient r{address, {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn};
    r.person.anrede = anrede;
    r.person.lastName = last;
    r.person.company = company;
    return r;
}

QString plainPart(const QJsonObject& parsed)
{
    for (const QJsonValue& part : parsed["parts"].toArray())
        if (part["type"].toString() == "text/plain")
            return part["text"].toString();
    return QString();
}

}  // namespace

// Each recipient's mail carries its own fields, exactly as the preview
// shows it; the sent-mail log keeps the template, the log file each
// recipient's subject.
TEST_F(MailingRunTest, PersonalCircularFillsTheRecipientFieldsPerMail)
{
    SmtpServer server({"--auth", "PLAIN,LOGIN", "--user", "absender@example.org"});
    ASSERT_TRUE(server.Running());
    useServer(server);
    model.Subject = "Einladung für <Empfaenger.Firma>";
    model.Body().setPlainText("<Empfaenger.Briefanrede>\nIhre Adresse: <Empfaenger.EMail>");
    model.AddRecipient(personRow("schaefer@example.org", TAnrede::anFrau, "Schäfer", "Bau Nord"));
    model.AddRecipient({"Bernd Albers <albers@example.org>", {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn});   // a manual row
    model.AddRecipient(personRow("info@example.org", TAnrede::anKeine, "", "Wolf & Co"));
    model.SeparateFlag = true;
    TMailingRun run = makeRun();
    QStringList previews;
    for (size_t i = 0; i < 3; ++i) {
        TEMail preview;
        run.PreviewMail(i, preview);
        previews << preview.FBodyPlain;
        EXPECT_FALSE(preview.FBodyRTF.contains("<Empfaenger."));
        EXPECT_FALSE(preview.FBodyHTML.join("").contains("Empfaenger."));
    }
    EXPECT_EQ(server.MailCount(), 0);   // a preview sends nothing

    run.SendClick();
    ASSERT_EQ(server.MailCount(), 3) << messages.Texts(TRecordingMessages::Kind::Error).join("|").toStdString();
    EXPECT_EQ(server.Parsed(1)["subject"].toString(), "Einladung für Bau Nord");
    EXPECT_EQ(server.Parsed(3)["subject"].toString(), "Einladung für Wolf & Co");
    EXPECT_EQ(previews[0], "Sehr geehrte Frau Schäfer,\nIhre Adresse: schaefer@example.org");
    EXPECT_EQ(previews[1], "Guten Tag Bernd Albers,\nIhre Adresse: albers@example.org");
    EXPECT_EQ(previews[2], "Sehr geehrte Damen und Herren,\nIhre Adresse: info@example.org");
    for (int i = 1; i <= 3; ++i)
        EXPECT_EQ(plainPart(server.Parsed(i)).replace("\r\n", "\n").trimmed(), previews[i - 1]);   // lines go out as CR LF

    EXPECT_EQ(logged("select count(*) from KVXGesendeteMails"), 1);
    EXPECT_EQ(TDatenModul::Instance()->Handler().CalcSQL_String("", "select Betreff from KVXGesendeteMails"),
              "Einladung für <Empfaenger.Firma>");
    EXPECT_TRUE(TDatenModul::Instance()->Handler().CalcSQL_String("", "select Inhalt from KVXGesendeteMails")
                    .contains("<Empfaenger.Briefanrede>"));
    QFile log(TLogFile::DefaultFileName(common));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const QString lines = QString::fromUtf8(log.readAll());
    EXPECT_TRUE(lines.contains("Rundschreiben an schaefer@example.org: gesendet (Betreff: \"Einladung für Bau Nord\")"));
    EXPECT_TRUE(lines.contains("(Betreff: \"Einladung für Wolf & Co\")"));
}

TEST_F(MailingRunTest, RecipientFieldsAndMissingAttachmentsAreRefusedBeforeSending)
{
    SmtpServer server({"--auth", "PLAIN,LOGIN", "--user", "absender@example.org"});
    ASSERT_TRUE(server.Running());
    useServer(server);
    model.Subject = "Rundschreiben";
    model.Body().setPlainText("<Empfaenger.Briefanrede> Text");
    addRecipient("a@example.org", TEmpfaengerTyp::elAn);
    addRecipient("b@example.org", TEmpfaengerTyp::elAn);
    TMailingRun run = makeRun();
    run.SendClick();   // one mail to all cannot carry personal fields
    EXPECT_EQ(server.MailCount(), 0);
    ASSERT_EQ(messages.Texts(TRecordingMessages::Kind::Error).size(), 1);
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Error)[0].contains("<Empfaenger.Briefanrede>"));

    // The second recipient's own attachment is missing: not even the first mail goes.
    messages.Clear();
    model.SeparateFlag = true;
    QFile own(dir.filePath("a.pdf"));
    ASSERT_TRUE(own.open(QIODevice::WriteOnly));
    own.write("%PDF");
    own.close();
    model.Recipients[0].person.attachments = QStringList{own.fileName()};
    model.Recipients[1].person.attachments = QStringList{dir.filePath("fehlt.pdf")};
    run.SendClick();
    EXPECT_EQ(server.MailCount(), 0);
    ASSERT_EQ(messages.Texts(TRecordingMessages::Kind::Error).size(), 1);
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Error)[0].contains("fehlt.pdf"));

    // With the file there, each recipient gets only their own attachment.
    model.Recipients[1].person.attachments.clear();
    run.SendClick();
    ASSERT_EQ(server.MailCount(), 2);
    EXPECT_EQ(server.Parsed(1)["parts"].toArray().last()["filename"].toString(), "a.pdf");
    for (const QJsonValue& part : server.Parsed(2)["parts"].toArray())
        EXPECT_TRUE(part["filename"].isUndefined() || part["filename"].isNull());
    EXPECT_EQ(logged("select count(*) from KVXAnhang"), 0);   // the log keeps the template's attachments only
}

// One mail to several recipients, one of them refused (550, or 452 on its
// own): the others get it, it is logged with just them, the window names
// the refused one and the host hears "some sent, some not".
TEST_F(MailingRunTest, AMailRefusedForOneRecipientIsSentAndLoggedForTheOthers)
{
    for (const QString reply : {"550 5.1.1 No such user", "452 4.2.2 Mailbox full"}) {
        SmtpServer server({"--rcpt-reply", "cc@example.org=" + reply}, "smtp_fault_server.py");
        ASSERT_TRUE(server.Running());
        useServer(server);
        config->FPass.clear();   // the fault server offers no AUTH
        model.Recipients.clear();
        model.Subject = "Angebot";
        addRecipient("an@example.org", TEmpfaengerTyp::elAn);
        addRecipient("cc@example.org", TEmpfaengerTyp::elCc);
        addRecipient("bcc@example.org", TEmpfaengerTyp::elBcc);
        messages.Clear();
        TMailingRun run = makeRun();
        run.SendClick();
        QStringList got;
        for (int i = 1; i <= server.MailCount(); ++i)
            got += server.Envelope(i).mid(1);
        EXPECT_EQ(got, QStringList({"an@example.org", "bcc@example.org"})) << reply.toStdString();
        const QStringList errors = messages.Texts(TRecordingMessages::Kind::Error);
        ASSERT_FALSE(errors.isEmpty()) << reply.toStdString();
        EXPECT_EQ(errors.last(), "Die E-Mail wurde gesendet, aber nicht an alle Empfänger.\nDiese Empfänger haben die "
                                 "E-Mail nicht erhalten:\ncc@example.org (" + reply + ")");
        EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Information).isEmpty());
        EXPECT_EQ(run.Tally().sent, 1);
        EXPECT_EQ(run.Tally().partly, 1);
        EXPECT_EQ(WindowExitCode(run.Tally()), 2);
        const qint64 id = logged("select max(ID) from KVXGesendeteMails");
        EXPECT_EQ(logged(QString("select count(*) from KVXEmpfaenger where MailID = %1").arg(id)), 2);
        EXPECT_EQ(logged(QString("select count(*) from KVXEmpfaenger where MailID = %1 and Adresse = 'cc@example.org'").arg(id)), 0);
    }
}

// The line drops after the final "." of a single mail: the user learns the
// delivery is unknown, the mail is logged (it is probably there) and not
// reported as sent or as aborted.
TEST_F(MailingRunTest, AMailWhoseDeliveryIsUnknownIsLoggedAndSaidSo)
{
    SmtpServer server({"--drop", "END=1", "--refuse", "cc@example.org"}, "smtp_fault_server.py");
    ASSERT_TRUE(server.Running());
    useServer(server);
    config->FPass.clear();
    model.Subject = "Angebot";
    addRecipient("an@example.org", TEmpfaengerTyp::elAn);
    addRecipient("cc@example.org", TEmpfaengerTyp::elCc);
    TMailingRun run = makeRun();
    run.SendClick();
    EXPECT_EQ(server.MailCount(), 1);
    const QStringList errors = messages.Texts(TRecordingMessages::Kind::Error);
    ASSERT_EQ(errors.size(), 2);   // the refused address, then the outcome
    EXPECT_TRUE(errors[1].startsWith("Zustellung unbekannt (Verbindung nach dem Senden beendet)\r\nUrsache: ")) << errors[1].toStdString();
    EXPECT_TRUE(errors[1].endsWith("\ncc@example.org (550 5.1.1 No such user)")) << errors[1].toStdString();
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Information).isEmpty());
    EXPECT_EQ(logged("select count(*) from KVXGesendeteMails where MailStatus = 2"), 1);
    EXPECT_EQ(logged("select count(*) from KVXEmpfaenger"), 1);   // without the refused one
    EXPECT_EQ(run.Tally().unknown, 1);
    EXPECT_EQ(run.Tally().failed, 0);
    EXPECT_EQ(WindowExitCode(run.Tally()), 2);
}
