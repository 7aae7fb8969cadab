#pragma once
// One application object for a widget test program.

#include <QApplication>
#include <QIcon>
#include <QInputDevice>

namespace kalvex::testing {

inline QApplication& WidgetApp()
{
    // Qt's list of input devices must outlive the application object, whose
    // end removes its devices from it (a modal window's first run makes one
    // for the mouse): make it first.
    QInputDevice::devices();
    // So must Qt's cache of theme icons, which the application's end
    // clears: an absolute path makes the cache without looking anything up.
    QIcon::fromTheme(QStringLiteral("/"));
    static int argc = 1;
    static char name[] = "test_ui";
    static char* argv[] = {name, nullptr};
    static QApplication app(argc, argv);
    return app;
}

}  // namespace kalvex::testing
