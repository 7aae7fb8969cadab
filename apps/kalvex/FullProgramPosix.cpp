#include "FullProgram.h"

#include "CliCommands.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace kalvex::cli {

namespace {

// Beside this program in the build tree, in libexec/kalvex once installed.
QByteArray fullProgramPath()
{
    const QString folder = QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/self/exe"))).absolutePath();
    for (const QString& candidate : {folder + QStringLiteral("/kalvex-full"),
                                     folder + QStringLiteral("/../libexec/kalvex/kalvex-full")}) {
        if (QFileInfo(candidate).isExecutable())
            return QFile::encodeName(QFileInfo(candidate).absoluteFilePath());
    }
    return QFile::encodeName(folder + QStringLiteral("/kalvex-full"));
}

}  // namespace

void RunFullProgram(char** argv)
{
    const QByteArray path = fullProgramPath();
    ::execv(path.constData(), argv);
    std::fprintf(stderr, "Das Programm %s kann nicht gestartet werden: %s\n", path.constData(), std::strerror(errno));
    std::fflush(stderr);
    ::_exit(ExitEnvironment);
}

}  // namespace kalvex::cli
