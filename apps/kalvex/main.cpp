// kalvex: the mail module for scripts and servers without a desktop.

#include "CliCommands.h"
#include "RuntimeFolder.h"

#include <QGuiApplication>

int main(int argc, char** argv)
{
    // Rich text needs a GUI application object; no window ever opens.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    kalvex::cli::PrepareRuntimeFolder();
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("kalvex"));
    return kalvex::cli::RunCommandLine(QGuiApplication::arguments().mid(1));
}
