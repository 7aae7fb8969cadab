#pragma once
// Checks of command-line values. Each raises EUsage (exit code 2) with a
// German message that names the option and the value.

#include "config/KalvexError.h"

#include <QStringList>
#include <optional>

namespace kalvex::cli {

// Wrong arguments, as opposed to an installation that cannot be used.
class EUsage : public EKalvex {
public:
    using EKalvex::EKalvex;
};

// 1/0, ja/nein, yes/no, true/false in any case; nothing else.
std::optional<bool> ParseTruthValue(const QString& text);
bool TruthOption(const QString& option, const QString& value);

// A value that goes into a settings file: no line breaks, no control characters.
QString SettingText(const QString& option, const QString& value);

// The value after a global option (the next argument, not another option).
QString TakeOptionValue(const QString& option, QStringList& args);

// The mail ID of show and delete: one positive integer. "-1" must be caught
// before the option parser takes it for an option.
void RejectNegativeNumbers(const QStringList& args);
int MailId(const QStringList& positionals);

// A file named by an option must be there and readable before anything is
// stored or sent.
void RequireReadableFile(const QString& path);
// A file a run writes at its end must be writable before the first mail.
void RequireWritableFile(const QString& option, const QString& path);

}  // namespace kalvex::cli
