#pragma once
// Hands one mail to the desktop's mail program, which shows its compose
// window filled in. Recipients are kept free of duplicates by address (in
// any spelling of the same one) and class; the program gets the whole mail
// as one mailto: URL that we encode, never through a shell of ours.

#include "send/MailingRun.h"

#include <QSet>
#include <QString>
#include <QStringList>
#include <vector>

namespace kalvex {

struct TAddress {
    QString address;
    int recipientClass = 1;   // 1 To, 2 Cc, anything else Bcc
};

class TGenHelp : public IMailClientHandOver {
public:
    // messages may be null; it must outlive the object.
    explicit TGenHelp(IUserMessages* messages = nullptr) : FMessages(messages) {}

    void ClearStrings();
    void SetBetrifft(const QString& subject) override { FBetreff = subject; }
    void SetMailtext(const QString& text) override { FMailtext = text; }
    bool DestAdrexists(const QString& address, int recipientClass) const;
    void AddDestAdr(const QString& address, int recipientClass) override;
    void AddAttachment(const QString& path) override { FAttachments << path; }
    // Runs the hand-over; returns the MAPI result code and shows its message.
    // A mail too long for the hand-over gives 18 before anything starts.
    int CallMailClient() override;

    // The mail as one percent-encoded mailto: URL, and the argument list
    // for xdg-email that carries it (exposed for tests).
    QString MailtoUrl() const;
    QStringList BuildArguments() const;
    // False when the mail program could not be given the whole mail: the
    // hand-over carries it in one mailto: URL, which one program argument
    // must hold.
    bool FitsOneArgument() const;
    const std::vector<TAddress>& Recipients() const { return FRecipients; }
    int TimeoutMs = 30000;

private:
    int run(const struct TMailClientCommand& command, const QStringList& arguments) const;
    int report(int code) const;

    IUserMessages* FMessages;
    QString FBetreff;
    QString FMailtext;
    std::vector<TAddress> FRecipients;
    QSet<QString> FRecipientKeys;   // class and RecipientKey of each of FRecipients
    QStringList FAttachments;
};

}  // namespace kalvex
