#include "ui/OAuthGroup.h"

#include "config/LanguageUnit.h"
#include "send/oauth/OAuthTokenProvider.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

namespace kalvex {

TOAuthGroup::TOAuthGroup(IUserMessages& messages, QWidget* parent)
    : QGroupBox(Tx(3547, "Anmeldung am SMTP-Server"), parent), FMessages(messages)
{
    setObjectName(QStringLiteral("gbOAuth"));
    buildControls();
    methodChanged();
}

QLineEdit* TOAuthGroup::addField(QFormLayout* form, const QString& label)
{
    auto* edit = new QLineEdit(this);
    form->addRow(label, edit);
    FOAuthControls << edit << form->labelForField(edit);
    return edit;
}

void TOAuthGroup::buildControls()
{
    auto* form = new QFormLayout(this);
    rbPasswort = new QRadioButton(Tx(3539, "Passwort"), this);
    rbOAuth = new QRadioButton(Tx(3548, "OAuth 2.0 (Microsoft 365, Google)"), this);
    rbPasswort->setChecked(true);
    auto* choice = new QButtonGroup(this);
    choice->addButton(rbPasswort);
    choice->addButton(rbOAuth);
    form->addRow(rbPasswort, rbOAuth);
    cbProvider = new QComboBox(this);
    for (TOAuthProvider p : {TOAuthProvider::Microsoft, TOAuthProvider::Google, TOAuthProvider::Custom})
        cbProvider->addItem(ProviderDisplayName(p), static_cast<int>(p));
    form->addRow(Tx(3549, "Anbieter"), cbProvider);
    FOAuthControls << cbProvider << form->labelForField(cbProvider);
    edClientId = addField(form, Tx(3550, "Client-ID*"));
    edClientSecret = addField(form, Tx(3551, "Client-Geheimnis (nur Google)"));
    edTenant = addField(form, Tx(3552, "Mandant (nur Microsoft)"));
    edAuthorizationUrl = addField(form, Tx(3553, "Autorisierungs-Adresse"));
    edTokenUrl = addField(form, Tx(3554, "Token-Adresse"));
    edScopes = addField(form, Tx(3557, "Berechtigungen (Scopes)"));
    btAnmelden = new QPushButton(Tx(3555, "Anmelden"), this);
    lbAngemeldet = new QLabel(this);
    auto* row = new QHBoxLayout;
    row->addWidget(btAnmelden);
    row->addWidget(lbAngemeldet, 1);
    form->addRow(QString(), row);
    FOAuthControls << btAnmelden << lbAngemeldet;
    connect(choice, &QButtonGroup::buttonClicked, this, [this] { methodChanged(); });
    connect(cbProvider, &QComboBox::currentIndexChanged, this, [this] { methodChanged(); });
    connect(btAnmelden, &QPushButton::clicked, this, [this] { btAnmeldenClick(); });
    showSignedIn(QString());
}

// Only what the chosen provider uses can be edited.
void TOAuthGroup::methodChanged()
{
    for (QWidget* w : FOAuthControls)
        w->setEnabled(IsOAuth());
    const auto provider = static_cast<TOAuthProvider>(cbProvider->currentData().toInt());
    edTenant->setEnabled(IsOAuth() && provider == TOAuthProvider::Microsoft);
    edAuthorizationUrl->setEnabled(IsOAuth() && provider == TOAuthProvider::Custom);
    edTokenUrl->setEnabled(IsOAuth() && provider == TOAuthProvider::Custom);
    TOAuthSettings preset;
    preset.provider = provider;
    edScopes->setPlaceholderText(preset.EffectiveScopes());   // what an empty field means
}

bool TOAuthGroup::IsOAuth() const
{
    return rbOAuth->isChecked();
}

void TOAuthGroup::Load(const QString& configIni)
{
    FConfigIni = configIni;
    const TOAuthSettings s = LoadOAuthSettings(configIni);
    (s.enabled ? rbOAuth : rbPasswort)->setChecked(true);
    cbProvider->setCurrentIndex(cbProvider->findData(static_cast<int>(s.provider)));
    edClientId->setText(s.clientId);
    edClientSecret->setText(s.clientSecret);
    edTenant->setText(s.tenant);
    edAuthorizationUrl->setText(s.authorizationUrl);
    edTokenUrl->setText(s.tokenUrl);
    edScopes->setText(s.scopes);
    FStored = s;
    showSignedIn(TTokenStore(configIni).Load().user);
    methodChanged();
}

TOAuthSettings TOAuthGroup::Settings() const
{
    TOAuthSettings s = FStored;   // what the group does not show (device URL, issuer, client authentication) stays
    s.enabled = IsOAuth();
    s.provider = static_cast<TOAuthProvider>(cbProvider->currentData().toInt());
    s.clientId = edClientId->text().trimmed();
    s.clientSecret = edClientSecret->text().trimmed();
    s.tenant = edTenant->text().trimmed();
    s.authorizationUrl = edAuthorizationUrl->text().trimmed();
    s.tokenUrl = edTokenUrl->text().trimmed();
    s.scopes = edScopes->text().simplified();
    return s;
}

void TOAuthGroup::Save() const
{
    if (!FConfigIni.isEmpty())
        SaveOAuthSettings(FConfigIni, Settings());
}

void TOAuthGroup::btAnmeldenClick()
{
    try {
        const TOAuthSettings s = Settings();
        TOAuthTokenProvider tokens(s, TTokenStore(FConfigIni), {});
        tokens.Take(SignInWithBrowser(s, FOpen));
        showSignedIn(tokens.User());
    } catch (const std::exception& e) {
        FMessages.ShowError(QString::fromUtf8(e.what()));
    }
}

// For XOAUTH2 the mailbox is the sender address; the name here is the
// account the provider signed in.
void TOAuthGroup::showSignedIn(const QString& user)
{
    lbAngemeldet->setText(user.isEmpty() ? Tx(3521, "nicht angemeldet") : Tx(3556, "Angemeldet als %1").arg(user));
}

}  // namespace kalvex
