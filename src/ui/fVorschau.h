#pragma once
// The preview of a personal circular: the mail as recipient n of N will get
// it, with previous and next, before anything is sent; and the marking of
// recipient fields in the body while they cannot be filled (one mail to all).

#include "compose/RecipientFields.h"

#include <QDialog>
#include <functional>

class QLabel;
class QPushButton;
class QTextBrowser;

namespace kalvex {

class TEMail;

class TFormVorschau : public QDialog {
    Q_OBJECT

public:
    using TPreview = std::function<void(size_t index, TEMail& mail)>;
    TFormVorschau(size_t count, TPreview preview, QWidget* parent = nullptr);
    void ShowRecipient(size_t index);
    size_t Current() const { return FIndex; }
    QString Subject() const;
    QString PlainBody() const;
    QString Attachments() const;   // the line that lists the mail's files; empty when it has none

private:
    size_t FCount;
    size_t FIndex = 0;
    TPreview FPreview;
    QLabel* lbEmpfaenger = nullptr;
    QLabel* lbBetreff = nullptr;
    QLabel* lbAnhaenge = nullptr;
    QTextBrowser* tbBody = nullptr;
    QPushButton* btZurueck = nullptr;
    QPushButton* btWeiter = nullptr;
};

}  // namespace kalvex
