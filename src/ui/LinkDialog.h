#pragma once
// "Link einfügen": the text shown and the address it leads to.

#include <QDialog>

class QLineEdit;

namespace kalvex {

class TLinkDialog : public QDialog {
    Q_OBJECT

public:
    // text: the selection, preset; parent owns the dialog.
    TLinkDialog(const QString& text, QWidget* parent);
    QString Text() const;
    QString Address() const;

private:
    QLineEdit* FText;
    QLineEdit* FAddress;
};

}  // namespace kalvex
