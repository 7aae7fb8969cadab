#include "CliCommands.h"

#include "ConsoleMessages.h"

#include "compose/TemplateMerge.h"
#include "compose/rtf/RtfReader.h"
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

#include <QTextDocument>

#include <QCommandLineParser>
#include <QFile>
#include <QFileInfo>
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

TDatenModul& openStore(const TGlobalOptions& options)
{
    openInstallation(options);
    if (!TDatenModul::Instance())
        TDatenModul::Install(std::make_unique<TDatenModul>());
    return *TDatenModul::Instance();
}

QString readBodyFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw EKalvex(Tx(1902, "Die Datei %1 konnte nicht gelesen werden.").arg(path));
    return QString::fromUtf8(file.readAll());
}

// Each value may be an address list; false (with the message) on a bad address.
bool addRecipients(TComposeModel& model, const QStringList& values, TEmpfaengerTyp kind)
{
    for (const QString& value : values)
        if (const QString invalid = model.AddAddressList(value, kind); !invalid.isEmpty()) {
            err(AddressRefusalText(invalid));
            return false;
        }
    return true;
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
        {QStringLiteral("separate"), Tx(1960, "separat senden")},
        {QStringLiteral("template"), Tx(2010, "GUID einer Programmvorlage, die zuerst angewendet wird"), QStringLiteral("guid")},
        {QStringLiteral("fields"), Tx(2011, "Datei mit den Datenfeldern (TFelder-Datenstrom) für die Vorlage"), QStringLiteral("file")},
    });
}

// A program template, merged once with the given fields; its subject and
// body take the place of --subject and --body where the template has them.
void applyTemplate(const QCommandLineParser& p, QString& subject, QString& body)
{
    TDatenModul& store = *TDatenModul::Instance();
    store.LoadProgrammVorlageListeFromDB();
    const TProgrammVorlage* vorlage = store.FProgrammVorlageListe.FindByGUID(StringToGuid(p.value(QStringLiteral("template"))));
    if (!vorlage)
        throw EKalvex(Tx(2012, "Die Vorlage %1 gibt es nicht.").arg(p.value(QStringLiteral("template"))));
    TFelder felder;
    if (p.isSet(QStringLiteral("fields"))) {
        QFile file(p.value(QStringLiteral("fields")));
        if (!file.open(QIODevice::ReadOnly))
            throw EKalvex(Tx(1902, "Die Datei %1 konnte nicht gelesen werden.").arg(file.fileName()));
        felder.LoadFromBytes(file.readAll());
    }
    const int lang = TLang::Instance() ? TLang::Instance()->GetCurrentLangCode() : 1031;
    const TMergedTemplate merged = MergeProgrammVorlage(*vorlage, felder, lang);
    if (!merged.subject.isEmpty())
        subject = merged.subject;
    if (!merged.body.isEmpty())
        body = merged.body;
}

// Fills the compose model from the options; false (with a message) on bad input.
bool fillModel(const QCommandLineParser& p, TComposeModel& model)
{
    if (p.isSet(QStringLiteral("body")) && p.isSet(QStringLiteral("body-file"))) {
        err(Tx(1999, "--body und --body-file schließen einander aus."));
        return false;
    }
    model.Subject = p.value(QStringLiteral("subject"));
    QString body = p.isSet(QStringLiteral("body-file")) ? readBodyFile(p.value(QStringLiteral("body-file")))
                                                        : p.value(QStringLiteral("body"));
    if (p.isSet(QStringLiteral("template")))
        applyTemplate(p, model.Subject, body);
    RtfToDocument(body, model.Body());
    if (!addRecipients(model, p.values(QStringLiteral("to")), TEmpfaengerTyp::elAn)
        || !addRecipients(model, p.values(QStringLiteral("cc")), TEmpfaengerTyp::elCc)
        || !addRecipients(model, p.values(QStringLiteral("bcc")), TEmpfaengerTyp::elBcc))
        return false;
    for (const QString& file : p.values(QStringLiteral("attach")))
        model.AddAttachment(QFileInfo(file).absoluteFilePath());
    model.SeparateFlag = p.isSet(QStringLiteral("separate"));
    return true;
}

TMailingRunDeps consoleRunDeps(IUserMessages& messages)
{
    TMailingRunDeps deps;
    deps.newSmtpSender = [&messages]() -> std::unique_ptr<ISmtpSender> { return std::make_unique<TEMailVersand>(&messages); };
    deps.newMailClient = [&messages]() -> std::unique_ptr<IMailClientHandOver> { return std::make_unique<TGenHelp>(&messages); };
    deps.storeMail = [](TEMail& mail, int kind) {
        TDatenModul::Instance()->SaveEMail(mail, kind == 1 ? TMailStatus::stEntwurf : TMailStatus::stGesendet);
    };
    return deps;
}

int runCompose(const QStringList& args, const TGlobalOptions& options, bool send)
{
    TCommandParser cmd(send ? QStringLiteral("send") : QStringLiteral("draft"),
                       send ? Tx(2000, "Sendet eine E-Mail wie der Verteiler.") : Tx(2001, "Speichert eine E-Mail als Entwurf."));
    addComposeOptions(cmd.Parser());
    if (auto done = cmd.Parse(args))
        return *done;
    TDatenModul& store = openStore(options);
    TComposeModel model;
    if (!fillModel(cmd.Parser(), model))
        return ExitUsage;
    TConsoleMessages messages(options.answer);
    TMailingRun run(model, messages, *TConfig::Instance(), consoleRunDeps(messages));
    if (!send) {
        run.SaveDraft();
        store.LoadEMailListeFromDB();
        out(Tx(2002, "Entwurf gespeichert."));
        return ExitOk;
    }
    run.SendClick();
    const bool handedOver = messages.ErrorCount() == 0 && SendModeOf(TConfig::Instance()->FSendDirekt) != 0
                         && (model.SeparateFlag ? run.FSentFlag : run.FResultCode == 0);
    return handedOver ? ExitOk : ExitFailed;
}

int runSend(const QStringList& args, const TGlobalOptions& options)
{
    return runCompose(args, options, true);
}

int runDraft(const QStringList& args, const TGlobalOptions& options)
{
    return runCompose(args, options, false);
}

QString mailLine(const TEMail& m)
{
    return QStringLiteral("%1\t%2\t%3\t%4\t%5")
        .arg(m.FID)
        .arg(m.FStatusStr, DaysToDateTime(m.FDatum).toString(QStringLiteral("yyyy-MM-dd HH:mm")), m.FBetreff,
             (m.FAn + m.FCc + m.FBcc).join(QStringLiteral(", ")));
}

int runList(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("list"), Tx(2003, "Listet gesendete E-Mails und Entwürfe (ID, Status, Datum, Betreff, Empfänger)."));
    if (auto done = cmd.Parse(args))
        return *done;
    TDatenModul& store = openStore(options);
    store.LoadEMailListeFromDB();
    for (const auto& m : store.FEMailListe)
        out(mailLine(*m));
    return ExitOk;
}

// The mail named by the single positional argument, or null with a message.
const TEMail* mailArgument(TCommandParser& cmd, TDatenModul& store)
{
    bool ok = false;
    const int id = cmd.Parser().positionalArguments().value(0).toInt(&ok);
    store.LoadEMailListeFromDB(true);
    const TEMail* mail = ok ? store.FEMailListe.FindByID(id) : nullptr;
    if (!mail)
        err(Tx(2004, "Es gibt keine E-Mail mit der ID %1.").arg(cmd.Parser().positionalArguments().value(0)));
    return mail;
}

int runShow(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("show"), Tx(2005, "Zeigt eine gesendete E-Mail oder einen Entwurf."));
    cmd.Parser().addPositionalArgument(QStringLiteral("ID"), Tx(2006, "die ID aus 'kalvex list'"));
    if (auto done = cmd.Parse(args))
        return *done;
    const TEMail* m = mailArgument(cmd, openStore(options));
    if (!m)
        return ExitUsage;
    out(mailLine(*m));
    out(Tx(1964, "Betreff") + QStringLiteral(": ") + m->FBetreff);
    for (const auto& r : m->FLEmpfaenger)
        out(RecipientKindText(r->FEmpfType) + QStringLiteral(": ") + r->FAdresse);
    for (const auto& a : m->FLAnhaengeBlob)
        out(Tx(1972, "Anhang") + QStringLiteral(": ") + a->FPfad + QStringLiteral(" (%1 Bytes)").arg(a->FObjekt.size()));
    out(QString());
    out(m->FBodyPlain);
    return ExitOk;
}

int runDelete(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("delete"), Tx(2007, "Löscht eine gesendete E-Mail oder einen Entwurf."));
    cmd.Parser().addPositionalArgument(QStringLiteral("ID"), Tx(2006, "die ID aus 'kalvex list'"));
    if (auto done = cmd.Parse(args))
        return *done;
    TDatenModul& store = openStore(options);
    const TEMail* m = mailArgument(cmd, store);
    if (!m)
        return ExitUsage;
    const int32_t id = m->FID;   // the record goes with the delete
    store.DeleteEMail(id);
    out(Tx(2008, "E-Mail %1 gelöscht.").arg(id));
    return ExitOk;
}

// Sends the test mail of the settings dialog to the sender address.
int runTestConnection(const QStringList& args, const TGlobalOptions& options)
{
    TCommandParser cmd(QStringLiteral("test-connection"), Tx(2009, "Sendet eine Test-E-Mail an die Absender-Adresse."));
    if (auto done = cmd.Parse(args))
        return *done;
    const TConfig& c = openInstallation(options);
    TConsoleMessages messages(options.answer);
    TEMail mail;
    const QString text = Tx(1857, "Die eingestellte Verbindung wurde erfolgreich getestet");
    mail.FBetreff = text;
    mail.FBodyPlain = text;
    mail.FBodyHTML = {text};
    mail.FVon = c.FUser;
    mail.FAn = {c.FUser};
    try {
        TEMailVersand sender(&messages);
        sender.Setup(c.FHost, c.FUser, c.FVerbindungVerschluesselt, c.FPort, c.FPass);
        sender.SendMail(mail);
    } catch (const EKalvex& e) {
        messages.ShowError(Tx(1861, "Die Verbindungseinstellungen scheinen fehlerhaft zu sein") + QStringLiteral(": ") + e.message());
        return ExitFailed;
    }
    messages.ShowInformation(Tx(1860, "Die Verbindung wurde korrekt konfiguriert"));
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
        {QStringLiteral("send"), QStringLiteral("send a mail (the mailing run of the window)"), runSend},
        {QStringLiteral("draft"), QStringLiteral("store a mail as a draft"), runDraft},
        {QStringLiteral("list"), QStringLiteral("list sent mails and drafts"), runList},
        {QStringLiteral("show"), QStringLiteral("show one sent mail or draft"), runShow},
        {QStringLiteral("delete"), QStringLiteral("delete one sent mail or draft"), runDelete},
        {QStringLiteral("config"), QStringLiteral("show or set the SMTP settings"), runConfig},
        {QStringLiteral("test-connection"), QStringLiteral("send a test mail to the sender address"), runTestConnection},
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
        int code = ExitEnvironment;
        try {
            code = c.run(args, options);
        } catch (const EKalvex& e) {
            err(e.message());
        } catch (const std::exception& e) {
            err(QString::fromUtf8(e.what()));
        }
        // The store closes while Qt is still there.
        TDatenModul::Free();
        TLang::Free();
        TLogFile::Uninstall();
        return code;
    }
    err(Tx(1901, "Unbekannter Befehl: %1").arg(name));
    printUsage();
    return ExitUsage;
}

}  // namespace kalvex::cli
