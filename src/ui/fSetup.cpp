#include "ui/fSetup.h"

#include "config/ControlCharacters.h"
#include "config/LanguageUnit.h"
#include "config/uConfig.h"
#include "mailinterface/EMail.h"
#include "send/MailingRun.h"
#include "ui/PacingGroupBox.h"
#include "ui/OAuthGroup.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDateTime>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QVBoxLayout>

namespace kalvex {

TFormSetup::TFormSetup(IUserMessages& messages, QWidget* parent) : QDialog(parent), FMessages(messages)
{
    setObjectName(QStringLiteral("FormSetup"));
    buildControls();
    translateCaptions();
    rgVersandartClick();
}

void TFormSetup::buildControls()
{
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(buildHeader());
    // Grouped in tabs as mail programs do, so the dialog and its buttons fit
    // a laptop screen.
    tabs = new QTabWidget(this);
    tabs->setObjectName(QStringLiteral("tabsSetup"));
    auto* server = new QWidget(tabs);
    auto* serverColumn = new QVBoxLayout(server);
    serverColumn->addWidget(buildVersandart());
    serverColumn->addWidget(buildSmtpGroup());
    serverColumn->addStretch(1);
    tabs->addTab(server, QString());
    auto* pace = new QWidget(tabs);
    auto* paceColumn = new QVBoxLayout(pace);
    paceColumn->addWidget(gbPacing = new TPacingGroupBox(pace));
    paceColumn->addStretch(1);
    tabs->addTab(pace, QString());
    auto* login = new QWidget(tabs);
    auto* loginColumn = new QVBoxLayout(login);
    loginColumn->addWidget(gbOAuth = new TOAuthGroup(FMessages, login));
    loginColumn->addWidget(gbLogin);
    loginColumn->addStretch(1);
    tabs->addTab(login, QString());
    layout->addWidget(tabs, 1);
    auto* buttons = new QDialogButtonBox(this);
    btOK = buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
    btCancel = buttons->addButton(QString(), QDialogButtonBox::RejectRole);
    btHelp = buttons->addButton(QString(), QDialogButtonBox::HelpRole);
    connect(btOK, &QPushButton::clicked, this, &QDialog::accept);
    connect(btCancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(btHelp, &QPushButton::clicked, this, [] {
        if (const TConfig* config = TConfig::Instance())
            config->Help().ShowTopic(QStringLiteral("einstellungen.html"));
    });
    layout->addWidget(buttons);
}

QWidget* TFormSetup::buildHeader()
{
    auto* header = new QWidget(this);
    auto* box = new QVBoxLayout(header);
    lbTitle = new QLabel(header);
    QFont bold = lbTitle->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.3);
    lbTitle->setFont(bold);
    lbDescription = new QLabel(header);
    box->addWidget(lbTitle);
    box->addWidget(lbDescription);
    return header;
}

QGroupBox* TFormSetup::buildVersandart()
{
    gbVersandart = new QGroupBox(this);
    auto* box = new QVBoxLayout(gbVersandart);
    rbStandardClient = new QRadioButton(gbVersandart);
    rbDirekt = new QRadioButton(gbVersandart);
    rgVersandart = new QButtonGroup(this);
    rgVersandart->addButton(rbStandardClient, 0);
    rgVersandart->addButton(rbDirekt, 1);
    rbStandardClient->setChecked(true);
    box->addWidget(rbStandardClient);
    box->addWidget(rbDirekt);
    connect(rgVersandart, &QButtonGroup::idClicked, this, [this] { rgVersandartClick(); });
    return gbVersandart;
}

QGroupBox* TFormSetup::buildSmtpGroup()
{
    gbSMTP = new QGroupBox(QStringLiteral("SMTP"), this);
    auto* form = new QFormLayout(gbSMTP);
    EdAbsender = new QLineEdit(gbSMTP);
    EdAbsenderName = new QLineEdit(gbSMTP);
    EdPass = new QLineEdit(gbSMTP);
    EdPass->setEchoMode(QLineEdit::Password);
    EdPass->setReadOnly(true);
    EdPass->installEventFilter(this);
    btChangePass = new QPushButton(gbSMTP);
    auto* passRow = new QHBoxLayout;
    passRow->addWidget(EdPass, 1);
    passRow->addWidget(btChangePass);
    edSMTPFQDN = new QLineEdit(gbSMTP);
    EdPort = new QLineEdit(gbSMTP);
    chkEncodedConnection = new QCheckBox(gbSMTP);
    btTestConnection = new QPushButton(gbSMTP);
    chkExtraUser = new QCheckBox(gbSMTP);
    edUsername = new QLineEdit(gbSMTP);
    edUsername->setEnabled(false);
    lbAbsender = new QLabel(gbSMTP);
    lbAbsenderName = new QLabel(gbSMTP);
    lbPass = new QLabel(gbSMTP);
    lbHost = new QLabel(gbSMTP);
    lbPort = new QLabel(gbSMTP);
    lbUsername = new QLabel(gbSMTP);
    form->addRow(lbAbsender, EdAbsender);
    form->addRow(lbAbsenderName, EdAbsenderName);
    form->addRow(lbHost, edSMTPFQDN);
    form->addRow(lbPort, EdPort);
    form->addRow(QString(), chkEncodedConnection);
    form->addRow(QString(), btTestConnection);
    // Password and user name sit on the sign-in tab, beside OAuth.
    gbLogin = new QGroupBox(this);
    auto* loginForm = new QFormLayout(gbLogin);
    loginForm->addRow(lbPass, passRow);
    loginForm->addRow(QString(), chkExtraUser);
    loginForm->addRow(lbUsername, edUsername);
    connect(btChangePass, &QPushButton::clicked, this, [this] { btChangePassClick(); });
    connect(EdAbsender, &QLineEdit::textChanged, this, [this] { EdAbsenderChange(); });
    connect(edUsername, &QLineEdit::textChanged, this, [this] { EdAbsenderChange(); });
    connect(chkExtraUser, &QCheckBox::toggled, this, [this] { chkExtraUserClick(); });
    connect(btTestConnection, &QPushButton::clicked, this, [this] { btTestConnectionClick(); });
    return gbSMTP;
}

void TFormSetup::translateCaptions()
{
    setWindowTitle(Tx(1840, "Einstellungen"));
    lbTitle->setText(Tx(1840, "Einstellungen"));
    lbDescription->setText(Tx(1841, "Hier können Sie Versandart, Absender und SMTP-Server einstellen."));
    gbVersandart->setTitle(Tx(1842, "Versandart"));
    tabs->setTabText(0, Tx(4501, "Versand und Server"));
    tabs->setTabText(1, Tx(4502, "Versandtempo"));
    tabs->setTabText(2, Tx(4503, "Anmeldung"));
    gbLogin->setTitle(Tx(4504, "Passwort und Nutzername"));
    rbStandardClient->setText(Tx(1843, "über Standard-E-Mail-Programm"));
    rbDirekt->setText(Tx(1844, "direkt"));
    lbAbsender->setText(Tx(1845, "Absender-Adresse*"));
    lbAbsenderName->setText(Tx(1846, "Absender-Name (optional)"));
    lbPass->setText(EdPass->isReadOnly() ? Tx(190, "Passwort* (gesperrt)") : Tx(345, "Passwort*"));
    btChangePass->setText(Tx(1847, "ändern"));
    lbHost->setText(Tx(1848, "SMTP-Server (FQDN oder IP)*"));
    lbPort->setText(Tx(1849, "Port*"));
    chkEncodedConnection->setText(Tx(1850, "verschlüsselter Verbindungsaufbau"));
    btTestConnection->setText(Tx(1851, "Verbindung testen"));
    lbUsername->setText(Tx(1852, "Nutzername*"));
    chkExtraUser->setText(Tx(1853, "Nutzername entspricht nicht Absenderadresse"));
    btOK->setText(Tx(1854, "OK"));
    btCancel->setText(Tx(1855, "Abbrechen"));
    btHelp->setText(Tx(1856, "Hilfe"));
}

void TFormSetup::Initialize(const TConfig& config)
{
    (config.FVersandart == TVersandArt::vaDirekt ? rbDirekt : rbStandardClient)->setChecked(true);
    EdAbsender->setText(config.FUser);
    EdAbsenderName->setText(config.FAbsenderName);
    EdPass->setText(config.FPass);
    edSMTPFQDN->setText(config.FHost);
    EdPort->setText(QString::number(config.FPort));
    chkEncodedConnection->setChecked(config.FVerbindungVerschluesselt);
    edUsername->setText(config.FUser);
    edUsername->setText(config.FUserNotLikeMailAddress ? config.FUserName : QString());
    chkExtraUser->setChecked(config.FUserNotLikeMailAddress);
    chkExtraUserClick();
    if (!config.FCommonPath.isEmpty())
        gbOAuth->Load(config.ConfigIniFileName());
    rgVersandartClick();
}

bool TFormSetup::IsDirectMode() const
{
    return rgVersandart->checkedId() == 1;
}

void TFormSetup::showEvent(QShowEvent* event)
{
    translateCaptions();
    rgVersandartClick();
    QDialog::showEvent(event);
}

bool TFormSetup::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == EdPass && event->type() == QEvent::FocusOut)
        EdPassExit();
    return QDialog::eventFilter(watched, event);
}

void TFormSetup::setSmtpControlsEnabled(bool enabled)
{
    for (QWidget* w : {static_cast<QWidget*>(EdAbsender), static_cast<QWidget*>(EdAbsenderName),
                       static_cast<QWidget*>(EdPass), static_cast<QWidget*>(btChangePass),
                       static_cast<QWidget*>(edSMTPFQDN), static_cast<QWidget*>(EdPort),
                       static_cast<QWidget*>(chkEncodedConnection), static_cast<QWidget*>(btTestConnection),
                       static_cast<QWidget*>(chkExtraUser)})
        w->setEnabled(enabled);
}

// Direct mode enables the SMTP controls and draws the group caption in the
// normal text colour; otherwise everything greys out.
void TFormSetup::rgVersandartClick()
{
    const bool direct = IsDirectMode();
    setSmtpControlsEnabled(direct);
    gbPacing->setEnabled(direct);   // only direct sending sends separately
    gbOAuth->setEnabled(direct);
    gbLogin->setEnabled(direct);
    QPalette pal = gbSMTP->palette();
    pal.setColor(QPalette::WindowText, palette().color(direct ? QPalette::WindowText : QPalette::Dark));
    gbSMTP->setPalette(pal);
}

void TFormSetup::btChangePassClick()
{
    EdPass->setReadOnly(false);
    EdPass->setEchoMode(QLineEdit::Normal);
    lbPass->setText(Tx(345, "Passwort*"));
    EdPass->setFocus();
}

void TFormSetup::EdPassExit()
{
    EdPass->setEchoMode(QLineEdit::Password);
    EdPass->setReadOnly(true);
    lbPass->setText(Tx(190, "Passwort* (gesperrt)"));
}

// A pasted "Name <address>" keeps only the address. Always works on the
// sender field, also when the user-name field changed.
void TFormSetup::EdAbsenderChange()
{
    const QString text = EdAbsender->text();
    if (text.isEmpty() || !text.contains(QLatin1Char('<')) || !text.contains(QLatin1Char('>')))
        return;
    const qsizetype open = text.indexOf(QLatin1Char('<'));
    const qsizetype close = text.indexOf(QLatin1Char('>'));
    EdAbsender->setText(close > open ? text.mid(open + 1, close - open - 1) : QString());
}

void TFormSetup::chkExtraUserClick()
{
    edUsername->setEnabled(chkExtraUser->isChecked());
}

void TFormSetup::CreateTestMail(TEMail& mail, const QString& sender)
{
    const QString text = Tx(1857, "Die eingestellte Verbindung wurde erfolgreich getestet");
    mail.FDatum = DateTimeToDays(QDateTime::currentDateTime());
    mail.FBetreff = text;
    mail.FBodyPlain = text;
    mail.FBodyHTML = QStringList{text.toHtmlEscaped()};
    mail.FVon = sender;
    mail.FAn = QStringList{sender};
    mail.FGesendetDurch = Tx(1858, "Verbindungstest");
}

// The test always authenticates with the sender address, also when a
// separate user name is set.
void TFormSetup::btTestConnectionClick()
{
    TEMail mail;
    CreateTestMail(mail, EdAbsender->text());
    bool ok = false;
    const int port = EdPort->text().toInt(&ok);
    if (!ok || port < 1 || port > 65535) {   // 16 bits would wrap it into another port
        FMessages.ShowError(Tx(1859, "Der angegebene Port scheint fehlerhaft zu sein"));
        return;
    }
    warnPasswordInClearOnce();
    try {
        if (!FTester)
            throw std::runtime_error("no sender");
        FTester({edSMTPFQDN->text(), EdAbsender->text(), chkEncodedConnection->isChecked(),
                 static_cast<uint16_t>(port), EdPass->text(),
                 gbOAuth->IsOAuth() ? std::optional(gbOAuth->Settings()) : std::nullopt},
                mail);
        FMessages.ShowInformation(Tx(1860, "Die Verbindung wurde korrekt konfiguriert"));
    } catch (const std::exception&) {
        FMessages.ShowError(Tx(1861, "Die Verbindungseinstellungen scheinen fehlerhaft zu sein"));
    }
}

// Only direct mode takes the SMTP fields into the settings file, and of
// them only the enabled ones (the user name with its switch).
bool TFormSetup::fieldsFitSettingsFile()
{
    if (!IsDirectMode())
        return true;
    const std::pair<QLineEdit*, QLabel*> fields[] = {{EdAbsender, lbAbsender}, {EdAbsenderName, lbAbsenderName},
                                                     {edSMTPFQDN, lbHost},     {EdPort, lbPort},
                                                     {edUsername, lbUsername}};
    for (const auto& [edit, label] : fields) {
        if (edit->isEnabled() && HasControlCharacter(edit->text())) {
            FMessages.ShowError(Tx(2411, "Das Feld „%1“ darf keine Zeilenumbrüche oder Steuerzeichen enthalten.")
                                    .arg(label->text().remove(QLatin1Char('*'))));
            edit->setFocus();
            return false;
        }
    }
    return true;
}

void TFormSetup::warnPasswordInClearOnce()
{
    if (FPasswordWarned || chkEncodedConnection->isChecked() || EdPass->text().isEmpty())
        return;
    FPasswordWarned = true;
    FMessages.ShowInformation(PasswordInClearWarning());
}

// Empty and "0" are "no port" (the settings check names them); anything else
// must be a port, or the settings file would keep one that wraps around.
bool TFormSetup::portFitsSettingsFile()
{
    bool ok = false;
    const int port = EdPort->text().trimmed().toInt(&ok);
    if (!IsDirectMode() || EdPort->text().trimmed().isEmpty() || (ok && port >= 0 && port <= 65535))
        return true;
    FMessages.ShowError(Tx(1859, "Der angegebene Port scheint fehlerhaft zu sein"));
    EdPort->setFocus();
    return false;
}

void TFormSetup::accept()
{
    if (!fieldsFitSettingsFile() || !portFitsSettingsFile())
        return;
    if (IsDirectMode())
        warnPasswordInClearOnce();
    try {
        gbOAuth->Save();
    } catch (const EKalvex& e) {
        FMessages.ShowError(e.message());
        return;
    }
    QDialog::accept();
}

TConnectionSettingsInput SettingsInputOf(const TFormSetup& d)
{
    return TConnectionSettingsInput{d.IsDirectMode(), d.edSMTPFQDN->text(), d.EdPort->text(), d.EdPass->text(),
                                    d.EdAbsender->text(), d.EdAbsenderName->text(), d.chkEncodedConnection->isChecked(),
                                    d.chkExtraUser->isChecked(), d.edUsername->text(), d.gbOAuth->IsOAuth()};
}

}  // namespace kalvex
