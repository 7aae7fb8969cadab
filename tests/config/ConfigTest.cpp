#include "config/AppPaths.h"
#include "config/IniPlus.h"
#include "config/KalvexError.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "config/uCrypt.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

// A registry file and a Regpath.ini next to the test program, as a host
// installation has them; removed again at the end.
class ConfigFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        common = dir.filePath("common") + "/";
        regpath = ApplicationFolder() + "Regpath.ini";
        TIniFile reg(dir.filePath("registry.ini"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Bauprogramm", dir.filePath("programdata"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Steuerpult2015", dir.filePath("pkz"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", common);
        qputenv("KALVEX_REGISTRY", dir.filePath("registry.ini").toUtf8());
        TIniFile(regpath).WriteString("Registry", "Key", "Bauprogramm");
    }
    void TearDown() override
    {
        QFile::remove(regpath);
        qunsetenv("KALVEX_REGISTRY");
        TLogFile::Uninstall();
    }
    void writeMailServer(const QByteArray& text)
    {
        QDir().mkpath(common + "Common04/KVXIni");
        QFile f(common + "Common04/KVXIni/mailserver.ini");
        f.open(QIODevice::WriteOnly);
        f.write(text);
    }

    QTemporaryDir dir;
    QString common;
    QString regpath;
};

}  // namespace

TEST_F(ConfigFixture, FoldersComeFromTheRegistryFile)
{
    const TConfig config;
    EXPECT_EQ(config.FProgramDataPath, dir.filePath("programdata") + "/");
    EXPECT_EQ(config.FPKZPath, dir.filePath("pkz") + "/");
    EXPECT_EQ(config.FCommonPath, common);
    EXPECT_EQ(config.FVorlagePfad, dir.filePath("programdata") + "/KVX_StandardVorlagen/");
    EXPECT_TRUE(QDir(config.FVorlagePfad).exists());
    EXPECT_TRUE(QDir(config.FVorlagePfadAllgemein).exists());
    EXPECT_EQ(config.MailServerIniFileName(), common + "Common04/KVXIni/mailserver.ini");

    // An empty key means no registry lookup at all: the common folder is
    // the user's own, never one below the working folder.
    TIniFile(regpath).WriteString("Registry", "Key", "");
    const TConfig bare;
    EXPECT_EQ(bare.FCommonPath, FallbackCommonFolder());
    EXPECT_TRUE(QDir::isAbsolutePath(bare.FCommonPath));
    EXPECT_TRUE(bare.FPKZPath.isEmpty());
}

TEST_F(ConfigFixture, MailServerDefaultsAndValues)
{
    TConfig config;
    config.InitMailServer();  // no file: nothing changes
    EXPECT_EQ(config.FVersandart, TVersandArt::vaStandardClient);
    EXPECT_FALSE(config.FVerbindungVerschluesselt);

    const QString sec = "0123456789ABCDEF";
    const QString encoded = TCrypt::EncodePWDEx("s3cret", sec, 2, 6);
    writeMailServer("[SMTP]\nHost=smtp.example.org\nPort=587\nSecString=" + sec.toUtf8()
                    + "\nPasswort=" + encoded.toUtf8() + "\nAbsender=a@example.org\n");
    config.InitMailServer();
    EXPECT_EQ(config.FHost, "smtp.example.org");
    EXPECT_EQ(config.FPort, 587);
    EXPECT_EQ(config.FPass, "s3cret");
    EXPECT_EQ(config.FUser, "a@example.org");
    EXPECT_EQ(config.FVersandart, TVersandArt::vaStandardClient);   // SendDirekt absent
    EXPECT_TRUE(config.FVerbindungVerschluesselt);                  // EncodedConnect absent

    // What the settings save reads back unchanged.
    config.FVersandart = TVersandArt::vaDirekt;
    config.FPass = QString::fromUtf8("pässwörd");
    config.FVerbindungVerschluesselt = false;
    config.SaveMailServer();
    TConfig reread;
    reread.InitMailServer();
    EXPECT_EQ(reread.FVersandart, TVersandArt::vaDirekt);
    EXPECT_EQ(reread.FPass, QString::fromUtf8("pässwörd"));
    EXPECT_FALSE(reread.FVerbindungVerschluesselt);
    EXPECT_EQ(reread.FPort, 587);
}

// A port written by hand that no port can be is refused, naming file and
// key, instead of wrapping around into another port; the other values are
// still read, and a file put right is taken again.
TEST_F(ConfigFixture, PortsOutsideTheirRangeAreRefusedNotWrapped)
{
    TConfig config;
    const QString file = common + "Common04/KVXIni/mailserver.ini";
    for (const char* port : {"112083", "65536", "-25", "abc"}) {
        writeMailServer(QByteArray("[SMTP]\nHost=smtp.example.org\nPort=") + port + "\nAbsender=a@example.org\n");
        config.InitMailServer();
        EXPECT_EQ(config.FPort, 0) << port;
        EXPECT_EQ(config.FUser, "a@example.org");
        EXPECT_EQ(config.MailServerRefusal(), "Der Port \"" + QString(port) + "\" in " + file + " (Abschnitt SMTP, Schlüssel "
                                                  "Port) liegt nicht zwischen 1 und 65535. Bitte geben Sie den Port in den "
                                                  "Verbindungseinstellungen neu ein.");
    }
    QFile log(TLogFile::DefaultFileName(common));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    EXPECT_TRUE(QString::fromUtf8(log.readAll()).contains("InitFromIniFile: Der Port \"abc\" in " + file));

    for (const auto& [text, port] : {std::pair{"65535", 65535}, std::pair{"1", 1}, std::pair{"0", 0}, std::pair{"", 0}}) {
        writeMailServer(QByteArray("[SMTP]\nPort=") + text + "\n");
        config.InitMailServer();
        EXPECT_EQ(config.FPort, port) << text;
        EXPECT_EQ(config.MailServerRefusal(), "") << text;
    }
}

// An unreadable settings file keeps the defaults and leaves a log line.
TEST_F(ConfigFixture, UnreadableMailServerIsLogged)
{
    // A folder in the file's place cannot be read, whatever the rights.
    QDir().mkpath(common + "Common04/KVXIni/mailserver.ini");
    TConfig config;
    config.InitMailServer();
    EXPECT_TRUE(config.FHost.isEmpty());
    QFile log(TLogFile::DefaultFileName(common));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    EXPECT_TRUE(log.readAll().contains("FEHLER - "));
}

TEST_F(ConfigFixture, HelpAddressesFollowVersionAndLanguage)
{
    TConfig config;
    config.SetVersion(2021);
    EXPECT_TRUE(config.GermanHelpBase().contains("2021"));
    EXPECT_TRUE(config.EnglishHelpBase().contains("2021"));
    EXPECT_NE(config.GermanHelpBase(), config.EnglishHelpBase());
    EXPECT_EQ(config.Help().BaseAddress(), config.GermanHelpBase());
    config.SetCurrLangCode(1033);
    EXPECT_EQ(config.Help().BaseAddress(), config.EnglishHelpBase());
}

// A sender with line breaks must not add keys or sections: the save refuses
// it before a single key is written, the old file and security string stay.
// A saved file is its owner's alone; PasswordInClear follows both settings.
TEST_F(ConfigFixture, SavingMailServerIsAllOrNothingAndOwnerOnly)
{
    writeMailServer("[SMTP]\nHost=alt.example.org\nAbsender=alt@example.org\n");
    const QString file = common + "Common04/KVXIni/mailserver.ini";
    ASSERT_TRUE(QFile::setPermissions(file, QFile::permissions(file) | QFileDevice::ReadOther));
    QFile before(file);
    ASSERT_TRUE(before.open(QIODevice::ReadOnly));
    const QByteArray old = before.readAll();
    TConfig config;
    config.InitMailServer();
    const QString secString = config.FSecString;
    config.FHost = "neu.example.org";
    config.FUser = "me@x\nHost=evil\n[Other]";
    EXPECT_THROW(config.SaveMailServer(), EKalvex);
    QFile after(file);
    ASSERT_TRUE(after.open(QIODevice::ReadOnly));
    EXPECT_EQ(after.readAll(), old);
    EXPECT_EQ(config.FSecString, secString);

    config.FUser = "me@example.org";
    config.FPass = "geheim";
    config.FVerbindungVerschluesselt = false;
    EXPECT_TRUE(config.PasswordInClear());
    config.SaveMailServer();
    EXPECT_EQ(QFile::permissions(file) & 0x7077, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    const TIniFile saved(file);
    EXPECT_EQ(saved.ReadSections(), QStringList{"SMTP"});
    EXPECT_EQ(saved.ReadString("SMTP", "Host", ""), "neu.example.org");
    config.FVerbindungVerschluesselt = true;
    EXPECT_FALSE(config.PasswordInClear());
    config.FVerbindungVerschluesselt = false;
    config.FPass.clear();
    EXPECT_FALSE(config.PasswordInClear());
}
