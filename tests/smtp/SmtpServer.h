#pragma once
// Starts a Python SMTP peer on 127.0.0.1 for one test and stops it again;
// reads what it received. The peer is aiosmtpd (smtp_server.py) or the
// deliberately broken server (smtp_fault_server.py).

#include <QCoreApplication>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <ostream>

// Failure output shows texts, not bytes.
inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}

namespace kalvex::testing {

inline QString SourceDir()
{
    return qEnvironmentVariable("KALVEX_SOURCE_DIR", QStringLiteral(KALVEX_TEST_SOURCE_DIR));
}

inline QCoreApplication& App()
{
    if (QCoreApplication* running = QCoreApplication::instance())
        return *running;   // a widget test's application
    static int argc = 1;
    static char name[] = "test_smtp";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    return app;
}

// A self-signed certificate for 127.0.0.1, made once per test run.
inline QPair<QString, QString> Certificate()
{
    static QTemporaryDir dir;
    const QString cert = dir.filePath("cert.pem"), key = dir.filePath("key.pem");
    if (!QFile::exists(cert))
        QProcess::execute("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out", cert,
                                      "-days", "2", "-subj", "/CN=127.0.0.1"});
    return {cert, key};
}

class SmtpServer {
public:
    explicit SmtpServer(QStringList args, const QString& script = QStringLiteral("smtp_server.py"))
    {
        App();
        const auto [cert, key] = Certificate();
        args << "--maildir" << FDir.path() << "--cert" << cert << "--key" << key;
        FProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        FProcess.start("/usr/bin/python3", QStringList{SourceDir() + "/tests/smtp/" + script} + args);
        FProcess.waitForStarted(10000);
        for (int i = 0; i < 100 && FPort == 0; ++i) {
            FProcess.waitForReadyRead(200);
            const QByteArray line = FProcess.readLine();
            if (line.startsWith("READY "))
                FPort = static_cast<quint16>(line.mid(6).trimmed().toInt());
            if (FProcess.state() == QProcess::NotRunning)
                break;
        }
    }
    ~SmtpServer()
    {
        FProcess.kill();
        FProcess.waitForFinished(5000);
    }
    quint16 Port() const { return FPort; }
    bool Running() const { return FPort != 0; }
    QString MailFile(int n) const { return FDir.filePath(QString("mail%1.eml").arg(n, 4, 10, QChar('0'))); }
    int MailCount() const { return QDir(FDir.path()).entryList({"*.eml"}).size(); }
    QStringList Envelope(int n) const { return readLines(MailFile(n) + ".rcpt"); }
    // The MAIL FROM line of a message (with its parameters).
    QString MailLine(int n) const { return readLines(MailFile(n) + ".mail").value(0); }
    // The command lines the fault server received, once it has seen the
    // client's connections close (it writes "CLOSED" then).
    QStringList Transcript(int connections = 1) const
    {
        QStringList lines = RawTranscript(connections);
        lines.removeIf([](const QString& line) { return line.startsWith("CONNECT "); });
        return lines;
    }
    // With a line "CONNECT tls=0|1 reused=0|1" where each connection began.
    QStringList RawTranscript(int connections = 1) const
    {
        QStringList lines;
        for (int i = 0; i < 100 && lines.count("CLOSED") < connections; ++i) {
            if (i > 0)
                QThread::msleep(50);
            lines = readLines(FDir.filePath("transcript.txt"));
        }
        return lines;
    }
    // What Python's email package makes of the message.
    QJsonObject Parsed(int n) const
    {
        QProcess check;
        check.start("/usr/bin/python3", {SourceDir() + "/tests/smtp/check_mail.py", MailFile(n)});
        check.waitForFinished(20000);
        return QJsonDocument::fromJson(check.readAllStandardOutput()).object();
    }

private:
    static QStringList readLines(const QString& path)
    {
        QFile f(path);
        f.open(QIODevice::ReadOnly);
        return QString::fromUtf8(f.readAll()).split('\n', Qt::SkipEmptyParts);
    }

    QTemporaryDir FDir;
    QProcess FProcess;
    quint16 FPort = 0;
};

}  // namespace kalvex::testing
