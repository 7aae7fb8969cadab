#include "StopSignals.h"

#include <QTimer>

#include <atomic>
#include <windows.h>

namespace kalvex::cli {

namespace {

std::atomic<bool> gStop{false};   // set by the console's handler thread

// Runs on a thread of the console: only the flag. A second Ctrl-C finds it
// set and lets the default handler end the process at once.
BOOL WINAPI onConsoleControl(DWORD type)
{
    if (type != CTRL_C_EVENT && type != CTRL_BREAK_EVENT && type != CTRL_CLOSE_EVENT)
        return FALSE;
    return gStop.exchange(true) ? FALSE : TRUE;
}

}  // namespace

TStopSignals::TStopSignals()
{
    auto timer = std::make_unique<QTimer>();
    connect(timer.get(), &QTimer::timeout, this, &TStopSignals::onSignal);
    timer->start(100);
    FWatcher = std::move(timer);
    SetConsoleCtrlHandler(onConsoleControl, TRUE);
}

TStopSignals::~TStopSignals()
{
    SetConsoleCtrlHandler(onConsoleControl, FALSE);
}

void TStopSignals::onSignal()
{
    if (gStop.load())
        requestStop();
}

}  // namespace kalvex::cli
