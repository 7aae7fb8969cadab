#include "ui/fGesendeteMail.h"

#include "config/InterfaceLocale.h"
#include "config/LanguageUnit.h"
#include "config/UserMessages.h"
#include "mailinterface/EMail.h"
#include "send/ComposeModel.h"
#include "config/AttachmentFiles.h"
#include "config/ShellOpen.h"
#include "ui/AttachmentDisplay.h"
#include "ui/DisplayTexts.h"
#include "ui/WindowGeometry.h"

#include <cmath>

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSaveFile>
#include <QTableWidget>
#include <QTextBrowser>
#include <QUrl>
#include <QVBoxLayout>

namespace kalvex {

namespace {

QString recipientsText(const TEMail& mail)
{
    QStringList parts;
    for (const auto& r : mail.FLEmpfaenger)
        parts << KindCaption(r->FEmpfType) + QStringLiteral(": ") + r->FAdresse;
    return parts.join(QStringLiteral("; "));
}

}  // namespace

TFormGesendeteMail::TFormGesendeteMail(const TEMail& mail, IUserMessages& messages, QWidget* parent,
                                       TAttachmentContent content)
    : QDialog(parent), FMail(mail), FMessages(messages), FContent(std::move(content))
{
    setWindowTitle(Tx(1926, "E-Mail anzeigen"));
    resize(720, 560);
    auto* layout = new QVBoxLayout(this);
    lbBetreff = new QLabel(QStringLiteral("<b>%1</b>").arg(mail.FBetreff.toHtmlEscaped()), this);
    lbEmpfaenger = new QLabel(recipientsText(mail), this);
    lbEmpfaenger->setWordWrap(true);
    auto* date = new QLabel(InterfaceLocale().toString(DaysToDateTime(mail.FDatum), QLocale::LongFormat) + QStringLiteral(" — ")
                                + StatusCaption(mail.FStatus),
                            this);
    edInhalt = new QTextBrowser(this);
    edInhalt->setPlainText(mail.FBodyPlain);
    gridAnhang = new QTableWidget(0, 2, this);
    gridAnhang->setHorizontalHeaderLabels({Tx(1972, "Anhang"), Tx(1973, "Größe")});
    gridAnhang->horizontalHeader()->setSectionResizeMode(0, QHeaderView::Stretch);
    gridAnhang->horizontalHeader()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    gridAnhang->setEditTriggers(QAbstractItemView::NoEditTriggers);
    gridAnhang->setSelectionBehavior(QAbstractItemView::SelectRows);
    for (const auto& a : mail.FLAnhaengeBlob) {
        const int row = gridAnhang->rowCount();
        gridAnhang->insertRow(row);
        gridAnhang->setItem(row, 0, new QTableWidgetItem(SafeAttachmentName(a->FPfad)));
        auto* size = new QTableWidgetItem(FormatAttachmentSize(std::llround(a->FDateigroesse), InterfaceLocale()));
        size->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        gridAnhang->setItem(row, 1, size);
    }
    connect(gridAnhang, &QTableWidget::cellDoubleClicked, this, [this](int row, int) { OpenAttachment(row); });
    gridAnhang->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(gridAnhang, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        const int row = gridAnhang->rowAt(at.y());
        if (row < 0)
            return;
        QMenu menu(this);
        menu.addAction(Tx(1997, "Öffnen"), this, [this, row] { OpenAttachment(row); });
        menu.addAction(Tx(1998, "Speichern unter ..."), this, [this, row] {
            const QString target = QFileDialog::getSaveFileName(this, QString(), gridAnhang->item(row, 0)->text());
            if (!target.isEmpty())
                SaveAttachment(row, target);
        });
        menu.exec(gridAnhang->viewport()->mapToGlobal(at));
    });
    for (QWidget* w : {static_cast<QWidget*>(lbBetreff), static_cast<QWidget*>(date), static_cast<QWidget*>(lbEmpfaenger)})
        layout->addWidget(w);
    layout->addWidget(edInhalt, 3);
    layout->addWidget(gridAnhang, 1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    buttons->button(QDialogButtonBox::Close)->setText(Tx(1932, "Schließen"));
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    LoadWindowGeometry(this, QStringLiteral("fGesendeteMail"));
}

TFormGesendeteMail::~TFormGesendeteMail()
{
    SaveWindowGeometry(this, QStringLiteral("fGesendeteMail"));
}

QByteArray TFormGesendeteMail::contentOf(const TAnhang& a) const
{
    return a.FObjekt.isEmpty() && FContent ? FContent(a) : a.FObjekt;
}

void TFormGesendeteMail::OpenAttachment(int row)
{
    if (row < 0 || row >= FMail.FLAnhaengeBlob.Count())
        return;
    const TAnhang& a = FMail.FLAnhaengeBlob[row];
    try {
        const QString path = WriteAttachmentToTemp(a.FPfad, contentOf(a));
        OpenWithShell(QUrl::fromLocalFile(path));
    } catch (const std::exception& e) {
        FMessages.ShowError(QString::fromUtf8(e.what()));
    }
}

void TFormGesendeteMail::SaveAttachment(int row, const QString& targetFile)
{
    if (row < 0 || row >= FMail.FLAnhaengeBlob.Count())
        return;
    QSaveFile file(targetFile);
    const QByteArray content = contentOf(FMail.FLAnhaengeBlob[row]);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.commit())
        FMessages.ShowError(Tx(1996, "Der Anhang konnte nicht nach %1 geschrieben werden: %2").arg(targetFile, file.errorString()));
}

}  // namespace kalvex
