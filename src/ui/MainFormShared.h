// Helpers the distribution window's source files share: its grid columns,
// a read-only grid, and the cells its grids are filled with.
#pragma once

#include <QString>
#include <QStringList>

class QTableWidget;
class QTableWidgetItem;
class QWidget;

namespace kalvex::mainform {

enum RecipientColumn { ColEmpfAdr, ColName, ColFirma, ColAdressDB, ColTmpID, ColKontaktID, ColEmpfListe };
enum AttachmentColumn { ColAnhangFile, ColAnhangSize };

QTableWidget* makeGrid(QWidget* parent, const QStringList& headers);

QTableWidgetItem* cell(const QString& text);

// Sizes read the same everywhere: "301 KB", "3,50 MB", right-aligned.
QTableWidgetItem* sizeCell(double bytes);

}  // namespace kalvex::mainform
