#pragma once
// kalvex send and draft: a mail built from the compose options (template,
// recipient files, attachments), previewed, stored as a draft or sent; a
// separate run reports each recipient and ends with its exit code.

#include "CliCommands.h"

namespace kalvex::cli {

int RunSend(const QStringList& args, const TGlobalOptions& options);
int RunDraft(const QStringList& args, const TGlobalOptions& options);

}  // namespace kalvex::cli
