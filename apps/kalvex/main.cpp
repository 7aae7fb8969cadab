// kalvex: the mail module for scripts and servers without a desktop.

#include "CliCommands.h"
#include "RuntimeFolder.h"

#include <QGuiApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    // A line per recipient must reach a file or pipe as it is printed.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    // Rich text needs a GUI application object; no window ever opens.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    kalvex::cli::PrepareRuntimeFolder();
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("kalvex"));
    return kalvex::cli::RunCommandLine(QGuiApplication::arguments().mid(1));
}
