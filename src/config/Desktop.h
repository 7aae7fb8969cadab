#pragma once
// Whether the process can show windows. One source per platform:
// DesktopPosix.cpp (an X11 or Wayland display is named), DesktopWindows.cpp
// (a Windows program always has its desktop).

namespace kalvex {

bool DisplayAvailable();

}  // namespace kalvex
