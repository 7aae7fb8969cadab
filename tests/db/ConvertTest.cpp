// The conversion of an old Access store, run with the real converter
// program and mdbtools on a real Access file: the example database that
// Debian's mrtg-contrib ships (Monitor.mdb, Jet 4).

#include "StoreFixture.h"

#include "config/IniPlus.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "db/convert/AccessConverter.h"
#include "db/uDatenModul.h"
#include "mailinterface/EMail.h"

#include <QDir>
#include <QFile>
#include <QProcess>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

const QString kSampleInPackage = "/usr/share/doc/mrtg-contrib/examples/contrib/monitor/Monitor.mdb";
const QString kConverter = QStringLiteral(KALVEX_DBCONVERT_DIR) + "/kalvex-dbconvert";

// Minimal images leave out /usr/share/doc: then the file comes from the package itself.
QString sampleMdb(const QTemporaryDir& dir)
{
    if (QFile::exists(kSampleInPackage))
        return kSampleInPackage;
    QProcess::execute("sh", {"-c", "cd '" + dir.path() + "' && apt-get download mrtg-contrib >/dev/null && dpkg-deb -x mrtg-contrib_*.deb x"});
    return dir.path() + "/x" + kSampleInPackage;
}

QString run(const QString& program, const QStringList& args, int* exitCode = nullptr)
{
    QProcess p;
    p.start(program, args);
    p.waitForFinished(120000);
    if (exitCode)
        *exitCode = p.exitCode();
    return QString::fromUtf8(p.readAllStandardOutput());
}

}  // namespace

TEST(AccessConversion, CsvOfMdbExport)
{
    const auto rows = ParseCsv("a,\"b,c\",\"d\"\"e\",,\"\"\r\n1,\"zwei\nZeilen\",3,4,5\n");
    ASSERT_EQ(rows.size(), 2u);
    ASSERT_EQ(rows[0].size(), 5u);
    EXPECT_EQ(rows[0][1].text, "b,c");
    EXPECT_EQ(rows[0][2].text, "d\"e");
    EXPECT_FALSE(rows[0][3].quoted);   // NULL
    EXPECT_TRUE(rows[0][4].quoted);    // empty text
    EXPECT_EQ(rows[1][1].text, "zwei\nZeilen");
    const auto args = ParseConvertArguments({"kalvex-dbconvert", "-c", "\"/a/kalvex.mdb\"", "\"/a/kalvex.db\"", "-ctCopyAutoIncAsautoinc"});
    ASSERT_TRUE(args.has_value());
    EXPECT_EQ(args->source, "/a/kalvex.mdb");
    EXPECT_TRUE(args->copyAutoIncAsAutoInc);
    EXPECT_FALSE(ParseConvertArguments({"kalvex-dbconvert", "-c", "/a/kalvex.mdb"}).has_value());
}

// Every row and value that mdb-export prints arrives in the SQLite store;
// the counter stays a counter; a second run does not overwrite.
TEST(AccessConversion, EveryRowOfARealAccessFile)
{
    QTemporaryDir dir;
    const QString mdb = sampleMdb(dir);
    ASSERT_TRUE(QFile::exists(mdb)) << mdb.toStdString();
    const QString target = dir.filePath("kalvex.db");
    int code = -1;
    run(kConverter, {"-c", mdb, target, "-ctCopyAutoIncAsautoinc"}, &code);
    ASSERT_EQ(code, 0);

    TQMBDatabaseConfig config;
    config.HostName = dir.path();
    config.DatabaseName = "kalvex.db";
    auto h = TQMBDatabaseFactory::CreateDbHandler(config, QString(), -1);
    h->SetConnected(true);
    const QStringList tables = run("mdb-tables", {"-1", mdb}).split('\n', Qt::SkipEmptyParts);
    ASSERT_FALSE(tables.isEmpty());
    EXPECT_EQ(h->getTableNames(false), tables);
    for (const QString& table : tables) {
        const auto expected = ParseCsv(run("mdb-export", {"-D", "%Y-%m-%d %H:%M:%S", "-T", "%Y-%m-%d %H:%M:%S", mdb, table}));
        TQMBDataSet* ds = h->OpenSQL("select * from [" + table + "] order by 1");
        size_t row = 1;
        for (; ds->Next(); ++row) {
            ASSERT_LT(row, expected.size());
            for (size_t c = 0; c < expected[0].size(); ++c) {
                const QVariant v = ds->Field(expected[0][c].text);
                const QString text = expected[0][c].text == "LastVisit"
                                         ? DaysToDateTime(v.toDouble()).toString("yyyy-MM-dd HH:mm:ss") : v.toString();
                EXPECT_EQ(text, expected[row][c].text) << table.toStdString() << "." << expected[0][c].text.toStdString();
            }
        }
        ds->Close();
        EXPECT_EQ(row, expected.size());
    }
    EXPECT_TRUE(h->CalcSQL_String("", "select sql from sqlite_master where name = 'Monitor_Authenticate'")
                    .contains("[ID] INTEGER PRIMARY KEY AUTOINCREMENT"));
    run(kConverter, {"-c", mdb, target}, &code);
    EXPECT_EQ(code, 1);
    run(kConverter, {"-c", mdb}, &code);
    EXPECT_EQ(code, 2);
}

namespace {

// An installation in dir with its settings: the common folder (with a
// Common04 folder) is returned.
QString installAt(const QTemporaryDir& dir)
{
    const QString common = dir.filePath("common") + "/";
    TIniFile reg(dir.filePath("registry.ini"));
    reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Test", dir.filePath("data"));
    reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", common);
    qputenv("KALVEX_REGISTRY", dir.filePath("registry.ini").toUtf8());
    TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Test")));
    QDir().mkpath(common + "Common04");
    return common;
}

}  // namespace

// The data module converts on its first start only, and only when the old
// store is there and the new one is not.
TEST(AccessConversion, DataModuleConvertsOnce)
{
    QTemporaryDir dir;
    const QString common = installAt(dir);
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QByteArray(KALVEX_DBCONVERT_DIR) + ":" + path);
    ASSERT_TRUE(QFile::copy(sampleMdb(dir), common + "Common04/kalvex.mdb"));
    {
        TDatenModul dm;
        EXPECT_EQ(dm.Handler().CalcSQL_Int(0, "select count(*) from Monitor_Authenticate"), 1);
        EXPECT_EQ(dm.Handler().getTableNames(false).size(), 13);   // the old table and the current schema
        dm.Handler().ExecSQL("delete from Monitor_Authenticate");
    }
    TDatenModul::Free();
    {
        TDatenModul again;   // kalvex.db exists: no second conversion
        EXPECT_EQ(again.Handler().CalcSQL_Int(-1, "select count(*) from Monitor_Authenticate"), 0);
    }
    QFile log(common + "Common04/KVXLog/logfile_kalvex.txt");
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(log.readAll());
    EXPECT_EQ(text.count("ConvertDBToSQLite: nach RunProcess"), 1);
    EXPECT_EQ(text.count("ConvertDBToSQLite: start"), 2);
    TDatenModul::Free();
    TLogFile::Uninstall();
    TConfig::Free();
    qputenv("PATH", path);
    qunsetenv("KALVEX_REGISTRY");
}

// An old store that cannot be converted (no converter, or one that fails)
// is not hidden behind an empty new one: the module refuses with a message,
// leaves no kalvex.db, and converts at the next start that can.
TEST(AccessConversion, FailedConversionLeavesNoStoreAndIsTriedAgain)
{
    QTemporaryDir dir;
    const QString common = installAt(dir);
    const QByteArray path = qgetenv("PATH");
    const QString mdb = common + "Common04/kalvex.mdb", db = common + "Common04/kalvex.db";

    QFile garbage(mdb);
    ASSERT_TRUE(garbage.open(QIODevice::WriteOnly));
    garbage.write(QByteArray(4096, 'x'));
    garbage.close();
    qputenv("PATH", "/nonexistent");
    EXPECT_TRUE(ErrorOf([] { TDatenModul dm; }).contains("kalvex-dbconvert ist nicht installiert"));
    EXPECT_FALSE(QFile::exists(db));
    qputenv("PATH", QByteArray(KALVEX_DBCONVERT_DIR) + ":" + path);
    const QString failed = ErrorOf([] { TDatenModul dm; });
    EXPECT_TRUE(failed.startsWith("Die alte Datenbank " + mdb + " konnte nicht in das neue Format übernommen werden"))
        << failed.toStdString();
    EXPECT_FALSE(QFile::exists(db));

    ASSERT_TRUE(QFile::remove(mdb));
    ASSERT_TRUE(QFile::copy(sampleMdb(dir), mdb));
    {
        TDatenModul dm;
        EXPECT_EQ(dm.Handler().CalcSQL_Int(0, "select count(*) from Monitor_Authenticate"), 1);
    }
    TDatenModul::Free();
    TLogFile::Uninstall();
    TConfig::Free();
    qputenv("PATH", path);
    qunsetenv("KALVEX_REGISTRY");
}
