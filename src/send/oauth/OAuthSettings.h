#pragma once
// The OAuth 2.0 account of the SMTP sending, kept in config.ini, section
// OAuth: provider preset or own endpoints, client ID (and the secret that
// Google gives installed apps), tenant and scopes.

#include <QString>

namespace kalvex {

enum class TOAuthProvider { Microsoft, Google, Custom };

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

    // The endpoints and scopes in effect: the preset's, or the own ones.
    QString AuthorizationEndpoint() const;
    QString TokenEndpoint() const;
    QString DeviceEndpoint() const;
    QString EffectiveScopes() const;
    // Client ID and endpoints are there; else the German reason.
    QString Incomplete() const;
    bool operator==(const TOAuthSettings&) const = default;
};

QString ProviderKey(TOAuthProvider provider);   // "Microsoft", "Google", "Custom"
TOAuthProvider ProviderFromKey(const QString& key, bool* ok = nullptr);
QString ProviderDisplayName(TOAuthProvider provider);

TOAuthSettings LoadOAuthSettings(const QString& configIni);
// Raises EKalvex when the file cannot be written.
void SaveOAuthSettings(const QString& configIni, const TOAuthSettings& settings);

}  // namespace kalvex
