#pragma once
// Moves record bytes through a host's IStream, always from position 0,
// using only Seek, Read, Write and SetSize.

#include "kalvex/kalvex.h"

#include <QByteArray>

namespace kalvex {

// Everything from position 0 to the end. Raises EKalvex on a failing call.
QByteArray ReadAllFromStream(IStream* stream);
// Replaces the stream's content with bytes; leaves the position at the end.
void WriteAllToStream(IStream* stream, const QByteArray& bytes);

}  // namespace kalvex
