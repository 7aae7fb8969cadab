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
    // Likewise Qt's cache of theme icons, which the application's end
    // clears: made after it, it would be gone by then.
    QIcon::fromTheme(QStringLiteral("edit-undo"));
    static int argc = 1;
    static char name[] = "test_ui";
    static char* argv[] = {name, nullptr};
    static QApplication app(argc, argv);
    return app;
}

}  // namespace kalvex::testing
