// 100,000 recipients from a CSV file into the compose model, every second
// one a case variant of an earlier address, as `kalvex send --recipients
// --preview` does before it shows anything: reading and splitting the file,
// and the duplicate check of each row against the rows before it.

#include "address/RecipientCsv.h"
#include "send/ComposeModel.h"

#include <QGuiApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

using namespace kalvex;

namespace {

constexpr int kRows = 100000;

QByteArray csvText()
{
    QByteArray text = "Vorname;Nachname;EMail\n";
    for (int i = 0; i < kRows; ++i) {
        const int n = i % 2 == 0 ? i : i - 1;   // the odd rows repeat the row before, in capitals
        const QByteArray address = "empfaenger" + QByteArray::number(n) + "@example.org";
        text += "Anna;Muster;" + (i % 2 == 0 ? address : address.toUpper()) + "\n";
    }
    return text;
}

void BM_RecipientsFromCsvWithDuplicates(benchmark::State& state)
{
    QTemporaryDir dir;
    const QString file = dir.filePath("liste.csv");
    QFile out(file);
    out.open(QIODevice::WriteOnly);
    out.write(csvText());
    out.close();
    for (auto _ : state) {
        TComposeModel model;
        for (const TRecipientPerson& p : ReadRecipientCsv(file))
            model.AddRecipient(TComposeRecipient{p.email, {}, p.company, 0, 0, 0, TEmpfaengerTyp::elAn, p});
        if (model.Recipients.size() != kRows / 2)
            state.SkipWithError("duplicates were not collapsed");
    }
    state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_RecipientsFromCsvWithDuplicates)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);   // the compose model's body is a QTextDocument
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
