#include "ui/fRunSummary.h"

#include "config/LanguageUnit.h"
#include "send/MailingRun.h"
#include "ui/WindowRunner.h"

#include <QDialogButtonBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace kalvex {

TFormRunSummary::TFormRunSummary(const TSeparateRunSummary& summary, QWidget* parent) : QDialog(parent)
{
    setObjectName(QStringLiteral("FormRunSummary"));
    setWindowTitle(Tx(3612, "Rundschreiben versendet"));
    auto* layout = new QVBoxLayout(this);
    lbResult = new QLabel(RunSummaryText(summary), this);
    lbResult->setWordWrap(true);
    lvRecipients = new QTreeWidget(this);
    lvRecipients->setHeaderLabels({Tx(3613, "Empfänger"), Tx(3614, "Ergebnis")});
    lvRecipients->setRootIsDecorated(false);
    lvRecipients->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    auto* buttons = new QDialogButtonBox(this);
    btResend = buttons->addButton(Tx(3615, "Erneut an fehlgeschlagene Empfänger senden"), QDialogButtonBox::AcceptRole);
    btClose = buttons->addButton(Tx(3616, "Schließen"), QDialogButtonBox::RejectRole);
    btResend->setVisible(!summary.Missing().isEmpty());
    connect(btResend, &QPushButton::clicked, this, [this] { FResend = true; accept(); });
    connect(btClose, &QPushButton::clicked, this, &QDialog::reject);
    layout->addWidget(lbResult);
    layout->addWidget(lvRecipients);
    layout->addWidget(buttons);
    fillList(summary);
    resize(560, 380);
}

// Those who did not get the mail first: they are what the user looks for;
// then those whose delivery is unknown.
void TFormRunSummary::fillList(const TSeparateRunSummary& s)
{
    for (const auto& [address, reason] : s.failed)
        addRow(address, Tx(2306, "nicht gesendet: %1").arg(reason));
    for (const QString& address : s.notSent)
        addRow(address, Tx(2305, "abgebrochen, nicht gesendet"));
    // Probably delivered: listed apart and never part of "Erneut senden".
    for (const auto& [address, reason] : s.unknown)
        addRow(address, DeliveryUnknownText() + QStringLiteral(": ") + reason);
    for (const QString& address : s.sent)
        addRow(address, Tx(2304, "gesendet"));
}

void TFormRunSummary::addRow(const QString& address, const QString& result)
{
    auto* item = new QTreeWidgetItem(lvRecipients, {address, result});
    item->setToolTip(1, result);
}

bool ShowRunSummary(QWidget* parent, const TSeparateRunSummary& summary)
{
    TFormRunSummary dialog(summary, parent);
    RunModal(dialog);
    return dialog.ResendChosen();
}

}  // namespace kalvex
