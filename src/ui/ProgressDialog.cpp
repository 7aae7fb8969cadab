#include "ui/ProgressDialog.h"

#include "config/LanguageUnit.h"

#include <QApplication>
#include <QAction>
#include <QEvent>
#include <QPointer>
#include <QProgressDialog>

namespace kalvex {

namespace {

// QProgressDialog counts in int: scale large byte counts down.
int scaled(qint64 value, qint64 maximum)
{
    return maximum > 0 ? static_cast<int>(value * 1000 / maximum) : 0;
}

bool isUserInput(QEvent::Type type)
{
    switch (type) {
    case QEvent::MouseButtonPress: case QEvent::MouseButtonRelease: case QEvent::MouseButtonDblClick:
    case QEvent::KeyPress: case QEvent::KeyRelease: case QEvent::Shortcut: case QEvent::ShortcutOverride:
    case QEvent::Wheel: case QEvent::TouchBegin: case QEvent::TouchUpdate: case QEvent::TouchEnd:
    case QEvent::ContextMenu: case QEvent::Drop: case QEvent::Close:
        return true;
    default:
        return false;
    }
}

// Holds back user input (and close requests) meant for the windows that
// were open when the work began; a held-back close is refused, not silently
// accepted. Windows that the work itself opens later (its questions and
// messages) and the progress dialog stay usable.
class TInputBlocker : public QObject {
public:
    explicit TInputBlocker(const QWidget* dialog)
    {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (w != dialog && w->isVisible())
                FBlocked << w;
    }
    bool eventFilter(QObject* target, QEvent* event) override
    {
        if (!isUserInput(event->type()) || !isBlocked(target))
            return false;
        event->ignore();
        return true;
    }

private:
    bool isBlocked(QObject* target) const
    {
        if (isAction(target))
            return true;   // shortcuts reach actions, not widgets
        auto* widget = qobject_cast<QWidget*>(target);
        return widget && FBlocked.contains(widget->window());
    }
    static bool isAction(QObject* target) { return qobject_cast<QAction*>(target) != nullptr; }
    QList<QPointer<QWidget>> FBlocked;
};

}  // namespace

TProgressDialog::TProgressDialog(QWidget* parent) : FParent(parent) {}

TProgressDialog::~TProgressDialog()
{
    blockOtherInput(false);
}

void TProgressDialog::ensureDialog(const QString& caption)
{
    if (FDialog)
        return;
    FDialog = std::make_unique<QProgressDialog>(caption, Tx(1855, "Abbrechen"), 0, 1000, FParent);
    FDialog->setWindowTitle(QStringLiteral("Kalvex"));
    FDialog->setWindowModality(Qt::WindowModal);
    FDialog->setMinimumDuration(300);
    FDialog->setMinimumWidth(420);
    FDialog->setAutoReset(false);
    QObject::connect(FDialog.get(), &QProgressDialog::canceled, FDialog.get(), [this] { FCancelled = true; });
}

void TProgressDialog::Begin(const QString& caption, qint64 maximum)
{
    ensureDialog(caption);
    if (!FInRun)
        FCancelled = false;
    FMaximum = maximum;
    blockOtherInput(true);
    showLabel(caption);
    FDialog->setMaximum(maximum > 0 ? 1000 : 0);
    FDialog->setValue(0);
}

void TProgressDialog::Step(const QString& text, qint64 value)
{
    if (!FDialog)
        return;
    showLabel(text);
    if (FMaximum > 0)
        FDialog->setValue(std::min(999, scaled(value, FMaximum)));
}

void TProgressDialog::showLabel(const QString& step)
{
    FDialog->setLabelText(FRunStatus.isEmpty() ? step : FRunStatus + QLatin1Char('\n') + step);
}

bool TProgressDialog::Cancelled() const
{
    return FCancelled;
}

void TProgressDialog::End()
{
    if (!FInRun)
        finish();
}

void TProgressDialog::BeginRun()
{
    FInRun = true;
    FCancelled = false;
    FRunStatus.clear();
}

void TProgressDialog::RunStatus(const QString& text)
{
    FRunStatus = text;
    ensureDialog(text);
    blockOtherInput(true);
    showLabel(QString());
    FDialog->show();   // the run's line must be readable between two mails
}

void TProgressDialog::EndRun()
{
    FInRun = false;
    FRunStatus.clear();
    finish();
}

void TProgressDialog::finish()
{
    blockOtherInput(false);
    if (FDialog) {
        FDialog->reset();
        FDialog->hide();
    }
}

void TProgressDialog::blockOtherInput(bool on)
{
    if (on && !FInputBlocker && FDialog && qApp) {
        FInputBlocker = std::make_unique<TInputBlocker>(FDialog.get());
        qApp->installEventFilter(FInputBlocker.get());
    } else if (!on && FInputBlocker) {
        if (qApp)
            qApp->removeEventFilter(FInputBlocker.get());
        FInputBlocker.reset();
    }
}

}  // namespace kalvex
