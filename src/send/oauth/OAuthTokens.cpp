#include "send/oauth/OAuthTokens.h"

#include "config/ControlCharacters.h"
#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <algorithm>

namespace kalvex {

namespace {

constexpr int kHttpTimeoutMs = 30000;
const char* const kTooLarge = "kalvexTooLarge";

QByteArray formEncoded(const QString& text)
{
    return QUrl::toPercentEncoding(text).replace("%20", "+");
}

// application/x-www-form-urlencoded with every reserved character escaped
// ("+" would otherwise arrive as a blank).
QByteArray formBody(const QUrlQuery& form)
{
    QByteArrayList pairs;
    for (const auto& [key, value] : form.queryItems(QUrl::FullyDecoded))
        pairs << formEncoded(key) + '=' + formEncoded(value);
    return pairs.join('&');
}

QString text(const QJsonObject& o, const char* key)
{
    return o.value(QLatin1String(key)).toString();
}

// A confidential client with Basic: id and secret form-encoded before
// base64 (RFC 6749 §2.3.1), and neither in the body. Else both in the body.
void authenticate(QNetworkRequest& request, QUrlQuery& form, const TOAuthSettings& s)
{
    if (s.clientSecret.isEmpty() || s.clientAuth == TOAuthClientAuth::Body) {
        form.addQueryItem(QStringLiteral("client_id"), s.clientId);
        if (!s.clientSecret.isEmpty())
            form.addQueryItem(QStringLiteral("client_secret"), s.clientSecret);
        return;
    }
    const QByteArray pair = formEncoded(s.clientId) + ':' + formEncoded(s.clientSecret);
    request.setRawHeader("Authorization", "Basic " + pair.toBase64());
}

QString excerpt(const QByteArray& body)
{
    return ProviderText(QString::fromUtf8(body.left(400)).simplified(), 120);
}

// invalid_grant is the one answer that asks for a new sign-in.
std::exception_ptr refusal(const QJsonObject& answer, int status, const QByteArray& body)
{
    const QString error = ProviderText(text(answer, "error"), 60);
    if (error == QLatin1String("invalid_grant"))
        return std::make_exception_ptr(EOAuthSignInRequired(
            Tx(3507, "Die Anmeldung bei Ihrem E-Mail-Anbieter ist abgelaufen oder wurde widerrufen. Bitte melden Sie sich neu an.")));
    const QString detail = error.isEmpty() ? QStringLiteral("HTTP %1: %2").arg(status).arg(excerpt(body))
                                           : error + QLatin1Char(' ') + ProviderText(text(answer, "error_description"));
    return std::make_exception_ptr(EOAuthFailed(Tx(3508, "Der Anmeldedienst hat die Anfrage abgelehnt: %1").arg(detail.trimmed())));
}

std::exception_ptr unusable(int status, const QByteArray& body)
{
    return std::make_exception_ptr(EOAuthFailed(
        Tx(4601, "Der Anmeldedienst hat eine unbrauchbare Antwort gegeben (HTTP %1): %2").arg(status).arg(excerpt(body))));
}

void finishReply(QNetworkReply* reply, const char* required, const TOAuthReply& done)
{
    reply->deleteLater();
    if (reply->property(kTooLarge).toBool())
        return done({}, std::make_exception_ptr(EOAuthFailed(
                            Tx(4602, "Die Antwort des Anmeldedienstes ist zu groß (mehr als %1 kB).").arg(kMaxOAuthAnswerBytes / 1024))));
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QByteArray body = reply->readAll();
    const QJsonDocument json = QJsonDocument::fromJson(body);
    const QJsonObject answer = json.object();
    if (status == 0)
        return done({}, std::make_exception_ptr(EOAuthFailed(
                            Tx(3509, "Der Anmeldedienst %1 ist nicht erreichbar: %2").arg(reply->url().host(), reply->errorString()))));
    if (status != 200 || answer.contains(QLatin1String("error")))
        return done(answer, refusal(answer, status, body));
    if (required && (!json.isObject() || text(answer, required).isEmpty()))
        return done({}, unusable(status, body));
    done(answer, nullptr);
}

// Aborts an answer that announces or reaches more than the cap, before it
// fills the memory.
void watch(QNetworkReply* reply, const char* required, TOAuthReply done)
{
    QObject::connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received, qint64 total) {
        if (received > kMaxOAuthAnswerBytes || total > kMaxOAuthAnswerBytes) {
            reply->setProperty(kTooLarge, true);
            reply->abort();
        }
    });
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, required, done] { finishReply(reply, required, done); });
}

QNetworkRequest jsonRequest(const QString& url)
{
    QNetworkRequest request{QUrl(url)};
    request.setRawHeader("Accept", "application/json");
    request.setTransferTimeout(kHttpTimeoutMs);
    return request;
}

}  // namespace

QString ProviderText(const QString& raw, int maxChars)
{
    QString out;
    for (const QChar c : raw)
        if (!IsControlCharacter(c) && c != QLatin1Char('\t'))
            out += c;
    return out.size() > maxChars ? out.left(maxChars) + QStringLiteral("…") : out;
}

QString UserFromClaims(const QJsonObject& claims)
{
    for (const char* claim : {"email", "preferred_username", "upn"})
        if (!text(claims, claim).isEmpty())
            return ProviderText(text(claims, claim));
    return {};
}

QString UserFromIdToken(const QString& idToken)
{
    const QByteArray payload = QByteArray::fromBase64(idToken.section(QLatin1Char('.'), 1, 1).toLatin1(),
                                                      QByteArray::Base64UrlEncoding);
    return UserFromClaims(QJsonDocument::fromJson(payload).object());
}

TOAuthTokens TokensFromResponse(const QJsonObject& r, const QString& previousRefreshToken)
{
    TOAuthTokens t;
    t.accessToken = text(r, "access_token");
    const qint64 lifetime = r.value(QLatin1String("expires_in")).toVariant().toLongLong();
    t.expiresAt = QDateTime::currentDateTimeUtc().addSecs(lifetime > 0 ? std::min<qint64>(lifetime, 86400 * 365) : 3600);
    t.refreshToken = text(r, "refresh_token").isEmpty() ? previousRefreshToken : text(r, "refresh_token");
    t.user = UserFromIdToken(text(r, "id_token"));
    t.grantedScope = text(r, "scope").simplified();
    TLogFile::RegisterSecret(t.accessToken);
    TLogFile::RegisterSecret(t.refreshToken);
    return t;
}

// OpenID providers drop offline_access without consent (OpenID Connect
// Core §11) and answer with a narrower scope and no refresh token.
void RequireRefreshToken(const TOAuthTokens& tokens, const TOAuthSettings& settings)
{
    if (!tokens.refreshToken.isEmpty())
        return;
    const QString granted = tokens.grantedScope.isEmpty() ? settings.EffectiveScopes() : tokens.grantedScope;
    throw EOAuthFailed(Tx(4603, "Der Anmeldedienst hat keine dauerhafte Anmeldung erteilt (kein Refresh-Token; erteilte "
                                "Berechtigungen: %1). Die gespeicherte Anmeldung bleibt unverändert.")
                           .arg(ProviderText(granted)));
}

namespace {

// Scopes that name the person, not what the token may do.
bool isIdentityScope(const QString& scope)
{
    static const QStringList identity{QStringLiteral("openid"), QStringLiteral("email"), QStringLiteral("profile"),
                                      QStringLiteral("offline_access")};
    return identity.contains(scope, Qt::CaseInsensitive);
}

// The last part of a scope's address, so that ".../SMTP.Send" answered as
// "SMTP.Send" still counts.
QString scopeTail(QString scope)
{
    while (scope.endsWith(QLatin1Char('/')))
        scope.chop(1);
    return scope.section(QLatin1Char('/'), -1).toLower();
}

bool isGranted(const QStringList& granted, const QString& asked)
{
    return std::any_of(granted.begin(), granted.end(), [&](const QString& g) {
        return g.compare(asked, Qt::CaseInsensitive) == 0 || scopeTail(g) == scopeTail(asked);
    });
}

}  // namespace

// A provider that lets the user untick permissions on its consent page
// (Google's granular consent) answers with what was granted; a token
// without the mail scope would only fail later, at the server, with 535.
void RequireMailScope(const TOAuthTokens& tokens, const TOAuthSettings& settings)
{
    if (tokens.grantedScope.isEmpty())
        return;   // granted as asked (RFC 6749 §5.1)
    const QStringList granted = tokens.grantedScope.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QStringList missing;
    for (const QString& asked : settings.EffectiveScopes().split(QLatin1Char(' '), Qt::SkipEmptyParts))
        if (!isIdentityScope(asked) && !isGranted(granted, asked))
            missing << asked;
    if (missing.isEmpty())
        return;
    throw EOAuthFailed(Tx(4611, "Der Anmeldedienst hat das Senden von E-Mails nicht erlaubt (fehlende Berechtigung: %1; "
                                "erteilt: %2). Bitte melden Sie sich erneut an und erlauben Sie dabei den Zugriff auf "
                                "E-Mails. Die gespeicherte Anmeldung bleibt unverändert.")
                           .arg(ProviderText(missing.join(QLatin1Char(' '))), ProviderText(tokens.grantedScope)));
}

void PostOAuthForm(QNetworkAccessManager& network, const TOAuthSettings& settings, const QString& url, QUrlQuery form,
                   TOAuthReply done, const char* required)
{
    QNetworkRequest request = jsonRequest(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/x-www-form-urlencoded"));
    authenticate(request, form, settings);
    watch(network.post(request, formBody(form)), required, std::move(done));
}

void GetOAuthJson(QNetworkAccessManager& network, const QString& url, const QString& bearer, TOAuthReply done)
{
    QNetworkRequest request = jsonRequest(url);
    if (!bearer.isEmpty())
        request.setRawHeader("Authorization", "Bearer " + bearer.toLatin1());
    watch(network.get(request), nullptr, std::move(done));
}

void AddScope(QUrlQuery& query, const TOAuthSettings& settings)
{
    if (!settings.EffectiveScopes().isEmpty())
        query.addQueryItem(QStringLiteral("scope"), settings.EffectiveScopes());
}

void RefreshOAuthTokens(QNetworkAccessManager& network, const TOAuthSettings& s, const QString& refreshToken,
                        std::function<void(const TOAuthTokens&, std::exception_ptr)> done)
{
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("refresh_token"));
    form.addQueryItem(QStringLiteral("refresh_token"), refreshToken);
    AddScope(form, s);
    PostOAuthForm(network, s, s.TokenEndpoint(), form, [refreshToken, done](const QJsonObject& answer, std::exception_ptr error) {
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
