#pragma once
// Tokens of the OAuth 2.0 sign-in and the calls to the provider's endpoints
// (token, device code, UserInfo, discovery, revocation), asynchronous over
// QNetworkAccessManager.

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
    QString user;          // from the id_token, else UserInfo
    QString grantedScope;  // the answer's scope (RFC 6749 §5.1); empty: as asked
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

// Answers beyond this are aborted: no provider sends that much.
constexpr qint64 kMaxOAuthAnswerBytes = 256 * 1024;

// A token response; the refresh token stays the old one when the server
// sends none (Google does not rotate it).
TOAuthTokens TokensFromResponse(const QJsonObject& response, const QString& previousRefreshToken);
// The user named by the claims of an id_token or a UserInfo answer (email,
// preferred_username, upn).
QString UserFromIdToken(const QString& idToken);
QString UserFromClaims(const QJsonObject& claims);
// A sign-in must leave a refresh token behind; raises EOAuthFailed naming
// the scopes the provider granted instead.
void RequireRefreshToken(const TOAuthTokens& tokens, const TOAuthSettings& settings);
// Refuses an answer that names its granted scope without the scopes asked
// for sending (identity scopes aside): raises EOAuthFailed naming them.
void RequireMailScope(const TOAuthTokens& tokens, const TOAuthSettings& settings);

// Text from the provider made fit to show: no control characters (they
// would drive the terminal), at most maxChars.
QString ProviderText(const QString& text, int maxChars = 200);

// One call to an OAuth endpoint; done gets the JSON answer or the reason.
using TOAuthReply = std::function<void(const QJsonObject& answer, std::exception_ptr error)>;
// A POST with the client's authentication (HTTP Basic or in the body).
// required names the member a good answer must carry; null for none
// (revocation answers with an empty body).
void PostOAuthForm(QNetworkAccessManager& network, const TOAuthSettings& settings, const QString& url, QUrlQuery form,
                   TOAuthReply done, const char* required = "access_token");
// A GET of a JSON document (discovery; UserInfo with a bearer token).
void GetOAuthJson(QNetworkAccessManager& network, const QString& url, const QString& bearer, TOAuthReply done);

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
