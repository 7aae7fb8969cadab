#pragma once
// The module's helper programs, by the names each platform gives them.
// One source per platform: HelperProgramsPosix.cpp, HelperProgramsWindows.cpp.

#include <QString>

namespace kalvex {

// The converter of an old Access store into the SQLite store: Linux's
// kalvex-dbconvert beside the host program or on the PATH, Windows'
// DBConverter.exe beside the module. Empty when there is none.
QString DatabaseConverterProgram();

}  // namespace kalvex
