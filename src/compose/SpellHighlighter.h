#pragma once
// Underlines misspelt words of a rich-text document with a red wave. Qt
// asks for the marks only of the paragraphs an edit touched, so typing in a
// long body costs one paragraph, not the document.

#include "compose/DocumentMarks.h"

#include <QPointer>
#include <QTextCharFormat>

namespace kalvex {

class TSpellChecker;

class TSpellHighlighter : public TMarkLayer {
    Q_OBJECT

public:
    // A child of owner, marking document.
    TSpellHighlighter(QObject* owner, QTextDocument* document, TSpellChecker& checker);
    static QTextCharFormat MisspeltFormat();
    void Mark(const QString& text, QList<QTextLayout::FormatRange>& marks) const override;

private:
    QPointer<TSpellChecker> FChecker;
    const QTextCharFormat FMisspelt;
};

}  // namespace kalvex
