#pragma once
// The recipient fields of a body marked while one mail would go to all
// (they are filled only per mail of a separate run).

#include "compose/DocumentMarks.h"

namespace kalvex {

// Marks <Empfaenger.…> placeholders while Active; the marks are no part of
// the document (nothing of them reaches the RTF or the mail).
class TRecipientFieldHighlighter : public TMarkLayer {
public:
    // A child of owner, marking document.
    TRecipientFieldHighlighter(QObject* owner, QTextDocument* document);
    void SetActive(bool active);
    bool Active() const { return FActive; }
    void Mark(const QString& text, QList<QTextLayout::FormatRange>& marks) const override;

private:
    bool FActive = true;
};

}  // namespace kalvex
