#include "send/MailingRun.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "compose/rtf/RtfReader.h"
#include "compose/rtf/RtfWriter.h"
#include "mailinterface/EMail.h"

#include <QDateTime>
#include <QTextDocument>

namespace kalvex {

namespace {

int mailClientClass(TEmpfaengerTyp kind)
{
    return static_cast<int>(kind) + 1;
}

}  // namespace

int SendModeOf(int sendDirekt)
{
    switch (sendDirekt) {
    case 0: return 1;
    case 1: return 2;
    default: return 0;
    }
}

TMailingRun::TMailingRun(TComposeModel& model, IUserMessages& messages, TConfig& config, TMailingRunDeps deps)
    : FModel(model), FMessages(messages), FConfig(config), FDeps(std::move(deps))
{
}

void TMailingRun::NewMail()
{
    FSentFlag = false;
    FResultCode = -1;
}

void TMailingRun::SendClick()
{
    FOriginPrefix = Tx(291, "Ursprung:") + QLatin1Char(' ');
    if (FModel.SeparateFlag)
        sendSeparately();
    else
        sendOne();
}

void TMailingRun::sendOne()
{
    TEMail mail;
    BuildMail(mail, QString());
    switch (SendModeOf(FConfig.FSendDirekt)) {
    case 1: FSentFlag = SendViaMailClient(mail, true); break;
    case 2: FSentFlag = SendDirect(mail, true); break;
    default: return;
    }
    if (FResultCode == 0)
        FMessages.ShowInformation(Tx(1985, "EMail(s) wurden gesendet."));
    else if (FResultCode == 1)
        FMessages.ShowInformation(Tx(1986, "Vorgang wurde durch den Nutzer abgebrochen."));
}

// Only the first recipient's mail is logged: one entry per separate run.
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
    const int mode = SendModeOf(FConfig.FSendDirekt);
    for (size_t i = 0; i < FModel.Recipients.size(); ++i) {
        TEMail mail;
        BuildMail(mail, FModel.Recipients[i].email);
        if (mode == 1)
            SendViaMailClient(mail, i == 0);
        else if (mode == 2)
            SendDirect(mail, i == 0);
        FSentFlag = true;
    }
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
    mail.FBodyRTF = FDeps.toRtf ? FDeps.toRtf(FModel.Body()) : DocumentToRtf(FModel.Body());
    mail.FBodyPlain = FModel.Body().toPlainText();
    mail.FBodyHTML = FDeps.toHtmlLines ? FDeps.toHtmlLines(FModel.Body()) : DocumentHtmlLines(FModel.Body());
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
        client->SetMailtext(FModel.Body().toPlainText());
        if (!checkRecipientsForMailClient(*client))
            return false;
        for (const TComposeAttachment& a : FModel.Attachments)
            client->AddAttachment(a.file.startsWith(FOriginPrefix) ? a.file.mid(FOriginPrefix.size()) : a.file);
        FResultCode = client->CallMailClient();
        if (FResultCode != 0)
            return false;
        mail.FSender = TMailSender::msStandardClient;
        mail.FGesendetDurch = MailSenderText(mail.FSender);
        mail.SetStatus(TMailStatus::stGesendet);
        if (log)
            storeMail(mail, 2);
        FSuccessFlag = true;
        return true;
    } catch (const std::exception& e) {
        TLogFile::LogGlobal(false, QStringLiteral("TMainForm.SendenUeberStandarDClient - ") + QString::fromUtf8(e.what()));
        return false;
    }
}

bool TMailingRun::SendDirect(TEMail& mail, bool log)
{
    try {
        if (!FDeps.newSmtpSender)
            throw EKalvex(Tx(1993, "Der direkte Versand ist nicht verfügbar."));
        std::unique_ptr<ISmtpSender> sender = FDeps.newSmtpSender();
        mail.FVon = FConfig.FUser;
        sender->Setup(FConfig.FHost, FConfig.FUser, FConfig.FVerbindungVerschluesselt, FConfig.FPort, FConfig.FPass);
        if (sender->SendMail(mail))
            FResultCode = 0;
        mail.FSender = TMailSender::msKalvex;
        mail.FGesendetDurch = MailSenderText(mail.FSender);
        if (log)
            storeMail(mail, 2);
        return true;
    } catch (const std::exception& e) {
        const QString reason = QString::fromUtf8(e.what());
        FMessages.ShowError(Tx(1990, "Das Senden der E-Mail wurde abgebrochen.") + QStringLiteral("\r\n")
                            + Tx(1991, "Ursache: ") + reason);
        TLogFile::LogGlobal(false, QStringLiteral("TMainForm.SendenDirekt - ") + reason);
        return false;
    }
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
        if (in.password.isEmpty())
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

void TMailingRun::storeMail(TEMail& mail, int kind)
{
    if (FDeps.storeMail)
        FDeps.storeMail(mail, kind);
}

}  // namespace kalvex
