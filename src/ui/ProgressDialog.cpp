#include "ui/ProgressDialog.h"

#include "config/LanguageUnit.h"

#include <QProgressDialog>

namespace kalvex {

namespace {

// QProgressDialog counts in int: scale large byte counts down.
int scaled(qint64 value, qint64 maximum)
{
    return maximum > 0 ? static_cast<int>(value * 1000 / maximum) : 0;
}

}  // namespace

TProgressDialog::TProgressDialog(QWidget* parent) : FParent(parent) {}

TProgressDialog::~TProgressDialog() = default;

void TProgressDialog::Begin(const QString& caption, qint64 maximum)
{
    FMaximum = maximum;
    if (!FDialog) {
        FDialog = std::make_unique<QProgressDialog>(caption, Tx(1855, "Abbrechen"), 0, 1000, FParent);
        FDialog->setWindowTitle(QStringLiteral("Kalvex"));
        FDialog->setWindowModality(Qt::WindowModal);
        FDialog->setMinimumDuration(300);
    }
    FDialog->setLabelText(caption);
    FDialog->setMaximum(maximum > 0 ? 1000 : 0);
    FDialog->setValue(0);
}

void TProgressDialog::Step(const QString& text, qint64 value)
{
    if (!FDialog)
        return;
    FDialog->setLabelText(text);
    if (FMaximum > 0)
        FDialog->setValue(std::min(999, scaled(value, FMaximum)));
}

bool TProgressDialog::Cancelled() const
{
    return FDialog && FDialog->wasCanceled();
}

void TProgressDialog::End()
{
    if (FDialog)
        FDialog->reset();
}

}  // namespace kalvex
