// The distribution window's sent and draft lists: their pages, how they are
// filled and searched, and how the display settings show in its grids.
#include "ui/fMainForm.h"

#include "config/InterfaceLocale.h"
#include "config/LanguageUnit.h"
#include "config/uConfig.h"
#include "ui/DisplayTexts.h"
#include "ui/MainFormRules.h"
#include "ui/MainFormShared.h"
#include "ui/WindowRunner.h"
#include "ui/fDarstellung.h"

#include <QAction>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>

namespace kalvex {

using namespace mainform;

namespace {

QString joinedRecipients(const TEMail& mail)
{
    QStringList addresses;
    for (const auto& r : mail.FLEmpfaenger)
        addresses << r->FAdresse;
    if (addresses.isEmpty())
        addresses = mail.FAn + mail.FCc + mail.FBcc;
    return addresses.join(QStringLiteral(", "));
}

}  // namespace

// The search panel filters the sent and draft lists as the user types.
QWidget* TMainForm::buildSearchPanel()
{
    FSearchPanel = new QWidget(this);
    auto* row = new QHBoxLayout(FSearchPanel);
    row->setContentsMargins(0, 2, 0, 2);
    edSuche = new QLineEdit(FSearchPanel);
    edSuche->setPlaceholderText(Tx(2291, "Betreff, Empfänger oder Datum suchen"));
    edSuche->setClearButtonEnabled(true);
    connect(edSuche, &QLineEdit::textChanged, this, [this] { ApplySearch(); });
    row->addWidget(new QLabel(Tx(1931, "Suche"), FSearchPanel));
    row->addWidget(edSuche, 1);
    auto* close = new QPushButton(Tx(2230, "Schließen"), FSearchPanel);
    connect(close, &QPushButton::clicked, this, [this] {
        edSuche->clear();
        FSearchPanel->hide();
    });
    row->addWidget(close);
    FSearchPanel->hide();
    return FSearchPanel;
}

void TMainForm::ApplySearch()
{
    const QString text = edSuche->text().trimmed();
    for (QTableWidget* grid : {gridGesendet, gridEntwuerfe})
        for (int r = 0; r < grid->rowCount(); ++r) {
            bool match = text.isEmpty();
            for (int c = 0; !match && c < grid->columnCount(); ++c)
                match = grid->item(r, c) && grid->item(r, c)->text().contains(text, Qt::CaseInsensitive);
            grid->setRowHidden(r, !match);
        }
}

void TMainForm::ApplyDisplaySettings(const TDisplaySettings& settings)
{
    FDisplay = settings;
    ApplyAppearance(this, settings);
    applyGridSettings();
    colourStatusLine();
}

void TMainForm::applyGridSettings()
{
    const TDisplaySettings& settings = FDisplay;
    for (QTableWidget* grid : {gridEmpf, gridGesendet, gridEntwuerfe}) {
        QFont font = this->font();
        if (settings.fontSize > 0)
            font.setPointSize(settings.fontSize);
        grid->setFont(font);
        grid->horizontalHeader()->setSectionResizeMode(settings.autoWidth ? QHeaderView::ResizeToContents : QHeaderView::Interactive);
        grid->horizontalHeader()->setStretchLastSection(grid != gridEmpf);
        for (int r = 0; r < grid->rowCount(); ++r)
            for (int c = 0; c < grid->columnCount(); ++c)
                if (QTableWidgetItem* item = grid->item(r, c))
                    item->setTextAlignment(settings.centred ? Qt::AlignCenter : Qt::AlignLeft | Qt::AlignVCenter);
    }
    for (const auto& [grid, subject] : {std::pair{gridGesendet, 1}, std::pair{gridEntwuerfe, 0}})
        fitMailListColumns(grid, subject);
    gridGesendetAnhang->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    // The address is what the user checks: it gets the room, the kind column what its box needs.
    gridEmpf->horizontalHeader()->setSectionResizeMode(ColEmpfAdr, QHeaderView::Stretch);
    gridEmpf->horizontalHeader()->setSectionResizeMode(ColEmpfListe, QHeaderView::ResizeToContents);
    gridEmpf->horizontalHeader()->setSectionResizeMode(ColName, QHeaderView::ResizeToContents);
    gridEmpf->horizontalHeader()->setSectionResizeMode(ColFirma, QHeaderView::ResizeToContents);
}

// The subject is what the user looks for in a mail list: it gets the room.
// The other columns get their content, long ones (recipients, content) at
// most a share the user can widen.
void TMainForm::fitMailListColumns(QTableWidget* grid, int subject)
{
    constexpr int longest = 240;
    QHeaderView* header = grid->horizontalHeader();
    header->setStretchLastSection(false);
    header->setSectionResizeMode(QHeaderView::Interactive);
    grid->resizeColumnsToContents();
    for (int c = 0; c < grid->columnCount(); ++c)
        if (c != subject)
            grid->setColumnWidth(c, std::min(grid->columnWidth(c), longest));
    header->setSectionResizeMode(subject, QHeaderView::Stretch);
}

// The dialog's choices show at once; Cancel brings back what was there.
void TMainForm::editDisplaySettings()
{
    const TDisplaySettings before = FDisplay;
    TFormDarstellung dialog(FDisplay, this);
    connect(&dialog, &TFormDarstellung::Changed, this, [this, &dialog](const TDisplaySettings& s) {
        ApplyDisplaySettings(s);
        ApplyAppearance(&dialog, s);
    });
    if (RunModal(dialog) != QDialog::Accepted) {
        ApplyDisplaySettings(before);
        return;
    }
    if (TConfig* config = TConfig::Instance())
        SaveDisplaySettings(*config, dialog.Settings());
    ApplyDisplaySettings(dialog.Settings());
}

QWidget* TMainForm::buildSentPage()
{
    auto* page = new QSplitter(Qt::Horizontal, this);
    gridGesendet = makeGrid(page, {Tx(1968, "Nr."), QLatin1Char(' ') + Tx(1964, "Betreff"), Tx(1969, "Datum"),
                                   Tx(1970, "Empfänger"), QStringLiteral("ID"), Tx(1971, "Gesendet durch")});
    gridGesendetAnhang = makeGrid(page, {Tx(1972, "Anhang"), Tx(1973, "Größe"), Tx(1974, "Status")});
    connect(gridGesendet, &QTableWidget::cellDoubleClicked, barbtZeigeGesendeteMail, &QAction::trigger);
    connect(gridGesendet, &QTableWidget::currentCellChanged, this, [this] {
        gridGesendetAnhang->setRowCount(0);
        if (const TEMail* mail = mailOfRow(gridGesendet))
            for (const auto& a : mail->FLAnhaengeBlob) {
                const int row = gridGesendetAnhang->rowCount();
                gridGesendetAnhang->insertRow(row);
                gridGesendetAnhang->setItem(row, 0, cell(QFileInfo(a->FPfad).fileName()));
                gridGesendetAnhang->setItem(row, 1, sizeCell(a->FDateigroesse));
                gridGesendetAnhang->setItem(row, 2, cell(a->FGespeichert || !a->FObjekt.isEmpty() ? Tx(1976, "gespeichert")
                                                                                                   : Tx(1975, "nicht gespeichert")));
            }
    });
    page->setStretchFactor(0, 3);
    return page;
}

QWidget* TMainForm::buildDraftsPage()
{
    gridEntwuerfe = makeGrid(this, {QLatin1Char(' ') + Tx(1964, "Betreff"), Tx(1969, "Datum"), Tx(1977, "Inhalt"),
                                    QStringLiteral("MailID"), Tx(1970, "Empfänger"), Tx(1957, "Empfängerliste")});
    connect(gridEntwuerfe, &QTableWidget::cellDoubleClicked, barbtEntwurfBearbeiten, &QAction::trigger);
    return gridEntwuerfe;
}

const TEMail* TMainForm::mailOfRow(const QTableWidget* grid) const
{
    const int row = grid->currentRow();
    const TEMailListe* mails = FServices.mails ? FServices.mails() : nullptr;
    if (row < 0 || !mails)
        return nullptr;
    const int idColumn = grid == gridGesendet ? 4 : 3;
    const QTableWidgetItem* item = grid->item(row, idColumn);
    return item ? const_cast<TEMailListe*>(mails)->FindByID(item->text().toInt()) : nullptr;
}

void TMainForm::withOpenedMail(const QTableWidget* grid, bool withAttachmentContent,
                               const std::function<void(const TEMail&)>& use) const
{
    const TEMail* listed = mailOfRow(grid);
    if (!listed)
        return;
    const std::unique_ptr<TEMail> loaded = FServices.loadMail ? FServices.loadMail(listed->FID, withAttachmentContent) : nullptr;
    use(loaded ? *loaded : *listed);
}

void TMainForm::FillMailLists()
{
    const TEMailListe* mails = FServices.mails ? FServices.mails() : nullptr;
    if (!mails)
        return;
    fillSentList(*mails);
    fillDraftList(*mails);
    applyGridSettings();
    ApplySearch();
}

void TMainForm::fillSentList(const TEMailListe& mails)
{
    gridGesendet->setRowCount(0);
    for (const auto& mail : mails) {
        if (mail->FStatus == TMailStatus::stEntwurf)
            continue;
        const int row = gridGesendet->rowCount();
        gridGesendet->insertRow(row);
        gridGesendet->setItem(row, 0, cell(QString::number(row + 1)));
        gridGesendet->setItem(row, 1, cell(mail->FBetreff));
        gridGesendet->setItem(row, 2, cell(ListDateTime(DaysToDateTime(mail->FDatum))));
        gridGesendet->setItem(row, 3, cell(joinedRecipients(*mail)));
        gridGesendet->setItem(row, 4, cell(QString::number(mail->FID)));
        gridGesendet->setItem(row, 5, cell(SentByCaption(mail->FGesendetDurch)));
    }
}

void TMainForm::fillDraftList(const TEMailListe& mails)
{
    gridEntwuerfe->setRowCount(0);
    for (const auto& mail : mails) {
        if (mail->FStatus != TMailStatus::stEntwurf)
            continue;
        const int row = gridEntwuerfe->rowCount();
        gridEntwuerfe->insertRow(row);
        gridEntwuerfe->setItem(row, 0, cell(ShortenForDraftList(mail->FBetreff)));
        gridEntwuerfe->setItem(row, 1, cell(ListDateTime(DaysToDateTime(mail->FDatum))));
        gridEntwuerfe->setItem(row, 2, cell(ShortenForDraftList(mail->FBodyPlain)));
        gridEntwuerfe->setItem(row, 3, cell(QString::number(mail->FID)));
        gridEntwuerfe->setItem(row, 4, cell(joinedRecipients(*mail)));
        QStringList kinds;
        for (const auto& r : mail->FLEmpfaenger)
            kinds << KindCaption(r->FEmpfType);
        gridEntwuerfe->setItem(row, 5, cell(kinds.join(QStringLiteral(", "))));
    }
}

}  // namespace kalvex
