#pragma once
// Spell checking as the windows set it up: the dictionary of the interface
// language (de_DE, en_US for 1033), the user's own word list next to the
// other settings (KVXIni/Benutzerwoerterbuch.txt), and the switch
// "Rechtschreibprüfung" kept in config.ini, section "Darstellung".
// The editors' pop-up menus get the spelling commands from AddSpellingActions.

#include "compose/SpellWords.h"

#include <QString>
#include <functional>

class QMenu;
class QObject;

namespace kalvex {

class TSpellChecker;

// A checker for the editors of one window, a child of window.
TSpellChecker* CreateSpellChecker(QObject* window);

bool SpellingEnabledIn(const QString& configIni);
void SaveSpellingEnabled(const QString& configIni, bool enabled);

using TReplaceWord = std::function<void(TWordSpan word, const QString& replacement)>;

// For the word of text at position (a cursor position): the suggestions,
// "Zum Wörterbuch hinzufügen" and "Ignorieren" at the top of menu when it is
// misspelt; the switch at the end. Nothing without a dictionary.
void AddSpellingActions(QMenu& menu, TSpellChecker& checker, const QString& text, int position,
                        const TReplaceWord& replace);

}  // namespace kalvex
