#pragma once
#include <QString>

namespace kalvex {

// Folder of the running executable (the host program), with trailing "/".
// Uses the Qt application object when there is one, else what the system
// says (/proc/self/exe, GetModuleFileNameW).
QString ApplicationFolder();

// Folder of the binary that holds the module's code (libkalvex.so or
// kalvex.dll, or the program it is linked into), with trailing "/".
// One source per platform: AppPathsPosix.cpp, AppPathsWindows.cpp.
QString ModuleFolder();

// The module's own read-only data file `name` (DllsLang.db3): next to the
// binary in the build folder, else in share/kalvex of the installation the
// binary belongs to. Empty when there is none.
QString ModuleDataFile(const QString& name);

// The common folder when the registry file names none (a host without an
// installation of the family): the user's own data folder
// ($XDG_DATA_HOME/kalvex/Common/), never one relative to the working folder.
QString FallbackCommonFolder();

// Appends "/" unless the text is empty or ends with one already.
QString IncludeTrailingSeparator(const QString& path);

// Joins a folder and a relative path written with Windows separators
// ("Common04\KVXIni\") using "/".
QString JoinPath(const QString& folder, const QString& windowsRelative);

}  // namespace kalvex
