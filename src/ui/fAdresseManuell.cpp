#include "ui/fAdresseManuell.h"

#include "config/LanguageUnit.h"
#include "mailinterface/MailAddress.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace kalvex {

TFormAdresseManuell::TFormAdresseManuell(QWidget* parent) : QDialog(parent)
{
    setWindowTitle(Tx(1915, "Empfänger manuell hinzufügen"));
    auto* form = new QFormLayout(this);
    edEMail = new QLineEdit(this);
    edName = new QLineEdit(this);
    edFirma = new QLineEdit(this);
    lbHinweis = new QLabel(this);
    lbHinweis->setStyleSheet(QStringLiteral("color: #b00020"));
    // Wide enough for long addresses and for the title in the title bar.
    for (QLineEdit* edit : {edEMail, edName, edFirma})
        edit->setMinimumWidth(300);
    setMinimumWidth(fontMetrics().horizontalAdvance(windowTitle()) + 160);
    form->addRow(Tx(1994, "E-Mail-Adresse*"), edEMail);
    form->addRow(Tx(1955, "Name"), edName);
    form->addRow(Tx(1956, "Firma"), edFirma);
    form->addRow(lbHinweis);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    btOK = buttons->button(QDialogButtonBox::Ok);
    buttons->button(QDialogButtonBox::Cancel)->setText(Tx(1855, "Abbrechen"));
    connect(buttons, &QDialogButtonBox::accepted, this, &TFormAdresseManuell::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    form->addRow(buttons);
}

TComposeRecipient TFormAdresseManuell::Recipient() const
{
    return TComposeRecipient{edEMail->text().trimmed(), edName->text().trimmed(), edFirma->text().trimmed(), 0, 0, 0,
                             TEmpfaengerTyp::elAn};
}

bool CheckAddressField(QLineEdit* field, QLabel* hint)
{
    const QString address = field->text().trimmed();
    if (IsValidEMailAddress(address))
        return true;
    hint->setText(Tx(1995, "Die Adresse %1 scheint fehlerhaft zu sein.").arg(address));
    field->setFocus();
    return false;
}

void TFormAdresseManuell::accept()
{
    if (CheckAddressField(edEMail, lbHinweis))
        QDialog::accept();
}

}  // namespace kalvex
