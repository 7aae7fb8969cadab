#pragma once
// The module's plain-text log: start and end of each run and the errors it
// catches without showing them. One process-wide instance, created with the
// data module and reached through Global().

#include <QString>
#include <memory>
#include <mutex>

namespace kalvex {

class TLockedLog;

class TLogFile {
public:
    static constexpr qint64 MaxSizeBeforeRotation = 20000;

    // Rotates an oversized file to "Logfile.sav", writes the header of a new
    // file and the start entry; safe when several processes start at once.
    // Raises EKalvex when the file cannot be written.
    explicit TLogFile(QString fileName);
    ~TLogFile();  // writes the end entry
    TLogFile(const TLogFile&) = delete;
    TLogFile& operator=(const TLogFile&) = delete;

    // isInfo true: "-- " entry; false: "FEHLER - " entry. Nothing is written
    // before the constructor has finished.
    bool LogWrite(bool isInfo, const QString& message);
    const QString& FileName() const { return FLogFileDateiName; }

    // The process-wide log. Install takes ownership; Global may be null
    // (then LogGlobal writes nothing).
    static TLogFile* Global();
    // The log below a common folder: Common04/KVXLog/logfile_kalvex.txt.
    static QString DefaultFileName(const QString& commonPath);
    // Creates the process-wide log on the common folder unless there is one;
    // raises EKalvex("LogFile konnte nicht erstellt werden") on failure.
    static TLogFile* EnsureGlobal(const QString& commonPath);
    static void Install(std::unique_ptr<TLogFile> log);
    static void Uninstall();
    static void LogGlobal(bool isInfo, const QString& message);

    // Every entry is written with its secrets masked ("***"): the values
    // registered by the code that holds them (passwords, tokens; shorter
    // than 3 characters they are not taken) and what looks like one
    // (refresh_token=..., access_token, Bearer ..., AUTH PLAIN/LOGIN data).
    static void RegisterSecret(const QString& value);
    static QString MaskSecrets(QString text);

    static QString SeparatorLine();
    static QString Timestamp();

private:
    void writeStartEntry();
    void rotate() const;
    void appendLines(const QStringList& lines);
    // The open file, locked, as its name names it now: reopened when another
    // process rotated it away.
    TLockedLog& lockedCurrentFile();

    bool FInitializied = false;
    QString FLogFileDateiName;
    // Open for the whole run (one open and close per entry cost more than
    // the entry); unlocked between entries.
    std::unique_ptr<TLockedLog> FFile;
    std::mutex FWriting;   // one descriptor for every thread of the process
};

}  // namespace kalvex
