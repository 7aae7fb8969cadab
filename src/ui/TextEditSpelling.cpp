#include "ui/TextEditSpelling.h"

#include "compose/SpellChecker.h"
#include "compose/SpellHighlighter.h"
#include "ui/Spelling.h"

#include <QMenu>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextEdit>
#include <memory>

namespace kalvex {

TTextEditSpelling* TTextEditSpelling::Attach(QTextEdit* edit, TSpellChecker* checker)
{
    return checker ? new TTextEditSpelling(edit, *checker) : nullptr;
}

TTextEditSpelling::TTextEditSpelling(QTextEdit* edit, TSpellChecker& checker)
    : QObject(edit), FEdit(edit), FChecker(&checker)
{
    if (checker.Available())
        FHighlighter = new TSpellHighlighter(this, edit->document(), checker);
}

void TTextEditSpelling::InstallMenu()
{
    FEdit->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(FEdit, &QWidget::customContextMenuRequested, this, &TTextEditSpelling::showMenu);
}

void TTextEditSpelling::ExtendMenu(QTextEdit* edit, QMenu& menu, const QPoint& at)
{
    if (auto* spelling = edit->findChild<TTextEditSpelling*>(QString(), Qt::FindDirectChildrenOnly))
        spelling->addTo(menu, at);
}

void TTextEditSpelling::addTo(QMenu& menu, const QPoint& at)
{
    if (!FChecker)
        return;
    const QTextCursor clicked = FEdit->cursorForPosition(at);
    const QTextBlock block = clicked.block();
    AddSpellingActions(menu, *FChecker, block.text(), clicked.positionInBlock(),
                       [block](TWordSpan w, const QString& s) { replaceWord(block, w, s); });
}

// One edit of the document, so the replacement can be undone like typing.
void TTextEditSpelling::replaceWord(const QTextBlock& block, TWordSpan word, const QString& replacement)
{
    QTextCursor cursor(block);
    cursor.setPosition(block.position() + word.start);
    cursor.setPosition(block.position() + word.end(), QTextCursor::KeepAnchor);
    cursor.insertText(replacement);
}

void TTextEditSpelling::showMenu(const QPoint& at)
{
    std::unique_ptr<QMenu> menu(FEdit->createStandardContextMenu(at));
    addTo(*menu, at);
    menu->exec(FEdit->viewport()->mapToGlobal(at));
}

}  // namespace kalvex
