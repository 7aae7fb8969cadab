#pragma once
// One application object for a widget test program.

#include <QApplication>

namespace kalvex::testing {

inline QApplication& WidgetApp()
{
    static int argc = 1;
    static char name[] = "test_ui";
    static char* argv[] = {name, nullptr};
    static QApplication app(argc, argv);
    return app;
}

}  // namespace kalvex::testing
