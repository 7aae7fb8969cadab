// The helpers of the command units: console output, opening the
// installation and its store, the password-in-clear warning.
#include "CliShared.h"

#include "config/AppPaths.h"
#include "config/KalvexError.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"

#include <cstdio>

namespace kalvex::cli {

void out(const QString& text)
{
    std::fprintf(stdout, "%s\n", text.toUtf8().constData());
}

void err(const QString& text)
{
    std::fprintf(stderr, "%s\n", text.toUtf8().constData());
}

TConfig& OpenInstallation(const TGlobalOptions& options)
{
    TConfig& config = options.installKey.isEmpty() ? TConfig::Ensure()
                                                    : TConfig::Install(std::make_unique<TConfig>(options.installKey));
    if (config.FCommonPath.isEmpty() || config.FCommonPath == FallbackCommonFolder())   // a site names its own
        throw EKalvex(Tx(1873, "Der gemeinsame Datenordner ist nicht eingerichtet (Regpath.ini und Registrierungsdatei "
                               "prüfen oder --install-key angeben)."));
    config.InitMailServer();
    try {
        TLogFile::EnsureGlobal(config.FCommonPath);
    } catch (const EKalvex&) {   // the commands work on without their log
        err(Tx(4405, "Die Protokolldatei %1 kann nicht geschrieben werden. Das E-Mail-Modul arbeitet ohne Protokoll weiter.")
                .arg(TLogFile::DefaultFileName(config.FCommonPath)));
    }
    // The module's own texts may be read already (for a command's help).
    const TLang* read = TLang::Instance();
    if (!read || read->Database() != TLang::DatabaseFor(config.CommonFolder04())) {
        const TLang& lang = TLang::Install(std::make_unique<TLang>(config.CommonFolder04()));
        if (!lang.LoadError().isEmpty())
            err(lang.LoadError());   // the German texts are used; the user should know why
    }
    TLang::Instance()->SetLanguage(options.lang);
    config.SetCurrLangCode(options.lang);
    return config;
}

TConfig& openInstallation(const TGlobalOptions& options)
{
    return OpenInstallation(options);
}

// The store of the installation opened before.
TDatenModul& openStore()
{
    if (!TDatenModul::Instance())
        TDatenModul::Install(std::make_unique<TDatenModul>());
    return *TDatenModul::Instance();
}

void warnPasswordInClear(const TConfig& c)
{
    if (c.PasswordInClear())
        err(PasswordInClearWarning());
}

// Direct sending with a password over a plain connection: said once, before
// the first mail leaves, and kept in the log.
void warnPasswordInClearBeforeSending(const TConfig& c, const QString& command)
{
    if (!c.PasswordInClear())
        return;
    warnPasswordInClear(c);
    TLogFile::LogGlobal(true, QStringLiteral("kalvex %1 - %2").arg(command, PasswordInClearWarning()));
}

}  // namespace kalvex::cli
