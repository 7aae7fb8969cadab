#include "ui/fDarstellung.h"

#include "config/IniPlus.h"
#include "config/LanguageUnit.h"
#include "config/uConfig.h"
#include "ui/WindowRunner.h"

#include <QAction>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

namespace kalvex {

namespace {

const QString kDisplaySection = QStringLiteral("Darstellung");
const QString kNoticeSection = QStringLiteral("Hinweise");

QDialogButtonBox* okCancel(QDialog* dialog)
{
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, dialog);
    buttons->button(QDialogButtonBox::Cancel)->setText(Tx(1855, "Abbrechen"));
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    return buttons;
}

}  // namespace

TDisplaySettings LoadDisplaySettings(const TConfig& config)
{
    const TIniFile ini(config.ConfigIniFileName());
    TDisplaySettings s;
    s.fontSize = qBound(0, ini.ReadInteger(kDisplaySection, QStringLiteral("FontSize"), 0), 32);
    s.autoWidth = ini.ReadBool(kDisplaySection, QStringLiteral("AutoBreite"), false);
    s.centred = ini.ReadBool(kDisplaySection, QStringLiteral("GridsZentriert"), false);
    return s;
}

void SaveDisplaySettings(TConfig& config, const TDisplaySettings& s)
{
    TIniFile ini(config.ConfigIniFileName());
    ini.WriteInteger(kDisplaySection, QStringLiteral("FontSize"), s.fontSize);
    ini.WriteBool(kDisplaySection, QStringLiteral("AutoBreite"), s.autoWidth);
    ini.WriteBool(kDisplaySection, QStringLiteral("GridsZentriert"), s.centred);
    config.FNewFontSize = s.fontSize;
    config.FAutoBreite = s.autoWidth;
    config.FGridsZentriert = s.centred;
}

TFormDarstellung::TFormDarstellung(const TDisplaySettings& settings, QWidget* parent) : QDialog(parent)
{
    setWindowTitle(Tx(2280, "Darstellung"));
    auto* form = new QFormLayout(this);
    seSchriftgroesse = new QSpinBox(this);
    seSchriftgroesse->setRange(0, 32);
    seSchriftgroesse->setSpecialValueText(Tx(2281, "Standard"));
    seSchriftgroesse->setSuffix(QStringLiteral(" pt"));
    seSchriftgroesse->setValue(settings.fontSize);
    cbAutoBreite = new QCheckBox(Tx(2282, "Spaltenbreiten automatisch anpassen"), this);
    cbAutoBreite->setChecked(settings.autoWidth);
    cbZentriert = new QCheckBox(Tx(2283, "Listeninhalte zentriert anzeigen"), this);
    cbZentriert->setChecked(settings.centred);
    form->addRow(Tx(2284, "Schriftgröße"), seSchriftgroesse);
    form->addRow(cbAutoBreite);
    form->addRow(cbZentriert);
    form->addRow(okCancel(this));
}

TDisplaySettings TFormDarstellung::Settings() const
{
    return TDisplaySettings{seSchriftgroesse->value(), cbAutoBreite->isChecked(), cbZentriert->isChecked()};
}

TFormTastenkombinationen::TFormTastenkombinationen(const QList<QAction*>& actions, QWidget* parent) : QDialog(parent)
{
    setWindowTitle(Tx(2285, "Tastenkombinationen"));
    resize(460, 420);
    auto* layout = new QVBoxLayout(this);
    gridTasten = new QTableWidget(0, 2, this);
    gridTasten->setHorizontalHeaderLabels({Tx(2286, "Befehl"), Tx(2287, "Tasten")});
    gridTasten->setEditTriggers(QAbstractItemView::NoEditTriggers);
    gridTasten->verticalHeader()->hide();
    gridTasten->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    gridTasten->horizontalHeader()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    for (const QAction* action : actions) {
        if (action->shortcut().isEmpty())
            continue;
        const int row = gridTasten->rowCount();
        gridTasten->insertRow(row);
        gridTasten->setItem(row, 0, new QTableWidgetItem(action->toolTip().remove(QLatin1Char('&'))));
        gridTasten->setItem(row, 1, new QTableWidgetItem(action->shortcut().toString(QKeySequence::NativeText)));
    }
    auto* close = new QDialogButtonBox(QDialogButtonBox::Close, this);
    close->button(QDialogButtonBox::Close)->setText(Tx(2230, "Schließen"));
    connect(close, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(gridTasten);
    layout->addWidget(close);
}

TFormHinweis::TFormHinweis(const QString& text, QWidget* parent) : QDialog(parent)
{
    setWindowTitle(Tx(2288, "Hinweis"));
    auto* layout = new QVBoxLayout(this);
    auto* label = new QLabel(text, this);
    label->setWordWrap(true);
    label->setMinimumWidth(360);
    cbNichtMehrAnzeigen = new QCheckBox(Tx(2289, "Diesen Dialog nicht mehr anzeigen"), this);
    auto* ok = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    connect(ok, &QDialogButtonBox::accepted, this, &QDialog::accept);
    layout->addWidget(label);
    layout->addWidget(cbNichtMehrAnzeigen);
    layout->addWidget(ok);
}

bool TFormHinweis::NichtMehrAnzeigen() const
{
    return cbNichtMehrAnzeigen->isChecked();
}

bool NoticeSuppressed(const QString& key)
{
    const TConfig* config = TConfig::Instance();
    return config && TIniFile(config->ConfigIniFileName()).ReadBool(kNoticeSection, key, false);
}

void ShowNotice(QWidget* parent, const QString& key, const QString& text)
{
    if (NoticeSuppressed(key))
        return;
    TFormHinweis notice(text, parent);
    RunModal(notice);
    if (notice.NichtMehrAnzeigen())
        if (const TConfig* config = TConfig::Instance())
            TIniFile(config->ConfigIniFileName()).WriteBool(kNoticeSection, key, true);
}

}  // namespace kalvex
