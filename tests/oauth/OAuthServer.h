#pragma once
// Starts the OAuth test server (oauth_server.py on oauthlib) on 127.0.0.1
// for one test, and plays the user's browser against it.

#include "smtp/SmtpServer.h"
#include "send/oauth/OAuthSignIn.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>

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
    void InvalidateAccessTokens() { call("POST", "/control/expire-access"); }

private:
    QJsonObject call(const QByteArray& verb, const QString& path)
    {
        QNetworkAccessManager network;
        QNetworkRequest request(QUrl(Base() + path));
        QNetworkReply* reply = verb == "GET" ? network.get(request) : network.post(request, QByteArray());
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
// once) and follows its redirect to the loopback address. rewrite may
// change the address first, as an attacker in between would.
class TestBrowser {
public:
    explicit TestBrowser(std::function<QUrl(QUrl)> rewrite = {}) : FRewrite(std::move(rewrite)) {}
    TBrowserOpener Opener()
    {
        return [this](const QUrl& url) {
            FOpened << url;
            QNetworkRequest request(FRewrite ? FRewrite(url) : url);
            request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
            QNetworkReply* reply = FNetwork.get(request);
            QObject::connect(reply, &QNetworkReply::finished, reply, &QObject::deleteLater);
            return true;
        };
    }
    const QList<QUrl>& Opened() const { return FOpened; }

private:
    std::function<QUrl(QUrl)> FRewrite;
    QNetworkAccessManager FNetwork;
    QList<QUrl> FOpened;
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
