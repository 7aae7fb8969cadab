#pragma once
// A one-line editor (the subject) that underlines misspelt words with a red
// wave and offers suggestions at the top of its pop-up menu. It stays a
// QLineEdit: text() is exactly what was typed; the underline is only painted.

#include "compose/SpellWords.h"

#include <QLineEdit>
#include <QPointer>

namespace kalvex {

class TSpellChecker;

class TSpellLineEdit : public QLineEdit {
    Q_OBJECT

public:
    // checker may be null (no spell checking).
    explicit TSpellLineEdit(TSpellChecker* checker, QWidget* parent = nullptr);
    QList<TWordSpan> MisspeltRanges();
    // The x position in the widget where the character at position starts.
    int TextX(int position) const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void paintWave(QPainter& painter, int from, int to) const;
    void replaceWord(TWordSpan word, const QString& replacement);

    QPointer<TSpellChecker> FChecker;
};

}  // namespace kalvex
