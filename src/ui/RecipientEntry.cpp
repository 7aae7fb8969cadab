#include "ui/RecipientEntry.h"

#include "config/LanguageUnit.h"
#include "mailinterface/MailAddress.h"
#include "ui/DisplayTexts.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QCompleter>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QStandardItemModel>
#include <optional>

namespace kalvex {

namespace {

constexpr int CompletionRole = Qt::UserRole;   // what goes into the line

// "Name <address>" as the user would type it; the bare address without a name.
QString mailboxText(const TAddressSuggestion& s)
{
    return s.name.isEmpty() ? s.email : FormatDisplayName(s.name) + QStringLiteral(" <") + s.email + QLatin1Char('>');
}

// "Name – Firma <address>" in the pop-up, so the three can be told apart.
QString popupText(const TAddressSuggestion& s)
{
    QStringList parts;
    for (const QString& part : {s.name, s.company})
        if (!part.isEmpty())
            parts << part;
    const QString who = parts.join(QStringLiteral(" – "));
    return who.isEmpty() ? s.email : who + QStringLiteral(" <") + s.email + QLatin1Char('>');
}

std::optional<TComposeRecipient> recipientOf(const QString& entry, TEmpfaengerTyp kind)
{
    const auto m = ParseMailbox(entry);
    if (!m || !IsValidEMailAddress(m->Address()))
        return std::nullopt;
    return TComposeRecipient{m->Address(), m->displayName, {}, 0, 0, 0, kind};
}

}  // namespace

bool SuggestionMatches(const TAddressSuggestion& suggestion, const QString& text)
{
    const QString wanted = text.trimmed();
    for (const QString& field : {suggestion.name, suggestion.company, suggestion.email})
        if (field.contains(wanted, Qt::CaseInsensitive))
            return true;
    return false;
}

TRecipientLine ParseRecipientLine(const QString& text, TEmpfaengerTyp kind)
{
    TRecipientLine line;
    for (const QString& raw : SplitAddressList(text)) {
        const QString entry = raw.trimmed();
        if (entry.isEmpty())
            continue;
        if (const auto recipient = recipientOf(entry, kind))
            line.recipients << *recipient;
        else
            line.invalid << entry;
    }
    return line;
}

TRecipientEntry::TRecipientEntry(QWidget* parent) : QWidget(parent)
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    cbArt = new QComboBox(this);
    for (TEmpfaengerTyp kind : {TEmpfaengerTyp::elAn, TEmpfaengerTyp::elCc, TEmpfaengerTyp::elBcc})
        cbArt->addItem(KindCaption(kind));
    edAdresse = new QLineEdit(this);
    edAdresse->setPlaceholderText(Tx(3205, "Adresse, Name oder Firma eingeben; Enter fügt hinzu"));
    edAdresse->setClearButtonEnabled(true);
    row->addWidget(cbArt);
    row->addWidget(edAdresse, 1);
    FSuggestions = new QStandardItemModel(this);
    FCompleter = new QCompleter(FSuggestions, this);
    FCompleter->setCompletionMode(QCompleter::UnfilteredPopupCompletion);
    FCompleter->setCompletionRole(CompletionRole);
    FCompleter->setWidget(edAdresse);
    FCompleter->popup()->installEventFilter(this);
    connect(edAdresse, &QLineEdit::textEdited, this, &TRecipientEntry::suggest);
    connect(FCompleter, qOverload<const QString&>(&QCompleter::activated), this, &TRecipientEntry::complete);
    connect(edAdresse, &QLineEdit::returnPressed, this, [this] {
        // A highlighted suggestion is taken by the completer right after.
        if (!FCompleter->popup()->isVisible() || !FCompleter->popup()->currentIndex().isValid())
            emit submitted();
    });
}

TEmpfaengerTyp TRecipientEntry::Kind() const
{
    return static_cast<TEmpfaengerTyp>(std::max(0, cbArt->currentIndex()));
}

void TRecipientEntry::SetKind(TEmpfaengerTyp kind)
{
    cbArt->setCurrentIndex(static_cast<int>(kind));
}

QString TRecipientEntry::currentEntry() const
{
    const QStringList entries = SplitAddressList(edAdresse->text());
    return entries.isEmpty() ? QString() : entries.last();
}

void TRecipientEntry::suggest(const QString&)
{
    const QString typed = currentEntry().trimmed();
    showSuggestions(typed.isEmpty() || !FSource ? QList<TAddressSuggestion>() : FSource(typed));
}

void TRecipientEntry::showSuggestions(const QList<TAddressSuggestion>& suggestions)
{
    FSuggestions->clear();
    for (const TAddressSuggestion& s : suggestions) {
        auto* item = new QStandardItem(popupText(s));
        item->setData(mailboxText(s), CompletionRole);
        FSuggestions->appendRow(item);
    }
    FKnown += suggestions;
    if (suggestions.isEmpty()) {
        FCompleter->popup()->hide();
        return;
    }
    // Nothing highlighted: Down reaches the first suggestion, Enter without
    // one takes the line as typed.
    FCompleter->complete();
    FCompleter->popup()->setCurrentIndex(QModelIndex());
}

// Esc in the list closes the list, not the window around it.
bool TRecipientEntry::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == FCompleter->popup() && event->type() == QEvent::KeyPress
        && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        FCompleter->popup()->hide();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

// The chosen address replaces the entry being typed; the ones before stay.
void TRecipientEntry::complete(const QString& chosen)
{
    const QString text = edAdresse->text();
    QString before = text.left(text.size() - currentEntry().size());
    if (!before.isEmpty())
        before += QLatin1Char(' ');
    edAdresse->setText(before + chosen);
    emit submitted();
}

void TRecipientEntry::completeFromKnown(TComposeRecipient& recipient) const
{
    for (const TAddressSuggestion& s : FKnown)
        if (s.email.compare(recipient.email, Qt::CaseInsensitive) == 0) {
            if (recipient.name.isEmpty())
                recipient.name = s.name;
            recipient.company = s.company;
            return;
        }
}

TRecipientLine TRecipientEntry::Take()
{
    TRecipientLine line = ParseRecipientLine(edAdresse->text(), Kind());
    for (TComposeRecipient& r : line.recipients)
        completeFromKnown(r);
    edAdresse->setText(line.invalid.join(QStringLiteral("; ")));
    FCompleter->popup()->hide();
    return line;
}

}  // namespace kalvex
