#include "send/oauth/RefreshLock.h"

#include <QFile>
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
        FHandle = fd;
        return true;
    }
    ::close(fd);
    return false;
}

void TRefreshLock::Release()
{
    if (FHandle < 0)
        return;
    ::flock(static_cast<int>(FHandle), LOCK_UN);
    ::close(static_cast<int>(FHandle));
    FHandle = -1;
}

}  // namespace kalvex
