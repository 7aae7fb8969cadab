// The distribution window's attachments: the list with its sizes and total,
// files dropped on the window, removing and opening attachments.
#include "ui/fMainForm.h"

#include "config/InterfaceLocale.h"
#include "config/LanguageUnit.h"
#include "config/ShellOpen.h"
#include "ui/AttachmentDisplay.h"
#include "ui/DisplayTexts.h"
#include "ui/FileDropFilter.h"
#include "ui/MainFormRules.h"
#include "ui/MainFormShared.h"

#include <QAction>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QTableWidget>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>
#include <functional>

namespace kalvex {

using namespace mainform;

QWidget* TMainForm::buildAttachmentArea()
{
    auto* area = new QWidget(this);
    auto* column = new QVBoxLayout(area);
    column->setContentsMargins(0, 0, 0, 0);
    auto* head = new QHBoxLayout;
    head->addWidget(new QLabel(Tx(1961, "Anhang:"), area));
    auto* plus = new QToolButton(area);
    plus->setText(QStringLiteral("+"));
    connect(plus, &QToolButton::clicked, barbtAddAttachment, &QAction::trigger);
    head->addWidget(plus);
    head->addStretch(1);
    column->addLayout(head);
    gridAnhang = makeGrid(area, {Tx(1962, "Datei"), Tx(1973, "Größe")});
    gridAnhang->horizontalHeader()->setStretchLastSection(false);
    gridAnhang->horizontalHeader()->setSectionResizeMode(ColAnhangFile, QHeaderView::Stretch);
    gridAnhang->horizontalHeader()->setSectionResizeMode(ColAnhangSize, QHeaderView::ResizeToContents);
    connect(gridAnhang, &QTableWidget::cellDoubleClicked, this, [this](int row, int) { OpenAttachment(row); });
    column->addWidget(gridAnhang);
    lbAnhangWarnung = new QLabel(Tx(3203, "Die Anhänge sind zusammen größer als 20 MB. Viele Anbieter lehnen "
                                          "E-Mails über 20 MB ab."), area);
    lbAnhangWarnung->setWordWrap(true);
    lbAnhangWarnung->setStyleSheet(QStringLiteral("color: #b00020"));
    lbAnhangWarnung->hide();
    column->addWidget(lbAnhangWarnung);
    lbAnhangGesamt = new QLabel(area);
    column->addWidget(lbAnhangGesamt);
    return area;
}

void TMainForm::AddAttachmentFiles(const QStringList& files)
{
    for (const QString& file : files)
        FModel.AddAttachment(file);
    refreshAttachments();
}

void TMainForm::refreshAttachments()
{
    gridAnhang->setRowCount(0);
    for (size_t i = 0; i < FModel.Attachments.size(); ++i) {
        const TComposeAttachment& a = FModel.Attachments[i];
        const int row = static_cast<int>(i);
        gridAnhang->insertRow(row);
        QTableWidgetItem* file = cell(AttachmentDisplayName(a.file, OriginPrefix()));
        file->setToolTip(a.file);
        gridAnhang->setItem(row, ColAnhangFile, file);
        gridAnhang->setItem(row, ColAnhangSize, sizeCell(static_cast<double>(AttachmentBytes(a))));
    }
    showAttachmentTotal();
}

void TMainForm::DeleteSelectedAttachments()
{
    QList<int> rows;
    for (const QModelIndex& index : gridAnhang->selectionModel()->selectedRows())
        rows << index.row();
    if (rows.isEmpty())
        return;
    const QString question = rows.size() < 2
        ? Tx(270, "Wollen Sie den aktuell markierten Anhang wirklich aus der Liste der Anhänge entfernen?")
        : Tx(271, "Wollen Sie die aktuell markierten Anhänge wirklich aus der Liste der Anhänge entfernen?");
    if (!FMessages.AskYesNo(question))
        return;
    std::sort(rows.begin(), rows.end(), std::greater<int>());
    for (int row : rows)
        FModel.Attachments.erase(FModel.Attachments.begin() + row);
    refreshAttachments();
}

void TMainForm::OpenAttachment(int row)
{
    if (row < 0 || row >= static_cast<int>(FModel.Attachments.size()))
        return;
    const QString path = StripOriginPrefix(FModel.Attachments[static_cast<size_t>(row)].file, OriginPrefix());
    if (!QFileInfo::exists(path)) {
        FMessages.ShowError(FileMovedMessage(path));
        return;
    }
    OpenWithShell(QUrl::fromLocalFile(path));
}

void TMainForm::showAttachmentTotal()
{
    const qint64 total = TotalAttachmentBytes(FModel.Attachments);
    lbAnhangGesamt->setVisible(!FModel.Attachments.empty());
    lbAnhangGesamt->setText(Tx(3204, "Gesamt: %1").arg(FormatAttachmentSize(total, InterfaceLocale())));
    lbAnhangWarnung->setVisible(total > LargeMailBytes);
}

void TMainForm::AddDroppedUrls(const QList<QUrl>& urls)
{
    const TDroppedFiles dropped = SortDroppedUrls(urls);
    AddAttachmentFiles(dropped.files);
    if (!dropped.refusals.isEmpty())
        FMessages.ShowError(dropped.refusals.join(QLatin1Char('\n')));
}

}  // namespace kalvex
