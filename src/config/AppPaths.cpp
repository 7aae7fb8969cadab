#include "config/AppPaths.h"

#include <QCoreApplication>
#include <QFile>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace kalvex {

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
