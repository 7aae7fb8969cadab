#include "send/SmtpSession.h"

#include "config/LanguageUnit.h"
#include "config/ProgressDisplay.h"
#include "send/SaslMechanisms.h"
#include "send/SaslOAuth.h"

#include <QEventLoop>
#include <QPointer>
#include <QSslConfiguration>

#include <algorithm>
#include <cstring>
#include <utility>

namespace kalvex {

namespace {

constexpr qint64 kHighWater = 1 << 20;   // bytes queued in the socket before we wait

}  // namespace

bool IsTemporarySmtpFailure(const std::exception& error, bool endOfDataUnanswered)
{
    if (const auto* reply = dynamic_cast<const ESmtpReply*>(&error))
        return reply->Code() / 100 == 4;
    if (endOfDataUnanswered)
        return false;
    return dynamic_cast<const ESmtpConnection*>(&error) || dynamic_cast<const ESmtpTimeout*>(&error);
}

TSmtpTls TlsModeFor(bool encrypted, uint16_t port)
{
    if (!encrypted)
        return TSmtpTls::None;
    return port == 587 ? TSmtpTls::StartTls : TSmtpTls::Implicit;
}

TSmtpSession::TSmtpSession(TSmtpSettings settings, ISmtpEvents* events, IProgressDisplay* progress)
    : FSettings(std::move(settings)), FEvents(events), FProgress(progress)
{
    FTimer.setSingleShot(true);
    connect(&FTimer, &QTimer::timeout, this, &TSmtpSession::onTimeout);
    FCancelPoll.setInterval(100);
    connect(&FCancelPoll, &QTimer::timeout, this, [this] {
        if (FProgress && FProgress->Cancelled())
            failWith<ESmtpCancelled>(Tx(1002, "Der Versand wurde abgebrochen."));
    });
}

TSmtpSession::~TSmtpSession()
{
    if (FSocket)
        FSocket->disconnect(this);
}

void TSmtpSession::Run(const TSmtpEnvelope& envelope, std::vector<TMimeSegment> message)
{
    aheadLinkGone();   // the server may say 354 to the DATA sent ahead: only a new line is safe
    start(envelope, std::move(message));
}

void TSmtpSession::Queue(const TSmtpEnvelope& envelope, std::vector<TMimeSegment> message)
{
    FQueue.push_back({envelope, std::move(message)});
}

void TSmtpSession::RunQueued()
{
    TQueuedMail mail = std::move(FQueue.front());
    FQueue.pop_front();
    FAheadSent = false;   // commands sent ahead are now the running mail's own
    start(mail.envelope, std::move(mail.message));
}

void TSmtpSession::DropQueue()
{
    FQueue.clear();
    aheadLinkGone();
}

void TSmtpSession::start(const TSmtpEnvelope& envelope, std::vector<TMimeSegment> message)
{
    FEnvelope = envelope;
    FMessageSize = EncodedMessageSize(message);
    FBody = TDataBody(std::move(message));
    FError = nullptr;
    FEndOfDataSent = false;
    FUnreachable = false;
    FTransactionStart = 0;
    FAccepted.clear();
    FDelivery = TSmtpDelivery();
    startMail();
    runLoop();
    finishRun();
}

// On a connection where this mail's commands went ahead, its replies may
// already wait in the parser: they are taken now, in order.
void TSmtpSession::startMail()
{
    if (FState == State::Ahead) {
        FCancelPoll.start();
        FOnRestedLink = true;
        if (refuseBeforeMail())
            return;
        sendMailFrom();
        return takeReplies();
    }
    if (FState == State::Ready) {
        FCancelPoll.start();
        return startOnRestingConnection();
    }
    connectSocket();
}

// All events: the progress display's cancel button must work while the
// server is silent; the display itself holds back input to other windows.
void TSmtpSession::runLoop()
{
    QEventLoop loop;
    FLoop = &loop;
    if (FState != State::Done && FState != State::Ready && FState != State::Ahead)
        loop.exec();
    FLoop = nullptr;
    FTimer.stop();
    FCancelPoll.stop();
}

// A resting connection stays; anything else is closed.
void TSmtpSession::finishRun()
{
    if (FState != State::Ready && FState != State::Ahead)
        dropSocket();
    settleDelivery();
    if (FError)
        std::rethrow_exception(FError);
}

// Every recipient not delivered and not refused: waiting for an answer
// that never came, or never reached by the mail.
void TSmtpSession::settleDelivery()
{
    for (size_t i = 0; i < FEnvelope.recipients.size(); ++i) {
        const QString address = FEnvelope.recipients[i].Address();
        const bool refused = std::any_of(FDelivery.refused.begin(), FDelivery.refused.end(),
                                         [&](const auto& r) { return r.first == address; });
        if (FDelivery.delivered.contains(address) || refused)
            continue;
        const bool inFlight = std::find(FAccepted.begin(), FAccepted.end(), i) != FAccepted.end();
        (FEndOfDataSent && inFlight ? FDelivery.unanswered : FDelivery.untried) << address;
    }
}

// A connection with commands sent ahead is dropped, not QUIT: the server
// may take QUIT as message text after its 354, and without the final "."
// the queued mail is not delivered.
void TSmtpSession::Close()
{
    FQueue.clear();
    if (FState == State::Ready) {
        sendQuit();
        runLoop();
    }
    dropSocket();
    FState = State::Done;
}

// The socket may be the one whose signal is being handled: it goes later.
void TSmtpSession::dropSocket()
{
    FAheadSent = false;
    if (!FSocket)
        return;
    FSocket->disconnect(this);
    FSocket->abort();
    FSocket.release()->deleteLater();
}

// Between two mails of a run the server may hang up or speak (a 421 before
// it hangs up): the connection is simply gone, the next mail makes a new one.
bool TSmtpSession::restingEvent()
{
    if (FState != State::Ready)
        return false;
    dropSocket();
    FState = State::Done;
    return true;
}

// The link is gone, or given up, while commands of the next mail were on
// their way: that mail never got its data, so its Run sends it on a new
// connection.
bool TSmtpSession::aheadLinkGone()
{
    if (FState != State::Ahead)
        return false;
    dropSocket();
    FState = State::Done;
    return true;
}

// The mail's outcome is known; the replies to the commands sent ahead stay
// in the parser for the next mail's Run.
void TSmtpSession::restAhead()
{
    FState = State::Ahead;
    FTimer.stop();
    if (FLoop)
        FLoop->quit();
}

void TSmtpSession::rest()
{
    FState = State::Ready;
    FTimer.stop();
    if (FLoop)
        FLoop->quit();
}

void TSmtpSession::connectSocket()
{
    dropSocket();
    FPipelined.clear();
    FOnRestedLink = false;
    FParser = TSmtpReplyParser();
    ++FConnections;
    FSocket = std::make_unique<QSslSocket>();
    if (!FSettings.verifyCertificate)
        FSocket->setPeerVerifyMode(QSslSocket::VerifyNone);
    if (FSettings.tls != TSmtpTls::None)
        useTlsSession();
    connect(FSocket.get(), &QSslSocket::connected, this, &TSmtpSession::onConnected);
    connect(FSocket.get(), &QSslSocket::encrypted, this, &TSmtpSession::onEncrypted);
    connect(FSocket.get(), &QSslSocket::readyRead, this, &TSmtpSession::onReadyRead);
    connect(FSocket.get(), &QSslSocket::errorOccurred, this, &TSmtpSession::onSocketError);
    connect(FSocket.get(), &QSslSocket::disconnected, this, &TSmtpSession::onDisconnected);
    connect(FSocket.get(), &QSslSocket::sslErrors, this, &TSmtpSession::onSslErrors);
    connect(FSocket.get(), &QSslSocket::bytesWritten, this, [this] {
        if (FState == State::Body)
            pumpBody();
    });
    FState = State::Connecting;
    step(Tx(1003, "Verbindung zu %1 wird aufgebaut ...").arg(FSettings.host));
    armTimer(FSettings.connectTimeoutMs);
    FCancelPoll.start();
    if (FSettings.tls == TSmtpTls::Implicit)
        FSocket->connectToHostEncrypted(FSettings.host, FSettings.port);
    else
        FSocket->connectToHost(FSettings.host, FSettings.port);
}

// Session persistence on, and the last ticket offered: a server that knows
// it resumes the session instead of a full handshake.
void TSmtpSession::useTlsSession()
{
    QSslConfiguration tls = FSocket->sslConfiguration();
    tls.setSslOption(QSsl::SslOptionDisableSessionPersistence, false);
    if (!FTlsSession.isEmpty())
        tls.setSessionTicket(FTlsSession);
    FSocket->setSslConfiguration(tls);
    connect(FSocket.get(), &QSslSocket::newSessionTicketReceived, this, &TSmtpSession::keepTlsSession);
}

void TSmtpSession::keepTlsSession()
{
    const QByteArray ticket = FSocket->sslConfiguration().sessionTicket();
    if (!ticket.isEmpty())
        FTlsSession = ticket;
}

void TSmtpSession::step(const QString& text)
{
    if (FProgress)
        FProgress->Step(text, FBody.Produced());
}

void TSmtpSession::fail(std::exception_ptr error)
{
    if (FError || FState == State::Quit || FState == State::Done)
        return;
    FError = error;
    if (atCommandBoundary())
        return sendQuit();
    leave();
}

void TSmtpSession::abortWith(std::exception_ptr error)
{
    if (FError || FState == State::Quit || FState == State::Done)
        return;
    FError = error;
    FUnreachable = FState == State::Connecting;
    leave();
}

// Between commands a QUIT is understood; during the handshake or inside
// the data it would not be.
bool TSmtpSession::atCommandBoundary() const
{
    switch (FState) {
    case State::Greeting: case State::Ehlo: case State::Helo: case State::StartTls: case State::EhloAgain:
    case State::Auth: case State::AuthCancel: case State::AuthToken: case State::MailFrom: case State::RcptTo: case State::Data:
    case State::DataEnd:
        return FSocket && FSocket->state() == QAbstractSocket::ConnectedState;
    default:
        return false;
    }
}

void TSmtpSession::leave()
{
    FState = State::Done;
    FTimer.stop();
    if (FLoop)
        FLoop->quit();
}

void TSmtpSession::reportTlsFailure()
{
    if (FEvents && !FTlsFailureShown)
        FEvents->TlsHandshakeFailed();
    FTlsFailureShown = true;
}

void TSmtpSession::onConnected()
{
    FSocket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    if (FSettings.tls == TSmtpTls::Implicit)
        return;   // the greeting comes after the handshake
    FState = State::Greeting;
    armTimer(FSettings.replyTimeoutMs);
}

void TSmtpSession::onEncrypted()
{
    keepTlsSession();
    if (FState == State::Connecting) {
        FState = State::Greeting;
        armTimer(FSettings.replyTimeoutMs);
    } else if (FState == State::TlsHandshake) {
        sendEhlo(State::EhloAgain);
    }
}

void TSmtpSession::onSslErrors(const QList<QSslError>& errors)
{
    if (!FSettings.verifyCertificate) {
        FSocket->ignoreSslErrors();
        return;
    }
    reportTlsFailure();
    abortWith<ESmtpTls>(errors.isEmpty() ? QStringLiteral("TLS") : errors.first().errorString());
}

void TSmtpSession::onSocketError(QAbstractSocket::SocketError error)
{
    if (FState == State::Quit)
        return leave();
    if (FState == State::Done || restingEvent() || aheadLinkGone())
        return;
    if (restedLinkGone() && error == QAbstractSocket::RemoteHostClosedError)
        return connectSocket();
    if (error == QAbstractSocket::SslHandshakeFailedError || error == QAbstractSocket::SslInternalError
        || error == QAbstractSocket::SslInvalidUserDataError) {
        reportTlsFailure();
        return abortWith<ESmtpTls>(FSocket->errorString());
    }
    if (error == QAbstractSocket::RemoteHostClosedError)
        return onDisconnected();
    abortWith<ESmtpConnection>(FState == State::Connecting
                           ? Tx(1004, "Der SMTP-Server %1:%2 ist nicht erreichbar: %3").arg(FSettings.host).arg(FSettings.port).arg(FSocket->errorString())
                           : Tx(1005, "Die Verbindung zum SMTP-Server ist gestört: %1").arg(FSocket->errorString()));
}

void TSmtpSession::onDisconnected()
{
    if (FState == State::Quit)
        return leave();
    if (restingEvent() || aheadLinkGone())
        return;
    if (restedLinkGone())
        return connectSocket();
    abortWith<ESmtpConnection>(Tx(1006, "Der SMTP-Server hat die Verbindung unerwartet beendet."));
}

// A server that takes the connection and never greets is as good as none:
// the next mails would wait just as long.
void TSmtpSession::onTimeout()
{
    if (FState == State::Quit)
        return leave();
    const bool beforeGreeting = FState == State::Connecting || FState == State::Greeting;
    abortWith<ESmtpTimeout>(Tx(1007, "Der SMTP-Server %1 hat nicht innerhalb von %2 Sekunden geantwortet.")
                                .arg(FSettings.host).arg(FTimeoutMs / 1000.0));
    FUnreachable = FUnreachable || beforeGreeting;
}

void TSmtpSession::onReadyRead()
{
    constexpr qint64 kReadChunk = 64 * 1024;
    while (FState != State::Done && FSocket->bytesAvailable() > 0) {
        FParser.Feed(FSocket->read(kReadChunk));
        takeReplies();
    }
}

void TSmtpSession::takeReplies()
{
    Reply reply;
    while (FState != State::Done && FState != State::Ahead) {
        switch (FParser.Next(reply)) {
        case TSmtpReplyParser::Result::NeedMore:
            return;
        case TSmtpReplyParser::Result::Reply:
            onReply(reply);
            break;
        case TSmtpReplyParser::Result::Malformed:
            return abortWith<ESmtpProtocol>(Tx(1008, "Unverständliche Antwort des SMTP-Servers: %1")
                                                .arg(SanitizedServerText(QString::fromUtf8(FParser.BadLine()))));
        case TSmtpReplyParser::Result::TooLarge:
            return abortWith<ESmtpProtocol>(Tx(1009, "Der SMTP-Server sendet eine übergroße Antwort."));
        }
    }
}

void TSmtpSession::onReply(const Reply& r)
{
    FTimer.stop();
    if (restingEvent())
        return;
    if (FState == State::DataEnd)
        FEndOfDataSent = false;
    switch (FState) {
    case State::Greeting: return handleGreeting(r);
    case State::Ehlo: return handleEhlo(r, false);
    case State::EhloAgain: return handleEhlo(r, true);
    case State::Helo: return handleHelo(r);
    case State::StartTls: return handleStartTls(r);
    case State::Auth: return handleAuth(r);
    case State::AuthCancel: return handleAuthCancel(r);
    case State::MailFrom: return handleMailFrom(r);
    case State::RcptTo: return handleRcptTo(r);
    case State::Data: return handleData(r);
    case State::DataEnd: return handleDataEnd(r);
    case State::Quit: return leave();
    default:
        // Nothing is expected now (for example while the body streams).
        abortWith<ESmtpProtocol>(Tx(1010, "Unerwartete Antwort des SMTP-Servers: %1 %2")
                                     .arg(r.code).arg(SanitizedServerText(r.lines.join(QLatin1Char(' ')))));
    }
}

void TSmtpSession::armTimer(int ms)
{
    FTimeoutMs = ms;
    FTimer.start(ms);
}

void TSmtpSession::sendCommand(const QByteArray& line, State next, int timeoutMs)
{
    FState = next;
    if (!FPipelined.isEmpty() && FPipelined.front() == line) {
        FPipelined.pop_front();   // already on its way
    } else {
        FPipelined.clear();       // the exchange went another way (a refusal, QUIT)
        FSocket->write(line + "\r\n");
    }
    armTimer(timeoutMs < 0 ? FSettings.replyTimeoutMs : timeoutMs);
}

void TSmtpSession::sendQuit()
{
    sendCommand("QUIT", State::Quit, FSettings.quitTimeoutMs);
}

void TSmtpSession::sendEhlo(State next)
{
    sendCommand("EHLO " + FSettings.heloName.toLatin1(), next);
}

void TSmtpSession::handleGreeting(const Reply& r)
{
    if (r.code != 220)
        return failReply(r);
    step(Tx(1011, "Anmeldung am SMTP-Server ..."));
    sendEhlo(State::Ehlo);
}

void TSmtpSession::handleEhlo(const Reply& r, bool again)
{
    if (r.code != 250) {
        if (!again)
            return sendCommand("HELO " + FSettings.heloName.toLatin1(), State::Helo);
        return failReply(r);
    }
    readCapabilities(r);
    afterEhlo();
}

// Keywords, AUTH mechanisms (also the old "AUTH=" form) and the SIZE limit.
void TSmtpSession::readCapabilities(const Reply& r)
{
    FCapabilities.clear();
    FAuthMechanisms.clear();
    FSizeLimit = 0;
    for (const QString& line : r.lines.mid(1)) {
        QList<QByteArray> words = line.toLatin1().toUpper().simplified().split(' ');
        if (words.first().startsWith("AUTH="))
            words.insert(1, words.first().mid(5));
        const QByteArray keyword = words.first().startsWith("AUTH=") ? QByteArray("AUTH") : words.first();
        FCapabilities << keyword;
        if (keyword == "AUTH")
            for (const QByteArray& m : words.mid(1))
                if (!m.isEmpty() && !FAuthMechanisms.contains(m))
                    FAuthMechanisms << m;
        if (keyword == "SIZE")
            FSizeLimit = std::max<qint64>(0, words.value(1).toLongLong());
    }
}

void TSmtpSession::handleHelo(const Reply& r)
{
    if (r.code != 250)
        return failReply(r);
    FCapabilities.clear();
    FAuthMechanisms.clear();
    FSizeLimit = 0;
    afterEhlo();
}

void TSmtpSession::afterEhlo()
{
    if (FSettings.tls == TSmtpTls::StartTls && !FSocket->isEncrypted()) {
        if (!FCapabilities.contains("STARTTLS")) {
            if (FEvents)
                FEvents->TlsNotAvailable();
            return failWith<ESmtpTls>(QStringLiteral("kein TLS verfügbar"));
        }
        return sendCommand("STARTTLS", State::StartTls);
    }
    startAuthOrMail();
}

void TSmtpSession::handleStartTls(const Reply& r)
{
    if (r.code != 220) {
        if (FEvents)
            FEvents->StartTlsFailed();
        return failWith<ESmtpTls>(QStringLiteral("TLSNegCmd Failed: %1").arg(r.Sanitized()));
    }
    FState = State::TlsHandshake;
    armTimer(FSettings.connectTimeoutMs);
    FSocket->startClientEncryption();
}

// What the EHLO reply rules out is refused before the password goes out.
void TSmtpSession::startAuthOrMail()
{
    if (refuseBeforeMail())
        return;
    if (FTokens)
        return startOAuth();
    if (FSettings.user.isEmpty() || FSettings.password.isEmpty())   // no AUTH without both
        return startTransaction();
    FMechanisms = CreateSaslMechanisms({FSettings.user, FSettings.password});
    TSaslMechanism* mechanism = ChooseSaslMechanism(FMechanisms, FAuthMechanisms);
    if (!mechanism)
        return failWith<ESmtpNoCommonSasl>(Tx(1012, "Der SMTP-Server bietet kein unterstütztes SASL-Verfahren an (%1).")
                                               .arg(QString::fromLatin1(FAuthMechanisms.join(' '))));
    startAuth(mechanism);
}

// A message over the server's SIZE, or a non-ASCII local part for a server
// without SMTPUTF8, cannot be delivered.
bool TSmtpSession::refuseBeforeMail()
{
    const QString refusal = mailRefusal();
    if (!refusal.isEmpty())
        failWith<EKalvex>(refusal);
    return !refusal.isEmpty();
}

QString TSmtpSession::mailRefusal()
{
    return mailRefusal(FEnvelope, FMessageSize, FUseSmtpUtf8);
}

// Why a mail cannot go to this server, or nothing; decides SMTPUTF8.
QString TSmtpSession::mailRefusal(const TSmtpEnvelope& envelope, qint64 size, bool& smtpUtf8) const
{
    if (FSizeLimit > 0 && size > FSizeLimit)
        return Tx(2600, "Die E-Mail ist %1 Bytes groß, der SMTP-Server nimmt aber höchstens %2 Bytes an.")
            .arg(size).arg(FSizeLimit);
    std::vector<TMailbox> all = envelope.recipients;
    all.insert(all.begin(), envelope.from);
    smtpUtf8 = FCapabilities.contains("SMTPUTF8")
            && std::any_of(all.begin(), all.end(), [](const TMailbox& m) { return !m.IsAscii(); });
    for (const TMailbox& m : all)
        if (!smtpUtf8 && !m.LocalPartIsAscii())
            return Tx(2601, "Die Adresse %1 enthält vor dem @ Zeichen außerhalb von ASCII. Der SMTP-Server "
                            "kann solche Adressen nicht annehmen (SMTPUTF8 fehlt).").arg(m.Address());
    return QString();
}

void TSmtpSession::startAuth(TSaslMechanism* mechanism)
{
    FMechanism = mechanism;
    FMechanismName = mechanism->Name();
    FAuthSteps = 0;
    QByteArray command = "AUTH " + FMechanismName;
    if (const auto initial = FMechanism->InitialResponse())
        command += ' ' + (initial->isEmpty() ? QByteArray("=") : initial->toBase64());
    sendCommand(command, State::Auth);
}

// A failed one-time password may just be out of sequence at the server:
// the next mechanism the server offers is tried.
void TSmtpSession::handleAuth(const Reply& r)
{
    if (r.code == 235)
        return startTransaction();
    if (r.code == 334)
        return answerChallenge(r);
    if (r.code == 535 && FTokens)
        return handleOAuthRefusal(r);
    if (r.code == 535 && FMechanism->IsOneTimePassword())
        if (TSaslMechanism* next = NextSaslMechanism(FMechanisms, FAuthMechanisms, FMechanism))
            return startAuth(next);
    failReply(r);
}

// Each mechanism needs a known number of challenges; a server that asks
// for more does not get the password again and again.
void TSmtpSession::answerChallenge(const Reply& r)
{
    if (++FAuthSteps > FMechanism->MaxChallenges())
        return failWith<ESmtpProtocol>(Tx(2602, "Der SMTP-Server verlangt für die Anmeldung (%1) mehr Schritte, als das Verfahren vorsieht.")
                                           .arg(QString::fromLatin1(FMechanismName)));
    const QByteArray challenge = QByteArray::fromBase64(r.lines.value(0).toLatin1());
    try {
        sendCommand(FMechanism->Respond(challenge).toBase64(), State::Auth);
    } catch (...) {
        FAuthError = std::current_exception();
        cancelAuthOrFail();
    }
}

// A one-time-password challenge we cannot answer (another hash, another
// format) ends that exchange with "*"; the next mechanism may still work.
void TSmtpSession::cancelAuthOrFail()
{
    if (FMechanism->IsOneTimePassword() && NextSaslMechanism(FMechanisms, FAuthMechanisms, FMechanism))
        return sendCommand("*", State::AuthCancel);
    fail(FAuthError);
}

void TSmtpSession::handleAuthCancel(const Reply&)
{
    startAuth(NextSaslMechanism(FMechanisms, FAuthMechanisms, FMechanism));
}

void TSmtpSession::startOAuth()
{
    FMechanisms = CreateOAuthMechanisms(FSettings.user, FTokens->AccessToken(), FSettings.host, FSettings.port);
    TSaslMechanism* mechanism = ChooseSaslMechanism(FMechanisms, FAuthMechanisms);
    if (!mechanism)
        return failWith<ESmtpNoCommonSasl>(Tx(1012, "Der SMTP-Server bietet kein unterstütztes SASL-Verfahren an (%1).")
                                               .arg(QString::fromLatin1(FAuthMechanisms.join(' '))));
    startAuth(mechanism);
}

// A token may be revoked or cut short before its time: one fresh token is
// tried before the refusal counts.
void TSmtpSession::handleOAuthRefusal(const Reply& r)
{
    if (!FTokenRefreshed) {
        FTokenRefreshed = true;
        return refreshToken();
    }
    const auto* mechanism = static_cast<const TOAuthMechanism*>(FMechanism);
    fail(std::make_exception_ptr(ESmtpOAuthRefused(r, mechanism->Refusal())));
}

// The server waits at the command boundary while the token endpoint answers.
void TSmtpSession::refreshToken()
{
    FState = State::AuthToken;
    step(Tx(3503, "Die Anmeldung wird erneuert ..."));
    QPointer<TSmtpSession> self(this);
    FTokens->Refresh([self](std::exception_ptr error) {
        if (!self || self->FState != State::AuthToken)
            return;
        self->FTimer.stop();
        if (error)
            return self->fail(error);
        self->startOAuth();
    });
}

// With SMTPUTF8 the addresses go as they are; otherwise the domains in
// their IDNA form (local parts are ASCII by then).
QByteArray TSmtpSession::envelopeAddress(const TMailbox& mailbox) const
{
    return envelopeAddress(mailbox, FUseSmtpUtf8);
}

QByteArray TSmtpSession::envelopeAddress(const TMailbox& mailbox, bool smtpUtf8)
{
    return smtpUtf8 ? mailbox.Address().toUtf8() : mailbox.AceAddress().toLatin1();
}

void TSmtpSession::sendMailFrom()
{
    sendCommand(mailFromCommand(), State::MailFrom);
}

QByteArray TSmtpSession::mailFromCommand() const
{
    return mailFromCommand(FEnvelope, FMessageSize, FUseSmtpUtf8);
}

QByteArray TSmtpSession::mailFromCommand(const TSmtpEnvelope& envelope, qint64 size, bool smtpUtf8) const
{
    QByteArray command = "MAIL FROM:<" + envelopeAddress(envelope.from, smtpUtf8) + ">";
    if (FCapabilities.contains("SIZE"))
        command += " SIZE=" + QByteArray::number(size);
    if (smtpUtf8)
        command += " SMTPUTF8";
    return command;
}

// MAIL, RCPT and DATA of a mail to one recipient: a group RFC 2920 lets
// end with DATA.
QList<QByteArray> TSmtpSession::pipelinedGroup(const TSmtpEnvelope& envelope, qint64 size, bool smtpUtf8) const
{
    return {mailFromCommand(envelope, size, smtpUtf8), "RCPT TO:<" + envelopeAddress(envelope.recipients[0], smtpUtf8) + ">",
            "DATA"};
}

// The first transaction of a mail to one recipient goes in one write where
// the server allows it; sendCommand then leaves out what is on its way.
void TSmtpSession::startTransaction()
{
    if (FCapabilities.contains("PIPELINING") && FEnvelope.recipients.size() == 1) {
        FPipelined = pipelinedGroup(FEnvelope, FMessageSize, FUseSmtpUtf8);
        FSocket->write(FPipelined.join("\r\n") + "\r\n");
    }
    sendMailFrom();
}

// Only behind the last transaction of the running mail, and only for a
// queued mail this server can take.
bool TSmtpSession::canSendAhead() const
{
    if (!FKeepOpen || FQueue.empty() || !FCapabilities.contains("PIPELINING"))
        return false;
    if (FNextRecipient < FEnvelope.recipients.size() || FQueue.front().envelope.recipients.size() != 1)
        return false;
    bool smtpUtf8 = false;
    return mailRefusal(FQueue.front().envelope, EncodedMessageSize(FQueue.front().message), smtpUtf8).isEmpty();
}

void TSmtpSession::sendAhead()
{
    const TQueuedMail& next = FQueue.front();
    const qint64 size = EncodedMessageSize(next.message);
    bool smtpUtf8 = false;
    mailRefusal(next.envelope, size, smtpUtf8);
    FPipelined = pipelinedGroup(next.envelope, size, smtpUtf8);
    FSocket->write(FPipelined.join("\r\n") + "\r\n");
    FAheadSent = true;
}

// A finished mail leaves no transaction behind, so the next one starts
// with MAIL at once (RFC 5321 needs no RSET there). Its reply also shows
// whether the rested link still stands: a 421 (a limit per connection) or
// a hang-up before it means the server ended the link while we rested,
// and the mail goes on a new connection, no try lost. A server with
// PIPELINING (RFC 2920) gets MAIL, RCPT and DATA of a mail to one
// recipient in one write; the state machine still takes each reply in
// turn, sendCommand only leaves out the lines already on their way.
void TSmtpSession::startOnRestingConnection()
{
    if (refuseBeforeMail())
        return;
    FOnRestedLink = true;
    startTransaction();
}

bool TSmtpSession::restedLinkGone() const
{
    return FState == State::MailFrom && FOnRestedLink;
}

void TSmtpSession::handleMailFrom(const Reply& r)
{
    if (std::exchange(FOnRestedLink, false) && r.code == 421)
        return connectSocket();
    if (r.code != 250)
        return failReply(r);
    FNextRecipient = FTransactionStart;
    FAccepted.clear();
    sendNextRecipient();
}

// After the last recipient the data goes to those accepted; when nobody
// was, the mail fails with the last refusal.
void TSmtpSession::sendNextRecipient()
{
    if (FNextRecipient < FEnvelope.recipients.size())
        return sendCommand("RCPT TO:<" + envelopeAddress(FEnvelope.recipients[FNextRecipient]) + ">", State::RcptTo);
    if (FAccepted.empty())
        return failReply(FLastRefusal);
    sendCommand("DATA", State::Data);
}

// 452 means "no more recipients in this transaction" (RFC 5321
// 4.5.3.1.10): the accepted ones get the mail now, the rest afterwards.
// It says nothing about the address, so the address is not blamed. A
// recipient refused otherwise (or with 452 as the first of a transaction)
// is left out; the others still get the mail.
void TSmtpSession::handleRcptTo(const Reply& r)
{
    if (r.code == 452 && !FAccepted.empty())
        return sendCommand("DATA", State::Data);
    if (r.code == 250 || r.code == 251)
        FAccepted.push_back(FNextRecipient);
    else
        refuseRecipient(r);
    ++FNextRecipient;
    sendNextRecipient();
}

void TSmtpSession::refuseRecipient(const Reply& r)
{
    const QString address = FEnvelope.recipients[FNextRecipient].Address();
    if (FEvents && r.code != 452)
        FEvents->RecipientRefused(address);
    FDelivery.refused.append(qMakePair(address, r.Sanitized()));
    FLastRefusal = r;
}

void TSmtpSession::handleData(const Reply& r)
{
    if (r.code != 354)
        return failReply(r);
    FState = State::Body;
    FBody.Rewind();   // every transaction sends the whole message from its start
    if (FProgress)
        FProgress->Begin(Tx(1013, "E-Mail wird gesendet ..."), FMessageSize);
    armTimer(FSettings.replyTimeoutMs);
    pumpBody();
}

void TSmtpSession::pumpBody()
{
    try {
        while (FState == State::Body && FSocket->bytesToWrite() < kHighWater) {
            const QByteArray chunk = FBody.Next();
            if (chunk.isEmpty()) {
                sendCommand(FBody.EndLine(), State::DataEnd, FSettings.dataEndTimeoutMs);
                FEndOfDataSent = true;
                if (canSendAhead())
                    sendAhead();
                step(Tx(1015, "Der SMTP-Server bestätigt die E-Mail ..."));
                return;
            }
            FSocket->write(chunk);
            armTimer(FSettings.replyTimeoutMs);   // progress counts as a sign of life
            step(Tx(1013, "E-Mail wird gesendet ..."));
        }
    } catch (...) {
        fail(std::current_exception());
    }
}

void TSmtpSession::handleDataEnd(const Reply& r)
{
    if (FAheadSent)
        return endBeforeAhead(r);
    if (r.code != 250)
        return failReply(r);
    for (size_t i : FAccepted)
        FDelivery.delivered << FEnvelope.recipients[i].Address();
    FAccepted.clear();
    if (FNextRecipient < FEnvelope.recipients.size()) {
        FTransactionStart = FNextRecipient;
        return sendMailFrom();
    }
    // The mail is accepted: a server that hangs up without answering QUIT
    // changes nothing.
    if (FKeepOpen)
        return rest();
    sendQuit();
}

// The reply to the final "." ends this mail's transaction whatever it says
// (RFC 5321 4.1.1.4), so the next mail, already on its way, goes on. A 421
// closes the connection: the next mail's commands stay unanswered and it
// goes on a new connection.
void TSmtpSession::endBeforeAhead(const Reply& r)
{
    if (r.code == 421)
        return abortWith(std::make_exception_ptr(ESmtpReply(r)));
    if (r.code != 250) {
        FError = std::make_exception_ptr(ESmtpReply(r));
        return restAhead();
    }
    for (size_t i : FAccepted)
        FDelivery.delivered << FEnvelope.recipients[i].Address();
    FAccepted.clear();
    restAhead();
}

}  // namespace kalvex
