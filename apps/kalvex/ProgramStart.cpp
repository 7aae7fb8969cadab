#include "ProgramStart.h"

#include <QtGlobal>

#include <cstdlib>   // __GLIBC__

namespace kalvex::cli {

QStringList ArgumentsOf(int argc, char** argv)
{
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    return args;
}

// (Elsewhere TZ has another syntax or none of this cost.)
void KeepLocalTimeZone()
{
#ifdef __GLIBC__
    if (qEnvironmentVariableIsEmpty("TZ"))
        qputenv("TZ", ":/etc/localtime");
#endif
}

}  // namespace kalvex::cli
