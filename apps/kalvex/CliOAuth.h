#pragma once
// kalvex oauth login|status|logout: the OAuth 2.0 sign-in of the SMTP
// account for the command line (device code, or the browser with --browser).

#include "CliCommands.h"

#include <memory>

namespace kalvex {
class TOAuthAccount;
class TConfig;
}

namespace kalvex::cli {

int RunOAuth(const QStringList& args, const TGlobalOptions& options);

// The account's tokens when it signs in with OAuth. A revoked sign-in ends
// with the advice to run 'kalvex oauth login'.
std::shared_ptr<TOAuthAccount> ConsoleOAuthAccount(const TConfig& config);

}  // namespace kalvex::cli
