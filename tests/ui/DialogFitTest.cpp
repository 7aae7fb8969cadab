// Every dialog of the module fits a 1366 × 768 laptop screen less its task
// bar, in German and English, with its buttons inside the dialog.

#include "DemoInstallation.h"
#include "ModuleDialogs.h"
#include "TestApp.h"

#include "ui/fMainForm.h"

#include <QSqlDatabase>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

constexpr int kMaxHeight = 700;   // 768 less a task bar and the title bar
constexpr int kMaxWidth = 1366;

void checkEveryDialog(int32_t lang)
{
    kalvex::testing::DemoInstallation site;
    TLang::Install(std::make_unique<TLang>(QFileInfo(QStringLiteral(KALVEX_TRANSLATIONS_DB)).absolutePath()))
        .SetLanguage(lang);
    site.LogMail("Mängelanzeige Neubau Lagerhalle Nord", TMailStatus::stGesendet);
    TRecordingMessages messages;
    TMainForm window(messages, TMainFormServices{}, QString(), false);
    window.resize(1366, 768 - 32);
    window.show();
    for (const auto& [name, make] : kalvex::testing::ModuleDialogs(site, messages)) {
        std::unique_ptr<QDialog> dialog = make(&window);
        dialog->show();
        SCOPED_TRACE(name.toStdString() + (lang == 1031 ? " de" : " en"));
        EXPECT_LE(dialog->minimumSizeHint().height(), kMaxHeight);
        EXPECT_LE(dialog->height(), kMaxHeight);
        EXPECT_LE(dialog->width(), kMaxWidth);
        EXPECT_LE(kalvex::testing::ButtonsBottom(*dialog), dialog->height());
    }
    EXPECT_LE(window.minimumSizeHint().height(), kMaxHeight);
}

}  // namespace

TEST(DialogFit, EveryDialogFitsALaptopScreenInBothLanguages)
{
    QSqlDatabase::connectionNames();
    kalvex::testing::WidgetApp();
    checkEveryDialog(1031);
    checkEveryDialog(1033);
}
