// kalvex config (show or change the SMTP settings and the pace of separate
// runs) and kalvex test-connection (a test mail to the sender address).
#include "CliConfig.h"

#include "CliArguments.h"
#include "CliOAuth.h"
#include "CliShared.h"
#include "ConsoleMessages.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/uConfig.h"
#include "mailinterface/uMailInterface.h"
#include "send/EMailVersand.h"
#include "send/SendPacing.h"
#include "send/oauth/OAuthTokenProvider.h"

#include <QCommandLineParser>
#include <QFile>
#include <optional>

namespace kalvex::cli {

namespace {

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

uint16_t parsePort(const QString& text)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < 1 || value > 65535)
        throw EUsage(Tx(1859, "Der angegebene Port scheint fehlerhaft zu sein"));
    return static_cast<uint16_t>(value);
}

// What `kalvex config` changes; every value is checked before anything is read or written.
struct TSettingsChanges {
    std::optional<QString> host, sender, senderName, login;
    std::optional<uint16_t> port;
    std::optional<TVersandArt> mode;
    std::optional<bool> encrypted, verifyCertificate;
    std::optional<int> perMinute, tries;
    bool readPassword = false;
};

// A whole number in a range, or a usage error naming the option.
std::optional<int> numberOption(const QCommandLineParser& p, const QString& name, int low, int high)
{
    if (!p.isSet(name))
        return std::nullopt;
    bool ok = false;
    const int value = p.value(name).toInt(&ok);
    if (!ok || value < low || value > high)
        throw EUsage(Tx(3630, "--%1 erwartet eine Zahl von %2 bis %3.").arg(name).arg(low).arg(high));
    return value;
}

std::optional<QString> textOption(const QCommandLineParser& p, const QString& name)
{
    return p.isSet(name) ? std::optional(SettingText(name, p.value(name))) : std::nullopt;
}

std::optional<bool> truthOption(const QCommandLineParser& p, const QString& name)
{
    return p.isSet(name) ? std::optional(TruthOption(name, p.value(name))) : std::nullopt;
}

std::optional<TVersandArt> modeOption(const QCommandLineParser& p)
{
    const bool direct = p.isSet(QStringLiteral("direct"));
    const bool client = p.isSet(QStringLiteral("mail-client"));
    if (direct && client)
        throw EUsage(Tx(1897, "--direct und --mail-client schließen einander aus."));
    if (!direct && !client)
        return std::nullopt;
    return direct ? TVersandArt::vaDirekt : TVersandArt::vaStandardClient;
}

TSettingsChanges settingsChangesOf(const QCommandLineParser& p)
{
    TSettingsChanges ch;
    ch.host = textOption(p, QStringLiteral("host"));
    ch.sender = textOption(p, QStringLiteral("sender"));
    ch.senderName = textOption(p, QStringLiteral("sender-name"));
    ch.login = textOption(p, QStringLiteral("login"));
    if (p.isSet(QStringLiteral("port")))
        ch.port = parsePort(p.value(QStringLiteral("port")));
    ch.mode = modeOption(p);
    ch.encrypted = truthOption(p, QStringLiteral("encrypted"));
    ch.verifyCertificate = truthOption(p, QStringLiteral("verify-certificate"));
    ch.readPassword = p.isSet(QStringLiteral("password-stdin"));
    ch.perMinute = numberOption(p, QStringLiteral("per-minute"), 0, 600);
    ch.tries = numberOption(p, QStringLiteral("tries"), 1, 10);
    return ch;
}

template <typename T>
void assign(T& field, const std::optional<T>& value)
{
    if (value)
        field = *value;
}

void applyChanges(const TSettingsChanges& ch, TConfig& c)
{
    assign(c.FHost, ch.host);
    assign(c.FPort, ch.port);
    assign(c.FUser, ch.sender);
    assign(c.FAbsenderName, ch.senderName);
    assign(c.FVersandart, ch.mode);
    assign(c.FVerbindungVerschluesselt, ch.encrypted);
    assign(c.FVerifyCertificate, ch.verifyCertificate);
    if (ch.login) {
        c.FUserName = *ch.login;
        c.FUserNotLikeMailAddress = !ch.login->isEmpty();
    }
    if (ch.readPassword)
        c.FPass = readPasswordFromStdin();
}

// The pace of separate runs lives in config.ini, apart from the SMTP keys.
void applyPacingChanges(const TSettingsChanges& ch, const TConfig& c)
{
    if (!ch.perMinute && !ch.tries)
        return;
    TSendPacingSettings pacing = LoadSendPacing(c.ConfigIniFileName());
    assign(pacing.mailsPerMinute, ch.perMinute);
    assign(pacing.tries, ch.tries);
    SaveSendPacing(c.ConfigIniFileName(), pacing);
}

void printPacing(const TConfig& c)
{
    const TSendPacingSettings pacing = LoadSendPacing(c.ConfigIniFileName());
    out(Tx(3631, "Höchstens pro Minute: %1").arg(pacing.mailsPerMinute > 0 ? QString::number(pacing.mailsPerMinute) : Tx(3632, "unbegrenzt")));
    out(Tx(3633, "Versuche je E-Mail: %1").arg(pacing.tries));
}

// A refused value of mailserver.ini, then every setting the test cannot do without.
void requireConnectionSettings(const TConfig& c)
{
    if (!c.MailServerRefusal().isEmpty())
        throw EKalvex(c.MailServerRefusal());
    QStringList missing;
    if (c.FHost.isEmpty())
        missing << Tx(229, "Es wurde kein SMTP-Server angegeben.");
    if (c.FPort == 0)
        missing << Tx(230, "Es wurde kein SMTP-Port angegeben.");
    if (c.FUser.isEmpty())
        missing << Tx(2409, "Es wurde keine Absender-Adresse angegeben.");
    if (!missing.isEmpty())
        throw EKalvex(QStringList{Tx(281, "Die Einstellungen sind unvollständig."), missing.join(QLatin1Char('\n')),
                                  Tx(2410, "Die Einstellungen setzt 'kalvex config'.")}
                          .join(QLatin1Char('\n')));
}

}  // namespace

int RunConfig(const QStringList& args, const TGlobalOptions& options)
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
        {QStringLiteral("encrypted"), Tx(2413, "verschlüsselte Verbindung: 1/0, ja/nein, yes/no, true/false"), QStringLiteral("1|0")},
        {QStringLiteral("verify-certificate"), Tx(2414, "Zertifikat des Servers prüfen: 1/0, ja/nein, yes/no, true/false"), QStringLiteral("1|0")},
        {QStringLiteral("password-stdin"), Tx(1896, "Passwort aus der ersten Zeile der Standardeingabe lesen")},
        {QStringLiteral("per-minute"), Tx(3634, "separat senden mit höchstens N E-Mails pro Minute (0: unbegrenzt)"), QStringLiteral("N")},
        {QStringLiteral("tries"), Tx(3635, "Versuche je E-Mail, wenn der Server vorübergehend ablehnt (1 bis 10)"), QStringLiteral("N")},
    });
    if (auto done = cmd.Parse(args))
        return *done;
    TConfig& c = openInstallation(options);   // messages in the chosen language from here on
    const TSettingsChanges changes = settingsChangesOf(p);
    if (!p.optionNames().isEmpty()) {
        applyChanges(changes, c);
        c.SaveMailServer();
        c.InitMailServer();
        applyPacingChanges(changes, c);
    }
    printSettings(c);
    printPacing(c);
    warnPasswordInClear(c);
    if (!c.MailServerRefusal().isEmpty())
        err(c.MailServerRefusal());   // shown with port 0; --port puts it right
    return ExitOk;
}

// Sends the test mail of the settings dialog to the sender address.
int RunTestConnection(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("test-connection"), Tx(2009, "Sendet eine Test-E-Mail an die Absender-Adresse."));
    if (auto done = cmd.Parse(args))
        return *done;
    const TConfig& c = openInstallation(options);
    requireConnectionSettings(c);
    warnPasswordInClearBeforeSending(c, QStringLiteral("test-connection"));
    TConsoleMessages messages(options.answer);
    TEMail mail;
    const QString text = Tx(1857, "Die eingestellte Verbindung wurde erfolgreich getestet");
    mail.FBetreff = text;
    mail.FBodyPlain = text;
    mail.FBodyHTML = {text};
    mail.FVon = c.FUser;
    mail.FAn = {c.FUser};
    try {
        const auto account = ConsoleOAuthAccount(c);
        TEMailVersand sender(&messages);
        sender.SetTokenProvider(account->Current());
        sender.Setup(c.FHost, c.FUser, c.FVerbindungVerschluesselt, c.FPort, c.FPass);
        sender.SendMail(mail);
    } catch (const EKalvex& e) {
        messages.ShowError(Tx(1861, "Die Verbindungseinstellungen scheinen fehlerhaft zu sein") + QStringLiteral(": ") + e.message());
        return ExitFailed;
    }
    messages.ShowInformation(Tx(1860, "Die Verbindung wurde korrekt konfiguriert"));
    return ExitOk;
}

}  // namespace kalvex::cli
