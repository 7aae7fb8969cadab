#pragma once
// Spell checking for a rich-text editor: misspelt words underlined as one
// types, suggestions at the top of the editor's pop-up menu. The helper is a
// child of the editor.
//
//     TTextEditSpelling::Attach(edText, checker)->InstallMenu();   // an editor without a menu of its own
//     TTextEditSpelling::ExtendMenu(edBody, *menu, at);            // a window that builds the menu itself

#include "compose/SpellWords.h"

#include <QObject>
#include <QPointer>

class QMenu;
class QPoint;
class QTextBlock;
class QTextEdit;

namespace kalvex {

class TSpellChecker;
class TSpellHighlighter;

class TTextEditSpelling : public QObject {
    Q_OBJECT

public:
    // Null when checker is null.
    static TTextEditSpelling* Attach(QTextEdit* edit, TSpellChecker* checker);
    // The editor's pop-up menu becomes its standard one with the spelling commands.
    void InstallMenu();
    // Adds the spelling commands for the word at viewport position `at`, when edit has a helper.
    static void ExtendMenu(QTextEdit* edit, QMenu& menu, const QPoint& at);

private:
    TTextEditSpelling(QTextEdit* edit, TSpellChecker& checker);
    void addTo(QMenu& menu, const QPoint& at);
    void showMenu(const QPoint& at);
    static void replaceWord(const QTextBlock& block, TWordSpan word, const QString& replacement);

    QTextEdit* FEdit;
    QPointer<TSpellChecker> FChecker;
    TSpellHighlighter* FHighlighter = nullptr;
};

}  // namespace kalvex
