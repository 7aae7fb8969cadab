#include "StopSignals.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace kalvex::cli {

namespace {

int gPipe[2] = {-1, -1};   // read end, write end; the process's lifetime

// Async-signal-safe only: one write. SA_RESETHAND has given the signal its
// default action back, so the same signal again ends the process at once.
extern "C" void onStopSignal(int signo)
{
    const int saved = errno;
    const char byte = static_cast<char>(signo);
    [[maybe_unused]] const ssize_t written = write(gPipe[1], &byte, 1);
    errno = saved;
}

void setAction(int signo, void (*handler)(int), int flags)
{
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    sigaction(signo, &action, nullptr);
}

}  // namespace

TStopSignals::TStopSignals()
{
    if (gPipe[0] < 0 && pipe2(gPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;   // no pipe: the signals keep their default action
    auto notifier = std::make_unique<QSocketNotifier>(gPipe[0], QSocketNotifier::Read);
    connect(notifier.get(), &QSocketNotifier::activated, this, &TStopSignals::onSignal);
    FWatcher = std::move(notifier);
    setAction(SIGINT, onStopSignal, SA_RESETHAND | SA_RESTART);
    setAction(SIGTERM, onStopSignal, SA_RESETHAND | SA_RESTART);
}

TStopSignals::~TStopSignals()
{
    setAction(SIGINT, SIG_DFL, 0);
    setAction(SIGTERM, SIG_DFL, 0);
}

// The first signal of either kind: from now on any further one ends the
// process at once.
void TStopSignals::onSignal()
{
    char bytes[16];
    while (read(gPipe[0], bytes, sizeof bytes) > 0) {
    }
    setAction(SIGINT, SIG_DFL, 0);
    setAction(SIGTERM, SIG_DFL, 0);
    requestStop();
}

}  // namespace kalvex::cli
