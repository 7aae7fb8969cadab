#include "send/oauth/TokenStore.h"

#include "config/IniPlus.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/uCrypt.h"
#include "send/oauth/OAuthTokens.h"

#include <QFileInfo>
#include <QTimer>
#include <qt6keychain/keychain.h>

namespace kalvex {

namespace {

const QString kSection = QStringLiteral("OAuth");
const QString kService = QStringLiteral("kalvex");
constexpr int kKeychainTimeoutMs = 15000;   // a secret store that never answers counts as none

// Runs one keychain job to its end; false when the secret store failed
// (not there, locked, refused) rather than merely holding no entry.
bool runJob(QKeychain::Job& job)
{
    job.setAutoDelete(false);
    bool timedOut = false;
    WaitFor([&](std::function<void()> finished) {
        QObject::connect(&job, &QKeychain::Job::finished, &job, [finished] { finished(); });
        QTimer::singleShot(kKeychainTimeoutMs, &job, [&timedOut, finished] {
            timedOut = true;
            finished();
        });
        job.start();
    });
    return !timedOut && (job.error() == QKeychain::NoError || job.error() == QKeychain::EntryNotFound);
}

TTokenBackend backendFromKey(const QString& key)
{
    if (key == QLatin1String("SecretStore"))
        return TTokenBackend::SecretStore;
    return key == QLatin1String("SettingsFile") ? TTokenBackend::SettingsFile : TTokenBackend::None;
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
    if (s.backend == TTokenBackend::SettingsFile)
        s.refreshToken = TCrypt::DecodePWDEx(ini.ReadString(kSection, QStringLiteral("RefreshToken"), QString()),
                                             ini.ReadString(kSection, QStringLiteral("SecString"), QString()));
    if (s.backend == TTokenBackend::SecretStore) {
        QKeychain::ReadPasswordJob job(kService);
        job.setKey(keychainKey());
        if (runJob(job))
            s.refreshToken = job.textData();
    }
    TLogFile::RegisterSecret(s.refreshToken);
    return s;
}

// The secret store first; the file only when there is none.
TTokenBackend TTokenStore::Save(const QString& refreshToken, const QString& user)
{
    if (FUseSecretStore) {
        QKeychain::WritePasswordJob job(kService);
        job.setKey(keychainKey());
        job.setTextData(refreshToken);
        if (runJob(job)) {
            saveToFile(QString(), user, TTokenBackend::SecretStore);
            return TTokenBackend::SecretStore;
        }
    }
    saveToFile(refreshToken, user, TTokenBackend::SettingsFile);
    return TTokenBackend::SettingsFile;
}

void TTokenStore::saveToFile(const QString& refreshToken, const QString& user, TTokenBackend backend)
{
    const QString secString = TCrypt::GeneratePWDSecurityString();
    TIniFile ini(FConfigIni, TIniAccess::OwnerOnly);
    ini.WriteStrings(kSection, {{QStringLiteral("User"), user},
                                {QStringLiteral("TokenStore"), backendKey(backend)},
                                {QStringLiteral("SecString"), refreshToken.isEmpty() ? QString() : secString},
                                {QStringLiteral("RefreshToken"), refreshToken.isEmpty() ? QString()
                                                                 : TCrypt::EncodePWDEx(refreshToken, secString, 2, 8)}});
}

void TTokenStore::Remove()
{
    if (FUseSecretStore && Load().backend == TTokenBackend::SecretStore) {
        QKeychain::DeletePasswordJob job(kService);
        job.setKey(keychainKey());
        runJob(job);
    }
    saveToFile(QString(), QString(), TTokenBackend::None);
}

QString TokenBackendText(TTokenBackend backend)
{
    switch (backend) {
    case TTokenBackend::SecretStore: return Tx(3519, "im Schlüsselbund des Desktops");
    case TTokenBackend::SettingsFile: return Tx(3520, "verschlüsselt in config.ini (kein Schlüsselbund verfügbar)");
    default: return Tx(3521, "nicht angemeldet");
    }
}

}  // namespace kalvex
