#pragma once
// One SMTP exchange over QSslSocket as an explicit state machine:
// greeting, EHLO, STARTTLS, EHLO again, AUTH, MAIL, RCPT, DATA, QUIT. The
// caller blocks in Run() while a local event loop drives the socket, so the
// windows keep repainting; one thread only. A server that refuses
// recipients with 452 (too many) gets the rest in further transactions on
// the same connection; a recipient refused otherwise is left out and the
// others still get the mail (Delivery says what became of each).
//
// A session kept open (KeepOpen) serves a run of mails on one connection:
// after a mail it rests, the next mail starts with MAIL at once, and a server
// that answers it with 421 (its limit per connection) or hung up meanwhile
// gets the mail on a new connection. New TLS connections offer the last session ticket, so
// the server can resume instead of a full handshake. With PIPELINING the
// commands up to DATA of a mail to one recipient go in one write, and a
// mail queued for later (Queue) has them written right behind the final "."
// of the mail before it (RFC 2920 3.1): the replies are then taken in
// order, the one to that "." first, and the queued mail's replies wait for
// its own Run.

#include "mailinterface/MailAddress.h"
#include "send/DataBody.h"
#include "send/MimeBuilder.h"
#include "send/SaslOAuth.h"
#include "send/SmtpReply.h"

#include "config/KalvexError.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QPair>
#include <QSslSocket>
#include <QStringList>
#include <QTimer>
#include <deque>
#include <exception>
#include <memory>

class QEventLoop;

namespace kalvex {

class IAccessTokenProvider;
class IProgressDisplay;
class TSaslMechanism;

enum class TSmtpTls { None, Implicit, StartTls };

struct TSmtpSettings {
    QString host;
    uint16_t port = 25;
    TSmtpTls tls = TSmtpTls::None;
    bool verifyCertificate = false;
    QString user;
    QString password;
    QString heloName = QStringLiteral("kalvex.localdomain");
    int connectTimeoutMs = 30000;
    int replyTimeoutMs = 60000;
    int dataEndTimeoutMs = 600000;   // a server may scan a large mail for a while
    int quitTimeoutMs = 1000;        // the answer to QUIT changes nothing
};

// The questions the protocol raises on the way; the windows answer with
// message boxes.
class ISmtpEvents {
public:
    virtual ~ISmtpEvents() = default;
    virtual void TlsNotAvailable() = 0;
    virtual void TlsHandshakeFailed() = 0;
    virtual void StartTlsFailed() = 0;
    virtual void RecipientRefused(const QString& address) = 0;
};

// The failures of the exchange, so that one place can word them.
// A negative reply: the message is the server's reply, sanitised.
class ESmtpReply : public EKalvex {
public:
    explicit ESmtpReply(const TSmtpReply& reply) : EKalvex(reply.Sanitized()), FCode(reply.code) {}
    int Code() const { return FCode; }

private:
    int FCode;
};
// The server broke the protocol; the message is the German text for the user.
class ESmtpProtocol : public EKalvex {
    using EKalvex::EKalvex;
};
class ESmtpNoCommonSasl : public EKalvex {
    using EKalvex::EKalvex;
};
class ESmtpTls : public EKalvex {
    using EKalvex::EKalvex;
};
// The server refused the OAuth token, also after one refresh; the message
// is the server's reply, the challenge says why.
class ESmtpOAuthRefused : public EKalvex {
public:
    ESmtpOAuthRefused(const TSmtpReply& reply, std::optional<TOAuthChallenge> refusal)
        : EKalvex(reply.Sanitized()), FRefusal(std::move(refusal)) {}
    const std::optional<TOAuthChallenge>& Refusal() const { return FRefusal; }

private:
    std::optional<TOAuthChallenge> FRefusal;
};
class ESmtpTimeout : public EKalvex {
    using EKalvex::EKalvex;
};
class ESmtpCancelled : public EKalvex {
    using EKalvex::EKalvex;
};
// The line broke or could not be made.
class ESmtpConnection : public EKalvex {
    using EKalvex::EKalvex;
};

// Whether the same mail may succeed when tried again later: a 4xx reply, a
// lost line, a silent server. Not when the end of the data went out and its
// answer never came: the server may have taken the mail.
bool IsTemporarySmtpFailure(const std::exception& error, bool endOfDataUnanswered);

struct TSmtpEnvelope {
    TMailbox from;
    std::vector<TMailbox> recipients;   // To, Cc and Bcc
};

// What became of each recipient of the last Run. A mail to several
// recipients may reach some while the server refuses others; a refused
// one does not stop the rest.
struct TSmtpDelivery {
    QStringList delivered;                    // their transaction's end of data got its 250
    QList<QPair<QString, QString>> refused;   // address and the server's reply to its RCPT
    QStringList unanswered;                   // their end of data went out, its answer never came
    QStringList untried;                      // the exchange ended before their mail went out
};

class TSmtpSession : public QObject {
    Q_OBJECT

public:
    enum class State { Idle, Connecting, Greeting, Ehlo, Helo, StartTls, TlsHandshake, EhloAgain, Auth, AuthCancel, AuthToken, MailFrom,
                       RcptTo, Data, Body, DataEnd, Quit, Done, Ready,
                       Ahead };   // resting, with the next mail's MAIL, RCPT and DATA on their way

    // events and progress may be null; they must outlive the session.
    TSmtpSession(TSmtpSettings settings, ISmtpEvents* events, IProgressDisplay* progress);
    ~TSmtpSession() override;

    // With a token provider the session signs in with OAUTHBEARER or
    // XOAUTH2 instead of a password; it must outlive the session.
    void SetTokenProvider(IAccessTokenProvider* tokens) { FTokens = tokens; }
    // Runs the whole exchange; raises the failure as one of the classes above.
    void Run(const TSmtpEnvelope& envelope, std::vector<TMimeSegment> message);
    // A kept session: the mail a later RunQueued sends. Its commands may go
    // out behind the end of the running mail; a Run of another mail in
    // between voids them (the connection is given up, as the server may
    // have taken DATA), the queued mail itself stays queued.
    void Queue(const TSmtpEnvelope& envelope, std::vector<TMimeSegment> message);
    // Runs the first queued mail, where its commands went ahead from there.
    void RunQueued();
    bool HasQueued() const { return !FQueue.empty(); }
    void DropQueue();
    // After a mail the connection rests for the next Run instead of QUIT.
    void KeepOpen(bool on) { FKeepOpen = on; }
    // Says QUIT on a resting connection and closes it.
    void Close();
    // The last Run failed after the end of its data went out, unanswered.
    bool EndOfDataUnanswered() const { return FEndOfDataSent; }
    // The last Run failed before the server greeted: no connection, or a
    // server that accepted it and stayed silent.
    bool ServerUnreachable() const { return FUnreachable; }
    // Per recipient, complete once Run has returned or raised.
    const TSmtpDelivery& Delivery() const { return FDelivery; }
    int Connections() const { return FConnections; }
    State CurrentState() const { return FState; }
    const QByteArray& ChosenMechanism() const { return FMechanismName; }

private:
    using Reply = TSmtpReply;

    void connectSocket();
    void useTlsSession();
    void keepTlsSession();
    void dropSocket();
    void runLoop();
    void finishRun();
    bool restingEvent();
    void rest();
    void restAhead();
    bool aheadLinkGone();
    bool restedLinkGone() const;
    void start(const TSmtpEnvelope& envelope, std::vector<TMimeSegment> message);
    void startMail();
    bool canSendAhead() const;
    void sendAhead();
    QList<QByteArray> pipelinedGroup(const TSmtpEnvelope& envelope, qint64 size, bool smtpUtf8) const;
    void endBeforeAhead(const Reply& r);
    void onConnected();
    void onEncrypted();
    void onReadyRead();
    void takeReplies();
    void onSocketError(QAbstractSocket::SocketError error);
    void onSslErrors(const QList<QSslError>& errors);
    void onDisconnected();
    void onTimeout();
    void onReply(const Reply& reply);

    void handleGreeting(const Reply& r);
    void handleEhlo(const Reply& r, bool again);
    void handleHelo(const Reply& r);
    void handleStartTls(const Reply& r);
    void handleAuth(const Reply& r);
    void handleMailFrom(const Reply& r);
    void handleRcptTo(const Reply& r);
    void handleData(const Reply& r);
    void handleDataEnd(const Reply& r);

    void sendCommand(const QByteArray& line, State next, int timeoutMs = -1);
    void armTimer(int ms);
    void sendEhlo(State next);
    void readCapabilities(const Reply& r);
    void afterEhlo();
    void startAuthOrMail();
    bool refuseBeforeMail();
    QString mailRefusal();
    QString mailRefusal(const TSmtpEnvelope& envelope, qint64 size, bool& smtpUtf8) const;
    QByteArray mailFromCommand() const;
    QByteArray mailFromCommand(const TSmtpEnvelope& envelope, qint64 size, bool smtpUtf8) const;
    void startOnRestingConnection();
    void startTransaction();
    void startAuth(TSaslMechanism* mechanism);
    void answerChallenge(const Reply& r);
    void cancelAuthOrFail();
    void handleAuthCancel(const Reply& r);
    void startOAuth();
    void handleOAuthRefusal(const Reply& r);
    void refreshToken();
    void sendMailFrom();
    QByteArray envelopeAddress(const TMailbox& mailbox) const;
    static QByteArray envelopeAddress(const TMailbox& mailbox, bool smtpUtf8);
    void sendNextRecipient();
    void refuseRecipient(const Reply& r);
    void settleDelivery();
    void sendQuit();
    void pumpBody();
    // Ends with a QUIT where the protocol allows one (a refusal, a cancel).
    void fail(std::exception_ptr error);
    template <class E>
    void failWith(const QString& message) { fail(std::make_exception_ptr(E(message))); }
    void failReply(const Reply& r) { fail(std::make_exception_ptr(ESmtpReply(r))); }
    // Ends at once: the line is dead or cannot be trusted any more.
    void abortWith(std::exception_ptr error);
    template <class E>
    void abortWith(const QString& message) { abortWith(std::make_exception_ptr(E(message))); }
    bool atCommandBoundary() const;
    void leave();
    void reportTlsFailure();
    void step(const QString& text);

    TSmtpSettings FSettings;
    ISmtpEvents* FEvents;
    IProgressDisplay* FProgress;
    std::unique_ptr<QSslSocket> FSocket;
    QTimer FTimer;
    QTimer FCancelPoll;
    QEventLoop* FLoop = nullptr;
    std::exception_ptr FAuthError;   // why the last challenge could not be answered
    State FState = State::Idle;
    int FTimeoutMs = 0;   // what the running timer was set to, for the message
    TSmtpReplyParser FParser;
    std::exception_ptr FError;
    bool FKeepOpen = false;
    bool FEndOfDataSent = false;   // the final "." went out and its reply has not come
    bool FUnreachable = false;     // the last failure came while connecting
    bool FOnRestedLink = false;    // the first MAIL on a kept link: its reply tells whether the link still stands
    int FConnections = 0;
    QByteArray FTlsSession;        // the server's last session ticket
    QList<QByteArray> FPipelined;  // commands sent ahead, not yet taken by the state machine
    bool FTlsFailureShown = false;
    TSmtpEnvelope FEnvelope;
    size_t FTransactionStart = 0;   // the first recipient of the running transaction
    size_t FNextRecipient = 0;
    std::vector<size_t> FAccepted;     // recipients the running transaction accepted
    Reply FLastRefusal;                // the last RCPT refusal: the mail's failure when nobody took it
    TSmtpDelivery FDelivery;
    QList<QByteArray> FCapabilities;   // the keywords of the EHLO reply
    QList<QByteArray> FAuthMechanisms;
    qint64 FSizeLimit = 0;             // SIZE of the EHLO reply; 0 none
    bool FUseSmtpUtf8 = false;
    std::vector<std::unique_ptr<TSaslMechanism>> FMechanisms;
    TSaslMechanism* FMechanism = nullptr;
    QByteArray FMechanismName;
    int FAuthSteps = 0;                // challenges answered for the running mechanism
    IAccessTokenProvider* FTokens = nullptr;
    bool FTokenRefreshed = false;      // a refused token is refreshed once, not again and again
    qint64 FMessageSize = 0;           // octets of the message as SIZE counts them
    TDataBody FBody;   // the message as it streams out
    struct TQueuedMail {
        TSmtpEnvelope envelope;
        std::vector<TMimeSegment> message;
    };
    std::deque<TQueuedMail> FQueue;   // mails a later RunQueued sends, in order
    bool FAheadSent = false;          // the first queued mail's commands are on this connection
};

// Wraps the chosen TLS mode from the port rule: 587 needs STARTTLS, every
// other port with encryption speaks TLS from the first byte.
TSmtpTls TlsModeFor(bool encrypted, uint16_t port);

}  // namespace kalvex
