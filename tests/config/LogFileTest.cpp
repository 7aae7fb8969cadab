#include "config/LogFileUnit.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "Together.h"

using namespace kalvex;
using kalvex::testing::RunTogether;

namespace {

QString readText(const QString& path)
{
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    return QString::fromUtf8(f.readAll());
}

void writeSize(const QString& path, qint64 size)
{
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(QByteArray(size, 'x'));
}

}  // namespace

TEST(LogFile, HeaderStartEntriesAndEnd)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("logfile_kalvex.txt");
    {
        TLogFile log(path);
        log.LogWrite(true, "Information");
        log.LogWrite(false, "Etwas ging schief");
    }
    const QStringList lines = readText(path).split('\n');
    const QString sep(59, '-');
    ASSERT_GE(lines.size(), 8);
    EXPECT_TRUE(lines[0].startsWith("Logdatei - /") && lines[0].endsWith("/test_config")) << lines[0].toStdString();
    EXPECT_EQ(lines[1], sep);
    EXPECT_EQ(lines[2], "");
    EXPECT_EQ(lines[3], sep);
    EXPECT_TRUE(lines[4].startsWith("Programmstart: "));
    EXPECT_TRUE(lines[5].startsWith("-- ") && lines[5].endsWith(" - Information"));
    EXPECT_TRUE(lines[6].startsWith("FEHLER - ") && lines[6].endsWith(" - Etwas ging schief"));
    EXPECT_TRUE(lines[7].startsWith("Programmende: "));
    EXPECT_EQ(lines[8], sep);
}

// Exactly 20000 bytes are kept; one byte more moves the log to Logfile.sav.
TEST(LogFile, RotatesOnlyAboveTheLimit)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("logfile_kalvex.txt");
    const QString sav = dir.filePath("Logfile.sav");

    writeSize(path, 20000);
    { TLogFile log(path); }
    EXPECT_FALSE(QFile::exists(sav));
    EXPECT_TRUE(readText(path).startsWith(QString(20000, 'x')));

    writeSize(path, 20001);
    writeSize(sav, 5);  // an old copy is overwritten
    { TLogFile log(path); }
    EXPECT_EQ(QFileInfo(sav).size(), 20001);
    EXPECT_TRUE(readText(path).startsWith("Logdatei - "));
}

TEST(LogFile, UnwritableLogRaisesGermanMessage)
{
    QTemporaryDir dir;
    QDir(dir.path()).mkpath("is_a_folder");
    try {
        TLogFile log(dir.filePath("is_a_folder"));
        FAIL() << "a folder was opened as log file";
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "LogFile konnte nicht erstellt werden");
    }
}

// Processes that start on one oversized log rotate it exactly once: the old
// content stays whole in Logfile.sav and every start and entry is in the
// new log, once.
TEST(LogFile, ProcessesStartingTogetherRotateOnceAndLoseNothing)
{
    for (int round = 0; round < 10; ++round) {
        QTemporaryDir dir;
        const QString path = dir.filePath("logfile_kalvex.txt");
        writeSize(path, 20001);
        const int failed = RunTogether(8, [&](int i) {
            TLogFile log(path);
            return log.LogWrite(true, QString("Prozess %1").arg(i));
        });
        ASSERT_EQ(failed, 0) << "round " << round;
        ASSERT_EQ(readText(dir.filePath("Logfile.sav")), QString(20001, 'x')) << "round " << round;
        const QString log = readText(path);
        EXPECT_TRUE(log.startsWith("Logdatei - "));
        EXPECT_EQ(log.count("Logdatei - "), 1);
        EXPECT_EQ(log.count("Programmstart: "), 8);
        EXPECT_EQ(log.count("Programmende: "), 8);
        for (int i = 0; i < 8; ++i)
            EXPECT_EQ(log.count(QString(" - Prozess %1\n").arg(i)), 1) << "round " << round;
    }
}

// A run keeps its log open: when another process rotates the file away,
// the run's next entries go to the new file by its name, not to the backup.
TEST(LogFile, EntriesOfALongRunFollowARotationByAnotherProcess)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("logfile_kalvex.txt");
    TLogFile running(path);
    ASSERT_TRUE(running.LogWrite(true, "vorher"));
    {
        QFile grow(path);
        ASSERT_TRUE(grow.open(QIODevice::Append));
        grow.write(QByteArray(20001, 'x'));
    }
    ASSERT_EQ(RunTogether(1, [&](int) {
                  TLogFile other(path);
                  return true;
              }),
              0);
    ASSERT_TRUE(running.LogWrite(true, "nachher"));
    const QString backup = readText(dir.filePath("Logfile.sav"));
    const QString current = readText(path);
    EXPECT_TRUE(backup.contains(" - vorher\n"));
    EXPECT_FALSE(backup.contains("nachher"));
    EXPECT_TRUE(current.startsWith("Logdatei - "));
    EXPECT_TRUE(current.contains(" - nachher\n")) << current.toStdString();
}

// Processes writing many entries each through their open logs lose none
// and mix no line into another.
TEST(LogFile, ManyEntriesOfSeveralProcessesAllArrive)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("logfile_kalvex.txt");
    // Fewer entries than rotation's 20,000 bytes: a process starting late
    // under load would otherwise rightly move the others' entries away.
    const int failed = RunTogether(4, [&](int i) {
        TLogFile log(path);
        bool ok = true;
        for (int n = 0; n < 60; ++n)
            ok = log.LogWrite(true, QString("Prozess %1 Zeile %2").arg(i).arg(n)) && ok;
        return ok;
    });
    ASSERT_EQ(failed, 0);
    const QString log = readText(path);
    for (int i = 0; i < 4; ++i)
        for (int n = 0; n < 60; n += 7)
            EXPECT_EQ(log.count(QString(" - Prozess %1 Zeile %2\n").arg(i).arg(n)), 1);
    EXPECT_EQ(log.count(" - Prozess "), 240);
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("Logfile.sav")));
}

// What a server echoes back (a password, a token) never lands in the log,
// which only its owner can read.
TEST(LogFile, SecretsAreMaskedAndTheFileIsPrivate)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("logfile_kalvex.txt");
    {
        TLogFile::RegisterSecret("Sommer2024!x");
        TLogFile log(path);
        log.LogWrite(false, "535 Anmeldung mit Sommer2024!x abgelehnt (U29tbWVyMjAyNCF4)");
        log.LogWrite(false, "POST /token: refresh_token=1//0gAbC-dEf&grant_type=refresh_token, "
                            "{\"access_token\": \"ya29.QwErTy\"}");
        log.LogWrite(false, "Authorization: Bearer eyJhbGciOi.JIUzI1 gesendet; C: AUTH PLAIN AGFiYwBzM2tyM3Q=");
    }
    const QString text = readText(path);
    for (const char* secret : {"Sommer2024!x", "U29tbWVyMjAyNCF4", "1//0gAbC-dEf", "ya29.QwErTy", "eyJhbGciOi",
                               "AGFiYwBzM2tyM3Q="})
        EXPECT_FALSE(text.contains(secret)) << secret;
    EXPECT_TRUE(text.contains("refresh_token=***&grant_type=refresh_token")) << text.toStdString();
    EXPECT_TRUE(text.contains("Bearer *** gesendet; C: AUTH PLAIN ***")) << text.toStdString();
    EXPECT_EQ(QFile(path).permissions() & (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup | QFile::WriteOther),
              QFile::Permissions());
}
