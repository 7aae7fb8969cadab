#include "send/oauth/OAuthTokenProvider.h"

#include "config/LanguageUnit.h"

namespace kalvex {

TOAuthTokenProvider::TOAuthTokenProvider(TOAuthSettings settings, TTokenStore store, TSignInHandler signIn)
    : FSettings(std::move(settings)), FStore(std::move(store)), FSignIn(std::move(signIn))
{
    const TStoredSignIn stored = FStore.Load();
    FTokens.refreshToken = stored.refreshToken;
    FTokens.user = stored.user;
    FStoredUser = stored.user;
}

bool TOAuthTokenProvider::fresh() const
{
    return !FTokens.accessToken.isEmpty()
        && FTokens.expiresAt > QDateTime::currentDateTimeUtc().addSecs(kRefreshMarginSecs);
}

void TOAuthTokenProvider::EnsureFresh()
{
    if (const QString missing = FSettings.Incomplete(); !missing.isEmpty())
        throw EKalvex(missing);
    if (fresh())
        return;
    try {
        if (FTokens.refreshToken.isEmpty())
            throw EOAuthSignInRequired(Tx(3522, "Sie sind für den Versand mit OAuth 2.0 noch nicht angemeldet."));
        refreshNow();
    } catch (const EOAuthSignInRequired&) {
        if (!FSignIn)
            throw;
        Take(FSignIn());
    }
}

void TOAuthTokenProvider::refreshNow()
{
    std::exception_ptr failure;
    WaitFor([&](std::function<void()> finished) {
        Refresh([&failure, finished](std::exception_ptr error) {
            failure = error;
            finished();
        });
    });
    if (failure)
        std::rethrow_exception(failure);
}

void TOAuthTokenProvider::Refresh(std::function<void(std::exception_ptr)> done)
{
    RefreshOAuthTokens(FNetwork, FSettings, FTokens.refreshToken, [this, done](const TOAuthTokens& tokens, std::exception_ptr error) {
        if (!error)
            Take(tokens);
        done(error);
    });
}

// A provider that rotates refresh tokens (Microsoft) sends a new one each
// time; the old one may stop working, so the new one is kept at once.
void TOAuthTokenProvider::Take(const TOAuthTokens& tokens)
{
    const bool newRefresh = tokens.refreshToken != FTokens.refreshToken;
    const QString user = tokens.user.isEmpty() ? FTokens.user : tokens.user;
    FTokens = tokens;
    FTokens.user = user;
    if (newRefresh || user != FStoredUser)
        FStore.Save(FTokens.refreshToken, FTokens.user);
    FStoredUser = user;
}

std::shared_ptr<TOAuthTokenProvider> OAuthProviderFor(const QString& configIni, TSignInHandler signIn)
{
    TOAuthSettings settings = LoadOAuthSettings(configIni);
    if (!settings.enabled)
        return nullptr;
    return std::make_shared<TOAuthTokenProvider>(std::move(settings), TTokenStore(configIni), std::move(signIn));
}

TOAuthTokens CommandLineSignInRequired()
{
    throw EOAuthSignInRequired(Tx(3523, "Die Anmeldung bei Ihrem E-Mail-Anbieter ist abgelaufen oder wurde widerrufen. "
                                        "Bitte melden Sie sich mit „kalvex oauth login“ neu an."));
}

}  // namespace kalvex
