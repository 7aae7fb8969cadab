#pragma once
// The calling thread's last error: the user message of the exception that
// ended the last call into the module, or empty after a call that succeeded.

#include "kalvex/kalvex.h"

#include <QString>

namespace kalvex {

void ClearLastError();
void SetLastError(const QString& message);
QString LastErrorText();
// Stable until the next call into the module on this thread.
const kx_char16* LastErrorPointer();

// Runs body, turning any exception into the last error and notFound.
template <class R, class Body>
R Guarded(R notFound, Body&& body) noexcept;

void ReportException() noexcept;  // sets the last error from the current exception

template <class R, class Body>
R Guarded(R notFound, Body&& body) noexcept
{
    ClearLastError();
    try {
        return body();
    } catch (...) {
        ReportException();
    }
    return notFound;
}

template <class Body>
void GuardedVoid(Body&& body) noexcept
{
    Guarded<int>(0, [&] {
        body();
        return 0;
    });
}

}  // namespace kalvex
