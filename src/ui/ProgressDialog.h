#pragma once
// The modal progress display with a cancel button. The SMTP session's
// local event loop keeps it painted and lets its button through; while it
// is up, user input to every other window is held back, so nothing else can
// be started or closed in the middle of a send. No thread is involved.

#include "config/ProgressDisplay.h"

#include <QString>
#include <memory>

class QObject;
class QProgressDialog;
class QWidget;

namespace kalvex {

class TProgressDialog : public IProgressDisplay {
public:
    explicit TProgressDialog(QWidget* parent = nullptr);
    ~TProgressDialog() override;
    void Begin(const QString& caption, qint64 maximum) override;
    void Step(const QString& text, qint64 value) override;
    bool Cancelled() const override;
    void End() override;
    void BeginRun() override;
    void RunStatus(const QString& text) override;
    void EndRun() override;
    QProgressDialog* Dialog() const { return FDialog.get(); }   // null before the first Begin

private:
    void ensureDialog(const QString& caption);
    void showLabel(const QString& step);
    void blockOtherInput(bool on);
    void finish();

    QWidget* FParent;
    std::unique_ptr<QProgressDialog> FDialog;
    std::unique_ptr<QObject> FInputBlocker;   // installed on the application while busy
    qint64 FMaximum = 0;
    bool FCancelled = false;
    bool FInRun = false;
    QString FRunStatus;
};

}  // namespace kalvex
