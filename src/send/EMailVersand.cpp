#include "send/EMailVersand.h"

#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/ProgressDisplay.h"
#include "config/UserMessages.h"
#include "config/uConfig.h"
#include "mailinterface/EMail.h"
#include "mailinterface/RecipientKey.h"
#include "send/MimeBuilder.h"
#include "send/oauth/OAuthTokenProvider.h"

#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <optional>

namespace kalvex {

namespace {

// To, Cc and Bcc as one envelope, each address once.
std::vector<TMailbox> envelopeRecipients(const TMimeMessage& message)
{
    std::vector<TMailbox> out;
    QSet<QString> seen;
    for (const auto* list : {&message.to, &message.cc, &message.bcc})
        for (const TMailbox& m : *list)
            if (!seen.contains(RecipientKey(m.Address()))) {
                seen.insert(RecipientKey(m.Address()));
                out.push_back(m);
            }
    return out;
}

}  // namespace

TKeinEmpfaengerException::TKeinEmpfaengerException() : EKalvex(Tx(1018, "Es wurden keine Empfänger angegeben.")) {}

TKeinAbsenderException::TKeinAbsenderException() : EKalvex(Tx(1019, "Es wurde kein Absender angegeben.")) {}

void TSmtpEventMessages::TlsNotAvailable()
{
    FMessages.ShowInformation(QStringLiteral("kein TLS verfügbar"));
}

void TSmtpEventMessages::TlsHandshakeFailed()
{
    FMessages.ShowInformation(QStringLiteral("TLSHandShake Failed"));
}

void TSmtpEventMessages::StartTlsFailed()
{
    FMessages.ShowInformation(QStringLiteral("TLSNegCmd Failed"));
}

void TSmtpEventMessages::RecipientRefused(const QString& address)
{
    if (!FQuietRecipients)
        FMessages.ShowError(AddressRefusalText(address));
}

QString SmtpFailureMessage(const std::exception& error)
{
    if (const auto* reply = dynamic_cast<const ESmtpReply*>(&error))
        return Tx(1020, "Der SMTP-Server antwortet nicht. Bitte überprüfen Sie die Verbindungseinstellungen.")
             + QLatin1Char(' ') + Tx(2603, "Antwort des Servers: %1").arg(reply->message());
    if (const auto* oauth = dynamic_cast<const ESmtpOAuthRefused*>(&error))
        return OAuthRefusalText(oauth->Refusal(), oauth->message());
    if (dynamic_cast<const ESmtpNoCommonSasl*>(&error))
        return Tx(1021, "Authentifizierung über SASL wird von Ihrem E-Mail-Provider offenbar nicht unterstützt.");
    if (dynamic_cast<const ESmtpTls*>(&error))
        return Tx(1022, "Es konnte keine verschlüsselte Verbindung (TLS/SSL) aufgebaut werden..");
    if (const auto* k = dynamic_cast<const EKalvex*>(&error))
        return k->message();
    return QString::fromUtf8(error.what());
}

TEMailVersand::TEMailVersand(IUserMessages* messages, IProgressDisplay* progress) : FProgress(progress)
{
    if (messages)
        FEvents = std::make_unique<TSmtpEventMessages>(*messages);
    if (const TConfig* config = TConfig::Instance())
        FSettings.verifyCertificate = config->FVerifyCertificate;
}

TEMailVersand::~TEMailVersand() = default;

void TEMailVersand::Setup(const QString& host, const QString& user, bool encrypted, uint16_t port, const QString& password)
{
    FSettings.host = host;
    FSettings.port = port;
    FSettings.user = user;
    FSettings.password = password;
    FSettings.tls = TlsModeFor(encrypted, port);
}

// Everything that can be refused without the server is refused before any
// connection is made; building the message refuses bad addresses.
void TEMailVersand::validate(const TEMail& mail) const
{
    if (NonEmptyTrimmed(mail.FAn).isEmpty())
        throw TKeinEmpfaengerException();
    if (mail.FVon.trimmed().isEmpty())
        throw TKeinAbsenderException();
    for (const QString& path : NonEmptyTrimmed(mail.FAnhaenge))
        if (!QFileInfo(path).isFile() || !QFileInfo(path).isReadable())
            throw EKalvex(Tx(1023, "Der Anhang \"%1\" wurde nicht gefunden oder kann nicht gelesen werden.").arg(path));
}

bool TEMailVersand::SendMail(TEMail& mail)
{
    validate(mail);
    const bool queued = takeQueued(mail);
    std::optional<TMimeMessage> message;
    if (!queued) {
        message = BuildMimeMessage(mail);
        if (message->to.empty())   // entries of nothing but separators
            throw TKeinEmpfaengerException();
    }
    FDelivery = TDeliveryReport();
    FRunStarted = false;
    try {
        send(message ? &*message : nullptr);
        takeDelivery(nullptr);
    } catch (const std::exception& e) {
        TLogFile::LogGlobal(false, QStringLiteral("TEMailVersand.Send - ") + QString::fromUtf8(e.what()));
        if (FRunStarted)
            takeDelivery(&e);   // who was refused on the way, whatever became of the mail
        if (!FRunStarted || FSession->Delivery().delivered.isEmpty())
            throwFailure(e);   // else some got it: the mail went out
    }
    mail.SetStatus(TMailStatus::stGesendet);
    return true;
}

// Nobody got the mail for sure. A mail whose end of data went unanswered
// may be on the server: unknown, not failed.
void TEMailVersand::throwFailure(const std::exception& e) const
{
    const bool unanswered = FRunStarted && FSession->EndOfDataUnanswered();
    if (unanswered && !FSession->Delivery().unanswered.isEmpty())
        throw ESendUnknown(SmtpFailureMessage(e));
    throw ESendFailed(SmtpFailureMessage(e), IsTemporarySmtpFailure(e, unanswered), FRunStarted && FSession->ServerUnreachable());
}

// Who did not get the mail: refused by the server, left without an answer,
// or not reached because the exchange failed (for the failure's reason).
void TEMailVersand::takeDelivery(const std::exception* failure)
{
    const TSmtpDelivery& d = FSession->Delivery();
    FDelivery.refused = d.refused;
    FDelivery.unknown = d.unanswered;
    const QString reason = failure ? SmtpFailureMessage(*failure) : QString();
    for (const QString& address : d.untried)
        FDelivery.refused.append(qMakePair(address, reason));
}

// Whether mail is the next one queued. A mail queued behind others that
// were never sent voids the queue: it is built and sent anew.
bool TEMailVersand::takeQueued(const TEMail& mail)
{
    const auto it = std::find(FQueued.begin(), FQueued.end(), &mail);
    if (it == FQueued.end())
        return false;
    if (it != FQueued.begin()) {
        FQueued.clear();
        FSession->DropQueue();
        return false;
    }
    FQueued.pop_front();
    return true;
}

void TEMailVersand::QueueNext(TEMail& mail)
{
    if (!FKeep)
        return;
    try {
        validate(mail);
        const TMimeMessage message = BuildMimeMessage(mail);
        if (message.to.empty())
            return;
        session().Queue({message.from, envelopeRecipients(message)}, AssembleMessage(message));
        FQueued.push_back(&mail);
    } catch (const std::exception&) {
        // not queued: its SendMail builds it again and reports why it cannot go
    }
}

// Without a message: the first queued mail.
void TEMailVersand::send(const TMimeMessage* message)
{
    if (FTokens)
        FTokens->EnsureFresh();   // a sign-in may be needed: before the server waits for us
    TSmtpSession& session = this->session();
    struct ProgressEnd {
        IProgressDisplay* p;
        ~ProgressEnd() { if (p) p->End(); }
    } end{FProgress};
    if (FProgress)
        FProgress->Begin(Tx(1013, "E-Mail wird gesendet ..."), 0);
    if (!message) {
        FRunStarted = true;   // from here the session's outcome is this mail's
        session.RunQueued();
        FLastMechanism = session.ChosenMechanism();
        return;
    }
    std::vector<TMimeSegment> segments = AssembleMessage(*message);
    FRunStarted = true;
    session.Run({message->from, envelopeRecipients(*message)}, std::move(segments));
    FLastMechanism = session.ChosenMechanism();
}

// A new session for each mail, or the kept one for a whole run.
TSmtpSession& TEMailVersand::session()
{
    if (!FSession || !FKeep) {
        FSession = std::make_unique<TSmtpSession>(FSettings, FEvents.get(), FProgress);
        FSession->KeepOpen(FKeep);
        FSession->SetTokenProvider(FTokens);
    }
    return *FSession;
}

void TEMailVersand::KeepConnection()
{
    FKeep = true;
    if (FEvents)
        FEvents->QuietRecipients();
}

void TEMailVersand::Close()
{
    FQueued.clear();
    if (FSession)
        FSession->Close();
}

int TEMailVersand::Connections() const
{
    return FSession ? FSession->Connections() : 0;
}

}  // namespace kalvex
