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
    EXPECT_TRUE(lines[0].startsWith("Logdatei - /"));
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
