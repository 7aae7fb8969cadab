#pragma once
// kalvex config and test-connection: the SMTP settings, shown or changed,
// and the test mail to the sender address.

#include "CliCommands.h"

namespace kalvex::cli {

int RunConfig(const QStringList& args, const TGlobalOptions& options);
int RunTestConnection(const QStringList& args, const TGlobalOptions& options);

}  // namespace kalvex::cli
