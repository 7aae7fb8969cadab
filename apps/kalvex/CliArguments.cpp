#include "CliArguments.h"

#include "config/ControlCharacters.h"
#include "config/LanguageUnit.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace kalvex::cli {

namespace {

bool isOneOf(const QString& text, const QStringList& words)
{
    return words.contains(text, Qt::CaseInsensitive);
}

QString idError(const QString& text)
{
    return Tx(2406, "Die ID muss eine positive ganze Zahl sein (siehe 'kalvex list'): %1")
        .arg(VisibleControlCharacters(text));
}

}  // namespace

std::optional<bool> ParseTruthValue(const QString& text)
{
    if (isOneOf(text, {QStringLiteral("1"), QStringLiteral("ja"), QStringLiteral("yes"), QStringLiteral("true")}))
        return true;
    if (isOneOf(text, {QStringLiteral("0"), QStringLiteral("nein"), QStringLiteral("no"), QStringLiteral("false")}))
        return false;
    return std::nullopt;
}

bool TruthOption(const QString& option, const QString& value)
{
    if (const std::optional<bool> truth = ParseTruthValue(value))
        return *truth;
    throw EUsage(Tx(2405, "Ungültiger Wert für --%1: „%2“ (erlaubt sind 1/0, ja/nein, yes/no, true/false).")
                     .arg(option, VisibleControlCharacters(value)));
}

QString SettingText(const QString& option, const QString& value)
{
    if (HasControlCharacter(value))
        throw EUsage(Tx(2407, "Der Wert für --%1 darf keine Zeilenumbrüche oder Steuerzeichen enthalten: „%2“.")
                         .arg(option, VisibleControlCharacters(value)));
    return value;
}

QString TakeOptionValue(const QString& option, QStringList& args)
{
    if (args.isEmpty() || args.first().startsWith(QLatin1String("--")))
        throw EUsage(Tx(2408, "Der Option %1 fehlt ihr Wert.").arg(option));
    return args.takeFirst();
}

void RejectNegativeNumbers(const QStringList& args)
{
    static const QRegularExpression negative(QStringLiteral("^-[0-9]+$"));
    for (const QString& a : args)
        if (negative.match(a).hasMatch())
            throw EUsage(idError(a));
}

int MailId(const QStringList& positionals)
{
    if (positionals.isEmpty())
        throw EUsage(Tx(2412, "Geben Sie die ID der E-Mail an (siehe 'kalvex list')."));
    bool ok = false;
    const int id = positionals.first().toInt(&ok);
    if (!ok || id < 1)
        throw EUsage(idError(positionals.first()));
    return id;
}

void RequireReadableFile(const QString& path)
{
    const QFileInfo info(path);
    if (!info.isFile() || !info.isReadable())
        throw EUsage(Tx(1902, "Die Datei %1 konnte nicht gelesen werden.").arg(VisibleControlCharacters(path)));
}

// An existing file must be a writable file; a new one needs a writable folder.
void RequireWritableFile(const QString& option, const QString& path)
{
    const QFileInfo info(path);
    const QFileInfo folder(info.absolutePath());
    const bool writable = info.exists() ? info.isFile() && info.isWritable() : folder.isDir() && folder.isWritable();
    if (!writable)
        throw EUsage(Tx(4206, "Die Datei %1 (--%2) kann nicht geschrieben werden. Es wurde nichts gesendet.")
                         .arg(VisibleControlCharacters(path), option));
}

}  // namespace kalvex::cli
