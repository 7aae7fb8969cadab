#pragma once
#include <QString>

namespace kalvex {

// Folder of the running executable (the host program), with trailing "/".
// Uses the Qt application object when there is one, /proc/self/exe otherwise.
QString ApplicationFolder();

// Appends "/" unless the text is empty or ends with one already.
QString IncludeTrailingSeparator(const QString& path);

// Joins a folder and a relative path written with Windows separators
// ("Common04\KVXIni\") using "/".
QString JoinPath(const QString& folder, const QString& windowsRelative);

}  // namespace kalvex
