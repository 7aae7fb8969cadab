#include "ui/TableGridLines.h"

#include "compose/TableCommands.h"

#include <QAbstractTextDocumentLayout>
#include <QEvent>
#include <QPainter>
#include <QScrollBar>
#include <QTextEdit>
#include <QTextTable>

namespace kalvex {

namespace {

// The laid-out area of a cell's text, widened by the cell padding.
QRectF cellContent(const QTextDocument& doc, const QTextTableCell& cell, double padding)
{
    QRectF rect;
    for (auto it = cell.begin(); !it.atEnd(); ++it)
        if (it.currentBlock().isValid())
            rect |= doc.documentLayout()->blockBoundingRect(it.currentBlock());
    return rect.adjusted(-padding, -padding, padding, padding);
}

// Edges of columns (or rows): the smallest start of the cells that begin
// there; past the last one the far edge of the table.
struct TEdges {
    QList<double> at;
    double far = 0;
    void take(int index, double start, double end)
    {
        while (at.size() <= index)
            at << -1;
        if (at[index] < 0 || start < at[index])
            at[index] = start;
        far = std::max(far, end);
    }
    double edge(int index) const { return index < at.size() && at[index] >= 0 ? at[index] : far; }
};

void addTable(const QTextDocument& doc, const QTextTable& table, QList<QRectF>& out)
{
    const double padding = table.format().cellPadding();
    TEdges columns, rows;
    for (int r = 0; r < table.rows(); ++r)
        for (int c = 0; c < table.columns(); ++c)
            if (const QTextTableCell cell = table.cellAt(r, c); cell.row() == r && cell.column() == c) {
                const QRectF rect = cellContent(doc, cell, padding);
                columns.take(c, rect.left(), rect.right());
                rows.take(r, rect.top(), rect.bottom());
            }
    for (int r = 0; r < table.rows(); ++r)
        for (int c = 0; c < table.columns(); ++c)
            if (const QTextTableCell cell = table.cellAt(r, c); cell.row() == r && cell.column() == c)
                out << QRectF(QPointF(columns.edge(c), rows.edge(r)),
                              QPointF(columns.edge(c + cell.columnSpan()), rows.edge(r + cell.rowSpan())));
}

}  // namespace

TTableGridLines::TTableGridLines(QTextEdit* editor) : QWidget(editor->viewport()), FEditor(editor)
{
    setObjectName(QStringLiteral("TableGridLines"));
    setAttribute(Qt::WA_TransparentForMouseEvents);
    editor->viewport()->installEventFilter(this);
    resize(editor->viewport()->size());
    connect(editor->verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { update(); });
    connect(editor->horizontalScrollBar(), &QScrollBar::valueChanged, this, [this] { update(); });
    connect(editor->document(), &QTextDocument::contentsChanged, this, [this] { update(); });
    hide();
}

QList<QRectF> TTableGridLines::CellRects() const
{
    QList<QRectF> rects;
    const QTextDocument& doc = *FEditor->document();
    for (const QTextTable* table : DocumentTables(doc))
        addTable(doc, *table, rects);
    return rects;
}

void TTableGridLines::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setPen(QPen(QColor(150, 170, 200), 1, Qt::DashLine));
    painter.translate(-FEditor->horizontalScrollBar()->value(), -FEditor->verticalScrollBar()->value());
    for (const QRectF& rect : CellRects())
        painter.drawRect(rect);
}

bool TTableGridLines::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Resize)
        resize(FEditor->viewport()->size());
    return QWidget::eventFilter(watched, event);
}

}  // namespace kalvex
