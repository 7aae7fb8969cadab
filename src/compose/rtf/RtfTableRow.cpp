#include "compose/rtf/RtfTableRow.h"

#include <QHash>

namespace kalvex {

namespace {

constexpr int kRowBase = 4;
constexpr int kInsideVertical = 5;   // index in the row's borders
constexpr int kMaxCells = 64;

QColor colorAt(const QList<QColor>& colors, int index)
{
    return index > 0 && index < colors.size() ? colors[index] : QColor();   // 0 is the automatic colour
}

}  // namespace

void TRtfRowDefinition::Reset()
{
    *this = TRtfRowDefinition{};
}

bool TRtfRowDefinition::Word(const QString& w, int arg, const QList<QColor>& colors)
{
    if (w == QLatin1String("cellx")) {
        FNext.right = arg;
        if (FCells.size() < kMaxCells)
            FCells << FNext;
        FNext = TCell{};
        FSide = -1;
    } else if (w == QLatin1String("trwWidth")) {
        FWidth = arg;
    } else if (w == QLatin1String("trftsWidth")) {
        FWidthType = arg;
    } else {
        return cellWord(w, arg, colors) || borderWord(w, arg, colors);
    }
    return true;
}

// What the row definition says about its next cell.
bool TRtfRowDefinition::cellWord(const QString& w, int arg, const QList<QColor>& colors)
{
    static const QHash<QString, QTextCharFormat::VerticalAlignment> vertical = {
        {"clvertalt", QTextCharFormat::AlignTop}, {"clvertalc", QTextCharFormat::AlignMiddle},
        {"clvertalb", QTextCharFormat::AlignBottom}};
    if (w == QLatin1String("clmgf")) FNext.merge = 1;
    else if (w == QLatin1String("clmrg")) FNext.merge = 2;
    else if (w == QLatin1String("clvmgf")) FNext.verticalMerge = 1;
    else if (w == QLatin1String("clvmrg")) FNext.verticalMerge = 2;
    else if (vertical.contains(w)) FNext.format.setVerticalAlignment(vertical.value(w));
    else if (w == QLatin1String("clcbpat") && colorAt(colors, arg).isValid()) FNext.format.setBackground(colorAt(colors, arg));
    else return w == QLatin1String("clcbpat");
    return true;
}

// \clbrdrX picks a side of the next cell, \trbrdrX one of the row; the
// \brdr words after it describe that border.
bool TRtfRowDefinition::borderWord(const QString& w, int arg, const QList<QColor>& colors)
{
    static const QHash<QString, int> sides = {
        {"clbrdrl", int(TBorderSide::Left)}, {"clbrdrr", int(TBorderSide::Right)},
        {"clbrdrt", int(TBorderSide::Top)}, {"clbrdrb", int(TBorderSide::Bottom)},
        {"trbrdrl", kRowBase + int(TBorderSide::Left)}, {"trbrdrr", kRowBase + int(TBorderSide::Right)},
        {"trbrdrt", kRowBase + int(TBorderSide::Top)}, {"trbrdrb", kRowBase + int(TBorderSide::Bottom)},
        {"trbrdrh", kRowBase + 4}, {"trbrdrv", kRowBase + kInsideVertical}};
    if (const auto it = sides.constFind(w); it != sides.constEnd()) {
        FSide = *it;
        (FSide < kRowBase ? FNext.sides[FSide] : FRow[FSide - kRowBase]).given = true;
        return true;
    }
    if (!w.startsWith(QLatin1String("brdr")))
        return false;
    if (FSide < 0)
        return true;   // a paragraph's border
    TBorder& b = FSide < kRowBase ? FNext.sides[FSide] : FRow[FSide - kRowBase];
    if (w == QLatin1String("brdrnone") || w == QLatin1String("brdrnil") || w == QLatin1String("brdrtbl"))
        b.none = true;
    else if (w == QLatin1String("brdrw"))
        b.width = std::clamp(arg, 1, 255) / 15.0;
    else if (w == QLatin1String("brdrcf"))
        b.color = colorAt(colors, arg);
    else
        b.styled = true;
    return true;
}

// A line style without a width of its own is one pixel wide; a side no
// word names stays as the table says (the reader's tables have none).
void TRtfRowDefinition::applyBorder(QTextTableCellFormat& format, TBorderSide side, const TBorder& border)
{
    if (!border.given)
        return;
    const bool drawn = border.styled && !border.none;
    SetCellBorder(format, side, drawn ? (border.width > 0 ? border.width : 1.0) : 0);
    if (drawn && border.color.isValid())
        SetCellBorderColor(format, side, border.color);
}

QTextTableCellFormat TRtfRowDefinition::CellFormat(int cell, int columns) const
{
    const TCell& c = FCells[cell];
    QTextTableCellFormat format = c.format;
    for (TBorderSide side : {TBorderSide::Left, TBorderSide::Right, TBorderSide::Top, TBorderSide::Bottom}) {
        const int s = int(side);
        if (c.sides[s].given)
            applyBorder(format, side, c.sides[s]);
        else if ((side == TBorderSide::Left && cell > 0) || (side == TBorderSide::Right && cell + 1 < columns))
            applyBorder(format, side, FRow[kInsideVertical]);
        else
            applyBorder(format, side, FRow[s]);
    }
    return format;
}

// Column widths from the cell edges; a table of relative width keeps them
// as shares of the whole. Borders are the cells'.
QTextTableFormat TRtfRowDefinition::TableFormat() const
{
    QTextTableFormat tf;
    tf.setBorder(0);
    tf.setCellPadding(2);
    QList<QTextLength> widths;
    int previous = 0;
    for (const TCell& c : FCells) {
        widths << QTextLength(QTextLength::FixedLength, std::max(10, (c.right - previous) / 15));
        previous = c.right;
    }
    if (FWidthType == 2 && FWidth > 0) {
        tf.setWidth(QTextLength(QTextLength::PercentageLength, std::min(FWidth, 5000) / 50.0));
        const double sum = std::max(1, previous / 15);
        for (QTextLength& w : widths)
            w = QTextLength(QTextLength::PercentageLength, 100.0 * w.rawValue() / sum);
    } else if (FWidthType == 3 && FWidth > 0) {
        tf.setWidth(QTextLength(QTextLength::FixedLength, std::min(FWidth, 100000) / 15.0));   // at most 1.76 m
    }
    tf.setColumnWidthConstraints(widths);
    return tf;
}

}  // namespace kalvex
