#pragma once
// The pace of the device flow's polls (RFC 8628 §3.5): at least the
// interval the provider names between the starts of two requests, 5 s
// more after each slow_down, and no poll once the code has expired.
// Times are milliseconds of a monotonic clock.

#include <QJsonObject>

namespace kalvex {

class TDevicePollSchedule {
public:
    static constexpr qint64 kDefaultIntervalSecs = 5;
    static constexpr qint64 kMaxIntervalSecs = 60;      // a larger one would leave the user waiting for nothing
    static constexpr qint64 kDefaultLifetimeSecs = 600;
    static constexpr qint64 kMaxLifetimeSecs = 1800;

    // The device authorization answer (interval, expires_in), received at now.
    TDevicePollSchedule(const QJsonObject& answer, qint64 nowMs);

    void Polled(qint64 nowMs) { FLastStartMs = nowMs; }
    void SlowDown() { FIntervalMs = std::min(FIntervalMs + 5000, 2 * kMaxIntervalSecs * 1000); }
    // How long to wait from now before the next poll; -1 when the code
    // will have expired by then.
    qint64 DelayMs(qint64 nowMs) const;
    qint64 IntervalMs() const { return FIntervalMs; }

private:
    qint64 FIntervalMs;
    qint64 FExpiresAtMs;
    qint64 FLastStartMs;
};

}  // namespace kalvex
