#pragma once
// The ribbon's pieces:
// - TRibbonGroup: a group of commands, each a tool button with its caption
//   under a small icon (text only when the icon theme has none), the group's
//   caption below; collapsed it is one drop-down button whose menu holds the
//   same commands;
// - TRibbonTab: one tab page; it collapses as few groups as its width needs,
//   those that save the most first, never one of a single command, so a
//   narrow window keeps every command reachable;
// - the command helpers: a command's name, its keys as the user reads them
//   and the tooltip made of both.

#include <QKeySequence>
#include <QList>
#include <QWidget>

class QAction;
class QLabel;
class QToolButton;

namespace kalvex {

class TRibbonGroup : public QWidget {
    Q_OBJECT

public:
    TRibbonGroup(const QString& caption, const QList<QAction*>& actions, QWidget* parent);
    void SetCollapsed(bool collapsed);
    bool IsCollapsed() const { return FCollapsed; }
    int ExpandedWidth() const;
    int CollapsedWidth() const;
    int Saving() const;   // the width collapsing gives back
    QToolButton* DropDown() const { return FDropDown; }
    const QList<QAction*>& Commands() const { return FActions; }
    QSize minimumSizeHint() const override;

private:
    QToolButton* commandButton(QAction* action);
    QToolButton* dropDownButton(const QString& caption);
    void followActions();
    int frameWidth() const;

    QList<QAction*> FActions;
    QWidget* FExpanded;
    QToolButton* FDropDown;
    QWidget* FSeparator = nullptr;
    bool FCollapsed = false;
};

class TRibbonTab : public QWidget {
    Q_OBJECT

public:
    explicit TRibbonTab(QWidget* parent);   // with a QHBoxLayout for its groups
    QList<TRibbonGroup*> Groups() const;
    void FitGroups(int width);

protected:
    bool event(QEvent* event) override;

private:
    int fixedWidth() const;
};

// The command's name for tooltips and the shortcut overview: the name given
// with SetCommandName, else its text without accelerator marks.
QString CommandName(const QAction* action);
void SetCommandName(QAction* action, const QString& name);
// The keys in the interface language ("Strg+Umschalt+A", "Ctrl+Shift+A").
QString ShortcutText(const QKeySequence& keys);
// "Senden (Strg+Eingabe)"; the name alone without a shortcut.
void DescribeCommand(QAction* action);
// A caption of more than one word broken into two lines of similar length.
QString TwoLineCaption(const QString& text);
// Icons from the desktop's theme; breeze where the platform names none.
void EnsureIconTheme();

}  // namespace kalvex
