#pragma once
// The private runtime folder Qt expects on Linux (XDG_RUNTIME_DIR), made
// quietly when the session has none. Windows has no such folder.
// One source per platform: RuntimeFolderPosix.cpp, RuntimeFolderWindows.cpp.

namespace kalvex::cli {

void PrepareRuntimeFolder();

}  // namespace kalvex::cli
