/* The exports of kalvex.h and one more: the export check must refuse it. */
#include <kalvex/kalvex.h>

void GetMailInterface(iEMailV6** result) { *result = 0; }
void GetMailInterfaceV2(iEMailV6** result) { *result = 0; }
void GetMailInterfaceV3(iEMailV6** result) { *result = 0; }
void GetMailInterfaceV4(iEMailV6** result) { *result = 0; }
void GetMailInterfaceV5(iEMailV6** result) { *result = 0; }
void GetMailInterfaceV6(iEMailV6** result) { *result = 0; }
void init(void) {}
void finalize(void) {}
KHRESULT KalvexCreateMemoryStream(IStream** result) { *result = 0; return KALVEX_E_NOTIMPL; }
const kx_char16* KalvexLastError(void) { static const kx_char16 none[1] = {0}; return none; }
int kalvex_leaked_helper(void) { return 1; }
