// The exported C functions of libkalvex.so.

#include "kalvex/kalvex.h"

#include "entry/LastError.h"
#include "entry/MemoryStream.h"
#include "entry/TMail.h"
#include "entry/UiLoader.h"

using namespace kalvex;

namespace {

// A Pascal interface assignment: release the old value, store a new reference.
void newMailInterface(iEMailV6** result)
{
    if (!result)
        return;
    GuardedVoid([&] {
        if (*result) {
            iEMailV6* old = *result;
            *result = nullptr;
            old->lpVtbl->Release(old);
        }
        *result = (new TMail)->Interface();
    });
}

}  // namespace

extern "C" {

KALVEX_API void KALVEX_CALL GetMailInterface(iEMailV6** result) { newMailInterface(result); }
KALVEX_API void KALVEX_CALL GetMailInterfaceV2(iEMailV6** result) { newMailInterface(result); }
KALVEX_API void KALVEX_CALL GetMailInterfaceV3(iEMailV6** result) { newMailInterface(result); }
KALVEX_API void KALVEX_CALL GetMailInterfaceV4(iEMailV6** result) { newMailInterface(result); }
KALVEX_API void KALVEX_CALL GetMailInterfaceV5(iEMailV6** result) { newMailInterface(result); }
KALVEX_API void KALVEX_CALL GetMailInterfaceV6(iEMailV6** result) { newMailInterface(result); }

KALVEX_API void KALVEX_CALL init(void)
{
    GuardedVoid([] { UiLoaderInitialize(); });
}

KALVEX_API void KALVEX_CALL finalize(void)
{
    GuardedVoid([] { UiLoaderFinalize(); });
}

KALVEX_API KHRESULT KALVEX_CALL KalvexCreateMemoryStream(IStream** result)
{
    if (!result)
        return KALVEX_E_POINTER;
    return Guarded<KHRESULT>(KALVEX_E_FAIL, [&] {
        *result = TMemoryStream::Create();
        return KALVEX_S_OK;
    });
}

KALVEX_API const kx_char16* KALVEX_CALL KalvexLastError(void)
{
    return LastErrorPointer();
}

}  // extern "C"
