#pragma once
// Dashed lines around every table cell of a text editor, drawn over its
// viewport: they show where the cells of a table without borders lie and
// are never part of the document.

#include <QList>
#include <QRectF>
#include <QWidget>

class QTextEdit;

namespace kalvex {

class TTableGridLines : public QWidget {
    Q_OBJECT

public:
    explicit TTableGridLines(QTextEdit* editor);
    // The cells of all tables in document coordinates, one per cell.
    QList<QRectF> CellRects() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QTextEdit* FEditor;
};

}  // namespace kalvex
