#pragma once
// Access tokens for the SMTP session: kept in memory for the process,
// refreshed before they run out and once more when the server refuses
// one; a refresh token that is no longer good leads to a new sign-in
// (the window asks and opens the browser; the command line says what to run).

#include "send/SaslOAuth.h"
#include "send/oauth/OAuthSignIn.h"
#include "send/oauth/OAuthTokens.h"
#include "send/oauth/RefreshLock.h"
#include "send/oauth/TokenStore.h"

#include <QNetworkAccessManager>
#include <functional>

namespace kalvex {

class IUserMessages;

// A new sign-in; raises (EOAuthSignInRequired) when it cannot happen here.
using TSignInHandler = std::function<TOAuthTokens()>;

class TOAuthTokenProvider : public IAccessTokenProvider {
public:
    static constexpr int kRefreshMarginSecs = 300;   // a token this close to its end is refreshed first

    TOAuthTokenProvider(TOAuthSettings settings, TTokenStore store, TSignInHandler signIn);

    // Before a connection is opened: a token with time left, by refresh or
    // by a new sign-in. Raises EKalvex.
    void EnsureFresh();
    QString AccessToken() const override { return FTokens.accessToken; }
    // Inside the SMTP exchange: no questions, a revoked grant is an error
    // and its stored refresh token is removed. One process at a time
    // refreshes; the tokens another one stored meanwhile are used.
    void Refresh(std::function<void(std::exception_ptr)> done) override;
    // Takes the tokens of a sign-in or refresh and keeps the refresh token;
    // tokens without one never replace a stored one.
    void Take(const TOAuthTokens& tokens);
    const QString& User() const { return FTokens.user; }

private:
    bool fresh() const;
    void loadStored();
    void refreshNow();
    bool adoptStored();
    void refreshed(const TOAuthTokens& tokens, std::exception_ptr error);

    TOAuthSettings FSettings;
    TTokenStore FStore;
    TSignInHandler FSignIn;
    TOAuthTokens FTokens;
    QString FStoredUser;
    bool FLoaded = false;
    QNetworkAccessManager FNetwork;
    TRefreshLock FLock;
};

// Makes the sign-in for the given settings.
using TSignInFactory = std::function<TSignInHandler(const TOAuthSettings&)>;

// The account of config.ini as it stands when a mail goes out: the settings
// may change while a window is open (the settings dialog). The provider,
// with its access token, is kept while they stay the same.
class TOAuthAccount {
public:
    TOAuthAccount(QString configIni, TSignInFactory signInFor)
        : FConfigIni(std::move(configIni)), FSignInFor(std::move(signInFor)) {}
    // Null for a password account.
    TOAuthTokenProvider* Current();

private:
    QString FConfigIni;
    TSignInFactory FSignInFor;
    TOAuthSettings FSettings;
    std::unique_ptr<TOAuthTokenProvider> FProvider;
};

// The window's answer to a revoked sign-in: asks, then signs in with the browser.
TSignInHandler InteractiveSignIn(IUserMessages& messages, const TOAuthSettings& settings, TBrowserOpener open);

// The command line's answer to a revoked sign-in.
TOAuthTokens CommandLineSignInRequired();

}  // namespace kalvex
