#include "config/AttachmentFiles.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "config/uConfig.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSaveFile>

namespace kalvex {

QString SafeAttachmentName(const QString& storedPath)
{
    QString name = storedPath.section(QRegularExpression(QStringLiteral("[/\\\\]")), -1).trimmed();
    name.remove(QChar(0));
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String(".."))
        name = QStringLiteral("Anhang");
    return name;
}

QString AttachmentTempFolder()
{
    return TConfig::Ensure().IniFolder() + QStringLiteral("Temp/");
}

QString WriteAttachmentToTemp(const QString& storedPath, const QByteArray& content)
{
    const QString folder = AttachmentTempFolder();
    QDir().mkpath(folder);
    const QString path = folder + SafeAttachmentName(storedPath);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size() || !file.commit())
        throw EKalvex(Tx(1996, "Der Anhang konnte nicht nach %1 geschrieben werden: %2").arg(path, file.errorString()));
    return path;
}

}  // namespace kalvex
