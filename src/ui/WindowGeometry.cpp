#include "ui/WindowGeometry.h"

#include "config/IniPlus.h"
#include "config/KalvexError.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"

#include <QWidget>

namespace kalvex {

namespace {

QString configIni()
{
    const TConfig* config = TConfig::Instance();
    return config ? config->ConfigIniFileName() : QString();
}

}  // namespace

void LoadWindowGeometry(QWidget* window, const QString& section)
{
    const QString file = configIni();
    if (file.isEmpty())
        return;
    const TIniFile ini(file);
    const int width = ini.ReadInteger(section, QStringLiteral("Width"), ini.ReadInteger(section, QStringLiteral("Breite"), window->width()));
    const int height = ini.ReadInteger(section, QStringLiteral("Height"), ini.ReadInteger(section, QStringLiteral("Hoehe"), window->height()));
    window->resize(std::max(width, 200), std::max(height, 150));
    if (ini.ValueExists(section, QStringLiteral("Left")))
        window->move(ini.ReadInteger(section, QStringLiteral("Left"), window->x()), window->y());
}

void SaveWindowGeometry(const QWidget* window, const QString& section)
{
    const QString file = configIni();
    if (file.isEmpty())
        return;
    try {
        TIniFile ini(file);
        ini.WriteInteger(section, QStringLiteral("Left"), window->x());
        ini.WriteInteger(section, QStringLiteral("Width"), window->width());
        ini.WriteInteger(section, QStringLiteral("Height"), window->height());
    } catch (const EKalvex& e) {
        TLogFile::LogGlobal(false, QStringLiteral("SaveWindowGeometry: ") + e.message());
    }
}

}  // namespace kalvex
