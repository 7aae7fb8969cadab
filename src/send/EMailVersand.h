#pragma once
// Sends one mail record directly to an SMTP server: Setup, SendMail, done.
// One object per mail; the connection lives inside SendMail only, unless a
// run asks to keep it (KeepConnection ... Close). Failures
// are logged ("TEMailVersand.Send - " + the protocol's own text) and raised
// again with the German message for the user.

#include "config/KalvexError.h"
#include "send/MailingRun.h"
#include "send/SmtpSession.h"

#include <deque>

namespace kalvex {

class IUserMessages;
class IProgressDisplay;
class TEMail;
class TOAuthTokenProvider;

class TKeinEmpfaengerException : public EKalvex {
public:
    TKeinEmpfaengerException();
};

class TKeinAbsenderException : public EKalvex {
public:
    TKeinAbsenderException();
};

// The protocol's events as message boxes, in the module's own wording.
class TSmtpEventMessages : public ISmtpEvents {
public:
    explicit TSmtpEventMessages(IUserMessages& messages) : FMessages(messages) {}
    // A run names refused recipients in its summary, not one box each.
    void QuietRecipients() { FQuietRecipients = true; }
    void TlsNotAvailable() override;
    void TlsHandshakeFailed() override;
    void StartTlsFailed() override;
    void RecipientRefused(const QString& address) override;

private:
    IUserMessages& FMessages;
    bool FQuietRecipients = false;
};

// The one place that words a failed send for the user. A refusal by the
// server keeps the module's text and adds the server's reply line.
QString SmtpFailureMessage(const std::exception& error);

class TEMailVersand : public ISmtpSender {
public:
    // messages and progress may be null (no window); they must outlive the object.
    explicit TEMailVersand(IUserMessages* messages = nullptr, IProgressDisplay* progress = nullptr);
    ~TEMailVersand() override;

    void Setup(const QString& host, const QString& user, bool encrypted, uint16_t port,
               const QString& password) override;
    // A mail the server took for some recipients and refused for others
    // counts as sent; LastDelivery names the others.
    bool SendMail(TEMail& mail) override;
    TDeliveryReport LastDelivery() const override { return FDelivery; }
    void KeepConnection() override;
    // A kept sender hands the built mail to its session ahead; SendMail of
    // the same object then sends that one.
    void QueueNext(TEMail& mail) override;
    void Close() override;
    // Connections made so far by the kept session.
    int Connections() const;

    // Time-outs and certificate checking; Setup fills the rest.
    TSmtpSettings& Settings() { return FSettings; }
    const QByteArray& LastMechanism() const { return FLastMechanism; }
    // An OAuth account signs in with a token instead of the password; the
    // provider must outlive the object.
    void SetTokenProvider(TOAuthTokenProvider* tokens) { FTokens = tokens; }

private:
    void validate(const TEMail& mail) const;
    void send(const TMimeMessage* message);
    bool takeQueued(const TEMail& mail);
    [[noreturn]] void throwFailure(const std::exception& e) const;
    void takeDelivery(const std::exception* failure);
    TSmtpSession& session();

    TSmtpSettings FSettings;
    bool FKeep = false;
    std::unique_ptr<TSmtpSession> FSession;
    std::unique_ptr<TSmtpEventMessages> FEvents;
    IProgressDisplay* FProgress;
    TOAuthTokenProvider* FTokens = nullptr;
    QByteArray FLastMechanism;
    TDeliveryReport FDelivery;
    bool FRunStarted = false;
    std::deque<const TEMail*> FQueued;   // mails handed to QueueNext, in the session's order
};

}  // namespace kalvex
