#pragma once
// A private MariaDB server for one test or benchmark program: a fresh data
// folder in a temporary directory, listening only on a Unix socket there,
// stopped and removed when the object dies. Started on first use.

#include "db/BasedbClasses.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <atomic>
#include <csignal>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace kalvex::testing {

class MariaDBServer {
public:
    static MariaDBServer& Instance()
    {
        static MariaDBServer server;
        return server;
    }
    const QString& Socket() const { return FSocket; }
    // Stops the server process where it stands (SIGSTOP) and lets it go on
    // (SIGCONT): a server that no longer answers, without closing anything.
    void Freeze() { ::kill(static_cast<pid_t>(FServer.processId()), SIGSTOP); }
    void Thaw() { ::kill(static_cast<pid_t>(FServer.processId()), SIGCONT); }

    // A connection description of a schema of its own (made on connect).
    TQMBDatabaseConfig NewSchema()
    {
        static std::atomic<int> counter{0};
        TQMBDatabaseConfig config;
        config.DatabaseType = TQMBDatabaseConfigType::dbtMariaDB;
        config.HostName = FSocket;
        config.Username = QStringLiteral("root");
        config.DatabaseName = QStringLiteral("kx_test_%1").arg(++counter);
        config.Options.CreateDatabase = true;
        return config;
    }

    ~MariaDBServer()
    {
        Thaw();
        FServer.terminate();
        FServer.waitForFinished(20000);
    }

private:
    MariaDBServer() : FSocket(FDir.filePath(QStringLiteral("mysqld.sock")))
    {
        const QString data = FDir.filePath(QStringLiteral("data"));
        run(QStringLiteral("mariadb-install-db"), {QStringLiteral("--no-defaults"), QStringLiteral("--datadir=") + data,
                                                    userArg(), QStringLiteral("--auth-root-authentication-method=normal"),
                                                    QStringLiteral("--skip-test-db")});
        FServer.setProcessChannelMode(QProcess::MergedChannels);
        FServer.setStandardOutputFile(FDir.filePath(QStringLiteral("server.log")));
        QStringList args{QStringLiteral("--no-defaults"), QStringLiteral("--datadir=") + data, QStringLiteral("--socket=") + FSocket,
                         QStringLiteral("--skip-networking"), userArg(), QStringLiteral("--pid-file=") + FDir.filePath("pid"),
                         QStringLiteral("--innodb-buffer-pool-size=64M"), QStringLiteral("--innodb-flush-log-at-trx-commit=2")};
        args.removeAll(QString());
        FServer.start(QStringLiteral("/usr/sbin/mariadbd"), args);
        waitForSocket();
    }

    static QString userArg()
    {
        return geteuid() == 0 ? QStringLiteral("--user=root") : QString();
    }

    void run(const QString& program, const QStringList& args)
    {
        QProcess p;
        p.setProcessChannelMode(QProcess::MergedChannels);
        QStringList given = args;
        given.removeAll(QString());
        p.start(program, given);
        if (!p.waitForFinished(60000) || p.exitCode() != 0)
            throw std::runtime_error("MariaDB: " + program.toStdString() + " failed: " + p.readAll().toStdString());
    }

    void waitForSocket()
    {
        QElapsedTimer timer;
        timer.start();
        while (!QFile::exists(FSocket) && timer.elapsed() < 30000 && FServer.state() != QProcess::NotRunning)
            QThread::msleep(50);
        if (!QFile::exists(FSocket))
            throw std::runtime_error("MariaDB did not start; log in " + FDir.path().toStdString());
    }

    QTemporaryDir FDir;
    QString FSocket;
    QProcess FServer;
};

}  // namespace kalvex::testing
