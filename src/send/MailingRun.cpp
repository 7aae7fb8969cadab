#include "send/MailingRun.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "compose/MailBodyExport.h"
#include "compose/rtf/RtfWriter.h"
#include "mailinterface/EMail.h"
#include "mailinterface/MailAddress.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QSet>
#include <QTextDocument>
#include <QTimer>

#include <algorithm>
#include <numeric>

namespace kalvex {

namespace {

int mailClientClass(TEmpfaengerTyp kind)
{
    return static_cast<int>(kind) + 1;
}

// "noch etwa 40 s" once a run has lasted long enough to estimate.
QString timeLeftText(qint64 elapsedMs, size_t done, size_t total)
{
    if (done == 0)
        return QString();
    const qint64 leftMs = elapsedMs * static_cast<qint64>(total - done) / static_cast<qint64>(done);
    if (elapsedMs + leftMs < 5000)
        return QString();
    if (leftMs < 90000)
        return Tx(2302, "noch etwa %1 s").arg((leftMs + 999) / 1000);
    return Tx(2303, "noch etwa %1 min").arg((leftMs + 59999) / 60000);
}

QString mailSummary(const TEMail& mail)
{
    return QStringLiteral("\"%1\" an %2").arg(mail.FBetreff, (mail.FAn + mail.FCc + mail.FBcc).join(QStringLiteral(", ")));
}

QStringList addressesOf(const QList<QPair<QString, QString>>& entries)
{
    QStringList out;
    for (const auto& [address, why] : entries)
        out << address;
    return out;
}

// "a@example.org (550 5.1.1 No such user)", one a line.
QString addressLines(const QList<QPair<QString, QString>>& entries)
{
    QStringList lines;
    for (const auto& [address, why] : entries)
        lines << (why.isEmpty() ? address : QStringLiteral("%1 (%2)").arg(address, why));
    return lines.join(QLatin1Char('\n'));
}

// The logged mail names only those who got it (or may have): the refused
// addresses leave their rows, a row that held a list keeps the rest.
void dropRecipients(TEMail& mail, const QStringList& refused)
{
    std::vector<const TEMailEmpfaenger*> gone;
    for (const auto& row : mail.FLEmpfaenger) {
        QStringList kept;
        const TAddressList list = ParseAddressList(row->FAdresse);
        for (const TMailbox& m : list.mailboxes)
            if (!refused.contains(m.Address()))
                kept << m.ToString();
        if (kept.isEmpty())
            gone.push_back(row.get());
        else if (kept.size() < static_cast<qsizetype>(list.mailboxes.size()))
            row->FAdresse = kept.join(QStringLiteral(", "));
    }
    for (const TEMailEmpfaenger* row : gone)
        mail.FLEmpfaenger.Remove(row);
    mail.Convert();
}

}  // namespace

int32_t WindowExitCode(const TRunTally& tally)
{
    const bool missed = tally.failed + tally.notSent + tally.partly + tally.unknown > 0;
    if (tally.sent + tally.unknown > 0)
        return missed ? 2 : 1;
    return missed ? 3 : 0;
}

TSendMode SendModeOf(int sendDirekt)
{
    switch (sendDirekt) {
    case 0: return TSendMode::smMailClient;
    case 1: return TSendMode::smDirect;
    default: return TSendMode::smNone;
    }
}

TMailingRun::TMailingRun(TComposeModel& model, IUserMessages& messages, TConfig& config, TMailingRunDeps deps)
    : FModel(model), FMessages(messages), FConfig(config), FDeps(std::move(deps))
{
}

TMailingRun::TMailingRun(TMailingRun&&) noexcept = default;
TMailingRun::~TMailingRun() = default;

void TMailingRun::NewMail()
{
    FSentFlag = false;
    FResultCode = -1;
}

void TMailingRun::SendClick()
{
    FOriginPrefix = Tx(291, "Ursprung:") + QLatin1Char(' ');
    if (SendModeOf(FConfig.FSendDirekt) == TSendMode::smDirect && !FConfig.MailServerRefusal().isEmpty()) {
        FMessages.ShowError(FConfig.MailServerRefusal());   // a wrapped port would reach another server's port
        return;
    }
    if (FModel.SeparateFlag)
        sendSeparately();
    else
        sendOne();
}

void TMailingRun::sendOne()
{
    TEMail mail;
    BuildMail(mail, QString());
    if (refuseRecipientFields(mail))
        return;
    FLastPartly = false;
    switch (SendModeOf(FConfig.FSendDirekt)) {
    case TSendMode::smMailClient: FSentFlag = SendViaMailClient(mail, true); break;
    case TSendMode::smDirect: FSentFlag = SendDirect(mail, true); break;
    case TSendMode::smNone: return;
    }
    if (FResultCode == 0 && !FLastPartly)
        FMessages.ShowInformation(Tx(1985, "EMail(s) wurden gesendet."));
    else if (FResultCode == 1)
        FMessages.ShowInformation(Tx(1986, "Vorgang wurde durch den Nutzer abgebrochen."));
}

QStringList TSeparateRunSummary::Missing() const
{
    QStringList out;
    for (const auto& [address, reason] : failed)
        out << address;
    return out + notSent;
}

QStringList TSeparateRunSummary::Unknown() const
{
    return addressesOf(unknown);
}

QString DeliveryUnknownText()
{
    return Tx(4200, "Zustellung unbekannt (Verbindung nach dem Senden beendet)");
}

QString RunSummaryText(const TSeparateRunSummary& s)
{
    const qsizetype missing = s.Missing().size();
    const qsizetype unknown = s.unknown.size();
    QString text = Tx(3610, "%1 von %2 E-Mails wurden gesendet.").arg(s.sent.size()).arg(s.sent.size() + missing + unknown);
    if (missing == 1)
        text += QLatin1Char(' ') + Tx(4290, "1 Empfänger hat die E-Mail nicht erhalten.");
    else if (missing > 1)
        text += QLatin1Char(' ') + Tx(3611, "%1 Empfänger haben die E-Mail nicht erhalten.").arg(missing);
    if (unknown == 1)
        text += QLatin1Char(' ') + Tx(4291, "Bei 1 Empfänger ist die Zustellung unbekannt: die Verbindung endete, bevor "
                                            "der Server den Empfang bestätigte. Die E-Mail ist wahrscheinlich angekommen "
                                            "und wird nicht erneut gesendet.");
    else if (unknown > 1)
        text += QLatin1Char(' ') + Tx(4201, "Bei %1 Empfängern ist die Zustellung unbekannt: die Verbindung endete, bevor "
                                            "der Server den Empfang bestätigte. Die E-Mail ist wahrscheinlich angekommen "
                                            "und wird an sie nicht erneut gesendet.").arg(unknown);
    return text;
}

// Only the first recipient's mail of a run is logged: one entry per run.
// The log file gets a line per recipient; a cancel stops the whole run. The
// summary may ask for the mail again to those who did not get it: a new run
// over just them.
void TMailingRun::sendSeparately()
{
    if (FConfig.FSendDirekt != 1) {
        FMessages.ShowError(Tx(1987, "Die Option \"seperat senden\" steht bei Versand über Standard-Client nicht zur Verfügung."));
        return;
    }
    if (!CheckSeparateAllowed()) {
        FMessages.ShowError(Tx(1988, "Die Option \"seperat senden\" steht bei Nutzung von Cc oder Bcc nicht zur Verfügung."));
        return;
    }
    if (!prepareCircular())
        return;
    std::vector<size_t> rows(FModel.Recipients.size());
    std::iota(rows.begin(), rows.end(), size_t{0});
    while (!rows.empty()) {
        runSeparately(rows, SendModeOf(FConfig.FSendDirekt));
        if (!FDeps.showRunSummary || !FDeps.showRunSummary(FLastRun))
            break;
        rows = rowsOf(FLastRun.Missing());
    }
    FCircular.reset();
    FPrepared.reset();
    FRunBodies.reset();
}

void TMailingRun::runSeparately(const std::vector<size_t>& allRows, TSendMode mode)
{
    const int sentBefore = FTally.sent;
    beginSeparateRun();
    const std::vector<size_t> rows = withoutRefused(allRows);
    size_t done = 0;
    for (; done < rows.size() && !stopping() && !FServerUnreachable; ++done) {
        showSeparateProgress(done, rows.size(), rows[done], FRunClock.elapsed());
        if (!paceNextMail())
            break;   // cancelled while waiting: this one was not tried
        sendSeparateMail(rows[done], mode, done == 0,
                         done + 1 < rows.size() ? std::optional<size_t>(rows[done + 1]) : std::nullopt);
    }
    for (size_t k = done; k < rows.size(); ++k)
        markNotTried(FModel.Recipients[rows[k]].email);
    FLastRun.cancelled = stopping();
    endSeparateRun();
    if (FLastRun.cancelled)
        reportCancelledRun(FTally.sent - sentBefore, rows.size(), rows.size() - done);
}

// A recipient whose own files were refused gets no mail: the mail would
// lack what the list meant them to get. They fail with the reason; the
// first mail the run sends is still the one logged.
std::vector<size_t> TMailingRun::withoutRefused(const std::vector<size_t>& rows)
{
    std::vector<size_t> kept;
    for (const size_t row : rows) {
        const TComposeRecipient& r = FModel.Recipients[row];
        if (r.person.refusal.isEmpty()) {
            kept.push_back(row);
            continue;
        }
        FLastRun.failed << qMakePair(r.email, r.person.refusal);
        ++FTally.failed;
        TLogFile::LogGlobal(false, QStringLiteral("Rundschreiben an %1: nicht gesendet: %2").arg(r.email, r.person.refusal));
    }
    return kept;
}

// Left out by a cancel, or because the server could not be reached: then
// they failed for that reason without being tried.
void TMailingRun::markNotTried(const QString& address)
{
    if (!FServerUnreachable)
        return void(FLastRun.notSent << address);
    const QString reason = Tx(3700, "nicht versucht, der SMTP-Server ist nicht erreichbar");
    FLastRun.failed << qMakePair(address, reason);
    ++FTally.failed;
    TLogFile::LogGlobal(false, QStringLiteral("Rundschreiben an %1: %2").arg(address, reason));
}

// A set, not a list: a run again to the failed ones of a long run must not
// compare every row with every address.
std::vector<size_t> TMailingRun::rowsOf(const QStringList& addresses) const
{
    const QSet<QString> wanted(addresses.begin(), addresses.end());
    std::vector<size_t> rows;
    for (size_t i = 0; i < FModel.Recipients.size(); ++i)
        if (wanted.contains(FModel.Recipients[i].email))
            rows.push_back(i);
    return rows;
}

// One sender for the whole run, so its mails share one connection.
void TMailingRun::beginSeparateRun()
{
    FLastRun = TSeparateRunSummary();
    FServerUnreachable = false;
    FPacing = FDeps.pacing ? FDeps.pacing() : TSendPacingSettings();
    FPacer.emplace(FPacing.mailsPerMinute);
    FRunClock.start();
    if (FDeps.progress)
        FDeps.progress->BeginRun();
    if (!FDeps.newSmtpSender || FConfig.FSendDirekt != 1)
        return;
    FRunSender = FDeps.newSmtpSender();
    FRunSender->KeepConnection();
    FRunSender->Setup(FConfig.FHost, FConfig.FUser, FConfig.FVerbindungVerschluesselt, FConfig.FPort, FConfig.FPass);
}

void TMailingRun::endSeparateRun()
{
    if (FRunSender)
        FRunSender->Close();
    FRunSender.reset();
    FQueuedMail.reset();
    if (FDeps.progress)
        FDeps.progress->EndRun();
}

void TMailingRun::sendSeparateMail(size_t index, TSendMode mode, bool first, std::optional<size_t> next)
{
    const std::unique_ptr<TEMail> owned = runMail(index);
    TEMail& mail = *owned;
    if (mode == TSendMode::smDirect && next)
        queueNextMail(*next);
    const QString subject = mail.FBetreff;   // the log keeps the template's
    const TMailOutcome outcome = mode == TSendMode::smMailClient
                                     ? (SendViaMailClient(mail, first) ? TMailOutcome::moSent : TMailOutcome::moFailed)
                                     : sendInRun(mail, first);
    mail.FBetreff = subject;
    FSentFlag = true;
    recordSeparateResult(mail, outcome);
}

// The mail for a row: the one handed to the sender ahead, or a new one.
std::unique_ptr<TEMail> TMailingRun::runMail(size_t index)
{
    if (FQueuedMail && FQueuedRow == index)
        return std::move(FQueuedMail);
    auto mail = std::make_unique<TEMail>();
    BuildMail(*mail, FModel.Recipients[index].email);
    personalize(*mail, index);
    return mail;
}

// Without a pause between mails the sender learns the next one before the
// current one goes, so it can start it behind the current one's end.
void TMailingRun::queueNextMail(size_t index)
{
    if (!FRunSender || FPacing.mailsPerMinute > 0)
        return;
    FQueuedMail = runMail(index);
    FQueuedRow = index;
    FQueuedMail->FVon = FConfig.FUser;
    FRunSender->QueueNext(*FQueuedMail);
}

void TMailingRun::recordSeparateResult(const TEMail& mail, TMailOutcome outcome)
{
    const QString address = mail.FAn.join(QStringLiteral(", "));
    if (outcome == TMailOutcome::moSent) {
        FLastRun.sent << address;
        logRecipientResult(mail, Tx(2304, "gesendet"));
    } else if (outcome == TMailOutcome::moUnknown) {
        FLastRun.unknown << qMakePair(address, FLastFailure);
        logRecipientResult(mail, DeliveryUnknownText() + QStringLiteral(": ") + FLastFailure);
    } else if (cancelled()) {
        FLastRun.notSent << address;
        logRecipientResult(mail, Tx(2305, "abgebrochen, nicht gesendet"));
    } else {
        FLastRun.failed << qMakePair(address, FLastFailure);
        logRecipientResult(mail, Tx(2306, "nicht gesendet: %1").arg(FLastFailure));
    }
}

// A mail of a separate run: the run's connection, retries after a
// temporary refusal; failures go into the summary, not a box each.
TMailingRun::TMailOutcome TMailingRun::sendInRun(TEMail& mail, bool log)
{
    try {
        if (!FRunSender)
            throw EKalvex(Tx(1993, "Der direkte Versand ist nicht verfügbar."));
        logPasswordInClearOnce();
        if (log && FDeps.checkStorable)
            FDeps.checkStorable(mail);
        mail.FVon = FConfig.FUser;
        sendWithRetries(mail);
    } catch (const ESendUnknown& e) {
        markUnknown(mail, log, e.message());
        return TMailOutcome::moUnknown;
    } catch (const ESendFailed& e) {
        FServerUnreachable = e.Unreachable();   // the next recipients would only wait through their tries
        sendFailed(QString::fromUtf8(e.what()), false);
        return TMailOutcome::moFailed;
    } catch (const std::exception& e) {
        sendFailed(QString::fromUtf8(e.what()), false);
        return TMailOutcome::moFailed;
    }
    FResultCode = 0;
    markSentDirect(mail, log);
    return TMailOutcome::moSent;
}

// The server may have the mail: it is logged like a sent one (the log
// shows what probably went out) and never sent again; the summary says
// its delivery is unknown.
void TMailingRun::markUnknown(TEMail& mail, bool log, const QString& reason)
{
    FLastFailure = reason;
    ++FTally.unknown;
    TLogFile::LogGlobal(false, QStringLiteral("TMainForm.SendenDirekt - %1: %2 - %3")
                                   .arg(DeliveryUnknownText(), mailSummary(mail), reason));
    mail.FSender = TMailSender::msKalvex;
    mail.FGesendetDurch = MailSenderText(mail.FSender);
    if (log)
        storeSentMail(mail);
}

// A temporary refusal is tried again after growing waits; a permanent one,
// a cancel or the last try ends it. A mail the server may already have
// taken is never counted as temporary, so it is never sent twice.
void TMailingRun::sendWithRetries(TEMail& mail)
{
    for (int tried = 1;; ++tried) {
        try {
            FPacer->Started(FRunClock.elapsed());
            FRunSender->SendMail(mail);
            return;
        } catch (const ESendFailed& e) {
            if (!e.Temporary() || tried >= FPacing.tries || stopping())
                throw;
            TLogFile::LogGlobal(false, QStringLiteral("Rundschreiben an %1: Versuch %2 von %3 vorübergehend abgewiesen - %4")
                                           .arg(mail.FAn.join(QStringLiteral(", "))).arg(tried).arg(FPacing.tries).arg(e.message()));
            if (!waitBeforeRetry(tried))
                throw;
        }
    }
}

bool TMailingRun::waitBeforeRetry(int failedTries)
{
    const qint64 wait = std::max(RetryWaitMs(FPacing, failedTries), FPacer->WaitBefore(FRunClock.elapsed()));
    return waitCancellable(wait, [&](qint64 leftMs) {
        return Tx(3600, "Der Server hat vorübergehend abgelehnt. Versuch %1 von %2 in %3 s ...")
            .arg(failedTries + 1).arg(FPacing.tries).arg((leftMs + 999) / 1000);
    });
}

// The distance the provider allows between two mails; false on a cancel.
bool TMailingRun::paceNextMail()
{
    const qint64 wait = FPacer->WaitBefore(FRunClock.elapsed());
    return waitCancellable(wait, [&](qint64 leftMs) {
        return Tx(3601, "Nächste E-Mail in %1 s (höchstens %2 E-Mails pro Minute)")
            .arg((leftMs + 999) / 1000).arg(FPacing.mailsPerMinute);
    });
}

// Shows why it waits and ends at once when the user cancels; false then.
bool TMailingRun::waitCancellable(qint64 ms, const std::function<QString(qint64 leftMs)>& text)
{
    QElapsedTimer clock;
    clock.start();
    for (qint64 left = ms; left > 0 && !stopping(); left = ms - clock.elapsed()) {
        if (FDeps.progress)
            FDeps.progress->Step(text(left), 0);
        QEventLoop loop;
        QTimer::singleShot(std::min<qint64>(left, 100), &loop, &QEventLoop::quit);
        loop.exec();
    }
    return !stopping();
}

// Recipient fields are filled only per mail of a separate run; one mail
// to all would carry the placeholders.
bool TMailingRun::refuseRecipientFields(const TEMail& mail)
{
    const QStringList fields = RecipientFieldsIn(mail.FBetreff + QLatin1Char('\n') + mail.FBodyPlain);
    if (fields.isEmpty())
        return false;
    FMessages.ShowError(Tx(3424, "Die E-Mail enthält Empfängerfelder (%1). Sie werden nur beim Versand mit \"separat "
                                 "senden\" für jeden Empfänger gefüllt. Bitte aktivieren Sie \"separat senden\" oder "
                                 "entfernen Sie die Felder.").arg(fields.join(QStringLiteral(", "))));
    return true;
}

// The template is split once for the whole run.
bool TMailingRun::prepareCircular()
{
    if (!recipientAttachmentsExist())
        return false;
    TEMail templateMail;
    BuildMail(templateMail, QString());
    FCircular = std::make_unique<TPersonalCircular>(templateMail);
    FPrepared = std::make_unique<TPreparedCircular>(*FCircular);
    FRunBodies = TBodies{templateMail.FBodyRTF, templateMail.FBodyPlain, templateMail.FBodyHTML};
    return true;
}

// A missing file refuses the run before its first mail.
bool TMailingRun::recipientAttachmentsExist()
{
    for (const TComposeRecipient& r : FModel.Recipients)
        for (const QString& file : r.person.attachments)
            if (!QFileInfo(file).isFile()) {
                FMessages.ShowError(Tx(3425, "Der Anhang \"%1\" für %2 ist nicht vorhanden. Es wurde keine E-Mail "
                                             "gesendet.").arg(file, r.email));
                return false;
            }
    return true;
}

// Mails of a direct run take their text parts prepared; the mail
// program gets the merged texts.
void TMailingRun::personalize(TEMail& mail, size_t index) const
{
    if (!FCircular)
        return;
    const TRecipientPerson person = RecipientPerson(FModel.Recipients[index]);
    if (!FRunSender || !FPrepared)
        return FCircular->Apply(mail, person);
    const QHash<QString, QString> values = RecipientValueTable(person);
    FCircular->ApplyHeader(mail, person, values);
    mail.FPreparedBody = FPrepared->For(values);
}

void TMailingRun::PreviewMail(size_t index, TEMail& mail)
{
    TEMail templateMail;
    BuildMail(templateMail, QString());
    BuildMail(mail, FModel.Recipients.at(index).email);
    TPersonalCircular(templateMail).Apply(mail, RecipientPerson(FModel.Recipients[index]));
}

void TMailingRun::showSeparateProgress(size_t position, size_t total, size_t row, qint64 elapsedMs)
{
    if (!FDeps.progress)
        return;
    QString text = Tx(2307, "Empfänger %1 von %2: %3").arg(position + 1).arg(total).arg(FModel.Recipients[row].email);
    const QString left = timeLeftText(elapsedMs, position, total);
    if (!left.isEmpty())
        text += QStringLiteral(" (") + left + QLatin1Char(')');
    FDeps.progress->RunStatus(text);
}

// One message for the whole run, not one per mail.
void TMailingRun::reportCancelledRun(int sent, size_t total, size_t notTried)
{
    const int notSent = static_cast<int>(total) - sent;
    FTally.notSent += static_cast<int>(notTried);
    TLogFile::LogGlobal(true, QStringLiteral("Rundschreiben abgebrochen: %1 von %2 gesendet").arg(sent).arg(total));
    FMessages.ShowInformation(Tx(2308, "Der Versand wurde abgebrochen.\n%1 von %2 E-Mails wurden gesendet, %3 wurden "
                                       "nicht gesendet.").arg(sent).arg(total).arg(notSent));
}

bool TMailingRun::cancelled() const
{
    return FDeps.progress && FDeps.progress->Cancelled();
}

// A cancel, or a request to end after the mail in flight.
bool TMailingRun::stopping() const
{
    return cancelled() || (FDeps.stopRequested && FDeps.stopRequested());
}

void TMailingRun::logRecipientResult(const TEMail& mail, const QString& result)
{
    TLogFile::LogGlobal(true, QStringLiteral("Rundschreiben an %1: %2 (Betreff: \"%3\")")
                                  .arg(mail.FAn.join(QStringLiteral(", ")), result, mail.FBetreff));
}

// Visits every row: each Cc or Bcc row gets its own message.
bool TMailingRun::CheckSeparateAllowed()
{
    bool allowed = true;
    for (const TComposeRecipient& r : FModel.Recipients) {
        if (r.kind == TEmpfaengerTyp::elAn)
            continue;
        FMessages.ShowError(Tx(1989, "Wenn die Option \"seperat senden\" aktiviert ist kann für Empfänger weder CC noch BCC angegeben werden."));
        allowed = false;
    }
    return allowed;
}

void TMailingRun::BuildMail(TEMail& mail, const QString& singleAddress)
{
    mail.FID = -1;
    mail.SetStatus(TMailStatus::stEntwurf);
    mail.FDatum = DateTimeToDays(QDateTime::currentDateTime());
    mail.FBetreff = FModel.Subject;
    fillBodies(mail);
    mail.FSeperatSenden = false;
    if (singleAddress.isEmpty()) {
        for (const TComposeRecipient& r : FModel.Recipients) {
            TEMailEmpfaenger& row = mail.FLEmpfaenger.Add();
            row.FAdresse = r.email;
            row.FGanzerName = r.name;
            row.FFirma = r.company;
            row.FAdressDB_ID = r.adressDbId;
            row.FEmpfType = r.kind;
        }
        for (const TComposeAttachment& a : FModel.Attachments)
            mail.FAnhaenge << a.file;
    } else {
        // The flag is set inside the attachment loop, on purpose.
        for (const TComposeAttachment& a : FModel.Attachments) {
            mail.FAnhaenge << a.file;
            mail.FSeperatSenden = true;
        }
        mail.FLEmpfaenger.Add().FAdresse = singleAddress;
    }
    mail.Convert();
}

// A separate run converts the document once; its mails take copies.
void TMailingRun::fillBodies(TEMail& mail) const
{
    if (FRunBodies) {
        mail.FBodyRTF = FRunBodies->rtf;
        mail.FBodyPlain = FRunBodies->plain;
        mail.FBodyHTML = FRunBodies->html;
        return;
    }
    mail.FBodyRTF = FDeps.toRtf ? FDeps.toRtf(FModel.Body()) : DocumentToRtf(FModel.Body());
    mail.FBodyPlain = MailPlainText(FModel.Body());
    mail.FBodyHTML = FDeps.toHtmlLines ? FDeps.toHtmlLines(FModel.Body()) : MailHtmlLines(FModel.Body());
}

bool TMailingRun::checkRecipientsForMailClient(IMailClientHandOver& client)
{
    if (FModel.Recipients.empty()) {
        FMessages.ShowInformation(Tx(309, "Es wurden noch keine Empfänger angegeben. Bitte wählen Sie zunächst "
                                          "mindestens einen Empfänger."));
        return false;
    }
    for (const TComposeRecipient& r : FModel.Recipients)
        client.AddDestAdr(r.email, mailClientClass(r.kind));
    return true;
}

bool TMailingRun::SendViaMailClient(TEMail& mail, bool log)
{
    try {
        if (!FDeps.newMailClient)
            throw EKalvex(Tx(1992, "Die Übergabe an das E-Mail-Programm ist nicht verfügbar."));
        std::unique_ptr<IMailClientHandOver> client = FDeps.newMailClient();
        client->SetBetrifft(FModel.Subject);
        client->SetMailtext(MailPlainText(FModel.Body()));
        if (!checkRecipientsForMailClient(*client))
            return false;
        for (const TComposeAttachment& a : FModel.Attachments)
            client->AddAttachment(a.file.startsWith(FOriginPrefix) ? a.file.mid(FOriginPrefix.size()) : a.file);
        if (log && FDeps.checkStorable)
            FDeps.checkStorable(mail);
        FResultCode = client->CallMailClient();
        if (FResultCode != 0)
            return false;
        mail.FSender = TMailSender::msStandardClient;
        mail.FGesendetDurch = MailSenderText(mail.FSender);
        mail.SetStatus(TMailStatus::stGesendet);
        ++FTally.sent;
        if (log)
            storeSentMail(mail);
        FSuccessFlag = true;
        return true;
    } catch (const std::exception& e) {
        FLastFailure = QString::fromUtf8(e.what());
        ++FTally.failed;
        TLogFile::LogGlobal(false, QStringLiteral("TMainForm.SendenUeberStandarDClient - ") + FLastFailure);
        return false;
    }
}

// Delivery and logging are separate outcomes: a mail the server took is
// never reported as aborted because the log could not be written, nor
// because it refused some of the recipients.
bool TMailingRun::SendDirect(TEMail& mail, bool log)
{
    TDeliveryReport delivery;
    std::unique_ptr<ISmtpSender> sender;
    try {
        if (!FDeps.newSmtpSender)
            throw EKalvex(Tx(1993, "Der direkte Versand ist nicht verfügbar."));
        sender = FDeps.newSmtpSender();
        logPasswordInClearOnce();
        if (log && FDeps.checkStorable)
            FDeps.checkStorable(mail);
        mail.FVon = FConfig.FUser;
        sender->Setup(FConfig.FHost, FConfig.FUser, FConfig.FVerbindungVerschluesselt, FConfig.FPort, FConfig.FPass);
        if (sender->SendMail(mail))
            FResultCode = 0;
        delivery = sender->LastDelivery();
    } catch (const ESendUnknown& e) {
        unknownDelivery(mail, sender->LastDelivery(), log, e.message());
        return true;
    } catch (const std::exception& e) {
        sendFailed(QString::fromUtf8(e.what()));
        return false;
    }
    if (!delivery.Complete())
        sentPartly(mail, delivery, log);
    else
        markSentDirect(mail, log);
    return true;
}

// A single mail whose end of data went unanswered: logged without the
// recipients the server refused on the way, and the user is told.
void TMailingRun::unknownDelivery(TEMail& mail, const TDeliveryReport& delivery, bool log, const QString& reason)
{
    dropRecipients(mail, addressesOf(delivery.refused));
    markUnknown(mail, log, reason);
    QString text = DeliveryUnknownText() + QStringLiteral("\r\n") + Tx(1991, "Ursache: ") + reason + QStringLiteral("\r\n")
                 + Tx(4202, "Die E-Mail ist wahrscheinlich angekommen und wurde als gesendet gespeichert. Bitte "
                            "senden Sie sie nicht erneut, ohne beim Empfänger nachzufragen.");
    if (!delivery.refused.isEmpty())
        text += QStringLiteral("\n") + Tx(4204, "Diese Empfänger haben die E-Mail nicht erhalten:") + QStringLiteral("\n")
              + addressLines(delivery.refused);
    FMessages.ShowError(text);
}

// The server took the mail for some recipients: it is logged with just
// them, and the user learns who did not get it and why.
void TMailingRun::sentPartly(TEMail& mail, const TDeliveryReport& delivery, bool log)
{
    FLastPartly = true;
    ++FTally.partly;
    TLogFile::LogGlobal(false, QStringLiteral("TMainForm.SendenDirekt - Teilweise gesendet: %1; abgelehnt: %2")
                                   .arg(mailSummary(mail), addressLines(delivery.refused).replace(QLatin1Char('\n'), QStringLiteral("; "))));
    dropRecipients(mail, addressesOf(delivery.refused));
    markSentDirect(mail, log);
    QString text = Tx(4203, "Die E-Mail wurde gesendet, aber nicht an alle Empfänger.");
    if (!delivery.refused.isEmpty())
        text += QStringLiteral("\n") + Tx(4204, "Diese Empfänger haben die E-Mail nicht erhalten:") + QStringLiteral("\n")
              + addressLines(delivery.refused);
    if (!delivery.unknown.isEmpty())
        text += QStringLiteral("\n") + DeliveryUnknownText() + QStringLiteral(":\n") + delivery.unknown.join(QLatin1Char('\n'));
    FMessages.ShowError(text);
}

void TMailingRun::markSentDirect(TEMail& mail, bool log)
{
    ++FTally.sent;
    mail.FSender = TMailSender::msKalvex;
    mail.FGesendetDurch = MailSenderText(mail.FSender);
    if (log)
        storeSentMail(mail);
}

// The log says once per window that the password travels unencrypted.
void TMailingRun::logPasswordInClearOnce()
{
    if (FPasswordWarningLogged || !FConfig.PasswordInClear())
        return;
    FPasswordWarningLogged = true;
    TLogFile::LogGlobal(false, QStringLiteral("TMainForm.SendenDirekt - ") + PasswordInClearWarning());
}

// A cancel is the user's wish, not a fault: no error box, result code 1.
void TMailingRun::sendFailed(const QString& reason, bool showError)
{
    FLastFailure = reason;
    TLogFile::LogGlobal(false, QStringLiteral("TMainForm.SendenDirekt - ") + reason);
    if (cancelled()) {
        FResultCode = 1;
        ++FTally.notSent;
        return;
    }
    ++FTally.failed;
    if (showError)
        FMessages.ShowError(Tx(1990, "Das Senden der E-Mail wurde abgebrochen.") + QStringLiteral("\r\n")
                        + Tx(1991, "Ursache: ") + reason);
}

bool TMailingRun::CheckConnectionSettings(const TConnectionSettingsInput& in)
{
    bool complete = true;
    if (in.direct) {
        FConfig.FVersandart = TVersandArt::vaDirekt;
        QString message = Tx(281, "Die Einstellungen sind unvollständig.");
        auto missing = [&](int id, const char* text) {
            message += QStringLiteral("\r\n") + Tx(id, text);
            complete = false;
        };
        if (in.host.isEmpty())
            missing(229, "Es wurde kein SMTP-Server angegeben.");
        else
            FConfig.FHost = in.host;
        if (in.port == QLatin1String("0"))   // only "0" counts as missing
            missing(230, "Es wurde kein SMTP-Port angegeben.");
        else
            FConfig.FPort = static_cast<uint16_t>(in.port.toInt());
        if (in.password.isEmpty() && !in.oauth)
            missing(231, "Es wurde kein Passwort angegeben.");
        else
            FConfig.FPass = in.password;
        if (in.sender.isEmpty())
            missing(232, "Es wurde kein Nutzername angegeben.");
        else
            FConfig.FUser = in.sender;
        FConfig.FAbsenderName = in.sender;   // the sender address, not the name field: kept as it is
        FConfig.FVerbindungVerschluesselt = in.encrypted;
        FConfig.FUserNotLikeMailAddress = in.separateLogin;
        FConfig.FUserName = in.separateLogin ? in.login : QString();
        if (complete)
            FConfig.FAbsenderName = in.senderName;
        else
            FMessages.ShowInformation(message);
    } else {
        FConfig.FVersandart = TVersandArt::vaStandardClient;
    }
    FConfig.SaveMailServer();
    FConfig.InitMailServer();
    return complete;
}

void TMailingRun::SaveDraft()
{
    TEMail mail;
    BuildMail(mail, QString());
    storeMail(mail, 1);
}

void TMailingRun::storeSentMail(TEMail& mail)
{
    if (FCircular && !mail.FAn.isEmpty()) {
        // The logged mail is the first one a run sent; in a run again to the
        // failed ones that is not the first row.
        const std::vector<size_t> rows = rowsOf({mail.FAn.first()});
        FCircular->Restore(mail, RecipientPerson(FModel.Recipients[rows.empty() ? 0 : rows.front()]));
    }
    try {
        storeMail(mail, 2);
    } catch (const std::exception& e) {
        const QString reason = QString::fromUtf8(e.what());
        ++FTally.notLogged;
        TLogFile::LogGlobal(false, QStringLiteral("Gesendet, aber nicht im Protokoll gespeichert: %1 am %2 - %3")
                                       .arg(mailSummary(mail), DaysToDateTime(mail.FDatum).toString(Qt::ISODate), reason));
        FMessages.ShowError(Tx(2301, "Die E-Mail wurde gesendet, aber nicht im Protokoll gespeichert: %1").arg(reason));
    }
}

void TMailingRun::storeMail(TEMail& mail, int kind)
{
    if (FDeps.storeMail)
        FDeps.storeMail(mail, kind);
}

}  // namespace kalvex
