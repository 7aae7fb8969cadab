#pragma once
// Every dialog the distribution window opens, made as the window makes it
// (its parent given), with the demo installation's data: for the check that
// each fits a laptop screen, offscreen and on a real display.

#include "DemoInstallation.h"

#include "address/uKontakt.h"
#include "config/UserMessages.h"
#include "send/MailingRun.h"
#include "ui/fAdresseManuell.h"
#include "ui/fBildeigenschaften.h"
#include "ui/fDarstellung.h"
#include "ui/fEmpfWaehlen.h"
#include "ui/fGesendeteMail.h"
#include "ui/fRunSummary.h"
#include "ui/fSetup.h"
#include "ui/fVorlagen.h"
#include "ui/fVorschau.h"

#include <QAbstractButton>
#include <QAction>
#include <QDialog>
#include <QDialogButtonBox>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace kalvex::testing {

using TDialogMaker = std::function<std::unique_ptr<QDialog>(QWidget* parent)>;

// The lowest point of a window's dialog buttons, in its own coordinates.
inline int ButtonsBottom(const QWidget& window)
{
    int bottom = 0;
    for (const QDialogButtonBox* box : window.findChildren<QDialogButtonBox*>())
        for (const QAbstractButton* b : box->buttons())
            if (b->isVisibleTo(&window))
                bottom = std::max(bottom, b->mapTo(&window, QPoint(0, b->height())).y());
    return bottom;
}

// Name and maker of each dialog; messages and site outlive the dialogs.
inline std::vector<std::pair<QString, TDialogMaker>> ModuleDialogs(DemoInstallation& site, IUserMessages& messages)
{
    TQMBDatabaseHandler& h = site.Module->Handler();
    std::vector<std::pair<QString, TDialogMaker>> all;
    all.emplace_back("settings", [&messages](QWidget* p) {
        auto d = std::make_unique<TFormSetup>(messages, p);
        d->Initialize(TConfig::Ensure());
        return d;
    });
    all.emplace_back("recipients", [&](QWidget* p) {
        return std::make_unique<TFormEmpfWaehlen>(h, nullptr, TEmpfWaehlenMode::emAuswahl, messages, p);
    });
    all.emplace_back("address-management", [&](QWidget* p) {
        return std::make_unique<TFormEmpfWaehlen>(h, nullptr, TEmpfWaehlenMode::emAdressVerwaltung, messages, p);
    });
    all.emplace_back("contact", [](QWidget* p) {
        TKontakt k;
        k.Vorname = "Anna";
        k.Nachname = "Schäfer";
        k.EMail = "anna.schaefer@example.org";
        return std::make_unique<TFormKontakt>(k, p);
    });
    all.emplace_back("templates", [&](QWidget* p) {
        return std::make_unique<TFormVorlagen>(h, messages, &site.Module->FProgrammVorlageListe, 1031, p);
    });
    all.emplace_back("text-blocks", [&](QWidget* p) { return std::make_unique<TFormtextbausteine>(h, messages, p); });
    all.emplace_back("manual-address", [](QWidget* p) { return std::make_unique<TFormAdresseManuell>(p); });
    all.emplace_back("picture", [](QWidget* p) {
        return std::make_unique<TFormBildeigenschaften>(QSize(640, 480), QSize(1280, 960), p);
    });
    all.emplace_back("sent-mail", [&](QWidget* p) {
        return std::make_unique<TFormGesendeteMail>(site.Module->FEMailListe[0], messages, p);
    });
    all.emplace_back("run-summary", [](QWidget* p) {
        TSeparateRunSummary s;
        s.sent = QStringList{"anna.schaefer@example.org", "bernd.albers@example.org"};
        s.failed = {{"claudia.wolf@example.org", "550 Mailbox unavailable"}};
        return std::make_unique<TFormRunSummary>(s, p);
    });
    all.emplace_back("preview", [](QWidget* p) {
        return std::make_unique<TFormVorschau>(2, [](size_t, TEMail& mail) { mail.FBetreff = "Vorschau"; }, p);
    });
    all.emplace_back("display", [](QWidget* p) { return std::make_unique<TFormDarstellung>(TDisplaySettings{}, p); });
    all.emplace_back("shortcuts", [](QWidget* p) { return std::make_unique<TFormTastenkombinationen>(p->actions(), p); });
    return all;
}

}  // namespace kalvex::testing
