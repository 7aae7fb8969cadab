#include "send/oauth/OAuthSignIn.h"

#include "config/LanguageUnit.h"
#include "config/ShellOpen.h"
#include "send/oauth/DevicePoll.h"
#include "send/oauth/OAuthProviderInfo.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QProcess>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <optional>

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

// The query of a redirect: form-encoded (RFC 6749 Appendix B), so "+" is a blank.
QUrlQuery redirectQuery(const QByteArray& target)
{
    QByteArray query = target.mid(target.indexOf('?') + 1);
    return QUrlQuery(QString::fromLatin1(query.replace('+', "%20")));
}

QString queryText(const QUrlQuery& q, const char* key)
{
    return q.queryItemValue(QLatin1String(key), QUrl::FullyDecoded);
}

// Waits for the browser's redirect to http://127.0.0.1:<port>/ and trades
// the code for tokens: listening, exchanging, done. The browser's page
// tells the outcome once it is known.
class TLoopbackSignIn : public QObject {
public:
    TLoopbackSignIn(const TOAuthSettings& settings, TRefreshNeed need)
        : FSettings(settings), FNeed(need), FVerifier(NewCodeVerifier()) {}

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
        if (FSettings.provider == TOAuthProvider::Google)
            q.addQueryItem(QStringLiteral("access_type"), QStringLiteral("offline"));
        // Without consent OpenID providers drop offline_access (OpenID
        // Connect Core §11) and Google gives no refresh token after the first time.
        if (FSettings.AsksOfflineAccess())
            q.addQueryItem(QStringLiteral("prompt"), QStringLiteral("consent"));
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

    // One GET per connection. Requests without this sign-in's state (a
    // favicon, another page's redirect) are answered and change nothing
    // (RFC 6749 §10.12).
    void onRequest(QTcpSocket* socket)
    {
        if (!socket->canReadLine() || socket->property("answered").toBool())
            return;
        socket->setProperty("answered", true);
        const QList<QByteArray> requestLine = socket->readLine().simplified().split(' ');
        const QUrlQuery query = redirectQuery(requestLine.value(1));
        if (FExchanging || FDone || queryText(query, "state") != FState)
            return reply(socket, httpPage(400, Tx(3513, "Die Antwort des Anmeldedienstes gehört nicht zu dieser Anmeldung.")));
        if (query.hasQueryItem(QStringLiteral("error")))
            return refuse(socket, queryText(query, "error_description") + QLatin1Char(' ') + queryText(query, "error"));
        if (!query.hasQueryItem(QStringLiteral("code")))
            return reply(socket, httpPage(400, QStringLiteral("-")));
        FPage = socket;
        exchange(queryText(query, "code"));
    }

    void refuse(QTcpSocket* socket, const QString& why)
    {
        const QString text = failureText(ProviderText(why.trimmed()));
        reply(socket, httpPage(400, text));
        finish(EOAuthFailed(text));
    }

    static QString failureText(const QString& why) { return Tx(3515, "Die Anmeldung ist fehlgeschlagen: %1").arg(why); }

    // The page is in the kernel's hands before the sign-in returns and the
    // socket goes; the unread rest of the request is taken so that closing
    // does not reset the connection.
    static void reply(QTcpSocket* socket, const QByteArray& bytes)
    {
        socket->readAll();
        socket->write(bytes);
        socket->flush();
        socket->disconnectFromHost();
    }

    void exchange(const QString& code)
    {
        FExchanging = true;
        QUrlQuery form;
        form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("authorization_code"));
        form.addQueryItem(QStringLiteral("code"), code);
        form.addQueryItem(QStringLiteral("redirect_uri"), redirectUri());
        form.addQueryItem(QStringLiteral("code_verifier"), FVerifier);
        QPointer<TLoopbackSignIn> self(this);
        PostOAuthForm(FNetwork, FSettings, FSettings.TokenEndpoint(), form, [self](const QJsonObject& answer, std::exception_ptr error) {
            if (self)
                self->exchanged(answer, error);
        });
    }

    void exchanged(const QJsonObject& answer, std::exception_ptr error)
    {
        if (error)
            return answered(error);
        try {
            const TOAuthTokens tokens = TokensFromResponse(answer, QString());
            if (FNeed == TRefreshNeed::Required)
                RequireRefreshToken(tokens, FSettings);
            RequireMailScope(tokens, FSettings);
            QPointer<TLoopbackSignIn> self(this);
            CompleteUser(FNetwork, FSettings, tokens, [self](const TOAuthTokens& completed) {
                if (self) {
                    self->FTokens = completed;
                    self->answered(nullptr);
                }
            });
        } catch (const EKalvex&) {
            answered(std::current_exception());
        }
    }

    // The browser's page tells what happened, then the sign-in ends.
    void answered(std::exception_ptr error)
    {
        QString why;
        try {
            if (error)
                std::rethrow_exception(error);
        } catch (const EKalvex& e) {
            why = e.message();
        }
        if (FPage)
            reply(FPage, why.isEmpty() ? httpPage(200, Tx(3514, "Die Anmeldung ist abgeschlossen. Sie können dieses Fenster schließen."))
                                       : httpPage(400, failureText(why)));
        finishWith(error);
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
    TRefreshNeed FNeed;
    QString FVerifier;
    QString FState = randomToken(16);
    QTcpServer FServer;   // owns the browser's sockets
    QTimer FTimer;
    QNetworkAccessManager FNetwork;
    QEventLoop* FLoop = nullptr;
    QPointer<QTcpSocket> FPage;   // the redirect's connection, answered after the exchange
    bool FExchanging = false;
    bool FDone = false;
    std::exception_ptr FError;
    TOAuthTokens FTokens;
};

// RFC 8628: ask for a user code, show it, then poll the token endpoint at
// the pace the server names until the user has approved or the code expired.
class TDeviceSignIn : public QObject {
public:
    explicit TDeviceSignIn(const TOAuthSettings& settings) : FSettings(settings)
    {
        FPoll.setSingleShot(true);
        FPoll.setTimerType(Qt::PreciseTimer);   // a coarse timer may fire 5 % early
        connect(&FPoll, &QTimer::timeout, this, &TDeviceSignIn::poll);
        FClock.start();
    }

    TOAuthTokens Run(const TDevicePrompt& prompt)
    {
        QUrlQuery form;
        AddScope(form, FSettings);
        PostOAuthForm(
            FNetwork, FSettings, FSettings.DeviceEndpoint(), form,
            [this, prompt](const QJsonObject& a, std::exception_ptr e) { e ? finishWith(e) : started(a, prompt); }, "device_code");
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
        FSchedule.emplace(a, FClock.elapsed());
        const QString uri = a.value(QLatin1String("verification_uri")).toString(a.value(QLatin1String("verification_url")).toString());
        prompt(ProviderText(uri, 500), ProviderText(a.value(QLatin1String("user_code")).toString(), 40));
        scheduleNext();
    }

    void scheduleNext()
    {
        const qint64 delay = FSchedule->DelayMs(FClock.elapsed());
        if (delay < 0)
            return fail(Tx(3517, "Der Anmeldecode ist abgelaufen. Bitte starten Sie die Anmeldung neu."));
        FPoll.start(static_cast<int>(delay));
    }

    void poll()
    {
        FSchedule->Polled(FClock.elapsed());
        QUrlQuery form;
        form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("urn:ietf:params:oauth:grant-type:device_code"));
        form.addQueryItem(QStringLiteral("device_code"), FDeviceCode);
        PostOAuthForm(FNetwork, FSettings, FSettings.TokenEndpoint(), form, [this](const QJsonObject& a, std::exception_ptr e) { polled(a, e); });
    }

    void polled(const QJsonObject& answer, std::exception_ptr error)
    {
        const QString code = answer.value(QLatin1String("error")).toString();
        if (code == QLatin1String("slow_down"))
            FSchedule->SlowDown();
        if (code == QLatin1String("authorization_pending") || code == QLatin1String("slow_down"))
            return scheduleNext();
        if (code == QLatin1String("access_denied"))
            return fail(Tx(3516, "Die Anmeldung wurde abgelehnt."));
        if (code == QLatin1String("expired_token"))
            return fail(Tx(3517, "Der Anmeldecode ist abgelaufen. Bitte starten Sie die Anmeldung neu."));
        if (error)
            return finishWith(error);
        granted(TokensFromResponse(answer, QString()));
    }

    void granted(const TOAuthTokens& tokens)
    {
        try {
            RequireRefreshToken(tokens, FSettings);
            RequireMailScope(tokens, FSettings);
        } catch (const EKalvex&) {
            return finishWith(std::current_exception());
        }
        CompleteUser(FNetwork, FSettings, tokens, [this](const TOAuthTokens& completed) {
            FTokens = completed;
            finishWith(nullptr);
        });
    }

    void fail(const QString& text) { finishWith(std::make_exception_ptr(EOAuthFailed(text))); }
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
    QElapsedTimer FClock;   // monotonic
    std::optional<TDevicePollSchedule> FSchedule;
    QString FDeviceCode;
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

// $BROWSER is a list of commands separated by ":", "%s" standing for the
// address (the convention of sensible-browser); else xdg-open.
TBrowserOpener ExternalBrowser()
{
    return [](const QUrl& url) {
        const QString address = url.toString(QUrl::FullyEncoded);
        for (const QString& command : qEnvironmentVariable("BROWSER").split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
            QStringList words = QProcess::splitCommand(command);
            if (words.isEmpty())
                continue;
            if (!command.contains(QLatin1String("%s")))
                words << address;
            for (QString& word : words)
                word.replace(QLatin1String("%s"), address);
            if (QProcess::startDetached(words.takeFirst(), words))
                return true;
        }
        return QProcess::startDetached(QStringLiteral("xdg-open"), {address});
    };
}

TOAuthTokens SignInWithBrowser(const TOAuthSettings& settings, const TBrowserOpener& open, int timeoutMs, TRefreshNeed need)
{
    if (const QString missing = settings.Incomplete(); !missing.isEmpty())
        throw EKalvex(missing);
    QEventLoop loop;
    TLoopbackSignIn signIn(settings, need);   // its listener lives until the sign-in ended
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
