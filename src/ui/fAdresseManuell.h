#pragma once
// Manual address entry: e-mail address (checked), name and company.

#include "send/ComposeModel.h"

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

namespace kalvex {

// Shows the hint and focuses the field when its address is invalid.
bool CheckAddressField(QLineEdit* field, QLabel* hint);

class TFormAdresseManuell : public QDialog {
    Q_OBJECT

public:
    explicit TFormAdresseManuell(QWidget* parent = nullptr);
    TComposeRecipient Recipient() const;
    void accept() override;   // refuses an invalid address with a hint

    QLineEdit* edEMail;
    QLineEdit* edName;
    QLineEdit* edFirma;
    QLabel* lbHinweis;

private:
    QPushButton* btOK;
};

}  // namespace kalvex
