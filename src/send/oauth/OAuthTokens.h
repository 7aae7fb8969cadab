#pragma once
// Tokens of the OAuth 2.0 sign-in and the calls to the token endpoint
// (code, refresh, device code), asynchronous over QNetworkAccessManager.

#include "config/KalvexError.h"
#include "send/oauth/OAuthSettings.h"

#include <QDateTime>
#include <QJsonObject>
#include <QUrlQuery>
#include <functional>

class QNetworkAccessManager;

namespace kalvex {

struct TOAuthTokens {
    QString accessToken;
    QDateTime expiresAt;   // UTC
    QString refreshToken;
    QString user;          // from the id_token, else the token response
};

// The refresh token is no longer good (revoked, expired, password changed):
// only a new sign-in helps.
class EOAuthSignInRequired : public EKalvex {
    using EKalvex::EKalvex;
};

// The token endpoint refused, or could not be reached.
class EOAuthFailed : public EKalvex {
    using EKalvex::EKalvex;
};

// A token response; the refresh token stays the old one when the server
// sends none (Google does not rotate it).
TOAuthTokens TokensFromResponse(const QJsonObject& response, const QString& previousRefreshToken);
// The user named by the id_token's claims (email, preferred_username, upn).
QString UserFromIdToken(const QString& idToken);

// One POST to an OAuth endpoint; done gets the JSON answer or the reason.
using TOAuthReply = std::function<void(const QJsonObject& answer, std::exception_ptr error)>;
void PostOAuthForm(QNetworkAccessManager& network, const QString& url, QUrlQuery form, TOAuthReply done);

// The form parameters every token request of this client carries.
QUrlQuery ClientForm(const TOAuthSettings& settings);

// The scope parameter, left out when no scopes are set (a bare "scope" is
// a malformed request).
void AddScope(QUrlQuery& query, const TOAuthSettings& settings);

// Trades the refresh token for new tokens.
void RefreshOAuthTokens(QNetworkAccessManager& network, const TOAuthSettings& settings, const QString& refreshToken,
                        std::function<void(const TOAuthTokens&, std::exception_ptr)> done);

// Waits in a local event loop for an asynchronous call that reports
// through finished; the windows keep repainting.
void WaitFor(const std::function<void(std::function<void()> finished)>& start);

}  // namespace kalvex
