#include "compose/TableCommands.h"

#include <QGuiApplication>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextTable>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

QGuiApplication& app()
{
    static int argc = 1;
    static char name[] = "test_table_commands";
    static char* argv[] = {name, nullptr};
    static QGuiApplication a(argc, argv);
    return a;
}

QTextTable* makeTable(QTextDocument& doc, int rows, int columns)
{
    QTextCursor c(&doc);
    c.movePosition(QTextCursor::End);
    QTextTableFormat f;
    f.setBorder(1);
    QTextTable* table = c.insertTable(rows, columns, f);
    for (int r = 0; r < rows; ++r)
        for (int col = 0; col < columns; ++col)
            table->cellAt(r, col).firstCursorPosition().insertText(QStringLiteral("%1%2").arg(QChar('A' + col)).arg(r + 1));
    return table;
}

// A cursor that selects the cells from (r0, c0) to (r1, c1).
QTextCursor cells(QTextTable* table, int r0, int c0, int r1, int c1)
{
    QTextCursor c = table->cellAt(r0, c0).firstCursorPosition();
    c.setPosition(table->cellAt(r1, c1).lastCursorPosition().position(), QTextCursor::KeepAnchor);
    return c;
}

QTextTableCellFormat cellFormat(QTextTable* table, int r, int c)
{
    return table->cellAt(r, c).format().toTableCellFormat();
}

QString textAt(QTextTable* table, int r, int c)
{
    return table->cellAt(r, c).firstCursorPosition().block().text();
}

}  // namespace

TEST(TableCommands, RowsColumnsMergingAndSplitting)
{
    app();
    QTextDocument doc;
    QTextTable* table = makeTable(doc, 2, 3);
    const QTextCursor inB1 = table->cellAt(0, 1).firstCursorPosition();
    EXPECT_TRUE(InsertTableRow(inB1, true));
    EXPECT_EQ(table->rows(), 3);
    EXPECT_EQ(textAt(table, 1, 0), "");          // the new row lies below the cursor's
    EXPECT_EQ(textAt(table, 2, 0), "A2");
    EXPECT_TRUE(InsertTableColumn(table->cellAt(0, 1).firstCursorPosition(), true));
    EXPECT_EQ(table->columns(), 4);
    EXPECT_EQ(textAt(table, 0, 3), "C1");
    EXPECT_TRUE(DeleteTableColumns(cells(table, 0, 2, 0, 3)));   // two columns selected, both go
    EXPECT_EQ(table->columns(), 2);
    EXPECT_TRUE(DeleteTableRows(table->cellAt(1, 0).firstCursorPosition()));
    EXPECT_EQ(table->rows(), 2);
    EXPECT_EQ(textAt(table, 1, 1), "B2");

    EXPECT_FALSE(MergeTableCells(table->cellAt(0, 0).firstCursorPosition()));   // nothing selected
    EXPECT_FALSE(SplitTableCell(table->cellAt(0, 0).firstCursorPosition()));    // nothing merged
    EXPECT_TRUE(MergeTableCells(cells(table, 0, 0, 1, 1)));
    EXPECT_EQ(table->cellAt(0, 0).rowSpan(), 2);
    EXPECT_EQ(table->cellAt(0, 0).columnSpan(), 2);
    EXPECT_TRUE(SplitTableCell(table->cellAt(1, 1).firstCursorPosition()));   // from anywhere in the merged cell
    EXPECT_EQ(table->cellAt(1, 1).row(), 1);
    EXPECT_EQ(table->cellAt(0, 0).columnSpan(), 1);

    QTextDocument plain;
    plain.setPlainText("kein Tisch");
    const QTextCursor outside(&plain);
    EXPECT_FALSE(InsertTableRow(outside, true));
    EXPECT_FALSE(DeleteTableColumns(outside));
    EXPECT_FALSE(ApplyTableBorders(outside, TBorderSet::All));
    EXPECT_FALSE(SetCellVerticalAlignment(outside, Qt::AlignBottom));
}

TEST(TableCommands, BorderSetsReachTheRightSides)
{
    app();
    QTextDocument doc;
    QTextTable* table = makeTable(doc, 3, 3);
    ApplyTableBorders(cells(table, 0, 0, 2, 2), TBorderSet::None);
    ApplyTableBorders(cells(table, 0, 0, 2, 2), TBorderSet::Outer, 2);
    EXPECT_TRUE(table->format().borderCollapse());
    EXPECT_EQ(CellBorderWidth(cellFormat(table, 0, 0), TBorderSide::Left), 2);
    EXPECT_EQ(CellBorderWidth(cellFormat(table, 0, 0), TBorderSide::Top), 2);
    EXPECT_EQ(CellBorderWidth(cellFormat(table, 0, 0), TBorderSide::Right), 0);
    EXPECT_EQ(CellBorderWidth(cellFormat(table, 1, 1), TBorderSide::Left), 0);   // the centre is inside
    EXPECT_EQ(CellBorderWidth(cellFormat(table, 2, 2), TBorderSide::Bottom), 2);

    ApplyTableBorders(cells(table, 0, 0, 2, 2), TBorderSet::Inner, 1);
    EXPECT_EQ(CellBorderWidth(cellFormat(table, 1, 1), TBorderSide::Left), 1);
    EXPECT_EQ(CellBorderWidth(cellFormat(table, 1, 1), TBorderSide::Bottom), 1);
    EXPECT_EQ(CellBorderWidth(cellFormat(table, 0, 0), TBorderSide::Top), 2);    // outer stays

    ApplyTableBorders(cells(table, 1, 1, 1, 2), TBorderSet::Right, 3);
    EXPECT_EQ(CellBorderWidth(cellFormat(table, 1, 2), TBorderSide::Right), 3);
    EXPECT_EQ(CellBorderWidth(cellFormat(table, 1, 1), TBorderSide::Right), 1);  // not the range's edge
    ApplyTableBorders(table->cellAt(2, 0).firstCursorPosition(), TBorderSet::Top, 4);
    EXPECT_EQ(CellBorderWidth(cellFormat(table, 2, 0), TBorderSide::Top), 4);

    ApplyBorderColor(cells(table, 0, 0, 0, 1), TBorderSide::Bottom, Qt::red);
    EXPECT_EQ(CellBorderColor(cellFormat(table, 0, 0), TBorderSide::Bottom), QColor(Qt::red));
    EXPECT_EQ(CellBorderColor(cellFormat(table, 0, 1), TBorderSide::Bottom), QColor(Qt::red));
    EXPECT_FALSE(CellBorderColor(cellFormat(table, 0, 2), TBorderSide::Bottom).isValid());
    EXPECT_FALSE(CellBorderColor(cellFormat(table, 0, 0), TBorderSide::Top).isValid());

    // Merged, the cell keeps the range's outer sides: the right one of the
    // right column, the bottom one of the bottom row.
    ApplyBorderColor(table->cellAt(1, 2).firstCursorPosition(), TBorderSide::Right, Qt::green);
    EXPECT_TRUE(MergeTableCells(cells(table, 1, 1, 2, 2)));
    const QTextTableCellFormat merged = cellFormat(table, 1, 1);
    EXPECT_EQ(CellBorderWidth(merged, TBorderSide::Right), 3);
    EXPECT_EQ(CellBorderColor(merged, TBorderSide::Right), QColor(Qt::green));
    EXPECT_EQ(CellBorderWidth(merged, TBorderSide::Bottom), 2);
    EXPECT_EQ(CellBorderWidth(merged, TBorderSide::Left), 1);

    SetCellVerticalAlignment(cells(table, 0, 0, 0, 1), Qt::AlignVCenter);
    EXPECT_EQ(cellFormat(table, 0, 1).verticalAlignment(), QTextCharFormat::AlignMiddle);
    EXPECT_NE(cellFormat(table, 0, 2).verticalAlignment(), QTextCharFormat::AlignMiddle);
}

TEST(TableCommands, EveryTableToFullWidthWithAReportLine)
{
    app();
    QTextDocument doc;
    QTextTable* full = makeTable(doc, 1, 2);
    QTextTableFormat f = full->format();
    f.setWidth(QTextLength(QTextLength::PercentageLength, 100));
    full->setFormat(f);
    QTextTable* half = makeTable(doc, 1, 2);
    f.setWidth(QTextLength(QTextLength::PercentageLength, 50));
    half->setFormat(f);
    QTextTable* fixed = makeTable(doc, 1, 2);
    f.setWidth(QTextLength(QTextLength::FixedLength, 378));   // 10 cm
    f.setColumnWidthConstraints({QTextLength(QTextLength::FixedLength, 100), QTextLength(QTextLength::FixedLength, 300)});
    fixed->setFormat(f);
    QTextTable* stamp = makeTable(doc, 1, 1);
    f.setWidth(QTextLength(QTextLength::FixedLength, 60));   // 1.59 cm
    f.setColumnWidthConstraints({});
    stamp->setFormat(f);

    EXPECT_EQ(FullWidthQuestion(TableWidth(*full)), "");
    EXPECT_EQ(FullWidthQuestion(TableWidth(*half)), "Die Tabellenbreite wird jetzt von 50% auf 100% Seitenbreite umgestellt?");
    EXPECT_EQ(FullWidthQuestion(TableWidth(*fixed)),
              "Die Tabellenbreite wird jetzt von festen 10,00 cm auf 100% Seitenbreite umgestellt?");
    EXPECT_EQ(SetTablesTo100Percent(doc),
              QStringList({"Tabelle 1 => übersprungen (bereits 100%)", "Tabelle 2 => 100%", "Tabelle 3 => 100%",
                           "Tabelle 4 => übersprungen (kleiner Minimum)"}));
    for (QTextTable* t : {full, half, fixed})
        EXPECT_TRUE(IsFullWidth(t->format().width()));
    EXPECT_FALSE(IsFullWidth(stamp->format().width()));
    const QList<QTextLength> columns = fixed->format().columnWidthConstraints();   // shares now, 1 : 3
    ASSERT_EQ(columns.size(), 2);
    EXPECT_EQ(columns[0].type(), QTextLength::PercentageLength);
    EXPECT_DOUBLE_EQ(columns[1].rawValue(), 75);

    // An automatic width is taken as laid out; a table in a cell counts too.
    QTextDocument nested;
    nested.setTextWidth(600);
    QTextTable* outer = makeTable(nested, 1, 1);
    outer->cellAt(0, 0).lastCursorPosition().insertTable(1, 1);
    ASSERT_EQ(DocumentTables(nested).size(), 2);
    EXPECT_EQ(TableWidth(*outer).type(), QTextLength::FixedLength);
    EXPECT_GT(TableWidth(*outer).rawValue(), 0);
}
