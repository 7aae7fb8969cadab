// The distribution window's commands and its ribbon: the actions with
// their handlers and shortcuts, and the tabs of tool groups that show them.
#include "ui/fMainForm.h"

#include "config/LanguageUnit.h"
#include "config/uConfig.h"
#include "mailinterface/EMail.h"
#include "ui/RibbonGroup.h"
#include "ui/WindowRunner.h"
#include "ui/fAdresseManuell.h"
#include "ui/fDarstellung.h"
#include "ui/fGesendeteMail.h"

#include <QAction>
#include <QComboBox>
#include <QFileDialog>
#include <QFontComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLineEdit>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTableWidget>
#include <QTextEdit>
#include <QToolButton>

namespace kalvex {

void TMainForm::assignShortcuts()
{
    const std::pair<QAction*, QKeySequence> keys[] = {
        {barbtNewMail, QKeySequence::New},           {barbtSend, QKeySequence(Qt::CTRL | Qt::Key_Return)},
        {barbtSpeichereEntwurf, QKeySequence::Save}, {barbtSelectContacts, QKeySequence(Qt::CTRL | Qt::Key_E)},
        {barbtAddAttachment, QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_A)},
        {barbtTextbausteinEinfuegen, QKeySequence(Qt::CTRL | Qt::Key_T)},
        {barbtBoldMain, QKeySequence::Bold},         {barbtItalicMain, QKeySequence::Italic},
        {barbtUnderlinedMain, QKeySequence::Underline}, {btUndo, QKeySequence::Undo},
        {btLinkEinfuegen, QKeySequence(Qt::CTRL | Qt::Key_K)},
        {btRedo, QKeySequence::Redo},                {rbbtSearch, QKeySequence::Find},
        {barbtHelp, QKeySequence::HelpContents},     {btTastenkombinationen, QKeySequence(Qt::CTRL | Qt::Key_F1)},
    };
    for (const auto& [action, key] : keys) {
        action->setShortcut(key);
        action->setShortcutContext(Qt::WindowShortcut);
        addAction(action);
    }
    describeCommands();
}

// Tooltips name the command and its keys; the ribbon's short captions need
// their group to be understood outside the ribbon.
void TMainForm::describeCommands()
{
    SetCommandName(barbtAddAttachment, Tx(2292, "Anhang hinzufügen"));
    SetCommandName(barbtDeleteAttachment, Tx(3101, "Anhang entfernen"));
    SetCommandName(barbtAllAttachmentDelete, Tx(3102, "Alle Anhänge entfernen"));
    for (QAction* action : findChildren<QAction*>(QString(), Qt::FindDirectChildrenOnly))
        DescribeCommand(action);
}

// Icons from the desktop's icon theme; a command without one shows its text.
void TMainForm::assignIcons()
{
    EnsureIconTheme();
    const std::pair<QAction*, const char*> icons[] = {
        {barbtNewMail, "mail-message-new"},        {barbtSend, "mail-send"},
        {barbtSpeichereEntwurf, "document-save"},  {barbtSelectContacts, "x-office-address-book"},
        {btAusAdrDBUebernehmen, "document-import"}, {barbtAddContactManually, "list-add-user"},
        {barbtDeleteContact, "list-remove-user"},  {barbtDeleteAllContacts, "edit-clear-all"},
        {barbtAddAttachment, "mail-attachment"},   {barbtDeleteAttachment, "list-remove"},
        {barbtAllAttachmentDelete, "edit-clear-all"}, {barbtTextbausteinEinfuegen, "insert-text"},
        {btVorlagen, "document-edit"},             {barbtNachtrag, "mail-forward"},
        {barbtLoeschen, "edit-delete"},            {barbtZeigeGesendeteMail, "document-preview"},
        {barbtEntwurfBearbeiten, "document-edit"}, {barbtEntwurfEntfernen, "edit-delete"},
        {barbtSetupConnection, "network-connect"}, {barbtSetupDarstellung, "color-management"},
        {barbtHelp, "help-contents"},              {btTastenkombinationen, "input-keyboard"},
        {rbbtSearch, "edit-find"},                 {barbtProgrammBeenden, "window-close"},
    };
    for (const auto& [action, name] : icons)
        action->setIcon(QIcon::fromTheme(QString::fromLatin1(name)));
}

QAction* TMainForm::makeAction(const QString& objectName, const QString& text, std::function<void()> handler)
{
    auto* action = new QAction(text, this);
    action->setObjectName(objectName);
    connect(action, &QAction::triggered, this, [handler = std::move(handler)] { handler(); });
    return action;
}

void TMainForm::buildActions()
{
    barbtNewMail = makeAction("barbtNewMail", Tx(1910, "Neue E-Mail"), [this] { NewMail(); });
    barbtSend = makeAction("barbtSend", Tx(1911, "Senden"), [this] {
        if (FServices.send)
            FServices.send(FModel);
        FillMailLists();
    });
    barbtSpeichereEntwurf = makeAction("barbtSpeichereEntwurf", Tx(1912, "Entwurf speichern"), [this] { StoreDraft(); });
    barbtSelectContacts = makeAction("barbtSelectContacts", Tx(1913, "Empfänger auswählen"), [this] {
        if (FServices.pickRecipients)
            addPickedRecipients(FServices.pickRecipients(this));
    });
    btAusAdrDBUebernehmen = makeAction("btAusAdrDBUebernehmen", Tx(1914, "Aus AdressDB übernehmen"), [this] {
        if (FServices.pickFromAddressDatabase)
            addPickedRecipients(FServices.pickFromAddressDatabase(this));
    });
    barbtAddContactManually = makeAction("barbtAddContactManually", Tx(1915, "Empfänger manuell hinzufügen"), [this] {
        TFormAdresseManuell dialog(this);
        if (RunModal(dialog) != QDialog::Accepted)
            return;
        TComposeRecipient r = dialog.Recipient();
        r.kind = PresetKind();
        AddRecipientRow(r);
    });
    barbtDeleteContact = makeAction("barbtDeleteContact", Tx(1916, "Empfänger entfernen"), [this] {
        const int row = gridEmpf->currentRow();
        if (row >= 0 && row < static_cast<int>(FModel.Recipients.size())) {
            FModel.Recipients.erase(FModel.Recipients.begin() + row);
            refreshRecipients();
        }
    });
    barbtDeleteAllContacts = makeAction("barbtDeleteAllContacts", Tx(1917, "Alle Empfänger entfernen"), [this] {
        FModel.Recipients.clear();
        refreshRecipients();
    });
    barbtAddAttachment = makeAction("barbtAddAttachment", Tx(1918, "Hinzufügen"), [this] {
        AddAttachmentFiles(QFileDialog::getOpenFileNames(this, Tx(1919, "Anhänge hinzufügen")));
    });
    barbtDeleteAttachment = makeAction("barbtDeleteAttachment", Tx(1920, "Entfernen"), [this] { DeleteSelectedAttachments(); });
    barbtAllAttachmentDelete = makeAction("barbtAllAttachmentDelete", Tx(1921, "Alle entfernen"), [this] {
        FModel.Attachments.clear();
        refreshAttachments();
    });
    barbtTextbausteinEinfuegen = makeAction("barbtTextbausteinEinfuegen", Tx(1922, "Textbaustein einfügen"), [this] {
        if (FServices.insertTextBlock)
            FServices.insertTextBlock(this, *edBody);
    });
    btVorlagen = makeAction("btVorlagen", Tx(1923, "Vorlagen bearbeiten"), [this] {
        const QUuid previous = SelectedVorlage();
        const QVariant previousOwn = cbVorlagen->currentData(OwnTemplateRole);
        if (FServices.editTemplates)
            FServices.editTemplates(this);
        InitializeVorlagenAuswahl(FVorlagen, FLang);
        restoreVorlagenAuswahl(previous, previousOwn);   // the user's edits of subject and body stay
    });
    barbtNachtrag = makeAction("barbtNachtrag", Tx(1924, "Nachtrag"), [this] { composeFromRow(gridGesendet); });
    barbtLoeschen = makeAction("barbtLoeschen", Tx(1925, "Löschen"), [this] { deleteRow(gridGesendet); });
    barbtZeigeGesendeteMail = makeAction("barbtZeigeGesendeteMail", Tx(1926, "E-Mail anzeigen"), [this] {
        withOpenedMail(gridGesendet, false, [this](const TEMail& mail) {
            TFormGesendeteMail view(mail, FMessages, this, [this](const TAnhang& a) {
                return FServices.attachmentContent ? FServices.attachmentContent(a.FID) : QByteArray();
            });
            RunModal(view);
        });
    });
    barbtEntwurfBearbeiten = makeAction("barbtEntwurfBearbeiten", Tx(1927, "Entwurf bearbeiten"),
                                        [this] { composeFromRow(gridEntwuerfe); });
    barbtEntwurfEntfernen = makeAction("barbtEntwurfEntfernen", Tx(1928, "Entwurf entfernen"),
                                       [this] { deleteRow(gridEntwuerfe); });
    barbtSetupConnection = makeAction("barbtSetupConnection", Tx(1929, "Verbindung"), [this] {
        if (FServices.setupConnection && FServices.setupConnection(this))
            if (const TConfig* config = TConfig::Instance())
                UpdateStatusLine(*config);
    });
    barbtSetupDarstellung = makeAction("barbtSetupDarstellung", Tx(1930, "Darstellung"), [this] { editDisplaySettings(); });
    btTastenkombinationen = makeAction("btTastenkombinationen", Tx(2285, "Tastenkombinationen"), [this] {
        TFormTastenkombinationen dialog(actions(), this);
        RunModal(dialog);
    });
    barbtHelp = makeAction("barbtHelp", Tx(1856, "Hilfe"), [] {
        if (const TConfig* config = TConfig::Instance())
            config->Help().ShowTopic(QStringLiteral("verteiler.html"));
    });
    rbbtSearch = makeAction("rbbtSearch", Tx(1931, "Suche"), [this] {
        FSearchPanel->show();
        edSuche->setFocus();
        if (pages->currentIndex() == 0)
            ribbon->setCurrentIndex(1);   // searching means the sent list
    });
    barbtProgrammBeenden = makeAction("barbtProgrammBeenden", Tx(1932, "Schließen"), [this] { close(); });
    barbtBoldMain = makeAction("barbtBoldMain", Tx(1933, "Fett"), [this] {
        edBody->setFontWeight(edBody->fontWeight() > QFont::Normal ? QFont::Normal : QFont::Bold);
    });
    barbtItalicMain = makeAction("barbtItalicMain", Tx(1934, "Kursiv"), [this] { edBody->setFontItalic(!edBody->fontItalic()); });
    barbtUnderlinedMain = makeAction("barbtUnderlinedMain", Tx(1935, "Unterstrichen"), [this] {
        edBody->setFontUnderline(!edBody->fontUnderline());
    });
    btUndo = makeAction("btUndo", Tx(1936, "Rückgängig"), [this] { edBody->undo(); });
    btRedo = makeAction("btRedo", Tx(1937, "Wiederholen"), [this] { edBody->redo(); });
    btBildEinfuegen = makeAction("btBildEinfuegen", Tx(1938, "Bild einfügen"), [this] { insertPicture(); });
    btTabelleEinfuegen = makeAction("btTabelleEinfuegen", Tx(1939, "Tabelle einfügen"), [this] { insertTable(); });
    btTabelle100 = makeAction("btTabelle100", QStringLiteral("100 %"), [this] { SetTableWidthTo100Percent(); });
}

// A follow-up of a sent mail, or a draft to go on with.
void TMainForm::composeFromRow(const QTableWidget* grid)
{
    withOpenedMail(grid, false, [this](const TEMail& mail) {
        ribbon->setCurrentIndex(0);
        LoadMailIntoCompose(mail);
    });
}

// Deletes without asking, as the sent and draft lists always did.
void TMainForm::deleteRow(const QTableWidget* grid)
{
    if (const TEMail* mail = mailOfRow(grid); mail && FServices.deleteMail)
        FServices.deleteMail(mail->FID);
    FillMailLists();
}

void TMainForm::addGroup(QWidget* tab, const QString& caption, const QList<QAction*>& actions)
{
    static_cast<QHBoxLayout*>(tab->layout())->addWidget(new TRibbonGroup(caption, actions, tab));
}

void TMainForm::buildRibbon()
{
    assignIcons();
    ribbon = new QTabWidget(this);
    ribbon->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    ribbon->setUsesScrollButtons(true);
    auto newTab = [this](const QString& title) {
        auto* tab = new TRibbonTab(ribbon);
        ribbon->addTab(tab, title);
        return tab;
    };
    QWidget* general = newTab(Tx(1940, "Allgemein"));
    addGroup(general, QString(), {barbtNewMail, barbtSend, barbtSpeichereEntwurf});
    addGroup(general, Tx(1941, "Empfänger wählen"), {barbtSelectContacts, barbtAddContactManually, barbtDeleteContact,
                                                     barbtDeleteAllContacts});
    addGroup(general, Tx(1942, "Anhänge"), {barbtAddAttachment, barbtDeleteAttachment, barbtAllAttachmentDelete});
    addGroup(general, QString(), {barbtTextbausteinEinfuegen});
    addGroup(general, QString(), {btVorlagen});   // hidden without a template kind
    addGroup(general, QString(), {barbtProgrammBeenden});
    addGroup(general, QString(), {barbtHelp});
    static_cast<QHBoxLayout*>(general->layout())->addStretch(1);
    QWidget* sent = newTab(Tx(1943, "Gesendete E-Mails"));
    addGroup(sent, Tx(1944, "Aktion"), {barbtNachtrag, barbtZeigeGesendeteMail, barbtLoeschen});
    addGroup(sent, QString(), {barbtSetupDarstellung, barbtProgrammBeenden});
    static_cast<QHBoxLayout*>(sent->layout())->addStretch(1);
    QWidget* drafts = newTab(Tx(1945, "Entwürfe"));
    addGroup(drafts, Tx(1945, "Entwürfe"), {barbtEntwurfBearbeiten, barbtEntwurfEntfernen});
    addGroup(drafts, QString(), {barbtSetupDarstellung, barbtProgrammBeenden});
    static_cast<QHBoxLayout*>(drafts->layout())->addStretch(1);
    buildFormatTab(newTab(Tx(1946, "Formatierung")));
    buildTableTab(newTab(Tx(1950, "Tabelle")));
    QWidget* extras = newTab(Tx(1951, "Extras"));
    addGroup(extras, Tx(1840, "Einstellungen"), {barbtSetupConnection, barbtSetupDarstellung, rbbtSearch, btTastenkombinationen});
    static_cast<QHBoxLayout*>(extras->layout())->addStretch(1);
    connect(ribbon, &QTabWidget::currentChanged, this, [this](int i) { onRibbonTab(i); });
}

void TMainForm::onRibbonTab(int index)
{
    pages->setCurrentIndex(index == 1 ? 1 : index == 2 ? 2 : 0);
}

}  // namespace kalvex
