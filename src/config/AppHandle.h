#pragma once
// The application window handle: the host window (an X11 window id) that
// the module's windows are made transient for; 0 means none.

#include <cstdint>

namespace kalvex {

uintptr_t ApplicationHandle();
void SetApplicationHandle(uintptr_t handle);

}  // namespace kalvex
