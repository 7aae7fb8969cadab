#pragma once
// The settings dialog: send mode and SMTP account. It only shows, edits and
// tests the values; the mailing run's connection-settings check reads them
// after OK, validates and stores them.

#include "config/UserMessages.h"
#include "send/oauth/OAuthSettings.h"

#include <QDialog>
#include <functional>
#include <optional>

class QButtonGroup;
class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QTabWidget;

namespace kalvex {

class TConfig;
class TEMail;
class TPacingGroupBox;
class TOAuthGroup;
struct TConnectionSettingsInput;

// What the connection test hands to the sender.
struct TSmtpTestRequest {
    QString host;
    QString user;
    bool encrypted = false;
    uint16_t port = 0;
    QString password;
    std::optional<TOAuthSettings> oauth;   // sign in with a token instead of the password
};

// Sends the test mail; raises on failure. The dialog owns neither.
using TConnectionTester = std::function<void(const TSmtpTestRequest&, TEMail&)>;

class TFormSetup : public QDialog {
    Q_OBJECT

public:
    // messages must outlive the dialog.
    explicit TFormSetup(IUserMessages& messages, QWidget* parent = nullptr);

    void Initialize(const TConfig& config);
    void SetConnectionTester(TConnectionTester tester) { FTester = std::move(tester); }
    bool IsDirectMode() const;

    // The control handlers, callable as the user would trigger them.
    void rgVersandartClick();
    void btChangePassClick();
    void EdPassExit();
    void EdAbsenderChange();
    void chkExtraUserClick();
    void btTestConnectionClick();
    // OK: refuses values that cannot stand in the settings file (line breaks,
    // control characters) with a message, warns once about a password over
    // a plain connection, then closes.
    void accept() override;

    QRadioButton* rbStandardClient;
    QRadioButton* rbDirekt;
    QLineEdit* EdAbsender;
    QLineEdit* EdAbsenderName;
    QLineEdit* EdPass;
    QPushButton* btChangePass;
    QLineEdit* edSMTPFQDN;
    QLineEdit* EdPort;
    QCheckBox* chkEncodedConnection;
    QPushButton* btTestConnection;
    QLineEdit* edUsername;
    QCheckBox* chkExtraUser;
    QLabel* lbPass;
    QGroupBox* gbSMTP;
    TPacingGroupBox* gbPacing;   // the pace of separate runs, kept in config.ini
    TOAuthGroup* gbOAuth;
    QGroupBox* gbLogin;   // password and user name, on the sign-in tab
    QTabWidget* tabs;     // "Versand und Server", "Versandtempo", "Anmeldung"

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildControls();
    QWidget* buildHeader();
    QGroupBox* buildVersandart();
    QGroupBox* buildSmtpGroup();
    void translateCaptions();
    void setSmtpControlsEnabled(bool enabled);
    static void CreateTestMail(TEMail& mail, const QString& sender);
    bool fieldsFitSettingsFile();
    bool portFitsSettingsFile();
    void warnPasswordInClearOnce();

    IUserMessages& FMessages;
    TConnectionTester FTester;
    bool FPasswordWarned = false;
    QButtonGroup* rgVersandart;
    QGroupBox* gbVersandart;
    QLabel* lbTitle;
    QLabel* lbDescription;
    QLabel* lbAbsender;
    QLabel* lbAbsenderName;
    QLabel* lbHost;
    QLabel* lbPort;
    QLabel* lbUsername;
    QPushButton* btOK;
    QPushButton* btCancel;
    QPushButton* btHelp;
};

// The dialog's values for the connection-settings check.
TConnectionSettingsInput SettingsInputOf(const TFormSetup& dialog);

}  // namespace kalvex
