#pragma once
// What the command units share: console output, the parser of one command,
// opening the installation and its store, the warning about a password sent
// in clear.

#include "CliArguments.h"
#include "CliCommands.h"

#include "config/ControlCharacters.h"
#include "config/LanguageUnit.h"

#include <QCommandLineParser>
#include <optional>

namespace kalvex {
class TDatenModul;
}

namespace kalvex::cli {

void out(const QString& text);
void err(const QString& text);

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
    void AddPositional(const QString& name, const QString& description)
    {
        FParser.addPositionalArgument(name, description);
        ++FPositionals;
    }
    // Returns an exit code when the command must end here (help, bad args).
    std::optional<int> Parse(const QStringList& args)
    {
        if (!FParser.parse(QStringList{QStringLiteral("kalvex ") + FName} + args)) {
            err(VisibleControlCharacters(FParser.errorText()));
            return ExitUsage;
        }
        if (FParser.isSet(QStringLiteral("help"))) {
            out(FParser.helpText());
            return ExitOk;
        }
        rejectStrayArguments();
        return std::nullopt;
    }

private:
    // An argument the command does not take would otherwise be dropped
    // silently (a second address after --to).
    void rejectStrayArguments() const
    {
        const QStringList stray = FParser.positionalArguments().mid(FPositionals);
        if (!stray.isEmpty())
            throw EUsage(Tx(2404, "Unerwartetes Argument: „%1“ (jeder Wert braucht seine Option, "
                                  "z. B. --to vor jeder Adresse).")
                             .arg(VisibleControlCharacters(stray.first())));
    }

    QCommandLineParser FParser;
    QString FName;
    qsizetype FPositionals = 0;
};

TConfig& openInstallation(const TGlobalOptions& options);
// The store of the installation opened before.
TDatenModul& openStore();
void warnPasswordInClear(const TConfig& c);
// Direct sending with a password over a plain connection: said once, before
// the first mail leaves, and kept in the log.
void warnPasswordInClearBeforeSending(const TConfig& c, const QString& command);

}  // namespace kalvex::cli
