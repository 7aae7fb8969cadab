#include "config/LogFileUnit.h"

#include "config/AppPaths.h"
#include "config/KalvexError.h"
#include "config/LockedLog.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>

namespace kalvex {

namespace {

std::unique_ptr<TLogFile>& globalLog()
{
    static std::unique_ptr<TLogFile> log;
    return log;
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
        auto log = std::make_unique<TLockedLog>(path);
        if (!log->IsCurrent())
            continue;
        if (log->Size() > MaxSizeBeforeRotation) {
            rotate();
            continue;
        }
        QStringList lines;
        if (log->Size() == 0)
            lines << QStringLiteral("Logdatei - ") + RunningProgramPath() << SeparatorLine() << QString();
        log->Write(linesOf(lines << SeparatorLine() << QStringLiteral("Programmstart: ") + Timestamp()));
        log->Unlock();
        FFile = std::move(log);
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

TLockedLog& TLogFile::lockedCurrentFile()
{
    const QByteArray path = QFile::encodeName(FLogFileDateiName);
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (FFile)
            FFile->Lock();
        else
            FFile = std::make_unique<TLockedLog>(path);   // opens locked
        if (FFile->IsCurrent())
            return *FFile;
        FFile.reset();
    }
    throwNotCreated();
}

void TLogFile::appendLines(const QStringList& lines)
{
    const QByteArray bytes = linesOf(lines);
    const std::lock_guard<std::mutex> writing(FWriting);
    try {
        TLockedLog& file = lockedCurrentFile();
        file.Write(bytes);
        file.Unlock();
    } catch (const EKalvex&) {
        FFile.reset();   // closing gives the lock back; the next entry opens anew
        throw;
    }
}

bool TLogFile::LogWrite(bool isInfo, const QString& message)
{
    if (!FInitializied)
        return true;
    const QString prefix = isInfo ? QStringLiteral("-- ") : QStringLiteral("FEHLER - ");
    try {
        appendLines({prefix + Timestamp() + QStringLiteral(" - ") + MaskSecrets(message)});
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
    if (commonPath.isEmpty())   // never below the working folder
        throwNotCreated();
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

namespace {

QStringList& secretValues()
{
    static QStringList values;
    return values;
}

// Secrets by their shape: token and password assignments (query strings,
// JSON, INI lines), bearer tokens, and the base64 payload of SMTP's AUTH.
const QList<QRegularExpression>& secretPatterns()
{
    static const QList<QRegularExpression> patterns{
        QRegularExpression(
            QStringLiteral(R"re(((?:refresh_token|access_token|id_token|client_secret|password|passwort|pwd)["']?\s*[=:]\s*["']?)[^\s"'&,;}]+)re"),
            QRegularExpression::CaseInsensitiveOption),
        QRegularExpression(QStringLiteral(R"re((\bBearer\s+)[A-Za-z0-9._~+/=-]+)re"), QRegularExpression::CaseInsensitiveOption),
        QRegularExpression(QStringLiteral(R"re((\bAUTH\s+(?:PLAIN|LOGIN|XOAUTH2|OAUTHBEARER)\s+)[A-Za-z0-9+/=]+)re"),
                           QRegularExpression::CaseInsensitiveOption),
    };
    return patterns;
}

}  // namespace

void TLogFile::RegisterSecret(const QString& value)
{
    if (value.size() < 3 || secretValues().contains(value))
        return;
    // Protocol traces carry it encoded as well (SMTP AUTH LOGIN).
    secretValues() << value << QString::fromLatin1(value.toUtf8().toBase64());
}

QString TLogFile::MaskSecrets(QString text)
{
    for (const QString& secret : secretValues())
        text.replace(secret, QStringLiteral("***"));
    for (const QRegularExpression& pattern : secretPatterns())
        text.replace(pattern, QStringLiteral("\\1***"));
    return text;
}

void TLogFile::LogGlobal(bool isInfo, const QString& message)
{
    if (TLogFile* log = Global())
        log->LogWrite(isInfo, message);
}

}  // namespace kalvex
