#include "compose/SpellHighlighter.h"

#include "compose/SpellChecker.h"

namespace kalvex {

TSpellHighlighter::TSpellHighlighter(QObject* owner, QTextDocument* document, TSpellChecker& checker)
    : TMarkLayer(owner, document), FChecker(&checker), FMisspelt(MisspeltFormat())
{
    connect(FChecker, &TSpellChecker::Changed, this, &TMarkLayer::Refresh);
    Refresh();
}

QTextCharFormat TSpellHighlighter::MisspeltFormat()
{
    QTextCharFormat format;
    format.setUnderlineStyle(QTextCharFormat::WaveUnderline);
    format.setUnderlineColor(Qt::red);
    return format;
}

void TSpellHighlighter::Mark(const QString& text, QList<QTextLayout::FormatRange>& marks) const
{
    if (!FChecker)
        return;
    for (const TWordSpan& w : FChecker->Misspelt(text))
        marks.append({w.start, w.length, FMisspelt});
}

}  // namespace kalvex
