// kalvex (kalvex-full on Linux, where kalvex reads the store and hands
// everything else on to it): the mail module for scripts and servers
// without a desktop.

#include "CliCommands.h"
#include "ProgramStart.h"
#include "RuntimeFolder.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    kalvex::cli::KeepLocalTimeZone();
    if (kalvex::cli::RunsWithoutGui(kalvex::cli::ArgumentsOf(argc, argv))) {   // no platform, no fonts to load
        // A list of ten thousand lines goes out in large writes.
        std::setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
        QCoreApplication app(argc, argv);
        QCoreApplication::setApplicationName(QStringLiteral("kalvex"));
        return kalvex::cli::RunCommandLine(QCoreApplication::arguments().mid(1));
    }
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
