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

// Beside this program: both read the site's Regpath.ini from one folder.
QByteArray fullProgramPath()
{
    const QString folder = QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/self/exe"))).absolutePath();
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
