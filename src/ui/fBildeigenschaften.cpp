#include "ui/fBildeigenschaften.h"

#include "config/LanguageUnit.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>

namespace kalvex {

namespace {

QSpinBox* pixelBox(int value, QWidget* parent)
{
    auto* box = new QSpinBox(parent);
    box->setRange(1, 10000);
    box->setSuffix(QStringLiteral(" px"));
    box->setValue(value);
    return box;
}

}  // namespace

TFormBildeigenschaften::TFormBildeigenschaften(QSize shown, QSize natural, QWidget* parent)
    : QDialog(parent), FNatural(natural.isEmpty() ? shown : natural)
{
    setObjectName(QStringLiteral("FormBildeigenschaften"));
    setWindowTitle(Tx(3005, "Bildeigenschaften"));
    auto* form = new QFormLayout(this);
    edBreite = pixelBox(shown.width(), this);
    edHoehe = pixelBox(shown.height(), this);
    chbSeitenverhaeltnis = new QCheckBox(Tx(3050, "Seitenverhältnis beibehalten"), this);
    chbSeitenverhaeltnis->setChecked(true);
    form->addRow(Tx(3051, "Breite"), edBreite);
    form->addRow(Tx(3052, "Höhe"), edHoehe);
    form->addRow(chbSeitenverhaeltnis);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Cancel)->setText(Tx(1855, "Abbrechen"));
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(edBreite, &QSpinBox::valueChanged, this, [this] { keepRatio(true); });
    connect(edHoehe, &QSpinBox::valueChanged, this, [this] { keepRatio(false); });
}

QSize TFormBildeigenschaften::ShownSize() const
{
    return {edBreite->value(), edHoehe->value()};
}

void TFormBildeigenschaften::keepRatio(bool widthChanged)
{
    if (!chbSeitenverhaeltnis->isChecked() || FNatural.isEmpty())
        return;
    const QSignalBlocker blockWidth(edBreite), blockHeight(edHoehe);
    if (widthChanged)
        edHoehe->setValue(qRound(edBreite->value() * double(FNatural.height()) / FNatural.width()));
    else
        edBreite->setValue(qRound(edHoehe->value() * double(FNatural.width()) / FNatural.height()));
}

}  // namespace kalvex
