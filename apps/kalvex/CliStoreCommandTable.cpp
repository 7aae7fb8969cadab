// The commands of the store reader (the program named kalvex on Linux):
// reading sent mails and drafts needs no GUI layer.
#include "CliCommands.h"

#include "CliStore.h"

namespace kalvex::cli {

const std::vector<TCommand>& Commands()
{
    static const std::vector<TCommand> commands = {
        {QStringLiteral("list"), QStringLiteral("list sent mails and drafts"), RunList},
        {QStringLiteral("show"), QStringLiteral("show one sent mail or draft"), RunShow},
    };
    return commands;
}

}  // namespace kalvex::cli
