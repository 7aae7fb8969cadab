#include "compose/TableCommands.h"

#include "config/LanguageUnit.h"

#include <QAbstractTextDocumentLayout>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextTable>
#include <functional>

namespace kalvex {

namespace {

int widthProperty(TBorderSide side)
{
    static constexpr int ids[] = {QTextFormat::TableCellLeftBorder, QTextFormat::TableCellRightBorder,
                                  QTextFormat::TableCellTopBorder, QTextFormat::TableCellBottomBorder};
    return ids[static_cast<int>(side)];
}

int styleProperty(TBorderSide side)
{
    static constexpr int ids[] = {QTextFormat::TableCellLeftBorderStyle, QTextFormat::TableCellRightBorderStyle,
                                  QTextFormat::TableCellTopBorderStyle, QTextFormat::TableCellBottomBorderStyle};
    return ids[static_cast<int>(side)];
}

int brushProperty(TBorderSide side)
{
    static constexpr int ids[] = {QTextFormat::TableCellLeftBorderBrush, QTextFormat::TableCellRightBorderBrush,
                                  QTextFormat::TableCellTopBorderBrush, QTextFormat::TableCellBottomBorderBrush};
    return ids[static_cast<int>(side)];
}

constexpr TBorderSide kSides[] = {TBorderSide::Left, TBorderSide::Right, TBorderSide::Top, TBorderSide::Bottom};

// Whether a side of a cell lies on the edge of the range.
bool onRangeEdge(const QTextTableCell& cell, const TCellRange& r, TBorderSide side)
{
    switch (side) {
    case TBorderSide::Left: return cell.column() == r.column;
    case TBorderSide::Right: return cell.column() + cell.columnSpan() >= r.column + r.columns;
    case TBorderSide::Top: return cell.row() == r.row;
    case TBorderSide::Bottom: return cell.row() + cell.rowSpan() >= r.row + r.rows;
    }
    return false;
}

bool sideChosen(TBorderSet set, bool outer, TBorderSide side)
{
    switch (set) {
    case TBorderSet::All:
    case TBorderSet::None: return true;
    case TBorderSet::Outer: return outer;
    case TBorderSet::Inner: return !outer;
    case TBorderSet::Left: return outer && side == TBorderSide::Left;
    case TBorderSet::Right: return outer && side == TBorderSide::Right;
    case TBorderSet::Top: return outer && side == TBorderSide::Top;
    case TBorderSet::Bottom: return outer && side == TBorderSide::Bottom;
    }
    return false;
}

// Calls f once for every cell that begins inside the range.
template <typename F>
void forEachCell(QTextTable& table, const TCellRange& r, F f)
{
    for (int row = r.row; row < r.row + r.rows; ++row)
        for (int column = r.column; column < r.column + r.columns; ++column)
            if (QTextTableCell cell = table.cellAt(row, column); cell.row() == row && cell.column() == column)
                f(cell);
}

// One side's border of a cell format as another has it, or as the table
// says when the other has none of its own.
void takeSide(QTextCharFormat& to, const QTextFormat& from, TBorderSide side)
{
    for (int property : {widthProperty(side), styleProperty(side), brushProperty(side)}) {
        if (from.hasProperty(property))
            to.setProperty(property, from.property(property));
        else
            to.clearProperty(property);
    }
}

// A merged cell's sides are the range's outer sides: each from a cell on
// that edge.
void keepOuterBorders(QTextTable& table, const TCellRange& r, const std::function<void()>& merge)
{
    const std::pair<TBorderSide, QTextCharFormat> edges[] = {
        {TBorderSide::Left, table.cellAt(r.row, r.column).format()},
        {TBorderSide::Top, table.cellAt(r.row, r.column).format()},
        {TBorderSide::Right, table.cellAt(r.row, r.column + r.columns - 1).format()},
        {TBorderSide::Bottom, table.cellAt(r.row + r.rows - 1, r.column).format()}};
    merge();
    QTextTableCell merged = table.cellAt(r.row, r.column);
    QTextCharFormat f = merged.format();
    for (const auto& [side, from] : edges)
        takeSide(f, from, side);
    merged.setFormat(f);
}

// Cell borders are drawn per side only in the collapsed border model.
void collapseBorders(QTextTable& table)
{
    QTextTableFormat format = table.format();
    if (format.borderCollapse())
        return;
    format.setBorderCollapse(true);
    table.setFormat(format);
}

bool belowMinimum(const QTextLength& width)
{
    if (width.type() == QTextLength::PercentageLength)
        return width.rawValue() < kMinimumTablePercent;
    return PixelsToCm(width.rawValue()) < kMinimumTableCm;
}

// Fixed column widths would keep the table from stretching: they become
// shares of the whole.
QList<QTextLength> relativeColumns(const QList<QTextLength>& columns)
{
    double sum = 0;
    for (const QTextLength& c : columns) {
        if (c.type() != QTextLength::FixedLength)
            return columns;
        sum += c.rawValue();
    }
    QList<QTextLength> out;
    for (const QTextLength& c : columns)
        out << QTextLength(QTextLength::PercentageLength, sum > 0 ? 100.0 * c.rawValue() / sum : 0);
    return out;
}

void setFullWidth(QTextTable& table)
{
    QTextTableFormat format = table.format();
    format.setWidth(QTextLength(QTextLength::PercentageLength, 100));
    format.setColumnWidthConstraints(relativeColumns(format.columnWidthConstraints()));
    table.setFormat(format);
}

void collectTables(const QTextFrame* frame, QList<QTextTable*>& out)
{
    for (QTextFrame* child : frame->childFrames()) {
        if (auto* table = qobject_cast<QTextTable*>(child))
            out << table;
        collectTables(child, out);
    }
}

}  // namespace

TCellRange CellRangeAt(const QTextCursor& cursor, const QTextTable& table)
{
    TCellRange r;
    if (cursor.hasComplexSelection()) {
        cursor.selectedTableCells(&r.row, &r.rows, &r.column, &r.columns);
        return r;
    }
    const QTextTableCell cell = table.cellAt(cursor);
    return {cell.row(), cell.column(), cell.rowSpan(), cell.columnSpan()};
}

bool InsertTableRow(const QTextCursor& cursor, bool below)
{
    QTextTable* table = cursor.currentTable();
    if (!table)
        return false;
    const QTextTableCell cell = table->cellAt(cursor);
    table->insertRows(below ? cell.row() + cell.rowSpan() : cell.row(), 1);
    return true;
}

bool DeleteTableRows(const QTextCursor& cursor)
{
    QTextTable* table = cursor.currentTable();
    if (!table)
        return false;
    const TCellRange r = CellRangeAt(cursor, *table);
    table->removeRows(r.row, r.rows);   // the last row takes the table with it
    return true;
}

bool InsertTableColumn(const QTextCursor& cursor, bool right)
{
    QTextTable* table = cursor.currentTable();
    if (!table)
        return false;
    const QTextTableCell cell = table->cellAt(cursor);
    table->insertColumns(right ? cell.column() + cell.columnSpan() : cell.column(), 1);
    return true;
}

bool DeleteTableColumns(const QTextCursor& cursor)
{
    QTextTable* table = cursor.currentTable();
    if (!table)
        return false;
    const TCellRange r = CellRangeAt(cursor, *table);
    table->removeColumns(r.column, r.columns);
    return true;
}

bool MergeTableCells(const QTextCursor& cursor)
{
    QTextTable* table = cursor.currentTable();
    if (!table || !cursor.hasComplexSelection())
        return false;
    keepOuterBorders(*table, CellRangeAt(cursor, *table), [&] { table->mergeCells(cursor); });
    return true;
}

bool SplitTableCell(const QTextCursor& cursor)
{
    QTextTable* table = cursor.currentTable();
    if (!table)
        return false;
    const QTextTableCell cell = table->cellAt(cursor);
    if (cell.rowSpan() == 1 && cell.columnSpan() == 1)
        return false;
    table->splitCell(cell.row(), cell.column(), 1, 1);
    return true;
}

static QTextCharFormat::VerticalAlignment cellAlignment(Qt::Alignment alignment)
{
    if (alignment & Qt::AlignVCenter)
        return QTextCharFormat::AlignMiddle;
    return alignment & Qt::AlignBottom ? QTextCharFormat::AlignBottom : QTextCharFormat::AlignTop;
}

bool SetCellVerticalAlignment(const QTextCursor& cursor, Qt::Alignment alignment)
{
    QTextTable* table = cursor.currentTable();
    if (!table)
        return false;
    forEachCell(*table, CellRangeAt(cursor, *table), [&](QTextTableCell& cell) {
        QTextCharFormat f = cell.format();
        f.setVerticalAlignment(cellAlignment(alignment));
        cell.setFormat(f);
    });
    return true;
}

double CellBorderWidth(const QTextTableCellFormat& format, TBorderSide side)
{
    return format.hasProperty(widthProperty(side)) ? format.doubleProperty(widthProperty(side)) : -1;
}

QColor CellBorderColor(const QTextTableCellFormat& format, TBorderSide side)
{
    return format.hasProperty(brushProperty(side)) ? format.brushProperty(brushProperty(side)).color() : QColor();
}

void SetCellBorder(QTextTableCellFormat& format, TBorderSide side, double width)
{
    format.setProperty(widthProperty(side), width);
    format.setProperty(styleProperty(side),
                       width > 0 ? QTextFrameFormat::BorderStyle_Solid : QTextFrameFormat::BorderStyle_None);
}

void SetCellBorderColor(QTextTableCellFormat& format, TBorderSide side, const QColor& color)
{
    format.setProperty(brushProperty(side), QBrush(color));
}

bool ApplyTableBorders(const QTextCursor& cursor, TBorderSet set, double width)
{
    QTextTable* table = cursor.currentTable();
    if (!table)
        return false;
    const TCellRange range = CellRangeAt(cursor, *table);
    const double w = set == TBorderSet::None ? 0 : width;
    forEachCell(*table, range, [&](QTextTableCell& cell) {
        QTextTableCellFormat f = cell.format().toTableCellFormat();
        for (TBorderSide side : kSides)
            if (sideChosen(set, onRangeEdge(cell, range, side), side))
                SetCellBorder(f, side, w);
        cell.setFormat(f);
    });
    collapseBorders(*table);
    return true;
}

bool ApplyBorderColor(const QTextCursor& cursor, TBorderSide side, const QColor& color)
{
    QTextTable* table = cursor.currentTable();
    if (!table)
        return false;
    const TCellRange range = CellRangeAt(cursor, *table);
    forEachCell(*table, range, [&](QTextTableCell& cell) {
        if (!onRangeEdge(cell, range, side))
            return;
        QTextTableCellFormat f = cell.format().toTableCellFormat();
        SetCellBorderColor(f, side, color);
        cell.setFormat(f);
    });
    collapseBorders(*table);
    return true;
}

QList<QTextTable*> DocumentTables(const QTextDocument& document)
{
    QList<QTextTable*> tables;
    collectTables(document.rootFrame(), tables);
    return tables;
}

double PixelsToCm(double pixels)
{
    return pixels / 96.0 * 2.54;
}

QTextLength TableWidth(const QTextTable& table)
{
    const QTextTableFormat format = table.format();
    if (format.width().type() != QTextLength::VariableLength)
        return format.width();
    const QRectF laidOut = table.document()->documentLayout()->frameBoundingRect(const_cast<QTextTable*>(&table));
    return QTextLength(QTextLength::FixedLength, laidOut.width());
}

bool IsFullWidth(const QTextLength& width)
{
    return width.type() == QTextLength::PercentageLength && width.rawValue() >= 99.95;
}

QString FullWidthQuestion(const QTextLength& width)
{
    if (IsFullWidth(width))
        return QString();
    if (width.type() == QTextLength::PercentageLength)
        return Tx(1983, "Die Tabellenbreite wird jetzt von %1% auf 100% Seitenbreite umgestellt?")
            .arg(QString::number(width.rawValue()));
    const QString cm = QString::number(PixelsToCm(width.rawValue()), 'f', 2).replace(QLatin1Char('.'), QLatin1Char(','));
    return Tx(1984, "Die Tabellenbreite wird jetzt von festen %1 cm auf 100% Seitenbreite umgestellt?").arg(cm);
}

QStringList SetTablesTo100Percent(const QTextDocument& document)
{
    QStringList report;
    int number = 0;
    for (QTextTable* table : DocumentTables(document)) {
        const QTextLength width = TableWidth(*table);
        ++number;
        if (IsFullWidth(width)) {
            report << Tx(3001, "Tabelle %1 => übersprungen (bereits 100%)").arg(number);
        } else if (belowMinimum(width)) {
            report << Tx(3002, "Tabelle %1 => übersprungen (kleiner Minimum)").arg(number);
        } else {
            setFullWidth(*table);
            report << Tx(3000, "Tabelle %1 => 100%").arg(number);
        }
    }
    return report;
}

}  // namespace kalvex
