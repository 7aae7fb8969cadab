// Writing and reading a TFelder with 10,000 simple fields and a repeat block
// of 10,000 rows x 5 columns, the largest field set a host hands over.

#include "mailinterface/uMailInterface.h"

#include <benchmark/benchmark.h>

using namespace kalvex;

namespace {

TFelder makeFields()
{
    TFelder f;
    for (int i = 0; i < 10000; ++i) {
        TFeldEinfach& field = f.FEinfachListe.Add();
        field.FGUID = QUuid::createUuid();
        field.FWert = QStringLiteral("Wert %1 Müller-Lüdenscheidt").arg(i);
        field.FFeldnameList.SetText(1031, QStringLiteral("Feld%1").arg(i));
        field.FFeldnameList.SetText(1033, QStringLiteral("Field%1").arg(i));
    }
    TFeldWiederholung& block = f.FWiederholungListe.Add();
    block.FGUID = QUuid::createUuid();
    block.FFeldnameBlockList.SetText(1031, QStringLiteral("Position"));
    for (int c = 0; c < 5; ++c) {
        TFeldWiederholungBlockFeld& col = block.FBlockFeldListe.Add();
        col.FGUID = QUuid::createUuid();
        col.FFeldnameList.SetText(1031, QStringLiteral("Spalte%1").arg(c));
    }
    for (int r = 0; r < 10000; ++r) {
        TFeldWiederholungBlockDaten& row = block.AddRow();
        for (int c = 0; c < 5; ++c) {
            TFeldWiederholungBlockWert& cell = row.Add();
            cell.FGUID = block.FBlockFeldListe[c].FGUID;
            cell.FWert = QStringLiteral("Zeile %1 Spalte %2").arg(r).arg(c);
        }
    }
    return f;
}

void BM_WriteFelder(benchmark::State& state)
{
    const TFelder fields = makeFields();
    qsizetype bytes = 0;
    for (auto _ : state) {
        const QByteArray data = fields.SaveToBytes();
        bytes = data.size();
        benchmark::DoNotOptimize(data.constData());
    }
    state.SetBytesProcessed(state.iterations() * bytes);
    state.counters["stream_MB"] = static_cast<double>(bytes) / 1e6;
}

void BM_ReadFelder(benchmark::State& state)
{
    const QByteArray data = makeFields().SaveToBytes();
    for (auto _ : state) {
        TFelder fields;
        fields.LoadFromBytes(data);
        benchmark::DoNotOptimize(fields.FEinfachListe.Count());
    }
    state.SetBytesProcessed(state.iterations() * data.size());
    state.counters["stream_MB"] = static_cast<double>(data.size()) / 1e6;
}

}  // namespace

BENCHMARK(BM_WriteFelder)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadFelder)->Unit(benchmark::kMillisecond);
