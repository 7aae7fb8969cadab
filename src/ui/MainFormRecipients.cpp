// The distribution window's recipients: the recipient line with its
// completion, the grid with each recipient's kind, the picker and presets.
#include "ui/fMainForm.h"

#include "compose/RecipientFieldMarks.h"
#include "config/LanguageUnit.h"
#include "ui/DisplayTexts.h"
#include "ui/MainFormRules.h"
#include "ui/MainFormShared.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace kalvex {

using namespace mainform;

QWidget* TMainForm::buildRecipientArea()
{
    auto* area = new QWidget(this);
    auto* column = new QVBoxLayout(area);
    column->setContentsMargins(0, 0, 0, 0);
    edEmpfaenger = new TRecipientEntry(area);
    edEmpfaenger->SetSource([this](const QString& text) {
        return FServices.addressSuggestions ? FServices.addressSuggestions(text) : QList<TAddressSuggestion>();
    });
    connect(edEmpfaenger, &TRecipientEntry::submitted, this, &TMainForm::TakeRecipientEntry);
    column->addWidget(edEmpfaenger);
    auto* row = new QHBoxLayout;
    column->addLayout(row, 1);
    gridEmpf = makeGrid(area, {Tx(1954, "E-Mail"), Tx(1955, "Name"), Tx(1956, "Firma"), QStringLiteral("AdressDB_ID"),
                               QStringLiteral("tmpID"), QStringLiteral("KontaktID"), Tx(1957, "Empfängerliste")});
    for (int hidden : {ColAdressDB, ColTmpID, ColKontaktID})
        gridEmpf->setColumnHidden(hidden, true);
    // One line per recipient, as high as its kind box: more rows in view.
    gridEmpf->setWordWrap(false);
    gridEmpf->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    gridEmpf->verticalHeader()->setDefaultSectionSize(QComboBox().sizeHint().height());
    row->addWidget(gridEmpf, 1);
    auto* side = new QVBoxLayout;
    auto* plus = new QToolButton(area);
    plus->setText(QStringLiteral("+"));
    connect(plus, &QToolButton::clicked, barbtAddContactManually, &QAction::trigger);
    auto* fromDb = new QToolButton(area);
    fromDb->setDefaultAction(btAusAdrDBUebernehmen);
    auto* choose = new QPushButton(Tx(1958, "Wählen"), area);
    connect(choose, &QPushButton::clicked, barbtSelectContacts, &QAction::trigger);
    auto* preset = new QGroupBox(Tx(1959, "Voreinstellung"), area);
    auto* presetRow = new QHBoxLayout(preset);
    for (int i = 0; i < 3; ++i) {
        rbVoreinstellung[i] = new QRadioButton(KindCaption(static_cast<TEmpfaengerTyp>(i)), preset);
        presetRow->addWidget(rbVoreinstellung[i]);
        connect(rbVoreinstellung[i], &QRadioButton::toggled, this, [this, i](bool on) {
            if (on)
                edEmpfaenger->SetKind(static_cast<TEmpfaengerTyp>(i));
        });
    }
    rbVoreinstellung[0]->setChecked(true);
    chbSeperatSenden = new QCheckBox(Tx(1960, "separat senden"), area);
    connect(chbSeperatSenden, &QCheckBox::toggled, this, [this](bool on) {
        FModel.SeparateFlag = on;
        if (FFieldMarks)
            FFieldMarks->SetActive(!on);   // recipient fields are filled only per mail
    });
    btVorschau = new QPushButton(Tx(3440, "Vorschau"), area);
    btVorschau->setToolTip(Tx(3445, "Zeigt die E-Mail, wie jeder Empfänger sie bei \"separat senden\" erhält"));
    connect(btVorschau, &QPushButton::clicked, this, &TMainForm::ShowPreview);
    // Three short rows, so the column fits beside six recipient rows.
    auto* pickRow = new QHBoxLayout;
    for (QWidget* w : {static_cast<QWidget*>(plus), static_cast<QWidget*>(fromDb), static_cast<QWidget*>(choose)})
        pickRow->addWidget(w);
    auto* separateRow = new QHBoxLayout;
    separateRow->addWidget(chbSeperatSenden);
    separateRow->addWidget(btVorschau);
    side->addLayout(pickRow);
    side->addWidget(preset);
    side->addLayout(separateRow);
    side->addStretch(1);
    row->addLayout(side);
    return area;
}

// New rows keep the kind chosen in the picker ("An →", "Cc →", "Bcc →"),
// which starts from "Voreinstellung".
// The grid is filled once for all of them, not once per row.
void TMainForm::addPickedRecipients(QList<TComposeRecipient> picked)
{
    bool added = false;
    for (const TComposeRecipient& r : picked)
        added = FModel.AddRecipient(r) || added;
    if (added)
        refreshRecipients();
}

TEmpfaengerTyp TMainForm::PresetKind() const
{
    for (int i = 0; i < 3; ++i)
        if (rbVoreinstellung[i]->isChecked())
            return static_cast<TEmpfaengerTyp>(i);
    return TEmpfaengerTyp::elAn;
}

void TMainForm::AddRecipientRow(const TComposeRecipient& recipient)
{
    if (FModel.AddRecipient(recipient))
        refreshRecipients();
}

void TMainForm::EmpfaengerListePreset()
{
    refreshRecipients();
}

void TMainForm::refreshRecipients()
{
    gridEmpf->setRowCount(0);
    for (size_t i = 0; i < FModel.Recipients.size(); ++i) {
        const TComposeRecipient& r = FModel.Recipients[i];
        const int row = static_cast<int>(i);
        gridEmpf->insertRow(row);
        gridEmpf->setItem(row, ColEmpfAdr, cell(r.email));
        gridEmpf->setItem(row, ColName, cell(r.name));
        gridEmpf->setItem(row, ColFirma, cell(r.company));
        gridEmpf->setItem(row, ColAdressDB, cell(QString::number(r.adressDbId)));
        gridEmpf->setItem(row, ColTmpID, cell(QString::number(r.tmpId)));
        gridEmpf->setItem(row, ColKontaktID, cell(QString::number(r.kontaktId)));
        auto* kind = new QComboBox(gridEmpf);
        kind->addItems({KindCaption(TEmpfaengerTyp::elAn), KindCaption(TEmpfaengerTyp::elCc),
                        KindCaption(TEmpfaengerTyp::elBcc)});
        kind->setCurrentIndex(static_cast<int>(r.kind));
        // Changed in place and posted at once.
        connect(kind, &QComboBox::currentIndexChanged, this, [this, row](int k) {
            if (row < static_cast<int>(FModel.Recipients.size()))
                FModel.Recipients[static_cast<size_t>(row)].kind = static_cast<TEmpfaengerTyp>(k);
        });
        gridEmpf->setCellWidget(row, ColEmpfListe, kind);
    }
    fillFieldTree();   // the recipient fields show the first recipient's values
}

void TMainForm::TakeRecipientEntry()
{
    const TRecipientLine line = edEmpfaenger->Take();
    for (const TComposeRecipient& r : line.recipients)
        FModel.AddRecipient(r);
    refreshRecipients();
    if (line.invalid.isEmpty())
        return;
    FMessages.ShowError(Tx(1995, "Die Adresse %1 scheint fehlerhaft zu sein.").arg(line.invalid.first()));
    edEmpfaenger->edAdresse->setFocus();
}

}  // namespace kalvex
