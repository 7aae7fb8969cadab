#pragma once
// The OAuth 2.0 account of the SMTP sending, kept in config.ini, section
// OAuth: provider preset or own endpoints, client ID (and the secret that
// Google gives installed apps), tenant and scopes.

#include <QString>

namespace kalvex {

enum class TOAuthProvider { Microsoft, Google, Custom };

// How a confidential client proves itself at the token endpoint: HTTP Basic
// is the one every server must take (RFC 6749 §2.3.1); some want the body.
enum class TOAuthClientAuth { Basic, Body };

struct TOAuthSettings {
    bool enabled = false;   // "OAuth 2.0" instead of "Passwort"
    TOAuthProvider provider = TOAuthProvider::Microsoft;
    QString clientId;
    QString clientSecret;   // empty for public clients
    QString tenant;         // Microsoft only; "organizations" when empty
    QString scopes;         // the preset's when empty
    QString authorizationUrl;   // Custom only, like the two below
    QString tokenUrl;
    QString deviceUrl;
    QString issuer;         // Custom only: where discovery finds UserInfo and revocation
    TOAuthClientAuth clientAuth = TOAuthClientAuth::Basic;

    // The endpoints and scopes in effect: the preset's, or the own ones.
    QString AuthorizationEndpoint() const;
    QString TokenEndpoint() const;
    QString DeviceEndpoint() const;
    QString EffectiveScopes() const;
    // The preset's; empty for a custom provider, whose come from discovery.
    QString UserInfoEndpoint() const;
    QString RevocationEndpoint() const;
    // Custom only: <issuer>/.well-known/openid-configuration, the issuer
    // being the token endpoint's origin when none is set.
    QString DiscoveryUrl() const;
    // The scopes ask for a refresh token (offline_access, or Google's presets).
    bool AsksOfflineAccess() const;
    // Client ID and endpoints are there and safe; else the German reason.
    QString Incomplete() const;
    bool operator==(const TOAuthSettings&) const = default;
};

QString ProviderKey(TOAuthProvider provider);   // "Microsoft", "Google", "Custom"
TOAuthProvider ProviderFromKey(const QString& key, bool* ok = nullptr);
QString ClientAuthKey(TOAuthClientAuth auth);   // "Basic", "Body"
TOAuthClientAuth ClientAuthFromKey(const QString& key, bool* ok = nullptr);
// Plain http only to this machine: anyone on the way could read the tokens.
bool IsSafeEndpoint(const QString& url);
QString ProviderDisplayName(TOAuthProvider provider);

TOAuthSettings LoadOAuthSettings(const QString& configIni);
// Raises EKalvex when the file cannot be written.
void SaveOAuthSettings(const QString& configIni, const TOAuthSettings& settings);

}  // namespace kalvex
