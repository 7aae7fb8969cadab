#pragma once
// Serialises the refreshes of one installation's grant across processes:
// a provider that rotates refresh tokens takes a second use of the same
// one for theft and revokes the whole grant. The lock is flock(2) on
// <config.ini>.oauth-lock (RefreshLockPosix.cpp), on Windows that file
// opened without sharing (RefreshLockWindows.cpp); the system releases it
// when a holder dies.

#include <QObject>
#include <QString>
#include <functional>

namespace kalvex {

class TRefreshLock : public QObject {
public:
    static constexpr int kRetryMs = 50;
    static constexpr int kGiveUpMs = 90000;   // longer than a holder's HTTP time-out

    explicit TRefreshLock(QString configIni) : FPath(std::move(configIni) + QStringLiteral(".oauth-lock")) {}
    ~TRefreshLock() override { Release(); }

    // Calls held once this process holds the lock, without blocking the
    // event loop meanwhile; after kGiveUpMs it goes on without (a lock file
    // that cannot be made must not stop the sending).
    void Acquire(std::function<void()> held);
    void Release();

private:
    bool tryLock();
    void retry(std::function<void()> held, int waitedMs);

    QString FPath;
    qintptr FHandle = -1;   // the lock file, open while held
};

}  // namespace kalvex
