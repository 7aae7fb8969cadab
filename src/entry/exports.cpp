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

KALVEX_API void GetMailInterface(iEMailV6** result) { newMailInterface(result); }
KALVEX_API void GetMailInterfaceV2(iEMailV6** result) { newMailInterface(result); }
KALVEX_API void GetMailInterfaceV3(iEMailV6** result) { newMailInterface(result); }
KALVEX_API void GetMailInterfaceV4(iEMailV6** result) { newMailInterface(result); }
KALVEX_API void GetMailInterfaceV5(iEMailV6** result) { newMailInterface(result); }
KALVEX_API void GetMailInterfaceV6(iEMailV6** result) { newMailInterface(result); }

KALVEX_API void init(void)
{
    GuardedVoid([] { UiLoaderInitialize(); });
}

KALVEX_API void finalize(void)
{
    GuardedVoid([] { UiLoaderFinalize(); });
}

KALVEX_API KHRESULT KalvexCreateMemoryStream(IStream** result)
{
    if (!result)
        return KALVEX_E_POINTER;
    return Guarded<KHRESULT>(KALVEX_E_FAIL, [&] {
        *result = TMemoryStream::Create();
        return KALVEX_S_OK;
    });
}

KALVEX_API const kx_char16* KalvexLastError(void)
{
    return LastErrorPointer();
}

}  // extern "C"
