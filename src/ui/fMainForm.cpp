#include "ui/fMainForm.h"

#include "compose/MailBodyExport.h"
#include "compose/RecipientFieldMarks.h"
#include "compose/rtf/RtfReader.h"
#include "config/BodyFont.h"
#include "config/InterfaceLocale.h"
#include "config/LanguageUnit.h"
#include "config/uConfig.h"
#include "mailinterface/uMailInterface.h"
#include "ui/BodyEdit.h"
#include "ui/DisplayTexts.h"
#include "ui/FileDropFilter.h"
#include "ui/MainFormRules.h"
#include "ui/SpellLineEdit.h"
#include "ui/Spelling.h"
#include "ui/TextEditSpelling.h"
#include "ui/WindowRunner.h"
#include "ui/fVorschau.h"

#include <QAbstractScrollArea>
#include <QAction>
#include <QCheckBox>
#include <QCloseEvent>
#include <QColorDialog>
#include <QComboBox>
#include <QFileDialog>
#include <QFontComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTableWidget>
#include <QFile>
#include <QTextCursor>
#include <QTextDocumentFragment>
#include <QTextEdit>
#include <QTextFormat>
#include <QTextList>
#include <QTextTable>
#include <QUrl>
#include <QMenu>
#include <QVBoxLayout>

namespace kalvex {

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

void TMainForm::SetSubject(const QString& subject)
{
    edBetreff->setText(subject);
}

void TMainForm::SetBody(const QString& body)
{
    RtfToDocument(body, FModel.Body());
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

}  // namespace kalvex
