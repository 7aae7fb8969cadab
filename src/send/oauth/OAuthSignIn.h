#pragma once
// The two ways to sign in: the authorization code flow with PKCE and a
// loopback redirect (the system browser), and the device code flow
// (RFC 8628) for the command line and machines without a browser. Both
// block in a local event loop and return the tokens or raise EKalvex; a
// sign-in that yields no refresh token counts as failed.

#include "send/oauth/OAuthTokens.h"

#include <QUrl>
#include <functional>

namespace kalvex {

// PKCE (RFC 7636): a random verifier and its S256 challenge.
QString NewCodeVerifier();
QString CodeChallengeS256(const QString& verifier);

// Opens the sign-in page; the default is the desktop's browser.
using TBrowserOpener = std::function<bool(const QUrl&)>;
TBrowserOpener SystemBrowser();
// $BROWSER or xdg-open as a process of its own: works whatever the Qt
// platform (the command line's offscreen one cannot open addresses).
TBrowserOpener ExternalBrowser();

// Required: a sign-in without refresh token fails. SessionAllowed: its
// tokens come back without one; the caller asks whether to go on for this
// session only.
enum class TRefreshNeed { Required, SessionAllowed };

TOAuthTokens SignInWithBrowser(const TOAuthSettings& settings, const TBrowserOpener& open, int timeoutMs = 300000,
                               TRefreshNeed need = TRefreshNeed::Required);

// What the user must do: open the address and enter the code.
using TDevicePrompt = std::function<void(const QString& verificationUri, const QString& userCode)>;
TOAuthTokens SignInWithDevice(const TOAuthSettings& settings, const TDevicePrompt& prompt);

}  // namespace kalvex
