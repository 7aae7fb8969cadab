#pragma once
// QTextDocument -> RTF: fonts, sizes, colours, bold/italic/underline,
// paragraph alignment and indents, lists, tables, PNG/JPEG pictures.
// Text outside placeholders is written 7-bit (\'hh for the Windows-1252
// characters, \uN? for the rest); a placeholder "<...>" is written as it
// stands, in one piece, so that the field merge finds it in the source.

#include <QString>

class QTextDocument;

namespace kalvex {

QString DocumentToRtf(const QTextDocument& document);
// Plain text as RTF source text: 7-bit, braces and backslashes escaped.
QString RtfEscapeText(const QString& text);

}  // namespace kalvex
