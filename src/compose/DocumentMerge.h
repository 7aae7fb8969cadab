#pragma once
// The field merge on a document rather than on RTF source: placeholders are
// found in the text as the reader decoded it, whatever the source made of
// them (an umlaut written \u228\'e4 or \u228?, a placeholder split across
// groups). Values go in as text, in the format of the placeholder's first
// character; the RTF writer escapes them. The engine's rules stay: blocks
// first (first occurrence, markers case-sensitive, the body repeated once
// per row with its sub-fields filled), then every key in enumeration order,
// ignoring case, each pass over the result of the previous one.

#include <QStringList>

class QTextDocument;

namespace kalvex {

class TRTFEditorEngine;

// Raises EKalvex when a block's count is not an integer.
void MergeDocument(const TRTFEditorEngine& engine, QTextDocument& document, const QStringList* blockNames);

}  // namespace kalvex
