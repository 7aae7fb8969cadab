#pragma once
// User messages as message boxes, owned by a window (or none).

#include "config/UserMessages.h"

class QWidget;

namespace kalvex {

class TMessageBoxes : public IUserMessages {
public:
    explicit TMessageBoxes(QWidget* parent = nullptr) : FParent(parent) {}
    void ShowError(const QString& text) override;
    void ShowInformation(const QString& text) override;
    bool AskYesNo(const QString& text) override;
    // Esc means "Abbrechen"; Return means "Ja".
    TAnswer AskYesNoCancel(const QString& text) override;

private:
    QWidget* FParent;   // not owned
};

}  // namespace kalvex
