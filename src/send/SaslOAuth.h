#pragma once
// SASL with an OAuth 2.0 access token instead of a password: OAUTHBEARER
// (RFC 7628) and Google's and Microsoft's XOAUTH2. A refused token comes
// back as a base64 JSON challenge; the client answers with the dummy
// response (an empty line, or 0x01) and then reads the final 535.

#include "send/SaslMechanisms.h"

#include <QString>
#include <exception>
#include <functional>

namespace kalvex {

// Where the session gets its access token. Refresh is asynchronous: the
// session keeps its event loop running and goes on when done is called
// (with null on success, else the reason).
class IAccessTokenProvider {
public:
    virtual ~IAccessTokenProvider() = default;
    virtual QString AccessToken() const = 0;
    virtual void Refresh(std::function<void(std::exception_ptr)> done) = 0;
};

// The fields of the providers' error challenge.
struct TOAuthChallenge {
    QString status;
    QString scope;
};
TOAuthChallenge ParseOAuthChallenge(const QByteArray& json);

// The mechanism that carries a token; remembers the error challenge.
class TOAuthMechanism : public TSaslMechanism {
public:
    TOAuthMechanism(QString user, QString token) : FUser(std::move(user)), FToken(std::move(token)) {}
    QByteArray Respond(const QByteArray& challenge) override;
    const std::optional<TOAuthChallenge>& Refusal() const { return FRefusal; }

protected:
    virtual QByteArray dummyResponse() const = 0;
    QString FUser;
    QString FToken;

private:
    std::optional<TOAuthChallenge> FRefusal;
};

// OAUTHBEARER first (the standard), then XOAUTH2 (all Microsoft offers).
std::vector<std::unique_ptr<TSaslMechanism>> CreateOAuthMechanisms(const QString& user, const QString& token,
                                                                   const QString& host, uint16_t port);

// The German text for a token the server refused.
QString OAuthRefusalText(const std::optional<TOAuthChallenge>& refusal, const QString& serverReply);

}  // namespace kalvex
