#pragma once
// An in-memory IStream with the COM slot layout, for hosts
// (KalvexCreateMemoryStream) and tests. Reference counted; frees itself
// when the last reference is released.

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
    static TMemoryStream* self(IStream* s) { return reinterpret_cast<TMemoryStream*>(s); }
    static KHRESULT queryInterface(IStream* s, const KGUID* riid, void** object);
    static uint32_t addRef(IStream* s);
    static uint32_t release(IStream* s);
    static KHRESULT read(IStream* s, void* buffer, uint32_t count, uint32_t* done);
    static KHRESULT write(IStream* s, const void* buffer, uint32_t count, uint32_t* done);
    static KHRESULT seek(IStream* s, int64_t move, uint32_t origin, uint64_t* position);
    static KHRESULT setSize(IStream* s, uint64_t size);
    static KHRESULT copyTo(IStream* s, IStream* target, uint64_t count, uint64_t* read, uint64_t* written);
    static KHRESULT commit(IStream* s, uint32_t flags);
    static KHRESULT revert(IStream* s);
    static KHRESULT lockRegion(IStream* s, uint64_t offset, uint64_t count, uint32_t type);
    static KHRESULT stat(IStream* s, KSTATSTG* stat, uint32_t flags);
    static KHRESULT clone(IStream* s, IStream** clone);
    static const IStreamVtbl kVtbl;

    IStream FInterface;   // must stay the first member: IStream* is this object
    std::atomic<uint32_t> FRefCount{1};
    QByteArray FData;
    qint64 FPosition = 0;
};

}  // namespace kalvex
