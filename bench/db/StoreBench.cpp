// The storage operations a user waits for, on SQLite and on MariaDB (a
// private server on a Unix socket): logging a sent mail, loading the mail
// list, bulk inserts in one transaction, and a cached parameterised query.
//   build/bench/db/kalvex_bench_store

#include "MariaDBServer.h"

#include "config/IniPlus.h"
#include "config/LogFileUnit.h"
#include "config/uConfig.h"
#include "db/uDatenModul.h"

#include <QFile>
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

void backends(benchmark::internal::Benchmark* b)
{
    b->ArgName("mariadb")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
}

}  // namespace

BENCHMARK(SaveEMail)->Apply(backends);
BENCHMARK(LoadEMailListe1000)->Apply(backends);
BENCHMARK(Insert1000RowsInOneTransaction)->Apply(backends);
BENCHMARK(CachedQueryById)->Apply(backends)->Unit(benchmark::kMicrosecond);
