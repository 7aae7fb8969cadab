#pragma once
// The kalvex program on a fresh installation in a temporary folder: a
// registry file names its data and common folders under the key "Cli".
// Test programs that start the real command line derive their fixture from
// this one; their CMake target defines KALVEX_CLI, the program to start.

#include "smtp/SmtpServer.h"   // App()

#include "config/IniPlus.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <memory>

namespace kalvex::testing {

struct CliResult {
    int code = -1;   // -1: ended by a signal
    QString out;
    QString err;
};

class CliFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        App();
        TIniFile reg(dir.filePath("registry.ini"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Cli", dir.filePath("data"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", dir.filePath("common"));
        env = QProcessEnvironment::systemEnvironment();
        env.insert("KALVEX_REGISTRY", dir.filePath("registry.ini"));
        env.insert("QT_QPA_PLATFORM", "offscreen");
    }
    // The program started with the installation's key before args.
    std::unique_ptr<QProcess> start(const QStringList& args) const
    {
        auto p = std::make_unique<QProcess>();
        p->setProcessEnvironment(env);
        p->start(KALVEX_CLI, QStringList{"--install-key", "Cli"} + args);
        p->waitForStarted();   // its process ID is known: a test may signal it
        return p;
    }
    // What an ended program said; err (read earlier) comes first.
    static CliResult resultOf(QProcess& p, const QString& err = {})
    {
        const bool crashed = p.exitStatus() != QProcess::NormalExit;
        return {crashed ? -1 : p.exitCode(), QString::fromUtf8(p.readAllStandardOutput()),
                err + (crashed ? QStringLiteral("crashed: ") + p.errorString() + QLatin1Char('\n') : QString())
                    + QString::fromUtf8(p.readAllStandardError())};
    }

    QTemporaryDir dir;
    QProcessEnvironment env;   // of the started programs; SetUp fills it, a test may add to it
};

}  // namespace kalvex::testing
