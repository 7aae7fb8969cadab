#pragma once
// The modal progress display with a cancel button. The SMTP session's
// local event loop keeps it painted; no thread is involved.

#include "config/ProgressDisplay.h"

#include <QString>
#include <memory>

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

private:
    QWidget* FParent;
    std::unique_ptr<QProgressDialog> FDialog;
    qint64 FMaximum = 0;
};

}  // namespace kalvex
