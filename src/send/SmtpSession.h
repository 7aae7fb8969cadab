#pragma once
// One SMTP exchange over QSslSocket as an explicit state machine:
// greeting, EHLO, STARTTLS, EHLO again, AUTH, MAIL, RCPT, DATA, QUIT. The
// caller blocks in Run() while a local event loop drives the socket, so the
// windows keep repainting; one thread only.

#include "send/MimeBuilder.h"

#include "config/KalvexError.h"

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QObject>
#include <QSslSocket>
#include <QStringList>
#include <QTimer>
#include <exception>
#include <memory>

class QEventLoop;

namespace kalvex {

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
class ESmtpReply : public EKalvex {
public:
    ESmtpReply(int code, const QString& text) : EKalvex(QStringLiteral("%1 %2").arg(code).arg(text)), FCode(code) {}
    explicit ESmtpReply(const QString& message) : EKalvex(message), FCode(0) {}
    int Code() const { return FCode; }

private:
    int FCode;
};
class ESmtpNoCommonSasl : public EKalvex {
    using EKalvex::EKalvex;
};
class ESmtpTls : public EKalvex {
    using EKalvex::EKalvex;
};
class ESmtpTimeout : public EKalvex {
    using EKalvex::EKalvex;
};
class ESmtpCancelled : public EKalvex {
    using EKalvex::EKalvex;
};

struct TSmtpEnvelope {
    QString from;
    QStringList recipients;   // To, Cc and Bcc
};

class TSmtpSession : public QObject {
    Q_OBJECT

public:
    enum class State { Idle, Connecting, Greeting, Ehlo, Helo, StartTls, TlsHandshake, EhloAgain, Auth, MailFrom, RcptTo,
                       Data, Body, DataEnd, Quit, Done };

    // events and progress may be null; they must outlive the session.
    TSmtpSession(TSmtpSettings settings, ISmtpEvents* events, IProgressDisplay* progress);
    ~TSmtpSession() override;

    // Runs the whole exchange; raises the failure as one of the classes above.
    void Run(const TSmtpEnvelope& envelope, std::vector<TMimeSegment> message);
    State CurrentState() const { return FState; }
    const QByteArray& ChosenMechanism() const { return FMechanismName; }

private:
    struct Reply {
        int code = 0;
        QStringList lines;
    };

    void onConnected();
    void onEncrypted();
    void onReadyRead();
    void onSocketError(QAbstractSocket::SocketError error);
    void onDisconnected();
    void onTimeout();
    void onReply(const Reply& reply);
    bool takeReply(Reply& reply);

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
    void sendEhlo(State next);
    void afterEhlo();
    void startAuthOrMail();
    void sendNextRecipient();
    void pumpBody();
    QByteArray nextBodyChunk();
    void fail(std::exception_ptr error);
    template <class E>
    void failWith(const QString& message) { fail(std::make_exception_ptr(E(message))); }
    void finish();
    void step(const QString& text);

    TSmtpSettings FSettings;
    ISmtpEvents* FEvents;
    IProgressDisplay* FProgress;
    std::unique_ptr<QSslSocket> FSocket;
    QTimer FTimer;
    QTimer FCancelPoll;
    QEventLoop* FLoop = nullptr;
    State FState = State::Idle;
    QByteArray FBuffer;
    Reply FPending;
    std::exception_ptr FError;
    TSmtpEnvelope FEnvelope;
    int FNextRecipient = 0;
    QList<QByteArray> FCapabilities;
    QList<QByteArray> FAuthMechanisms;
    std::vector<std::unique_ptr<TSaslMechanism>> FMechanisms;
    TSaslMechanism* FMechanism = nullptr;
    QByteArray FMechanismName;
    // The body as it streams out.
    std::vector<TMimeSegment> FMessage;
    size_t FSegment = 0;
    qint64 FSegmentOffset = 0;
    std::unique_ptr<QFile> FFile;
    bool FAtLineStart = true;
    bool FChunkEncoded = false;   // the last chunk was base64 lines: no "." can start one
    qint64 FBodySent = 0;
    qint64 FBodyTotal = 0;
};

// Wraps the chosen TLS mode from the port rule: 587 needs STARTTLS, every
// other port with encryption speaks TLS from the first byte.
TSmtpTls TlsModeFor(bool encrypted, uint16_t port);

}  // namespace kalvex
