#include "config/AppHandle.h"

namespace kalvex {

namespace {
uintptr_t gApplicationHandle = 0;  // process-wide, UI thread only
}

uintptr_t ApplicationHandle()
{
    return gApplicationHandle;
}

void SetApplicationHandle(uintptr_t handle)
{
    gApplicationHandle = handle;
}

}  // namespace kalvex
