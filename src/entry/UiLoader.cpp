#include "entry/UiLoader.h"

#include <QApplication>
#include <memory>

namespace kalvex {

namespace {

// argc/argv must outlive the application object.
int gArgc = 1;
char gProgramName[] = "kalvex";
char* gArgv[] = {gProgramName, nullptr};

std::unique_ptr<QApplication>& ownedApplication()
{
    static std::unique_ptr<QApplication> app;
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
    ownedApplication() = std::make_unique<QApplication>(gArgc, gArgv);
}

void UiLoaderFinalize()
{
    ownedApplication().reset();
}

bool UiLoaderOwnsApplication()
{
    return ownedApplication() != nullptr;
}

}  // namespace kalvex
