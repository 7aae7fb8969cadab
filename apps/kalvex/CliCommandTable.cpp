// The commands of the whole command line.
#include "CliCommands.h"

#include "CliConfig.h"
#include "CliOAuth.h"
#include "CliSend.h"
#include "CliStore.h"

namespace kalvex::cli {

const std::vector<TCommand>& Commands()
{
    static const std::vector<TCommand> commands = {
        {QStringLiteral("send"), QStringLiteral("send a mail (the mailing run of the window)"), RunSend},
        {QStringLiteral("draft"), QStringLiteral("store a mail as a draft"), RunDraft},
        {QStringLiteral("list"), QStringLiteral("list sent mails and drafts"), RunList},
        {QStringLiteral("show"), QStringLiteral("show one sent mail or draft"), RunShow},
        {QStringLiteral("delete"), QStringLiteral("delete one sent mail or draft"), RunDelete},
        {QStringLiteral("config"), QStringLiteral("show or set the SMTP settings"), RunConfig},
        {QStringLiteral("test-connection"), QStringLiteral("send a test mail to the sender address"), RunTestConnection},
        {QStringLiteral("oauth"), QStringLiteral("sign in with OAuth 2.0 (login, status, logout)"), RunOAuth},
    };
    return commands;
}

}  // namespace kalvex::cli
