#pragma once
// The line above the recipient grid where addresses are typed or pasted:
// a kind chooser (An, Cc, Bcc), completion from the address books while
// typing, and the parse of what was entered into recipient rows.

#include "send/ComposeModel.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QWidget>
#include <functional>

class QComboBox;
class QCompleter;
class QLineEdit;
class QStandardItemModel;

namespace kalvex {

// An address the completion offers, from the own address book or the host's.
struct TAddressSuggestion {
    QString name;
    QString company;
    QString email;
};
// The suggestions for a typed text, matched on name, company or address.
using TSuggestionSource = std::function<QList<TAddressSuggestion>(const QString& text)>;

// Whether text is part of the name, the company or the address (any case).
bool SuggestionMatches(const TAddressSuggestion& suggestion, const QString& text);

// What a typed or pasted line holds: one recipient per valid mailbox, and
// the entries that are no usable address, as written.
struct TRecipientLine {
    QList<TComposeRecipient> recipients;
    QStringList invalid;
};
TRecipientLine ParseRecipientLine(const QString& text, TEmpfaengerTyp kind);

class TRecipientEntry : public QWidget {
    Q_OBJECT

public:
    explicit TRecipientEntry(QWidget* parent);
    void SetSource(TSuggestionSource source) { FSource = std::move(source); }
    TEmpfaengerTyp Kind() const;
    void SetKind(TEmpfaengerTyp kind);
    // The valid recipients of the line, named and with their company when
    // the completion offered them; the line keeps only the invalid entries.
    TRecipientLine Take();

    QComboBox* cbArt;
    QLineEdit* edAdresse;
    QCompleter* FCompleter;

signals:
    void submitted();   // Enter in the line

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void suggest(const QString& text);
    void showSuggestions(const QList<TAddressSuggestion>& suggestions);
    void complete(const QString& chosen);
    void completeFromKnown(TComposeRecipient& recipient) const;
    QString currentEntry() const;

    TSuggestionSource FSource;
    QStandardItemModel* FSuggestions;
    QList<TAddressSuggestion> FKnown;   // every suggestion shown, for the names and companies
};

}  // namespace kalvex
