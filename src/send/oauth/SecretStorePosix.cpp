#include "send/oauth/SecretStore.h"

#include "config/LanguageUnit.h"
#include "send/oauth/OAuthTokens.h"

#include <QTimer>
#include <qt6keychain/keychain.h>

#include <functional>

namespace kalvex {

namespace {

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

}  // namespace

bool SecretStoreRead(const QString& key, QString& value)
{
    QKeychain::ReadPasswordJob job(kService);
    job.setKey(key);
    const bool ok = runJob(job);
    value = ok ? job.textData() : QString();
    return ok;
}

bool SecretStoreWrite(const QString& key, const QString& value)
{
    QKeychain::WritePasswordJob job(kService);
    job.setKey(key);
    job.setTextData(value);
    return runJob(job);
}

QString SecretStoreName()
{
    return Tx(3519, "im Schlüsselbund des Desktops");
}

bool SecretStoreDelete(const QString& key)
{
    QKeychain::DeletePasswordJob job(kService);
    job.setKey(key);
    return runJob(job);
}

}  // namespace kalvex
