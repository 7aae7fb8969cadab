#include "send/SystemMapi.h"

namespace kalvex {

// Linux has no Simple MAPI: the desktop's hand-over is a program (xdg-email).
std::optional<int> SendThroughSystemMapi(const TMapiMessage&)
{
    return std::nullopt;
}

}  // namespace kalvex
