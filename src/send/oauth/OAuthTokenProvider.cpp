#include "send/oauth/OAuthTokenProvider.h"

#include "config/LanguageUnit.h"
#include "config/UserMessages.h"

namespace kalvex {

TOAuthTokenProvider::TOAuthTokenProvider(TOAuthSettings settings, TTokenStore store, TSignInHandler signIn)
    : FSettings(std::move(settings)), FStore(std::move(store)), FSignIn(std::move(signIn)), FLock(FStore.ConfigIni())
{
}

// The secret store is asked only when a mail is about to go out.
void TOAuthTokenProvider::loadStored()
{
    if (FLoaded)
        return;
    FLoaded = true;
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
    loadStored();
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

// The lock is held from reading the stored token until the new one is
// stored, so no two processes present the same refresh token.
void TOAuthTokenProvider::Refresh(std::function<void(std::exception_ptr)> done)
{
    FLock.Acquire([this, done] {
        if (adoptStored()) {
            FLock.Release();
            return done(nullptr);
        }
        RefreshOAuthTokens(FNetwork, FSettings, FTokens.refreshToken, [this, done](const TOAuthTokens& tokens, std::exception_ptr error) {
            refreshed(tokens, error);
            FLock.Release();
            done(error);
        });
    });
}

// Another process may have refreshed (and the provider rotated the token)
// while this one waited: its refresh token is the good one now, and its
// access token, when new and with time left, makes a refresh unneeded.
bool TOAuthTokenProvider::adoptStored()
{
    loadStored();
    const TStoredSignIn stored = FStore.Load();
    if (stored.refreshToken.isEmpty() || stored.refreshToken == FTokens.refreshToken)
        return false;
    FTokens.refreshToken = stored.refreshToken;
    FTokens.user = FStoredUser = stored.user;
    if (stored.accessToken.isEmpty() || stored.accessToken == FTokens.accessToken
        || stored.accessExpires <= QDateTime::currentDateTimeUtc().addSecs(kRefreshMarginSecs))
        return false;
    FTokens.accessToken = stored.accessToken;
    FTokens.expiresAt = stored.accessExpires;
    return true;
}

// A refused grant is gone for good: its token is no sign-in any more.
void TOAuthTokenProvider::refreshed(const TOAuthTokens& tokens, std::exception_ptr error)
{
    try {
        if (error)
            std::rethrow_exception(error);
        Take(tokens);
    } catch (const EOAuthSignInRequired&) {
        FStore.Remove();
        FTokens = {};
        FStoredUser.clear();
    } catch (const EKalvex&) {
    }
}

// A provider that rotates refresh tokens (Microsoft) sends a new one each
// time; the old one may stop working, so the new one is kept at once.
void TOAuthTokenProvider::Take(const TOAuthTokens& tokens)
{
    loadStored();
    const QString refreshToken = tokens.refreshToken.isEmpty() ? FTokens.refreshToken : tokens.refreshToken;
    const bool newRefresh = refreshToken != FTokens.refreshToken;
    const QString user = tokens.user.isEmpty() ? FTokens.user : tokens.user;
    FTokens = tokens;
    FTokens.refreshToken = refreshToken;
    FTokens.user = user;
    if (!refreshToken.isEmpty() && (newRefresh || user != FStoredUser))
        FStore.Save(FTokens.refreshToken, FTokens.user, FTokens.accessToken, FTokens.expiresAt);
    FStoredUser = user;
}

TOAuthTokenProvider* TOAuthAccount::Current()
{
    const TOAuthSettings settings = LoadOAuthSettings(FConfigIni);
    if (!settings.enabled) {
        FProvider.reset();
        return nullptr;
    }
    if (!FProvider || !(settings == FSettings))
        FProvider = std::make_unique<TOAuthTokenProvider>(settings, TTokenStore(FConfigIni), FSignInFor(settings));
    FSettings = settings;
    return FProvider.get();
}

namespace {

QString sessionOnlyQuestion(const TOAuthTokens& tokens, const TOAuthSettings& settings)
{
    return Tx(4610, "%1 hat keine dauerhafte Anmeldung erteilt (kein Refresh-Token). Trotzdem nur für diese Sitzung "
                    "angemeldet senden?").arg(ProviderDisplayName(settings.provider))
        + (tokens.grantedScope.isEmpty() ? QString() : QStringLiteral(" (") + ProviderText(tokens.grantedScope) + QLatin1Char(')'));
}

}  // namespace

// A sign-in without refresh token may serve this session when the user
// says so; Take keeps it from the store.
TSignInHandler InteractiveSignIn(IUserMessages& messages, const TOAuthSettings& settings, TBrowserOpener open)
{
    return [&messages, settings, open] {
        if (!messages.AskYesNo(Tx(3546, "Die Anmeldung bei %1 ist abgelaufen oder wurde widerrufen. Jetzt im Browser neu "
                                        "anmelden?").arg(ProviderDisplayName(settings.provider))))
            throw EOAuthSignInRequired(Tx(3507, "Die Anmeldung bei Ihrem E-Mail-Anbieter ist abgelaufen oder wurde "
                                                "widerrufen. Bitte melden Sie sich neu an."));
        const TOAuthTokens tokens = SignInWithBrowser(settings, open, 300000, TRefreshNeed::SessionAllowed);
        if (tokens.refreshToken.isEmpty() && !messages.AskYesNo(sessionOnlyQuestion(tokens, settings)))
            RequireRefreshToken(tokens, settings);
        return tokens;
    };
}

TOAuthTokens CommandLineSignInRequired()
{
    throw EOAuthSignInRequired(Tx(3523, "Die Anmeldung bei Ihrem E-Mail-Anbieter ist abgelaufen oder wurde widerrufen. "
                                        "Bitte melden Sie sich mit „kalvex oauth login“ neu an."));
}

}  // namespace kalvex
