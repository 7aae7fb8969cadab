#include "ui/LinkDialog.h"

#include "config/LanguageUnit.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>

namespace kalvex {

TLinkDialog::TLinkDialog(const QString& text, QWidget* parent)
    : QDialog(parent), FText(new QLineEdit(text, this)), FAddress(new QLineEdit(this))
{
    setWindowTitle(Tx(4100, "Link einfügen"));
    setObjectName(QStringLiteral("TLinkDialog"));
    FText->setObjectName(QStringLiteral("edLinkText"));
    FAddress->setObjectName(QStringLiteral("edLinkAdresse"));
    FAddress->setPlaceholderText(QStringLiteral("https://"));
    auto* form = new QFormLayout(this);
    form->addRow(Tx(4101, "Text:"), FText);
    form->addRow(Tx(4102, "Adresse:"), FAddress);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    const auto enableOk = [this, buttons] { buttons->button(QDialogButtonBox::Ok)->setEnabled(!Address().isEmpty()); };
    connect(FAddress, &QLineEdit::textChanged, this, enableOk);
    enableOk();
    (text.isEmpty() ? FText : FAddress)->setFocus();
}

QString TLinkDialog::Text() const
{
    return FText->text();
}

QString TLinkDialog::Address() const
{
    return FAddress->text().trimmed();
}

}  // namespace kalvex
