#include "ui/fMainForm.h"

#include "compose/MailBodyExport.h"
#include "compose/RecipientFieldMarks.h"
#include "compose/TemplateMerge.h"
#include "compose/rtf/RtfReader.h"
#include "config/BodyFont.h"
#include "config/InterfaceLocale.h"
#include "config/LanguageUnit.h"
#include "config/ShellOpen.h"
#include "config/uConfig.h"
#include "mailinterface/uMailInterface.h"
#include "ui/AttachmentDisplay.h"
#include "ui/BodyEdit.h"
#include "ui/DisplayTexts.h"
#include "ui/FileDropFilter.h"
#include "ui/MainFormRules.h"
#include "ui/SpellLineEdit.h"
#include "ui/Spelling.h"
#include "ui/TextEditSpelling.h"
#include "ui/RibbonGroup.h"
#include "ui/WindowRunner.h"
#include "ui/fAdresseManuell.h"
#include "ui/fGesendeteMail.h"
#include "ui/fVorschau.h"

#include <QAbstractScrollArea>
#include <cmath>
#include <QAction>
#include <QCheckBox>
#include <QCloseEvent>
#include <QColorDialog>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QStandardItemModel>
#include <QTabWidget>
#include <QTableWidget>
#include <QFile>
#include <QTextCursor>
#include <QTextDocumentFragment>
#include <QTextEdit>
#include <QTextFormat>
#include <QTextList>
#include <QTextTable>
#include <QToolButton>
#include <QTreeWidget>
#include <QUrl>
#include <QMenu>
#include <QVBoxLayout>
#include "ui/fDarstellung.h"

namespace kalvex {

namespace {

enum RecipientColumn { ColEmpfAdr, ColName, ColFirma, ColAdressDB, ColTmpID, ColKontaktID, ColEmpfListe };
enum AttachmentColumn { ColAnhangFile, ColAnhangSize };

QTableWidget* makeGrid(QWidget* parent, const QStringList& headers)
{
    auto* grid = new QTableWidget(0, static_cast<int>(headers.size()), parent);
    grid->setHorizontalHeaderLabels(headers);
    grid->setSelectionBehavior(QAbstractItemView::SelectRows);
    grid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grid->verticalHeader()->setVisible(false);
    grid->horizontalHeader()->setStretchLastSection(true);
    return grid;
}

QTableWidgetItem* cell(const QString& text)
{
    return new QTableWidgetItem(text);
}

// Sizes read the same everywhere: "301 KB", "3,50 MB", right-aligned.
QTableWidgetItem* sizeCell(double bytes)
{
    auto* item = new QTableWidgetItem(FormatAttachmentSize(std::llround(bytes), InterfaceLocale()));
    item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return item;
}

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

TMainForm::TMainForm(IUserMessages& messages, TMainFormServices services, const QString& startText, bool emptyMode,
                     QWidget* parent)
    : QDialog(parent), FMessages(messages), FServices(std::move(services)), FEmptyMode(emptyMode)
{
    setObjectName(QStringLiteral("MainForm"));
    setWindowTitle(QStringLiteral("Kalvex"));
    setWindowFlag(Qt::WindowMaximizeButtonHint);
    buildActions();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 0);
    buildRibbon();
    layout->addWidget(ribbon);
    layout->addWidget(buildSearchPanel());
    pages = new QStackedWidget(this);
    pages->addWidget(buildComposePage());
    pages->addWidget(buildSentPage());
    pages->addWidget(buildDraftsPage());
    layout->addWidget(pages, 1);
    auto* status = new QHBoxLayout;
    for (QLabel*& panel : statusPanels) {
        panel = new QLabel(this);
        status->addWidget(panel);
    }
    status->addStretch(1);
    layout->addLayout(status);
    if (!startText.isEmpty())
        SetBody(startText);
    FTemplateArea->setVisible(false);   // until a template kind is set
    btVorlagen->setVisible(false);
    if (const TConfig* config = TConfig::Instance()) {
        UpdateStatusLine(*config);
        ApplyDisplaySettings(LoadDisplaySettings(*config));
    }
    assignShortcuts();
    buildPopupMenus();
    auto* drops = new TFileDropFilter([this](const QList<QUrl>& urls) { AddDroppedUrls(urls); }, this);
    // A file attaches wherever it is dropped, also on the text fields.
    drops->Watch(this);
    for (QAbstractScrollArea* view : findChildren<QAbstractScrollArea*>())
        drops->Watch(view->viewport());
    drops->WatchText(edBody->viewport());
    for (QLineEdit* line : findChildren<QLineEdit*>())
        drops->WatchText(line);
    connectFormatting();
    resize(initialSize());
}

// Room for the compose page, within the screen of a small laptop.
QSize TMainForm::initialSize() const
{
    const QSize wanted(1180, 720);
    const QScreen* screen = this->screen();
    return screen ? wanted.boundedTo(screen->availableGeometry().size() - QSize(16, 48)) : wanted;
}

// Right-click menus offer the commands that act on what was clicked.
void TMainForm::buildPopupMenus()
{
    barbtOpenAttachment = new QAction(Tx(1997, "Öffnen"), this);
    barbtOpenAttachment->setObjectName(QStringLiteral("barbtOpenAttachment"));
    connect(barbtOpenAttachment, &QAction::triggered, this, [this] { OpenAttachment(gridAnhang->currentRow()); });
    const std::pair<QWidget*, QList<QAction*>> menus[] = {
        {gridEmpf, {barbtSelectContacts, barbtAddContactManually, barbtDeleteContact, barbtDeleteAllContacts}},
        {gridAnhang, {barbtOpenAttachment, barbtAddAttachment, barbtDeleteAttachment, barbtAllAttachmentDelete}},
        {gridGesendet, {barbtZeigeGesendeteMail, barbtNachtrag, barbtLoeschen, barbtSetupDarstellung}},
        {gridEntwuerfe, {barbtEntwurfBearbeiten, barbtEntwurfEntfernen}},
    };
    for (const auto& [widget, actions] : menus) {
        widget->setContextMenuPolicy(Qt::ActionsContextMenu);
        widget->addActions(actions);
    }
    edBody->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(edBody, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        std::unique_ptr<QMenu> menu(edBody->createStandardContextMenu(at));
        TTextEditSpelling::ExtendMenu(edBody, *menu, at);
        menu->addSeparator();
        menu->addActions({barbtTextbausteinEinfuegen, btBildEinfuegen, btTabelleEinfuegen, btTabelle100});
        menu->exec(edBody->viewport()->mapToGlobal(at));
    });
}

TMainForm::~TMainForm() = default;

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

QWidget* TMainForm::buildTemplateArea()
{
    FTemplateArea = new QWidget(this);
    auto* row = new QHBoxLayout(FTemplateArea);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(new QLabel(Tx(1952, "E-Mail-Vorlagen"), FTemplateArea));
    cbVorlagen = new QComboBox(FTemplateArea);
    cbVorlagen->setMinimumWidth(200);
    row->addWidget(cbVorlagen, 1);
    auto* edit = new QToolButton(FTemplateArea);
    edit->setDefaultAction(btVorlagen);
    row->addWidget(edit);
    auto* help = new QToolButton(FTemplateArea);
    help->setObjectName(QStringLiteral("btVorlagenHilfe"));
    help->setText(QStringLiteral("?"));
    help->setToolTip(CommandName(barbtHelp));
    connect(help, &QToolButton::clicked, barbtHelp, &QAction::trigger);
    row->addWidget(help);
    cbWerteEinfuegen = new QComboBox(FTemplateArea);
    cbWerteEinfuegen->setPlaceholderText(Tx(1953, "Werte einfügen"));
    row->addWidget(cbWerteEinfuegen);
    connect(cbVorlagen, &QComboBox::activated, this, [this](int i) {
        if (!mayReplaceComposedText()) {
            cbVorlagen->setCurrentIndex(FAppliedTemplateIndex);
            return;
        }
        FAppliedTemplateIndex = i;
        const QVariant own = cbVorlagen->itemData(i, OwnTemplateRole);
        if (own.isValid())
            ApplyOwnTemplate(own.toInt());
        else
            ApplyTemplate(cbVorlagen->itemData(i).toUuid());
    });
    connect(cbVorlagen, &QComboBox::currentIndexChanged, this, [this] { FSelectedVorlageGUID = SelectedVorlage(); });
    connect(cbWerteEinfuegen, &QComboBox::activated, this, [this](int i) { insertFieldValue(i); });
    return FTemplateArea;
}

QWidget* TMainForm::buildRecipientArea()
{
    auto* area = new QWidget(this);
    auto* column = new QVBoxLayout(area);
    column->setContentsMargins(0, 0, 0, 0);
    edEmpfaenger = new TRecipientEntry(area);
    edEmpfaenger->SetSource([this](const QString& text) {
        return FServices.addressSuggestions ? FServices.addressSuggestions(text) : QList<TAddressSuggestion>();
    });
    connect(edEmpfaenger, &TRecipientEntry::submitted, this, &TMainForm::TakeRecipientEntry);
    column->addWidget(edEmpfaenger);
    auto* row = new QHBoxLayout;
    column->addLayout(row, 1);
    gridEmpf = makeGrid(area, {Tx(1954, "E-Mail"), Tx(1955, "Name"), Tx(1956, "Firma"), QStringLiteral("AdressDB_ID"),
                               QStringLiteral("tmpID"), QStringLiteral("KontaktID"), Tx(1957, "Empfängerliste")});
    for (int hidden : {ColAdressDB, ColTmpID, ColKontaktID})
        gridEmpf->setColumnHidden(hidden, true);
    // One line per recipient, as high as its kind box: more rows in view.
    gridEmpf->setWordWrap(false);
    gridEmpf->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    gridEmpf->verticalHeader()->setDefaultSectionSize(QComboBox().sizeHint().height());
    row->addWidget(gridEmpf, 1);
    auto* side = new QVBoxLayout;
    auto* plus = new QToolButton(area);
    plus->setText(QStringLiteral("+"));
    connect(plus, &QToolButton::clicked, barbtAddContactManually, &QAction::trigger);
    auto* fromDb = new QToolButton(area);
    fromDb->setDefaultAction(btAusAdrDBUebernehmen);
    auto* choose = new QPushButton(Tx(1958, "Wählen"), area);
    connect(choose, &QPushButton::clicked, barbtSelectContacts, &QAction::trigger);
    auto* preset = new QGroupBox(Tx(1959, "Voreinstellung"), area);
    auto* presetRow = new QHBoxLayout(preset);
    for (int i = 0; i < 3; ++i) {
        rbVoreinstellung[i] = new QRadioButton(KindCaption(static_cast<TEmpfaengerTyp>(i)), preset);
        presetRow->addWidget(rbVoreinstellung[i]);
        connect(rbVoreinstellung[i], &QRadioButton::toggled, this, [this, i](bool on) {
            if (on)
                edEmpfaenger->SetKind(static_cast<TEmpfaengerTyp>(i));
        });
    }
    rbVoreinstellung[0]->setChecked(true);
    chbSeperatSenden = new QCheckBox(Tx(1960, "separat senden"), area);
    connect(chbSeperatSenden, &QCheckBox::toggled, this, [this](bool on) {
        FModel.SeparateFlag = on;
        if (FFieldMarks)
            FFieldMarks->SetActive(!on);   // recipient fields are filled only per mail
    });
    btVorschau = new QPushButton(Tx(3440, "Vorschau"), area);
    btVorschau->setToolTip(Tx(3445, "Zeigt die E-Mail, wie jeder Empfänger sie bei \"separat senden\" erhält"));
    connect(btVorschau, &QPushButton::clicked, this, &TMainForm::ShowPreview);
    // Three short rows, so the column fits beside six recipient rows.
    auto* pickRow = new QHBoxLayout;
    for (QWidget* w : {static_cast<QWidget*>(plus), static_cast<QWidget*>(fromDb), static_cast<QWidget*>(choose)})
        pickRow->addWidget(w);
    auto* separateRow = new QHBoxLayout;
    separateRow->addWidget(chbSeperatSenden);
    separateRow->addWidget(btVorschau);
    side->addLayout(pickRow);
    side->addWidget(preset);
    side->addLayout(separateRow);
    side->addStretch(1);
    row->addLayout(side);
    return area;
}

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

QWidget* TMainForm::buildComposePage()
{
    auto* page = new QWidget(this);
    auto* column = new QVBoxLayout(page);
    // The sender above the subject, as mail programs show it.
    auto* fromRow = new QHBoxLayout;
    auto* from = new QLabel(Tx(4510, "Von"), page);
    lbVon = new QLabel(page);
    lbVon->setObjectName(QStringLiteral("lbVon"));
    lbVon->setTextInteractionFlags(Qt::TextSelectableByMouse);
    lbVon->setToolTip(Tx(4511, "Der Absender der E-Mail; einstellen unter Extras › Verbindung"));
    fromRow->addWidget(from);
    fromRow->addWidget(lbVon, 1);
    column->addLayout(fromRow);
    auto* subjectRow = new QHBoxLayout;
    auto* subject = new QLabel(Tx(1964, "Betreff"), page);
    from->setMinimumWidth(std::max(from->sizeHint().width(), subject->sizeHint().width()));
    subject->setMinimumWidth(from->minimumWidth());
    subjectRow->addWidget(subject);
    TSpellChecker* spelling = CreateSpellChecker(this);
    edBetreff = new TSpellLineEdit(spelling, page);
    connect(edBetreff, &QLineEdit::textChanged, this, [this](const QString& t) { FModel.Subject = t; });
    subjectRow->addWidget(edBetreff, 1);
    column->addLayout(subjectRow);
    column->addWidget(buildTemplateArea());
    auto* splitter = new QSplitter(Qt::Vertical, page);
    auto* upper = new QSplitter(Qt::Horizontal, splitter);
    edBody = new TBodyEdit(upper);
    edBody->setDocument(&FModel.Body());
    edBody->setFont(DefaultBodyFont());   // the editor shows what the recipient will see
    TTextEditSpelling::Attach(edBody, spelling);
    FFieldMarks = new TRecipientFieldHighlighter(this, edBody->document());
    upper->addWidget(buildFieldPanel());
    upper->setStretchFactor(0, 1);
    upper->setStretchFactor(1, 0);
    upper->setSizes({900, 260});
    FBodySplitter = upper;
    auto* lower = new QSplitter(Qt::Horizontal, splitter);
    lower->addWidget(buildRecipientArea());
    lower->addWidget(buildAttachmentArea());
    // Room for six or more recipients below the body.
    splitter->setStretchFactor(0, 4);
    splitter->setStretchFactor(1, 3);
    splitter->setSizes({400, 300});
    column->addWidget(splitter, 1);
    return page;
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

void TMainForm::SetSubject(const QString& subject)
{
    edBetreff->setText(subject);
}

void TMainForm::SetBody(const QString& body)
{
    RtfToDocument(body, FModel.Body());
}

// New rows keep the kind chosen in the picker ("An →", "Cc →", "Bcc →"),
// which starts from "Voreinstellung".
// The grid is filled once for all of them, not once per row.
void TMainForm::addPickedRecipients(QList<TComposeRecipient> picked)
{
    bool added = false;
    for (const TComposeRecipient& r : picked)
        added = FModel.AddRecipient(r) || added;
    if (added)
        refreshRecipients();
}

TEmpfaengerTyp TMainForm::PresetKind() const
{
    for (int i = 0; i < 3; ++i)
        if (rbVoreinstellung[i]->isChecked())
            return static_cast<TEmpfaengerTyp>(i);
    return TEmpfaengerTyp::elAn;
}

void TMainForm::AddRecipientRow(const TComposeRecipient& recipient)
{
    if (FModel.AddRecipient(recipient))
        refreshRecipients();
}

void TMainForm::EmpfaengerListePreset()
{
    refreshRecipients();
}

void TMainForm::refreshRecipients()
{
    gridEmpf->setRowCount(0);
    for (size_t i = 0; i < FModel.Recipients.size(); ++i) {
        const TComposeRecipient& r = FModel.Recipients[i];
        const int row = static_cast<int>(i);
        gridEmpf->insertRow(row);
        gridEmpf->setItem(row, ColEmpfAdr, cell(r.email));
        gridEmpf->setItem(row, ColName, cell(r.name));
        gridEmpf->setItem(row, ColFirma, cell(r.company));
        gridEmpf->setItem(row, ColAdressDB, cell(QString::number(r.adressDbId)));
        gridEmpf->setItem(row, ColTmpID, cell(QString::number(r.tmpId)));
        gridEmpf->setItem(row, ColKontaktID, cell(QString::number(r.kontaktId)));
        auto* kind = new QComboBox(gridEmpf);
        kind->addItems({KindCaption(TEmpfaengerTyp::elAn), KindCaption(TEmpfaengerTyp::elCc),
                        KindCaption(TEmpfaengerTyp::elBcc)});
        kind->setCurrentIndex(static_cast<int>(r.kind));
        // Changed in place and posted at once.
        connect(kind, &QComboBox::currentIndexChanged, this, [this, row](int k) {
            if (row < static_cast<int>(FModel.Recipients.size()))
                FModel.Recipients[static_cast<size_t>(row)].kind = static_cast<TEmpfaengerTyp>(k);
        });
        gridEmpf->setCellWidget(row, ColEmpfListe, kind);
    }
    fillFieldTree();   // the recipient fields show the first recipient's values
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

bool TMainForm::sentFlag() const
{
    return FServices.sentFlag && FServices.sentFlag();
}

bool TMainForm::AskSaveDraftIfNeeded()
{
    if (sentFlag() || (FModel.Subject.isEmpty() && FModel.Body().isEmpty()))
        return true;
    const auto answer = FMessages.AskYesNoCancel(Tx(1978, "Wollen Sie den aktuellen Entwurf speichern?"));
    if (answer == IUserMessages::TAnswer::Cancel)
        return false;   // back to the mail
    if (answer == IUserMessages::TAnswer::No)
        return true;
    try {
        StoreDraft();
    } catch (const std::exception& e) {
        FMessages.ShowError(Tx(2309, "Der Entwurf konnte nicht gespeichert werden:\n%1").arg(QString::fromUtf8(e.what())));
        return false;
    }
    return true;
}

// The opened draft is replaced by the stored one, so editing a draft never
// leaves its old version behind; the new one is the draft from then on.
void TMainForm::StoreDraft()
{
    if (FServices.storeDraft)
        FServices.storeDraft(FModel);
    const int32_t stored = newestDraftId();
    if (FOpenDraftId > 0 && stored != FOpenDraftId && FServices.deleteMail)
        FServices.deleteMail(FOpenDraftId);
    FOpenDraftId = stored;
    FillMailLists();
}

int32_t TMainForm::newestDraftId() const
{
    const TEMailListe* mails = FServices.mails ? FServices.mails() : nullptr;
    int32_t newest = 0;
    if (!mails)
        return newest;
    for (const auto& mail : *mails)
        if (mail->FStatus == TMailStatus::stEntwurf)
            newest = std::max(newest, mail->FID);
    return newest;
}

void TMainForm::reject()
{
    if (AskSaveDraftIfNeeded())
        QDialog::reject();
}

void TMainForm::NewMail()
{
    if (!AskSaveDraftIfNeeded())
        return;
    edBetreff->clear();
    FModel.Clear();
    refreshAttachments();
    refreshRecipients();
    if (cbVorlagen)
        cbVorlagen->setCurrentIndex(-1);
    rbVoreinstellung[0]->setChecked(true);
    gridGesendet->setCurrentCell(-1, -1);
    gridEntwuerfe->setCurrentCell(-1, -1);
    FOpenDraftId = 0;
    FAppliedTemplateIndex = -1;
    if (FServices.newMail)
        FServices.newMail();
}

void TMainForm::LoadMailIntoCompose(const TEMail& mail)
{
    const QString subject = mail.FStatus == TMailStatus::stEntwurf ? mail.FBetreff : FollowUpSubject(mail.FBetreff);
    edBetreff->setText(subject);
    SetBody(mail.FBodyRTF.isEmpty() ? mail.FBodyPlain : mail.FBodyRTF);
    FModel.Attachments.clear();
    for (const QString& file : mail.FAnhaenge)
        FModel.AddAttachment(file);
    FModel.Recipients.clear();
    for (const auto& r : mail.FLEmpfaenger)
        FModel.AddRecipient({r->FAdresse, r->FGanzerName, r->FFirma, r->FAdressDB_ID, 0, 0, r->FEmpfType});
    refreshAttachments();
    refreshRecipients();
    FOpenDraftId = mail.FStatus == TMailStatus::stEntwurf ? mail.FID : 0;
    pages->setCurrentIndex(0);
    if (FServices.newMail)   // a loaded mail is a new compose session: closing asks again
        FServices.newMail();
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

void TMainForm::UpdateStatusLine(const TConfig& config)
{
    FStatusDirect = config.FVersandart == TVersandArt::vaDirekt;
    FStatusEncrypted = config.FVerbindungVerschluesselt;
    lbVon->setText(SenderLine(config));
    chbSeperatSenden->setVisible(FStatusDirect);
    btVorschau->setVisible(FStatusDirect);   // only a separate run fills recipient fields
    for (QLabel* p : statusPanels)
        p->clear();
    if (!FStatusDirect) {
        statusPanels[0]->setText(Tx(222, "Versandart: über Standard-E-Mail-Programm"));
        colourStatusLine();
        return;
    }
    const QString login = config.FUserNotLikeMailAddress && !config.FUserName.isEmpty() ? config.FUserName : config.FUser;
    statusPanels[0]->setText(QStringLiteral(" SMTP-Server: ") + config.FHost);
    statusPanels[1]->setText(QStringLiteral("Port: ") + QString::number(config.FPort));
    statusPanels[3]->setText(QStringLiteral("Sender: ") + login);
    statusPanels[4]->setText(Tx(1979, "Versandart: direkt"));
    statusPanels[5]->setText(Tx(4507, "Verschlüsselung: %1")
                                 .arg(FStatusEncrypted ? Tx(220, "aktiv") : Tx(221, "inaktiv")));
    colourStatusLine();
}

// The From of the mail as the header will carry it.
QString TMainForm::SenderLine(const TConfig& config)
{
    if (config.FVersandart != TVersandArt::vaDirekt)
        return Tx(4508, "Ihr E-Mail-Programm setzt den Absender");
    if (config.FUser.isEmpty())
        return Tx(4509, "keine Absender-Adresse eingestellt (Extras › Verbindung)");
    return config.FAbsenderName.isEmpty() ? config.FUser : config.FAbsenderName + QStringLiteral(" <") + config.FUser + QLatin1Char('>');
}

// Colours follow the scheme in force: grey is the palette's disabled text,
// green and red are chosen to be readable on its window colour.
void TMainForm::colourStatusLine()
{
    for (QLabel* p : statusPanels) {
        p->setStyleSheet(QString());
        p->setEnabled(FStatusDirect);
    }
    if (!FStatusDirect)
        return;
    const bool dark = palette().color(QPalette::Window).lightness() < 128;
    const QString on = dark ? QStringLiteral("#5fd35f") : QStringLiteral("#1e7b1e");
    const QString off = dark ? QStringLiteral("#ff6b6b") : QStringLiteral("#b00020");
    statusPanels[5]->setStyleSheet(QStringLiteral("color: %1").arg(FStatusEncrypted ? on : off));
}

void TMainForm::applyFontSize(const QString& text)
{
    bool ok = false;
    const double size = text.toDouble(&ok);
    if (!ok || size <= 0) {
        FMessages.ShowError(text + Tx(1980, " ist kein gültiger Wert für die Schriftgröße"));
        return;
    }
    edBody->setFontPointSize(size);
}

void TMainForm::insertPicture()
{
    const QString file = QFileDialog::getOpenFileName(this, Tx(1938, "Bild einfügen"), QString(),
                                                      QStringLiteral("*.png *.jpg *.jpeg"));
    QFile in(file);
    const TPicture picture = in.open(QIODevice::ReadOnly) ? PictureFromFileBytes(in.readAll()) : TPicture();
    if (picture.mimeType.isEmpty())
        return;
    QTextImageFormat image;
    image.setName(AddPictureResource(FModel.Body(), picture));
    const QSize size = PictureSize(picture);
    image.setWidth(size.width());
    image.setHeight(size.height());
    edBody->textCursor().insertImage(image);
}

void TMainForm::insertTable()
{
    QTextTableFormat format;
    format.setBorder(1);
    format.setCellPadding(3);
    format.setWidth(QTextLength(QTextLength::PercentageLength, 100));
    edBody->textCursor().insertTable(2, 2, format);
}

void TMainForm::InitializeVorlagenAuswahl(const TProgrammVorlageListe* templates, int32_t lang)
{
    FVorlagen = templates;
    FLang = lang;
    cbVorlagen->clear();
    FTemplateArea->setVisible(!FVorlageArtGUID.isNull());
    FFieldPanel->setVisible(!FVorlageArtGUID.isNull());
    btVorlagen->setVisible(!FVorlageArtGUID.isNull());
    if (!templates)
        return;
    for (const auto& t : *templates)
        if (t->FArt == FVorlageArtGUID || t->FArt == GeneralKindGUID())
            cbVorlagen->addItem(t->GetName(lang), t->FGUID);
    addOwnTemplates();
    cbVorlagen->setCurrentIndex(-1);
    fillFieldTree();
}

// Each category that holds templates is a heading that cannot be chosen,
// its templates indented below it.
void TMainForm::addOwnTemplates()
{
    FEigeneVorlagen = FServices.ownTemplates ? FServices.ownTemplates() : TKategorieListe();
    auto* model = qobject_cast<QStandardItemModel*>(cbVorlagen->model());
    for (const auto& k : FEigeneVorlagen) {
        bool heading = false;
        for (const auto& v : k->Vorlagen) {
            if (v->Art != TEMailVorlageArt::vaVorlage)
                continue;
            if (!std::exchange(heading, true)) {
                cbVorlagen->addItem(k->Kategorie);
                model->item(cbVorlagen->count() - 1)->setEnabled(false);
            }
            cbVorlagen->addItem(QStringLiteral("    ") + v->Name);
            cbVorlagen->setItemData(cbVorlagen->count() - 1, v->ID, OwnTemplateRole);
        }
    }
}

QUuid TMainForm::SelectedVorlage() const
{
    return cbVorlagen->currentIndex() >= 0 ? cbVorlagen->currentData().toUuid() : QUuid();
}

void TMainForm::restoreVorlagenAuswahl(const QUuid& vorlage, const QVariant& ownId)
{
    if (ownId.isValid())
        cbVorlagen->setCurrentIndex(cbVorlagen->findData(ownId, OwnTemplateRole));
    else
        cbVorlagen->setCurrentIndex(vorlage.isNull() ? -1 : cbVorlagen->findData(vorlage));
    FAppliedTemplateIndex = cbVorlagen->currentIndex();
}

void TMainForm::SetVorlagenAuswahl(const QUuid& vorlage)
{
    const int index = cbVorlagen->findData(vorlage);
    cbVorlagen->setCurrentIndex(index);
    FAppliedTemplateIndex = index;
    if (index >= 0)
        ApplyTemplate(vorlage);
}

void TMainForm::ApplyTemplate(const QUuid& vorlage)
{
    FSelectedVorlageGUID = vorlage;
    const TProgrammVorlage* t = FVorlagen ? const_cast<TProgrammVorlageListe*>(FVorlagen)->FindByGUID(vorlage) : nullptr;
    if (t)
        applyMerged(*t);
}

void TMainForm::ApplyOwnTemplate(int32_t id)
{
    FSelectedVorlageGUID = QUuid();
    for (const auto& k : FEigeneVorlagen)
        for (const auto& v : k->Vorlagen)
            if (v->ID == id) {
                TProgrammVorlage asProgramTemplate;
                asProgramTemplate.FBetreff = v->Betreff;
                asProgramTemplate.FBody = LooksLikeRtf(v->BodyRTF) ? v->BodyRTF : v->BodyPlain;
                applyMerged(asProgramTemplate);
                return;
            }
}

void TMainForm::applyMerged(const TProgrammVorlage& vorlage)
{
    try {
        static const TFelder noFields;
        const TMergedTemplate merged = MergeProgrammVorlage(vorlage, FFelder ? *FFelder : noFields, FLang);
        edBetreff->setText(merged.subject);
        SetBody(merged.body);
        FAppliedSubject = FModel.Subject;
        FAppliedBody = FModel.Body().toPlainText();
    } catch (const std::exception& e) {
        FMessages.ShowError(QString::fromUtf8(e.what()));
    }
}

// What the user typed is not replaced by a template without asking; what
// the previous template put there is.
bool TMainForm::mayReplaceComposedText()
{
    const QString body = FModel.Body().toPlainText();
    const bool typedSubject = !FModel.Subject.trimmed().isEmpty() && FModel.Subject != FAppliedSubject;
    const bool typedBody = !body.trimmed().isEmpty() && body != FAppliedBody;
    if (!typedSubject && !typedBody)
        return true;
    return FMessages.AskYesNo(Tx(4500, "Betreff und Text der E-Mail durch die Vorlage ersetzen? "
                                       "Was Sie geschrieben haben, geht dabei verloren."));
}

void TMainForm::fillFieldTree()
{
    ShowFieldEntries((FFelder ? SimpleFieldEntries(*FFelder, FLang) : QList<TFieldEntry>()) + RecipientFieldEntries());
}

QList<TFieldEntry> TMainForm::RecipientFieldEntries() const
{
    if (FModel.Recipients.empty())
        return RecipientFieldList(nullptr);
    const TRecipientPerson first = RecipientPerson(FModel.Recipients.front());
    return RecipientFieldList(&first);
}

void TMainForm::ShowPreview()
{
    if (FModel.Recipients.empty() || !FServices.previewMail) {
        FMessages.ShowInformation(Tx(309, "Es wurden noch keine Empfänger angegeben. Bitte wählen Sie zunächst "
                                          "mindestens einen Empfänger."));
        return;
    }
    TFormVorschau preview(FModel.Recipients.size(), FServices.previewMail, this);
    RunModal(preview);
}

void TMainForm::insertFieldValue(int index)
{
    if (index >= 0)
        insertPlaceholder(cbWerteEinfuegen->itemText(index));
    cbWerteEinfuegen->setCurrentIndex(-1);
}

}  // namespace kalvex
