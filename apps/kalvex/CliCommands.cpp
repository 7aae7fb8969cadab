// The command line's dispatch: the global options before the command, the
// usage text with the exit codes, --help and --version. The table of
// commands is the program's own (CliCommandTable.cpp for the whole command
// line, CliStoreCommandTable.cpp for the store reader).
#include "CliCommands.h"

#include "CliArguments.h"
#include "CliShared.h"

#include "config/AppPaths.h"
#include "config/ControlCharacters.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "db/uDatenModul.h"

#include <QFileInfo>

#include <memory>
#include <optional>

namespace kalvex::cli {

namespace {

// The exit codes, as the man page and README list them; when several
// apply, the first of 1, 6, 5, 4 counts.
void printExitCodes()
{
    const QList<QPair<int, QString>> codes = {
        {ExitOk, Tx(4211, "fertig; bei send: jede E-Mail wurde übergeben")},
        {ExitFailed, Tx(4212, "die Arbeit lief, ist aber fehlgeschlagen (eine E-Mail nicht übergeben, der "
                              "Verbindungstest fehlgeschlagen)")},
        {ExitUsage, Tx(4213, "falsche Argumente; es wurde nichts geschrieben oder gesendet")},
        {ExitEnvironment, Tx(4214, "Einstellungen, Speicher oder Installation nicht verwendbar")},
        {ExitSentNotLogged, Tx(4215, "send: jede E-Mail ist hinausgegangen, aber das Protokoll konnte nicht "
                                     "geschrieben werden; nicht erneut senden")},
        {ExitPartlySent, Tx(4216, "send: die E-Mail ist hinausgegangen, aber der Server hat einige Empfänger "
                                  "abgelehnt (sie werden genannt); nicht erneut an alle senden")},
        {ExitDeliveryUnknown, Tx(4217, "send: keine E-Mail ist fehlgeschlagen, aber bei einigen ist die Zustellung "
                                       "unbekannt (Verbindung nach dem Senden beendet); nicht ungeprüft erneut senden")},
    };
    out(Tx(4210, "\nExit-Codes:"));
    for (const auto& [code, meaning] : codes)
        out(QStringLiteral("  %1  %2").arg(code).arg(meaning));
}

void printUsage()
{
    out(QStringLiteral("kalvex [--lang 1031|1033] [--install-key KEY] [--yes|--no] <command> [options]\n"
                       "kalvex --help | --version\n"));
    for (const TCommand& c : Commands())
        out(QStringLiteral("  %1 %2").arg(c.name, -16).arg(c.summary));
    out(Tx(1898, "\n'kalvex <command> --help' zeigt die Optionen eines Befehls."));
    printExitCodes();
}

int langValue(const QString& value)
{
    if (value != QLatin1String("1031") && value != QLatin1String("1033"))
        throw EUsage(Tx(1899, "--lang erwartet 1031 oder 1033."));
    return value.toInt();
}

// Global options stand before the command name; returns an exit code when
// the command line ends here (--help).
std::optional<int> parseGlobal(QStringList& args, TGlobalOptions& options)
{
    while (!args.isEmpty() && args.first().startsWith(QLatin1String("--"))) {
        const QString opt = args.takeFirst();
        if (opt == QLatin1String("--help")) {
            printUsage();
            return ExitOk;
        }
        if (opt == QLatin1String("--version")) {
            out(QStringLiteral("kalvex " KALVEX_VERSION));
            return ExitOk;
        }
        if (opt == QLatin1String("--yes") || opt == QLatin1String("--no"))
            options.answer = opt == QLatin1String("--yes");
        else if (opt == QLatin1String("--lang"))
            options.lang = langValue(TakeOptionValue(opt, args));
        else if (opt == QLatin1String("--install-key"))
            options.installKey = TakeOptionValue(opt, args);
        else
            throw EUsage(Tx(1900, "Unbekannte Option: %1").arg(VisibleControlCharacters(opt)));
    }
    return std::nullopt;
}

std::optional<int> globalOptions(QStringList& args, TGlobalOptions& options)
{
    try {
        return parseGlobal(args, options);
    } catch (const EUsage& e) {
        err(e.message());
        return ExitUsage;
    }
}

// Runs one step; a raised message ends the command line with its exit code.
int guarded(const std::function<int()>& step)
{
    try {
        return step();
    } catch (const EUsage& e) {
        err(e.message());
        return ExitUsage;
    } catch (const EKalvex& e) {
        err(e.message());
    } catch (const std::exception& e) {
        err(QString::fromUtf8(e.what()));
    }
    return ExitEnvironment;
}

// A command's --help and its usage errors come before the installation is
// opened: in English they come from the module's own translations.
void useModuleTranslations(int lang)
{
    const QString own = ModuleDataFile(QStringLiteral("DllsLang.db3"));
    if (lang == 1031 || own.isEmpty() || TLang::Instance())
        return;
    TLang::Install(std::make_unique<TLang>(QFileInfo(own).absolutePath()));
    TLang::Instance()->SetLanguage(lang);
}

const TCommand* findCommand(const QString& name)
{
    for (const TCommand& c : Commands())
        if (c.name == name)
            return &c;
    return nullptr;
}

// What a command line does: the command after the global options, or the
// --help or --version that answers before any command.
QString commandOf(const QStringList& arguments)
{
    qsizetype i = 0;
    for (; i < arguments.size() && arguments[i].startsWith(QLatin1String("--")); ++i) {
        const QString& opt = arguments[i];
        if (opt == QLatin1String("--help") || opt == QLatin1String("--version"))
            return opt;
        if (opt == QLatin1String("--lang") || opt == QLatin1String("--install-key"))
            ++i;   // its value
    }
    return arguments.value(i);
}

}  // namespace

bool ReadsStoreOnly(const QStringList& arguments)
{
    const QString command = commandOf(arguments);
    return command == QLatin1String("list") || command == QLatin1String("show");
}

bool RunsWithoutGui(const QStringList& arguments)
{
    return commandOf(arguments).startsWith(QLatin1String("--")) || ReadsStoreOnly(arguments);
}

int RunCommandLine(const QStringList& arguments)
{
    QStringList args = arguments;
    TGlobalOptions options;
    if (auto done = globalOptions(args, options))
        return *done;
    useModuleTranslations(options.lang);
    if (args.isEmpty()) {
        printUsage();
        return ExitUsage;
    }
    const QString name = args.takeFirst();
    const TCommand* command = findCommand(name);
    if (!command) {
        err(Tx(1901, "Unbekannter Befehl: %1").arg(VisibleControlCharacters(name)));
        printUsage();
        return ExitUsage;
    }
    const int code = guarded([&] { return command->run(args, options); });
    // The store closes while Qt is still there.
    TDatenModul::Free();
    TLang::Free();
    TLogFile::Uninstall();
    return code;
}

}  // namespace kalvex::cli
