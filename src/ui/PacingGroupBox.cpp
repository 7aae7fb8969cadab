#include "ui/PacingGroupBox.h"

#include "config/LanguageUnit.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSpinBox>

namespace kalvex {

TPacingGroupBox::TPacingGroupBox(QWidget* parent) : QGroupBox(parent)
{
    setObjectName(QStringLiteral("gbPacing"));
    chkPacing = new QCheckBox(this);
    edMailsPerMinute = new QSpinBox(this);
    edMailsPerMinute->setRange(1, 600);
    edMailsPerMinute->setValue(kPacingPresets[0].mailsPerMinute);
    lbPerMinute = new QLabel(this);
    cbPreset = new QComboBox(this);
    lbPreset = new QLabel(this);
    edTries = new QSpinBox(this);
    edTries->setRange(1, 10);
    lbTries = new QLabel(this);
    auto* rate = new QHBoxLayout;
    rate->addWidget(chkPacing);
    rate->addWidget(edMailsPerMinute);
    rate->addWidget(lbPerMinute, 1);
    auto* form = new QFormLayout(this);
    form->addRow(rate);
    form->addRow(lbPreset, cbPreset);
    form->addRow(lbTries, edTries);
    connect(chkPacing, &QCheckBox::toggled, this, [this] { pacingToggled(); });
    connect(cbPreset, &QComboBox::activated, this, [this](int index) { presetChosen(index); });
    translateCaptions();
    Initialize(TSendPacingSettings());
}

void TPacingGroupBox::translateCaptions()
{
    setTitle(Tx(3620, "Versandtempo beim separaten Senden"));
    chkPacing->setText(Tx(3621, "höchstens"));
    lbPerMinute->setText(Tx(3622, "E-Mails pro Minute"));
    lbPreset->setText(Tx(3623, "Vorgabe des Anbieters"));
    lbTries->setText(Tx(3624, "Versuche bei vorübergehender Ablehnung"));
    cbPreset->clear();
    cbPreset->addItem(Tx(3625, "(keine)"), 0);
    for (const TPacingPreset& p : kPacingPresets)
        cbPreset->addItem(QStringLiteral("%1 (%2)").arg(QString::fromLatin1(p.provider)).arg(p.mailsPerMinute), p.mailsPerMinute);
}

void TPacingGroupBox::showEvent(QShowEvent* event)
{
    translateCaptions();
    QGroupBox::showEvent(event);
}

void TPacingGroupBox::Initialize(const TSendPacingSettings& pacing)
{
    FLoaded = pacing;
    chkPacing->setChecked(pacing.mailsPerMinute > 0);
    if (pacing.mailsPerMinute > 0)
        edMailsPerMinute->setValue(pacing.mailsPerMinute);
    edTries->setValue(pacing.tries);
    pacingToggled();
}

TSendPacingSettings TPacingGroupBox::Pacing() const
{
    TSendPacingSettings pacing = FLoaded;
    pacing.mailsPerMinute = chkPacing->isChecked() ? edMailsPerMinute->value() : 0;
    pacing.tries = edTries->value();
    return pacing;
}

// A preset turns the limit on with the provider's rate; "(keine)" off.
void TPacingGroupBox::presetChosen(int index)
{
    const int perMinute = cbPreset->itemData(index).toInt();
    chkPacing->setChecked(perMinute > 0);
    if (perMinute > 0)
        edMailsPerMinute->setValue(perMinute);
}

void TPacingGroupBox::pacingToggled()
{
    edMailsPerMinute->setEnabled(chkPacing->isChecked());
}

}  // namespace kalvex
