#include "send/oauth/TokenStore.h"

#include "config/IniPlus.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/uCrypt.h"
#include "send/oauth/OAuthTokens.h"
#include "send/oauth/SecretStore.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace kalvex {

namespace {

const QString kSection = QStringLiteral("OAuth");
TTokenBackend backendFromKey(const QString& key)
{
    if (key == QLatin1String("SecretStore"))
        return TTokenBackend::SecretStore;
    return key == QLatin1String("SettingsFile") ? TTokenBackend::SettingsFile : TTokenBackend::None;
}

// The secret store's entry: the bare refresh token, or JSON with the
// access token beside it.
QString secretOf(const TStoredSignIn& s)
{
    if (s.accessToken.isEmpty())
        return s.refreshToken;
    return QString::fromUtf8(QJsonDocument(QJsonObject{{"refresh_token", s.refreshToken}, {"access_token", s.accessToken},
                                                       {"expires_at", s.accessExpires.toString(Qt::ISODate)}})
                                 .toJson(QJsonDocument::Compact));
}

void readSecret(const QString& text, TStoredSignIn& s)
{
    const QJsonObject o = QJsonDocument::fromJson(text.toUtf8()).object();
    if (!text.startsWith(QLatin1Char('{')) || o.isEmpty()) {
        s.refreshToken = text;
        return;
    }
    s.refreshToken = o.value(QLatin1String("refresh_token")).toString();
    s.accessToken = o.value(QLatin1String("access_token")).toString();
    s.accessExpires = QDateTime::fromString(o.value(QLatin1String("expires_at")).toString(), Qt::ISODate);
}

QString backendKey(TTokenBackend backend)
{
    switch (backend) {
    case TTokenBackend::SecretStore: return QStringLiteral("SecretStore");
    case TTokenBackend::SettingsFile: return QStringLiteral("SettingsFile");
    default: return {};
    }
}

}  // namespace

TTokenStore::TTokenStore(QString configIni, bool useSecretStore)
    : FConfigIni(std::move(configIni)), FUseSecretStore(useSecretStore)
{
}

// One entry per installation: two installations may sign in differently.
QString TTokenStore::keychainKey() const
{
    return QStringLiteral("smtp-oauth:") + QFileInfo(FConfigIni).absoluteFilePath();
}

TStoredSignIn TTokenStore::Load() const
{
    const TIniFile ini(FConfigIni);
    TStoredSignIn s;
    s.user = ini.ReadString(kSection, QStringLiteral("User"), QString());
    s.backend = backendFromKey(ini.ReadString(kSection, QStringLiteral("TokenStore"), QString()));
    const QString secString = ini.ReadString(kSection, QStringLiteral("SecString"), QString());
    const auto decoded = [&](const char* key) {
        const QString coded = ini.ReadString(kSection, QLatin1String(key), QString());
        return coded.isEmpty() ? QString() : TCrypt::DecodePWDEx(coded, secString);
    };
    if (s.backend == TTokenBackend::SettingsFile) {
        s.refreshToken = decoded("RefreshToken");
        s.accessToken = decoded("AccessToken");
        s.accessExpires = QDateTime::fromString(ini.ReadString(kSection, QStringLiteral("AccessExpires"), QString()), Qt::ISODate);
    }
    if (s.backend == TTokenBackend::SecretStore) {
        QString secret;
        if (SecretStoreRead(keychainKey(), secret))
            readSecret(secret, s);
    }
    TLogFile::RegisterSecret(s.refreshToken);
    return s;
}

// The secret store first; the file only when there is none.
TTokenBackend TTokenStore::Save(const QString& refreshToken, const QString& user, const QString& accessToken,
                                const QDateTime& accessExpires)
{
    TStoredSignIn s{refreshToken, user, TTokenBackend::SettingsFile, accessToken, accessExpires};
    if (FUseSecretStore) {
        if (SecretStoreWrite(keychainKey(), secretOf(s))) {
            saveToFile({QString(), user, TTokenBackend::SecretStore, QString(), QDateTime()});
            return TTokenBackend::SecretStore;
        }
    }
    saveToFile(s);
    return TTokenBackend::SettingsFile;
}

void TTokenStore::saveToFile(const TStoredSignIn& s)
{
    const QString secString = TCrypt::GeneratePWDSecurityString();
    const auto encoded = [&](const QString& text) { return text.isEmpty() ? QString() : TCrypt::EncodePWDEx(text, secString, 2, 8); };
    TIniFile ini(FConfigIni, TIniAccess::OwnerOnly);
    ini.WriteStrings(kSection, {{QStringLiteral("User"), s.user},
                                {QStringLiteral("TokenStore"), backendKey(s.backend)},
                                {QStringLiteral("SecString"), s.refreshToken.isEmpty() ? QString() : secString},
                                {QStringLiteral("RefreshToken"), encoded(s.refreshToken)},
                                {QStringLiteral("AccessToken"), encoded(s.accessToken)},
                                {QStringLiteral("AccessExpires"), s.accessExpires.toString(Qt::ISODate)}});
}

void TTokenStore::Remove()
{
    if (FUseSecretStore && Load().backend == TTokenBackend::SecretStore) {
        SecretStoreDelete(keychainKey());
    }
    saveToFile({});
}

QString TokenBackendText(TTokenBackend backend)
{
    switch (backend) {
    case TTokenBackend::SecretStore: return SecretStoreName();
    case TTokenBackend::SettingsFile: return Tx(3520, "verschlüsselt in config.ini (kein Schlüsselbund verfügbar)");
    default: return Tx(3521, "nicht angemeldet");
    }
}

}  // namespace kalvex
