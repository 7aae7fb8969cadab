#pragma once
// A progress display for long work (sending, the connection test). The
// windows show a modal dialog with a cancel button; without a window the
// display is simply absent (null).

#include <QString>

namespace kalvex {

class IProgressDisplay {
public:
    virtual ~IProgressDisplay() = default;
    virtual void Begin(const QString& caption, qint64 maximum) = 0;   // maximum 0: no known end
    virtual void Step(const QString& text, qint64 value) = 0;
    virtual bool Cancelled() const = 0;
    virtual void End() = 0;
    // A run of several mails: the display stays up from BeginRun to EndRun,
    // shows the run's own line above the steps of each mail, and a cancel
    // holds for the whole run.
    virtual void BeginRun() {}
    virtual void RunStatus(const QString& /*text*/) {}
    virtual void EndRun() {}
};

}  // namespace kalvex
