#include "send/SmtpSession.h"

#include "config/LanguageUnit.h"
#include "config/ProgressDisplay.h"
#include "send/SaslMechanisms.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QSslConfiguration>

#include <cstring>

namespace kalvex {

namespace {

constexpr qint64 kHighWater = 1 << 20;      // bytes queued in the socket before we wait
constexpr qint64 kChunkBytes = 57 * 4096;   // raw bytes per base64 chunk: whole 76-character lines

// Base64 in lines of 76 characters (57 raw bytes) with CR LF, written in
// one pass into a buffer of the final size: attachments are large.
QByteArray base64Lines(const QByteArray& raw)
{
    static constexpr char table[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto* in = reinterpret_cast<const unsigned char*>(raw.constData());
    const qsizetype size = raw.size();
    const qsizetype lines = (size + 56) / 57;
    QByteArray out(((size + 2) / 3) * 4 + 2 * lines, Qt::Uninitialized);
    char* to = out.data();
    for (qsizetype line = 0; line < size; line += 57) {
        const qsizetype end = std::min<qsizetype>(line + 57, size);
        qsizetype i = line;
        for (; i + 3 <= end; i += 3) {
            const uint32_t v = (uint32_t(in[i]) << 16) | (uint32_t(in[i + 1]) << 8) | in[i + 2];
            *to++ = table[v >> 18];
            *to++ = table[(v >> 12) & 63];
            *to++ = table[(v >> 6) & 63];
            *to++ = table[v & 63];
        }
        if (i < end) {   // one or two bytes left: the last line only
            const uint32_t v = (uint32_t(in[i]) << 16) | (i + 1 < end ? uint32_t(in[i + 1]) << 8 : 0);
            *to++ = table[v >> 18];
            *to++ = table[(v >> 12) & 63];
            *to++ = i + 1 < end ? table[(v >> 6) & 63] : '=';
            *to++ = '=';
        }
        *to++ = '\r';
        *to++ = '\n';
    }
    return out;
}

// Doubles a "." at the start of any line, so no line ends the data early.
// Most chunks (all of base64) hold no line starting with ".": they pass as
// they are.
QByteArray dotStuff(const QByteArray& bytes, bool& atLineStart)
{
    if (bytes.isEmpty())
        return bytes;
    const bool clean = !(atLineStart && bytes.front() == '.') && !bytes.contains("\n.");
    if (clean) {
        atLineStart = bytes.back() == '\n';
        return bytes;
    }
    QByteArray out;
    out.reserve(bytes.size() + 16);
    for (char c : bytes) {
        if (atLineStart && c == '.')
            out += '.';
        out += c;
        atLineStart = c == '\n';
    }
    return out;
}

}  // namespace

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

TSmtpSession::~TSmtpSession() = default;

void TSmtpSession::Run(const TSmtpEnvelope& envelope, std::vector<TMimeSegment> message)
{
    FEnvelope = envelope;
    FMessage = std::move(message);
    FSocket = std::make_unique<QSslSocket>();
    if (!FSettings.verifyCertificate)
        FSocket->setPeerVerifyMode(QSslSocket::VerifyNone);
    connect(FSocket.get(), &QSslSocket::connected, this, &TSmtpSession::onConnected);
    connect(FSocket.get(), &QSslSocket::encrypted, this, &TSmtpSession::onEncrypted);
    connect(FSocket.get(), &QSslSocket::readyRead, this, &TSmtpSession::onReadyRead);
    connect(FSocket.get(), &QSslSocket::errorOccurred, this, &TSmtpSession::onSocketError);
    connect(FSocket.get(), &QSslSocket::disconnected, this, &TSmtpSession::onDisconnected);
    connect(FSocket.get(), &QSslSocket::bytesWritten, this, [this] {
        if (FState == State::Body)
            pumpBody();
    });
    connect(FSocket.get(), &QSslSocket::sslErrors, this, [this](const QList<QSslError>& errors) {
        if (!FSettings.verifyCertificate) {
            FSocket->ignoreSslErrors();
            return;
        }
        if (FEvents)
            FEvents->TlsHandshakeFailed();
        failWith<ESmtpTls>(errors.isEmpty() ? QStringLiteral("TLS") : errors.first().errorString());
    });
    FState = State::Connecting;
    step(Tx(1003, "Verbindung zu %1 wird aufgebaut ...").arg(FSettings.host));
    FTimer.start(FSettings.connectTimeoutMs);
    FCancelPoll.start();
    if (FSettings.tls == TSmtpTls::Implicit)
        FSocket->connectToHostEncrypted(FSettings.host, FSettings.port);
    else
        FSocket->connectToHost(FSettings.host, FSettings.port);
    QEventLoop loop;
    FLoop = &loop;
    // All events: the progress display's cancel button must work while the
    // server is silent; the display itself holds back input to other windows.
    if (FState != State::Done && !FError)
        loop.exec();
    FLoop = nullptr;
    FTimer.stop();
    FCancelPoll.stop();
    FSocket->disconnect(this);
    FSocket->abort();
    if (FError)
        std::rethrow_exception(FError);
}

void TSmtpSession::step(const QString& text)
{
    if (FProgress)
        FProgress->Step(text, FBodySent);
}

void TSmtpSession::fail(std::exception_ptr error)
{
    if (FError || FState == State::Done)
        return;
    FError = error;
    if (FLoop)
        FLoop->quit();
}

void TSmtpSession::finish()
{
    FState = State::Done;
    if (FLoop)
        FLoop->quit();
}

void TSmtpSession::onConnected()
{
    FSocket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    if (FSettings.tls == TSmtpTls::Implicit)
        return;   // the greeting comes after the handshake
    FState = State::Greeting;
    FTimer.start(FSettings.replyTimeoutMs);
}

void TSmtpSession::onEncrypted()
{
    if (FState == State::Connecting) {
        FState = State::Greeting;
        FTimer.start(FSettings.replyTimeoutMs);
    } else if (FState == State::TlsHandshake) {
        sendEhlo(State::EhloAgain);
    }
}

void TSmtpSession::onSocketError(QAbstractSocket::SocketError error)
{
    if (FState == State::Quit || FState == State::Done)
        return;
    if (error == QAbstractSocket::SslHandshakeFailedError || error == QAbstractSocket::SslInternalError
        || error == QAbstractSocket::SslInvalidUserDataError) {
        if (FEvents)
            FEvents->TlsHandshakeFailed();
        failWith<ESmtpTls>(FSocket->errorString());
        return;
    }
    if (error == QAbstractSocket::RemoteHostClosedError)
        return onDisconnected();
    failWith<EKalvex>(FState == State::Connecting
                          ? Tx(1004, "Der SMTP-Server %1:%2 ist nicht erreichbar: %3").arg(FSettings.host).arg(FSettings.port).arg(FSocket->errorString())
                          : Tx(1005, "Die Verbindung zum SMTP-Server ist gestört: %1").arg(FSocket->errorString()));
}

void TSmtpSession::onDisconnected()
{
    if (FState == State::Quit) {
        finish();
        return;
    }
    failWith<EKalvex>(Tx(1006, "Der SMTP-Server hat die Verbindung unerwartet beendet."));
}

void TSmtpSession::onTimeout()
{
    const int ms = FState == State::Connecting ? FSettings.connectTimeoutMs
                 : FState == State::DataEnd    ? FSettings.dataEndTimeoutMs
                                               : FSettings.replyTimeoutMs;
    failWith<ESmtpTimeout>(Tx(1007, "Der SMTP-Server %1 hat nicht innerhalb von %2 Sekunden geantwortet.")
                               .arg(FSettings.host).arg(ms / 1000.0));
}

// A reply is complete with a line "NNN " or "NNN" (no hyphen).
bool TSmtpSession::takeReply(Reply& reply)
{
    for (;;) {
        const qsizetype eol = FBuffer.indexOf('\n');
        if (eol < 0)
            return false;
        QByteArray line = FBuffer.left(eol);
        FBuffer.remove(0, eol + 1);
        if (line.endsWith('\r'))
            line.chop(1);
        bool ok = false;
        const int code = line.left(3).toInt(&ok);
        if (!ok || line.size() < 3) {
            failWith<ESmtpReply>(Tx(1008, "Unverständliche Antwort des SMTP-Servers: %1").arg(QString::fromUtf8(line.left(200))));
            return false;
        }
        FPending.code = code;
        FPending.lines << QString::fromUtf8(line.mid(4));
        if (line.size() > 3 && line.at(3) == '-')
            continue;
        reply = FPending;
        FPending = Reply();
        return true;
    }
}

void TSmtpSession::onReadyRead()
{
    FBuffer += FSocket->readAll();
    if (FBuffer.size() > (1 << 20))
        return failWith<ESmtpReply>(Tx(1009, "Der SMTP-Server sendet eine übergroße Antwort."));
    Reply reply;
    while (!FError && FState != State::Done && takeReply(reply))
        onReply(reply);
}

void TSmtpSession::onReply(const Reply& r)
{
    FTimer.stop();
    switch (FState) {
    case State::Greeting: return handleGreeting(r);
    case State::Ehlo: return handleEhlo(r, false);
    case State::EhloAgain: return handleEhlo(r, true);
    case State::Helo: return handleHelo(r);
    case State::StartTls: return handleStartTls(r);
    case State::Auth: return handleAuth(r);
    case State::MailFrom: return handleMailFrom(r);
    case State::RcptTo: return handleRcptTo(r);
    case State::Data: return handleData(r);
    case State::DataEnd: return handleDataEnd(r);
    case State::Quit: return finish();
    default:
        // Nothing is expected now (for example while the body streams).
        failWith<ESmtpReply>(Tx(1010, "Unerwartete Antwort des SMTP-Servers: %1 %2").arg(r.code).arg(r.lines.join(QLatin1Char(' '))));
    }
}

void TSmtpSession::sendCommand(const QByteArray& line, State next, int timeoutMs)
{
    FState = next;
    FSocket->write(line + "\r\n");
    FTimer.start(timeoutMs < 0 ? FSettings.replyTimeoutMs : timeoutMs);
}

void TSmtpSession::sendEhlo(State next)
{
    sendCommand("EHLO " + FSettings.heloName.toLatin1(), next);
}

void TSmtpSession::handleGreeting(const Reply& r)
{
    if (r.code != 220)
        return fail(std::make_exception_ptr(ESmtpReply(r.code, r.lines.join(QLatin1Char(' ')))));
    step(Tx(1011, "Anmeldung am SMTP-Server ..."));
    sendEhlo(State::Ehlo);
}

void TSmtpSession::handleEhlo(const Reply& r, bool again)
{
    if (r.code != 250) {
        if (!again)
            return sendCommand("HELO " + FSettings.heloName.toLatin1(), State::Helo);
        return fail(std::make_exception_ptr(ESmtpReply(r.code, r.lines.join(QLatin1Char(' ')))));
    }
    FCapabilities.clear();
    FAuthMechanisms.clear();
    for (const QString& line : r.lines.mid(1)) {
        const QByteArray cap = line.toLatin1().trimmed();
        FCapabilities << cap.toUpper();
        if (cap.startsWith("AUTH ") || cap.startsWith("AUTH=") || cap.startsWith("auth "))
            for (const QByteArray& m : cap.mid(5).simplified().split(' '))
                if (!m.isEmpty())
                    FAuthMechanisms << m.toUpper();
    }
    afterEhlo();
}

void TSmtpSession::handleHelo(const Reply& r)
{
    if (r.code != 250)
        return fail(std::make_exception_ptr(ESmtpReply(r.code, r.lines.join(QLatin1Char(' ')))));
    FCapabilities.clear();
    FAuthMechanisms.clear();
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
        return failWith<ESmtpTls>(QStringLiteral("TLSNegCmd Failed: %1 %2").arg(r.code).arg(r.lines.join(QLatin1Char(' '))));
    }
    FState = State::TlsHandshake;
    FTimer.start(FSettings.connectTimeoutMs);
    FSocket->startClientEncryption();
}

// No AUTH without both user name and password.
void TSmtpSession::startAuthOrMail()
{
    if (FSettings.user.isEmpty() || FSettings.password.isEmpty()) {
        sendCommand("MAIL FROM:<" + FEnvelope.from.toUtf8() + ">", State::MailFrom);
        return;
    }
    FMechanisms = CreateSaslMechanisms({FSettings.user, FSettings.password});
    FMechanism = ChooseSaslMechanism(FMechanisms, FAuthMechanisms);
    if (!FMechanism)
        return failWith<ESmtpNoCommonSasl>(Tx(1012, "Der SMTP-Server bietet kein unterstütztes SASL-Verfahren an (%1).")
                                               .arg(QString::fromLatin1(FAuthMechanisms.join(' '))));
    FMechanismName = FMechanism->Name();
    QByteArray command = "AUTH " + FMechanismName;
    if (const auto initial = FMechanism->InitialResponse())
        command += ' ' + (initial->isEmpty() ? QByteArray("=") : initial->toBase64());
    sendCommand(command, State::Auth);
}

void TSmtpSession::handleAuth(const Reply& r)
{
    if (r.code == 235)
        return sendCommand("MAIL FROM:<" + FEnvelope.from.toUtf8() + ">", State::MailFrom);
    if (r.code != 334)
        return fail(std::make_exception_ptr(ESmtpReply(r.code, r.lines.join(QLatin1Char(' ')))));
    const QByteArray challenge = QByteArray::fromBase64(r.lines.value(0).toLatin1());
    try {
        sendCommand(FMechanism->Respond(challenge).toBase64(), State::Auth);
    } catch (...) {
        fail(std::current_exception());
    }
}

void TSmtpSession::handleMailFrom(const Reply& r)
{
    if (r.code != 250)
        return fail(std::make_exception_ptr(ESmtpReply(r.code, r.lines.join(QLatin1Char(' ')))));
    FNextRecipient = 0;
    sendNextRecipient();
}

void TSmtpSession::sendNextRecipient()
{
    if (FNextRecipient >= FEnvelope.recipients.size())
        return sendCommand("DATA", State::Data);
    sendCommand("RCPT TO:<" + FEnvelope.recipients[FNextRecipient].toUtf8() + ">", State::RcptTo);
}

void TSmtpSession::handleRcptTo(const Reply& r)
{
    if (r.code != 250 && r.code != 251) {
        if (FEvents)
            FEvents->RecipientRefused(FEnvelope.recipients[FNextRecipient]);
        return fail(std::make_exception_ptr(ESmtpReply(r.code, r.lines.join(QLatin1Char(' ')))));
    }
    ++FNextRecipient;
    sendNextRecipient();
}

void TSmtpSession::handleData(const Reply& r)
{
    if (r.code != 354)
        return fail(std::make_exception_ptr(ESmtpReply(r.code, r.lines.join(QLatin1Char(' ')))));
    FState = State::Body;
    FBodyTotal = 0;
    for (const TMimeSegment& s : FMessage)
        FBodyTotal += s.base64File.isEmpty() ? s.bytes.size() : QFileInfo(s.base64File).size() * 4 / 3;
    if (FProgress)
        FProgress->Begin(Tx(1013, "E-Mail wird gesendet ..."), FBodyTotal);
    FTimer.start(FSettings.replyTimeoutMs);
    pumpBody();
}

// Produces the next piece of the body: literal bytes, or a chunk of a file
// in base64 lines.
QByteArray TSmtpSession::nextBodyChunk()
{
    while (FSegment < FMessage.size()) {
        const TMimeSegment& s = FMessage[FSegment];
        FChunkEncoded = !s.base64File.isEmpty();
        if (s.base64File.isEmpty()) {
            ++FSegment;
            if (!s.bytes.isEmpty())
                return s.bytes;
            continue;
        }
        if (!FFile) {
            FFile = std::make_unique<QFile>(s.base64File);
            if (!FFile->open(QIODevice::ReadOnly))
                throw EKalvex(Tx(1014, "Die Datei %1 konnte nicht gelesen werden.").arg(s.base64File));
        }
        const QByteArray raw = FFile->read(kChunkBytes);
        if (!raw.isEmpty())
            return base64Lines(raw);
        FFile.reset();
        ++FSegment;
    }
    return {};
}

void TSmtpSession::pumpBody()
{
    try {
        while (FState == State::Body && FSocket->bytesToWrite() < kHighWater) {
            const QByteArray chunk = nextBodyChunk();
            if (chunk.isEmpty()) {
                sendCommand(FAtLineStart ? QByteArray(".") : QByteArray("\r\n."), State::DataEnd, FSettings.dataEndTimeoutMs);
                step(Tx(1015, "Der SMTP-Server bestätigt die E-Mail ..."));
                return;
            }
            if (FChunkEncoded)
                FAtLineStart = true;   // base64 lines end with CR LF and never begin with "."
            FSocket->write(FChunkEncoded ? chunk : dotStuff(chunk, FAtLineStart));
            FBodySent += chunk.size();
            FTimer.start(FSettings.replyTimeoutMs);   // progress counts as a sign of life
            step(Tx(1013, "E-Mail wird gesendet ..."));
        }
    } catch (...) {
        fail(std::current_exception());
    }
}

void TSmtpSession::handleDataEnd(const Reply& r)
{
    if (r.code != 250)
        return fail(std::make_exception_ptr(ESmtpReply(r.code, r.lines.join(QLatin1Char(' ')))));
    sendCommand("QUIT", State::Quit);
    // The mail is accepted: a server that hangs up without answering QUIT
    // changes nothing.
    QTimer::singleShot(2000, this, [this] {
        if (FState == State::Quit)
            finish();
    });
}

}  // namespace kalvex
