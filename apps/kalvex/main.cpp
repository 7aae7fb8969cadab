// kalvex: the mail module for scripts and servers without a desktop.

#include "CliCommands.h"
#include "RuntimeFolder.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include <cstdio>
#include <cstdlib>   // __GLIBC__

namespace {

QStringList argumentsOf(int argc, char** argv)
{
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    return args;
}

// The local time zone file is read once: without TZ the GNU C library
// checks /etc/localtime again for every date a list shows. (Elsewhere TZ
// has another syntax or none of this cost.)
void keepLocalTimeZone()
{
#ifdef __GLIBC__
    if (qEnvironmentVariableIsEmpty("TZ"))
        qputenv("TZ", ":/etc/localtime");
#endif
}

}  // namespace

int main(int argc, char** argv)
{
    keepLocalTimeZone();
    if (kalvex::cli::RunsWithoutGui(argumentsOf(argc, argv))) {   // no platform, no fonts to load
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
