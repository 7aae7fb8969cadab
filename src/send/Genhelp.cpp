#include "send/Genhelp.h"

#include "config/LogFileUnit.h"
#include "config/UserMessages.h"
#include "mailinterface/RecipientKey.h"
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

// Everything but letters, digits, "-._~" and keep as %XX of its UTF-8: the
// URL then holds no character a shell gives a meaning to. xdg-email passes
// a mailto: argument through its own sh, whose echo would take "\c" as the
// end of the text and "\n" as a line break; its --subject and --body go the
// same way.
QString encoded(const QString& text, const QByteArray& keep = {})
{
    return QString::fromLatin1(QUrl::toPercentEncoding(text, keep));
}

// A mailto: URL carries line breaks as CR LF.
QString withCrLf(QString text)
{
    text.replace(QLatin1String("\r\n"), QLatin1String("\n")).replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return text.replace(QLatin1Char('\n'), QLatin1String("\r\n"));
}

// The file the mail program is to attach, links resolved as xdg-email does.
QString attachedPath(const QString& path)
{
    const QFileInfo info(path);
    const QString canonical = info.canonicalFilePath();
    return canonical.isEmpty() ? info.absoluteFilePath() : canonical;
}

// The same address in the same class is one recipient, however written.
QString classedKey(const QString& address, int recipientClass)
{
    return QString::number(recipientClass) + QLatin1Char(' ') + RecipientKey(address);
}

}  // namespace

void TGenHelp::ClearStrings()
{
    FBetreff.clear();
    FMailtext.clear();
    FRecipients.clear();
    FRecipientKeys.clear();
    FAttachments.clear();
}

bool TGenHelp::DestAdrexists(const QString& address, int recipientClass) const
{
    return FRecipientKeys.contains(classedKey(address, recipientClass));
}

void TGenHelp::AddDestAdr(const QString& address, int recipientClass)
{
    if (DestAdrexists(address, recipientClass))
        return;
    FRecipients.push_back({address, recipientClass});
    FRecipientKeys.insert(classedKey(address, recipientClass));
}

// The whole mail in one mailto: URL that we encode ourselves (RFC 6068):
// To in the path, then subject, body, Cc, Bcc and the attachments. An
// address that begins with "-" cannot read as an option there.
QString TGenHelp::MailtoUrl() const
{
    QStringList to, fields;
    if (!FBetreff.isEmpty())
        fields << QStringLiteral("subject=") + encoded(withCrLf(FBetreff));
    if (!FMailtext.isEmpty())
        fields << QStringLiteral("body=") + encoded(withCrLf(FMailtext));
    for (const TAddress& a : FRecipients) {
        if (a.recipientClass == 1)
            to << encoded(a.address, "@");
        else
            fields << (a.recipientClass == 2 ? QStringLiteral("cc=") : QStringLiteral("bcc=")) + encoded(a.address, "@");
    }
    for (const QString& path : FAttachments)
        fields << QStringLiteral("attach=") + encoded(attachedPath(path), "/");
    const QString query = fields.isEmpty() ? QString() : QLatin1Char('?') + fields.join(QLatin1Char('&'));
    return QStringLiteral("mailto:") + to.join(QLatin1Char(',')) + query;
}

QStringList TGenHelp::BuildArguments() const
{
    return {MailtoUrl()};
}

// Shortening would lose what the user wrote: the URL must fit one argument.
bool TGenHelp::FitsOneArgument() const
{
    return MailtoUrl().size() <= kMaxArgumentBytes;   // pure ASCII: characters are bytes
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
