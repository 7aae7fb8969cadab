#include "entry/UiLoader.h"

#include <QApplication>
#include <utility>

namespace kalvex {

namespace {

// argc/argv must outlive the application object.
int gArgc = 1;
char gProgramName[] = "kalvex";
char* gArgv[] = {gProgramName, nullptr};

// A plain pointer, not an object with a destructor: a process that ends
// without finalize, or Qt's own exit when the display connection breaks,
// runs the exit handlers while the module's windows are still on the
// stack, and tearing the application down under them crashes the host.
QApplication*& ownedApplication()
{
    static QApplication* app = nullptr;
    return app;
}

// Without a display a QApplication would abort the host: fall back to the
// offscreen platform, which still lets the module work without windows.
void chooseHeadlessPlatformIfNeeded()
{
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        return;
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

}  // namespace

void UiLoaderInitialize()
{
    if (QCoreApplication::instance())
        return;
    chooseHeadlessPlatformIfNeeded();
    ownedApplication() = new QApplication(gArgc, gArgv);
    // The appearance settings may then style the whole application.
    ownedApplication()->setProperty("kalvexOwnsApplication", true);
}

void UiLoaderFinalize()
{
    delete std::exchange(ownedApplication(), nullptr);
}

bool UiLoaderOwnsApplication()
{
    return ownedApplication() != nullptr;
}

}  // namespace kalvex
