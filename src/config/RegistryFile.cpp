#include "config/RegistryFile.h"

#include <QDir>
#include <QFileInfo>

namespace kalvex {

TRegistryFile::TRegistryFile() : FIni(Locate()) {}

TRegistryFile::TRegistryFile(const QString& fileName) : FIni(fileName) {}

QString TRegistryFile::Locate()
{
    const QString explicitFile = qEnvironmentVariable("KALVEX_REGISTRY");
    if (!explicitFile.isEmpty())
        return explicitFile;
    QString configHome = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (configHome.isEmpty())
        configHome = QDir::homePath() + QStringLiteral("/.config");
    const QString user = configHome + QStringLiteral("/qmb/registry.ini");
    return QFileInfo::exists(user) ? user : QStringLiteral("/etc/qmb/registry.ini");
}

bool TRegistryFile::KeyExists(const QString& keyPath) const
{
    return FIni.SectionExists(keyPath);
}

std::optional<QString> TRegistryFile::ReadString(const QString& keyPath, const QString& valueName) const
{
    if (!FIni.ValueExists(keyPath, valueName))
        return std::nullopt;
    return FIni.ReadString(keyPath, valueName, QString());
}

}  // namespace kalvex
