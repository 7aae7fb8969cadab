#pragma once
// RTF -> QTextDocument. A text that does not begin with "{\rtf" is taken as
// plain text. The reader never recurses: groups live on an explicit stack,
// so deep nesting or broken input cannot exhaust the call stack.

#include <QString>
#include <QStringList>

class QTextDocument;

namespace kalvex {

void RtfToDocument(const QString& rtf, QTextDocument& document);
bool LooksLikeRtf(const QString& text);

}  // namespace kalvex
