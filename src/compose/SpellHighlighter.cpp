#include "compose/SpellHighlighter.h"

#include "compose/SpellChecker.h"

namespace kalvex {

TSpellHighlighter::TSpellHighlighter(QObject* owner, QTextDocument* document, TSpellChecker& checker)
    : QSyntaxHighlighter(owner), FChecker(&checker), FMisspelt(MisspeltFormat())
{
    setDocument(document);
    connect(FChecker, &TSpellChecker::Changed, this, &QSyntaxHighlighter::rehighlight);
}

QTextCharFormat TSpellHighlighter::MisspeltFormat()
{
    QTextCharFormat format;
    format.setUnderlineStyle(QTextCharFormat::WaveUnderline);
    format.setUnderlineColor(Qt::red);
    return format;
}

void TSpellHighlighter::highlightBlock(const QString& text)
{
    if (!FChecker)
        return;
    for (const TWordSpan& w : FChecker->Misspelt(text))
        setFormat(w.start, w.length, FMisspelt);
}

}  // namespace kalvex
