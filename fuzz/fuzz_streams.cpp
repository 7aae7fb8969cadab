// Feeds arbitrary bytes to the record readers. The first byte picks the
// record. A stream that reads must write and read back to the same bytes
// (after one normalising round, since line lists are rejoined with CR LF).

#include "config/KalvexError.h"
#include "mailinterface/uMailInterface.h"

#include <cstdint>
#include <cstdlib>

using namespace kalvex;

namespace {

template <class T>
QByteArray writeOf(const T& record)
{
    TStreamWriter w;
    record.SaveToStream(w);
    return w.TakeData();
}

template <class T>
void roundTrip(const QByteArray& bytes)
{
    T first;
    try {
        TStreamReader r(bytes);
        first.LoadFromStream(r);
    } catch (const EKalvex&) {
        return;  // refused with a message: that is the expected outcome for junk
    }
    const QByteArray once = writeOf(first);
    T second;
    TStreamReader r2(once);
    second.LoadFromStream(r2);  // must not throw: we wrote it
    if (writeOf(second) != once)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data + 1), static_cast<qsizetype>(size - 1));
    switch (data[0] % 5) {
    case 0: roundTrip<TFelder>(bytes); break;
    case 1: roundTrip<TEMailListe>(bytes); break;
    case 2: roundTrip<TEmpfaengerListe>(bytes); break;
    case 3: roundTrip<TProgrammVorlageArtListe>(bytes); break;
    case 4: roundTrip<TProgrammVorlageListe>(bytes); break;
    }
    return 0;
}
