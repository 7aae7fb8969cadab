#pragma once
// The mailing run behind "Senden" and "Entwurf speichern": builds mail
// records from the compose model, hands them to SMTP or to the desktop's
// mail program, records them, and tells the user the outcome. It speaks to
// the user only through IUserMessages.
//
// The transports are created through TMailingRunDeps, one object per mail,
// so the run does not depend on how they are built.

#include "config/KalvexError.h"
#include "config/ProgressDisplay.h"
#include "config/UserMessages.h"
#include "compose/PersonalCircular.h"
#include "send/ComposeModel.h"
#include "send/PreparedBody.h"
#include "send/SendPacing.h"

#include <QElapsedTimer>
#include <QList>
#include <QPair>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QTextDocument;

namespace kalvex {

class TConfig;
class TEMail;

// A send that failed, in the user's words; a temporary failure (the server
// refused for now, the line broke) may succeed when tried again.
class ESendFailed : public EKalvex {
public:
    ESendFailed(const QString& message, bool temporary, bool unreachable = false)
        : EKalvex(message), FTemporary(temporary), FUnreachable(unreachable) {}
    bool Temporary() const { return FTemporary; }
    // No connection to the server could be made: the next mails would not fare better.
    bool Unreachable() const { return FUnreachable; }

private:
    bool FTemporary;
    bool FUnreachable;
};

// The end of the data went out and its answer never came (the line
// dropped, the time ran out): the server may have the mail. Neither sent
// nor failed, and never tried again.
class ESendUnknown : public ESendFailed {
public:
    explicit ESendUnknown(const QString& message) : ESendFailed(message, false) {}
};

// What became of the recipients of a mail the server took: everyone got
// it, or the server refused some (and why), or for some its answer never
// came.
struct TDeliveryReport {
    QList<QPair<QString, QString>> refused;   // address, why
    QStringList unknown;
    bool Complete() const { return refused.isEmpty() && unknown.isEmpty(); }
};

class ISmtpSender {
public:
    virtual ~ISmtpSender() = default;
    virtual void Setup(const QString& host, const QString& user, bool encrypted, uint16_t port,
                       const QString& password) = 0;
    virtual bool SendMail(TEMail& mail) = 0;   // raises on failure (ESendFailed from the server's side)
    // After SendMail returned (or raised ESendUnknown): who of the mail's
    // recipients did not get it, or may not have.
    virtual TDeliveryReport LastDelivery() const { return {}; }
    // A run of mails: one connection for all of them where the server
    // allows it, until Close.
    virtual void KeepConnection() {}
    // The mail of the run that SendMail gets next, handed over before the
    // current one is sent: its commands may then go out right behind the
    // current mail's end (PIPELINING). The object must stay as it is until
    // that SendMail.
    virtual void QueueNext(TEMail& /*mail*/) {}
    virtual void Close() {}
};

class IMailClientHandOver {
public:
    virtual ~IMailClientHandOver() = default;
    virtual void SetBetrifft(const QString& subject) = 0;
    virtual void SetMailtext(const QString& text) = 0;
    virtual void AddDestAdr(const QString& address, int recipientClass) = 0;   // 1 To, 2 Cc, 3 Bcc
    virtual void AddAttachment(const QString& path) = 0;
    virtual int CallMailClient() = 0;   // the MAPI result code
};

// Who got the mail of a separate run and who did not.
struct TSeparateRunSummary {
    QStringList sent;
    QList<QPair<QString, QString>> failed;   // address, and why
    QStringList notSent;                     // left out or broken off by a cancel
    // The line ended after their mail's data went out, before the server
    // answered: probably delivered, so not among the missing (never sent
    // again by "Erneut senden"), and logged like a sent mail.
    QList<QPair<QString, QString>> unknown;  // address, and why
    bool cancelled = false;
    QStringList Missing() const;             // everyone who did not get the mail
    QStringList Unknown() const;
};

// "Zustellung unbekannt (Verbindung nach dem Senden beendet)"
QString DeliveryUnknownText();

// "3 von 5 E-Mails wurden gesendet. 2 Empfänger haben die E-Mail nicht erhalten."
QString RunSummaryText(const TSeparateRunSummary& summary);

struct TMailingRunDeps {
    std::function<std::unique_ptr<ISmtpSender>()> newSmtpSender;
    std::function<std::unique_ptr<IMailClientHandOver>()> newMailClient;
    // kind 1 = draft, 2 = sent: writes the mail and keeps it in the list.
    std::function<void(TEMail& mail, int kind)> storeMail;
    std::function<QString(const QTextDocument&)> toRtf;    // the body as RTF
    std::function<QStringList(const QTextDocument&)> toHtmlLines;
    // Raises when the store could not log the mail (an attachment over its
    // limit): checked before a mail goes out, so a sent mail is never one
    // the log must refuse. May be empty.
    std::function<void(const TEMail& mail)> checkStorable;
    // The window's progress display, or null; not owned. A separate run
    // shows its recipient count there and stops when it is cancelled.
    IProgressDisplay* progress = nullptr;
    // Pacing and retries of a separate run, read when it starts; empty: the
    // defaults.
    std::function<TSendPacingSettings()> pacing;
    // Shows who got the mail of a separate run; true when the user wants it
    // sent again to those who did not. May be empty.
    std::function<bool(const TSeparateRunSummary& summary)> showRunSummary;
    // True once the run is to end after the mail in flight (a signal to the
    // command line): unlike a cancel, that mail is finished. May be empty.
    std::function<bool()> stopRequested;
};

// What the runs of one compose session achieved, counted per mail; the
// window's exit code is made from it.
struct TRunTally {
    int sent = 0;        // handed over to the server or the mail program
    int failed = 0;      // refused, broken off or cancelled
    int notSent = 0;     // left out because the user cancelled the run
    int notLogged = 0;   // sent, but the sent-mail log could not be written
    int partly = 0;      // sent (counted in sent), but the server refused some of its recipients
    int unknown = 0;     // the answer to the end of the data never came: probably delivered
};

// What the settings dialog hands to the connection-settings check.
struct TConnectionSettingsInput {
    bool direct = false;
    QString host;
    QString port;
    QString password;
    QString sender;
    QString senderName;
    bool encrypted = true;
    bool separateLogin = false;
    QString login;
    bool oauth = false;   // signs in with a token: no password needed
};

// The distribution window's exit code for its host, from what its runs
// achieved: 0 nothing sent (closed, or only drafts), 1 every mail sent,
// 2 some sent and some not (a mail refused for some of its recipients, or
// one whose delivery is unknown, counts here), 3 sending was tried and
// nothing went out.
int32_t WindowExitCode(const TRunTally& tally);

// Send mode from SendDirekt: 0 none, 1 default mail program, 2 direct.
enum class TSendMode { smNone = 0, smMailClient = 1, smDirect = 2 };
TSendMode SendModeOf(int sendDirekt);

class TMailingRun {
public:
    // All references must outlive the run.
    TMailingRun(TComposeModel& model, IUserMessages& messages, TConfig& config, TMailingRunDeps deps);
    TMailingRun(TMailingRun&&) noexcept;
    ~TMailingRun();

    void SendClick();
    void SaveDraft();
    void BuildMail(TEMail& mail, const QString& singleAddress);
    bool SendViaMailClient(TEMail& mail, bool log);
    bool SendDirect(TEMail& mail, bool log);
    bool CheckSeparateAllowed();
    // Recipient index's mail of a separate run as it would go out; nothing
    // is sent.
    void PreviewMail(size_t index, TEMail& mail);
    void NewMail();   // the sent flag is cleared, the result code goes back to -1
    // What TMailingRunDeps::stopRequested says, set after the run was made.
    void SetStopRequest(std::function<bool()> stopRequested) { FDeps.stopRequested = std::move(stopRequested); }
    // After the settings dialog was confirmed: checks and stores the values
    // (mailserver.ini, password encoded) and reloads them. Returns true when
    // all four required values were present.
    bool CheckConnectionSettings(const TConnectionSettingsInput& input);

    // The mailing state has this one owner; the window asks for it.
    bool FSentFlag = false;
    int32_t FResultCode = -1;   // 0 sent, 1 cancelled, other failed; carried over between runs
    bool FSuccessFlag = false;
    QString FOriginPrefix;
    const TRunTally& Tally() const { return FTally; }   // since the window opened
    const TSeparateRunSummary& LastSeparateRun() const { return FLastRun; }

private:
    void sendOne();
    void sendSeparately();
    void runSeparately(const std::vector<size_t>& rows, TSendMode mode);
    std::vector<size_t> rowsOf(const QStringList& addresses) const;
    std::vector<size_t> withoutRefused(const std::vector<size_t>& rows);
    void markNotTried(const QString& address);
    void beginSeparateRun();
    void endSeparateRun();
    void sendSeparateMail(size_t index, TSendMode mode, bool first, std::optional<size_t> next);
    std::unique_ptr<TEMail> runMail(size_t index);
    void queueNextMail(size_t index);
    enum class TMailOutcome { moSent, moUnknown, moFailed };
    void recordSeparateResult(const TEMail& mail, TMailOutcome outcome);
    TMailOutcome sendInRun(TEMail& mail, bool log);
    void markUnknown(TEMail& mail, bool log, const QString& reason);
    void sentPartly(TEMail& mail, const TDeliveryReport& delivery, bool log);
    void unknownDelivery(TEMail& mail, const TDeliveryReport& delivery, bool log, const QString& reason);
    bool stopping() const;
    void sendWithRetries(TEMail& mail);
    bool waitBeforeRetry(int failedTries);
    bool paceNextMail();
    bool waitCancellable(qint64 ms, const std::function<QString(qint64 leftMs)>& text);
    void markSentDirect(TEMail& mail, bool log);
    void showSeparateProgress(size_t position, size_t total, size_t row, qint64 elapsedMs);
    bool refuseRecipientFields(const TEMail& mail);
    bool prepareCircular();
    bool recipientAttachmentsExist();
    void personalize(TEMail& mail, size_t index) const;
    void reportCancelledRun(int sent, size_t total, size_t notTried);
    bool cancelled() const;
    bool checkRecipientsForMailClient(IMailClientHandOver& client);
    void storeMail(TEMail& mail, int kind);
    void storeSentMail(TEMail& mail);
    void sendFailed(const QString& reason, bool showError = true);
    void logPasswordInClearOnce();
    void logRecipientResult(const TEMail& mail, const QString& result);

    void fillBodies(TEMail& mail) const;

    std::unique_ptr<TPersonalCircular> FCircular;   // during a separate run
    std::unique_ptr<TPreparedCircular> FPrepared;   // its text parts, encoded once
    struct TBodies {
        QString rtf, plain;
        QStringList html;
    };
    std::optional<TBodies> FRunBodies;   // during a separate run: its bodies, converted once
    TRunTally FTally;
    TSeparateRunSummary FLastRun;
    // The separate run under way: one sender (one connection) for all its
    // mails, the pacing and the run's clock.
    std::unique_ptr<ISmtpSender> FRunSender;
    TSendPacingSettings FPacing;
    std::optional<TSendPacer> FPacer;
    QElapsedTimer FRunClock;
    std::unique_ptr<TEMail> FQueuedMail;   // the next mail, handed to FRunSender ahead
    size_t FQueuedRow = 0;
    QString FLastFailure;   // the reason of the last mail that did not go out
    bool FServerUnreachable = false;   // a separate run ends: no connection could be made
    bool FPasswordWarningLogged = false;
    bool FLastPartly = false;   // the last single mail reached only some of its recipients
    TComposeModel& FModel;
    IUserMessages& FMessages;
    TConfig& FConfig;
    TMailingRunDeps FDeps;
};

}  // namespace kalvex
