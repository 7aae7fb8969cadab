#include "CliCommands.h"

#include "CliArguments.h"
#include "CliOAuth.h"
#include "ConsoleMessages.h"
#include "StopSignals.h"

#include "address/RecipientCsv.h"
#include "compose/TemplateMerge.h"
#include "compose/rtf/RtfReader.h"
#include "config/AppPaths.h"
#include "config/ControlCharacters.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"
#include "mailinterface/uMailInterface.h"
#include "mailinterface/MailAddress.h"
#include "send/ComposeModel.h"
#include "send/EMailVersand.h"
#include "send/Genhelp.h"
#include "send/MailingRun.h"
#include "send/SendPacing.h"
#include "send/oauth/OAuthTokenProvider.h"

#include <QTextDocument>

#include <QCommandLineParser>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
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

}  // namespace

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
    const TLang& lang = TLang::Install(std::make_unique<TLang>(config.CommonFolder04()));
    if (!lang.LoadError().isEmpty())
        err(lang.LoadError());   // the German texts are used; the user should know why
    TLang::Instance()->SetLanguage(options.lang);
    config.SetCurrLangCode(options.lang);
    return config;
}

namespace {

TConfig& openInstallation(const TGlobalOptions& options)
{
    return OpenInstallation(options);
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

void warnPasswordInClear(const TConfig& c)
{
    if (c.PasswordInClear())
        err(PasswordInClearWarning());
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

// The store of the installation opened before.
TDatenModul& openStore()
{
    if (!TDatenModul::Instance())
        TDatenModul::Install(std::make_unique<TDatenModul>());
    return *TDatenModul::Instance();
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw EUsage(Tx(1902, "Die Datei %1 konnte nicht gelesen werden.").arg(VisibleControlCharacters(path)));
    return file.readAll();
}

// Each value may be an address list; false (with the message) on a bad address.
void addRecipients(TComposeModel& model, const QStringList& values, TEmpfaengerTyp kind)
{
    for (const QString& value : values)
        if (const QString invalid = model.AddAddressList(value, kind); !invalid.isEmpty())
            throw EUsage(AddressRefusalText(invalid));
}

// One address (or list) a line; blank lines and lines starting with "#" are
// left out, so a file of failed recipients can be edited by hand.
QStringList addressLines(const QByteArray& bytes)
{
    QStringList out;
    for (const QString& line : QString::fromUtf8(bytes).split(QLatin1Char('\n')))
        if (!line.trimmed().isEmpty() && !line.trimmed().startsWith(QLatin1Char('#')))
            out << line.trimmed();
    return out;
}

void addComposeOptions(QCommandLineParser& p)
{
    p.addOptions({
        {QStringLiteral("subject"), Tx(1903, "Betreff"), QStringLiteral("text")},
        {QStringLiteral("body"), Tx(1904, "Text der E-Mail"), QStringLiteral("text")},
        {QStringLiteral("body-file"), Tx(1905, "Text der E-Mail aus einer Datei (RTF oder reiner Text)"), QStringLiteral("file")},
        {QStringLiteral("to"), Tx(1906, "Empfänger (An), mehrfach möglich"), QStringLiteral("address")},
        {QStringLiteral("cc"), Tx(1907, "Empfänger (Cc), mehrfach möglich"), QStringLiteral("address")},
        {QStringLiteral("bcc"), Tx(1908, "Empfänger (Bcc), mehrfach möglich"), QStringLiteral("address")},
        {QStringLiteral("attach"), Tx(1909, "Anhang, mehrfach möglich"), QStringLiteral("file")},
        {QStringLiteral("to-file"), Tx(3636, "Empfänger (An) aus einer Datei, eine Adresse je Zeile"), QStringLiteral("file")},
        {QStringLiteral("separate"), Tx(1960, "separat senden")},
        {QStringLiteral("failed-to"), Tx(3637, "nach separatem Senden: die Adressen, die die E-Mail nicht erhalten haben, "
                                              "in diese Datei schreiben (für --to-file)"), QStringLiteral("file")},
        {QStringLiteral("unknown-to"), Tx(4207, "nach separatem Senden: die Adressen, deren Zustellung unbekannt ist "
                                                "(Verbindung nach dem Senden beendet), in diese Datei schreiben"),
         QStringLiteral("file")},
        {QStringLiteral("template"), Tx(2010, "GUID einer Programmvorlage, die zuerst angewendet wird"), QStringLiteral("guid")},
        {QStringLiteral("fields"), Tx(2011, "Datei mit den Datenfeldern (TFelder-Datenstrom) für die Vorlage"), QStringLiteral("file")},
        {QStringLiteral("recipients"), Tx(3432, "Empfänger mit ihren Feldern aus einer CSV-Datei (Kopfzeile mit den "
                                                "Feldnamen, Spalte Anhang für eigene Anhänge)"), QStringLiteral("file")},
        {QStringLiteral("preview"), Tx(3433, "Zeigt Betreff, Anhänge und Text der E-Mail an Empfänger N und "
                                             "sendet nichts (mit --separate)"), QStringLiteral("N")},
        {QStringLiteral("allow-attachments-from"), Tx(4302, "Anhänge der CSV-Datei auch aus diesem Ordner nehmen "
                                                            "(sonst nur aus ihrem eigenen), mehrfach möglich"),
         QStringLiteral("dir")},
    });
}

// A program template, merged once with the given fields; its subject and
// body take the place of --subject and --body where the template has them.
void applyTemplate(const QCommandLineParser& p, QString& subject, QString& body)
{
    TDatenModul& store = *TDatenModul::Instance();
    store.LoadProgrammVorlageListeFromDB();
    const QString guid = p.value(QStringLiteral("template"));
    const TProgrammVorlage* vorlage = store.FProgrammVorlageListe.FindByGUID(StringToGuid(guid));
    if (!vorlage)
        throw EUsage(Tx(2012, "Die Vorlage %1 gibt es nicht.").arg(VisibleControlCharacters(guid)));
    TFelder felder;
    if (p.isSet(QStringLiteral("fields")))
        felder.LoadFromBytes(readFile(p.value(QStringLiteral("fields"))));
    const int lang = TLang::Instance() ? TLang::Instance()->GetCurrentLangCode() : 1031;
    const TMergedTemplate merged = MergeProgrammVorlage(*vorlage, felder, lang);
    if (!merged.subject.isEmpty())
        subject = merged.subject;
    if (!merged.body.isEmpty())
        body = merged.body;
}

void requireTemplateGuid(const QString& text)
{
    try {
        StringToGuid(text);
    } catch (const EKalvex& e) {
        throw EUsage(e.message());
    }
}

// The recipient of --preview, counted from 1.
int previewNumber(const QCommandLineParser& p)
{
    if (!p.isSet(QStringLiteral("separate")))
        throw EUsage(Tx(3436, "--preview gilt nur zusammen mit --separate."));
    bool ok = false;
    const int n = p.value(QStringLiteral("preview")).toInt(&ok);
    if (!ok || n < 1)
        throw EUsage(Tx(3437, "--preview erwartet die Nummer eines Empfängers (1, 2, …), nicht \"%1\".")
                         .arg(VisibleControlCharacters(p.value(QStringLiteral("preview")))));
    return n;
}

// The rows of a recipient file, each with its person for the recipient
// fields; a file that cannot be used is a wrong argument.
void addRecipientFile(TComposeModel& model, const QString& fileName, const QStringList& releasedFolders)
{
    QList<TRecipientPerson> people;
    try {
        people = ReadRecipientCsv(fileName, releasedFolders);
    } catch (const EKalvex& e) {
        throw EUsage(e.message());
    }
    for (const TRecipientPerson& person : people) {
        if (!IsValidEMailAddress(person.email))
            throw EUsage(AddressRefusalText(person.email));
        model.AddRecipient(TComposeRecipient{person.email, {}, person.company, 0, 0, 0, TEmpfaengerTyp::elAn, person});
    }
}

// Subject and plain body of one recipient's mail, as it would go out.
void printPreview(TMailingRun& run, const TComposeModel& model, int number)
{
    if (number > static_cast<int>(model.Recipients.size()))
        throw EUsage(Tx(3438, "Es gibt nur %1 Empfänger.").arg(model.Recipients.size()));
    TEMail mail;
    run.PreviewMail(static_cast<size_t>(number - 1), mail);
    out(Tx(3434, "An: %1").arg(VisibleControlCharacters(mail.FAn.join(QStringLiteral(", ")))));
    out(Tx(3435, "Betreff: %1").arg(VisibleControlCharacters(mail.FBetreff)));
    for (const QString& file : mail.FAnhaenge)
        out(Tx(4303, "Anhang: %1").arg(VisibleControlCharacters(file)));
    if (const QString& refusal = model.Recipients[static_cast<size_t>(number - 1)].person.refusal; !refusal.isEmpty())
        out(Tx(4304, "Wird nicht gesendet: %1").arg(VisibleControlCharacters(refusal)));
    out(QString());
    out(VisibleControlCharacters(mail.FBodyPlain, true));
}

// A released folder belongs to a recipient file and must exist: a typo would
// otherwise refuse the very files it was meant to release.
void checkReleasedFolders(const QCommandLineParser& p)
{
    const QStringList folders = p.values(QStringLiteral("allow-attachments-from"));
    if (!folders.isEmpty() && !p.isSet(QStringLiteral("recipients")))
        throw EUsage(Tx(4305, "--allow-attachments-from gilt nur zusammen mit --recipients."));
    for (const QString& folder : folders)
        if (!QFileInfo(folder).isDir())
            throw EUsage(Tx(4306, "Der Ordner %1 ist nicht vorhanden.").arg(VisibleControlCharacters(folder)));
}

// The lists a separate run writes at its end: refused now, before the
// first mail, rather than after the last.
void checkResultFiles(const QCommandLineParser& p)
{
    const QString failed = QStringLiteral("failed-to"), unknown = QStringLiteral("unknown-to");
    if (p.isSet(unknown) && !p.isSet(QStringLiteral("separate")))
        throw EUsage(Tx(4208, "--unknown-to gilt nur zusammen mit --separate."));
    if (p.isSet(failed) && p.isSet(unknown)
        && QFileInfo(p.value(failed)).absoluteFilePath() == QFileInfo(p.value(unknown)).absoluteFilePath())
        throw EUsage(Tx(4209, "--failed-to und --unknown-to brauchen zwei verschiedene Dateien."));
    for (const QString& option : {failed, unknown})
        if (p.isSet(option))
            RequireWritableFile(option, p.value(option));
}

// Everything that can be checked before the store is opened: conflicting
// options, the template's GUID, the files named.
void checkComposeArguments(const QCommandLineParser& p)
{
    if (p.isSet(QStringLiteral("body")) && p.isSet(QStringLiteral("body-file")))
        throw EUsage(Tx(1999, "--body und --body-file schließen einander aus."));
    if (p.isSet(QStringLiteral("fields")) && !p.isSet(QStringLiteral("template")))
        throw EUsage(Tx(2415, "--fields gilt nur zusammen mit --template."));
    if (p.isSet(QStringLiteral("template")))
        requireTemplateGuid(p.value(QStringLiteral("template")));
    if (p.isSet(QStringLiteral("failed-to")) && !p.isSet(QStringLiteral("separate")))
        throw EUsage(Tx(3638, "--failed-to gilt nur zusammen mit --separate."));
    checkResultFiles(p);
    for (const QString& option : {QStringLiteral("body-file"), QStringLiteral("fields"), QStringLiteral("to-file")})
        if (p.isSet(option))
            RequireReadableFile(p.value(option));
    for (const QString& file : p.values(QStringLiteral("attach")))
        RequireReadableFile(file);
    if (p.isSet(QStringLiteral("recipients")))
        RequireReadableFile(p.value(QStringLiteral("recipients")));
    if (p.isSet(QStringLiteral("preview")))
        previewNumber(p);
    checkReleasedFolders(p);
}

// Fills the compose model from the options (checked before).
void fillModel(const QCommandLineParser& p, TComposeModel& model)
{
    model.Subject = p.value(QStringLiteral("subject"));
    QString body = p.isSet(QStringLiteral("body-file")) ? RtfTextFromBytes(readFile(p.value(QStringLiteral("body-file"))))
                                                        : p.value(QStringLiteral("body"));
    if (p.isSet(QStringLiteral("template")))
        applyTemplate(p, model.Subject, body);
    RtfToDocument(body, model.Body());
    addRecipients(model, p.values(QStringLiteral("to")), TEmpfaengerTyp::elAn);
    if (p.isSet(QStringLiteral("to-file")))
        addRecipients(model, addressLines(readFile(p.value(QStringLiteral("to-file")))), TEmpfaengerTyp::elAn);
    addRecipients(model, p.values(QStringLiteral("cc")), TEmpfaengerTyp::elCc);
    addRecipients(model, p.values(QStringLiteral("bcc")), TEmpfaengerTyp::elBcc);
    if (p.isSet(QStringLiteral("recipients")))
        addRecipientFile(model, p.value(QStringLiteral("recipients")), p.values(QStringLiteral("allow-attachments-from")));
    for (const QString& file : p.values(QStringLiteral("attach")))
        model.AddAttachment(QFileInfo(file).absoluteFilePath());
    model.SeparateFlag = p.isSet(QStringLiteral("separate"));
}

// A mail whose attachments the store cannot take does not go out: it could
// not be logged afterwards. The run asks the store before it sends.
TMailingRunDeps consoleRunDeps(IUserMessages& messages)
{
    TMailingRunDeps deps;
    auto account = ConsoleOAuthAccount(*TConfig::Instance());   // one token for all mails of the run
    deps.newSmtpSender = [&messages, account]() -> std::unique_ptr<ISmtpSender> {
        auto sender = std::make_unique<TEMailVersand>(&messages);
        sender->SetTokenProvider(account->Current());
        return sender;
    };
    deps.newMailClient = [&messages]() -> std::unique_ptr<IMailClientHandOver> { return std::make_unique<TGenHelp>(&messages); };
    deps.checkStorable = [](const TEMail& mail) { TDatenModul::Instance()->CheckAttachmentsFit(mail); };
    deps.pacing = [] { return LoadSendPacing(TConfig::Instance()->ConfigIniFileName()); };
    deps.storeMail = [](TEMail& mail, int kind) {
        TDatenModul::Instance()->SaveEMail(mail, kind == 1 ? TMailStatus::stEntwurf : TMailStatus::stGesendet);
    };
    return deps;
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

void writeAddressFile(const QString& path, const QStringList& addresses)
{
    QSaveFile file(path);
    const QByteArray text = addresses.isEmpty() ? QByteArray() : (addresses.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        throw EKalvex(Tx(3640, "Die Datei %1 konnte nicht geschrieben werden.").arg(VisibleControlCharacters(path)));
}

// Who got the mail and who did not, one line each; the addresses that did
// not get it go to --failed-to's file (emptied when everyone got it), ready
// for --to-file. Those whose delivery is unknown have their own section and
// --unknown-to's file: sending to them again could give them a second copy.
void reportSeparateRun(const TSeparateRunSummary& summary, const QCommandLineParser& p)
{
    for (const QString& address : summary.sent)
        out(Tx(2304, "gesendet") + QStringLiteral(": ") + VisibleControlCharacters(address));
    for (const auto& [address, reason] : summary.failed)
        out(Tx(3639, "nicht gesendet") + QStringLiteral(": ") + VisibleControlCharacters(address) + QStringLiteral(" (") + VisibleControlCharacters(reason) + QLatin1Char(')'));
    for (const QString& address : summary.notSent)
        out(Tx(2305, "abgebrochen, nicht gesendet") + QStringLiteral(": ") + VisibleControlCharacters(address));
    for (const auto& [address, reason] : summary.unknown)
        out(DeliveryUnknownText() + QStringLiteral(": ") + VisibleControlCharacters(address) + QStringLiteral(" (")
            + VisibleControlCharacters(reason) + QLatin1Char(')'));
    out(RunSummaryText(summary));
    if (p.isSet(QStringLiteral("failed-to")))
        writeAddressFile(p.value(QStringLiteral("failed-to")), summary.Missing());
    if (p.isSet(QStringLiteral("unknown-to")))
        writeAddressFile(p.value(QStringLiteral("unknown-to")), summary.Unknown());
}

// Failures first (they can be sent again), then the outcomes that must not
// be sent again blindly.
int sendExitCode(const TRunTally& tally)
{
    if (tally.sent + tally.unknown == 0 || tally.failed + tally.notSent > 0)
        return ExitFailed;
    if (tally.unknown > 0)
        return ExitDeliveryUnknown;
    if (tally.partly > 0)
        return ExitPartlySent;
    return tally.notLogged > 0 ? ExitSentNotLogged : ExitOk;
}

// Ctrl-C or SIGTERM ends the run after the mail in flight; the summary and
// the lists are still written (a signal while they are written waits for
// them).
int sendAndReport(TMailingRun& run, const TComposeModel& model, const QCommandLineParser& p)
{
    TStopSignals stop;
    run.SetStopRequest([&stop] { return stop.StopRequested(); });
    run.SendClick();
    if (model.SeparateFlag)
        reportSeparateRun(run.LastSeparateRun(), p);
    run.SetStopRequest({});
    return sendExitCode(run.Tally());
}

int runCompose(const QStringList& args, const TGlobalOptions& options, bool send)
{
    TCommandParser cmd(send ? QStringLiteral("send") : QStringLiteral("draft"),
                       send ? Tx(2000, "Sendet eine E-Mail wie der Verteiler.") : Tx(2001, "Speichert eine E-Mail als Entwurf."));
    addComposeOptions(cmd.Parser());
    if (auto done = cmd.Parse(args))
        return *done;
    openInstallation(options);
    checkComposeArguments(cmd.Parser());
    openStore();   // before the mail is built: a store that cannot be used ends here
    TComposeModel model;
    fillModel(cmd.Parser(), model);
    const bool direct = send && SendModeOf(TConfig::Instance()->FSendDirekt) == TSendMode::smDirect;
    if (direct && !TConfig::Instance()->MailServerRefusal().isEmpty() && !cmd.Parser().isSet(QStringLiteral("preview")))
        throw EKalvex(TConfig::Instance()->MailServerRefusal());
    if (direct)
        warnPasswordInClearBeforeSending(*TConfig::Instance(), QStringLiteral("send"));
    TConsoleMessages messages(options.answer);
    TMailingRun run(model, messages, *TConfig::Instance(), consoleRunDeps(messages));
    if (cmd.Parser().isSet(QStringLiteral("preview"))) {
        printPreview(run, model, previewNumber(cmd.Parser()));
        return ExitOk;
    }
    if (!send) {
        run.SaveDraft();   // the outcome of its own write; no list is read back
        out(Tx(2002, "Entwurf gespeichert."));
        return ExitOk;
    }
    return sendAndReport(run, model, cmd.Parser());
}

int runSend(const QStringList& args, const TGlobalOptions& options)
{
    return runCompose(args, options, true);
}

int runDraft(const QStringList& args, const TGlobalOptions& options)
{
    return runCompose(args, options, false);
}

// Stored texts may hold terminal controls; they are shown, never obeyed.
QString shown(const QString& text)
{
    return VisibleControlCharacters(text);
}

QString mailLine(const TEMail& m)
{
    return QStringLiteral("%1\t%2\t%3\t%4\t%5")
        .arg(m.FID)
        .arg(shown(m.FStatusStr), DaysToDateTime(m.FDatum).toString(QStringLiteral("yyyy-MM-dd HH:mm")), shown(m.FBetreff),
             shown((m.FAn + m.FCc + m.FBcc).join(QStringLiteral(", "))));
}

int runList(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("list"), Tx(2003, "Listet gesendete E-Mails und Entwürfe (ID, Status, Datum, Betreff, Empfänger)."));
    if (auto done = cmd.Parse(args))
        return *done;
    openInstallation(options);
    TDatenModul& store = openStore();
    store.LoadEMailListeFromDB();
    for (const auto& m : store.FEMailListe)
        out(mailLine(*m));
    return ExitOk;
}

// The mail with that ID, read alone and without attachment contents;
// raises EUsage when there is none.
std::unique_ptr<TEMail> findMail(TDatenModul& store, int id)
{
    if (std::unique_ptr<TEMail> mail = store.LoadEMail(id))
        return mail;
    throw EUsage(Tx(2004, "Es gibt keine E-Mail mit der ID %1.").arg(id));
}

// show and delete: the one argument is the mail's ID.
std::optional<int> parseMailCommand(TCommandParser& cmd, const QStringList& args)
{
    RejectNegativeNumbers(args);
    cmd.AddPositional(QStringLiteral("ID"), Tx(2006, "die ID aus 'kalvex list'"));
    return cmd.Parse(args);
}

int runShow(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("show"), Tx(2005, "Zeigt eine gesendete E-Mail oder einen Entwurf."));
    if (auto done = parseMailCommand(cmd, args))
        return *done;
    openInstallation(options);
    const int id = MailId(cmd.Parser().positionalArguments());
    const std::unique_ptr<TEMail> m = findMail(openStore(), id);
    out(mailLine(*m));
    out(Tx(1964, "Betreff") + QStringLiteral(": ") + shown(m->FBetreff));
    for (const auto& r : m->FLEmpfaenger)
        out(RecipientKindText(r->FEmpfType) + QStringLiteral(": ") + shown(r->FAdresse));
    for (const auto& a : m->FLAnhaengeBlob)
        out(Tx(1972, "Anhang") + QStringLiteral(": ") + shown(a->FPfad)
            + QStringLiteral(" (%1 Bytes)").arg(static_cast<qint64>(a->FDateigroesse)));
    out(QString());
    out(VisibleControlCharacters(m->FBodyPlain, true));
    return ExitOk;
}

int runDelete(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("delete"), Tx(2007, "Löscht eine gesendete E-Mail oder einen Entwurf."));
    if (auto done = parseMailCommand(cmd, args))
        return *done;
    openInstallation(options);
    const int id = MailId(cmd.Parser().positionalArguments());
    TDatenModul& store = openStore();
    findMail(store, id);
    store.DeleteEMail(id);
    out(Tx(2008, "E-Mail %1 gelöscht.").arg(id));
    return ExitOk;
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

// Sends the test mail of the settings dialog to the sender address.
int runTestConnection(const QStringList& args, const TGlobalOptions& options)
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

const TCommand* findCommand(const QString& name)
{
    for (const TCommand& c : Commands())
        if (c.name == name)
            return &c;
    return nullptr;
}

}  // namespace

const std::vector<TCommand>& Commands()
{
    static const std::vector<TCommand> commands = {
        {QStringLiteral("send"), QStringLiteral("send a mail (the mailing run of the window)"), runSend},
        {QStringLiteral("draft"), QStringLiteral("store a mail as a draft"), runDraft},
        {QStringLiteral("list"), QStringLiteral("list sent mails and drafts"), runList},
        {QStringLiteral("show"), QStringLiteral("show one sent mail or draft"), runShow},
        {QStringLiteral("delete"), QStringLiteral("delete one sent mail or draft"), runDelete},
        {QStringLiteral("config"), QStringLiteral("show or set the SMTP settings"), runConfig},
        {QStringLiteral("test-connection"), QStringLiteral("send a test mail to the sender address"), runTestConnection},
        {QStringLiteral("oauth"), QStringLiteral("sign in with OAuth 2.0 (login, status, logout)"), RunOAuth},
    };
    return commands;
}

bool AnswersWithoutGui(const QStringList& arguments)
{
    for (qsizetype i = 0; i < arguments.size() && arguments[i].startsWith(QLatin1String("--")); ++i) {
        const QString& opt = arguments[i];
        if (opt == QLatin1String("--help") || opt == QLatin1String("--version"))
            return true;
        if (opt == QLatin1String("--lang") || opt == QLatin1String("--install-key"))
            ++i;   // its value
    }
    return false;
}

int RunCommandLine(const QStringList& arguments)
{
    QStringList args = arguments;
    TGlobalOptions options;
    if (auto done = globalOptions(args, options))
        return *done;
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
