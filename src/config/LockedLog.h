#pragma once
// The log file as its path names it now, open for appending and locked
// against the other processes that start on the same log. One source per
// platform (LockedLogPosix.cpp: open/flock; LockedLogWindows.cpp:
// CreateFileW/LockFileEx). The lock is held from construction until
// Unlock (or destruction) and taken again by Lock, so that the file can
// stay open between entries; the file handle is owned by the object.

#include <QByteArray>
#include <QString>

#include <cstdint>

namespace kalvex {

class TLockedLog {
public:
    // Raises EKalvex when the file cannot be opened or locked.
    explicit TLockedLog(const QByteArray& path);
    ~TLockedLog();   // closing unlocks
    TLockedLog(const TLockedLog&) = delete;
    TLockedLog& operator=(const TLockedLog&) = delete;

    // Raise EKalvex when the lock cannot be taken or given back.
    void Lock() const;
    void Unlock() const;
    // False when another process rotated the file away while we waited.
    bool IsCurrent() const;
    qint64 Size() const;
    void Write(const QByteArray& bytes) const;

private:
    QByteArray FPath;
    intptr_t FHandle;   // a file descriptor, or a Windows HANDLE
};

// Moves the log to its backup name, replacing an older backup. False on
// failure; a log that is not there counts as moved.
bool MoveLogToBackup(const QString& from, const QString& to);
// The running program's file, for the log's header (the host's program
// when the module is loaded by one); empty when the system does not say.
QString RunningProgramPath();

}  // namespace kalvex
