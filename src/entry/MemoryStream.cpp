#include "entry/MemoryStream.h"

#include <cstring>
#include <limits>

namespace kalvex {

namespace {

constexpr KGUID kIID_IUnknown = KALVEX_IID_IUNKNOWN;
// {0000000C-0000-0000-C000-000000000046}
constexpr KGUID kIID_IStream = {0x0000000Cu, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
// {0C733A30-2A1C-11CE-ADE5-00AA0044773D}
constexpr KGUID kIID_ISequentialStream = {0x0C733A30u, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};
constexpr qint64 kMaxSize = std::numeric_limits<int>::max() / 2;  // what a QByteArray holds safely

bool sameGuid(const KGUID& a, const KGUID& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

}  // namespace

const THostStreamVtbl TMemoryStream::kVtbl = {
    &TMemoryStream::queryInterface, &TMemoryStream::addRef,     &TMemoryStream::release,
    &TMemoryStream::read,           &TMemoryStream::write,      &TMemoryStream::seek,
    &TMemoryStream::setSize,        &TMemoryStream::copyTo,     &TMemoryStream::commit,
    &TMemoryStream::revert,         &TMemoryStream::lockRegion, &TMemoryStream::lockRegion,
    &TMemoryStream::stat,           &TMemoryStream::clone,
};

TMemoryStream::TMemoryStream() : FInterface{&kVtbl} {}

IStream* TMemoryStream::Create()
{
    return AsIStream(&(new TMemoryStream)->FInterface);
}

KHRESULT KALVEX_CALL TMemoryStream::queryInterface(THostStream* s, const KGUID* riid, void** object)
{
    if (!object || !riid)
        return KALVEX_E_POINTER;
    *object = nullptr;
    if (!sameGuid(*riid, kIID_IUnknown) && !sameGuid(*riid, kIID_IStream) && !sameGuid(*riid, kIID_ISequentialStream))
        return KALVEX_E_NOINTERFACE;
    addRef(s);
    *object = s;
    return KALVEX_S_OK;
}

uint32_t KALVEX_CALL TMemoryStream::addRef(THostStream* s)
{
    return ++self(s)->FRefCount;
}

uint32_t KALVEX_CALL TMemoryStream::release(THostStream* s)
{
    const uint32_t left = --self(s)->FRefCount;
    if (left == 0)
        delete self(s);
    return left;
}

KHRESULT KALVEX_CALL TMemoryStream::read(THostStream* s, void* buffer, uint32_t count, uint32_t* done)
{
    TMemoryStream* m = self(s);
    const qint64 available = std::max<qint64>(0, m->FData.size() - m->FPosition);
    const qint64 n = std::min<qint64>(count, available);
    if (n > 0)
        std::memcpy(buffer, m->FData.constData() + m->FPosition, static_cast<size_t>(n));
    m->FPosition += n;
    if (done)
        *done = static_cast<uint32_t>(n);
    return n < count ? KALVEX_S_FALSE : KALVEX_S_OK;
}

KHRESULT KALVEX_CALL TMemoryStream::write(THostStream* s, const void* buffer, uint32_t count, uint32_t* done)
{
    TMemoryStream* m = self(s);
    const qint64 end = m->FPosition + count;
    if (end > kMaxSize)
        return KALVEX_STG_E_MEDIUMFULL;
    if (end > m->FData.size())
        m->FData.resize(end);
    std::memcpy(m->FData.data() + m->FPosition, buffer, count);
    m->FPosition = end;
    if (done)
        *done = count;
    return KALVEX_S_OK;
}

KHRESULT KALVEX_CALL TMemoryStream::seek(THostStream* s, int64_t move, uint32_t origin, uint64_t* position)
{
    TMemoryStream* m = self(s);
    qint64 base = 0;
    switch (origin) {
    case KALVEX_STREAM_SEEK_SET: base = 0; break;
    case KALVEX_STREAM_SEEK_CUR: base = m->FPosition; break;
    case KALVEX_STREAM_SEEK_END: base = m->FData.size(); break;
    default: return KALVEX_STG_E_INVALIDFUNCTION;
    }
    const qint64 target = base + move;
    if (target < 0 || target > kMaxSize)
        return KALVEX_STG_E_INVALIDFUNCTION;
    m->FPosition = target;
    if (position)
        *position = static_cast<uint64_t>(target);
    return KALVEX_S_OK;
}

KHRESULT KALVEX_CALL TMemoryStream::setSize(THostStream* s, uint64_t size)
{
    if (size > static_cast<uint64_t>(kMaxSize))
        return KALVEX_STG_E_MEDIUMFULL;
    self(s)->FData.resize(static_cast<qsizetype>(size));
    return KALVEX_S_OK;
}

KHRESULT KALVEX_CALL TMemoryStream::copyTo(THostStream* s, THostStream* target, uint64_t count, uint64_t* readOut, uint64_t* writtenOut)
{
    TMemoryStream* m = self(s);
    const qint64 available = std::max<qint64>(0, m->FData.size() - m->FPosition);
    const uint32_t n = static_cast<uint32_t>(std::min<uint64_t>(std::min<uint64_t>(count, available), UINT32_MAX));
    uint32_t written = 0;
    const KHRESULT hr = target->lpVtbl->Write(target, m->FData.constData() + m->FPosition, n, &written);
    m->FPosition += n;
    if (readOut)
        *readOut = n;
    if (writtenOut)
        *writtenOut = written;
    return hr;
}

KHRESULT KALVEX_CALL TMemoryStream::commit(THostStream*, uint32_t)
{
    return KALVEX_S_OK;
}

KHRESULT KALVEX_CALL TMemoryStream::revert(THostStream*)
{
    return KALVEX_S_OK;
}

KHRESULT KALVEX_CALL TMemoryStream::lockRegion(THostStream*, uint64_t, uint64_t, uint32_t)
{
    return KALVEX_STG_E_INVALIDFUNCTION;
}

KHRESULT KALVEX_CALL TMemoryStream::stat(THostStream* s, THostStatStg* out, uint32_t)
{
    if (!out)
        return KALVEX_E_POINTER;
    std::memset(out, 0, sizeof *out);
    out->type = 2;  // STGTY_STREAM
    out->cbSize = static_cast<uint64_t>(self(s)->FData.size());
    return KALVEX_S_OK;
}

KHRESULT KALVEX_CALL TMemoryStream::clone(THostStream* s, THostStream** out)
{
    if (!out)
        return KALVEX_E_POINTER;
    auto* copy = new TMemoryStream;
    copy->FData = self(s)->FData;
    copy->FPosition = self(s)->FPosition;
    *out = &copy->FInterface;
    return KALVEX_S_OK;
}

}  // namespace kalvex
