#include "config/Desktop.h"

#include <QtGlobal>

namespace kalvex {

bool DisplayAvailable()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

}  // namespace kalvex
