#pragma once
// RTF -> QTextDocument. A text that does not begin with "{\rtf" is taken as
// plain text. The reader never recurses: groups live on an explicit stack,
// so deep nesting or broken input cannot exhaust the call stack.
// Characters U+0080..U+00FF of the text are 8-bit bytes of the document's
// code page (\ansicpg, or the current font's \fcharset); pictures become
// image resources (see RtfPicture.h), HYPERLINK fields anchors.

#include <QByteArray>
#include <QString>
#include <QStringList>

class QTextDocument;

namespace kalvex {

void RtfToDocument(const QString& rtf, QTextDocument& document);
// The text of a file or blob that holds RTF or plain text, for
// RtfToDocument: RTF one character per byte (its 8-bit text is in its code
// page), anything else as UTF-8 when it is valid UTF-8, else Windows-1252.
QString RtfTextFromBytes(const QByteArray& bytes);
bool LooksLikeRtf(const QString& text);

}  // namespace kalvex
