#include "ui/fVorschau.h"

#include "compose/rtf/RtfReader.h"
#include "config/LanguageUnit.h"
#include "mailinterface/EMail.h"

#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace kalvex {

namespace {

QPushButton* stepButton(const QString& text, QWidget* parent, const std::function<void()>& step)
{
    auto* b = new QPushButton(text, parent);
    QObject::connect(b, &QPushButton::clicked, parent, step);
    return b;
}

}  // namespace

TFormVorschau::TFormVorschau(size_t count, TPreview preview, QWidget* parent)
    : QDialog(parent), FCount(count), FPreview(std::move(preview))
{
    setWindowTitle(Tx(3440, "Vorschau"));
    resize(640, 520);
    auto* column = new QVBoxLayout(this);
    lbEmpfaenger = new QLabel(this);
    lbBetreff = new QLabel(this);
    lbBetreff->setTextFormat(Qt::PlainText);
    lbAnhaenge = new QLabel(this);
    lbAnhaenge->setTextFormat(Qt::PlainText);
    lbAnhaenge->setWordWrap(true);
    tbBody = new QTextBrowser(this);
    btZurueck = stepButton(Tx(3441, "< Zurück"), this, [this] { ShowRecipient(FIndex - 1); });
    btWeiter = stepButton(Tx(3442, "Weiter >"), this, [this] { ShowRecipient(FIndex + 1); });
    auto* steps = new QHBoxLayout;
    steps->addWidget(btZurueck);
    steps->addWidget(lbEmpfaenger, 1);
    steps->addWidget(btWeiter);
    auto* close = new QDialogButtonBox(QDialogButtonBox::Close, this);
    close->button(QDialogButtonBox::Close)->setText(Tx(3443, "Schließen"));
    connect(close, &QDialogButtonBox::rejected, this, &QDialog::reject);
    column->addLayout(steps);
    column->addWidget(lbBetreff);
    column->addWidget(lbAnhaenge);
    column->addWidget(tbBody, 1);
    column->addWidget(close);
    ShowRecipient(0);
}

void TFormVorschau::ShowRecipient(size_t index)
{
    if (index >= FCount)
        return;
    FIndex = index;
    TEMail mail;
    FPreview(index, mail);
    lbEmpfaenger->setText(Tx(3444, "Empfänger %1 von %2: %3").arg(index + 1).arg(FCount).arg(mail.FAn.join(QStringLiteral(", "))));
    lbBetreff->setText(Tx(3435, "Betreff: %1").arg(mail.FBetreff));
    // Each recipient's own files too: what the send will add is seen here first.
    lbAnhaenge->setText(mail.FAnhaenge.isEmpty() ? QString() : Tx(4308, "Anhänge: %1").arg(mail.FAnhaenge.join(QStringLiteral(", "))));
    lbAnhaenge->setVisible(!mail.FAnhaenge.isEmpty());
    RtfToDocument(mail.FBodyRTF, *tbBody->document());
    btZurueck->setEnabled(index > 0);
    btWeiter->setEnabled(index + 1 < FCount);
}

QString TFormVorschau::Subject() const
{
    return lbBetreff->text();
}

QString TFormVorschau::Attachments() const
{
    return lbAnhaenge->text();
}

QString TFormVorschau::PlainBody() const
{
    return tbBody->document()->toPlainText();
}

}  // namespace kalvex
