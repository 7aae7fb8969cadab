#pragma once
// The body editor's table commands on a QTextDocument, apart from any
// window: rows and columns, merging and splitting, cell borders, and the
// width of every table set to the full page width.

#include <QColor>
#include <QStringList>
#include <QTextLength>

class QTextCursor;
class QTextDocument;
class QTextTable;
class QTextTableCellFormat;

namespace kalvex {

enum class TBorderSide { Left, Right, Top, Bottom };
enum class TBorderSet { All, Outer, Inner, None, Left, Right, Top, Bottom };

// The cells the cursor covers: its selected cells, else its own cell.
struct TCellRange {
    int row = 0, column = 0, rows = 1, columns = 1;
};
TCellRange CellRangeAt(const QTextCursor& cursor, const QTextTable& table);

// Each returns false when there was nothing to do (no table at the cursor,
// no cells selected to merge, no merged cell to split).
bool InsertTableRow(const QTextCursor& cursor, bool below);
bool DeleteTableRows(const QTextCursor& cursor);
bool InsertTableColumn(const QTextCursor& cursor, bool right);
bool DeleteTableColumns(const QTextCursor& cursor);
bool MergeTableCells(const QTextCursor& cursor);
bool SplitTableCell(const QTextCursor& cursor);
bool SetCellVerticalAlignment(const QTextCursor& cursor, Qt::Alignment alignment);   // top, vcenter, bottom

// Borders of the cells under the cursor; width in pixels.
constexpr double kDefaultBorderWidth = 1.0;
bool ApplyTableBorders(const QTextCursor& cursor, TBorderSet set, double width = kDefaultBorderWidth);
bool ApplyBorderColor(const QTextCursor& cursor, TBorderSide side, const QColor& color);
// One side of a cell format: a width of -1 means "as the table says".
double CellBorderWidth(const QTextTableCellFormat& format, TBorderSide side);
QColor CellBorderColor(const QTextTableCellFormat& format, TBorderSide side);
void SetCellBorder(QTextTableCellFormat& format, TBorderSide side, double width);
void SetCellBorderColor(QTextTableCellFormat& format, TBorderSide side, const QColor& color);

// The tables of a document, nested ones included, in reading order.
QList<QTextTable*> DocumentTables(const QTextDocument& document);

// Below these a table is a deliberate small box (a stamp, a logo frame)
// and keeps its width.
constexpr double kMinimumTableCm = 3.0;
constexpr double kMinimumTablePercent = 20.0;
double PixelsToCm(double pixels);

// A table's width as fixed pixels or a percentage; an automatic width is
// taken as laid out.
QTextLength TableWidth(const QTextTable& table);
bool IsFullWidth(const QTextLength& width);
// The question before the change, empty when the table is at 100 % already.
QString FullWidthQuestion(const QTextLength& width);
// Sets every table of the document to 100 % and says per table what was
// done, one line each ("Tabelle 1 => 100%").
QStringList SetTablesTo100Percent(const QTextDocument& document);

}  // namespace kalvex
