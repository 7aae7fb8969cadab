#include "ui/fDarstellung.h"

#include "config/IniPlus.h"
#include "config/LanguageUnit.h"
#include "config/uConfig.h"
#include "ui/RibbonGroup.h"
#include "ui/WindowRunner.h"

#include <QAction>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QPixmap>
#include <QStyleFactory>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

namespace kalvex {

namespace {

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

TFormDarstellung::TFormDarstellung(const TDisplaySettings& settings, QWidget* parent)
    : QDialog(parent), FAccent(settings.accent)
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
    cbFarbschema = new QComboBox(this);
    cbFarbschema->addItems({Tx(3103, "System"), Tx(3104, "hell"), Tx(3105, "dunkel")});
    cbFarbschema->setCurrentIndex(static_cast<int>(settings.scheme));
    cbStil = styleChoice(settings.style);
    form->addRow(Tx(2284, "Schriftgröße"), seSchriftgroesse);
    form->addRow(cbAutoBreite);
    form->addRow(cbZentriert);
    form->addRow(Tx(3106, "Farbschema"), cbFarbschema);
    form->addRow(Tx(3107, "Akzent"), accentRow());
    form->addRow(Tx(3108, "Stil"), cbStil);
    form->addRow(okCancel(this));
    SetAccent(FAccent);
    for (QComboBox* box : {cbFarbschema, cbStil})
        connect(box, &QComboBox::currentIndexChanged, this, &TFormDarstellung::emitChanged);
    connect(seSchriftgroesse, &QSpinBox::valueChanged, this, &TFormDarstellung::emitChanged);
    for (QCheckBox* box : {cbAutoBreite, cbZentriert})
        connect(box, &QCheckBox::toggled, this, &TFormDarstellung::emitChanged);
}

// The colour button opens the colour choice; "Standard" goes back to the scheme's.
QWidget* TFormDarstellung::accentRow()
{
    auto* row = new QWidget(this);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    btAkzent = new QPushButton(row);
    connect(btAkzent, &QPushButton::clicked, this, [this] {
        const QColor chosen = QColorDialog::getColor(FAccent.isValid() ? FAccent : palette().color(QPalette::Highlight), this,
                                                     Tx(3107, "Akzent"));
        if (chosen.isValid())
            SetAccent(chosen);
    });
    auto* standard = new QPushButton(Tx(2281, "Standard"), row);
    connect(standard, &QPushButton::clicked, this, [this] { SetAccent(QColor()); });
    layout->addWidget(btAkzent, 1);
    layout->addWidget(standard);
    return row;
}

QComboBox* TFormDarstellung::styleChoice(const QString& current)
{
    auto* box = new QComboBox(this);
    box->addItem(Tx(2281, "Standard"), QString());
    for (const QString& key : QStyleFactory::keys())
        box->addItem(key, key);
    const int index = box->findData(current, Qt::UserRole, Qt::MatchFixedString);
    box->setCurrentIndex(index < 0 ? 0 : index);
    return box;
}

void TFormDarstellung::SetAccent(const QColor& accent)
{
    FAccent = accent;
    btAkzent->setText(accent.isValid() ? accent.name() : Tx(3109, "Farbe wählen …"));
    QPixmap swatch(16, 16);
    swatch.fill(accent.isValid() ? accent : Qt::transparent);
    btAkzent->setIcon(QIcon(swatch));
    emitChanged();
}

void TFormDarstellung::emitChanged()
{
    emit Changed(Settings());
}

TDisplaySettings TFormDarstellung::Settings() const
{
    TDisplaySettings s;
    s.fontSize = seSchriftgroesse->value();
    s.autoWidth = cbAutoBreite->isChecked();
    s.centred = cbZentriert->isChecked();
    s.scheme = static_cast<TFarbschema>(qMax(0, cbFarbschema->currentIndex()));
    s.accent = FAccent;
    s.style = cbStil->currentData().toString();
    return s;
}

TFormTastenkombinationen::TFormTastenkombinationen(const QList<QAction*>& actions, QWidget* parent) : QDialog(parent)
{
    setWindowTitle(Tx(2285, "Tastenkombinationen"));
    auto* layout = new QVBoxLayout(this);
    gridTasten = new QTableWidget(0, 2, this);
    gridTasten->setHorizontalHeaderLabels({Tx(2286, "Befehl"), Tx(2287, "Tasten")});
    gridTasten->setEditTriggers(QAbstractItemView::NoEditTriggers);
    gridTasten->verticalHeader()->hide();
    for (const QAction* action : actions) {
        if (action->shortcut().isEmpty())
            continue;
        const int row = gridTasten->rowCount();
        gridTasten->insertRow(row);
        gridTasten->setItem(row, 0, new QTableWidgetItem(CommandName(action)));
        gridTasten->setItem(row, 1, new QTableWidgetItem(ShortcutText(action->shortcut())));
    }
    fitGridToContents();
    auto* close = new QDialogButtonBox(QDialogButtonBox::Close, this);
    close->button(QDialogButtonBox::Close)->setText(Tx(2230, "Schließen"));
    connect(close, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(gridTasten);
    layout->addWidget(close);
}

// Every entry shows without scrolling, as far as the screen allows.
void TFormTastenkombinationen::fitGridToContents()
{
    gridTasten->resizeColumnsToContents();
    gridTasten->horizontalHeader()->setStretchLastSection(true);
    const int frame = 2 * gridTasten->frameWidth();
    QSize content(gridTasten->horizontalHeader()->length() + frame + 24,
                  gridTasten->verticalHeader()->length() + gridTasten->horizontalHeader()->sizeHint().height() + frame);
    if (const QScreen* screen = this->screen())
        content = content.boundedTo(screen->availableGeometry().size() - QSize(40, 120));
    gridTasten->setMinimumSize(content);
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
