// Peak memory of the command line on a store holding large attachments:
// saving a draft with a 500 MB attachment, and `show`, `delete` and `list`
// on a store that holds 1.1 GB of attachments. Every command runs as a
// process of its own; its peak resident size is what the kernel reports
// when it ends (wait4, ru_maxrss). A run of `list` on an empty store gives
// the program's own size for comparison.
//   build/bench/db/kalvex_bench_memory

#include "config/IniPlus.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>

extern char** environ;

using namespace kalvex;

namespace {

constexpr qint64 kMiB = 1 << 20;

// A fresh installation in a temporary folder, named through KALVEX_REGISTRY
// for the processes the benchmark starts.
class Installation {
public:
    Installation()
    {
        TIniFile reg(FDir.filePath("registry.ini"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Bench", FDir.filePath("data"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", FDir.filePath("common"));
        qputenv("KALVEX_REGISTRY", FDir.filePath("registry.ini").toUtf8());
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    // A file of the given size whose bytes vary, written in pieces.
    QString File(const QString& name, qint64 size) const
    {
        QFile file(FDir.filePath(name));
        if (file.exists() && file.size() == size)
            return file.fileName();
        file.open(QIODevice::WriteOnly);
        QByteArray piece(kMiB, Qt::Uninitialized);
        for (qint64 i = 0; i < kMiB; ++i)
            piece[i] = static_cast<char>(i * 7 + i / 251);
        for (qint64 done = 0; done < size; done += kMiB)
            file.write(piece.constData(), std::min(kMiB, size - done));
        return file.fileName();
    }

private:
    QTemporaryDir FDir;
};

// Runs the command line and returns its peak resident size in MiB.
double peakMiB(const QStringList& args)
{
    std::vector<QByteArray> bytes{QByteArray(KALVEX_CLI), "--install-key", "Bench"};
    for (const QString& a : args)
        bytes.push_back(a.toUtf8());
    std::vector<char*> argv;
    for (QByteArray& b : bytes)
        argv.push_back(b.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t quiet;   // what the command prints would split the table
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, 1, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int started = posix_spawn(&pid, KALVEX_CLI, &quiet, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&quiet);
    if (started != 0)
        throw std::runtime_error("kalvex could not be started");
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("kalvex " + args.join(' ').toStdString() + " failed");
    return static_cast<double>(usage.ru_maxrss) / 1024.0;   // KiB
}

void report(benchmark::State& state, const QStringList& args)
{
    double peak = 0;
    for (auto _ : state)
        peak = peakMiB(args);
    state.counters["peak_MiB"] = peak;
}

const QStringList kDraft{"draft", "--subject", "Entwurf", "--body", "Text", "--to", "a@example.org"};

Installation& Store()
{
    static Installation installation;
    return installation;
}

void ListOnAnEmptyStore(benchmark::State& state)
{
    Store();
    report(state, {"list"});
}

// Mail 1: the 500 MB attachment.
void SaveDraftWith500MBAttachment(benchmark::State& state)
{
    report(state, kDraft + QStringList{"--attach", Store().File("gross.bin", 500 * kMiB)});
}

// Mails 2 to 7: 100 MB each, then mail 8 without attachment: 1.1 GB in all.
void ShowTinyDraftOnA1GBStore(benchmark::State& state)
{
    const QString hundred = Store().File("hundert.bin", 100 * kMiB);
    for (int i = 0; i < 6; ++i)
        peakMiB(kDraft + QStringList{"--attach", hundred});
    peakMiB(kDraft);
    report(state, {"show", "8"});
}

void ShowDraftWith500MBAttachment(benchmark::State& state)
{
    report(state, {"show", "1"});
}

void ListOnA1GBStore(benchmark::State& state)
{
    report(state, {"list"});
}

void DeleteTinyDraftOnA1GBStore(benchmark::State& state)
{
    report(state, {"delete", "8"});
}

}  // namespace

BENCHMARK(ListOnAnEmptyStore)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(SaveDraftWith500MBAttachment)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(ShowTinyDraftOnA1GBStore)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(ShowDraftWith500MBAttachment)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(ListOnA1GBStore)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(DeleteTinyDraftOnA1GBStore)->Iterations(1)->Unit(benchmark::kMillisecond);
