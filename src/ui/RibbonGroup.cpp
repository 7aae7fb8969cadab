#include "ui/RibbonGroup.h"

#include "config/InterfaceLocale.h"
#include "config/LanguageUnit.h"

#include <QAction>
#include <algorithm>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QMenu>
#include <QRegularExpression>
#include <QResizeEvent>
#include <QSet>
#include <QStandardPaths>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace kalvex {

namespace {

const char* const kCommandName = "kalvexCommandName";

QFrame* separator(QWidget* parent)
{
    auto* line = new QFrame(parent);
    line->setFrameShape(QFrame::VLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

QLabel* captionLabel(const QString& caption, QWidget* parent)
{
    auto* label = new QLabel(caption, parent);
    label->setAlignment(Qt::AlignHCenter);
    label->setForegroundRole(QPalette::PlaceholderText);
    QFont small = label->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    label->setFont(small);
    return label;
}

QSize smallIcons(const QWidget* widget)
{
    const int side = widget->style()->pixelMetric(QStyle::PM_SmallIconSize, nullptr, widget);
    return {side, side};
}

}  // namespace

TRibbonGroup::TRibbonGroup(const QString& caption, const QList<QAction*>& actions, QWidget* parent)
    : QWidget(parent), FActions(actions), FExpanded(new QWidget(this))
{
    setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Preferred);
    auto* column = new QVBoxLayout(FExpanded);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    auto* row = new QHBoxLayout;
    row->setSpacing(0);
    // Buttons keep their own height at the top of the group, so each icon
    // sits right above its caption.
    for (QAction* action : actions)
        row->addWidget(commandButton(action), 0, Qt::AlignTop);
    column->addLayout(row, 1);
    if (!caption.isEmpty())
        column->addWidget(captionLabel(caption, FExpanded));
    FDropDown = dropDownButton(caption);
    auto* outer = new QHBoxLayout(this);
    outer->setContentsMargins(2, 0, 2, 0);
    outer->setSpacing(2);
    outer->addWidget(FExpanded);
    outer->addWidget(FDropDown, 0, Qt::AlignTop);
    outer->addWidget(FSeparator = separator(this));
    SetCollapsed(false);
    followActions();
}

QToolButton* TRibbonGroup::commandButton(QAction* action)
{
    auto* button = new QToolButton(FExpanded);
    button->setDefaultAction(action);
    button->setAutoRaise(true);
    button->setIconSize(smallIcons(this));
    button->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    button->setToolButtonStyle(action->icon().isNull() ? Qt::ToolButtonTextOnly : Qt::ToolButtonTextUnderIcon);
    // Long captions take two lines; the button's own update from the action
    // comes first, so this one stays.
    const auto caption = [button, action] { button->setText(TwoLineCaption(action->iconText())); };
    connect(action, &QAction::changed, button, caption);
    caption();
    return button;
}

// A group without a caption is named by its commands in its drop-down.
QToolButton* TRibbonGroup::dropDownButton(const QString& caption)
{
    auto* button = new QToolButton(this);
    auto* menu = new QMenu(button);
    menu->addActions(FActions);
    button->setMenu(menu);
    button->setPopupMode(QToolButton::InstantPopup);
    button->setAutoRaise(true);
    button->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    const QString first = FActions.isEmpty() ? QString() : CommandName(FActions.first());
    button->setText(TwoLineCaption(caption.isEmpty() ? first + QStringLiteral(" …") : caption));
    button->setToolTip(caption.isEmpty() ? first : caption);
    const QIcon icon = FActions.isEmpty() ? QIcon() : FActions.first()->icon();
    button->setIcon(icon);
    button->setIconSize(smallIcons(this));
    button->setToolButtonStyle(icon.isNull() ? Qt::ToolButtonTextOnly : Qt::ToolButtonTextUnderIcon);
    return button;
}

// A command that is hidden hides its button; a group of hidden commands
// hides itself.
void TRibbonGroup::followActions()
{
    const auto update = [this] {
        bool any = false;
        for (QToolButton* button : FExpanded->findChildren<QToolButton*>()) {
            const bool shown = button->defaultAction()->isVisible();
            button->setVisible(shown);
            any = any || shown;
        }
        setVisible(any);
    };
    for (QAction* action : FActions)
        connect(action, &QAction::changed, this, update);
    update();
}

void TRibbonGroup::SetCollapsed(bool collapsed)
{
    if (collapsed == FCollapsed && FDropDown->isHidden() != collapsed)
        return;
    FCollapsed = collapsed;
    FExpanded->setVisible(!collapsed);
    FDropDown->setVisible(collapsed);
}

int TRibbonGroup::ExpandedWidth() const
{
    return FExpanded->sizeHint().width() + frameWidth();
}

int TRibbonGroup::CollapsedWidth() const
{
    return FDropDown->sizeHint().width() + frameWidth();
}

int TRibbonGroup::Saving() const
{
    return ExpandedWidth() - CollapsedWidth();
}

// Margins, the separator and the space before it.
int TRibbonGroup::frameWidth() const
{
    const QMargins margins = layout()->contentsMargins();
    return margins.left() + margins.right() + FSeparator->sizeHint().width() + layout()->spacing();
}

// A group of one command never collapses; others may shrink to their
// drop-down, when that is the narrower.
QSize TRibbonGroup::minimumSizeHint() const
{
    const int width = FActions.size() > 1 ? std::min(CollapsedWidth(), ExpandedWidth()) : ExpandedWidth();
    return {width, QWidget::minimumSizeHint().height()};
}

TRibbonTab::TRibbonTab(QWidget* parent) : QWidget(parent)
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(2, 2, 2, 2);
    row->setSpacing(0);
}

QList<TRibbonGroup*> TRibbonTab::Groups() const
{
    QList<TRibbonGroup*> groups;
    for (int i = 0; i < layout()->count(); ++i)
        if (auto* group = qobject_cast<TRibbonGroup*>(layout()->itemAt(i)->widget()); group && !group->isHidden())
            groups << group;
    return groups;
}

// What the tab's other widgets and its margins take.
int TRibbonTab::fixedWidth() const
{
    int width = layout()->contentsMargins().left() + layout()->contentsMargins().right();
    for (int i = 0; i < layout()->count(); ++i) {
        QLayoutItem* item = layout()->itemAt(i);
        if (!qobject_cast<TRibbonGroup*>(item->widget()) && !item->isEmpty() && !item->spacerItem())
            width += item->minimumSize().width();
    }
    return width;
}

// Only as many groups collapse as the width needs, those that save the
// most first (of equal ones the later); a group of one command never
// collapses: a menu of one item would only hide it. Only changes are
// applied, so the layout request they cause settles.
void TRibbonTab::FitGroups(int width)
{
    const QList<TRibbonGroup*> groups = Groups();
    int needed = fixedWidth();
    QList<TRibbonGroup*> candidates;
    for (TRibbonGroup* group : groups) {
        needed += group->ExpandedWidth();
        if (group->Commands().size() > 1)
            candidates << group;
    }
    std::stable_sort(candidates.begin(), candidates.end(), [](const TRibbonGroup* a, const TRibbonGroup* b) {
        return a->Saving() > b->Saving();
    });
    QSet<const TRibbonGroup*> collapse;
    for (qsizetype i = 0; i < candidates.size() && needed > width; ++i) {
        collapse.insert(candidates[i]);
        needed -= candidates[i]->Saving();
    }
    for (TRibbonGroup* group : groups)
        group->SetCollapsed(collapse.contains(group));
}

bool TRibbonTab::event(QEvent* event)
{
    const bool handled = QWidget::event(event);
    if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::Resize)
        FitGroups(width());
    return handled;
}

QString CommandName(const QAction* action)
{
    const QVariant name = action->property(kCommandName);
    return name.isValid() ? name.toString() : action->text().remove(QLatin1Char('&'));
}

void SetCommandName(QAction* action, const QString& name)
{
    action->setProperty(kCommandName, name);
}

// Qt's German catalogue keeps "Return" and "Enter": the key is "Eingabe" here.
QString ShortcutText(const QKeySequence& keys)
{
    QString text = keys.toString(QKeySequence::NativeText);
    if (!GermanInterface())
        return text;
    static const QRegularExpression enter(QStringLiteral("(^|\\+)(Return|Enter)(?=$|,)"));
    return text.replace(enter, QStringLiteral("\\1") + Tx(3100, "Eingabe"));
}

void DescribeCommand(QAction* action)
{
    const QString name = CommandName(action);
    action->setToolTip(action->shortcut().isEmpty() ? name
                                                   : QStringLiteral("%1 (%2)").arg(name, ShortcutText(action->shortcut())));
}

QString TwoLineCaption(const QString& text)
{
    const qsizetype middle = text.size() / 2;
    qsizetype best = -1;
    for (qsizetype i = text.indexOf(QLatin1Char(' ')); i >= 0; i = text.indexOf(QLatin1Char(' '), i + 1))
        if (best < 0 || qAbs(i - middle) < qAbs(best - middle))
            best = i;
    if (text.size() <= 12 || best < 0)
        return text;
    return text.left(best) + QLatin1Char('\n') + text.mid(best + 1);
}

void EnsureIconTheme()
{
    const QString theme = QIcon::themeName();
    if (!theme.isEmpty() && theme != QLatin1String("hicolor")) {
        if (QIcon::fallbackThemeName().isEmpty() || QIcon::fallbackThemeName() == QLatin1String("hicolor"))
            QIcon::setFallbackThemeName(QStringLiteral("breeze"));
        return;
    }
    QStringList paths = QIcon::themeSearchPaths();
    for (const QString& dir : QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("icons"),
                                                        QStandardPaths::LocateDirectory))
        if (!paths.contains(dir))
            paths << dir;
    QIcon::setThemeSearchPaths(paths);
    QIcon::setThemeName(QStringLiteral("breeze"));
}

}  // namespace kalvex
