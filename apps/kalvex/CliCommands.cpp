#include "CliCommands.h"

#include "ConsoleMessages.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"

#include <QCommandLineParser>
#include <QFile>
#include <QTextStream>
#include <cstdio>
#include <optional>

namespace kalvex::cli {

namespace {

void out(const QString& text)
{
    std::fprintf(stdout, "%s\n", text.toUtf8().constData());
}

void err(const QString& text)
{
    std::fprintf(stderr, "%s\n", text.toUtf8().constData());
}

// The parser of one command; --help prints its options.
class TCommandParser {
public:
    TCommandParser(const QString& name, const QString& description)
    {
        FParser.setApplicationDescription(description);
        FParser.addHelpOption();
        FName = name;
    }
    QCommandLineParser& Parser() { return FParser; }
    // Returns an exit code when the command must end here (help, bad args).
    std::optional<int> Parse(const QStringList& args)
    {
        if (!FParser.parse(QStringList{QStringLiteral("kalvex ") + FName} + args)) {
            err(FParser.errorText());
            return ExitUsage;
        }
        if (FParser.isSet(QStringLiteral("help"))) {
            out(FParser.helpText());
            return ExitOk;
        }
        return std::nullopt;
    }

private:
    QCommandLineParser FParser;
    QString FName;
};

// Loads the installation's settings: TConfig, the log, the translations.
TConfig& openInstallation(const TGlobalOptions& options)
{
    TConfig& config = options.installKey.isEmpty() ? TConfig::Ensure()
                                                    : TConfig::Install(std::make_unique<TConfig>(options.installKey));
    if (config.FCommonPath.isEmpty())
        throw EKalvex(Tx(1873, "Der gemeinsame Datenordner ist nicht eingerichtet (Regpath.ini und Registrierungsdatei "
                               "prüfen oder --install-key angeben)."));
    config.InitMailServer();
    TLogFile::EnsureGlobal(config.FCommonPath);
    TLang::Install(std::make_unique<TLang>(config.CommonFolder04())).SetLanguage(options.lang);
    config.SetCurrLangCode(options.lang);
    return config;
}

QString yesNo(bool value)
{
    return value ? Tx(1830, "Ja") : Tx(1831, "Nein");
}

void printSettings(const TConfig& c)
{
    out(Tx(1874, "Versandart:        %1").arg(c.FVersandart == TVersandArt::vaDirekt ? Tx(1844, "direkt")
                                                                                    : Tx(1843, "über Standard-E-Mail-Programm")));
    out(Tx(1875, "SMTP-Server:       %1").arg(c.FHost));
    out(Tx(1876, "Port:              %1").arg(c.FPort));
    out(Tx(1877, "Verschlüsselt:     %1").arg(yesNo(c.FVerbindungVerschluesselt)));
    out(Tx(1878, "Absender:          %1").arg(c.FUser));
    out(Tx(1879, "Absender-Name:     %1").arg(c.FAbsenderName));
    out(Tx(1880, "Eigener Nutzername: %1").arg(c.FUserNotLikeMailAddress ? c.FUserName : Tx(1831, "Nein")));
    out(Tx(1881, "Passwort:          %1").arg(c.FPass.isEmpty() ? Tx(1882, "(leer)") : Tx(1883, "(gesetzt)")));
    out(Tx(1884, "Zertifikat prüfen: %1").arg(yesNo(c.FVerifyCertificate)));
}

QString readPasswordFromStdin()
{
    QFile in;
    if (!in.open(stdin, QIODevice::ReadOnly))
        throw EKalvex(Tx(1885, "Das Passwort konnte nicht von der Standardeingabe gelesen werden."));
    QString line = QString::fromUtf8(in.readLine());
    while (line.endsWith(QLatin1Char('\n')) || line.endsWith(QLatin1Char('\r')))
        line.chop(1);
    return line;
}

bool parsePort(const QString& text, uint16_t& port)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < 1 || value > 65535)
        return false;
    port = static_cast<uint16_t>(value);
    return true;
}

int runConfig(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("config"), Tx(1886, "Zeigt die SMTP-Einstellungen oder ändert sie."));
    QCommandLineParser& p = cmd.Parser();
    p.addOptions({
        {QStringLiteral("host"), Tx(1887, "SMTP-Server (FQDN oder IP)"), QStringLiteral("host")},
        {QStringLiteral("port"), Tx(1888, "SMTP-Port"), QStringLiteral("port")},
        {QStringLiteral("sender"), Tx(1889, "Absender-Adresse (zugleich Anmeldename)"), QStringLiteral("address")},
        {QStringLiteral("sender-name"), Tx(1890, "Absender-Name"), QStringLiteral("name")},
        {QStringLiteral("login"), Tx(1891, "eigener Anmeldename (leer: Absender-Adresse)"), QStringLiteral("name")},
        {QStringLiteral("direct"), Tx(1892, "direkt per SMTP senden")},
        {QStringLiteral("mail-client"), Tx(1893, "über das Standard-E-Mail-Programm senden")},
        {QStringLiteral("encrypted"), Tx(1894, "verschlüsselte Verbindung: 1 oder 0"), QStringLiteral("0|1")},
        {QStringLiteral("verify-certificate"), Tx(1895, "Zertifikat des Servers prüfen: 1 oder 0"), QStringLiteral("0|1")},
        {QStringLiteral("password-stdin"), Tx(1896, "Passwort aus der ersten Zeile der Standardeingabe lesen")},
    });
    if (auto done = cmd.Parse(args))
        return *done;
    TConfig& c = openInstallation(options);
    bool changed = false;
    auto take = [&](const char* name, auto apply) {
        if (p.isSet(QString::fromLatin1(name))) {
            apply(p.value(QString::fromLatin1(name)));
            changed = true;
        }
    };
    uint16_t port = c.FPort;
    if (p.isSet(QStringLiteral("port")) && !parsePort(p.value(QStringLiteral("port")), port)) {
        err(Tx(1859, "Der angegebene Port scheint fehlerhaft zu sein"));
        return ExitUsage;
    }
    if (p.isSet(QStringLiteral("direct")) && p.isSet(QStringLiteral("mail-client"))) {
        err(Tx(1897, "--direct und --mail-client schließen einander aus."));
        return ExitUsage;
    }
    take("host", [&](const QString& v) { c.FHost = v; });
    take("port", [&](const QString&) { c.FPort = port; });
    take("sender", [&](const QString& v) { c.FUser = v; });
    take("sender-name", [&](const QString& v) { c.FAbsenderName = v; });
    take("login", [&](const QString& v) {
        c.FUserName = v;
        c.FUserNotLikeMailAddress = !v.isEmpty();
    });
    take("direct", [&](const QString&) { c.FVersandart = TVersandArt::vaDirekt; });
    take("mail-client", [&](const QString&) { c.FVersandart = TVersandArt::vaStandardClient; });
    take("encrypted", [&](const QString& v) { c.FVerbindungVerschluesselt = v.toInt() != 0; });
    take("verify-certificate", [&](const QString& v) { c.FVerifyCertificate = v.toInt() != 0; });
    take("password-stdin", [&](const QString&) { c.FPass = readPasswordFromStdin(); });
    if (changed) {
        c.SaveMailServer();
        c.InitMailServer();
    }
    printSettings(c);
    return ExitOk;
}

void printUsage()
{
    out(QStringLiteral("kalvex [--lang 1031|1033] [--install-key KEY] [--yes|--no] <command> [options]\n"));
    for (const TCommand& c : Commands())
        out(QStringLiteral("  %1 %2").arg(c.name, -16).arg(c.summary));
    out(Tx(1898, "\n'kalvex <command> --help' zeigt die Optionen eines Befehls."));
}

// Global options stand before the command name.
std::optional<int> parseGlobal(QStringList& args, TGlobalOptions& options)
{
    while (!args.isEmpty() && args.first().startsWith(QLatin1String("--"))) {
        const QString opt = args.takeFirst();
        if (opt == QLatin1String("--yes") || opt == QLatin1String("--no")) {
            options.answer = opt == QLatin1String("--yes");
        } else if ((opt == QLatin1String("--lang") || opt == QLatin1String("--install-key")) && !args.isEmpty()) {
            const QString value = args.takeFirst();
            if (opt == QLatin1String("--install-key"))
                options.installKey = value;
            else if (value == QLatin1String("1031") || value == QLatin1String("1033"))
                options.lang = value.toInt();
            else
                return (err(Tx(1899, "--lang erwartet 1031 oder 1033.")), ExitUsage);
        } else if (opt == QLatin1String("--help")) {
            printUsage();
            return ExitOk;
        } else {
            err(Tx(1900, "Unbekannte Option: %1").arg(opt));
            return ExitUsage;
        }
    }
    return std::nullopt;
}

}  // namespace

const std::vector<TCommand>& Commands()
{
    static const std::vector<TCommand> commands = {
        {QStringLiteral("config"), QStringLiteral("show or set the SMTP settings"), runConfig},
    };
    return commands;
}

int RunCommandLine(const QStringList& arguments)
{
    QStringList args = arguments;
    TGlobalOptions options;
    if (auto done = parseGlobal(args, options))
        return *done;
    if (args.isEmpty()) {
        printUsage();
        return ExitUsage;
    }
    const QString name = args.takeFirst();
    for (const TCommand& c : Commands()) {
        if (c.name != name)
            continue;
        try {
            return c.run(args, options);
        } catch (const EKalvex& e) {
            err(e.message());
            return ExitEnvironment;
        } catch (const std::exception& e) {
            err(QString::fromUtf8(e.what()));
            return ExitEnvironment;
        }
    }
    err(Tx(1901, "Unbekannter Befehl: %1").arg(name));
    printUsage();
    return ExitUsage;
}

}  // namespace kalvex::cli
