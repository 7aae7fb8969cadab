#pragma once
// The settings dialog's sign-in group: "Passwort" or "OAuth 2.0 (Microsoft
// 365, Google)", the provider with its client ID and tenant (or own
// endpoints), the "Anmelden" button and who is signed in.

#include "config/UserMessages.h"
#include "send/oauth/OAuthSignIn.h"

#include <QGroupBox>

class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace kalvex {

class TOAuthGroup : public QGroupBox {
    Q_OBJECT

public:
    // messages must outlive the group.
    TOAuthGroup(IUserMessages& messages, QWidget* parent);

    void Load(const QString& configIni);
    void Save() const;   // raises EKalvex when config.ini cannot be written
    TOAuthSettings Settings() const;
    bool IsOAuth() const;
    // The browser of the sign-in; the desktop's unless a test sets another.
    void SetBrowser(TBrowserOpener open) { FOpen = std::move(open); }

    // "Anmelden": the browser sign-in with the values shown; the refresh
    // token is kept at once.
    void btAnmeldenClick();
    void methodChanged();

    QRadioButton* rbPasswort;
    QRadioButton* rbOAuth;
    QComboBox* cbProvider;
    QLineEdit* edClientId;
    QLineEdit* edClientSecret;
    QLineEdit* edTenant;
    QLineEdit* edAuthorizationUrl;
    QLineEdit* edTokenUrl;
    QLineEdit* edScopes;   // empty: the provider's own
    QPushButton* btAnmelden;
    QLabel* lbAngemeldet;

private:
    void buildControls();
    void showSignedIn(const QString& user);
    QLineEdit* addField(QFormLayout* form, const QString& label);

    IUserMessages& FMessages;
    TBrowserOpener FOpen = SystemBrowser();
    QString FConfigIni;
    QList<QWidget*> FOAuthControls;
    TOAuthSettings FStored;   // as last loaded; the base of Settings()
};

}  // namespace kalvex
