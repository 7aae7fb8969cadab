#pragma once
// Starts the OAuth test server (oauth_server.py on oauthlib) on 127.0.0.1
// for one test, and plays the user's browser against it.

#include "smtp/SmtpServer.h"
#include "send/oauth/OAuthSignIn.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>
#include <QUrlQuery>

namespace kalvex::testing {

class OAuthServer {
public:
    explicit OAuthServer(QStringList args = {})
    {
        App();
        FProcess.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        FProcess.start("/usr/bin/python3", QStringList{SourceDir() + "/tests/oauth/oauth_server.py"} + args);
        FProcess.waitForStarted(10000);
        for (int i = 0; i < 100 && FPort == 0 && FProcess.state() != QProcess::NotRunning; ++i) {
            FProcess.waitForReadyRead(200);
            const QByteArray line = FProcess.readLine();
            if (line.startsWith("READY "))
                FPort = static_cast<quint16>(line.mid(6).trimmed().toInt());
        }
    }
    ~OAuthServer()
    {
        FProcess.kill();
        FProcess.waitForFinished(5000);
    }
    bool Running() const { return FPort != 0; }
    QString Base() const { return QStringLiteral("http://127.0.0.1:%1").arg(FPort); }

    TOAuthSettings Settings() const
    {
        TOAuthSettings s;
        s.enabled = true;
        s.provider = TOAuthProvider::Custom;
        s.clientId = QStringLiteral("kalvex-test-client");
        s.scopes = QStringLiteral("https://mail.google.com/ openid");
        s.authorizationUrl = Base() + "/authorize";
        s.tokenUrl = Base() + "/token";
        s.deviceUrl = Base() + "/devicecode";
        return s;
    }

    // How often each grant was used, and how often the SMTP peer asked.
    int Count(const char* what) { return call("GET", "/control/stats").value(what).toInt(); }
    void RevokeRefreshTokens() { call("POST", "/control/revoke-refresh"); }
    // The next token request gets this answer instead of a token.
    void NextTokenAnswer(int status, const QByteArray& body, const QByteArray& type = "application/json")
    {
        call("POST", "/control/next-token-answer",
             QJsonDocument(QJsonObject{{"status", status}, {"body", QString::fromUtf8(body)}, {"content_type", QString::fromLatin1(type)}}).toJson());
    }
    // ... or a valid token answer of this many bytes.
    void NextTokenFlood(int bytes) { call("POST", "/control/next-token-answer", QJsonDocument(QJsonObject{{"flood", bytes}}).toJson()); }
    void InvalidateAccessTokens() { call("POST", "/control/expire-access"); }

private:
    QJsonObject call(const QByteArray& verb, const QString& path, const QByteArray& body = {})
    {
        QNetworkAccessManager network;
        QNetworkRequest request(QUrl(Base() + path));
        request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
        QNetworkReply* reply = verb == "GET" ? network.get(request) : network.post(request, body);
        QEventLoop loop;
        QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
        loop.exec();
        reply->deleteLater();
        return QJsonDocument::fromJson(reply->readAll()).object();
    }

    QProcess FProcess;
    quint16 FPort = 0;
};

// The user's browser: fetches the sign-in page (the server approves at
// once) and follows its redirect to the loopback address. plan may change
// the address first, as an attacker in between would, or visit other
// addresses before it; they are fetched one after the other.
class TestBrowser {
public:
    struct Page {
        int status = 0;
        QString body;
    };
    using TPlan = std::function<QList<QUrl>(const QUrl&)>;
    explicit TestBrowser(TPlan plan = {}) : FPlan(std::move(plan)) {}
    TBrowserOpener Opener()
    {
        return [this](const QUrl& url) {
            FOpened << url;
            visit(FPlan ? FPlan(url) : QList<QUrl>{url});
            return true;
        };
    }
    const QList<QUrl>& Opened() const { return FOpened; }
    // What the browser showed at the end of each visit; waits until it has
    // seen count pages (the sign-in may return before the page arrived).
    const QList<Page>& Pages(int count = 0)
    {
        for (int i = 0; i < 500 && FPages.size() < count; ++i) {
            QEventLoop wait;
            QTimer::singleShot(20, &wait, &QEventLoop::quit);
            wait.exec();
        }
        return FPages;
    }
    // The redirect address of the sign-in it was asked to open.
    static QUrl RedirectOf(const QUrl& url, const QString& query)
    {
        QUrl redirect(QUrlQuery(url).queryItemValue("redirect_uri", QUrl::FullyDecoded));
        redirect.setQuery(query);
        return redirect;
    }

private:
    void visit(QList<QUrl> urls)
    {
        if (urls.isEmpty())
            return;
        QNetworkRequest request(urls.takeFirst());
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
        QNetworkReply* reply = FNetwork.get(request);
        QObject::connect(reply, &QNetworkReply::finished, reply, [this, reply, urls] {
            FPages << Page{reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(), QString::fromUtf8(reply->readAll())};
            reply->deleteLater();
            visit(urls);
        });
    }

    TPlan FPlan;
    QNetworkAccessManager FNetwork;
    QList<QUrl> FOpened;
    QList<Page> FPages;
};

// The user on another device: opens the address and enters the code.
class TestDeviceUser {
public:
    TDevicePrompt Prompt()
    {
        return [this](const QString& uri, const QString& code) {
            FShown = {uri, code};
            QNetworkReply* reply = FNetwork.get(QNetworkRequest(QUrl(uri + "?user_code=" + code)));
            QObject::connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
        };
    }
    QPair<QString, QString> Shown() const { return FShown; }

private:
    QNetworkAccessManager FNetwork;
    QPair<QString, QString> FShown;
};

}  // namespace kalvex::testing
