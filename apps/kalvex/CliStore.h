#pragma once
// kalvex list, show and delete: the sent mails and drafts of the store.

#include "CliCommands.h"

namespace kalvex::cli {

int RunList(const QStringList& args, const TGlobalOptions& options);
int RunShow(const QStringList& args, const TGlobalOptions& options);
int RunDelete(const QStringList& args, const TGlobalOptions& options);

}  // namespace kalvex::cli
