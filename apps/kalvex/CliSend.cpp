// kalvex send and draft: the compose options and their checks, the recipient
// files, the preview, and the report and exit code of a run.
#include "CliSend.h"

#include "CliArguments.h"
#include "CliOAuth.h"
#include "CliShared.h"
#include "ConsoleMessages.h"
#include "StopSignals.h"

#include "address/RecipientCsv.h"
#include "compose/TemplateMerge.h"
#include "compose/rtf/RtfReader.h"
#include "config/KalvexError.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"
#include "mailinterface/MailAddress.h"
#include "mailinterface/uMailInterface.h"
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

namespace kalvex::cli {

namespace {

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

}  // namespace

int RunSend(const QStringList& args, const TGlobalOptions& options)
{
    return runCompose(args, options, true);
}

int RunDraft(const QStringList& args, const TGlobalOptions& options)
{
    return runCompose(args, options, false);
}

}  // namespace kalvex::cli
