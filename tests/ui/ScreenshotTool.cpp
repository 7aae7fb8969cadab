// Saves PNGs of every window in German and English, as a user sees them:
//   kalvex_screenshots <folder>       (make screenshots; not part of CI)

#include "DemoInstallation.h"
#include "ModuleDialogs.h"
#include "TestApp.h"

#include "address/uKontakt.h"
#include "config/UserMessages.h"
#include "ui/fAdresseManuell.h"
#include "ui/fDarstellung.h"
#include "ui/fEmpfWaehlen.h"
#include "ui/fGesendeteMail.h"
#include "ui/fMainForm.h"
#include "ui/fSetup.h"
#include "ui/fVorlagen.h"

#include <QDir>
#include <QSqlDatabase>
#include <QTabWidget>
#include <QApplication>
#include <cstdio>

using namespace kalvex;

namespace {

QString gOut;

void save(QWidget& w, const QString& name, int32_t lang)
{
    w.show();
    for (int pass = 0; pass < 5; ++pass)   // views settle their scroll bars, ribbon groups unfold
        QApplication::processEvents();
    const QString file = QStringLiteral("%1/%2-%3.png").arg(gOut, name, lang == 1031 ? "de" : "en");
    w.grab().save(file);
    std::printf("%s\n", qPrintable(file));
}

void companions(kalvex::testing::DemoInstallation& site, TMainForm& parent, TRecordingMessages& messages, int32_t lang);
void darkScheme(kalvex::testing::DemoInstallation& site, TMainForm& form, TRecordingMessages& messages, int32_t lang);

void mainWindow(kalvex::testing::DemoInstallation& site, TRecordingMessages& messages, int32_t lang)
{
    TMainFormServices services;
    services.mails = [&site]() -> const TEMailListe* { return &site.Module->FEMailListe; };
    TMainForm form(messages, services, QString(), false);
    form.SetFelder(&site.Fields);
    form.FVorlageArtGUID = site.Kind;
    form.InitializeVorlagenAuswahl(&site.Module->FProgrammVorlageListe, lang);
    form.SetVorlagenAuswahl(lang == 1031 ? site.TemplateDE : site.TemplateEN);
    form.AddRecipientRow({"anna.schaefer@example.org", "Anna Schäfer", "Schäfer Hochbau GmbH", 0, 0, 0, TEmpfaengerTyp::elAn});
    form.AddRecipientRow({"bernd.albers@example.org", "Bernd Albers", "Albers & Söhne", 0, 0, 0, TEmpfaengerTyp::elCc});
    form.FillMailLists();
    form.resize(1366, 768 - 32);   // a laptop screen less the title bar
    save(form, "main-compose", lang);
    form.ribbon->setCurrentIndex(1);
    save(form, "main-sent", lang);
    form.ribbon->setCurrentIndex(2);
    save(form, "main-drafts", lang);
    form.ribbon->setCurrentIndex(0);
    form.resize(form.minimumSizeHint().width(), 768 - 32);
    save(form, "main-narrow", lang);
    form.resize(1366, 768 - 32);
    TConfig direct;   // the status line and sender of direct sending, not stored
    direct.FVersandart = TVersandArt::vaDirekt;
    direct.FHost = "smtp.example.org";
    direct.FPort = 587;
    direct.FUser = "bauleitung@example.org";
    direct.FAbsenderName = "Bauleitung Nord";
    form.UpdateStatusLine(direct);
    save(form, "main-direct", lang);
    darkScheme(site, form, messages, lang);
    companions(site, form, messages, lang);
}

void companions(kalvex::testing::DemoInstallation& site, TMainForm& parent, TRecordingMessages& messages, int32_t lang)
{
    for (const auto& [name, make] : kalvex::testing::ModuleDialogs(site, messages)) {
        std::unique_ptr<QDialog> dialog = make(&parent);
        save(*dialog, name, lang);
        if (auto* setup = qobject_cast<TFormSetup*>(dialog.get()))
            for (int tab = 1; tab < setup->tabs->count(); ++tab) {
                setup->tabs->setCurrentIndex(tab);
                save(*setup, QStringLiteral("settings-%1").arg(tab + 1), lang);
            }
    }
    TFormHinweis notice(Tx(2290, "Die E-Mail wird an Ihr Standard-E-Mail-Programm übergeben. Bitte prüfen und senden Sie sie dort."));
    save(notice, "notice", lang);
}

// The dark scheme on the module's own application, as the demo host shows it.
void darkScheme(kalvex::testing::DemoInstallation& site, TMainForm& form, TRecordingMessages& messages, int32_t lang)
{
    qApp->setProperty("kalvexOwnsApplication", true);
    TDisplaySettings dark;
    dark.scheme = TFarbschema::fsDunkel;
    form.ApplyDisplaySettings(dark);
    save(form, "main-dark", lang);
    TFormSetup setup(messages, &form);
    setup.Initialize(TConfig::Ensure());
    save(setup, "settings-dark", lang);
    form.ApplyDisplaySettings(TDisplaySettings{});
    qApp->setProperty("kalvexOwnsApplication", false);
    (void)site;
}

}  // namespace

int main(int argc, char** argv)
{
    QSqlDatabase::connectionNames();
    kalvex::testing::WidgetApp();
    gOut = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("screenshots");
    QDir().mkpath(gOut);
    for (const int32_t lang : {1031, 1033}) {
        kalvex::testing::DemoInstallation site;
        TLang::Install(std::make_unique<TLang>(QFileInfo(QStringLiteral(KALVEX_TRANSLATIONS_DB)).absolutePath()))
            .SetLanguage(lang);
        const int32_t group = NeueGruppeAnlegen(site.Module->Handler(), lang == 1031 ? "Nachunternehmer" : "Subcontractors");
        TKontakt k;
        k.Vorname = "Claudia";
        k.Nachname = "Wolf";
        k.Firma = "Planungsbüro Wolf";
        k.EMail = "claudia.wolf@example.org";
        k.Save(site.Module->Handler(), group);
        site.LogMail(lang == 1031 ? "Mängelanzeige Neubau Lagerhalle Nord" : "Defect notice Neubau Lagerhalle Nord",
                     TMailStatus::stGesendet);
        site.LogMail(lang == 1031 ? "Entwurf: Abnahmetermin" : "Draft: acceptance date", TMailStatus::stEntwurf);
        TRecordingMessages messages;
        mainWindow(site, messages, lang);
    }
    return 0;
}
