// The real `kalvex oauth` program against the OAuth test server: what a
// sign-in leaves in config.ini, exit codes, the browser from the command
// line, logout, and two processes refreshing at once.

#include "CliFixture.h"
#include "OAuthServer.h"

#include "config/IniPlus.h"
#include "config/uCrypt.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

using Result = CliResult;

class OAuthCliTest : public CliFixture {
protected:
    void SetUp() override
    {
        CliFixture::SetUp();
        env.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");   // no secret store: config.ini
        env.remove("BROWSER");
    }
    static Result finish(QProcess& p)
    {
        p.waitForFinished(60000);
        return resultOf(p);
    }
    Result run(const QStringList& args) { return finish(*start(args)); }
    // A device-code login; the user approves the code the program printed.
    Result deviceLogin(const QStringList& options)
    {
        auto p = start(QStringList{"oauth", "login"} + options);
        QString printed;
        while (!printed.contains(" ein.") && p->waitForReadyRead(10000))
            printed += QString::fromUtf8(p->readAllStandardOutput());
        const auto shown = QRegularExpression("Öffnen Sie (\\S+) in einem Browser und geben Sie den Code (\\S+) ein").match(printed);
        TestDeviceUser user;
        if (shown.hasMatch())
            user.Prompt()(shown.captured(1), shown.captured(2));
        Result r = finish(*p);
        r.out.prepend(printed);
        return r;
    }
    QStringList endpoints(const OAuthServer& oauth) const
    {
        return {"--provider", "custom", "--client-id", "kalvex-test-client", "--scopes", "smtp openid offline_access",
                "--authorization-url", oauth.Base() + "/authorize", "--token-url", oauth.Base() + "/token",
                "--device-url", oauth.Base() + "/devicecode"};
    }
    QString ini(const QString& key) const
    {
        return TIniFile(dir.filePath("common/Common04/KVXIni/config.ini")).ReadString("OAuth", key, "");
    }
    void configureSmtp(quint16 port)
    {
        ASSERT_EQ(run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(port), "--encrypted", "0",
                       "--sender", "nutzer@kalvex.test"}).code, 0);
    }
    QStringList send() const { return {"send", "--subject", "OAuth", "--body", "Hallo", "--to", "empfaenger@kalvex.test"}; }
};

}  // namespace

// Nothing is stored before a sign-in succeeded: neither a mistyped option
// nor tokens without a refresh token nor answers that are no tokens.
TEST_F(OAuthCliTest, OnlyASuccessfulSignInIsStored)
{
    OAuthServer oauth({"--strict", "--client-secret", "richtig", "--hostile-device"});
    ASSERT_TRUE(oauth.Running());
    Result r = deviceLogin(endpoints(oauth) + QStringList{"--client-secret", "richtig"});
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains("Angemeldet als nutzer@kalvex.test")) << r.out.toStdString();   // from UserInfo
    EXPECT_FALSE(r.out.contains(QChar(0x1b))) << "terminal escapes from the provider printed";
    EXPECT_GE(oauth.Count("basic_auth"), 2);
    const QString token = ini("RefreshToken");
    ASSERT_FALSE(token.isEmpty());
    EXPECT_EQ(ini("ClientSecret"), "richtig");

    r = deviceLogin(endpoints(oauth) + QStringList{"--client-secret", "falsch"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.err.contains("invalid_client")) << r.err.toStdString();
    oauth.NextTokenAnswer(200, R"({"access_token": "kurz", "token_type": "Bearer", "scope": "smtp openid"})");
    r = deviceLogin(endpoints(oauth) + QStringList{"--tenant", "anders"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.err.contains("kein Refresh-Token")) << r.err.toStdString();
    oauth.NextTokenAnswer(200, "<html>Wartung</html>", "text/html");
    r = deviceLogin(endpoints(oauth) + QStringList{"--tenant", "anders"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.err.contains("(HTTP 200): <html>Wartung</html>")) << r.err.toStdString();
    EXPECT_FALSE(r.out.contains("Angemeldet als")) << r.out.toStdString();
    r = run(QStringList{"oauth", "login"} + endpoints(oauth) + QStringList{"--token-url", "http://kalvex.example/token"});
    EXPECT_EQ(r.code, 2);
    EXPECT_TRUE(r.err.contains("https://")) << r.err.toStdString();

    EXPECT_EQ(ini("ClientSecret"), "richtig");
    EXPECT_EQ(ini("Tenant"), "");
    EXPECT_EQ(ini("TokenUrl"), oauth.Base() + "/token");
    EXPECT_EQ(ini("RefreshToken"), token);
    EXPECT_EQ(run({"oauth", "status"}).code, 0);
}

// --browser from the command line on the offscreen platform: xdg-open (a
// stand-in that fetches with curl) opens the address, the listener waits.
TEST_F(OAuthCliTest, BrowserSignInFromTheCommandLine)
{
    OAuthServer oauth({"--strict"});
    ASSERT_TRUE(oauth.Running());
    const QString bin = dir.filePath("bin");
    QDir().mkpath(bin);
    QFile script(bin + "/xdg-open");
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\ncurl -s -L -o \"$0.page\" \"$1\"\nmv \"$0.page\" \"$0.done\"\n");
    script.close();
    script.setPermissions(script.permissions() | QFile::ExeOwner);
    env.insert("PATH", bin + ":" + env.value("PATH"));

    const Result r = run(QStringList{"oauth", "login", "--browser"} + endpoints(oauth));
    ASSERT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains("öffnen Sie diese Adresse: " + oauth.Base() + "/authorize?")) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains("Angemeldet als nutzer@kalvex.test")) << r.out.toStdString();
    QFile page(bin + "/xdg-open.done");
    for (int i = 0; i < 100 && !page.exists(); ++i)
        QThread::msleep(100);
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    EXPECT_TRUE(page.readAll().contains("Die Anmeldung ist abgeschlossen"));
    EXPECT_FALSE(ini("RefreshToken").isEmpty());
}

// Logout revokes at the provider; a grant the provider refused is removed.
TEST_F(OAuthCliTest, LogoutRevokesAndARefusedGrantIsForgotten)
{
    OAuthServer oauth({"--strict"});
    SmtpServer smtp({"--auth", "XOAUTH2", "--oauth", oauth.Base()});
    ASSERT_TRUE(oauth.Running() && smtp.Running());
    configureSmtp(smtp.Port());
    ASSERT_EQ(deviceLogin(endpoints(oauth)).code, 0);
    Result r = run({"oauth", "status"});
    EXPECT_TRUE(r.out.contains("Angemeldet als:    nutzer@kalvex.test")) << r.out.toStdString();
    r = run({"oauth", "logout"});
    EXPECT_EQ(r.code, 0);
    EXPECT_TRUE(r.out.contains("beim Anbieter widerrufen")) << r.out.toStdString();
    EXPECT_EQ(oauth.Count("revoke"), 1);
    EXPECT_EQ(run({"oauth", "status"}).code, 1);

    ASSERT_EQ(deviceLogin(endpoints(oauth)).code, 0);
    ASSERT_EQ(run(send()).code, 0);
    oauth.RevokeRefreshTokens();
    EXPECT_EQ(run(send()).code, 1);
    r = run({"oauth", "status"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.out.contains("nicht angemeldet")) << r.out.toStdString();
    EXPECT_EQ(ini("RefreshToken"), "");
}

// Two programs refreshing at the same moment against a provider that
// rotates refresh tokens and takes a reused one for theft.
TEST_F(OAuthCliTest, ConcurrentRefreshesKeepTheGrant)
{
    OAuthServer oauth({"--rotate", "--lifetime", "60", "--refresh-delay", "1"});
    SmtpServer smtp({"--auth", "XOAUTH2", "--oauth", oauth.Base()});
    ASSERT_TRUE(oauth.Running() && smtp.Running());
    configureSmtp(smtp.Port());
    ASSERT_EQ(deviceLogin(endpoints(oauth)).code, 0);
    auto first = start(send());
    auto second = start(send());
    const Result a = finish(*first);
    const Result b = finish(*second);
    EXPECT_EQ(a.code, 0) << a.err.toStdString();
    EXPECT_EQ(b.code, 0) << b.err.toStdString();
    EXPECT_EQ(oauth.Count("reuse"), 0);
    EXPECT_EQ(oauth.Count("refresh_token"), 2);
    const Result third = run(send());
    EXPECT_EQ(third.code, 0) << third.err.toStdString();
    EXPECT_EQ(smtp.MailCount(), 3);
}
