#pragma once
// The distribution window: ribbon, compose page, sent-mail and drafts
// pages, status line. It edits a TComposeModel; sending, storing and the
// lists go through TMainFormServices so the window stays a view.
//
// Lifetime: created for one window-opening call and freed after it closes.

#include "compose/uEMailVorlage.h"
#include "config/UserMessages.h"
#include "send/ComposeModel.h"
#include "ui/ComposeFields.h"
#include "ui/RecipientEntry.h"
#include "ui/fDarstellung.h"

#include <QColor>
#include <QDialog>
#include <QUrl>
#include <QUuid>
#include <functional>
#include <memory>

class QAction;
class QCheckBox;
class QComboBox;
class QFontComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QStackedWidget;
class QTabWidget;
class QTableWidget;
class QTextEdit;
class QToolButton;
class QTreeWidget;
class QSplitter;
class QGroupBox;
class QMenu;
class QTextCharFormat;
class QTextCursor;

namespace kalvex {

class TConfig;
class TRecipientFieldHighlighter;
class TEMail;
class TEMailListe;
class TFelder;
class TProgrammVorlage;
class TProgrammVorlageListe;
class TTableGridLines;

// What the window asks of the rest of the module. Any hook may be empty.
struct TMainFormServices {
    std::function<void(TComposeModel&)> send;               // the mailing run
    std::function<void(TComposeModel&)> storeDraft;         // "Entwurf speichern"
    std::function<void(int32_t mailId)> deleteMail;         // sent mail or draft
    std::function<const TEMailListe*()> mails;              // sent mails and drafts, as a list shows them
    // One mail as it is opened: with its bodies (and attachment contents when asked).
    std::function<std::unique_ptr<TEMail>(int32_t mailId, bool withAttachmentContent)> loadMail;
    std::function<QByteArray(int32_t attachmentId)> attachmentContent;   // read when opened or saved
    std::function<bool(QWidget*)> setupConnection;          // settings dialog + check; true when changed
    std::function<void(QWidget*)> editTemplates;            // template manager
    std::function<TKategorieListe()> ownTemplates;          // the user's templates, fresh from the store
    std::function<void(QWidget*, QTextEdit&)> insertTextBlock;
    std::function<QList<TComposeRecipient>(QWidget*)> pickRecipients;          // "Empfänger auswählen"
    std::function<QList<TComposeRecipient>(QWidget*)> pickFromAddressDatabase; // "Aus AdressDB übernehmen"
    // The mailing state belongs to the run; the window only asks for it.
    std::function<bool()> sentFlag;                          // the compose page's mail went out
    std::function<void()> newMail;                           // a new compose session begins
    TSuggestionSource addressSuggestions;                    // completion of the recipient line
    // Recipient index's mail of a separate run, built but not sent.
    std::function<void(size_t index, TEMail& mail)> previewMail;
};

class TMainForm : public QDialog {
    Q_OBJECT

public:
    // messages and services must outlive the window.
    TMainForm(IUserMessages& messages, TMainFormServices services, const QString& startText, bool emptyMode,
              QWidget* parent = nullptr);
    ~TMainForm() override;

    TComposeModel& Model() { return FModel; }
    void SetServices(TMainFormServices services) { FServices = std::move(services); }
    void SetSubject(const QString& subject);
    void SetBody(const QString& body);   // RTF or plain text
    void SetFelder(const TFelder* felder) { FFelder = felder; }

    // Template area.
    QUuid FVorlageArtGUID;
    QUuid FSelectedVorlageGUID;
    int32_t FExitCode = 0;
    void InitializeVorlagenAuswahl(const TProgrammVorlageListe* templates, int32_t lang);
    void SetVorlagenAuswahl(const QUuid& vorlage);
    void ApplyTemplate(const QUuid& vorlage);
    // One of the user's own templates (KVXVorlage, Art 1), merged with the
    // host's fields as a program template without fields of its own.
    void ApplyOwnTemplate(int32_t id);
    static constexpr int OwnTemplateRole = Qt::UserRole + 1;   // chooser: the own template's ID

    // Recipients and attachments.
    void AddRecipientRow(const TComposeRecipient& recipient);   // duplicates dropped
    void EmpfaengerListePreset();
    void AddAttachmentFiles(const QStringList& files);
    // Files dropped from the file manager; folders and remote URLs are refused.
    void AddDroppedUrls(const QList<QUrl>& urls);
    // Enter in the recipient line: its valid addresses become rows.
    void TakeRecipientEntry();
    // The fields offered for insertion, in the tree and the drop-down.
    void ShowFieldEntries(const QList<TFieldEntry>& entries);
    void DeleteSelectedAttachments();
    void OpenAttachment(int row);
    TEmpfaengerTyp PresetKind() const;

    // Commands that tests and the ribbon trigger.
    void NewMail();
    void LoadMailIntoCompose(const TEMail& mail);
    void FillMailLists();
    void UpdateStatusLine(const TConfig& config);
    void SetTableWidthTo100Percent();
    void ShowPictureProperties();
    // The colour chooser of the font and border colours; tests answer it.
    std::function<QColor(QWidget* parent, const QColor& initial)> PickColor;
    // The unsaved-draft question; false when the user's answer could not be
    // carried out (the draft could not be stored), so nothing may be discarded.
    // Also false when the user called the question off.
    bool AskSaveDraftIfNeeded();
    void StoreDraft();   // "Entwurf speichern"; replaces the draft that was opened
    QUuid SelectedVorlage() const;   // the chooser's template, null when none
    void ApplySearch();                                   // filters the mail lists by edSuche
    void ApplyDisplaySettings(const TDisplaySettings& settings);

    QLabel* lbVon;   // the sender the mail will carry, above the subject
    QLineEdit* edBetreff;
    QLineEdit* edSuche;
    QWidget* FSearchPanel;
    QTextEdit* edBody;
    QTableWidget* gridAnhang;
    QTableWidget* gridEmpf;
    QTableWidget* gridGesendet;
    QTableWidget* gridGesendetAnhang;
    QTableWidget* gridEntwuerfe;
    QComboBox* cbVorlagen;
    QComboBox* cbWerteEinfuegen;
    QTreeWidget* tvFelder;
    QWidget* FFieldPanel;             // "Vorhandene Felder (einfach)" beside the body
    QSplitter* FBodySplitter;
    TRecipientEntry* edEmpfaenger;
    QLabel* lbAnhangGesamt;
    QLabel* lbAnhangWarnung;
    QCheckBox* chbSeperatSenden;
    QPushButton* btVorschau = nullptr;
    TRecipientFieldHighlighter* FFieldMarks = nullptr;   // a child of the window
    QRadioButton* rbVoreinstellung[3];
    QTabWidget* ribbon;
    QStackedWidget* pages;
    QLabel* statusPanels[6];
    TDisplaySettings FDisplay;

public slots:
    // Every way of closing (Esc, "Schließen", the title bar, the host)
    // ends here and asks the unsaved-draft question first.
    void reject() override;

    // The recipient fields with the first recipient's values (empty without
    // recipients), for the field list beside the host's fields.
    QList<TFieldEntry> RecipientFieldEntries() const;
    void ShowPreview();   // "Vorschau": recipient n of N, nothing is sent

private:
    void buildActions();
    void buildRibbon();
    QWidget* buildComposePage();
    QWidget* buildSentPage();
    QWidget* buildDraftsPage();
    QWidget* buildTemplateArea();
    QWidget* buildRecipientArea();
    QWidget* buildAttachmentArea();
    QWidget* buildFieldPanel();
    void showAttachmentTotal();
    void widenFieldPanel();
    void insertPlaceholder(const QString& name);
    void addGroup(QWidget* tab, const QString& caption, const QList<QAction*>& actions);
    QWidget* buildSearchPanel();
    void buildPopupMenus();
    void assignShortcuts();
    void assignIcons();
    void describeCommands();
    QSize initialSize() const;
    void editDisplaySettings();
    void applyGridSettings();
    static void fitMailListColumns(QTableWidget* grid, int subject);
    QAction* makeAction(const QString& objectName, const QString& text, std::function<void()> handler);
    void refreshRecipients();
    void refreshAttachments();
    void fillSentList(const TEMailListe& mails);
    void fillDraftList(const TEMailListe& mails);
    const TEMail* mailOfRow(const QTableWidget* grid) const;
    // The row's mail read whole from the store (the list holds no bodies).
    void withOpenedMail(const QTableWidget* grid, bool withAttachmentContent,
                        const std::function<void(const TEMail&)>& use) const;
    void composeFromRow(const QTableWidget* grid);
    void deleteRow(const QTableWidget* grid);
    void onRibbonTab(int index);
    void applyFontSize(const QString& text);
    void insertPicture();
    void insertLink();
    void insertTable();
    void fillFieldTree();
    void insertFieldValue(int index);
    void restoreVorlagenAuswahl(const QUuid& vorlage, const QVariant& ownId);
    void addOwnTemplates();
    void applyMerged(const TProgrammVorlage& vorlage);
    bool sentFlag() const;
    void addPickedRecipients(QList<TComposeRecipient> picked);
    // The body editor's formatting and table commands (MainFormFormatting.cpp).
    void buildFormatTab(QWidget* tab);
    void buildTableTab(QWidget* tab);
    void connectFormatting();   // once the body editor exists
    void buildFormatActions();
    void buildParagraphActions();
    void buildTableActions();
    void buildBorderActions();
    QAction* makeIconAction(const QString& objectName, const QString& icon, const QString& text,
                            std::function<void()> handler);
    QAction* makeToggle(const QString& objectName, const QString& icon, const QString& text,
                        std::function<void()> handler);
    QWidget* buildFontGroup(QWidget* tab);
    QComboBox* buildColorCombo(QWidget* parent);
    QMenu* buildSymbolMenu();
    void followCharFormat(const QTextCharFormat& format);
    void followCursor();
    void setAlignment(Qt::Alignment alignment);
    void setCellAlignment(Qt::Alignment alignment);
    void toggleList(int style);
    void changeIndent(int step);
    void applyFontColor(int index);
    void tableCommand(const std::function<bool(const QTextCursor&)>& command, const QString& refusal = QString());
    void pickBorderColor(int side);
    bool cursorInTable();

    IUserMessages& FMessages;
    TMainFormServices FServices;
    TComposeModel FModel;
    const TFelder* FFelder = nullptr;                   // the host's fields, not owned
    const TProgrammVorlageListe* FVorlagen = nullptr;   // not owned
    TKategorieListe FEigeneVorlagen;                    // offered after the program templates
    int32_t FLang = 1031;
    bool FEmptyMode = false;
    QWidget* FTemplateArea = nullptr;
    int32_t FOpenDraftId = 0;   // the stored draft the compose page holds, 0 for none
    int32_t newestDraftId() const;
    bool mayReplaceComposedText();
    static QString SenderLine(const TConfig& config);
    void colourStatusLine();
    bool FStatusDirect = false;
    bool FStatusEncrypted = false;
    QString FAppliedSubject;          // what the last template put into the subject
    QString FAppliedBody;             // and into the body, as plain text
    int FAppliedTemplateIndex = -1;   // the chooser's entry behind them

public:
    // The commands, named as the ribbon names them.
    QAction* barbtNewMail;
    QAction* barbtSend;
    QAction* barbtSpeichereEntwurf;
    QAction* barbtSelectContacts;
    QAction* btAusAdrDBUebernehmen;
    QAction* barbtAddContactManually;
    QAction* barbtDeleteContact;
    QAction* barbtDeleteAllContacts;
    QAction* barbtAddAttachment;
    QAction* barbtDeleteAttachment;
    QAction* barbtAllAttachmentDelete;
    QAction* barbtOpenAttachment;
    QAction* barbtTextbausteinEinfuegen;
    QAction* btVorlagen;
    QAction* barbtNachtrag;
    QAction* barbtLoeschen;
    QAction* barbtZeigeGesendeteMail;
    QAction* barbtEntwurfBearbeiten;
    QAction* barbtEntwurfEntfernen;
    QAction* barbtSetupConnection;
    QAction* barbtSetupDarstellung;
    QAction* barbtHelp;
    QAction* btTastenkombinationen;
    QAction* rbbtSearch;
    QAction* barbtProgrammBeenden;
    QAction* barbtBoldMain;
    QAction* barbtItalicMain;
    QAction* barbtUnderlinedMain;
    QAction* btUndo;
    QAction* btRedo;
    QAction* btBildEinfuegen;
    QAction* btTabelleEinfuegen;
    QAction* btTabelle100;
    QFontComboBox* barcbFontMain;
    QComboBox* barcbFontSizeMain;
    // "Formatierung" and "Tabelle".
    QComboBox* barcbFColorMain;
    QAction* btBullets;
    QAction* btNumbering;
    QAction* btIndentMore;
    QAction* btIndentLess;
    QAction* btAlignLeft;
    QAction* btAlignCenter;
    QAction* btAlignRight;
    QAction* btAlignJustify;
    QAction* btVAlignTop;
    QAction* btVAlignCenter;
    QAction* btVAlignBottom;
    QAction* btSymbols;
    QAction* btLinkEinfuegen;
    QAction* btGridLines;
    QAction* btBildeigenschaften;
    QAction* btZeileEinfuegen;
    QAction* btZeileLoeschen;
    QAction* btSpalteEinfuegen;
    QAction* btSpalteLoeschen;
    QAction* btZellenVerbinden;
    QAction* btZelleTeilen;
    QAction* btRahmen;
    QAction* btRahmenFarbe;
    QList<QAction*> FBorderActions;        // all, outer, inner, none, left, right, top, bottom
    QList<QAction*> FBorderColorActions;   // left, right, top, bottom
    QMenu* FSymbolMenu = nullptr;
    TTableGridLines* FGridLines = nullptr;   // drawn over the body editor
};

}  // namespace kalvex
