// A shared MariaDB database as sites run it: what the user is told when
// the database name is wrong or a statement fails after connecting, and
// that Qt's driver warnings stay off standard error.
#include "StoreFixture.h"

#include "config/LogFileUnit.h"
#include "db/qtsql/QtSqlStore.h"

#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryFile>
#include <cstdio>
#include <unistd.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

std::unique_ptr<TQMBDatabaseHandler> connected(const TQMBDatabaseConfig& config)
{
    auto h = TQMBDatabaseFactory::CreateDbHandler(config, QString(), -1);
    h->SetConnected(true);
    return h;
}

bool databaseExists(TQMBDatabaseHandler& admin, const QString& name)
{
    return admin.CalcSQL_Int(0, "select count(*) from information_schema.SCHEMATA where SCHEMA_NAME = :n", {P("n", name)}) > 0;
}

// What the process writes to standard error while it lives.
class StderrCapture {
public:
    StderrCapture() : FSaved(dup(STDERR_FILENO))
    {
        std::fflush(stderr);
        FFile.open();
        dup2(FFile.handle(), STDERR_FILENO);
    }
    ~StderrCapture() { restore(); }
    QString Text()
    {
        restore();
        FFile.seek(0);
        return QString::fromUtf8(FFile.readAll());
    }

private:
    void restore()
    {
        if (FSaved < 0)
            return;
        std::fflush(stderr);
        dup2(FSaved, STDERR_FILENO);
        close(FSaved);
        FSaved = -1;
    }
    int FSaved;
    QTemporaryFile FFile;
};

}  // namespace

// A mistyped name is an error that names database and server, whatever
// language the server speaks; the database is made only when the settings
// ask for it.
TEST(MariaDBSite, AMissingDatabaseIsNamedAndMadeOnlyWhenAsked)
{
    auto admin = connected(MariaDBServer::Instance().NewSchema());
    const QString server = MariaDBServer::Instance().Socket();
    for (const char* language : {"en_US", "de_DE"}) {
        admin->ExecSQL(QString("SET GLOBAL lc_messages = '%1'").arg(language));
        TQMBDatabaseConfig typo = MariaDBServer::Instance().NewSchema();
        typo.Options.CreateDatabase = false;
        auto h = TQMBDatabaseFactory::CreateDbHandler(typo, QString(), -1);
        const QString error = ErrorOf([&] { h->SetConnected(true); });
        EXPECT_EQ(h->GetConnectionError(), TConnectionError::tceDatabaseError) << language;
        EXPECT_TRUE(error.startsWith(QString("Die Datenbank \"%1\" gibt es auf dem Datenbankserver %2 nicht.")
                                         .arg(typo.DatabaseName, server)))
            << language << ": " << error.toStdString();
        EXPECT_TRUE(error.contains("CreateDatabase=1"));
        EXPECT_FALSE(databaseExists(*admin, typo.DatabaseName)) << language;

        typo.Options.CreateDatabase = true;
        EXPECT_EQ(ErrorOf([&] { connected(typo); }), "") << language;
        EXPECT_TRUE(databaseExists(*admin, typo.DatabaseName)) << language;
    }
    admin->ExecSQL("SET GLOBAL lc_messages = 'en_US'");
}

// Failures after connecting: a row another user holds, data over the
// packet limit (refused before it is sent), a connection the server dropped. Each gets its German
// message with the driver's text after it, and nothing of Qt's reaches
// standard error; the driver's warnings land in the module's log file.
TEST(MariaDBSite, FailuresAfterConnectingSayWhatWentWrongInGerman)
{
    QTemporaryDir dir;
    TLogFile::Install(std::make_unique<TLogFile>(dir.filePath("logfile_kalvex.txt")));
    const TQMBDatabaseConfig config = MariaDBServer::Instance().NewSchema();
    const QString server = MariaDBServer::Instance().Socket();
    auto holder = connected(config);
    holder->ExecSQL("create table [Zeile] ([ID] int primary key, [Wert] longblob)");
    holder->ExecSQL("insert into [Zeile] ([ID]) values (1)");
    StderrCapture stderrText;

    auto waiter = connected(config);
    waiter->ExecSQL("SET SESSION innodb_lock_wait_timeout = 1");
    holder->BeginTrans();
    holder->ExecSQL("update [Zeile] set [Wert] = 'a' where [ID] = 1");
    const QString locked = ErrorOf([&] { waiter->ExecSQL("update [Zeile] set [Wert] = 'b' where [ID] = 1"); });
    holder->RollbackTrans();
    EXPECT_TRUE(locked.startsWith("Die Daten werden gerade von einem anderen Benutzer geändert; die Wartezeit ist abgelaufen."))
        << locked.toStdString();
    EXPECT_TRUE(locked.contains("(Lock wait timeout exceeded")) << locked.toStdString();

    const QString tooLarge = ErrorOf([&] {
        waiter->ExecSQL("update [Zeile] set [Wert] = :w where [ID] = 1", {P("w", QByteArray(17 * 1024 * 1024, 'x'))});
    });
    EXPECT_EQ(tooLarge, QString("Die Daten sind größer, als der Datenbankserver %1 in einem Stück annimmt "
                                "(Einstellung max_allowed_packet: 16,0 MB).").arg(server));
    EXPECT_EQ(waiter->CalcSQL_Int(0, "select count(*) from [Zeile]"), 1);   // refused before sending: still connected

    auto dropped = connected(config);
    const qint64 id = dropped->CalcSQL_Int(0, "SELECT CONNECTION_ID()");
    holder->ExecSQL(QString("KILL %1").arg(id));
    const QString lost = ErrorOf([&] { dropped->CalcSQL_Int(0, "select count(*) from [Zeile]"); });
    EXPECT_TRUE(lost.startsWith(QString("Die Verbindung zum Datenbankserver %1 ist abgebrochen.").arg(server)))
        << lost.toStdString();
    EXPECT_TRUE(lost.contains("(")) << lost.toStdString();
    dropped.reset();
    waiter.reset();

    const QString err = stderrText.Text();
    EXPECT_FALSE(err.contains("QMYSQL")) << err.toStdString();
    TLogFile::Uninstall();
    QFile log(dir.filePath("logfile_kalvex.txt"));
    log.open(QIODevice::ReadOnly);
    const QString logged = QString::fromUtf8(log.readAll());
    EXPECT_TRUE(logged.contains("Qt SQL: QMYSQL")) << logged.toStdString();
}

// Once a store is open, the drivers' warnings (by text, or by category in
// newer Qt) leave standard error; every other message keeps its way.
TEST(MariaDBSite, OnlyTheSqlDriversWarningsAreTakenOffStandardError)
{
    auto h = connected(MariaDBServer::Instance().NewSchema());
    const QLoggingCategory mysql("qt.sql.mysql");
    StderrCapture stderrText;
    qWarning("QMYSQLResult::cleanup: unable to free statement handle");
    qCWarning(mysql) << "unable to free";
    qWarning("QSqlDatabasePrivate::removeDatabase: connection 'x' is still in use");
    qWarning("Kein SQL: bleibt sichtbar");
    const QString err = stderrText.Text();
    EXPECT_TRUE(err.contains("Kein SQL: bleibt sichtbar")) << err.toStdString();
    EXPECT_FALSE(err.contains("QMYSQL") || err.contains("unable to free") || err.contains("QSqlDatabase")) << err.toStdString();
}
