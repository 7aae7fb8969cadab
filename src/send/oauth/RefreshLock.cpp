#include "send/oauth/RefreshLock.h"

#include <QFile>
#include <QTimer>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace kalvex {

bool TRefreshLock::tryLock()
{
    const int fd = ::open(QFile::encodeName(FPath).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
        FFd = fd;
        return true;
    }
    ::close(fd);
    return false;
}

void TRefreshLock::Acquire(std::function<void()> held)
{
    Release();
    if (FPath.startsWith(QLatin1Char('.')))   // no settings file, nothing to share
        return held();
    retry(std::move(held), 0);
}

void TRefreshLock::retry(std::function<void()> held, int waitedMs)
{
    if (tryLock() || waitedMs >= kGiveUpMs)
        return held();
    QTimer::singleShot(kRetryMs, this, [this, held, waitedMs] { retry(held, waitedMs + kRetryMs); });
}

void TRefreshLock::Release()
{
    if (FFd < 0)
        return;
    ::flock(FFd, LOCK_UN);
    ::close(FFd);
    FFd = -1;
}

}  // namespace kalvex
