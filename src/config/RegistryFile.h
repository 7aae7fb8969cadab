#pragma once
// Read-only stand-in for the Windows registry: an INI file whose section
// names are key paths ("SOFTWARE\QMB GmbH\InstallDir") and whose keys are
// the value names. Found at $KALVEX_REGISTRY, else
// $XDG_CONFIG_HOME/qmb/registry.ini (default ~/.config/qmb/registry.ini),
// else /etc/qmb/registry.ini.
// On Windows (RegistryFileWindows.cpp) the default object reads the
// registry itself, HKEY_LOCAL_MACHINE first, then HKEY_CURRENT_USER; one
// made on a named file reads that file as on Linux.

#include "config/IniPlus.h"

#include <QString>
#include <optional>

namespace kalvex {

class TRegistryFile {
public:
    TRegistryFile();                        // the file found by Locate()
    explicit TRegistryFile(const QString& fileName);

    static QString Locate();
    bool KeyExists(const QString& keyPath) const;
    // The value's text, or nothing when the key or value is absent.
    std::optional<QString> ReadString(const QString& keyPath, const QString& valueName) const;
    const QString& FileName() const { return FIni.FileName(); }

private:
    TIniFile FIni;
};

}  // namespace kalvex
