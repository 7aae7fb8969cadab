// The kalvex program's runs against the fault server: what a script sees
// (exit codes, standard output, the lists written) when a mail's delivery
// is unknown, when the server refuses one recipient of a mail, when a list
// cannot be written, and when Ctrl-C or SIGTERM arrives during a run.

#include "CliFixture.h"
#include "smtp/SmtpServer.h"

#include "config/IniPlus.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <gtest/gtest.h>

#include <csignal>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

using Result = CliResult;

QByteArray readBytes(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

class RunCliTest : public CliFixture {
protected:
    static Result finish(QProcess& p, const QString& err = {})
    {
        p.waitForFinished(60000);
        return resultOf(p, err);
    }
    Result run(const QStringList& args) { return finish(*start(args)); }
    void configure(const SmtpServer& server)
    {
        ASSERT_TRUE(server.Running());
        const Result r = run({"config", "--direct", "--host", "127.0.0.1", "--port", QString::number(server.Port()),
                              "--encrypted", "nein", "--sender", "cli@example.org", "--tries", "1"});
        ASSERT_EQ(r.code, 0) << r.err.toStdString();
    }
    // Recipients of the logged mails, "ID:address" in order.
    QStringList logged() const
    {
        QStringList out;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "logged");
            db.setDatabaseName(dir.filePath("common/Common04/kalvex.db"));
            QSqlQuery q(db);
            if (db.open() && q.exec("select MailID, Adresse from KVXEmpfaenger order by MailID, ID"))
                while (q.next())
                    out << q.value(0).toString() + ":" + q.value(1).toString();
        }
        QSqlDatabase::removeDatabase("logged");
        return out;
    }
    static QStringList received(const SmtpServer& server)
    {
        QStringList out;
        for (int i = 1; i <= server.MailCount(); ++i)
            out += server.Envelope(i).mid(1);
        return out;
    }
    QString file(const QString& name) const { return dir.filePath(name); }
};

const QStringList kCircular = {"send", "--separate", "--to", "a@example.org", "--to", "b@example.org", "--to",
                               "c@example.org", "--subject", "Rundschreiben", "--body", "Text"};

}  // namespace

// b's mail is taken, then the line drops before the 250: b is neither sent
// nor failed. It has its own line and list, stays out of --failed-to, and
// the exit code says "do not send again blindly".
TEST_F(RunCliTest, AnUnknownDeliveryHasItsOwnListAndExitCode)
{
    SmtpServer server({"--drop", "END=2"}, "smtp_fault_server.py");
    configure(server);
    const Result r = run(kCircular + QStringList{"--failed-to", file("failed.txt"), "--unknown-to", file("unknown.txt")});
    EXPECT_EQ(r.code, 6) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains("gesendet: a@example.org\ngesendet: c@example.org\nZustellung unbekannt (Verbindung nach "
                               "dem Senden beendet): b@example.org (Der SMTP-Server hat die Verbindung unerwartet beendet.)\n"
                               "2 von 3 E-Mails wurden gesendet. Bei 1 Empfänger ist die Zustellung unbekannt"))
        << r.out.toStdString();
    EXPECT_EQ(readBytes(file("failed.txt")), "");
    EXPECT_EQ(readBytes(file("unknown.txt")), "b@example.org\n");
    EXPECT_EQ(received(server), QStringList({"a@example.org", "b@example.org", "c@example.org"}));
}

// One mail, one recipient refused: the others get it, the log keeps just
// them, the refused one is named, and the exit code is "partly sent".
TEST_F(RunCliTest, AMailRefusedForOneRecipientIsPartlySent)
{
    SmtpServer server({"--rcpt-reply", "b@example.org=550 5.1.1 No such user"}, "smtp_fault_server.py");
    configure(server);
    const Result r = run({"send", "--to", "a@example.org", "--cc", "b@example.org", "--bcc", "c@example.org",
                          "--subject", "Angebot", "--body", "Text"});
    EXPECT_EQ(r.code, 5) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("Die E-Mail wurde gesendet, aber nicht an alle Empfänger.\nDiese Empfänger haben die "
                               "E-Mail nicht erhalten:\nb@example.org (550 5.1.1 No such user)")) << r.err.toStdString();
    EXPECT_EQ(received(server), QStringList({"a@example.org", "c@example.org"}));
    EXPECT_EQ(logged(), QStringList({"1:a@example.org", "1:c@example.org"}));
}

// A list that cannot be written is refused before the first mail, with
// the usage exit code; nothing is sent.
TEST_F(RunCliTest, AnUnwritableListIsRefusedBeforeSending)
{
    SmtpServer server({}, "smtp_fault_server.py");
    configure(server);
    for (const QString option : {"--failed-to", "--unknown-to"}) {
        const Result r = run(kCircular + QStringList{option, file("fehlt/liste.txt")});
        EXPECT_EQ(r.code, 2) << option.toStdString();
        EXPECT_TRUE(r.err.contains("kann nicht geschrieben werden. Es wurde nichts gesendet.")) << r.err.toStdString();
    }
    QDir().mkpath(file("ordner.txt"));   // a folder where the file should be
    EXPECT_EQ(run(kCircular + QStringList{"--failed-to", file("ordner.txt")}).code, 2);
    EXPECT_EQ(run(kCircular + QStringList{"--failed-to", file("x.txt"), "--unknown-to", file("x.txt")}).code, 2);
    EXPECT_EQ(server.MailCount(), 0);
}

// Ctrl-C or SIGTERM while a's mail waits for the server's answer: a is
// finished and logged, b and c are not tried; the summary and the failed
// list are written and agree with what the server holds. A second Ctrl-C
// ends the program at once.
TEST_F(RunCliTest, ASignalEndsTheRunAfterTheMailInFlight)
{
    QStringList inStore;
    for (const int signo : {SIGINT, SIGTERM}) {
        SmtpServer server({"--delay-end", "2"}, "smtp_fault_server.py");
        configure(server);
        const QString transcript = QFileInfo(server.MailFile(1)).dir().filePath("transcript.txt");
        std::unique_ptr<QProcess> p = start(kCircular + QStringList{"--failed-to", file("failed.txt")});
        for (QDeadlineTimer t(30000); !readBytes(transcript).contains("DATA-END") && !t.hasExpired();)
            QThread::msleep(20);
        ASSERT_EQ(::kill(static_cast<pid_t>(p->processId()), signo), 0);
        const Result r = finish(*p);
        EXPECT_EQ(r.code, 1) << signo << r.err.toStdString();
        EXPECT_TRUE(r.err.contains("Abbruch angefordert")) << r.err.toStdString();
        EXPECT_TRUE(r.out.contains("gesendet: a@example.org\nabgebrochen, nicht gesendet: b@example.org\n"
                                   "abgebrochen, nicht gesendet: c@example.org\n"
                                   "1 von 3 E-Mails wurden gesendet. 2 Empfänger haben die E-Mail nicht erhalten."))
            << r.out.toStdString();
        EXPECT_EQ(readBytes(file("failed.txt")), "b@example.org\nc@example.org\n");
        EXPECT_EQ(received(server), QStringList{"a@example.org"});
        inStore << QString("%1:a@example.org").arg(inStore.size() + 1);   // one entry per run, its first mail
        EXPECT_EQ(logged(), inStore);
    }

    SmtpServer server({"--delay-end", "5"}, "smtp_fault_server.py");
    configure(server);
    const QString transcript = QFileInfo(server.MailFile(1)).dir().filePath("transcript.txt");
    std::unique_ptr<QProcess> p = start(kCircular + QStringList{"--failed-to", file("again.txt")});
    for (QDeadlineTimer t(30000); !readBytes(transcript).contains("DATA-END") && !t.hasExpired();)
        QThread::msleep(20);
    ::kill(static_cast<pid_t>(p->processId()), SIGINT);
    QString err;
    for (QDeadlineTimer t(30000); !err.contains("Abbruch angefordert") && !t.hasExpired();) {
        p->waitForReadyRead(50);
        err += QString::fromUtf8(p->readAllStandardError());
    }
    ::kill(static_cast<pid_t>(p->processId()), SIGINT);
    const Result r = finish(*p, err);
    EXPECT_EQ(r.code, -1) << r.out.toStdString();   // ended by the signal, not after the mail
    EXPECT_FALSE(QFile::exists(file("again.txt")));
}
