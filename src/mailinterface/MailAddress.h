#pragma once
// E-mail addresses as RFC 5322 writes them, with the UTF-8 of RFC 6532.
// A mailbox is "local@domain" or "Display Name <local@domain>"; an address
// list is mailboxes separated by commas (semicolons too, as Outlook users
// type them). Display names are words (atoms or quoted strings); comments
// and groups are refused. The local part is a dot-atom or a quoted string
// that SMTP can carry; the domain must be a host name (international labels
// must convert to IDNA) or an address literal, so that it can go into
// RCPT TO. No control or format character passes anywhere.

#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

namespace kalvex {

struct TMailbox {
    QString displayName;   // unquoted, words joined by one blank; empty when none
    QString localPart;     // as written (a quoted string keeps its quotes)
    QString domain;        // as written (international domains in Unicode)

    QString Address() const;        // local@domain
    bool LocalPartIsAscii() const;
    bool IsAscii() const;
    // local@domain with the domain in IDNA form ("xn--..."), for servers
    // without SMTPUTF8; the local part is left as it is.
    QString AceAddress() const;
    // The way a user writes it: "Name <local@domain>", the name quoted
    // where it needs to be; the bare address when there is no name.
    QString ToString() const;
};

// One mailbox, blanks around it allowed; nothing when the text is no mailbox.
std::optional<TMailbox> ParseMailbox(const QString& text);

struct TAddressList {
    std::vector<TMailbox> mailboxes;
    QString invalid;     // the first entry that is no mailbox, trimmed
    bool valid = true;
};
// Splits at commas and semicolons outside quotes and angle brackets; empty
// entries are skipped.
TAddressList ParseAddressList(const QString& text);
// The entries of an address list as written, cut where ParseAddressList
// cuts (the blanks around them kept, empty ones too), for editors that
// work on one entry.
QStringList SplitAddressList(const QString& text);

// The name as a phrase: as it is when it is words, else a quoted string.
QString FormatDisplayName(const QString& name);

// "Die Adresse <address> scheint fehlerhaft zu sein."
QString AddressRefusalText(const QString& address);

// A plausibility check of a bare address as users type it into an address
// field: a mailbox without display name whose domain has a dot and a top
// level of at least two characters.
bool IsValidEMailAddress(const QString& address);

}  // namespace kalvex
