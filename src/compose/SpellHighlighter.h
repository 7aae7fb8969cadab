#pragma once
// Underlines misspelt words of a rich-text document with a red wave. Qt
// calls highlightBlock only for the paragraphs an edit touched, so typing in
// a long body costs one paragraph, not the document. The underline lives in
// the layout, not in the text's formats: saving and sending never see it.

#include <QPointer>
#include <QSyntaxHighlighter>
#include <QTextCharFormat>

namespace kalvex {

class TSpellChecker;

class TSpellHighlighter : public QSyntaxHighlighter {
    Q_OBJECT

public:
    // A child of owner, working on document.
    TSpellHighlighter(QObject* owner, QTextDocument* document, TSpellChecker& checker);
    static QTextCharFormat MisspeltFormat();

protected:
    void highlightBlock(const QString& text) override;

private:
    QPointer<TSpellChecker> FChecker;
    const QTextCharFormat FMisspelt;
};

}  // namespace kalvex
