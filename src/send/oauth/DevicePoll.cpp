#include "send/oauth/DevicePoll.h"

#include <QJsonValue>
#include <algorithm>

namespace kalvex {

namespace {

// A whole number of seconds within [low, high]; fallback when absent or not a number.
qint64 seconds(const QJsonValue& v, qint64 fallback, qint64 low, qint64 high)
{
    const double d = v.isString() ? v.toString().toDouble() : v.toDouble(static_cast<double>(fallback));
    if (!(d == d))   // NaN
        return fallback;
    return static_cast<qint64>(std::clamp(d, static_cast<double>(low), static_cast<double>(high)));
}

}  // namespace

TDevicePollSchedule::TDevicePollSchedule(const QJsonObject& answer, qint64 nowMs)
    : FIntervalMs(seconds(answer.value(QLatin1String("interval")), kDefaultIntervalSecs, 1, kMaxIntervalSecs) * 1000),
      FExpiresAtMs(nowMs + seconds(answer.value(QLatin1String("expires_in")), kDefaultLifetimeSecs, 1, kMaxLifetimeSecs) * 1000),
      FLastStartMs(nowMs)
{
}

qint64 TDevicePollSchedule::DelayMs(qint64 nowMs) const
{
    const qint64 next = std::max(nowMs, FLastStartMs + FIntervalMs);
    return next >= FExpiresAtMs ? -1 : next - nowMs;
}

}  // namespace kalvex
