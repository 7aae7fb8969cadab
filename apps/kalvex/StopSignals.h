#pragma once
// Ctrl-C and SIGTERM during a run of mails: the first asks the run to end
// after the mail in flight (so its outcome is recorded and logged, and the
// summary and the lists are written); a second one ends the process at
// once. The handler only writes the signal's number into a pipe; the event
// loop the run keeps spinning reads it (the self-pipe pattern). On Windows
// the console's Ctrl-C handler sets a flag that a timer of the loop reads.
// One source per platform: StopSignalsPosix.cpp, StopSignalsWindows.cpp.

#include <QObject>
#include <memory>

namespace kalvex::cli {

class TStopSignals : public QObject {
    Q_OBJECT

public:
    // Installs the handlers for SIGINT and SIGTERM; one object per process.
    TStopSignals();
    // Gives both signals back their default action.
    ~TStopSignals() override;

    bool StopRequested() const { return FStopRequested; }

private:
    void onSignal();
    // The first stop: says what happens now and logs it.
    void requestStop();

    // The pipe's notifier (POSIX) or the poll timer (Windows); lives with this object.
    std::unique_ptr<QObject> FWatcher;
    bool FStopRequested = false;
};

}  // namespace kalvex::cli
