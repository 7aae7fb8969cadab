#pragma once
// The wait for an external program the module runs (the converter of an old
// Access store). The windows show a small wait window; without a display
// the wait is simply absent (null).

#include <QString>

namespace kalvex {

class IProcessWait {
public:
    virtual ~IProcessWait() = default;
    virtual void Begin(const QString& program) = 0;   // the program waited for
    // Called again and again while the program runs, with the last line it
    // printed (empty while it has printed nothing): keeps the window alive.
    virtual void Show(const QString& lastLine) = 0;
    virtual void End() = 0;
};

}  // namespace kalvex
