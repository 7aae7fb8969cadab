// Merging a 1 MB RTF template with 100 simple fields and a block of
// 10,000 rows x 5 columns: the fast final pass against the plain passes.

#include "compose/RTFEditorEngine.h"

#include <benchmark/benchmark.h>

using namespace kalvex;

namespace {

struct Setup {
    TRTFEditorEngine engine;
    QString tpl;
    QStringList blocks{"Pos"};
};

const Setup& setup()
{
    static Setup s = [] {
        Setup s;
        for (int f = 0; f < 100; ++f)
            s.engine.SetDataFieldValueDynamisch(QString("<Feld%1>").arg(f), QString("Wert Nr. %1").arg(f));
        s.engine.SetDataFieldValueDynamisch("Pos-Wiederholung-Count", "10000");
        for (const char* c : {"Menge", "Text", "Preis", "Einheit", "Summe"}) {
            s.engine.AddDataFieldBlockUnterfeld("Pos", c);
            for (int r = 0; r < 10000; ++r)
                s.engine.SetDataFieldValueDynamisch(QString(c) + QString::number(r), QString("%1 %2").arg(c).arg(r));
        }
        QString filler;
        int f = 0;
        while (filler.size() < 1000000)
            filler += QString("{\\pard\\ql\\f0\\fs20 Absatz mit Feld <Feld%1> und Text \\'e4\\'f6\\'fc\\par}\n").arg(f++ % 100);
        s.tpl = "{\\rtf1\\ansi\\ansicpg1252 " + filler
              + "<Pos-Wiederholung-Anfang>{\\trowd <Menge>\\cell <Text>\\cell <Preis>\\cell <Einheit>\\cell <Summe>\\cell\\row}"
                "<Pos-Wiederholung-Ende>}";
        return s;
    }();
    return s;
}

void BM_MergeFast(benchmark::State& state)
{
    const Setup& s = setup();
    QString out;
    for (auto _ : state)
        s.engine.ReplaceDataValues(s.tpl, &s.blocks, out);
    state.counters["template_MB"] = s.tpl.size() / 1e6;
    state.counters["keys"] = s.engine.KeyCount();
}

void BM_MergeSequential(benchmark::State& state)
{
    const Setup& s = setup();
    QString out;
    for (auto _ : state)
        s.engine.ReplaceDataValuesSequential(s.tpl, &s.blocks, out);
}

}  // namespace

BENCHMARK(BM_MergeFast)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MergeSequential)->Unit(benchmark::kSecond)->Iterations(1);
