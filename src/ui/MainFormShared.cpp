// Helpers the distribution window's source files share: a read-only grid
// and the cells its grids are filled with.
#include "ui/MainFormShared.h"

#include "config/InterfaceLocale.h"
#include "ui/AttachmentDisplay.h"

#include <QHeaderView>
#include <QTableWidget>
#include <cmath>

namespace kalvex::mainform {

QTableWidget* makeGrid(QWidget* parent, const QStringList& headers)
{
    auto* grid = new QTableWidget(0, static_cast<int>(headers.size()), parent);
    grid->setHorizontalHeaderLabels(headers);
    grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grid->verticalHeader()->setVisible(false);
    grid->horizontalHeader()->setStretchLastSection(true);
    return grid;
}

QTableWidgetItem* cell(const QString& text)
{
    return new QTableWidgetItem(text);
}

// Sizes read the same everywhere: "301 KB", "3,50 MB", right-aligned.
QTableWidgetItem* sizeCell(double bytes)
{
    auto* item = new QTableWidgetItem(FormatAttachmentSize(std::llround(bytes), InterfaceLocale()));
    item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return item;
}

}  // namespace kalvex::mainform
