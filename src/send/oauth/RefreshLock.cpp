#include "send/oauth/RefreshLock.h"

#include <QTimer>

namespace kalvex {

void TRefreshLock::Acquire(std::function<void()> held)
{
    Release();
    if (FPath.startsWith(QLatin1Char('.')))   // no settings file, nothing to share
        return held();
    retry(std::move(held), 0);
}

void TRefreshLock::retry(std::function<void()> held, int waitedMs)
{
    if (tryLock() || waitedMs >= kGiveUpMs)
        return held();
    QTimer::singleShot(kRetryMs, this, [this, held, waitedMs] { retry(held, waitedMs + kRetryMs); });
}

}  // namespace kalvex
