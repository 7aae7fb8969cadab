#include "ui/SpellLineEdit.h"

#include "compose/SpellChecker.h"
#include "ui/Spelling.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <memory>

namespace kalvex {

namespace {

// Qt's cursor rectangle begins this far left of the cursor line.
constexpr int kCursorRectLead = 5;
constexpr qreal kWavePeriod = 4.0;
constexpr qreal kWaveHeight = 1.5;

}  // namespace

TSpellLineEdit::TSpellLineEdit(TSpellChecker* checker, QWidget* parent) : QLineEdit(parent), FChecker(checker)
{
    if (FChecker)
        connect(FChecker, &TSpellChecker::Changed, this, qOverload<>(&QWidget::update));
}

QList<TWordSpan> TSpellLineEdit::MisspeltRanges()
{
    if (!FChecker || echoMode() != Normal)
        return {};
    return FChecker->Misspelt(text());
}

// Measured from the cursor, whose position Qt knows after scrolling.
int TSpellLineEdit::TextX(int position) const
{
    const QFontMetrics metrics(font());
    const QString shown = displayText();
    const int cursorX = cursorRect().left() + kCursorRectLead;
    return cursorX + metrics.horizontalAdvance(shown.left(position))
         - metrics.horizontalAdvance(shown.left(cursorPosition()));
}

void TSpellLineEdit::paintEvent(QPaintEvent* event)
{
    QLineEdit::paintEvent(event);
    const QList<TWordSpan> misspelt = MisspeltRanges();
    if (misspelt.isEmpty())
        return;
    QPainter painter(this);
    painter.setClipRect(contentsRect());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::red, 1));
    for (const TWordSpan& w : misspelt)
        paintWave(painter, TextX(w.start), TextX(w.end()));
}

void TSpellLineEdit::paintWave(QPainter& painter, int from, int to) const
{
    const qreal y = cursorRect().top() + QFontMetrics(font()).ascent() + 2.5;
    QPainterPath wave(QPointF(from, y));
    for (qreal x = from; x < to; x += kWavePeriod) {
        wave.quadTo(x + kWavePeriod / 4, y - kWaveHeight, x + kWavePeriod / 2, y);
        wave.quadTo(x + 3 * kWavePeriod / 4, y + kWaveHeight, x + kWavePeriod, y);
    }
    painter.drawPath(wave);
}

void TSpellLineEdit::contextMenuEvent(QContextMenuEvent* event)
{
    std::unique_ptr<QMenu> menu(createStandardContextMenu());
    if (FChecker)
        AddSpellingActions(*menu, *FChecker, text(), cursorPositionAt(event->pos()),
                           [this](TWordSpan w, const QString& s) { replaceWord(w, s); });
    menu->exec(event->globalPos());
}

// Through the selection, so the replacement can be undone like typing.
void TSpellLineEdit::replaceWord(TWordSpan word, const QString& replacement)
{
    setSelection(word.start, word.length);
    insert(replacement);
}

}  // namespace kalvex
