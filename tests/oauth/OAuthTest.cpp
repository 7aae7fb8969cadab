#include "OAuthServer.h"

#include "config/IniPlus.h"
#include "config/LogFileUnit.h"
#include "config/UserMessages.h"
#include "mailinterface/EMail.h"
#include "send/EMailVersand.h"
#include "send/oauth/DevicePoll.h"
#include "send/oauth/OAuthTokenProvider.h"

#include <QFileInfo>
#include <QUrlQuery>
#include <gtest/gtest.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

const QString kUser = QStringLiteral("nutzer@kalvex.test");

struct SendResult {
    bool ok = false;
    QString message;
    QByteArray mechanism;
};

SendResult sendWith(TOAuthTokenProvider& tokens, const SmtpServer& smtp, const QString& user = kUser)
{
    TEMail mail;
    mail.FVon = user;
    mail.FAn = {QStringLiteral("empfaenger@kalvex.test")};
    mail.FBetreff = QStringLiteral("OAuth");
    mail.FBodyPlain = QStringLiteral("Hallo");
    TEMailVersand sender;
    sender.Setup(QStringLiteral("127.0.0.1"), user, false, smtp.Port(), QString());
    sender.Settings().replyTimeoutMs = 10000;
    sender.SetTokenProvider(&tokens);
    SendResult r;
    try {
        r.ok = sender.SendMail(mail);
    } catch (const EKalvex& e) {
        r.message = e.message();
    }
    r.mechanism = sender.LastMechanism();
    return r;
}

// What the SMTP peer's OAuth mechanisms got as the dummy answer after a refusal.
QStringList dummyAnswers(const SmtpServer& smtp)
{
    QFile f(QFileInfo(smtp.MailFile(1)).dir().filePath("oauth-dummy-answers"));
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLatin1(f.readAll()).split('\n', Qt::SkipEmptyParts);
}

class OAuthTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        App();
        TLogFile::Install(std::make_unique<TLogFile>(FDir.filePath("log.txt")));
    }
    void TearDown() override { TLogFile::Uninstall(); }
    QString ConfigIni() const { return FDir.filePath("config.ini"); }
    // A provider whose sign-in is the browser flow, counted.
    std::unique_ptr<TOAuthTokenProvider> Provider(const OAuthServer& oauth, TestBrowser& browser)
    {
        return std::make_unique<TOAuthTokenProvider>(oauth.Settings(), TTokenStore(ConfigIni(), false),
                                                     [this, &oauth, &browser] {
                                                         ++FSignIns;
                                                         return SignInWithBrowser(oauth.Settings(), browser.Opener(), 20000);
                                                     });
    }
    QTemporaryDir FDir;
    int FSignIns = 0;
};

}  // namespace

// RFC 7636, appendix B.
TEST(OAuthPkce, ChallengeIsTheS256OfTheVerifier)
{
    EXPECT_EQ(CodeChallengeS256("dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk"), "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM");
    const QString verifier = NewCodeVerifier();
    EXPECT_GE(verifier.size(), 43);
    EXPECT_LE(verifier.size(), 128);
    EXPECT_NE(verifier, NewCodeVerifier());
    EXPECT_TRUE(QRegularExpression("^[A-Za-z0-9_~.-]+$").match(verifier).hasMatch());
}

TEST(OAuthSettingsFile, PresetsAndOwnEndpointsSurviveTheFile)
{
    App();
    QTemporaryDir dir;
    const QString ini = dir.filePath("config.ini");
    TOAuthSettings ms;
    ms.enabled = true;
    ms.clientId = "abc";
    ms.tenant = "contoso.onmicrosoft.com";
    SaveOAuthSettings(ini, ms);
    const TOAuthSettings read = LoadOAuthSettings(ini);
    EXPECT_TRUE(read.enabled);
    EXPECT_EQ(read.AuthorizationEndpoint(), "https://login.microsoftonline.com/contoso.onmicrosoft.com/oauth2/v2.0/authorize");
    EXPECT_EQ(read.TokenEndpoint(), "https://login.microsoftonline.com/contoso.onmicrosoft.com/oauth2/v2.0/token");
    EXPECT_TRUE(read.EffectiveScopes().startsWith("https://outlook.office.com/SMTP.Send offline_access"));
    TOAuthSettings google = read;
    google.provider = TOAuthProvider::Google;
    google.enabled = false;
    SaveOAuthSettings(ini, google);
    const TOAuthSettings g = LoadOAuthSettings(ini);
    EXPECT_FALSE(g.enabled);
    EXPECT_EQ(g.AuthorizationEndpoint(), "https://accounts.google.com/o/oauth2/v2/auth");
    EXPECT_EQ(g.TokenEndpoint(), "https://oauth2.googleapis.com/token");
    EXPECT_EQ(g.DeviceEndpoint(), "https://oauth2.googleapis.com/device/code");
    EXPECT_TRUE(g.EffectiveScopes().startsWith("https://mail.google.com/"));
    TOAuthSettings custom = g;
    custom.provider = TOAuthProvider::Custom;
    EXPECT_FALSE(custom.Incomplete().isEmpty());   // no endpoints of its own yet
    custom.clientId.clear();
    EXPECT_TRUE(custom.Incomplete().contains("Client-ID"));

    // The account follows the file: a password account has no provider, a
    // provider is kept while the settings stay and replaced when they change.
    TOAuthAccount account(ini, [](const TOAuthSettings&) { return CommandLineSignInRequired; });
    EXPECT_EQ(account.Current(), nullptr);
    google.enabled = true;
    SaveOAuthSettings(ini, google);
    TOAuthTokenProvider* first = account.Current();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(account.Current(), first);
    google.clientId = "other";
    SaveOAuthSettings(ini, google);
    TOAuthTokenProvider* second = account.Current();
    EXPECT_NE(second, nullptr);
    EXPECT_NE(second, first);
}

// Both sign-ins against a real authorization server: the code flow with
// PKCE and the loopback redirect, and the device flow.
TEST_F(OAuthTest, SignInWithBrowserAndWithDeviceCode)
{
    OAuthServer oauth;
    ASSERT_TRUE(oauth.Running());
    TestBrowser browser;
    const TOAuthTokens tokens = SignInWithBrowser(oauth.Settings(), browser.Opener(), 20000);
    EXPECT_FALSE(tokens.accessToken.isEmpty());
    EXPECT_FALSE(tokens.refreshToken.isEmpty());
    EXPECT_EQ(tokens.user, kUser);   // from the id_token's claims
    EXPECT_GT(tokens.expiresAt, QDateTime::currentDateTimeUtc().addSecs(3000));
    const QUrlQuery asked(browser.Opened().value(0));
    EXPECT_EQ(asked.queryItemValue("code_challenge_method"), "S256");
    EXPECT_TRUE(asked.queryItemValue("redirect_uri").startsWith("http://127.0.0.1:"));
    EXPECT_EQ(oauth.Count("authorization_code"), 1);

    // A challenge swapped on the way: the verifier no longer fits it.
    TestBrowser tampered([](QUrl url) {
        QUrlQuery q(url);
        q.removeQueryItem("code_challenge");
        q.addQueryItem("code_challenge", CodeChallengeS256(NewCodeVerifier()));
        url.setQuery(q);
        return QList<QUrl>{url};
    });
    EXPECT_THROW(SignInWithBrowser(oauth.Settings(), tampered.Opener(), 20000), EKalvex);
    ASSERT_EQ(tampered.Pages(1).size(), 1);   // the page tells the failed exchange, not success
    EXPECT_EQ(tampered.Pages()[0].status, 400);
    EXPECT_TRUE(tampered.Pages()[0].body.contains("fehlgeschlagen")) << tampered.Pages()[0].body.toStdString();

    // Answers that belong to another sign-in, a code and an error, are
    // refused and the sign-in goes on waiting for its own (RFC 6749 §10.12).
    TestBrowser forged([](const QUrl& url) {
        QUrl other = url;
        QUrlQuery q(url);
        q.removeQueryItem("state");
        q.addQueryItem("state", "fremd");
        other.setQuery(q);
        return QList<QUrl>{other, TestBrowser::RedirectOf(url, "error=access_denied&state=fremd"), url};
    });
    EXPECT_FALSE(SignInWithBrowser(oauth.Settings(), forged.Opener(), 20000).refreshToken.isEmpty());
    ASSERT_EQ(forged.Pages(3).size(), 3);
    for (int i : {0, 1}) {
        EXPECT_EQ(forged.Pages()[i].status, 400);
        EXPECT_TRUE(forged.Pages()[i].body.contains("gehört nicht zu dieser Anmeldung")) << forged.Pages()[i].body.toStdString();
    }
    EXPECT_TRUE(forged.Pages()[2].body.contains("Die Anmeldung ist abgeschlossen")) << forged.Pages()[2].body.toStdString();

    // The provider's own error answer: ends the sign-in, with a page; "+" is a blank.
    TestBrowser denied([](const QUrl& url) {
        const QString state = QUrlQuery(url).queryItemValue("state");
        return QList<QUrl>{TestBrowser::RedirectOf(url, "error=access_denied&error_description=Zugriff+verweigert&state=" + state)};
    });
    try {
        SignInWithBrowser(oauth.Settings(), denied.Opener(), 20000);
        ADD_FAILURE() << "error answer taken for a sign-in";
    } catch (const EOAuthFailed& e) {
        EXPECT_TRUE(e.message().contains("Zugriff verweigert access_denied")) << e.message().toStdString();
    }
    ASSERT_EQ(denied.Pages(1).size(), 1);
    EXPECT_TRUE(denied.Pages()[0].body.contains("Zugriff verweigert")) << denied.Pages()[0].body.toStdString();

    TestDeviceUser user;
    const TOAuthTokens device = SignInWithDevice(oauth.Settings(), user.Prompt());
    EXPECT_EQ(user.Shown().first, oauth.Base() + "/device");
    EXPECT_EQ(user.Shown().second.size(), 9);
    EXPECT_FALSE(device.accessToken.isEmpty());
    EXPECT_FALSE(device.refreshToken.isEmpty());
    EXPECT_EQ(device.user, kUser);
    EXPECT_EQ(oauth.Count("device_code"), 1);
}

// The token goes to a real SMTP server that checks it with the
// authorization server; a refused token is refreshed once and tried again.
TEST_F(OAuthTest, SmtpSignInWithTokensRefreshAndRetry)
{
    OAuthServer oauth;
    SmtpServer xoauth({"--auth", "XOAUTH2", "--oauth", oauth.Base()});
    SmtpServer both({"--auth", "XOAUTH2,OAUTHBEARER,PLAIN", "--oauth", oauth.Base()});
    ASSERT_TRUE(oauth.Running() && xoauth.Running() && both.Running());
    TestBrowser browser;
    auto tokens = Provider(oauth, browser);

    SendResult r = sendWith(*tokens, xoauth);
    ASSERT_TRUE(r.ok) << r.message.toStdString();
    EXPECT_EQ(r.mechanism, "XOAUTH2");
    EXPECT_EQ(FSignIns, 1);   // nothing stored yet: the first send signs in
    EXPECT_EQ(xoauth.MailCount(), 1);
    r = sendWith(*tokens, both);
    ASSERT_TRUE(r.ok) << r.message.toStdString();
    EXPECT_EQ(r.mechanism, "OAUTHBEARER");
    EXPECT_EQ(oauth.Count("refresh_token"), 0);   // the token lives an hour

    // The servers stop taking the tokens they saw: 535, one refresh, success.
    oauth.InvalidateAccessTokens();
    r = sendWith(*tokens, xoauth);
    ASSERT_TRUE(r.ok) << r.message.toStdString();
    EXPECT_EQ(oauth.Count("refresh_token"), 1);
    EXPECT_EQ(dummyAnswers(xoauth), QStringList{"b''"});   // XOAUTH2: an empty line
    oauth.InvalidateAccessTokens();
    ASSERT_TRUE(sendWith(*tokens, both).ok);
    EXPECT_EQ(dummyAnswers(both), QStringList{"b'\\x01'"});   // OAUTHBEARER: 0x01
    EXPECT_EQ(oauth.Count("refresh_token"), 2);

    // A mailbox the token does not belong to: refused again after the one
    // refresh, in German with the server's status.
    r = sendWith(*tokens, xoauth, "fremd@kalvex.test");
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.message.contains("OAuth 2.0 abgelehnt")) << r.message.toStdString();
    EXPECT_TRUE(r.message.contains("Status 401, verlangte Berechtigung: https://mail.google.com/")) << r.message.toStdString();
    EXPECT_TRUE(r.message.contains("535")) << r.message.toStdString();
    EXPECT_EQ(oauth.Count("refresh_token"), 3);
    EXPECT_EQ(xoauth.MailCount(), 2);
}

TEST_F(OAuthTest, ShortLivedTokensAreRefreshedBeforeUse)
{
    OAuthServer oauth({"--lifetime", "120", "--rotate"});
    SmtpServer smtp({"--auth", "XOAUTH2", "--oauth", oauth.Base()});
    ASSERT_TRUE(oauth.Running() && smtp.Running());
    TestBrowser browser;
    auto tokens = Provider(oauth, browser);
    ASSERT_TRUE(sendWith(*tokens, smtp).ok);
    const QString first = TTokenStore(ConfigIni(), false).Load().refreshToken;
    ASSERT_TRUE(sendWith(*tokens, smtp).ok);
    ASSERT_TRUE(sendWith(*tokens, smtp).ok);
    // Two minutes is within the margin: each later send refreshes first
    // and the server never has to refuse a token.
    EXPECT_EQ(oauth.Count("refresh_token"), 2);
    EXPECT_TRUE(dummyAnswers(smtp).isEmpty());
    EXPECT_EQ(smtp.MailCount(), 3);
    // The rotated refresh token is the one kept.
    const TStoredSignIn stored = TTokenStore(ConfigIni(), false).Load();
    EXPECT_NE(stored.refreshToken, first);
    EXPECT_EQ(stored.user, kUser);
    // A second program start takes the kept refresh token, no sign-in.
    auto later = Provider(oauth, browser);
    ASSERT_TRUE(sendWith(*later, smtp).ok);
    EXPECT_EQ(FSignIns, 1);
}

// A revoked refresh token: the window signs in again; the command line
// says what to run and sends nothing.
TEST_F(OAuthTest, RevokedGrantLeadsToANewSignIn)
{
    OAuthServer oauth({"--lifetime", "60"});
    SmtpServer smtp({"--auth", "OAUTHBEARER", "--oauth", oauth.Base()});
    ASSERT_TRUE(oauth.Running() && smtp.Running());
    TestBrowser browser;
    auto tokens = Provider(oauth, browser);
    ASSERT_TRUE(sendWith(*tokens, smtp).ok);
    oauth.RevokeRefreshTokens();
    const SendResult again = sendWith(*tokens, smtp);
    ASSERT_TRUE(again.ok) << again.message.toStdString();
    EXPECT_EQ(FSignIns, 2);
    EXPECT_EQ(oauth.Count("invalid_grant"), 1);

    // The window asks first; "Nein" sends nothing, "Ja" opens the browser.
    oauth.RevokeRefreshTokens();
    TRecordingMessages messages;
    messages.QueueAnswer(false);
    messages.QueueAnswer(true);
    TOAuthTokenProvider window(oauth.Settings(), TTokenStore(ConfigIni(), false),
                               InteractiveSignIn(messages, oauth.Settings(), browser.Opener()));
    const SendResult declined = sendWith(window, smtp);
    EXPECT_FALSE(declined.ok);
    EXPECT_TRUE(declined.message.contains("neu an")) << declined.message.toStdString();
    const SendResult accepted = sendWith(window, smtp);
    EXPECT_TRUE(accepted.ok) << accepted.message.toStdString();
    ASSERT_EQ(messages.Texts(TRecordingMessages::Kind::Question).size(), 2);
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Question)[0].contains("Jetzt im Browser neu anmelden?"));
    EXPECT_EQ(smtp.MailCount(), 3);

    oauth.RevokeRefreshTokens();
    TOAuthTokenProvider console(oauth.Settings(), TTokenStore(ConfigIni(), false), CommandLineSignInRequired);
    const SendResult refused = sendWith(console, smtp);
    EXPECT_FALSE(refused.ok);
    EXPECT_TRUE(refused.message.contains("kalvex oauth login")) << refused.message.toStdString();
    EXPECT_EQ(smtp.MailCount(), 3);
}

// Without a secret store the refresh token stands in config.ini, encoded
// like the password, never in clear.
TEST_F(OAuthTest, TokenFallsBackToTheSettingsFileEncoded)
{
    const QByteArray bus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");   // no desktop session here
    TTokenStore store(ConfigIni());
    const QString token = QStringLiteral("1//0gRefresh+Token/mit=Zeichen");
    EXPECT_EQ(store.Save(token, kUser), TTokenBackend::SettingsFile);
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus);
    QFile file(ConfigIni());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    EXPECT_FALSE(text.contains("Refresh+Token"));
    EXPECT_TRUE(text.contains("TokenStore=SettingsFile"));
    EXPECT_EQ(QFileInfo(ConfigIni()).permissions() & (QFile::ReadOther | QFile::ReadGroup), 0);
    const TStoredSignIn read = TTokenStore(ConfigIni(), false).Load();
    EXPECT_EQ(read.refreshToken, token);
    EXPECT_EQ(read.user, kUser);
    EXPECT_EQ(read.backend, TTokenBackend::SettingsFile);
    TTokenStore(ConfigIni(), false).Remove();
    EXPECT_TRUE(TTokenStore(ConfigIni(), false).Load().refreshToken.isEmpty());
}

// Run by test_oauth_secret_store inside a private D-Bus session with an
// unlocked gnome-keyring.
TEST(SecretStore, RefreshTokenGoesToTheKeyringNotTheFile)
{
    if (qEnvironmentVariableIsEmpty("KALVEX_TEST_SECRET_STORE"))
        GTEST_SKIP() << "needs the keyring session of test_oauth_secret_store";
    App();
    QTemporaryDir dir;
    const QString ini = dir.filePath("config.ini");
    TTokenStore store(ini);
    ASSERT_EQ(store.Save("geheimes-refresh-token", kUser), TTokenBackend::SecretStore);
    QFile file(ini);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_FALSE(file.readAll().contains("geheimes"));
    const TStoredSignIn read = TTokenStore(ini).Load();
    EXPECT_EQ(read.refreshToken, "geheimes-refresh-token");
    EXPECT_EQ(read.backend, TTokenBackend::SecretStore);
    // A rotated refresh token with the access token it came with.
    const QDateTime expires = QDateTime::currentDateTimeUtc().addSecs(3600).addMSecs(-QDateTime::currentMSecsSinceEpoch() % 1000);
    ASSERT_EQ(store.Save("gedreht", kUser, "zugang", expires), TTokenBackend::SecretStore);
    const TStoredSignIn rotated = TTokenStore(ini).Load();
    EXPECT_EQ(rotated.refreshToken, "gedreht");
    EXPECT_EQ(rotated.accessToken, "zugang");
    EXPECT_EQ(rotated.accessExpires, expires);
    store.Remove();
    const TStoredSignIn gone = TTokenStore(ini).Load();
    EXPECT_TRUE(gone.refreshToken.isEmpty());
    EXPECT_EQ(gone.backend, TTokenBackend::None);
}

// A strict OpenID provider keeps offline_access (and so the refresh token)
// for sign-ins that ask for consent, and names the account only through
// UserInfo. A sign-in without a refresh token fails.
TEST_F(OAuthTest, StrictProviderGivesALastingSignInOnlyWithConsent)
{
    OAuthServer oauth({"--strict"});
    ASSERT_TRUE(oauth.Running());
    TOAuthSettings s = oauth.Settings();
    s.scopes = "https://mail.google.com/ openid email offline_access";
    TestBrowser browser;
    const TOAuthTokens tokens = SignInWithBrowser(s, browser.Opener(), 20000);
    EXPECT_EQ(QUrlQuery(browser.Opened().value(0)).queryItemValue("prompt"), "consent");
    EXPECT_FALSE(tokens.refreshToken.isEmpty());
    EXPECT_TRUE(tokens.grantedScope.contains("offline_access")) << tokens.grantedScope.toStdString();
    EXPECT_EQ(tokens.user, kUser);   // from UserInfo, found by discovery
    EXPECT_EQ(oauth.Count("userinfo"), 1);

    // The message a sign-in answered by this token answer is refused with.
    auto refusal = [&](TestBrowser& browser, const char* answer) {
        oauth.NextTokenAnswer(200, answer);
        try {
            SignInWithBrowser(s, browser.Opener(), 20000);
        } catch (const EOAuthFailed& e) {
            return e.message();
        }
        return QStringLiteral("(signed in)");
    };
    // The answer of a provider that drops offline_access anyway.
    TestBrowser again;
    const QString noRefresh = refusal(again, R"({"access_token": "kurz", "token_type": "Bearer", "expires_in": 3600, "scope": "openid"})");
    EXPECT_TRUE(noRefresh.contains("kein Refresh-Token; erteilte Berechtigungen: openid")) << noRefresh.toStdString();
    // The user unticked the mail permission on the consent page: refused
    // at sign-in, not later by the SMTP server.
    TestBrowser unticked;
    const QString noMail = refusal(unticked, R"({"access_token": "ohne", "refresh_token": "r", "token_type": "Bearer",
                                                 "expires_in": 3600, "scope": "openid email offline_access"})");
    EXPECT_TRUE(noMail.contains("fehlende Berechtigung: https://mail.google.com/;")) << noMail.toStdString();
    ASSERT_EQ(again.Pages(1).size(), 1);
    EXPECT_FALSE(again.Pages()[0].body.contains("abgeschlossen")) << again.Pages()[0].body.toStdString();

    // The window may send for this session only when the user says so;
    // such tokens never replace the stored refresh token.
    TTokenStore(ConfigIni(), false).Save("gespeichert", kUser);
    TRecordingMessages messages;
    for (bool answer : {true, false, true, true})   // sign in again? session only?
        messages.QueueAnswer(answer);
    for (int i = 0; i < 2; ++i)
        oauth.NextTokenAnswer(200, R"({"access_token": "kurz", "token_type": "Bearer", "scope": "https://mail.google.com/ openid"})");
    TestBrowser window;
    TSignInHandler signIn = InteractiveSignIn(messages, s, window.Opener());
    EXPECT_THROW(signIn(), EOAuthFailed);
    const TOAuthTokens session = signIn();
    EXPECT_EQ(session.accessToken, "kurz");
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Question).value(1).contains("nur für diese Sitzung"));
    TOAuthTokenProvider provider(s, TTokenStore(ConfigIni(), false), {});
    provider.Take(session);
    EXPECT_EQ(provider.AccessToken(), "kurz");
    EXPECT_EQ(TTokenStore(ConfigIni(), false).Load().refreshToken, "gespeichert");
}

namespace {

// The message a refresh ends with; empty when it succeeded.
QString refreshMessage(const TOAuthSettings& settings, const QString& refreshToken)
{
    QNetworkAccessManager network;
    QString message = "-";
    WaitFor([&](std::function<void()> finished) {
        RefreshOAuthTokens(network, settings, refreshToken, [&, finished](const TOAuthTokens&, std::exception_ptr error) {
            message.clear();
            try {
                if (error)
                    std::rethrow_exception(error);
            } catch (const EKalvex& e) {
                message = e.message();
            }
            finished();
        });
    });
    return message;
}

}  // namespace

// Token answers that are no tokens are refused with their status and a
// piece of the body; one beyond the cap is cut off; what the device answer
// would print has no control characters.
TEST_F(OAuthTest, UnusableAndOversizedAnswersAreRefused)
{
    OAuthServer oauth({"--hostile-device"});
    ASSERT_TRUE(oauth.Running());
    TestDeviceUser user;
    const TOAuthTokens device = SignInWithDevice(oauth.Settings(), user.Prompt());
    EXPECT_FALSE(user.Shown().second.contains(QChar(0x1b))) << user.Shown().second.toStdString();
    EXPECT_FALSE(user.Shown().second.contains(QChar(0x07)));
    ASSERT_EQ(refreshMessage(oauth.Settings(), device.refreshToken), "");

    oauth.NextTokenAnswer(200, "<html><body>Wartung</body></html>", "text/html");
    QString m = refreshMessage(oauth.Settings(), device.refreshToken);
    EXPECT_TRUE(m.contains("unbrauchbare Antwort gegeben (HTTP 200): <html><body>Wartung")) << m.toStdString();
    oauth.NextTokenAnswer(200, R"({"token_type": "Bearer"})");
    m = refreshMessage(oauth.Settings(), device.refreshToken);
    EXPECT_TRUE(m.contains("unbrauchbare Antwort gegeben (HTTP 200)")) << m.toStdString();
    oauth.NextTokenAnswer(502, "Bad Gateway", "text/plain");
    m = refreshMessage(oauth.Settings(), device.refreshToken);
    EXPECT_TRUE(m.contains("HTTP 502: Bad Gateway")) << m.toStdString();
    oauth.NextTokenFlood(32 * 1024 * 1024);
    m = refreshMessage(oauth.Settings(), device.refreshToken);
    EXPECT_TRUE(m.contains("zu groß")) << m.toStdString();
}

// A confidential client authenticates with HTTP Basic, id and secret
// form-encoded first (RFC 6749 §2.3.1), or in the body where so set.
TEST_F(OAuthTest, ConfidentialClientsUseBasicOrTheBody)
{
    const QString secret = QStringLiteral("ge heim:+ü/=");
    OAuthServer basic({"--client-secret", secret});
    OAuthServer body({"--client-secret", secret, "--client-auth", "body"});
    ASSERT_TRUE(basic.Running() && body.Running());
    TOAuthSettings s = basic.Settings();
    s.clientSecret = secret;
    TestDeviceUser user;
    EXPECT_FALSE(SignInWithDevice(s, user.Prompt()).refreshToken.isEmpty());
    TestBrowser browser;
    const TOAuthTokens tokens = SignInWithBrowser(s, browser.Opener(), 20000);
    EXPECT_EQ(refreshMessage(s, tokens.refreshToken), "");
    EXPECT_GE(basic.Count("basic_auth"), 4);   // device code, poll, code exchange, refresh
    s.clientSecret = "falsch";
    EXPECT_FALSE(refreshMessage(s, tokens.refreshToken).isEmpty());

    TOAuthSettings b = body.Settings();
    b.clientSecret = secret;
    EXPECT_THROW(SignInWithDevice(b, user.Prompt()), EOAuthFailed);   // Basic where the body is wanted
    b.clientAuth = TOAuthClientAuth::Body;
    EXPECT_FALSE(SignInWithDevice(b, user.Prompt()).refreshToken.isEmpty());
}

// Tokens go to an own provider only over https, or to this machine.
TEST(OAuthSettingsFile, PlainHttpOnlyToThisMachine)
{
    App();
    TOAuthSettings s;
    s.provider = TOAuthProvider::Custom;
    s.clientId = "id";
    s.authorizationUrl = "https://login.example.org/authorize";
    for (const char* url : {"https://login.example.org/token", "http://127.0.0.1:8080/token", "http://localhost/token",
                            "http://[::1]:9/token"}) {
        s.tokenUrl = url;
        EXPECT_EQ(s.Incomplete(), "") << url;
    }
    for (const char* url : {"http://login.example.org/token", "http://127.0.0.1.example.org/token", "ftp://127.0.0.1/token"}) {
        s.tokenUrl = url;
        EXPECT_TRUE(s.Incomplete().contains("https://")) << url;
    }
    s.tokenUrl = "https://login.example.org/token";
    s.deviceUrl = "http://login.example.org/device";
    EXPECT_TRUE(s.Incomplete().contains(s.deviceUrl));
}

// The device flow's pace: the interval between the starts of two polls,
// clamped; 5 s more after slow_down; no poll after the code expired.
TEST(OAuthDevicePoll, ScheduleFollowsTheIntervalAndStopsAtExpiry)
{
    TDevicePollSchedule absurd(QJsonObject{{"interval", 2147483648.0}, {"expires_in", 600}}, 0);
    EXPECT_EQ(absurd.IntervalMs(), TDevicePollSchedule::kMaxIntervalSecs * 1000);
    EXPECT_EQ(TDevicePollSchedule(QJsonObject{{"expires_in", 600}}, 0).IntervalMs(), 5000);   // RFC 8628 §3.5's default
    EXPECT_EQ(TDevicePollSchedule(QJsonObject{{"interval", -3}, {"expires_in", 600}}, 0).IntervalMs(), 1000);

    TDevicePollSchedule s(QJsonObject{{"interval", 5}, {"expires_in", 17}}, 1000);
    EXPECT_EQ(s.DelayMs(1000), 5000);
    s.Polled(6000);
    EXPECT_EQ(s.DelayMs(6300), 4700);   // from the start of the last request, not its answer
    EXPECT_EQ(s.DelayMs(12000), 0);
    s.SlowDown();
    EXPECT_EQ(s.IntervalMs(), 10000);
    EXPECT_EQ(s.DelayMs(6300), 9700);
    s.Polled(16000);
    EXPECT_EQ(s.DelayMs(16200), -1);   // the next one would come after the code expired at 18 s
}

// Another process refreshed (and the provider rotated the refresh token)
// while this one waited: this one takes over the stored tokens instead of
// presenting the old refresh token, which the provider would take for theft.
TEST_F(OAuthTest, ARefreshOfAnotherProcessIsTakenOver)
{
    OAuthServer oauth({"--rotate"});
    ASSERT_TRUE(oauth.Running());
    TestDeviceUser user;
    TOAuthTokenProvider first(oauth.Settings(), TTokenStore(ConfigIni(), false), {});
    first.Take(SignInWithDevice(oauth.Settings(), user.Prompt()));
    TOAuthTokenProvider second(oauth.Settings(), TTokenStore(ConfigIni(), false), {});
    second.EnsureFresh();   // nothing in memory yet: refreshes
    ASSERT_EQ(oauth.Count("refresh_token"), 1);

    std::exception_ptr failure;
    WaitFor([&](std::function<void()> finished) {   // as after a refused token
        first.Refresh([&, finished](std::exception_ptr e) {
            failure = e;
            finished();
        });
    });
    EXPECT_FALSE(failure);
    EXPECT_EQ(first.AccessToken(), second.AccessToken());
    EXPECT_EQ(oauth.Count("refresh_token"), 1);
    EXPECT_EQ(oauth.Count("reuse"), 0);
    TOAuthTokenProvider third(oauth.Settings(), TTokenStore(ConfigIni(), false), {});
    EXPECT_NO_THROW(third.EnsureFresh());   // the grant lives
    EXPECT_EQ(oauth.Count("refresh_token"), 2);
}
