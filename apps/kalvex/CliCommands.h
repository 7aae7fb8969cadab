#pragma once
// The commands of the kalvex command line. Each takes its own arguments
// (after the command name) and returns the process exit code.

#include <QStringList>
#include <functional>
#include <vector>

namespace kalvex {
class TConfig;
}

namespace kalvex::cli {

enum ExitCode : int {
    ExitOk = 0,          // everything was done (every mail handed over)
    ExitFailed = 1,      // the work ran but failed (a mail not handed over, the test failed)
    ExitUsage = 2,       // wrong arguments
    ExitEnvironment = 3, // settings, store or installation could not be used
    ExitSentNotLogged = 4, // every mail went out, but the sent-mail log could not be written: do not send again
    ExitPartlySent = 5,  // the mail went out, but the server refused some of its recipients (named)
    ExitDeliveryUnknown = 6, // nothing failed, but for some mails the server's answer never came: do not send again
};

struct TGlobalOptions {
    int lang = 1031;
    QString installKey;          // instead of Regpath.ini's key
    std::optional<bool> answer;  // --yes / --no
};

struct TCommand {
    QString name;
    QString summary;
    std::function<int(const QStringList& args, const TGlobalOptions& options)> run;
};

// The program's commands: the whole command line's, or the store reader's.
const std::vector<TCommand>& Commands();
// Loads the installation's settings, the log and the translations.
TConfig& OpenInstallation(const TGlobalOptions& options);
int RunCommandLine(const QStringList& arguments);
// True when the command only reads the store (list, show).
bool ReadsStoreOnly(const QStringList& arguments);
// True when the program needs no GUI layer: the global options answer by
// themselves (--help, --version), or the command only reads the store.
bool RunsWithoutGui(const QStringList& arguments);

}  // namespace kalvex::cli
