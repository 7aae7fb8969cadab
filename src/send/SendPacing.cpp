#include "send/SendPacing.h"

#include "config/IniPlus.h"

#include <algorithm>

namespace kalvex {

namespace {

const QString kSection = QStringLiteral("Versand");

}  // namespace

TSendPacingSettings LoadSendPacing(const QString& configIni)
{
    const TIniFile ini(configIni);
    TSendPacingSettings pacing;
    pacing.mailsPerMinute = std::max(0, ini.ReadInteger(kSection, QStringLiteral("MailsProMinute"), 0));
    pacing.tries = std::clamp(ini.ReadInteger(kSection, QStringLiteral("Versuche"), pacing.tries), 1, 10);
    pacing.retryWaitMs = 1000 * std::clamp(ini.ReadInteger(kSection, QStringLiteral("WiederholenNachSekunden"), 10), 1, 600);
    return pacing;
}

void SaveSendPacing(const QString& configIni, const TSendPacingSettings& pacing)
{
    TIniFile(configIni).WriteStrings(kSection, {{QStringLiteral("MailsProMinute"), QString::number(pacing.mailsPerMinute)},
                                                {QStringLiteral("Versuche"), QString::number(pacing.tries)},
                                                {QStringLiteral("WiederholenNachSekunden"), QString::number(pacing.retryWaitMs / 1000)}});
}

qint64 RetryWaitMs(const TSendPacingSettings& pacing, int failedTries)
{
    return qint64(pacing.retryWaitMs) << std::clamp(failedTries - 1, 0, 10);
}

TSendPacer::TSendPacer(int mailsPerMinute) : FIntervalMs(mailsPerMinute > 0 ? (60000 + mailsPerMinute - 1) / mailsPerMinute : 0) {}

qint64 TSendPacer::WaitBefore(qint64 nowMs) const
{
    if (!FLastStart)
        return 0;
    return std::max<qint64>(0, *FLastStart + FIntervalMs - nowMs);
}

}  // namespace kalvex
