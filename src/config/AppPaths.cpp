#include "config/AppPaths.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace kalvex {

QString ApplicationFolder()
{
    if (QCoreApplication::instance())
        return IncludeTrailingSeparator(QCoreApplication::applicationDirPath());
    const QFileInfo exe(QStringLiteral("/proc/self/exe"));
    return IncludeTrailingSeparator(QFileInfo(exe.symLinkTarget()).absolutePath());
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
