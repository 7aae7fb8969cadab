#include "send/oauth/OAuthSettings.h"

#include "config/IniPlus.h"
#include "config/LanguageUnit.h"

#include <QUrl>

namespace kalvex {

namespace {

const QString kSection = QStringLiteral("OAuth");

QString microsoftEndpoint(const QString& tenant, const char* tail)
{
    const QString t = tenant.trimmed().isEmpty() ? QStringLiteral("organizations") : tenant.trimmed();
    return QStringLiteral("https://login.microsoftonline.com/%1/oauth2/v2.0/%2").arg(t, QLatin1String(tail));
}

// Custom endpoints, or the preset's for the named provider.
QString endpoint(const TOAuthSettings& s, const QString& own, const char* microsoft, const char* google)
{
    switch (s.provider) {
    case TOAuthProvider::Microsoft: return microsoftEndpoint(s.tenant, microsoft);
    case TOAuthProvider::Google: return QString::fromLatin1(google);
    case TOAuthProvider::Custom: return own.trimmed();
    }
    return {};
}

QString insecureEndpoint(const TOAuthSettings& s)
{
    if (s.provider != TOAuthProvider::Custom)
        return {};
    for (const QString& url : {s.authorizationUrl, s.tokenUrl, s.deviceUrl, s.issuer})
        if (!url.trimmed().isEmpty() && !IsSafeEndpoint(url.trimmed()))
            return url.trimmed();
    return {};
}

}  // namespace

bool IsSafeEndpoint(const QString& url)
{
    const QUrl u(url, QUrl::StrictMode);
    if (!u.isValid() || u.host().isEmpty())
        return false;
    if (u.scheme() == QLatin1String("https"))
        return true;
    const QString host = u.host().toLower();
    return u.scheme() == QLatin1String("http")
        && (host == QLatin1String("127.0.0.1") || host == QLatin1String("::1") || host == QLatin1String("localhost"));
}

QString TOAuthSettings::AuthorizationEndpoint() const
{
    return endpoint(*this, authorizationUrl, "authorize", "https://accounts.google.com/o/oauth2/v2/auth");
}

QString TOAuthSettings::TokenEndpoint() const
{
    return endpoint(*this, tokenUrl, "token", "https://oauth2.googleapis.com/token");
}

QString TOAuthSettings::DeviceEndpoint() const
{
    return endpoint(*this, deviceUrl, "devicecode", "https://oauth2.googleapis.com/device/code");
}

// offline_access (Microsoft) brings the refresh token; Google gives one to
// installed apps anyway. openid/email name the user in the id_token.
QString TOAuthSettings::EffectiveScopes() const
{
    if (!scopes.trimmed().isEmpty() || provider == TOAuthProvider::Custom)
        return scopes.simplified();
    if (provider == TOAuthProvider::Google)
        return QStringLiteral("https://mail.google.com/ openid email");
    return QStringLiteral("https://outlook.office.com/SMTP.Send offline_access openid email");
}

QString TOAuthSettings::UserInfoEndpoint() const
{
    return provider == TOAuthProvider::Google ? QStringLiteral("https://openidconnect.googleapis.com/v1/userinfo") : QString();
}

// Microsoft has no RFC 7009 endpoint: its grants end by their own policy.
QString TOAuthSettings::RevocationEndpoint() const
{
    return provider == TOAuthProvider::Google ? QStringLiteral("https://oauth2.googleapis.com/revoke") : QString();
}

QString TOAuthSettings::DiscoveryUrl() const
{
    if (provider != TOAuthProvider::Custom)
        return {};
    QString base = issuer.trimmed();
    if (base.isEmpty())
        base = QUrl(tokenUrl.trimmed()).adjusted(QUrl::RemovePath | QUrl::RemoveQuery | QUrl::RemoveFragment).toString();
    while (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    return base.isEmpty() ? QString() : base + QStringLiteral("/.well-known/openid-configuration");
}

bool TOAuthSettings::AsksOfflineAccess() const
{
    return provider == TOAuthProvider::Google
        || EffectiveScopes().split(QLatin1Char(' ')).contains(QLatin1String("offline_access"));
}

QString TOAuthSettings::Incomplete() const
{
    if (clientId.trimmed().isEmpty())
        return Tx(3504, "Für OAuth 2.0 fehlt die Client-ID der registrierten Anwendung.");
    if (TokenEndpoint().isEmpty() || (AuthorizationEndpoint().isEmpty() && DeviceEndpoint().isEmpty()))
        return Tx(3505, "Für OAuth 2.0 fehlen die Adressen des Anmeldedienstes (Autorisierung, Token).");
    if (const QString url = insecureEndpoint(*this); !url.isEmpty())
        return Tx(4600, "Der Anmeldedienst muss mit https:// erreicht werden (http:// nur auf diesem Rechner): %1").arg(url);
    return {};
}

QString ProviderKey(TOAuthProvider provider)
{
    switch (provider) {
    case TOAuthProvider::Google: return QStringLiteral("Google");
    case TOAuthProvider::Custom: return QStringLiteral("Custom");
    default: return QStringLiteral("Microsoft");
    }
}

TOAuthProvider ProviderFromKey(const QString& key, bool* ok)
{
    if (ok)
        *ok = true;
    for (TOAuthProvider p : {TOAuthProvider::Microsoft, TOAuthProvider::Google, TOAuthProvider::Custom})
        if (key.compare(ProviderKey(p), Qt::CaseInsensitive) == 0)
            return p;
    if (ok)
        *ok = false;
    return TOAuthProvider::Microsoft;
}

QString ClientAuthKey(TOAuthClientAuth auth)
{
    return auth == TOAuthClientAuth::Body ? QStringLiteral("Body") : QStringLiteral("Basic");
}

TOAuthClientAuth ClientAuthFromKey(const QString& key, bool* ok)
{
    const bool body = key.compare(QLatin1String("Body"), Qt::CaseInsensitive) == 0;
    if (ok)
        *ok = body || key.isEmpty() || key.compare(QLatin1String("Basic"), Qt::CaseInsensitive) == 0;
    return body ? TOAuthClientAuth::Body : TOAuthClientAuth::Basic;
}

QString ProviderDisplayName(TOAuthProvider provider)
{
    switch (provider) {
    case TOAuthProvider::Google: return QStringLiteral("Google");
    case TOAuthProvider::Custom: return Tx(3506, "eigener Anmeldedienst");
    default: return QStringLiteral("Microsoft 365");
    }
}

TOAuthSettings LoadOAuthSettings(const QString& configIni)
{
    const TIniFile ini(configIni);
    const auto read = [&](const char* key) { return ini.ReadString(kSection, QLatin1String(key), QString()); };
    TOAuthSettings s;
    s.enabled = read("AuthMethod").compare(QLatin1String("OAuth"), Qt::CaseInsensitive) == 0;
    s.provider = ProviderFromKey(read("Provider"));
    s.clientId = read("ClientId");
    s.clientSecret = read("ClientSecret");
    s.tenant = read("Tenant");
    s.scopes = read("Scopes");
    s.authorizationUrl = read("AuthorizationUrl");
    s.tokenUrl = read("TokenUrl");
    s.deviceUrl = read("DeviceUrl");
    s.issuer = read("Issuer");
    s.clientAuth = ClientAuthFromKey(read("ClientAuth"));
    return s;
}

void SaveOAuthSettings(const QString& configIni, const TOAuthSettings& s)
{
    TIniFile ini(configIni, TIniAccess::OwnerOnly);
    ini.WriteStrings(kSection, {{QStringLiteral("AuthMethod"), s.enabled ? QStringLiteral("OAuth") : QStringLiteral("Passwort")},
                                {QStringLiteral("Provider"), ProviderKey(s.provider)},
                                {QStringLiteral("ClientId"), s.clientId},
                                {QStringLiteral("ClientSecret"), s.clientSecret},
                                {QStringLiteral("Tenant"), s.tenant},
                                {QStringLiteral("Scopes"), s.scopes},
                                {QStringLiteral("AuthorizationUrl"), s.authorizationUrl},
                                {QStringLiteral("TokenUrl"), s.tokenUrl},
                                {QStringLiteral("DeviceUrl"), s.deviceUrl},
                                {QStringLiteral("Issuer"), s.issuer},
                                {QStringLiteral("ClientAuth"), ClientAuthKey(s.clientAuth)}});
}

}  // namespace kalvex
