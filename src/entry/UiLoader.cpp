#include "entry/UiLoader.h"

#include "config/AppPaths.h"
#include "config/Desktop.h"

#include <QApplication>
#include <QDir>
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
    if (!DisplayAvailable())
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

// Qt's plugins (the SQLite driver, TLS) lie beside the module in a Windows
// installation, whatever program loaded it. Setting the list anew makes
// Qt look again for the plugins it looked up before the application object
// existed (adding a folder that is already listed would not).
void usePluginsBesideModule()
{
    const QString folder = ModuleFolder();
    if (folder.isEmpty())
        return;
    QStringList paths = QCoreApplication::libraryPaths();
    paths.removeAll(QDir::cleanPath(folder));
    paths.prepend(QDir::cleanPath(folder));
    QCoreApplication::setLibraryPaths(paths);
}

}  // namespace

void UiLoaderInitialize()
{
    if (!QCoreApplication::instance()) {
        chooseHeadlessPlatformIfNeeded();
        ownedApplication() = new QApplication(gArgc, gArgv);
        // The appearance settings may then style the whole application.
        ownedApplication()->setProperty("kalvexOwnsApplication", true);
    }
    usePluginsBesideModule();
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
