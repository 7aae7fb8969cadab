// The compose page's helpers for writing comfortably: the field tree beside
// the body and the placeholders it inserts.
#include "ui/fMainForm.h"

#include "config/LanguageUnit.h"
#include "ui/AttachmentDisplay.h"

#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QTableWidget>
#include <QTextEdit>
#include <QScrollBar>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace kalvex {

// Narrow beside the body; the splitter folds it away when the text needs the room.
QWidget* TMainForm::buildFieldPanel()
{
    FFieldPanel = new QWidget(this);
    auto* column = new QVBoxLayout(FFieldPanel);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(new QLabel(Tx(3206, "Vorhandene Felder (einfach)"), FFieldPanel));
    tvFelder = new QTreeWidget(FFieldPanel);
    tvFelder->setRootIsDecorated(false);
    tvFelder->setHeaderLabels({Tx(1965, "Feldname"), Tx(1966, "Wert"), Tx(1967, "Beschreibung")});
    tvFelder->setToolTip(Tx(3207, "Doppelklick fügt das Feld an der Schreibmarke ein."));
    tvFelder->setColumnWidth(0, 90);
    tvFelder->setColumnWidth(1, 110);
    connect(tvFelder, &QTreeWidget::itemDoubleClicked, this,
            [this](QTreeWidgetItem* item) { insertPlaceholder(item->text(0)); });
    column->addWidget(tvFelder, 1);
    FFieldPanel->setMinimumWidth(160);
    FFieldPanel->hide();   // until a template kind is set
    return FFieldPanel;
}

void TMainForm::ShowFieldEntries(const QList<TFieldEntry>& entries)
{
    FillFieldTree(*tvFelder, entries);
    widenFieldPanel();
    cbWerteEinfuegen->clear();
    for (const TFieldEntry& e : entries)
        cbWerteEinfuegen->addItem(e.name);
    cbWerteEinfuegen->setCurrentIndex(-1);
}

// The panel takes from the body what the names and values need.
void TMainForm::widenFieldPanel()
{
    const int needed = tvFelder->columnWidth(0) + tvFelder->columnWidth(1) + 2 * tvFelder->frameWidth()
                     + tvFelder->verticalScrollBar()->sizeHint().width();
    FFieldPanel->setMinimumWidth(std::clamp(needed, 160, 360));
}

void TMainForm::insertPlaceholder(const QString& name)
{
    edBody->textCursor().insertText(FieldPlaceholder(name));
    edBody->setFocus();
}

}  // namespace kalvex
