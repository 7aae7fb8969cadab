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
// installation, whatever program loaded it. Qt reads QT_PLUGIN_PATH each
// time it works out where plugins are, also while no application object
// exists (after a finalize), so the module's folder is named there.
void usePluginsBesideModule()
{
    const QString folder = QDir::toNativeSeparators(QDir::cleanPath(ModuleFolder()));
    if (folder.isEmpty())
        return;
    QStringList paths = qEnvironmentVariable("QT_PLUGIN_PATH").split(QDir::listSeparator(), Qt::SkipEmptyParts);
    if (paths.contains(folder))
        return;
    paths.append(folder);
    qputenv("QT_PLUGIN_PATH", paths.join(QDir::listSeparator()).toUtf8());
    if (QCoreApplication::instance())
        QCoreApplication::addLibraryPath(QDir::cleanPath(ModuleFolder()));
}

}  // namespace

void UiLoaderInitialize()
{
    usePluginsBesideModule();
    if (!QCoreApplication::instance()) {
        chooseHeadlessPlatformIfNeeded();
        ownedApplication() = new QApplication(gArgc, gArgv);
        // The appearance settings may then style the whole application.
        ownedApplication()->setProperty("kalvexOwnsApplication", true);
    }
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
