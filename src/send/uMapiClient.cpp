#include "send/uMapiClient.h"

#include "config/IniPlus.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"

#include <QProcess>
#include <QStandardPaths>

namespace kalvex {

TMailClientCommand FindMailClientCommand()
{
    if (const TConfig* config = TConfig::Instance()) {
        const QString configured =
            TIniFile(config->ConfigIniFileName()).ReadString(QStringLiteral("MailClient"), QStringLiteral("Command"), QString());
        QStringList parts = QProcess::splitCommand(configured);
        if (!parts.isEmpty()) {
            const QString program = QStandardPaths::findExecutable(parts.takeFirst());
            return {program, parts};
        }
    }
    return {QStandardPaths::findExecutable(QStringLiteral("xdg-email")), {}};
}

void LogMailClientDiagnostics(const TMailClientCommand& command, const QStringList& arguments)
{
    QProcess query;
    query.start(QStringLiteral("xdg-mime"), {QStringLiteral("query"), QStringLiteral("default"),
                                             QStringLiteral("x-scheme-handler/mailto")});
    const bool answered = query.waitForFinished(5000);
    const QString handler = answered ? QString::fromUtf8(query.readAllStandardOutput()).trimmed() : QString();
    TLogFile::LogGlobal(true, QStringLiteral("Standard-E-Mail-Programm (mailto): ") + (handler.isEmpty() ? QStringLiteral("nicht eingerichtet") : handler));
    TLogFile::LogGlobal(true, QStringLiteral("Aufruf: ") + (command.program.isEmpty() ? QStringLiteral("(kein Programm gefunden)") : command.program)
                                   + QLatin1Char(' ') + QString::number((command.leadingArgs + arguments).size())
                                   + QStringLiteral(" Argumente"));
}

int MapiCodeForExitCode(int exitCode)
{
    switch (exitCode) {
    case 0: return 0;
    case 2: return 11;
    case 3: return 99;
    default: return 2;
    }
}

QString MapiResultMessage(int code)
{
    switch (code) {
    case 0: case 1: case 7: return QString();
    case 2: return Tx(1200, "Einer oder mehrere undefinierte Fehler sind aufgetreten!");
    case 3: return Tx(1201, "Loginfehler");
    case 5: return Tx(1202, "Nicht genügend Speicher zum Fortfahren!");
    case 9: return Tx(1203, "Es wurden zu viele Dateien angehängt!");
    case 10: return Tx(1204, "Es wurden zu viele Empfänger angegeben!");
    case 11: return Tx(1205, "Die ausgewählte Datei wurde nicht gefunden!");
    case 12: return Tx(1206, "Die ausgewählte Datei konnte nicht geöffnet werden!");
    case 14: return Tx(1207, "Empfänger ist nicht in der Adressliste vorhanden!");
    case 18: return Tx(1208, "Die eingegebenene Nachricht ist zu lang");
    case 25: return Tx(1209, "Einer oder mehrere Empfänger sind ungültig!");
    case 99:
        return Tx(1210, "MailClient konnte nicht aufgerufen werden. Bitte überprüfen Sie, ob auf Ihrem System ein "
                        "E-Mail-Programm installiert und als Standard registriert ist.");
    default:
        if ((code >= 4 && code <= 26))
            return Tx(1211, "Status %1").arg(code);
        return QString();
    }
}

}  // namespace kalvex
