#include "config/LogFileUnit.h"

#include "config/AppPaths.h"
#include "config/KalvexError.h"
#include "config/LockedLog.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>

namespace kalvex {

namespace {

std::unique_ptr<TLogFile>& globalLog()
{
    static std::unique_ptr<TLogFile> log;
    return log;
}

QString executablePath()
{
    return QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
}

[[noreturn]] void throwNotCreated()
{
    throw EKalvex(QStringLiteral("LogFile konnte nicht erstellt werden"));
}

QByteArray linesOf(const QStringList& lines)
{
    QByteArray bytes;
    for (const QString& line : lines)
        bytes += line.toUtf8() + '\n';
    return bytes;
}

}  // namespace

TLogFile::TLogFile(QString fileName) : FLogFileDateiName(std::move(fileName))
{
    writeStartEntry();
    FInitializied = true;
}

TLogFile::~TLogFile()
{
    try {
        if (FInitializied)
            appendLines({QStringLiteral("Programmende: ") + Timestamp(), SeparatorLine()});
    } catch (const EKalvex&) {
        // the end entry is best effort: the host is going away
    }
}

// Rotation, header and start entry happen under the lock of the current
// file, so that processes starting together rotate once and each start
// entry lands in the new file. The file is moved, never copied: an entry
// another process is appending meanwhile ends up in Logfile.sav, not lost.
void TLogFile::writeStartEntry()
{
    const QByteArray path = QFile::encodeName(FLogFileDateiName);
    for (int attempt = 0; attempt < 100; ++attempt) {
        TLockedLog log(path);
        if (!log.IsCurrent())
            continue;
        if (log.Size() > MaxSizeBeforeRotation) {
            rotate();
            continue;
        }
        QStringList lines;
        if (log.Size() == 0)
            lines << QStringLiteral("Logdatei - ") + executablePath() << SeparatorLine() << QString();
        log.Write(linesOf(lines << SeparatorLine() << QStringLiteral("Programmstart: ") + Timestamp()));
        return;
    }
    throwNotCreated();
}

void TLogFile::rotate() const
{
    const QString backup = QFileInfo(FLogFileDateiName).absolutePath() + QStringLiteral("/Logfile.sav");
    if (!MoveLogToBackup(FLogFileDateiName, backup))
        throwNotCreated();
}

void TLogFile::appendLines(const QStringList& lines) const
{
    QFile file(FLogFileDateiName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        throwNotCreated();
    const QByteArray bytes = linesOf(lines);
    if (file.write(bytes) != bytes.size())
        throwNotCreated();
}

bool TLogFile::LogWrite(bool isInfo, const QString& message)
{
    if (!FInitializied)
        return true;
    const QString prefix = isInfo ? QStringLiteral("-- ") : QStringLiteral("FEHLER - ");
    try {
        appendLines({prefix + Timestamp() + QStringLiteral(" - ") + message});
    } catch (const EKalvex&) {
        return false;  // a log that cannot be written must not break the caller
    }
    return true;
}

QString TLogFile::SeparatorLine()
{
    return QString(59, QLatin1Char('-'));
}

QString TLogFile::Timestamp()
{
    const QDateTime now = QDateTime::currentDateTime();
    const QLocale locale = QLocale::system();
    return locale.toString(now.date(), QLocale::ShortFormat) + QLatin1Char(' ')
         + now.time().toString(QStringLiteral("HH:mm:ss"));
}

TLogFile* TLogFile::Global()
{
    return globalLog().get();
}

QString TLogFile::DefaultFileName(const QString& commonPath)
{
    return JoinPath(commonPath, QStringLiteral("Common04\\KVXLog")) + QStringLiteral("/logfile_kalvex.txt");
}

TLogFile* TLogFile::EnsureGlobal(const QString& commonPath)
{
    if (!Global()) {
        const QString name = DefaultFileName(commonPath);
        if (!QDir().mkpath(QFileInfo(name).absolutePath()))
            throw EKalvex(QStringLiteral("LogFile konnte nicht erstellt werden"));
        Install(std::make_unique<TLogFile>(name));
    }
    return Global();
}

void TLogFile::Install(std::unique_ptr<TLogFile> log)
{
    globalLog() = std::move(log);
}

void TLogFile::Uninstall()
{
    globalLog().reset();
}

void TLogFile::LogGlobal(bool isInfo, const QString& message)
{
    if (TLogFile* log = Global())
        log->LogWrite(isInfo, message);
}

}  // namespace kalvex
