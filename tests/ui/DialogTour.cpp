// Opens the distribution window and then each of its dialogs on the display,
// one at a time, as the window opens them (centred on it), and tells where:
//   kalvex_dialog_tour 1031|1033
// prints "<name> <window id> <bottom of its lowest button>" for the window
// and each dialog, then waits for a line on standard input before the next.
// tests/x11/real_display_test.sh measures each with xdotool.

#include "DemoInstallation.h"
#include "ModuleDialogs.h"

#include "ui/fMainForm.h"

#include <QApplication>
#include <QSqlDatabase>
#include <QWindow>
#include <cstdio>
#include <iostream>
#include <string>

using namespace kalvex;

namespace {

// Shows the window until the window manager has mapped it, reports it and
// waits for the measurer.
void present(QWidget& window, const QString& name)
{
    window.show();
    while (!window.windowHandle() || !window.windowHandle()->isExposed())
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QApplication::processEvents();
    std::printf("%s %llu %d\n", qPrintable(name), static_cast<unsigned long long>(window.winId()), kalvex::testing::ButtonsBottom(window));
    std::fflush(stdout);
    std::string line;
    std::getline(std::cin, line);
    window.hide();
}

}  // namespace

int main(int argc, char** argv)
{
    QSqlDatabase::connectionNames();   // Qt SQL's globals must outlive the application
    QApplication app(argc, argv);      // ends before the process, while Qt's thread data is there
    const int32_t lang = argc > 1 ? std::atoi(argv[1]) : 1031;
    kalvex::testing::DemoInstallation site;
    TLang::Install(std::make_unique<TLang>(QFileInfo(QStringLiteral(KALVEX_TRANSLATIONS_DB)).absolutePath()))
        .SetLanguage(lang);
    site.LogMail("Mängelanzeige Neubau Lagerhalle Nord", TMailStatus::stGesendet);
    TRecordingMessages messages;
    TMainForm window(messages, TMainFormServices{}, QString(), false);
    present(window, QStringLiteral("main"));
    window.show();
    for (const auto& [name, make] : kalvex::testing::ModuleDialogs(site, messages)) {
        std::unique_ptr<QDialog> dialog = make(&window);
        present(*dialog, name);
    }
    return 0;
}
