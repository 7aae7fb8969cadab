#pragma once
// The sent-mail view: one logged mail with its recipients, body and
// attachments; attachments can be opened or saved.

#include <QDialog>

class QLabel;
class QTableWidget;
class QTextBrowser;

namespace kalvex {

class IUserMessages;
class TEMail;

class TFormGesendeteMail : public QDialog {
    Q_OBJECT

public:
    // mail and messages must outlive the window.
    TFormGesendeteMail(const TEMail& mail, IUserMessages& messages, QWidget* parent = nullptr);
    ~TFormGesendeteMail() override;

    void OpenAttachment(int row);
    void SaveAttachment(int row, const QString& targetFile);

    QLabel* lbBetreff;
    QLabel* lbEmpfaenger;
    QTextBrowser* edInhalt;
    QTableWidget* gridAnhang;

private:
    const TEMail& FMail;
    IUserMessages& FMessages;
};

}  // namespace kalvex
