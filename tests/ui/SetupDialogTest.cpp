#include "config/uConfig.h"
#include "mailinterface/EMail.h"
#include "ui/fSetup.h"

#include "TestApp.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

TConfig directConfig()
{
    TConfig c;
    c.FVersandart = TVersandArt::vaDirekt;
    c.FUser = "absender@example.org";
    c.FPass = "geheim";
    c.FHost = "smtp.example.org";
    c.FPort = 587;
    c.FVerbindungVerschluesselt = true;
    c.FUserNotLikeMailAddress = false;
    c.FUserName = "login";
    return c;
}

}  // namespace

TEST(SetupDialog, SendModeRuleAndInitialValues)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    TFormSetup form(messages);
    form.Initialize(directConfig());
    form.show();
    EXPECT_TRUE(form.IsDirectMode());
    EXPECT_EQ(form.EdPort->text(), "587");
    EXPECT_EQ(form.edUsername->text(), "");   // user name only with the separate-login switch
    EXPECT_FALSE(form.edUsername->isEnabled());
    EXPECT_TRUE(form.btTestConnection->isEnabled());
    form.grab().save(QString(qgetenv("KALVEX_SCREENSHOT_DIR").isEmpty() ? "/tmp" : qgetenv("KALVEX_SCREENSHOT_DIR"))
                     + "/fsetup.png");

    form.rbStandardClient->click();
    for (QWidget* w : {static_cast<QWidget*>(form.EdAbsender), static_cast<QWidget*>(form.EdPass),
                       static_cast<QWidget*>(form.btChangePass), static_cast<QWidget*>(form.edSMTPFQDN),
                       static_cast<QWidget*>(form.EdPort), static_cast<QWidget*>(form.chkEncodedConnection),
                       static_cast<QWidget*>(form.btTestConnection), static_cast<QWidget*>(form.chkExtraUser)})
        EXPECT_FALSE(w->isEnabled()) << w->metaObject()->className();

    form.rbDirekt->click();
    form.chkExtraUser->setChecked(true);
    EXPECT_TRUE(form.edUsername->isEnabled());
}

TEST(SetupDialog, SenderCleanUpAndPasswordLock)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    TFormSetup form(messages);
    form.Initialize(directConfig());
    form.EdAbsender->setText("Max Muster <max@example.org>");
    EXPECT_EQ(form.EdAbsender->text(), "max@example.org");
    form.EdAbsender->setText("Max <max@example.org");
    EXPECT_EQ(form.EdAbsender->text(), "Max <max@example.org");
    form.EdAbsender->setText("a>b<c");   // closing bracket first: nothing is copied
    EXPECT_EQ(form.EdAbsender->text(), "");
    // The rule works on the sender field also when the user name changes.
    form.EdAbsender->blockSignals(true);
    form.EdAbsender->setText("X <x@example.org>");
    form.EdAbsender->blockSignals(false);
    form.edUsername->setText("login");
    EXPECT_EQ(form.EdAbsender->text(), "x@example.org");

    EXPECT_TRUE(form.EdPass->isReadOnly());
    form.btChangePass->click();
    EXPECT_FALSE(form.EdPass->isReadOnly());
    EXPECT_EQ(form.EdPass->echoMode(), QLineEdit::Normal);
    EXPECT_EQ(form.lbPass->text(), "Passwort*");
    form.EdPassExit();
    EXPECT_TRUE(form.EdPass->isReadOnly());
    EXPECT_EQ(form.EdPass->echoMode(), QLineEdit::Password);
    EXPECT_EQ(form.lbPass->text(), "Passwort* (gesperrt)");
}

TEST(SetupDialog, ConnectionTestMessages)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    TFormSetup form(messages);
    form.Initialize(directConfig());
    int calls = 0;
    TSmtpTestRequest seen;
    QString subject;
    form.SetConnectionTester([&](const TSmtpTestRequest& r, TEMail& mail) {
        ++calls;
        seen = r;
        subject = mail.FBetreff;
        if (r.host == "kaputt")
            throw std::runtime_error("refused");
    });
    form.EdPort->setText("25a");
    form.btTestConnectionClick();
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Error),
              QStringList{"Der angegebene Port scheint fehlerhaft zu sein"});
    // A port 16 bits cannot hold is neither tried nor taken into the settings.
    messages.Clear();
    form.EdPort->setText("112083");
    form.btTestConnectionClick();
    form.accept();
    EXPECT_EQ(calls, 0);
    EXPECT_NE(form.result(), QDialog::Accepted);
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Error).size(), 2);
    messages.Clear();

    form.EdPort->setText("2525");
    form.chkExtraUser->setChecked(true);
    form.edUsername->setText("anderer-login");
    form.btTestConnectionClick();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(seen.user, "absender@example.org");   // always the sender address
    EXPECT_EQ(seen.port, 2525);
    EXPECT_TRUE(seen.encrypted);
    EXPECT_EQ(subject, "Die eingestellte Verbindung wurde erfolgreich getestet");
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information),
              QStringList{"Die Verbindung wurde korrekt konfiguriert"});

    form.edSMTPFQDN->setText("kaputt");
    form.btTestConnectionClick();
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Error).last(),
              "Die Verbindungseinstellungen scheinen fehlerhaft zu sein");
}

namespace {

QPushButton* okButton(TFormSetup& form)
{
    for (QPushButton* b : form.findChildren<QPushButton*>())
        if (b->text() == "OK")
            return b;
    return nullptr;
}

}  // namespace

// OK refuses a field that would break the settings file and names it; a
// password over a plain connection is warned about once per dialog, at the
// test or at OK, whichever comes first.
TEST(SetupDialog, OkRefusesLineBreaksAndWarnsOnceAboutAPlainPassword)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    TFormSetup form(messages);
    form.Initialize(directConfig());
    form.show();
    QPushButton* ok = okButton(form);
    ASSERT_NE(ok, nullptr);
    const QString warning = "Warnung: Das Passwort wird unverschlüsselt übertragen, weil die verschlüsselte Verbindung "
                            "ausgeschaltet ist.";

    form.chkExtraUser->setChecked(true);
    form.edUsername->setText("login");
    const std::pair<QLineEdit*, QString> bad[] = {{form.EdAbsender, "me@x\nHost=evil\n[Other]"},
                                                  {form.edSMTPFQDN, "smtp.example.org\r"},
                                                  {form.EdAbsenderName, "Max\x1b[31m"},
                                                  {form.edUsername, QString("login") + QChar(0x85)}};
    for (const auto& [edit, text] : bad) {
        const QString good = edit->text();
        edit->setText(text);
        ok->click();
        EXPECT_TRUE(form.isVisible()) << text.toStdString();
        EXPECT_NE(form.result(), QDialog::Accepted);
        ASSERT_FALSE(messages.Texts(TRecordingMessages::Kind::Error).isEmpty());
        EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Error).last().contains("Zeilenumbrüche"));
        edit->setText(good);
    }
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Error).first().contains("Absender-Adresse"));
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Error).at(1).contains("SMTP-Server"));
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Information).isEmpty());   // encrypted: no warning

    form.chkEncodedConnection->setChecked(false);
    form.SetConnectionTester([](const TSmtpTestRequest&, TEMail&) {});
    form.btTestConnectionClick();
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information).count(warning), 1);
    ok->click();
    EXPECT_EQ(form.result(), QDialog::Accepted);
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information).count(warning), 1);

    // In the other mode the SMTP fields are not taken, so they do not hold OK back.
    TRecordingMessages quiet;
    TFormSetup standard(quiet);
    standard.Initialize(directConfig());
    standard.chkEncodedConnection->setChecked(false);
    standard.EdAbsender->setText("a@b\nc");
    standard.rbStandardClient->click();
    standard.show();
    okButton(standard)->click();
    EXPECT_EQ(standard.result(), QDialog::Accepted);
    EXPECT_TRUE(quiet.Entries().empty());
}
