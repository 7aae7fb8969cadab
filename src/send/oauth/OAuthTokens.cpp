#include "send/oauth/OAuthTokens.h"

#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace kalvex {

namespace {

constexpr int kHttpTimeoutMs = 30000;

// application/x-www-form-urlencoded with every reserved character escaped
// ("+" would otherwise arrive as a blank).
QByteArray formBody(const QUrlQuery& form)
{
    QByteArrayList pairs;
    for (const auto& [key, value] : form.queryItems(QUrl::FullyDecoded))
        pairs << QUrl::toPercentEncoding(key) + '=' + QUrl::toPercentEncoding(value);
    return pairs.join('&');
}

QString text(const QJsonObject& o, const char* key)
{
    return o.value(QLatin1String(key)).toString();
}

// invalid_grant is the one answer that asks for a new sign-in.
std::exception_ptr refusal(const QJsonObject& answer, int status)
{
    const QString error = text(answer, "error");
    if (error == QLatin1String("invalid_grant"))
        return std::make_exception_ptr(EOAuthSignInRequired(
            Tx(3507, "Die Anmeldung bei Ihrem E-Mail-Anbieter ist abgelaufen oder wurde widerrufen. Bitte melden Sie sich neu an.")));
    const QString detail = error.isEmpty() ? QStringLiteral("HTTP %1").arg(status)
                                           : error + QLatin1Char(' ') + text(answer, "error_description");
    return std::make_exception_ptr(EOAuthFailed(Tx(3508, "Der Anmeldedienst hat die Anfrage abgelehnt: %1").arg(detail.trimmed())));
}

void finishReply(QNetworkReply* reply, const TOAuthReply& done)
{
    reply->deleteLater();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QJsonObject answer = QJsonDocument::fromJson(reply->readAll()).object();
    if (status == 0)
        return done({}, std::make_exception_ptr(EOAuthFailed(
                            Tx(3509, "Der Anmeldedienst %1 ist nicht erreichbar: %2").arg(reply->url().host(), reply->errorString()))));
    if (status != 200 || answer.contains(QLatin1String("error")))
        return done(answer, refusal(answer, status));
    done(answer, nullptr);
}

}  // namespace

QString UserFromIdToken(const QString& idToken)
{
    const QByteArray payload = QByteArray::fromBase64(idToken.section(QLatin1Char('.'), 1, 1).toLatin1(),
                                                      QByteArray::Base64UrlEncoding);
    const QJsonObject claims = QJsonDocument::fromJson(payload).object();
    for (const char* claim : {"email", "preferred_username", "upn"})
        if (!text(claims, claim).isEmpty())
            return text(claims, claim);
    return {};
}

TOAuthTokens TokensFromResponse(const QJsonObject& r, const QString& previousRefreshToken)
{
    TOAuthTokens t;
    t.accessToken = text(r, "access_token");
    const int lifetime = r.value(QLatin1String("expires_in")).toVariant().toInt();
    t.expiresAt = QDateTime::currentDateTimeUtc().addSecs(lifetime > 0 ? lifetime : 3600);
    t.refreshToken = text(r, "refresh_token").isEmpty() ? previousRefreshToken : text(r, "refresh_token");
    t.user = UserFromIdToken(text(r, "id_token"));
    TLogFile::RegisterSecret(t.accessToken);
    TLogFile::RegisterSecret(t.refreshToken);
    return t;
}

void PostOAuthForm(QNetworkAccessManager& network, const QString& url, QUrlQuery form, TOAuthReply done)
{
    QNetworkRequest request{QUrl(url)};
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/x-www-form-urlencoded"));
    request.setRawHeader("Accept", "application/json");
    request.setTransferTimeout(kHttpTimeoutMs);
    QNetworkReply* reply = network.post(request, formBody(form));
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, done] { finishReply(reply, done); });
}

QUrlQuery ClientForm(const TOAuthSettings& s)
{
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("client_id"), s.clientId);
    if (!s.clientSecret.isEmpty())
        form.addQueryItem(QStringLiteral("client_secret"), s.clientSecret);
    return form;
}

void AddScope(QUrlQuery& query, const TOAuthSettings& settings)
{
    if (!settings.EffectiveScopes().isEmpty())
        query.addQueryItem(QStringLiteral("scope"), settings.EffectiveScopes());
}

void RefreshOAuthTokens(QNetworkAccessManager& network, const TOAuthSettings& s, const QString& refreshToken,
                        std::function<void(const TOAuthTokens&, std::exception_ptr)> done)
{
    QUrlQuery form = ClientForm(s);
    form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("refresh_token"));
    form.addQueryItem(QStringLiteral("refresh_token"), refreshToken);
    AddScope(form, s);
    PostOAuthForm(network, s.TokenEndpoint(), form, [refreshToken, done](const QJsonObject& answer, std::exception_ptr error) {
        done(error ? TOAuthTokens{} : TokensFromResponse(answer, refreshToken), error);
    });
}

void WaitFor(const std::function<void(std::function<void()> finished)>& start)
{
    QEventLoop loop;
    bool done = false;
    start([&] {
        done = true;
        loop.quit();
    });
    if (!done)
        loop.exec();
}

}  // namespace kalvex
