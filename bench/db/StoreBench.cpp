// The storage operations a user waits for, on SQLite and on MariaDB (a
// private server on a Unix socket): logging a sent mail, loading the mail
// list, bulk inserts in one transaction, and a cached parameterised query.
//   build/bench/db/kalvex_bench_store

#include "MariaDBServer.h"

#include "config/IniPlus.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSqlRecord>
#include <benchmark/benchmark.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

// An installation in a temporary folder whose data module uses the store
// of the benchmark's argument (0 SQLite, 1 MariaDB).
class Installation {
public:
    explicit Installation(int backend)
    {
        const QString common = FDir.filePath("common") + "/";
        TIniFile reg(FDir.filePath("registry.ini"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Bench", FDir.filePath("data"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", common);
        qputenv("KALVEX_REGISTRY", FDir.filePath("registry.ini").toUtf8());
        TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Bench")));
        QDir().mkpath(common + "Common04");
        if (backend == 1)
            TQMBDatabaseFactory::SaveDatabaseConfig(common + "Common04/KVXIni/serverdboptions.ini", "Kalvex",
                                                    MariaDBServer::Instance().NewSchema());
        FModule = std::make_unique<TDatenModul>();
        QFile attachment(FDir.filePath("anhang.pdf"));
        attachment.open(QIODevice::WriteOnly);
        attachment.write(QByteArray(20000, 'a'));
    }
    ~Installation()
    {
        FModule.reset();
        TLogFile::Uninstall();
        TConfig::Free();
    }
    TDatenModul& Module() { return *FModule; }
    void WriteAttachment(int bytes)
    {
        QFile attachment(FDir.filePath("anhang.pdf"));
        attachment.open(QIODevice::WriteOnly);
        attachment.write(QByteArray(bytes, 'a'));
    }
    QString StoreFile() const { return FDir.filePath("common/Common04/kalvex.db"); }
    QString Path(const QString& name) const { return FDir.filePath(name); }
    TEMail Mail(int i) const
    {
        TEMail mail;
        mail.FBetreff = QString("Mängelanzeige %1").arg(i);
        mail.FBodyPlain = QString("Sehr geehrte Damen und Herren,\n").repeated(20);
        mail.FBodyRTF = "{\\rtf1 " + mail.FBodyPlain + "}";
        for (int r = 0; r < 3; ++r)
            mail.FLEmpfaenger.Add().FAdresse = QString("empf%1@example.org").arg(r);
        mail.FAnhaenge << FDir.filePath("anhang.pdf");
        return mail;
    }

private:
    QTemporaryDir FDir;
    std::unique_ptr<TDatenModul> FModule;
};

void SaveEMail(benchmark::State& state)
{
    Installation site(static_cast<int>(state.range(0)));
    int i = 0;
    for (auto _ : state) {
        TEMail mail = site.Mail(++i);
        site.Module().SaveEMail(mail, TMailStatus::stGesendet);
    }
    state.SetItemsProcessed(state.iterations());
}

void LoadEMailListe1000(benchmark::State& state)
{
    Installation site(static_cast<int>(state.range(0)));
    TQMBDatabaseHandler& h = site.Module().Handler();
    h.BeginTrans();
    for (int i = 0; i < 1000; ++i) {
        TEMail mail = site.Mail(i);
        mail.FAnhaenge.clear();
        site.Module().SaveEMail(mail, TMailStatus::stGesendet);
    }
    h.CommitTrans();
    for (auto _ : state) {
        site.Module().LoadEMailListeFromDB(true);
        benchmark::DoNotOptimize(site.Module().FEMailListe.Count());
    }
}

void Insert1000RowsInOneTransaction(benchmark::State& state)
{
    Installation site(static_cast<int>(state.range(0)));
    TQMBDatabaseHandler& h = site.Module().Handler();
    for (auto _ : state) {
        h.BeginTrans();
        for (int i = 0; i < 1000; ++i)
            h.ExecSQL("insert into KVXAdresse (GruppenID, Nachname, EMail) values (:g, :n, :e)",
                      {P("g", 1), P("n", QString("Müller %1").arg(i)), P("e", QString("m%1@example.org").arg(i))});
        h.CommitTrans();
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}

void CachedQueryById(benchmark::State& state)
{
    Installation site(static_cast<int>(state.range(0)));
    TQMBDatabaseHandler& h = site.Module().Handler();
    for (int i = 0; i < 100; ++i)
        h.ExecSQL("insert into KVXGruppe (Gruppenname) values (:n)", {P("n", QString("Gruppe %1").arg(i))});
    int id = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(h.CalcSQL_String("", "select Gruppenname from KVXGruppe where ID = :id", {P("id", ++id % 100 + 1)}));
    state.SetItemsProcessed(state.iterations());
}

// Resident memory of this process in KB.
long residentKB()
{
    QFile status("/proc/self/status");
    status.open(QIODevice::ReadOnly);
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    return 0;
}

// The sqlite3 tool reading the same three tables (no blob column) as the
// mail list load does.
double sqlite3CliSeconds(const Installation& site)
{
    QFile script(site.Path("read.sql"));
    script.open(QIODevice::WriteOnly);
    script.write(".output /dev/null\nselect * from KVXGesendeteMails;\nselect * from KVXEmpfaenger;\n"
                 "select ID, MailID, Pfad, Dateigroesse from KVXAnhang;\n");
    script.close();
    QElapsedTimer timer;
    timer.start();
    QProcess::execute("sqlite3", {site.StoreFile(), ".read " + script.fileName()});
    return timer.nsecsElapsed() / 1e9;
}

// 2,000 mails with 3 recipients and a 200 KB attachment each (400 MB of
// blobs), then 8,000 without attachments; the list of all 10,000 is loaded.
void Save2000ThenLoad10000(benchmark::State& state)
{
    const bool mariadb = state.range(0) == 1;
    Installation site(mariadb ? 1 : 0);
    site.WriteAttachment(200 * 1024);
    const bool withAttachments = state.range(1) == 1;
    QElapsedTimer saving;
    saving.start();
    for (int i = 0; i < 2000; ++i) {
        TEMail mail = site.Mail(i);
        if (!withAttachments)
            mail.FAnhaenge.clear();
        site.Module().SaveEMail(mail, TMailStatus::stGesendet);
    }
    const double saveSeconds = saving.nsecsElapsed() / 1e9;
    site.Module().Handler().BeginTrans();
    for (int i = 2000; i < 10000; ++i) {
        TEMail mail = site.Mail(i);
        mail.FAnhaenge.clear();
        site.Module().SaveEMail(mail, TMailStatus::stGesendet);
    }
    site.Module().Handler().CommitTrans();
    const long before = residentKB();
    long grown = 0;
    for (auto _ : state) {
        site.Module().LoadEMailListeFromDB(false);
        grown = std::max(grown, residentKB() - before);
        benchmark::DoNotOptimize(site.Module().FEMailListe.Count());
    }
    state.counters["save_2000_s"] = saveSeconds;
    if (!mariadb)
        state.counters["sqlite3_cli_s"] = sqlite3CliSeconds(site);
    state.counters["rss_growth_MB"] = grown / 1024.0;
}

// What the driver alone costs for the three tables of the mail list: every
// value of every row fetched, no mail objects built.
void FetchMailTablesOnly10000(benchmark::State& state)
{
    Installation site(0);
    TQMBDatabaseHandler& h = site.Module().Handler();
    h.BeginTrans();
    for (int i = 0; i < 10000; ++i) {
        TEMail mail = site.Mail(i);
        mail.FAnhaenge.clear();
        site.Module().SaveEMail(mail, TMailStatus::stGesendet);
    }
    h.CommitTrans();
    for (auto _ : state) {
        for (const char* sql : {"select * from KVXGesendeteMails", "select * from KVXEmpfaenger",
                                "select ID, MailID, Pfad, Dateigroesse from KVXAnhang"}) {
            TQMBDataSet* ds = h.OpenSQL(QString::fromLatin1(sql));
            const int columns = ds->getDataSet().record().count();
            while (ds->Next())
                for (int c = 0; c < columns; ++c)
                    benchmark::DoNotOptimize(ds->getDataSet().value(c));
            ds->Close();
        }
    }
    state.counters["sqlite3_cli_s"] = sqlite3CliSeconds(site);
}

void backends(benchmark::internal::Benchmark* b)
{
    b->ArgName("mariadb")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
}

}  // namespace

BENCHMARK(Save2000ThenLoad10000)
    ->ArgNames({"mariadb", "attachments"})
    ->Args({0, 0})->Args({0, 1})->Args({1, 0})->Args({1, 1})
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(FetchMailTablesOnly10000)->Iterations(20)->Unit(benchmark::kMillisecond);
BENCHMARK(SaveEMail)->Apply(backends);
BENCHMARK(LoadEMailListe1000)->Apply(backends);
BENCHMARK(Insert1000RowsInOneTransaction)->Apply(backends);
BENCHMARK(CachedQueryById)->Apply(backends)->Unit(benchmark::kMicrosecond);
