#include "compose/RecipientFieldMarks.h"

#include "compose/RecipientFields.h"

#include <QColor>
#include <QTextCharFormat>

namespace kalvex {

TRecipientFieldHighlighter::TRecipientFieldHighlighter(QObject* owner, QTextDocument* document)
    : TMarkLayer(owner, document)
{
    Refresh();
}

void TRecipientFieldHighlighter::SetActive(bool active)
{
    FActive = active;
    Refresh();
}

void TRecipientFieldHighlighter::Mark(const QString& text, QList<QTextLayout::FormatRange>& marks) const
{
    if (!FActive)
        return;
    QTextCharFormat mark;
    mark.setBackground(QColor(255, 214, 153));
    mark.setUnderlineStyle(QTextCharFormat::WaveUnderline);
    mark.setUnderlineColor(QColor(176, 0, 32));
    for (const QString& field : RecipientFieldsIn(text))
        for (qsizetype at = text.indexOf(field, 0, Qt::CaseInsensitive); at >= 0;
             at = text.indexOf(field, at + field.size(), Qt::CaseInsensitive))
            marks.append({static_cast<int>(at), static_cast<int>(field.size()), mark});
}

}  // namespace kalvex
