#pragma once
// The desktop's "open" action on a file or an address: the program the
// user chose for its kind opens it. One source per platform:
// ShellOpenPosix.cpp (xdg-open through Qt), ShellOpenWindows.cpp
// (ShellExecuteW).

#include <QUrl>

namespace kalvex {

// False when nothing could be started for it.
bool OpenWithShell(const QUrl& url);

}  // namespace kalvex
