#include "config/uConfig.h"

#include "config/AppPaths.h"
#include "config/IniPlus.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/RegistryFile.h"
#include "config/uCrypt.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace kalvex {

namespace {

std::unique_ptr<TConfig>& globalConfig()
{
    static std::unique_ptr<TConfig> config;
    return config;
}

const QString kInstallDirKey = QStringLiteral("SOFTWARE\\QMB GmbH\\InstallDir");
const QString kCommonKey = QStringLiteral("SOFTWARE\\QMB GmbH\\Common");
const QString kSmtp = QStringLiteral("SMTP");

QString folderValue(const TRegistryFile& reg, const QString& key, const QString& name)
{
    return IncludeTrailingSeparator(reg.ReadString(key, name).value_or(QString()));
}

// A folder the registry does not name stays unnamed: it is never made
// relative to the working folder.
QString ensureFolder(const QString& base, const QString& relative)
{
    if (base.isEmpty())
        return QString();
    const QString folder = JoinPath(base, relative);
    QDir().mkpath(folder);
    return IncludeTrailingSeparator(folder);
}

QString helpAddress(const char* tmpl, int version)
{
    return QString::asprintf(tmpl, version);
}

}  // namespace

TConfig::TConfig()
    : TConfig(TIniPlus(QStringLiteral("Regpath.ini")).ReadString(QStringLiteral("Registry"), QStringLiteral("Key"), QString()))
{
}

TConfig::TConfig(const QString& installKey)
{
    setupPaths(installKey);
    FHelp = std::make_unique<TKalvexHelp>(FCurrLangCode == 1033 ? FHelpBaseEN : FHelpBaseDE);
}

TConfig* TConfig::Instance()
{
    return globalConfig().get();
}

TConfig& TConfig::Ensure()
{
    if (!globalConfig())
        globalConfig() = std::make_unique<TConfig>();
    return *globalConfig();
}

void TConfig::Free()
{
    globalConfig().reset();
}

TConfig& TConfig::Install(std::unique_ptr<TConfig> config)
{
    globalConfig() = std::move(config);
    return *globalConfig();
}

void TConfig::setupPaths(const QString& installKey)
{
    FApplicationPath = ApplicationFolder();
    if (!installKey.isEmpty())
        readRegistryFolders(installKey);
    if (FCommonPath.isEmpty())
        FCommonPath = FallbackCommonFolder();
}

void TConfig::readRegistryFolders(const QString& installKey)
{
    const TRegistryFile reg;
    FProgramDataPath = folderValue(reg, kInstallDirKey, installKey);
    FPKZPath = folderValue(reg, kInstallDirKey, QStringLiteral("Steuerpult2015"));
    FCommonPath = folderValue(reg, kCommonKey, QStringLiteral("Common"));
    FVorlagePfad = ensureFolder(FProgramDataPath, QStringLiteral("KVX_StandardVorlagen"));
    FVorlagePfadAllgemein = ensureFolder(FCommonPath, QStringLiteral("Common04\\KVX_StandardVorlagen"));
}

void TConfig::SetVersion(int version)
{
    FVersion = version;
    FHelpBaseDE = helpAddress(GermanHelpTemplate, version);
    FHelpBaseEN = helpAddress(EnglishHelpTemplate, version);
    replaceHelp();
}

void TConfig::SetCurrLangCode(int code)
{
    FCurrLangCode = code;
    replaceHelp();
}

void TConfig::replaceHelp()
{
    FHelp = std::make_unique<TKalvexHelp>(FCurrLangCode == 1033 ? FHelpBaseEN : FHelpBaseDE);
}

// Without a common folder these are empty, never names relative to the
// working folder.
QString TConfig::CommonFolder04() const
{
    return FCommonPath.isEmpty() ? QString() : JoinPath(FCommonPath, QStringLiteral("Common04\\"));
}

QString TConfig::IniFolder() const
{
    return FCommonPath.isEmpty() ? QString() : JoinPath(FCommonPath, QStringLiteral("Common04\\KVXIni\\"));
}

QString TConfig::MailServerIniFileName() const
{
    return FCommonPath.isEmpty() ? QString() : IniFolder() + QStringLiteral("mailserver.ini");
}

QString TConfig::ConfigIniFileName() const
{
    return FCommonPath.isEmpty() ? QString() : IniFolder() + QStringLiteral("config.ini");
}

void TConfig::InitMailServer()
{
    FRefusedPort.clear();
    if (!QFileInfo::exists(MailServerIniFileName()))
        return;
    try {
        const TIniFile ini(MailServerIniFileName());
        if (!ini.loadError().isEmpty())
            throw EKalvex(QStringLiteral("Die Datei %1 konnte nicht gelesen werden: %2")
                              .arg(MailServerIniFileName(), ini.loadError()));
        readMailServer(ini);
    } catch (const std::exception& e) {
        logMailServerFailure(QString::fromUtf8(e.what()));
    }
    if (!FRefusedPort.isEmpty())
        logMailServerFailure(MailServerRefusal());
}

QString TConfig::MailServerRefusal() const
{
    if (FRefusedPort.isEmpty())
        return QString();
    return Tx(4307, "Der Port \"%1\" in %2 (Abschnitt SMTP, Schlüssel Port) liegt nicht zwischen 1 und 65535. Bitte "
                    "geben Sie den Port in den Verbindungseinstellungen neu ein.")
        .arg(FRefusedPort, MailServerIniFileName());
}

void TConfig::logMailServerFailure(const QString& text)
{
    try {
        TLogFile::EnsureGlobal(FCommonPath);
    } catch (const EKalvex&) {
        // without a log the failure can only be dropped; the defaults stay
    }
    TLogFile::LogGlobal(false, QStringLiteral("InitFromIniFile: ") + text);
}

// A port written by hand outside 1..65535 would wrap around into some other
// port: it is refused and no port is set. Empty and 0 mean "not set".
uint16_t TConfig::readPort(const TIniFile& ini)
{
    const QString text = ini.ReadString(kSmtp, QStringLiteral("Port"), QString()).trimmed();
    const int value = ini.ReadInteger(kSmtp, QStringLiteral("Port"), -1);
    if (text.isEmpty() || (value >= 0 && value <= 65535))
        return static_cast<uint16_t>(std::max(value, 0));
    FRefusedPort = text;
    return 0;
}

// The security string is read before the password, which needs it to decode.
void TConfig::readMailServer(const TIniFile& ini)
{
    FSendDirekt = ini.ReadInteger(kSmtp, QStringLiteral("SendDirekt"), 0);
    FVersandart = FSendDirekt != 0 ? TVersandArt::vaDirekt : TVersandArt::vaStandardClient;
    FHost = ini.ReadString(kSmtp, QStringLiteral("Host"), QString());
    FPort = readPort(ini);
    FSecString = ini.ReadString(kSmtp, QStringLiteral("SecString"), FSecString);
    FPass = TCrypt::DecodePWDEx(ini.ReadString(kSmtp, QStringLiteral("Passwort"), QString()), FSecString);
    TLogFile::RegisterSecret(FPass);
    FUser = ini.ReadString(kSmtp, QStringLiteral("Absender"), QString());
    FAbsenderName = ini.ReadString(kSmtp, QStringLiteral("AbsenderName"), QString());
    FVerbindungVerschluesselt = ini.ReadBool(kSmtp, QStringLiteral("EncodedConnect"), true);
    FUserNotLikeMailAddress = ini.ReadBool(kSmtp, QStringLiteral("UserNotLikeMailAddress"), false);
    FUserName = ini.ReadString(kSmtp, QStringLiteral("UserName"), QString());
    FVerifyCertificate = ini.ReadBool(kSmtp, QStringLiteral("VerifyCertificate"), false);
}

void TConfig::SaveMailServer()
{
    const QString secString = TCrypt::GeneratePWDSecurityString();
    const int32_t sendDirekt = FVersandart == TVersandArt::vaDirekt ? 1 : 0;
    TIniFile ini(MailServerIniFileName(), TIniAccess::OwnerOnly);
    ini.WriteStrings(kSmtp, mailServerEntries(sendDirekt, secString));
    FSendDirekt = sendDirekt;
    FSecString = secString;
}

QList<QPair<QString, QString>> TConfig::mailServerEntries(int32_t sendDirekt, const QString& secString) const
{
    const auto flag = [](bool on) { return on ? QStringLiteral("1") : QStringLiteral("0"); };
    return {{QStringLiteral("SendDirekt"), QString::number(sendDirekt)},
            {QStringLiteral("Host"), FHost},
            {QStringLiteral("Port"), QString::number(FPort)},
            {QStringLiteral("SecString"), secString},
            {QStringLiteral("Passwort"), TCrypt::EncodePWDEx(FPass, secString, 2, 8)},
            {QStringLiteral("Absender"), FUser},
            {QStringLiteral("AbsenderName"), FAbsenderName},
            {QStringLiteral("EncodedConnect"), flag(FVerbindungVerschluesselt)},
            {QStringLiteral("UserNotLikeMailAddress"), flag(FUserNotLikeMailAddress)},
            {QStringLiteral("UserName"), FUserName},
            {QStringLiteral("VerifyCertificate"), flag(FVerifyCertificate)}};
}

bool TConfig::PasswordInClear() const
{
    return !FVerbindungVerschluesselt && !FPass.isEmpty();
}

QString PasswordInClearWarning()
{
    return Tx(2403, "Warnung: Das Passwort wird unverschlüsselt übertragen, weil die verschlüsselte Verbindung "
                    "ausgeschaltet ist.");
}

}  // namespace kalvex
