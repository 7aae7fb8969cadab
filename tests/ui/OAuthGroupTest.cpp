#include "TestApp.h"
#include "oauth/OAuthServer.h"

#include "config/IniPlus.h"
#include "config/uConfig.h"
#include "send/MailingRun.h"
#include "ui/OAuthGroup.h"
#include "ui/fSetup.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <gtest/gtest.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

// An installation whose config.ini the dialog reads and writes.
TConfig configIn(const QTemporaryDir& dir)
{
    TConfig c;
    c.FCommonPath = dir.path() + "/";
    c.FVersandart = TVersandArt::vaDirekt;
    c.FUser = "nutzer@kalvex.test";
    c.FHost = "smtp.example.org";
    c.FPort = 587;
    QDir().mkpath(c.IniFolder());
    return c;
}

void saveScreenshot(QWidget& w, const QString& name)
{
    w.adjustSize();
    w.grab().save(qEnvironmentVariable("KALVEX_SCREENSHOT_DIR", QDir::tempPath()) + "/" + name);
}

}  // namespace

// The dialog's own group: choice, provider fields, the browser sign-in
// against a real authorization server, and what OK stores.
TEST(OAuthGroup, ChoiceSignInAndStoredSettings)
{
    WidgetApp();
    OAuthServer oauth;
    ASSERT_TRUE(oauth.Running());
    QTemporaryDir dir;
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");   // the refresh token goes to the file
    const TConfig config = configIn(dir);
    TRecordingMessages messages;
    TFormSetup form(messages);
    form.Initialize(config);
    TOAuthGroup& g = *form.gbOAuth;
    EXPECT_TRUE(g.rbPasswort->isChecked());
    EXPECT_FALSE(g.btAnmelden->isEnabled());
    EXPECT_FALSE(SettingsInputOf(form).oauth);

    g.rbOAuth->click();
    EXPECT_TRUE(g.btAnmelden->isEnabled());
    EXPECT_TRUE(g.edTenant->isEnabled());   // Microsoft 365 is the first choice
    EXPECT_TRUE(g.edScopes->placeholderText().contains("SMTP.Send"));   // empty means the provider's own
    EXPECT_FALSE(g.edTokenUrl->isEnabled());
    g.cbProvider->setCurrentIndex(g.cbProvider->findData(static_cast<int>(TOAuthProvider::Custom)));
    EXPECT_FALSE(g.edTenant->isEnabled());
    EXPECT_TRUE(g.edTokenUrl->isEnabled());
    g.edClientId->setText("kalvex-test-client");
    g.edAuthorizationUrl->setText(oauth.Base() + "/authorize");
    g.edTokenUrl->setText(oauth.Base() + "/token");
    g.edScopes->setText("  smtp   openid ");
    EXPECT_EQ(g.lbAngemeldet->text(), "nicht angemeldet");

    TestBrowser browser;
    g.SetBrowser(browser.Opener());
    g.btAnmelden->click();
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Error).isEmpty())
        << messages.Texts(TRecordingMessages::Kind::Error).join("; ").toStdString();
    EXPECT_EQ(g.lbAngemeldet->text(), "Angemeldet als nutzer@kalvex.test");
    EXPECT_EQ(browser.Opened().size(), 1);
    saveScreenshot(form, "setup-oauth.png");

    // A token endpoint that cannot be reached: said in a message.
    g.edTokenUrl->setText("http://127.0.0.1:1/token");
    g.btAnmelden->click();
    ASSERT_EQ(messages.Texts(TRecordingMessages::Kind::Error).size(), 1);
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Error)[0].contains("nicht erreichbar"))
        << messages.Texts(TRecordingMessages::Kind::Error)[0].toStdString();

    g.edTokenUrl->setText(oauth.Base() + "/token");
    form.accept();
    EXPECT_EQ(form.result(), QDialog::Accepted);
    EXPECT_TRUE(SettingsInputOf(form).oauth);
    const TIniFile ini(config.ConfigIniFileName());
    EXPECT_EQ(ini.ReadString("OAuth", "AuthMethod", ""), "OAuth");
    EXPECT_EQ(ini.ReadString("OAuth", "TokenUrl", ""), oauth.Base() + "/token");
    EXPECT_EQ(ini.ReadString("OAuth", "User", ""), "nutzer@kalvex.test");

    // Opened again: the stored choice and who is signed in.
    TFormSetup again(messages);
    again.Initialize(config);
    EXPECT_TRUE(again.gbOAuth->rbOAuth->isChecked());
    EXPECT_EQ(again.gbOAuth->edClientId->text(), "kalvex-test-client");
    EXPECT_EQ(again.gbOAuth->edScopes->text(), "smtp openid");
    EXPECT_EQ(again.gbOAuth->lbAngemeldet->text(), "Angemeldet als nutzer@kalvex.test");
    // What only the command line sets (issuer, client authentication)
    // survives the dialog's OK.
    TOAuthSettings hidden = LoadOAuthSettings(config.ConfigIniFileName());
    hidden.issuer = oauth.Base();
    hidden.clientAuth = TOAuthClientAuth::Body;
    SaveOAuthSettings(config.ConfigIniFileName(), hidden);
    TFormSetup third(messages);
    third.Initialize(config);
    third.accept();
    const TOAuthSettings kept = LoadOAuthSettings(config.ConfigIniFileName());
    EXPECT_EQ(kept.issuer, oauth.Base());
    EXPECT_EQ(kept.clientAuth, TOAuthClientAuth::Body);
    // The mail-program mode leaves the whole group disabled.
    again.rbStandardClient->click();
    EXPECT_FALSE(again.gbOAuth->isEnabled());
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
}
