#pragma once
// Where the refresh token is kept: the desktop's secret store through
// QtKeychain, else config.ini (section OAuth) encoded like the SMTP
// password. The signed-in user is not secret and stands in config.ini.

#include <QString>

namespace kalvex {

enum class TTokenBackend { None, SecretStore, SettingsFile };

struct TStoredSignIn {
    QString refreshToken;
    QString user;
    TTokenBackend backend = TTokenBackend::None;
};

class TTokenStore {
public:
    // useSecretStore false: the settings file only (no desktop session).
    explicit TTokenStore(QString configIni, bool useSecretStore = true);

    TStoredSignIn Load() const;
    // Raises EKalvex when neither place can take the token.
    TTokenBackend Save(const QString& refreshToken, const QString& user);
    void Remove();
    const QString& ConfigIni() const { return FConfigIni; }

private:
    QString keychainKey() const;
    void saveToFile(const QString& refreshToken, const QString& user, TTokenBackend backend);

    QString FConfigIni;
    bool FUseSecretStore;
};

QString TokenBackendText(TTokenBackend backend);

}  // namespace kalvex
