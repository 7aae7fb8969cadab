#pragma once
// The end of a separate run: who got the mail and who did not, and the
// offer to send it again to just those who did not.

#include <QDialog>

class QLabel;
class QPushButton;
class QTreeWidget;

namespace kalvex {

struct TSeparateRunSummary;

class TFormRunSummary : public QDialog {
    Q_OBJECT

public:
    explicit TFormRunSummary(const TSeparateRunSummary& summary, QWidget* parent = nullptr);
    bool ResendChosen() const { return FResend; }

    QLabel* lbResult;
    QTreeWidget* lvRecipients;
    QPushButton* btResend;
    QPushButton* btClose;

private:
    void fillList(const TSeparateRunSummary& summary);
    void addRow(const QString& address, const QString& result);

    bool FResend = false;
};

// Shows the summary modally; true when the user asked to send again.
bool ShowRunSummary(QWidget* parent, const TSeparateRunSummary& summary);

}  // namespace kalvex
