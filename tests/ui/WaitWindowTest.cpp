// The wait window while the data module converts an old Access store with
// the real converter: what it shows while the converter runs.

#include "config/IniPlus.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"
#include "ui/RPWaitWindow.h"

#include "TestApp.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QRegularExpression>
#include <QScreen>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTimer>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

const QString kSample = "/usr/share/doc/mrtg-contrib/examples/contrib/monitor/Monitor.mdb";

// What a user saw of the window while it was up.
struct TSeen {
    int samples = 0;
    QSize size;
    QString caption, waiting, program;
    QStringList steps;
    int offCentre = 0;
};

void look(const TrunProcessWindow& w, TSeen& seen)
{
    if (!w.isVisible())
        return;
    ++seen.samples;
    seen.size = w.size();
    seen.caption = w.windowTitle();
    seen.waiting = w.lbWartet->text();
    seen.program = w.lbProgramm->text();
    if (!w.lbSchritt->text().isEmpty() && !seen.steps.contains(w.lbSchritt->text()))
        seen.steps << w.lbSchritt->text();
    const QPoint centre = QGuiApplication::primaryScreen()->availableGeometry().center();
    seen.offCentre = std::max(seen.offCentre, (w.geometry().center() - centre).manhattanLength());
}

// The window, and every line it was given to show. The window is looked at
// after each line too: a quick converter may show all its lines between
// two ticks of the sampling timer.
struct TRecordingWait : IProcessWait {
    TRecordingWait(TrunProcessWindow& w, TSeen& s) : window(w), seen(s) {}
    void Begin(const QString& program) override { window.Begin(program); }
    void Show(const QString& line) override
    {
        if (!line.isEmpty() && !lines.contains(line))
            lines << line;
        window.Show(line);
        look(window, seen);
    }
    void End() override { window.End(); }
    TrunProcessWindow& window;
    TSeen& seen;
    QStringList lines;
};

}  // namespace

TEST(WaitWindow, ShowsTheConverterAndItsStepsWhileAnOldStoreIsConverted)
{
    if (!QFile::exists(kSample))
        GTEST_SKIP() << "mrtg-contrib is not installed";
    QSqlDatabase::connectionNames();   // Qt SQL's globals must outlive the application
    kalvex::testing::WidgetApp();
    QTemporaryDir dir;
    const QString common = dir.filePath("common") + "/";
    TIniFile reg(dir.filePath("registry.ini"));
    reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", common);
    qputenv("KALVEX_REGISTRY", dir.filePath("registry.ini").toUtf8());
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QByteArray(KALVEX_DBCONVERT_DIR) + ":" + path);
    TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Test")));
    QDir().mkpath(common + "Common04");
    ASSERT_TRUE(QFile::copy(kSample, common + "Common04/kalvex.mdb"));

    TrunProcessWindow window;
    TSeen seen;
    TRecordingWait wait(window, seen);
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] { look(window, seen); });
    watch.start(5);
    {
        TDatenModul module(QString(), &wait);
        EXPECT_EQ(module.Handler().CalcSQL_Int(0, "select count(*) from Monitor_Authenticate"), 1);
    }
    EXPECT_FALSE(window.isVisible());
    ASSERT_GT(seen.samples, 0) << "the window never showed";
    EXPECT_EQ(seen.size, QSize(328, 99));
    EXPECT_LE(seen.offCentre, 8);
    EXPECT_EQ(seen.caption, "Der Kalvex wartet ...");
    EXPECT_EQ(seen.waiting, "Der Kalvex wartet auf das Beenden von");
    EXPECT_EQ(seen.program, "kalvex-dbconvert");
    EXPECT_EQ(wait.lines, QStringList({"Tabelle 1 von 1: Monitor_Authenticate", "Monitor_Authenticate: 1 Zeilen"}));
    // The window is sampled while it runs: what it showed were the converter's lines.
    ASSERT_FALSE(seen.steps.isEmpty());
    for (const QString& step : seen.steps)
        EXPECT_TRUE(wait.lines.contains(step) || step.isEmpty()) << step.toStdString();

    QFile log(TLogFile::DefaultFileName(common));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(log.readAll());
    for (const char* step : {"ConvertDBToSQLite: start", "ConvertDBToSQLite: nach getSpecialFolder 2", "ConvertDBToSQLite: nach RunProcess"})
        EXPECT_TRUE(text.contains(step)) << step;
    TConfig::Free();
    qputenv("PATH", path);
    qunsetenv("KALVEX_REGISTRY");
}
