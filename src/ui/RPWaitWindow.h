#pragma once
// The small window shown while the module waits for an external program:
// which program, and the step it reports. It blocks the user until the
// program ends.

#include "config/ProcessWait.h"

#include <QDialog>

class QLabel;

namespace kalvex {

class TrunProcessWindow : public QDialog, public IProcessWait {
    Q_OBJECT

public:
    explicit TrunProcessWindow(QWidget* parent = nullptr);

    void Begin(const QString& program) override;
    void Show(const QString& lastLine) override;
    void End() override;

    QLabel* lbWartet;
    QLabel* lbProgramm;
    QLabel* lbSchritt;
};

}  // namespace kalvex
