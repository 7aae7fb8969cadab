#pragma once
// An in-memory IStream with the COM slot layout, for hosts
// (KalvexCreateMemoryStream) and tests. Reference counted; frees itself
// when the last reference is released.

#include "entry/HostStream.h"
#include "kalvex/kalvex.h"

#include <QByteArray>
#include <atomic>

namespace kalvex {

class TMemoryStream {
public:
    // A new stream with one reference, as the IStream pointer.
    static IStream* Create();

private:
    TMemoryStream();
    static TMemoryStream* self(THostStream* s) { return reinterpret_cast<TMemoryStream*>(s); }
    static KHRESULT KALVEX_CALL queryInterface(THostStream* s, const KGUID* riid, void** object);
    static uint32_t KALVEX_CALL addRef(THostStream* s);
    static uint32_t KALVEX_CALL release(THostStream* s);
    static KHRESULT KALVEX_CALL read(THostStream* s, void* buffer, uint32_t count, uint32_t* done);
    static KHRESULT KALVEX_CALL write(THostStream* s, const void* buffer, uint32_t count, uint32_t* done);
    static KHRESULT KALVEX_CALL seek(THostStream* s, int64_t move, uint32_t origin, uint64_t* position);
    static KHRESULT KALVEX_CALL setSize(THostStream* s, uint64_t size);
    static KHRESULT KALVEX_CALL copyTo(THostStream* s, THostStream* target, uint64_t count, uint64_t* read, uint64_t* written);
    static KHRESULT KALVEX_CALL commit(THostStream* s, uint32_t flags);
    static KHRESULT KALVEX_CALL revert(THostStream* s);
    static KHRESULT KALVEX_CALL lockRegion(THostStream* s, uint64_t offset, uint64_t count, uint32_t type);
    static KHRESULT KALVEX_CALL stat(THostStream* s, THostStatStg* stat, uint32_t flags);
    static KHRESULT KALVEX_CALL clone(THostStream* s, THostStream** clone);
    static const THostStreamVtbl kVtbl;

    THostStream FInterface;   // must stay the first member: IStream* is this object
    std::atomic<uint32_t> FRefCount{1};
    QByteArray FData;
    qint64 FPosition = 0;
};

}  // namespace kalvex
