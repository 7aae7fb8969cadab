// kalvex: the mail module for scripts and servers without a desktop.

#include "CliCommands.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>

#include <cstdio>
#include <unistd.h>

int main(int argc, char** argv)
{
    // A line per recipient must reach a file or pipe as it is printed.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    // Rich text needs a GUI application object; no window ever opens.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Qt wants a private runtime folder; make the one it would pick, quietly.
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR")) {
        const QString runtime = QDir::tempPath() + QStringLiteral("/runtime-%1").arg(getuid());
        QDir().mkpath(runtime);
        QFile::setPermissions(runtime, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        qputenv("XDG_RUNTIME_DIR", runtime.toUtf8());
    }
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("kalvex"));
    return kalvex::cli::RunCommandLine(QGuiApplication::arguments().mid(1));
}
