#pragma once
// Control characters in user text: they break the line format of settings
// files and, printed raw, drive the terminal (colours, titles, cursor moves).

#include <QString>

namespace kalvex {

// C0 controls except tab, DEL and the C1 controls.
bool IsControlCharacter(QChar c);
bool HasControlCharacter(const QString& text);

// The text with every control character made visible: C0 and DEL in caret
// notation (ESC as "^[", LF as "^J", DEL as "^?"), C1 as U+FFFD. With
// keepLineBreaks, LF and CR LF stay line breaks.
QString VisibleControlCharacters(const QString& text, bool keepLineBreaks = false);

}  // namespace kalvex
