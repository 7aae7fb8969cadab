#include "ui/MessageBoxes.h"

#include "config/LanguageUnit.h"

#include <QMessageBox>
#include <QPushButton>

namespace kalvex {

namespace {

QString caption()
{
    return QStringLiteral("Kalvex");
}

}  // namespace

void TMessageBoxes::ShowError(const QString& text)
{
    QMessageBox::critical(FParent, caption(), text);
}

void TMessageBoxes::ShowInformation(const QString& text)
{
    QMessageBox::information(FParent, caption(), text);
}

bool TMessageBoxes::AskYesNo(const QString& text)
{
    QMessageBox box(QMessageBox::Question, caption(), text, QMessageBox::NoButton, FParent);
    QPushButton* yes = box.addButton(Tx(1830, "Ja"), QMessageBox::YesRole);
    box.addButton(Tx(1831, "Nein"), QMessageBox::NoRole);
    box.exec();
    return box.clickedButton() == static_cast<QAbstractButton*>(yes);
}

}  // namespace kalvex
