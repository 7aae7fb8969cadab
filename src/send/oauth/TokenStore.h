#pragma once
// Where the refresh token is kept: the desktop's secret store through
// QtKeychain, else config.ini (section OAuth) encoded like the SMTP
// password. The signed-in user is not secret and stands in config.ini.
// Beside a rotated refresh token goes the access token it came with, for
// another process of the installation that waited for that refresh.

#include <QDateTime>
#include <QString>

namespace kalvex {

enum class TTokenBackend { None, SecretStore, SettingsFile };

struct TStoredSignIn {
    QString refreshToken;
    QString user;
    TTokenBackend backend = TTokenBackend::None;
    QString accessToken;
    QDateTime accessExpires;   // UTC
};

class TTokenStore {
public:
    // useSecretStore false: the settings file only (no desktop session).
    explicit TTokenStore(QString configIni, bool useSecretStore = true);

    TStoredSignIn Load() const;
    // Raises EKalvex when neither place can take the token.
    TTokenBackend Save(const QString& refreshToken, const QString& user, const QString& accessToken = {},
                       const QDateTime& accessExpires = {});
    void Remove();
    const QString& ConfigIni() const { return FConfigIni; }

private:
    QString keychainKey() const;
    void saveToFile(const TStoredSignIn& s);

    QString FConfigIni;
    bool FUseSecretStore;
};

QString TokenBackendText(TTokenBackend backend);

}  // namespace kalvex
