#pragma once
// The process-wide settings object: folders of the installation (from the
// registry file), the SMTP settings of mailserver.ini, and the values that
// the host passes in. Created on first need by TMail, freed with it.

#include "config/Help.h"

#include <QList>
#include <QPair>
#include <QString>
#include <cstdint>
#include <memory>

namespace kalvex {

enum class TVersandArt : int { vaStandardClient = 0, vaDirekt = 1 };

class TConfig {
public:
    static constexpr const char* GermanHelpTemplate = "https://docs.kalvex.de/%d/de/";
    static constexpr const char* EnglishHelpTemplate = "https://docs.kalvex.de/%d/en/";

    TConfig();  // runs the path set-up with the key of Regpath.ini
    // Path set-up with the given installation key instead of Regpath.ini's
    // (the command line names its installation this way).
    explicit TConfig(const QString& installKey);

    // Process-wide instance: Instance() may be null; Ensure() creates it.
    static TConfig* Instance();
    static TConfig& Ensure();
    static void Free();
    static TConfig& Install(std::unique_ptr<TConfig> config);

    void SetVersion(int version);
    void InitMailServer();   // never raises: failures are logged
    // Writes the SMTP keys back in one write, the password encoded with a
    // fresh security string; the file is readable by its owner only. Raises
    // EKalvex on write errors and on values that cannot stand in the file
    // (line breaks, control characters): then nothing is written.
    void SaveMailServer();
    // A password is set but the connection is not encrypted.
    bool PasswordInClear() const;
    void SetCurrLangCode(int code);

    // Files below the common folder.
    QString IniFolder() const;            // FCommonPath + Common04/KVXIni/
    QString MailServerIniFileName() const;
    QString ConfigIniFileName() const;
    QString CommonFolder04() const;       // FCommonPath + Common04/

    const TKalvexHelp& Help() const { return *FHelp; }
    const QString& GermanHelpBase() const { return FHelpBaseDE; }
    const QString& EnglishHelpBase() const { return FHelpBaseEN; }

    QString FApplicationPath;
    QString FPKZPath;
    QString FProgramDataPath;
    QString FServerDBIniDir;
    QString FSektionsName;
    QString FCommonPath;
    QString FVorlagePfad;
    QString FVorlagePfadAllgemein;
    int32_t FCurrLangCode = 1031;
    int32_t FVersion = 0;
    QString FHost;
    uint16_t FPort = 0;
    QString FPass;
    QString FUser;
    TVersandArt FVersandart = TVersandArt::vaStandardClient;
    int32_t FSendDirekt = 0;   // the stored SendDirekt value as it stands (0, 1, or anything else)
    bool FVerbindungVerschluesselt = false;
    QString FAbsenderName;
    bool FUserNotLikeMailAddress = false;
    QString FUserName;
    int32_t FNewFontSize = 0;
    bool FAutoBreite = false;
    bool FGridsZentriert = false;
    QString FSecString;
    // Our own addition: check the SMTP server's certificate (key
    // VerifyCertificate in section SMTP, default off like the original).
    bool FVerifyCertificate = false;
    // The Port value of mailserver.ini as written when it was refused (not a
    // port of 1..65535); empty when it could be taken.
    QString FRefusedPort;
    // Why mailserver.ini cannot be used for sending directly, naming file
    // and key, in the current language; empty when nothing stands against it.
    QString MailServerRefusal() const;

private:
    void setupPaths(const QString& installKey);
    void readRegistryFolders(const QString& installKey);
    void readMailServer(const class TIniFile& ini);
    uint16_t readPort(const class TIniFile& ini);
    void logMailServerFailure(const QString& text);
    QList<QPair<QString, QString>> mailServerEntries(int32_t sendDirekt, const QString& secString) const;
    void replaceHelp();

    QString FHelpBaseDE;
    QString FHelpBaseEN;
    std::unique_ptr<TKalvexHelp> FHelp;
};

// The warning for a password that travels without encryption.
QString PasswordInClearWarning();

}  // namespace kalvex
