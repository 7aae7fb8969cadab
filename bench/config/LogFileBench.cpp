// One log entry, as a separate run writes one per recipient.
#include "config/LogFileUnit.h"

#include <QTemporaryDir>
#include <benchmark/benchmark.h>

using namespace kalvex;

static void BM_LogEntry(benchmark::State& state)
{
    QTemporaryDir dir;
    TLogFile log(dir.filePath(QStringLiteral("logfile_kalvex.txt")));
    const QString entry = QStringLiteral("E-Mail an empfaenger@example.org gesendet (250 2.0.0 Ok: queued as 4B1C2)");
    for (auto _ : state)
        benchmark::DoNotOptimize(log.LogWrite(true, entry));
}
BENCHMARK(BM_LogEntry);
