#pragma once
// Finds the program that hands a mail to the desktop's mail program: the
// command named in config.ini (section MailClient, key Command) or
// xdg-email on the PATH. Writes the diagnostics a support call needs.

#include <QString>
#include <QStringList>

namespace kalvex {

struct TMailClientCommand {
    QString program;          // empty when none was found
    QStringList leadingArgs;  // from a configured command line
};

TMailClientCommand FindMailClientCommand();
// The default mailto handler and the command, as log lines.
void LogMailClientDiagnostics(const TMailClientCommand& command, const QStringList& arguments);
// Maps the exit code of xdg-email onto the MAPI result codes:
// 0 -> 0, 2 (a file is missing) -> 11, 3 (no tool) -> 99, others -> 2.
int MapiCodeForExitCode(int exitCode);
// The message of a MAPI result code; empty for the codes that show none.
QString MapiResultMessage(int code);

}  // namespace kalvex
