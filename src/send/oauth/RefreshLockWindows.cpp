#include "send/oauth/RefreshLock.h"

#include <windows.h>

namespace kalvex {

// Opened without sharing: a second opener fails until the holder closes
// the file or dies.
bool TRefreshLock::tryLock()
{
    const HANDLE h = CreateFileW(reinterpret_cast<LPCWSTR>(FPath.utf16()), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                 OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return false;
    FHandle = reinterpret_cast<qintptr>(h);
    return true;
}

void TRefreshLock::Release()
{
    if (FHandle < 0)
        return;
    CloseHandle(reinterpret_cast<HANDLE>(FHandle));
    FHandle = -1;
}

}  // namespace kalvex
