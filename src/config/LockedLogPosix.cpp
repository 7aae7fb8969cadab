#include "config/LockedLog.h"

#include "config/KalvexError.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kalvex {

namespace {

[[noreturn]] void throwNotCreated()
{
    throw EKalvex(QStringLiteral("LogFile konnte nicht erstellt werden"));
}

}  // namespace

TLockedLog::TLockedLog(const QByteArray& path)
    : FPath(path), FHandle(::open(path.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600))
{
    if (FHandle < 0 || ::flock(static_cast<int>(FHandle), LOCK_EX) != 0) {
        if (FHandle >= 0)
            ::close(static_cast<int>(FHandle));
        throwNotCreated();
    }
    ::fchmod(static_cast<int>(FHandle), 0600);   // a log of an older version may still be readable by all
}

TLockedLog::~TLockedLog()
{
    ::close(static_cast<int>(FHandle));
}

void TLockedLog::Lock() const
{
    if (::flock(static_cast<int>(FHandle), LOCK_EX) != 0)
        throwNotCreated();
}

void TLockedLog::Unlock() const
{
    if (::flock(static_cast<int>(FHandle), LOCK_UN) != 0)
        throwNotCreated();
}

bool TLockedLog::IsCurrent() const
{
    struct stat opened {}, named {};
    return ::fstat(static_cast<int>(FHandle), &opened) == 0 && ::stat(FPath.constData(), &named) == 0
        && opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

qint64 TLockedLog::Size() const
{
    struct stat st {};
    return ::fstat(static_cast<int>(FHandle), &st) == 0 ? st.st_size : -1;
}

void TLockedLog::Write(const QByteArray& bytes) const
{
    if (::write(static_cast<int>(FHandle), bytes.constData(), static_cast<size_t>(bytes.size())) != bytes.size())
        throwNotCreated();
}

bool MoveLogToBackup(const QString& from, const QString& to)
{
    return ::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0 || errno == ENOENT;
}

QString RunningProgramPath()
{
    return QFile::symLinkTarget(QStringLiteral("/proc/self/exe"));
}

}  // namespace kalvex
