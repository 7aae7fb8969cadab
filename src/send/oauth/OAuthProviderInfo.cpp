#include "send/oauth/OAuthProviderInfo.h"

#include <QNetworkAccessManager>

namespace kalvex {

namespace {

// An endpoint from discovery, unless it would go out in clear.
QString safeMember(const QJsonObject& document, const char* name)
{
    const QString url = document.value(QLatin1String(name)).toString();
    return IsSafeEndpoint(url) ? url : QString();
}

}  // namespace

void FindProviderEndpoints(QNetworkAccessManager& network, const TOAuthSettings& s,
                           std::function<void(const TProviderEndpoints&)> done)
{
    if (s.provider != TOAuthProvider::Custom || s.DiscoveryUrl().isEmpty())
        return done({s.UserInfoEndpoint(), s.RevocationEndpoint()});
    GetOAuthJson(network, s.DiscoveryUrl(), QString(), [done](const QJsonObject& document, std::exception_ptr error) {
        done(error ? TProviderEndpoints{}
                   : TProviderEndpoints{safeMember(document, "userinfo_endpoint"), safeMember(document, "revocation_endpoint")});
    });
}

void CompleteUser(QNetworkAccessManager& network, const TOAuthSettings& s, const TOAuthTokens& tokens,
                  std::function<void(const TOAuthTokens&)> done)
{
    if (tokens.user.contains(QLatin1Char('@')))
        return done(tokens);
    FindProviderEndpoints(network, s, [&network, tokens, done](const TProviderEndpoints& endpoints) {
        if (endpoints.userInfo.isEmpty())
            return done(tokens);
        GetOAuthJson(network, endpoints.userInfo, tokens.accessToken, [tokens, done](const QJsonObject& claims, std::exception_ptr error) {
            TOAuthTokens completed = tokens;
            if (!error && !UserFromClaims(claims).isEmpty())
                completed.user = UserFromClaims(claims);
            done(completed);
        });
    });
}

void RevokeRefreshToken(QNetworkAccessManager& network, const TOAuthSettings& s, const QString& refreshToken,
                        std::function<void(bool, std::exception_ptr)> done)
{
    FindProviderEndpoints(network, s, [&network, s, refreshToken, done](const TProviderEndpoints& endpoints) {
        if (endpoints.revocation.isEmpty() || refreshToken.isEmpty())
            return done(false, nullptr);
        QUrlQuery form;
        form.addQueryItem(QStringLiteral("token"), refreshToken);
        form.addQueryItem(QStringLiteral("token_type_hint"), QStringLiteral("refresh_token"));
        PostOAuthForm(network, s, endpoints.revocation, form,
                      [done](const QJsonObject&, std::exception_ptr error) { done(!error, error); }, nullptr);
    });
}

}  // namespace kalvex
