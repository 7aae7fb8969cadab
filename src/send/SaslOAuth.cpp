#include "send/SaslOAuth.h"

#include "config/LanguageUnit.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace kalvex {

namespace {

class TOAuthBearerMechanism : public TOAuthMechanism {
public:
    TOAuthBearerMechanism(QString user, QString token, QString host, uint16_t port)
        : TOAuthMechanism(std::move(user), std::move(token)), FHost(std::move(host)), FPort(port) {}
    QByteArray Name() const override { return "OAUTHBEARER"; }
    std::optional<QByteArray> InitialResponse() override
    {
        return "n,a=" + gs2Name() + ",\x01host=" + FHost.toUtf8() + "\x01port=" + QByteArray::number(FPort)
             + "\x01" "auth=Bearer " + FToken.toUtf8() + "\x01\x01";
    }

protected:
    QByteArray dummyResponse() const override { return "\x01"; }

private:
    // RFC 5801: "," and "=" in the authorisation identity are escaped.
    QByteArray gs2Name() const { return FUser.toUtf8().replace("=", "=3D").replace(",", "=2C"); }
    QString FHost;
    uint16_t FPort;
};

class TXOAuth2Mechanism : public TOAuthMechanism {
public:
    using TOAuthMechanism::TOAuthMechanism;
    QByteArray Name() const override { return "XOAUTH2"; }
    std::optional<QByteArray> InitialResponse() override
    {
        return "user=" + FUser.toUtf8() + "\x01" "auth=Bearer " + FToken.toUtf8() + "\x01\x01";
    }

protected:
    QByteArray dummyResponse() const override { return {}; }
};

}  // namespace

TOAuthChallenge ParseOAuthChallenge(const QByteArray& json)
{
    const QJsonObject o = QJsonDocument::fromJson(json).object();
    return {o.value(QStringLiteral("status")).toVariant().toString(), o.value(QStringLiteral("scope")).toString()};
}

// The only challenge a token mechanism gets is the refusal; it is answered
// with the dummy response so that the server ends the exchange.
QByteArray TOAuthMechanism::Respond(const QByteArray& challenge)
{
    FRefusal = ParseOAuthChallenge(challenge);
    return dummyResponse();
}

std::vector<std::unique_ptr<TSaslMechanism>> CreateOAuthMechanisms(const QString& user, const QString& token,
                                                                   const QString& host, uint16_t port)
{
    std::vector<std::unique_ptr<TSaslMechanism>> list;
    list.push_back(std::make_unique<TOAuthBearerMechanism>(user, token, host, port));
    list.push_back(std::make_unique<TXOAuth2Mechanism>(user, token));
    return list;
}

QString OAuthRefusalText(const std::optional<TOAuthChallenge>& refusal, const QString& serverReply)
{
    QString text = Tx(3500, "Der SMTP-Server hat die Anmeldung mit OAuth 2.0 abgelehnt.");
    if (refusal && !refusal->status.isEmpty())
        text += QLatin1Char(' ') + Tx(3501, "Status %1, verlangte Berechtigung: %2")
                                       .arg(refusal->status, refusal->scope.isEmpty() ? QStringLiteral("-") : refusal->scope);
    text += QLatin1Char(' ') + Tx(3502, "Bitte prüfen Sie, ob SMTP-Versand für das Postfach erlaubt ist, und melden "
                                        "Sie sich gegebenenfalls neu an.");
    return text + QLatin1Char(' ') + Tx(2603, "Antwort des Servers: %1").arg(serverReply);
}

}  // namespace kalvex
