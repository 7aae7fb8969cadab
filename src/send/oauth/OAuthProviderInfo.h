#pragma once
// What a provider tells beyond the tokens: its UserInfo and revocation
// endpoints (presets, or OpenID discovery for an own provider), the
// signed-in account from UserInfo, and the revocation of a refresh token
// at sign-out (RFC 7009).

#include "send/oauth/OAuthTokens.h"

namespace kalvex {

struct TProviderEndpoints {
    QString userInfo;
    QString revocation;
};

// The preset's endpoints, else those of /.well-known/openid-configuration;
// none when discovery fails (both are optional).
void FindProviderEndpoints(QNetworkAccessManager& network, const TOAuthSettings& settings,
                           std::function<void(const TProviderEndpoints&)> done);

// When the id_token named no e-mail address (the provider delivers the
// claims through UserInfo, OpenID Connect Core §5.4), asks UserInfo.
// Never fails: the account stays as it was when UserInfo cannot tell.
void CompleteUser(QNetworkAccessManager& network, const TOAuthSettings& settings, const TOAuthTokens& tokens,
                  std::function<void(const TOAuthTokens&)> done);

// Revokes the refresh token at the provider. done gets false when the
// provider has no revocation endpoint, or the reason it failed.
void RevokeRefreshToken(QNetworkAccessManager& network, const TOAuthSettings& settings, const QString& refreshToken,
                        std::function<void(bool revoked, std::exception_ptr error)> done);

}  // namespace kalvex
