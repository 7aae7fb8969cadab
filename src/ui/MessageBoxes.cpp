#include "ui/MessageBoxes.h"

#include "config/LanguageUnit.h"

#include <QMessageBox>
#include <QPushButton>
#include <cstdio>

namespace kalvex {

namespace {

QString caption()
{
    return QStringLiteral("Kalvex");
}

// Unattended runs (KALVEX_AUTOCLOSE=1) print the message and answer "no":
// nobody is there to click.
bool unattended(const QString& text)
{
    if (qEnvironmentVariableIntValue("KALVEX_AUTOCLOSE") != 1)
        return false;
    std::fprintf(stderr, "Kalvex: %s\n", qPrintable(text));
    return true;
}

}  // namespace

void TMessageBoxes::ShowError(const QString& text)
{
    if (unattended(text))
        return;
    QMessageBox::critical(FParent, caption(), text);
}

void TMessageBoxes::ShowInformation(const QString& text)
{
    if (unattended(text))
        return;
    QMessageBox::information(FParent, caption(), text);
}

bool TMessageBoxes::AskYesNo(const QString& text)
{
    if (unattended(text))
        return false;
    QMessageBox box(QMessageBox::Question, caption(), text, QMessageBox::NoButton, FParent);
    QPushButton* yes = box.addButton(Tx(1830, "Ja"), QMessageBox::YesRole);
    box.addButton(Tx(1831, "Nein"), QMessageBox::NoRole);
    box.exec();
    return box.clickedButton() == static_cast<QAbstractButton*>(yes);
}

IUserMessages::TAnswer TMessageBoxes::AskYesNoCancel(const QString& text)
{
    if (unattended(text))
        return TAnswer::No;
    QMessageBox box(QMessageBox::Question, caption(), text, QMessageBox::NoButton, FParent);
    QPushButton* yes = box.addButton(Tx(1830, "Ja"), QMessageBox::YesRole);
    QPushButton* no = box.addButton(Tx(1831, "Nein"), QMessageBox::NoRole);
    QPushButton* cancel = box.addButton(Tx(1855, "Abbrechen"), QMessageBox::RejectRole);
    box.setDefaultButton(yes);
    box.setEscapeButton(cancel);
    box.exec();
    if (box.clickedButton() == static_cast<QAbstractButton*>(yes))
        return TAnswer::Yes;
    return box.clickedButton() == static_cast<QAbstractButton*>(no) ? TAnswer::No : TAnswer::Cancel;
}

}  // namespace kalvex
