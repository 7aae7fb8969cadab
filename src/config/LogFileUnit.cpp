#include "config/LogFileUnit.h"

#include "config/AppPaths.h"
#include "config/KalvexError.h"

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

}  // namespace

TLogFile::TLogFile(QString fileName) : FLogFileDateiName(std::move(fileName))
{
    rotateIfTooLarge();
    writeHeaderIfNew();
    appendLines({SeparatorLine(), QStringLiteral("Programmstart: ") + Timestamp()});
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

void TLogFile::rotateIfTooLarge()
{
    const QFileInfo info(FLogFileDateiName);
    if (!info.exists() || info.size() <= MaxSizeBeforeRotation)
        return;
    const QString backup = info.absolutePath() + QStringLiteral("/Logfile.sav");
    QFile::remove(backup);
    if (!QFile::copy(FLogFileDateiName, backup) || !QFile::remove(FLogFileDateiName))
        throw EKalvex(QStringLiteral("LogFile konnte nicht erstellt werden"));
}

void TLogFile::writeHeaderIfNew()
{
    if (QFileInfo::exists(FLogFileDateiName))
        return;
    appendLines({QStringLiteral("Logdatei - ") + executablePath(), SeparatorLine(), QString()});
}

void TLogFile::appendLines(const QStringList& lines) const
{
    QFile file(FLogFileDateiName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        throw EKalvex(QStringLiteral("LogFile konnte nicht erstellt werden"));
    QByteArray bytes;
    for (const QString& line : lines)
        bytes += line.toUtf8() + '\n';
    if (file.write(bytes) != bytes.size())
        throw EKalvex(QStringLiteral("LogFile konnte nicht erstellt werden"));
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
