#pragma once
// The module's own view of a host's IStream: the COM slot layout with
// fixed-width types, the same on every platform. On Windows IStream is
// ole32's (LARGE_INTEGER, FILETIME, STDMETHODCALLTYPE); this view has the
// same slots, argument sizes and calling convention, so the module calls and
// implements streams the same way on Linux and Windows.

#include "kalvex/kalvex.h"

#include <cstdint>

namespace kalvex {

struct THostStream;

// STATSTG as laid out on Windows, FILETIMEs as 64-bit values.
struct THostStatStg {
    kx_char16* pwcsName;
    uint32_t type;
    uint64_t cbSize;
    uint64_t mtime;
    uint64_t ctime;
    uint64_t atime;
    uint32_t grfMode;
    uint32_t grfLocksSupported;
    KGUID clsid;
    uint32_t grfStateBits;
    uint32_t reserved;
};
static_assert(sizeof(THostStatStg) == sizeof(KSTATSTG), "STATSTG layout");
static_assert(sizeof(KGUID) == 16 && sizeof(kx_char16) == 2 && sizeof(KHRESULT) == 4, "the host's types");

struct THostStreamVtbl {
    KHRESULT (KALVEX_CALL* QueryInterface)(THostStream* self, const KGUID* riid, void** object);
    uint32_t (KALVEX_CALL* AddRef)(THostStream* self);
    uint32_t (KALVEX_CALL* Release)(THostStream* self);
    KHRESULT (KALVEX_CALL* Read)(THostStream* self, void* buffer, uint32_t count, uint32_t* read);
    KHRESULT (KALVEX_CALL* Write)(THostStream* self, const void* buffer, uint32_t count, uint32_t* written);
    KHRESULT (KALVEX_CALL* Seek)(THostStream* self, int64_t move, uint32_t origin, uint64_t* newPosition);
    KHRESULT (KALVEX_CALL* SetSize)(THostStream* self, uint64_t newSize);
    KHRESULT (KALVEX_CALL* CopyTo)(THostStream* self, THostStream* target, uint64_t count, uint64_t* read,
                                   uint64_t* written);
    KHRESULT (KALVEX_CALL* Commit)(THostStream* self, uint32_t flags);
    KHRESULT (KALVEX_CALL* Revert)(THostStream* self);
    KHRESULT (KALVEX_CALL* LockRegion)(THostStream* self, uint64_t offset, uint64_t count, uint32_t lockType);
    KHRESULT (KALVEX_CALL* UnlockRegion)(THostStream* self, uint64_t offset, uint64_t count, uint32_t lockType);
    KHRESULT (KALVEX_CALL* Stat)(THostStream* self, THostStatStg* stat, uint32_t flags);
    KHRESULT (KALVEX_CALL* Clone)(THostStream* self, THostStream** clone);
};

struct THostStream {
    const THostStreamVtbl* lpVtbl;
};

// The same object seen either way; neither changes its reference count.
inline THostStream* AsHostStream(IStream* stream)
{
    return reinterpret_cast<THostStream*>(stream);
}

inline IStream* AsIStream(THostStream* stream)
{
    return reinterpret_cast<IStream*>(stream);
}

}  // namespace kalvex
