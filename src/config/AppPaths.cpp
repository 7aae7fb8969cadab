#include "config/AppPaths.h"

#include <QCoreApplication>
#include <QFile>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

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

QString ModuleDataFile(const QString& name)
{
    const QString folder = ModuleFolder();
    if (folder.isEmpty())
        return QString();
    // Relative to the library folder or to the program folder of an
    // installation, so a moved prefix (DESTDIR, /opt) keeps working.
    const QStringList candidates{folder + name,
                                 folder + QStringLiteral(KALVEX_DATA_FROM_LIBDIR "/") + name,
                                 folder + QStringLiteral(KALVEX_DATA_FROM_BINDIR "/") + name};
    for (const QString& candidate : candidates)
        if (QFileInfo(candidate).isFile())
            return QDir::cleanPath(candidate);
    return QString();
}

QString FallbackCommonFolder()
{
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return IncludeTrailingSeparator((QDir::isAbsolutePath(data) ? data : QDir::tempPath()) + QStringLiteral("/kalvex/Common"));
}

QString IncludeTrailingSeparator(const QString& path)
{
    if (path.isEmpty() || path.endsWith(QLatin1Char('/')))
        return path;
    return path + QLatin1Char('/');
}

QString JoinPath(const QString& folder, const QString& windowsRelative)
{
    QString rel = windowsRelative;
    rel.replace(QLatin1Char('\\'), QLatin1Char('/'));
    if (folder.isEmpty())
        return rel;
    if (folder.endsWith(QLatin1Char('/')) && rel.startsWith(QLatin1Char('/')))
        rel.remove(0, 1);
    else if (!folder.endsWith(QLatin1Char('/')) && !rel.startsWith(QLatin1Char('/')))
        rel.prepend(QLatin1Char('/'));
    return folder + rel;
}

}  // namespace kalvex
