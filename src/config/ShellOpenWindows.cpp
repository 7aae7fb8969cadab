#include "config/ShellOpen.h"

#include "config/AppHandle.h"

#include <QDir>

#include <windows.h>
#include <shellapi.h>

namespace kalvex {

bool OpenWithShell(const QUrl& url)
{
    const QString target = url.isLocalFile() ? QDir::toNativeSeparators(url.toLocalFile()) : url.toString();
    const HINSTANCE result = ShellExecuteW(reinterpret_cast<HWND>(ApplicationHandle()), L"open",
                                           target.toStdWString().c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    // Values above 32 mean started (a documented quirk of ShellExecute).
    return reinterpret_cast<INT_PTR>(result) > 32;
}

}  // namespace kalvex
