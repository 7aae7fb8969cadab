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

}  // namespace kalvex
