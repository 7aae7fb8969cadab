/* Opens the distribution window of kalvex.dll as a host does, in German,
   template-driven (ShowVerteilerFormVersion3), and waits until it is
   closed. For the screenshot under Xvfb (tools/windows/screenshot.sh).
   usage: kalvex-show-window <module> <data folder> */
#include <windows.h>
#include <objidl.h>

#include "kalvex/kalvex.h"

#include <stdio.h>

typedef void (KALVEX_CALL *GetFn)(iEMailV6**);
typedef void (KALVEX_CALL *VoidFn)(void);

int main(int argc, char** argv)
{
    if (argc < 3) {
        fprintf(stderr, "usage: %s <module> <data folder>\n", argv[0]);
        return 2;
    }
    wchar_t path[MAX_PATH], data[MAX_PATH];
    MultiByteToWideChar(CP_UTF8, 0, argv[1], -1, path, MAX_PATH);
    MultiByteToWideChar(CP_UTF8, 0, argv[2], -1, data, MAX_PATH);
    HMODULE module = LoadLibraryW(path);
    if (!module)
        return 2;
    GetFn get = (GetFn)(void*)GetProcAddress(module, "GetMailInterfaceV6");
    VoidFn initFn = (VoidFn)(void*)GetProcAddress(module, "init");
    VoidFn finalizeFn = (VoidFn)(void*)GetProcAddress(module, "finalize");
    if (!get || !initFn || !finalizeFn)
        return 2;
    CoInitializeEx(NULL, COINIT_APARTMENTTHREADED);
    initFn();
    iEMailV6* mail = NULL;
    get(&mail);
    mail->lpVtbl->InitInterface(mail, data, L"", L"", 2016, 1);
    const int32_t exitCode = mail->lpVtbl->ShowVerteilerFormVersion3(
        mail, 0, 1031, L"Mängelanzeige Neubau Lagerhalle Nord",
        L"Sehr geehrte Damen und Herren,\n\nanbei die Liste der Mängel.\n\nMit freundlichen Grüßen", NULL, NULL,
        L"", L"", L"");
    printf("exit code %d\n", exitCode);
    mail->lpVtbl->Release(mail);
    finalizeFn();
    return 0;
}
