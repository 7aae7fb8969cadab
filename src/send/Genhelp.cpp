#include "send/Genhelp.h"

#include "config/LogFileUnit.h"
#include "config/UserMessages.h"
#include "send/SystemMapi.h"
#include "send/uMapiClient.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFileInfo>
#include <QProcess>
#include <QTimer>
#include <QUrl>

namespace kalvex {

namespace {

// Linux carries at most 32 pages (128 KiB, the terminating NUL included) in
// one argument of a program start.
constexpr qsizetype kMaxArgumentBytes = 128 * 1024 - 1;

bool keptInMailto(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '@' || c == '.' || c == '-'
        || c == '\\' || c == '/';
}

// The length of a text in the mailto: URL xdg-email builds and passes on as
// one argument: UTF-8, "@", letters, digits, ".", "-", "\\" and "/" kept,
// a line break as "%0D%0A", every other byte as "%XX".
qsizetype mailtoLength(const QString& text)
{
    qsizetype length = 0;
    for (const char c : text.toUtf8())
        length += c == '\n' ? 6 : (keptInMailto(c) ? 1 : 3);
    return length;
}

}  // namespace

void TGenHelp::ClearStrings()
{
    FBetreff.clear();
    FMailtext.clear();
    FRecipients.clear();
    FAttachments.clear();
}

bool TGenHelp::DestAdrexists(const QString& address, int recipientClass) const
{
    return std::any_of(FRecipients.begin(), FRecipients.end(), [&](const TAddress& a) {
        return a.address == address && a.recipientClass == recipientClass;
    });
}

void TGenHelp::AddDestAdr(const QString& address, int recipientClass)
{
    if (!DestAdrexists(address, recipientClass))
        FRecipients.push_back({address, recipientClass});
}

// An address that begins with "-" would read as an option: it is given in
// a mailto: URL instead, where it can only be an address.
QStringList TGenHelp::BuildArguments() const
{
    QStringList args{QStringLiteral("--utf8")};
    if (!FBetreff.isEmpty())
        args << QStringLiteral("--subject") << FBetreff;
    if (!FMailtext.isEmpty())
        args << QStringLiteral("--body") << FMailtext;
    QStringList to;
    for (const TAddress& a : FRecipients) {
        if (a.recipientClass == 1)
            to << a.address;
        else
            args << (a.recipientClass == 2 ? QStringLiteral("--cc") : QStringLiteral("--bcc")) << a.address;
    }
    for (const QString& path : FAttachments)
        args << QStringLiteral("--attach") << path;
    QStringList encoded;
    for (const QString& a : to)
        encoded << QString::fromLatin1(QUrl::toPercentEncoding(a, "@"));
    args << QStringLiteral("mailto:") + encoded.join(QLatin1Char(','));
    return args;
}

// Every field of the mail travels in that one URL, with its name and a
// separator; the URL may not be longer than one argument can carry.
bool TGenHelp::FitsOneArgument() const
{
    qsizetype length = QStringLiteral("mailto:?subject=&body=").size() + mailtoLength(FBetreff) + mailtoLength(FMailtext);
    for (const TAddress& a : FRecipients)
        length += 5 + mailtoLength(a.address);
    for (const QString& path : FAttachments)
        length += 8 + mailtoLength(QFileInfo(path).absoluteFilePath());
    return length <= kMaxArgumentBytes;
}

int TGenHelp::report(int code) const
{
    const QString message = MapiResultMessage(code);
    if (!message.isEmpty()) {
        TLogFile::LogGlobal(false, QStringLiteral("CallMailClient: ") + message);
        if (FMessages)
            FMessages->ShowError(message);
    }
    return code;
}

int TGenHelp::CallMailClient()
{
    for (const QString& path : FAttachments)
        if (!QFileInfo(path).isFile())
            return report(11);
    if (const std::optional<int> code = SendThroughSystemMapi({FBetreff, FMailtext, FRecipients, FAttachments}))
        return report(*code);
    if (!FitsOneArgument())
        return report(18);   // shortening the text would lose what the user wrote
    const TMailClientCommand command = FindMailClientCommand();
    const QStringList arguments = BuildArguments();
    LogMailClientDiagnostics(command, arguments);
    if (command.program.isEmpty())
        return report(99);
    return report(run(command, arguments));
}

// Waits for the hand-over with the event loop running. A mail program that
// keeps the helper busy past the time-out has its window open: that counts
// as handed over, and the helper is left to finish on its own.
int TGenHelp::run(const TMailClientCommand& command, const QStringList& arguments) const
{
    auto* process = new QProcess(QCoreApplication::instance());
    QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
    QEventLoop loop;
    QObject::connect(process, &QProcess::finished, &loop, &QEventLoop::quit);
    QObject::connect(process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
    QTimer::singleShot(TimeoutMs, &loop, &QEventLoop::quit);
    process->start(command.program, command.leadingArgs + arguments);
    if (process->state() != QProcess::NotRunning || process->error() == QProcess::UnknownError)
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    if (process->error() == QProcess::FailedToStart) {
        process->deleteLater();
        return 99;
    }
    if (process->state() != QProcess::NotRunning) {
        TLogFile::LogGlobal(true, QStringLiteral("CallMailClient: das E-Mail-Programm läuft weiter"));
        return 0;
    }
    return process->exitStatus() == QProcess::NormalExit ? MapiCodeForExitCode(process->exitCode()) : 2;
}

}  // namespace kalvex
