#include "config/Desktop.h"

namespace kalvex {

bool DisplayAvailable()
{
    return true;
}

}  // namespace kalvex
