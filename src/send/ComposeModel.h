#pragma once
// What the user composes: subject, formatted body, recipients with their
// kinds, attachments and the separate flag. The distribution window and the
// command line fill it; the mailing run reads it. It knows nothing of
// widgets.

#include "compose/RecipientFields.h"
#include "mailinterface/Empfaenger.h"

#include <QSet>
#include <QString>
#include <QStringList>
#include <memory>
#include <vector>

class QTextDocument;

namespace kalvex {

struct TComposeRecipient {
    QString email;
    QString name;
    QString company;
    int32_t adressDbId = 0;
    int32_t tmpId = 0;
    int32_t kontaktId = 0;
    TEmpfaengerTyp kind = TEmpfaengerTyp::elAn;
    // What the address book, the host's record or a recipient file knows of
    // the person, for the recipient fields of a personal circular.
    TRecipientPerson person = {};
};

// The person of a row, completed from the row's address, name and company.
TRecipientPerson RecipientPerson(const TComposeRecipient& recipient);

struct TComposeAttachment {
    QString file;      // path, possibly behind the origin prefix
    double sizeMB = 0;
};

// Megabytes with two decimals ("%.2f", decimal comma); a file that rounds
// to "0,00" shows "0,01".
QString FormatSizeMB(double sizeMB);

class TComposeModel {
public:
    TComposeModel();
    ~TComposeModel();

    QString Subject;
    bool SeparateFlag = false;
    std::vector<TComposeRecipient> Recipients;
    std::vector<TComposeAttachment> Attachments;

    QTextDocument& Body() { return *FBody; }
    const QTextDocument& Body() const { return *FBody; }

    // False (and nothing added) when the address is already listed, in
    // any spelling RecipientKey takes for the same one.
    bool AddRecipient(const TComposeRecipient& recipient);
    // Every mailbox of an address list as a row of its own, written
    // "Name <address>" when it has a name, so the name reaches the header.
    // Returns the first entry that is no address (nothing is added then);
    // empty when all were taken.
    QString AddAddressList(const QString& text, TEmpfaengerTyp kind);
    // False when the same path is already listed; the size comes from the file.
    bool AddAttachment(const QString& file);
    void Clear();   // subject, body, recipients, attachments

private:
    std::unique_ptr<QTextDocument> FBody;   // owned
    // The keys of the rows added through AddRecipient. Rows are also removed
    // directly (erase, clear): a list of another length than the set has
    // seen makes it start again from the rows.
    QSet<QString> FRecipientKeys;
    size_t FKeyedRows = 0;
    void syncRecipientKeys();
};

}  // namespace kalvex
