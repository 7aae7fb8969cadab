#include "entry/StreamAdapter.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"
#include "entry/HostStream.h"

namespace kalvex {

namespace {

constexpr uint32_t kChunk = 1u << 20;
constexpr qsizetype kMaxStreamSize = qsizetype(1) << 30;  // a record stream larger than 1 GiB is not ours

bool failed(KHRESULT hr)
{
    return hr < 0;
}

[[noreturn]] void throwStreamError(KHRESULT hr)
{
    throw EKalvex(Tx(1812, "Der Datenstrom des Hostprogramms meldet den Fehler 0x%1.")
                      .arg(static_cast<uint32_t>(hr), 8, 16, QLatin1Char('0')));
}

void seekToStart(IStream* stream)
{
    const KHRESULT hr = AsHostStream(stream)->lpVtbl->Seek(AsHostStream(stream), 0, KALVEX_STREAM_SEEK_SET, nullptr);
    if (failed(hr))
        throwStreamError(hr);
}

}  // namespace

QByteArray ReadAllFromStream(IStream* stream)
{
    seekToStart(stream);
    QByteArray bytes;
    for (;;) {
        const qsizetype at = bytes.size();
        if (at > kMaxStreamSize)
            throw EKalvex(Tx(1813, "Der Datenstrom des Hostprogramms ist zu groß."));
        bytes.resize(at + kChunk);
        uint32_t got = 0;
        const KHRESULT hr = AsHostStream(stream)->lpVtbl->Read(AsHostStream(stream), bytes.data() + at, kChunk, &got);
        if (failed(hr))
            throwStreamError(hr);
        bytes.resize(at + std::min(got, kChunk));
        if (got == 0)
            break;
    }
    return bytes;
}

void WriteAllToStream(IStream* stream, const QByteArray& bytes)
{
    seekToStart(stream);
    KHRESULT hr = AsHostStream(stream)->lpVtbl->SetSize(AsHostStream(stream), 0);
    if (failed(hr))
        throwStreamError(hr);
    qsizetype done = 0;
    while (done < bytes.size()) {
        const uint32_t n = static_cast<uint32_t>(std::min<qsizetype>(bytes.size() - done, kChunk));
        uint32_t written = 0;
        hr = AsHostStream(stream)->lpVtbl->Write(AsHostStream(stream), bytes.constData() + done, n, &written);
        if (failed(hr) || written == 0)
            throwStreamError(failed(hr) ? hr : KALVEX_E_FAIL);
        done += written;
    }
}

}  // namespace kalvex
