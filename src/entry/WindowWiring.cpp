#include "entry/WindowWiring.h"

#include "compose/rtf/RtfReader.h"
#include "address/uKontakt.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"
#include "send/EMailVersand.h"
#include "send/Genhelp.h"
#include "send/MailingRun.h"
#include "send/oauth/OAuthTokenProvider.h"
#include "ui/MessageBoxes.h"
#include "ui/ProgressDialog.h"
#include "ui/RPWaitWindow.h"
#include "ui/WindowRunner.h"
#include "ui/fDarstellung.h"
#include "ui/fEmpfWaehlen.h"
#include "ui/PacingGroupBox.h"
#include "ui/fMainForm.h"
#include "ui/fRunSummary.h"
#include "ui/fSetup.h"
#include "ui/fVorlagen.h"

#include <QApplication>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextBlock>
#include <QTextDocumentFragment>
#include <QTextEdit>
#include <QTimer>

namespace kalvex {

namespace {

TSendPacingSettings storedPacing()
{
    return LoadSendPacing(TConfig::Ensure().ConfigIniFileName());
}

// A revoked OAuth sign-in is renewed in the browser after a question.
TSignInFactory windowSignIn(IUserMessages& messages)
{
    return [&messages](const TOAuthSettings& s) { return InteractiveSignIn(messages, s, SystemBrowser()); };
}

TMailingRunDeps makeRunDeps(IUserMessages& messages, IProgressDisplay& progress, QWidget* window)
{
    TMailingRunDeps deps;
    auto account = std::make_shared<TOAuthAccount>(TConfig::Ensure().ConfigIniFileName(), windowSignIn(messages));
    deps.newSmtpSender = [&messages, &progress, account]() -> std::unique_ptr<ISmtpSender> {
        auto sender = std::make_unique<TEMailVersand>(&messages, &progress);
        sender->SetTokenProvider(account->Current());
        return sender;
    };
    deps.newMailClient = [&messages]() -> std::unique_ptr<IMailClientHandOver> {
        return std::make_unique<TGenHelp>(&messages);
    };
    deps.storeMail = [](TEMail& mail, int kind) {
        if (TDatenModul* module = TDatenModul::Instance()) {
            module->SaveEMail(mail, kind == 1 ? TMailStatus::stEntwurf : TMailStatus::stGesendet);
            module->LoadEMailListeFromDB();
            module->LoadDraftTexts();
        }
    };
    deps.checkStorable = [](const TEMail& mail) {
        if (TDatenModul* module = TDatenModul::Instance())
            module->CheckAttachmentsFit(mail);
    };
    deps.progress = &progress;
    deps.pacing = storedPacing;
    deps.showRunSummary = [window](const TSeparateRunSummary& summary) { return ShowRunSummary(window, summary); };
    return deps;
}

bool runSetupDialog(QWidget* parent, TMailingRun& run, IUserMessages& messages, IProgressDisplay& progress)
{
    TFormSetup dialog(messages, parent);
    dialog.Initialize(TConfig::Ensure());
    dialog.gbPacing->Initialize(storedPacing());
    dialog.SetConnectionTester([&](const TSmtpTestRequest& r, TEMail& mail) {
        std::unique_ptr<TOAuthTokenProvider> tokens;
        if (r.oauth)
            tokens = std::make_unique<TOAuthTokenProvider>(*r.oauth, TTokenStore(TConfig::Ensure().ConfigIniFileName()),
                                                           InteractiveSignIn(messages, *r.oauth, SystemBrowser()));
        TEMailVersand sender(&messages, &progress);
        sender.SetTokenProvider(tokens.get());
        sender.Setup(r.host, r.user, r.encrypted, r.port, r.password);
        sender.SendMail(mail);
    });
    if (RunModal(dialog) != QDialog::Accepted)
        return false;
    run.CheckConnectionSettings(SettingsInputOf(dialog));
    SaveSendPacing(TConfig::Ensure().ConfigIniFileName(), dialog.gbPacing->Pacing());
    return true;
}

// The recipient window over the data module's store; empty without one.
QList<TComposeRecipient> pickRecipients(QWidget* parent, TAdressDB* adr, IUserMessages& messages, bool hostFirst)
{
    TDatenModul* module = TDatenModul::Instance();
    if (!module)
        return {};
    TFormEmpfWaehlen window(module->Handler(), adr, TEmpfWaehlenMode::emAuswahl, messages, parent);
    if (hostFirst)
        window.ShowHostAddresses(true);
    return RunModal(window) == QDialog::Accepted ? window.Result() : QList<TComposeRecipient>();
}

// A text block goes in at the cursor, with its formatting when it has any.
// A fragment carries the pictures' names but not their bytes: those go
// into the editor's document first.
void copyPictures(const QTextDocument& from, QTextDocument& to)
{
    for (QTextBlock block = from.begin(); block.isValid(); block = block.next())
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextCharFormat format = it.fragment().charFormat();
            if (!format.isImageFormat())
                continue;
            const QUrl name(format.toImageFormat().name());
            to.addResource(QTextDocument::ImageResource, name, from.resource(QTextDocument::ImageResource, name));
        }
}

void insertAtCursor(QTextEdit& editor, const QString& text)
{
    if (!LooksLikeRtf(text)) {
        editor.textCursor().insertText(text);
        return;
    }
    QTextDocument block;
    RtfToDocument(text, block);
    copyPictures(block, *editor.document());
    editor.textCursor().insertFragment(QTextDocumentFragment(&block));
}

void insertTextBlock(QWidget* parent, QTextEdit& editor, IUserMessages& messages)
{
    TDatenModul* module = TDatenModul::Instance();
    if (!module)
        return;
    TFormtextbausteine window(module->Handler(), messages, parent);
    if (RunModal(window) == QDialog::Accepted && !window.ChosenText().isEmpty())
        insertAtCursor(editor, window.ChosenText());
}

constexpr int SuggestionLimit = 20;   // per address book: a pop-up, not a list

// The own address book's contacts whose name, company or address hold text.
QList<TAddressSuggestion> ownSuggestions(const QString& text)
{
    QList<TAddressSuggestion> found;
    TDatenModul* module = TDatenModul::Instance();
    if (!module)
        return found;
    for (const auto& [id, group] : LoadGruppenListeFromDB(module->Handler()))
        for (const auto& [kid, k] : group->Kontakte) {
            const TAddressSuggestion s{(k->Vorname + QLatin1Char(' ') + k->Nachname).trimmed(), k->Firma, k->EMail};
            if (!s.email.isEmpty() && SuggestionMatches(s, text) && found.size() < SuggestionLimit)
                found << s;
        }
    return found;
}

// The host's addresses; a database that cannot be read offers none while typing.
QList<TAddressSuggestion> hostSuggestions(TAdressDB* adr, const QString& text)
{
    QList<TAddressSuggestion> found;
    try {
        for (const TAdrFieldValueList& r : adr ? adr->SearchPersdat(text, SuggestionLimit) : QList<TAdrFieldValueList>())
            if (const QString email = r.Field(QStringLiteral("EMAIL")); !email.isEmpty())
                found << TAddressSuggestion{AdrFullName(r), AdrCompany(r), email};
    } catch (const EKalvex& e) {
        TLogFile::LogGlobal(false, QStringLiteral("Adressvorschläge: ") + e.message());
    }
    return found;
}

void editTemplates(QWidget* parent, IUserMessages& messages, int32_t lang)
{
    TDatenModul* module = TDatenModul::Instance();
    if (!module)
        return;
    TFormVorlagen window(module->Handler(), messages, &module->FProgrammVorlageListe, lang, parent);
    RunModal(window);
}

TMainFormServices makeServices(TMailingRun& run, IUserMessages& messages, IProgressDisplay& progress, TAdressDB* adr,
                               int32_t lang)
{
    TMainFormServices services;
    services.pickRecipients = [&messages, adr](QWidget* parent) { return pickRecipients(parent, adr, messages, false); };
    services.pickFromAddressDatabase = [&messages, adr](QWidget* parent) { return pickRecipients(parent, adr, messages, true); };
    services.addressSuggestions = [adr](const QString& text) { return ownSuggestions(text) + hostSuggestions(adr, text); };
    services.insertTextBlock = [&messages](QWidget* parent, QTextEdit& editor) { insertTextBlock(parent, editor, messages); };
    services.editTemplates = [&messages, lang](QWidget* parent) { editTemplates(parent, messages, lang); };
    services.ownTemplates = [] {
        TDatenModul* module = TDatenModul::Instance();
        return module ? LoadVorlagenFromDB(module->Handler()) : TKategorieListe();
    };
    services.setupConnection = [&](QWidget* parent) { return runSetupDialog(parent, run, messages, progress); };
    services.send = [&run](TComposeModel&) {
        if (TConfig::Ensure().FVersandart == TVersandArt::vaStandardClient)
            ShowNotice(QApplication::activeWindow(), QStringLiteral("UebergabeMailprogramm"),
                       Tx(2290, "Die E-Mail wird an Ihr Standard-E-Mail-Programm übergeben. Bitte prüfen und senden Sie sie dort."));
        run.SendClick();
    };
    services.storeDraft = [&run](TComposeModel&) { run.SaveDraft(); };
    services.sentFlag = [&run] { return run.FSentFlag; };
    services.newMail = [&run] { run.NewMail(); };
    services.previewMail = [&run](size_t index, TEMail& mail) { run.PreviewMail(index, mail); };
    services.mails = []() -> const TEMailListe* {
        TDatenModul* module = TDatenModul::Instance();
        return module ? &module->FEMailListe : nullptr;
    };
    services.loadMail = [](int32_t id, bool withAttachmentContent) -> std::unique_ptr<TEMail> {
        TDatenModul* module = TDatenModul::Instance();
        return module ? module->LoadEMail(id, withAttachmentContent) : nullptr;
    };
    services.attachmentContent = [](int32_t attachmentId) {
        TDatenModul* module = TDatenModul::Instance();
        return module ? module->AnhangInhalt(attachmentId) : QByteArray();
    };
    services.deleteMail = [](int32_t id) {
        if (TDatenModul* module = TDatenModul::Instance())
            module->DeleteEMail(id);
    };
    return services;
}

void fillWindow(TMainForm& window, const TDistributionWindowSetup& setup)
{
    window.SetSubject(setup.subject);
    if (!setup.body.isEmpty())
        window.SetBody(setup.body);
    window.SetFelder(setup.felder);
    window.FVorlageArtGUID = setup.art;
    TDatenModul* module = TDatenModul::Instance();
    if (module) {
        module->LoadEMailListeFromDB();
        module->LoadDraftTexts();
    }
    window.InitializeVorlagenAuswahl(module ? &module->FProgrammVorlageListe : nullptr, setup.lang);
    window.FillMailLists();
    if (!setup.vorlage.isNull())
        window.SetVorlagenAuswahl(setup.vorlage);
    for (const TComposeRecipient& r : setup.recipients)
        window.Model().AddRecipient(r);
    window.EmpfaengerListePreset();
    window.AddAttachmentFiles(setup.attachments);
}



// KALVEX_SCRIPT=send: the window sends what it holds and closes, for
// unattended demo runs (with KALVEX_AUTOCLOSE=1 for the message boxes).
void scriptWindow(TMainForm& window)
{
    if (qEnvironmentVariable("KALVEX_SCRIPT") != QLatin1String("send"))
        return;
    QTimer::singleShot(0, &window, [&window] {
        window.barbtSend->trigger();
        window.done(QDialog::Accepted);
    });
}

}  // namespace

TDistributionSession::TDistributionSession(const TDistributionWindowSetup& setup)
    : FSetup(setup),
      FMessages(std::make_unique<TMessageBoxes>()),
      FWindow(std::make_unique<TMainForm>(*FMessages, TMainFormServices{}, setup.startText, setup.emptyMode)),
      FProgress(std::make_unique<TProgressDialog>(FWindow.get())),
      FRun(std::make_unique<TMailingRun>(FWindow->Model(), *FMessages, TConfig::Ensure(), makeRunDeps(*FMessages, *FProgress, FWindow.get())))
{
    FWindow->SetServices(makeServices(*FRun, *FMessages, *FProgress, setup.adr, setup.lang));
    fillWindow(*FWindow, setup);
}

TDistributionSession::~TDistributionSession() = default;

TDistributionWindowResult TDistributionSession::Run()
{
    scriptWindow(*FWindow);
    RunModal(*FWindow);
    FWindow->FExitCode = WindowExitCode(FRun->Tally());
    TDistributionWindowResult result;
    result.exitCode = FWindow->FExitCode;
    result.selectedVorlage = FWindow->SelectedVorlage();
    return result;
}

TDistributionWindowResult RunDistributionWindow(const TDistributionWindowSetup& setup)
{
    return TDistributionSession(setup).Run();
}

std::unique_ptr<IProcessWait> ProcessWaitWindow()
{
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return nullptr;
    return std::make_unique<TrunProcessWindow>();
}

IUserMessages& ModuleMessages()
{
    static TMessageBoxes messages;
    return messages;
}

void ShowFailure(const QString& text)
{
    TMessageBoxes messages;
    messages.ShowError(text);
}

void RunAddressManagement(TAdressDB* adr)
{
    TDatenModul* module = TDatenModul::Instance();
    if (!module)
        return;
    TMessageBoxes messages;
    TFormEmpfWaehlen window(module->Handler(), adr, TEmpfWaehlenMode::emAdressVerwaltung, messages);
    RunModal(window);
}

}  // namespace kalvex
