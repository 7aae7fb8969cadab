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

// The template and text block windows keep German key names.
QString widthKey(const QString& section)
{
    return section.startsWith(QLatin1String("Form")) ? QStringLiteral("Breite") : QStringLiteral("Width");
}

QString heightKey(const QString& section)
{
    return section.startsWith(QLatin1String("Form")) ? QStringLiteral("Hoehe") : QStringLiteral("Height");
}

constexpr int kMaximized = 2;   // the stored window state of a maximised window

}  // namespace

void LoadWindowGeometry(QWidget* window, const QString& section)
{
    const QString file = configIni();
    if (file.isEmpty())
        return;
    const TIniFile ini(file);
    const int width = ini.ReadInteger(section, widthKey(section), window->width());
    const int height = ini.ReadInteger(section, heightKey(section), window->height());
    window->resize(std::max(width, 200), std::max(height, 150));
    if (ini.ValueExists(section, QStringLiteral("Left")))
        window->move(ini.ReadInteger(section, QStringLiteral("Left"), window->x()), window->y());
    if (ini.ReadInteger(section, QStringLiteral("WindowState"), 0) == kMaximized)
        window->setWindowState(window->windowState() | Qt::WindowMaximized);
}

void SaveWindowGeometry(const QWidget* window, const QString& section)
{
    const QString file = configIni();
    if (file.isEmpty())
        return;
    try {
        TIniFile ini(file);
        ini.WriteInteger(section, QStringLiteral("Left"), window->x());
        ini.WriteInteger(section, widthKey(section), window->width());
        ini.WriteInteger(section, heightKey(section), window->height());
        if (ini.ValueExists(section, QStringLiteral("WindowState")) || window->isMaximized())
            ini.WriteInteger(section, QStringLiteral("WindowState"), window->isMaximized() ? kMaximized : 0);
    } catch (const EKalvex& e) {
        TLogFile::LogGlobal(false, QStringLiteral("SaveWindowGeometry: ") + e.message());
    }
}

int LoadPanelWidth(const QString& section, int designWidth)
{
    const QString file = configIni();
    return file.isEmpty() ? designWidth : std::max(80, TIniFile(file).ReadInteger(section, QStringLiteral("pnTopLeft"), designWidth));
}

void SavePanelWidth(const QString& section, int width)
{
    const QString file = configIni();
    if (file.isEmpty())
        return;
    try {
        TIniFile(file).WriteInteger(section, QStringLiteral("pnTopLeft"), width);
    } catch (const EKalvex& e) {
        TLogFile::LogGlobal(false, QStringLiteral("SavePanelWidth: ") + e.message());
    }
}

}  // namespace kalvex
