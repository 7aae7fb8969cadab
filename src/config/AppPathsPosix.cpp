// Where the program and the module's binary lie, on Linux.
#include "config/AppPaths.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <dlfcn.h>
#include <link.h>

namespace kalvex {

QString ApplicationFolder()
{
    if (QCoreApplication::instance())
        return IncludeTrailingSeparator(QCoreApplication::applicationDirPath());
    const QFileInfo exe(QStringLiteral("/proc/self/exe"));
    return IncludeTrailingSeparator(QFileInfo(exe.symLinkTarget()).absolutePath());
}

QString ModuleFolder()
{
    Dl_info info{};
    link_map* map = nullptr;
    if (dladdr1(reinterpret_cast<void*>(&ModuleFolder), &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0
        || !map)
        return QString();
    // The main program's entry has no name: the code is linked into it.
    const QString binary = map->l_name && *map->l_name ? QFile::decodeName(map->l_name)
                                                       : QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
    return IncludeTrailingSeparator(QFileInfo(binary).canonicalPath());
}

}  // namespace kalvex
