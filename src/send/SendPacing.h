#pragma once
// How fast a separate run may send and how it survives a temporary
// refusal. Providers limit the mails one mailbox sends per minute; the run
// keeps a distance between the starts of two mails and tries a temporarily
// refused mail again after growing waits. Kept in config.ini, section
// "Versand".

#include <QString>
#include <QtGlobal>
#include <optional>

namespace kalvex {

struct TSendPacingSettings {
    int mailsPerMinute = 0;    // 0: no limit
    int tries = 3;             // per mail, when the server refuses for now
    int retryWaitMs = 10000;   // before the second try; doubles for each further one
};

// Presets of the settings dialog: what the providers allow one mailbox.
struct TPacingPreset {
    const char* provider;
    int mailsPerMinute;
};
inline constexpr TPacingPreset kPacingPresets[] = {{"Microsoft 365", 30}, {"Google", 20}};

TSendPacingSettings LoadSendPacing(const QString& configIni);
// Raises EKalvex when the file cannot be written.
void SaveSendPacing(const QString& configIni, const TSendPacingSettings& pacing);

// The wait before the retry after the given number of failed tries.
qint64 RetryWaitMs(const TSendPacingSettings& pacing, int failedTries);

// Keeps the starts of two mails at least 60 s / N apart, on the caller's
// clock (milliseconds).
class TSendPacer {
public:
    explicit TSendPacer(int mailsPerMinute);
    qint64 WaitBefore(qint64 nowMs) const;
    void Started(qint64 nowMs) { FLastStart = nowMs; }
    qint64 IntervalMs() const { return FIntervalMs; }

private:
    qint64 FIntervalMs;
    std::optional<qint64> FLastStart;
};

}  // namespace kalvex
