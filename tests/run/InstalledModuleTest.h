#pragma once
// A fresh installation per test: registry file, common data folder, the
// settings and a real store; the log file is printed when a test failed.

#include "smtp/SmtpServer.h"   // App()

#include "config/IniPlus.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <iostream>

namespace kalvex::testing {

class InstalledModuleTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        App();
        common = dir.filePath("common") + "/";
        TIniFile reg(dir.filePath("registry.ini"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Test", dir.filePath("data"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", common);
        qputenv("KALVEX_REGISTRY", dir.filePath("registry.ini").toUtf8());
        QDir().mkpath(common + "Common04/KVXIni");
        config = &TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Test")));
        TDatenModul::Install(std::make_unique<TDatenModul>());
    }
    void TearDown() override
    {
        if (HasFailure()) {
            QFile log(TLogFile::DefaultFileName(common));
            log.open(QIODevice::ReadOnly);
            std::cerr << log.readAll().toStdString();
        }
        TDatenModul::Free();
        TLogFile::Uninstall();
        TConfig::Free();
    }
    // Direct sending over a plain connection to server, as
    // absender@example.org with password (none: no sign-in).
    void useServer(const SmtpServer& server, const QString& password = QString())
    {
        config->FSendDirekt = 1;
        config->FVersandart = TVersandArt::vaDirekt;
        config->FHost = "127.0.0.1";
        config->FPort = server.Port();
        config->FUser = "absender@example.org";
        config->FPass = password;
        config->FVerbindungVerschluesselt = false;
    }

    QTemporaryDir dir;
    QString common;
    TConfig* config = nullptr;
};

}  // namespace kalvex::testing
