#include "CliOAuth.h"

#include "CliArguments.h"

#include "config/ControlCharacters.h"
#include "config/LanguageUnit.h"
#include "config/uConfig.h"
#include "send/oauth/OAuthProviderInfo.h"
#include "send/oauth/OAuthSignIn.h"
#include "send/oauth/OAuthTokenProvider.h"

#include <QCommandLineParser>
#include <QNetworkAccessManager>
#include <cstdio>

namespace kalvex::cli {

namespace {

void say(const QString& text, FILE* to = stdout)
{
    std::fprintf(to, "%s\n", text.toUtf8().constData());
    std::fflush(to);
}

void addOptions(QCommandLineParser& p)
{
    p.setApplicationDescription(Tx(3524, "Meldet das SMTP-Konto mit OAuth 2.0 an (login), zeigt die Anmeldung (status) "
                                         "oder meldet ab (logout)."));
    p.addHelpOption();
    p.addPositionalArgument(QStringLiteral("login|status|logout"), Tx(3525, "was zu tun ist"));
    p.addOptions({
        {QStringLiteral("provider"), Tx(3526, "Anbieter: microsoft, google oder custom"), QStringLiteral("name")},
        {QStringLiteral("client-id"), Tx(3527, "Client-ID der registrierten Anwendung"), QStringLiteral("id")},
        {QStringLiteral("client-secret"), Tx(3528, "Client-Geheimnis (Google: Desktop-App)"), QStringLiteral("secret")},
        {QStringLiteral("tenant"), Tx(3529, "Microsoft-Mandant (Domäne oder ID; leer: organizations)"), QStringLiteral("tenant")},
        {QStringLiteral("scopes"), Tx(3530, "Berechtigungen, durch Leerzeichen getrennt (leer: die des Anbieters)"), QStringLiteral("scopes")},
        {QStringLiteral("authorization-url"), Tx(3531, "eigener Anmeldedienst: Adresse der Autorisierung"), QStringLiteral("url")},
        {QStringLiteral("token-url"), Tx(3532, "eigener Anmeldedienst: Adresse des Token-Endpunkts"), QStringLiteral("url")},
        {QStringLiteral("device-url"), Tx(3533, "eigener Anmeldedienst: Adresse der Geräte-Anmeldung"), QStringLiteral("url")},
        {QStringLiteral("issuer"), Tx(4607, "eigener Anmeldedienst: Aussteller (OpenID), unter dem die Discovery liegt"), QStringLiteral("url")},
        {QStringLiteral("client-auth"), Tx(4608, "wie sich die Anwendung mit Geheimnis ausweist: basic (HTTP Basic) oder body"), QStringLiteral("basic|body")},
        {QStringLiteral("browser"), Tx(3534, "im Browser dieses Rechners anmelden statt mit Code")},
    });
}

void setText(const QCommandLineParser& p, const char* option, QString& field)
{
    if (p.isSet(QLatin1String(option)))
        field = SettingText(QStringLiteral("--") + QLatin1String(option), p.value(QLatin1String(option)));
}

// The account's settings with the options applied; OAuth is switched on.
TOAuthSettings settingsOf(const QCommandLineParser& p, const QString& configIni)
{
    TOAuthSettings s = LoadOAuthSettings(configIni);
    if (p.isSet(QStringLiteral("provider"))) {
        bool ok = false;
        s.provider = ProviderFromKey(p.value(QStringLiteral("provider")), &ok);
        if (!ok)
            throw EUsage(Tx(3535, "--provider erwartet microsoft, google oder custom."));
    }
    setText(p, "client-id", s.clientId);
    setText(p, "client-secret", s.clientSecret);
    setText(p, "tenant", s.tenant);
    setText(p, "scopes", s.scopes);
    setText(p, "authorization-url", s.authorizationUrl);
    setText(p, "token-url", s.tokenUrl);
    setText(p, "device-url", s.deviceUrl);
    setText(p, "issuer", s.issuer);
    if (p.isSet(QStringLiteral("client-auth"))) {
        bool ok = false;
        s.clientAuth = ClientAuthFromKey(p.value(QStringLiteral("client-auth")), &ok);
        if (!ok || p.value(QStringLiteral("client-auth")).isEmpty())
            throw EUsage(Tx(4609, "--client-auth erwartet basic oder body."));
    }
    s.enabled = true;
    return s;
}

void showDeviceCode(const QString& uri, const QString& code)
{
    say(Tx(3536, "Öffnen Sie %1 in einem Browser und geben Sie den Code %2 ein. Kalvex wartet auf die Anmeldung ...")
            .arg(uri, code));
}

// The address is printed as well: the browser may open on another screen,
// or not at all (no desktop); the listener waits either way.
TBrowserOpener consoleBrowser()
{
    return [](const QUrl& url) {
        say(Tx(4604, "Kalvex wartet auf die Anmeldung im Browser. Öffnet sich keiner, öffnen Sie diese Adresse: %1")
                .arg(url.toString(QUrl::FullyEncoded)));
        if (!ExternalBrowser()(url))
            say(Tx(3512, "Der Browser für die Anmeldung konnte nicht geöffnet werden."), stderr);
        return true;
    };
}

TOAuthTokens signIn(const QCommandLineParser& p, const TOAuthSettings& s)
{
    return p.isSet(QStringLiteral("browser")) ? SignInWithBrowser(s, consoleBrowser()) : SignInWithDevice(s, showDeviceCode);
}

// A failed sign-in is the work failing (exit code 1), not the environment.
int signInFailed(const EKalvex& e)
{
    say(e.message(), stderr);
    return ExitFailed;
}

// The settings are kept only once they have signed in: a mistyped option
// must not replace working ones, a failed sign-in not the stored tokens.
int login(const QCommandLineParser& p, const TConfig& config)
{
    const TOAuthSettings s = settingsOf(p, config.ConfigIniFileName());
    if (const QString missing = s.Incomplete(); !missing.isEmpty())
        throw EUsage(missing);
    TOAuthTokens tokens;
    try {
        tokens = signIn(p, s);
    } catch (const EOAuthFailed& e) {
        return signInFailed(e);
    } catch (const EOAuthSignInRequired& e) {
        return signInFailed(e);
    }
    SaveOAuthSettings(config.ConfigIniFileName(), s);
    TOAuthTokenProvider provider(s, TTokenStore(config.ConfigIniFileName()), {});
    provider.Take(tokens);
    const TStoredSignIn stored = TTokenStore(config.ConfigIniFileName()).Load();
    say(Tx(3537, "Angemeldet als %1 bei %2; das Refresh-Token liegt %3.")
            .arg(VisibleControlCharacters(stored.user.isEmpty() ? config.FUser : stored.user), ProviderDisplayName(s.provider),
                 TokenBackendText(stored.backend)));
    return ExitOk;
}

int status(const TConfig& config)
{
    const TOAuthSettings s = LoadOAuthSettings(config.ConfigIniFileName());
    const TStoredSignIn stored = TTokenStore(config.ConfigIniFileName()).Load();
    say(Tx(3538, "Anmeldung:         %1").arg(s.enabled ? QStringLiteral("OAuth 2.0") : Tx(3539, "Passwort")));
    say(Tx(3540, "Anbieter:          %1").arg(ProviderDisplayName(s.provider)));
    say(Tx(3541, "Client-ID:         %1").arg(s.clientId));
    say(Tx(3542, "Angemeldet als:    %1").arg(stored.refreshToken.isEmpty() ? Tx(3521, "nicht angemeldet")
                                                                           : VisibleControlCharacters(stored.user)));
    say(Tx(3543, "Refresh-Token:     %1").arg(stored.refreshToken.isEmpty() ? QStringLiteral("-") : TokenBackendText(stored.backend)));
    return stored.refreshToken.isEmpty() ? ExitFailed : ExitOk;
}

// True when the provider confirmed; a refusal is told, not fatal.
bool revokeAtProvider(const TOAuthSettings& settings, const QString& refreshToken)
{
    bool revoked = false;
    std::exception_ptr failure;
    QNetworkAccessManager network;
    WaitFor([&](std::function<void()> finished) {
        RevokeRefreshToken(network, settings, refreshToken, [&, finished](bool ok, std::exception_ptr e) {
            revoked = ok;
            failure = e;
            finished();
        });
    });
    try {
        if (failure)
            std::rethrow_exception(failure);
    } catch (const EKalvex& e) {
        say(Tx(4606, "Der Anbieter hat den Widerruf nicht bestätigt: %1").arg(e.message()), stderr);
    }
    return revoked;
}

// Revokes at the provider where it offers that (RFC 7009); the local token
// goes in any case.
int logout(const TConfig& config)
{
    TTokenStore store(config.ConfigIniFileName());
    const bool revoked = revokeAtProvider(LoadOAuthSettings(config.ConfigIniFileName()), store.Load().refreshToken);
    store.Remove();
    say(revoked ? Tx(4605, "Abgemeldet; das Refresh-Token ist beim Anbieter widerrufen und gelöscht.")
                : Tx(3544, "Abgemeldet; das Refresh-Token ist gelöscht."));
    return ExitOk;
}

}  // namespace

int RunOAuth(const QStringList& args, const TGlobalOptions& options)
{
    QCommandLineParser p;
    addOptions(p);
    if (!p.parse(QStringList{QStringLiteral("kalvex oauth")} + args))
        throw EUsage(VisibleControlCharacters(p.errorText()));
    if (p.isSet(QStringLiteral("help"))) {
        say(p.helpText());
        return ExitOk;
    }
    const QStringList action = p.positionalArguments();
    if (action.size() != 1 || !QStringList{"login", "status", "logout"}.contains(action.first()))
        throw EUsage(Tx(3545, "kalvex oauth erwartet genau eine Aktion: login, status oder logout."));
    const TConfig& config = OpenInstallation(options);
    if (action.first() == QLatin1String("login"))
        return login(p, config);
    return action.first() == QLatin1String("status") ? status(config) : logout(config);
}

std::shared_ptr<TOAuthAccount> ConsoleOAuthAccount(const TConfig& config)
{
    return std::make_shared<TOAuthAccount>(config.ConfigIniFileName(),
                                           [](const TOAuthSettings&) { return CommandLineSignInRequired; });
}

}  // namespace kalvex::cli
