#include "send/oauth/OAuthSignIn.h"

#include "config/LanguageUnit.h"
#include "config/ShellOpen.h"

#include <QCryptographicHash>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

namespace kalvex {

namespace {

QString randomToken(int bytes)
{
    QByteArray raw(bytes, Qt::Uninitialized);
    QRandomGenerator::system()->generate(raw.begin(), raw.end());
    return QString::fromLatin1(raw.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

QByteArray httpPage(int status, const QString& text)
{
    const QByteArray body = "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>Kalvex</title></head><body><p>"
                          + text.toHtmlEscaped().toUtf8() + "</p></body></html>";
    return "HTTP/1.1 " + QByteArray::number(status) + (status == 200 ? " OK" : " Bad Request")
         + "\r\nContent-Type: text/html; charset=utf-8\r\nConnection: close\r\nContent-Length: "
         + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

// Waits for the browser's redirect to http://127.0.0.1:<port>/ and trades
// the code for tokens: listening, exchanging, done.
class TLoopbackSignIn : public QObject {
public:
    explicit TLoopbackSignIn(const TOAuthSettings& settings) : FSettings(settings), FVerifier(NewCodeVerifier()) {}

    void Start(const TBrowserOpener& open, int timeoutMs)
    {
        if (!FServer.listen(QHostAddress::LocalHost, 0))
            return finish(EOAuthFailed(Tx(3510, "Für die Anmeldung konnte kein lokaler Port geöffnet werden: %1")
                                           .arg(FServer.errorString())));
        connect(&FServer, &QTcpServer::newConnection, this, &TLoopbackSignIn::onConnection);
        FTimer.setSingleShot(true);
        connect(&FTimer, &QTimer::timeout, this, [this] {
            finish(EOAuthFailed(Tx(3511, "Die Anmeldung im Browser wurde nicht rechtzeitig abgeschlossen.")));
        });
        FTimer.start(timeoutMs);
        if (!open(authorizationUrl()))
            finish(EOAuthFailed(Tx(3512, "Der Browser für die Anmeldung konnte nicht geöffnet werden.")));
    }
    TOAuthTokens Result(QEventLoop& loop)
    {
        FLoop = &loop;
        if (!FDone)
            loop.exec();
        if (FError)
            std::rethrow_exception(FError);
        return FTokens;
    }

private:
    QString redirectUri() const { return QStringLiteral("http://127.0.0.1:%1/").arg(FServer.serverPort()); }

    QUrl authorizationUrl() const
    {
        QUrlQuery q;
        q.addQueryItem(QStringLiteral("response_type"), QStringLiteral("code"));
        q.addQueryItem(QStringLiteral("client_id"), FSettings.clientId);
        q.addQueryItem(QStringLiteral("redirect_uri"), redirectUri());
        AddScope(q, FSettings);
        q.addQueryItem(QStringLiteral("state"), FState);
        q.addQueryItem(QStringLiteral("code_challenge"), CodeChallengeS256(FVerifier));
        q.addQueryItem(QStringLiteral("code_challenge_method"), QStringLiteral("S256"));
        if (FSettings.provider == TOAuthProvider::Google)   // else Google gives no refresh token the second time
            q.addQueryItem(QStringLiteral("access_type"), QStringLiteral("offline"));
        QUrl url(FSettings.AuthorizationEndpoint());
        url.setQuery(q.query(QUrl::FullyEncoded).replace(QLatin1Char('+'), QStringLiteral("%2B")), QUrl::StrictMode);
        return url;
    }

    void onConnection()
    {
        while (QTcpSocket* socket = FServer.nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onRequest(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    }

    // One GET per connection; anything but the redirect (a favicon) is
    // answered and ignored.
    void onRequest(QTcpSocket* socket)
    {
        if (!socket->canReadLine() || FExchanging || FDone)
            return;
        const QList<QByteArray> requestLine = socket->readLine().simplified().split(' ');
        const QUrlQuery query(QUrl(QString::fromLatin1(requestLine.value(1))).query());
        if (query.hasQueryItem(QStringLiteral("error")))
            return refuse(socket, query.queryItemValue(QStringLiteral("error_description"), QUrl::FullyDecoded)
                                      + QLatin1Char(' ') + query.queryItemValue(QStringLiteral("error")));
        if (!query.hasQueryItem(QStringLiteral("code")))
            return reply(socket, httpPage(400, QStringLiteral("-")));
        if (query.queryItemValue(QStringLiteral("state")) != FState)
            return refuse(socket, Tx(3513, "Die Antwort des Anmeldedienstes gehört nicht zu dieser Anmeldung."));
        reply(socket, httpPage(200, Tx(3514, "Die Anmeldung ist abgeschlossen. Sie können dieses Fenster schließen.")));
        exchange(query.queryItemValue(QStringLiteral("code"), QUrl::FullyDecoded));
    }

    void refuse(QTcpSocket* socket, const QString& why)
    {
        const QString text = Tx(3515, "Die Anmeldung ist fehlgeschlagen: %1").arg(why.trimmed());
        reply(socket, httpPage(400, text));
        finish(EOAuthFailed(text));
    }

    static void reply(QTcpSocket* socket, const QByteArray& bytes)
    {
        socket->write(bytes);
        socket->disconnectFromHost();
    }

    void exchange(const QString& code)
    {
        FExchanging = true;
        QUrlQuery form = ClientForm(FSettings);
        form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("authorization_code"));
        form.addQueryItem(QStringLiteral("code"), code);
        form.addQueryItem(QStringLiteral("redirect_uri"), redirectUri());
        form.addQueryItem(QStringLiteral("code_verifier"), FVerifier);
        QPointer<TLoopbackSignIn> self(this);
        PostOAuthForm(FNetwork, FSettings.TokenEndpoint(), form, [self](const QJsonObject& answer, std::exception_ptr error) {
            if (!self)
                return;
            self->FTokens = error ? TOAuthTokens{} : TokensFromResponse(answer, QString());
            self->finishWith(error);
        });
    }

    template <class E>
    void finish(const E& error) { finishWith(std::make_exception_ptr(error)); }
    void finishWith(std::exception_ptr error)
    {
        if (FDone)
            return;
        FDone = true;
        FError = error;
        FTimer.stop();
        if (FLoop)
            FLoop->quit();
    }

    TOAuthSettings FSettings;
    QString FVerifier;
    QString FState = randomToken(16);
    QTcpServer FServer;
    QTimer FTimer;
    QNetworkAccessManager FNetwork;
    QEventLoop* FLoop = nullptr;
    bool FExchanging = false;
    bool FDone = false;
    std::exception_ptr FError;
    TOAuthTokens FTokens;
};

// RFC 8628: ask for a user code, show it, then poll the token endpoint at
// the interval the server names until the user has approved.
class TDeviceSignIn : public QObject {
public:
    explicit TDeviceSignIn(const TOAuthSettings& settings) : FSettings(settings)
    {
        FPoll.setSingleShot(true);
        connect(&FPoll, &QTimer::timeout, this, &TDeviceSignIn::poll);
    }

    TOAuthTokens Run(const TDevicePrompt& prompt)
    {
        QUrlQuery form = ClientForm(FSettings);
        AddScope(form, FSettings);
        PostOAuthForm(FNetwork, FSettings.DeviceEndpoint(), form, [this, prompt](const QJsonObject& a, std::exception_ptr e) {
            e ? finishWith(e) : started(a, prompt);
        });
        if (!FDone)
            FLoop.exec();
        if (FError)
            std::rethrow_exception(FError);
        return FTokens;
    }

private:
    // Google names the address verification_url, RFC 8628 verification_uri.
    void started(const QJsonObject& a, const TDevicePrompt& prompt)
    {
        FDeviceCode = a.value(QLatin1String("device_code")).toString();
        FIntervalMs = std::max(1, a.value(QLatin1String("interval")).toInt(5)) * 1000;
        const QString uri = a.value(QLatin1String("verification_uri")).toString(a.value(QLatin1String("verification_url")).toString());
        prompt(uri, a.value(QLatin1String("user_code")).toString());
        FPoll.start(FIntervalMs);
    }

    void poll()
    {
        QUrlQuery form = ClientForm(FSettings);
        form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("urn:ietf:params:oauth:grant-type:device_code"));
        form.addQueryItem(QStringLiteral("device_code"), FDeviceCode);
        PostOAuthForm(FNetwork, FSettings.TokenEndpoint(), form, [this](const QJsonObject& a, std::exception_ptr e) { polled(a, e); });
    }

    void polled(const QJsonObject& answer, std::exception_ptr error)
    {
        const QString code = answer.value(QLatin1String("error")).toString();
        if (code == QLatin1String("slow_down"))
            FIntervalMs += 5000;
        if (code == QLatin1String("authorization_pending") || code == QLatin1String("slow_down"))
            return FPoll.start(FIntervalMs);
        if (code == QLatin1String("access_denied") || code == QLatin1String("expired_token"))
            return finishWith(std::make_exception_ptr(EOAuthFailed(
                code == QLatin1String("access_denied") ? Tx(3516, "Die Anmeldung wurde abgelehnt.")
                                                       : Tx(3517, "Der Anmeldecode ist abgelaufen. Bitte starten Sie die Anmeldung neu."))));
        FTokens = error ? TOAuthTokens{} : TokensFromResponse(answer, QString());
        finishWith(error);
    }

    void finishWith(std::exception_ptr error)
    {
        FDone = true;
        FError = error;
        FLoop.quit();
    }

    TOAuthSettings FSettings;
    QNetworkAccessManager FNetwork;
    QEventLoop FLoop;
    QTimer FPoll;
    QString FDeviceCode;
    int FIntervalMs = 5000;
    bool FDone = false;
    std::exception_ptr FError;
    TOAuthTokens FTokens;
};

}  // namespace

QString NewCodeVerifier()
{
    return randomToken(48);   // 64 characters of [A-Za-z0-9_-]
}

QString CodeChallengeS256(const QString& verifier)
{
    const QByteArray digest = QCryptographicHash::hash(verifier.toLatin1(), QCryptographicHash::Sha256);
    return QString::fromLatin1(digest.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

TBrowserOpener SystemBrowser()
{
    return [](const QUrl& url) { return OpenWithShell(url); };
}

TOAuthTokens SignInWithBrowser(const TOAuthSettings& settings, const TBrowserOpener& open, int timeoutMs)
{
    if (const QString missing = settings.Incomplete(); !missing.isEmpty())
        throw EKalvex(missing);
    QEventLoop loop;
    TLoopbackSignIn signIn(settings);
    signIn.Start(open, timeoutMs);
    return signIn.Result(loop);
}

TOAuthTokens SignInWithDevice(const TOAuthSettings& settings, const TDevicePrompt& prompt)
{
    if (const QString missing = settings.Incomplete(); !missing.isEmpty())
        throw EKalvex(missing);
    if (settings.DeviceEndpoint().isEmpty())
        throw EKalvex(Tx(3518, "Für den eingestellten Anmeldedienst ist keine Geräte-Anmeldung (Device Code) eingetragen."));
    TDeviceSignIn signIn(settings);
    return signIn.Run(prompt);
}

}  // namespace kalvex
