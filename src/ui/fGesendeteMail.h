#pragma once
// The sent-mail view: one logged mail with its recipients, body and
// attachments; attachments can be opened or saved.

#include <QByteArray>
#include <QDialog>
#include <functional>

class QLabel;
class QTableWidget;
class QTextBrowser;

namespace kalvex {

class IUserMessages;
class TAnhang;
class TEMail;

// An attachment's content read from the store when it is opened or saved.
using TAttachmentContent = std::function<QByteArray(const TAnhang&)>;

class TFormGesendeteMail : public QDialog {
    Q_OBJECT

public:
    // mail and messages must outlive the window. Without content, the
    // attachments' contents are those the mail holds.
    TFormGesendeteMail(const TEMail& mail, IUserMessages& messages, QWidget* parent = nullptr,
                       TAttachmentContent content = {});
    ~TFormGesendeteMail() override;

    void OpenAttachment(int row);
    void SaveAttachment(int row, const QString& targetFile);

    QLabel* lbBetreff;
    QLabel* lbEmpfaenger;
    QTextBrowser* edInhalt;
    QTableWidget* gridAnhang;

private:
    QByteArray contentOf(const TAnhang& a) const;

    const TEMail& FMail;
    IUserMessages& FMessages;
    TAttachmentContent FContent;
};

}  // namespace kalvex
