#include "config/LockedLog.h"

#include "config/KalvexError.h"

#include <QDir>
#include <QFile>

#include <iterator>

#include <windows.h>

namespace kalvex {

namespace {

[[noreturn]] void throwNotCreated()
{
    throw EKalvex(QStringLiteral("LogFile konnte nicht erstellt werden"));
}

HANDLE handleOf(intptr_t h)
{
    return reinterpret_cast<HANDLE>(h);
}

std::wstring widePath(const QByteArray& path)
{
    return QFile::decodeName(path).toStdWString();
}

// One byte far beyond any log's end: locking it excludes the other starting
// processes without blocking their appends, which a lock on the written
// range would.
OVERLAPPED lockPlace()
{
    OVERLAPPED at{};
    at.Offset = 0xFFFFFFFEu;
    at.OffsetHigh = 0x7FFFFFFFu;
    return at;
}

bool sameFile(HANDLE a, HANDLE b)
{
    BY_HANDLE_FILE_INFORMATION ia{}, ib{};
    return GetFileInformationByHandle(a, &ia) && GetFileInformationByHandle(b, &ib)
        && ia.dwVolumeSerialNumber == ib.dwVolumeSerialNumber && ia.nFileIndexHigh == ib.nFileIndexHigh
        && ia.nFileIndexLow == ib.nFileIndexLow;
}

}  // namespace

// Shared for delete, so that a rotation by another process can move the
// file while it is open here.
TLockedLog::TLockedLog(const QByteArray& path)
    : FPath(path),
      FHandle(reinterpret_cast<intptr_t>(CreateFileW(widePath(path).c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES,
                                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                                     OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)))
{
    if (handleOf(FHandle) == INVALID_HANDLE_VALUE)
        throwNotCreated();
    OVERLAPPED at = lockPlace();
    if (!LockFileEx(handleOf(FHandle), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &at)) {
        CloseHandle(handleOf(FHandle));
        throwNotCreated();
    }
}

TLockedLog::~TLockedLog()
{
    CloseHandle(handleOf(FHandle));
}

void TLockedLog::Lock() const
{
    OVERLAPPED at = lockPlace();
    if (!LockFileEx(handleOf(FHandle), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &at))
        throwNotCreated();
}

void TLockedLog::Unlock() const
{
    OVERLAPPED at = lockPlace();
    if (!UnlockFileEx(handleOf(FHandle), 0, 1, 0, &at))
        throwNotCreated();
}

bool TLockedLog::IsCurrent() const
{
    const HANDLE named = CreateFileW(widePath(FPath).c_str(), FILE_READ_ATTRIBUTES,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr);
    if (named == INVALID_HANDLE_VALUE)
        return false;
    const bool same = sameFile(handleOf(FHandle), named);
    CloseHandle(named);
    return same;
}

qint64 TLockedLog::Size() const
{
    LARGE_INTEGER size{};
    return GetFileSizeEx(handleOf(FHandle), &size) ? size.QuadPart : -1;
}

void TLockedLog::Write(const QByteArray& bytes) const
{
    DWORD written = 0;
    if (!WriteFile(handleOf(FHandle), bytes.constData(), static_cast<DWORD>(bytes.size()), &written, nullptr)
        || written != static_cast<DWORD>(bytes.size()))
        throwNotCreated();
}

bool MoveLogToBackup(const QString& from, const QString& to)
{
    if (MoveFileExW(from.toStdWString().c_str(), to.toStdWString().c_str(), MOVEFILE_REPLACE_EXISTING))
        return true;
    return GetLastError() == ERROR_FILE_NOT_FOUND;
}

QString RunningProgramPath()
{
    wchar_t path[32768];
    const DWORD length = GetModuleFileNameW(nullptr, path, static_cast<DWORD>(std::size(path)));
    if (length == 0 || length >= std::size(path))
        return QString();
    return QDir::fromNativeSeparators(QString::fromWCharArray(path, static_cast<qsizetype>(length)));
}

}  // namespace kalvex
