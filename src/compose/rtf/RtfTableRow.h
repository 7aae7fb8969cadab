#pragma once
// A table row as RTF defines it between \trowd and its cells: the cell
// edges, merges, alignment, shading and borders of every cell, the row's
// own borders and its width.

#include "compose/TableCommands.h"

#include <QColor>
#include <QList>
#include <QString>
#include <QTextTableFormat>

namespace kalvex {

class TRtfRowDefinition {
public:
    void Reset();   // \trowd
    // A word of the row definition; false when the word is none.
    bool Word(const QString& word, int arg, const QList<QColor>& colors);
    int Cells() const { return static_cast<int>(FCells.size()); }
    // 1 first cell of a merge, 2 merged into the one before (above).
    int Merge(int cell) const { return FCells[cell].merge; }
    int VerticalMerge(int cell) const { return FCells[cell].verticalMerge; }
    // The cell's format: its own borders, else the row's on that edge.
    QTextTableCellFormat CellFormat(int cell, int columns) const;
    QTextTableFormat TableFormat() const;

private:
    // One side of a border as the \brdr words describe it.
    struct TBorder {
        bool given = false, styled = false, none = false;
        double width = -1;   // pixels, -1 when not given
        QColor color;
    };
    struct TCell {
        int merge = 0, verticalMerge = 0;
        QTextTableCellFormat format;
        TBorder sides[4];   // by TBorderSide
        int right = 0;      // \cellx, twips
    };
    bool cellWord(const QString& word, int arg, const QList<QColor>& colors);
    bool borderWord(const QString& word, int arg, const QList<QColor>& colors);
    static void applyBorder(QTextTableCellFormat& format, TBorderSide side, const TBorder& border);

    QList<TCell> FCells;
    TCell FNext;
    int FSide = -1;         // the border being described: a TBorderSide of the next cell, or 4 + one of the row's
    TBorder FRow[6];        // the row's: TBorderSide order, then inside horizontal, inside vertical
    int FWidth = 0, FWidthType = 0;
};

}  // namespace kalvex
