#pragma once
// The composition root of the windows: builds the distribution window with
// the mailing run, the transports, the store and the companion windows, and
// runs it modally. Only the entry knows every subsystem.

#include "address/AdressDB.h"
#include "send/ComposeModel.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <memory>

namespace kalvex {

class IProcessWait;
class TFelder;

struct TDistributionWindowSetup {
    QString startText;
    bool emptyMode = false;
    QString subject;
    QString body;
    QUuid art;                          // template kind; null hides the template area
    QUuid vorlage;                      // preselected template, or null
    QList<TComposeRecipient> recipients;
    QStringList attachments;
    const TFelder* felder = nullptr;    // the host's fields, not owned
    int32_t lang = 1031;
    TAdressDB* adr = nullptr;           // the host's addresses, not owned; may be null
};

struct TDistributionWindowResult {
    int32_t exitCode = 0;
    QUuid selectedVorlage;
};

class IUserMessages;
class TMailingRun;
class TMainForm;
class TProgressDialog;

// The distribution window with the mailing run, the transports, the store
// and the companion windows wired to it; for one use. Owns all of them.
class TDistributionSession {
public:
    explicit TDistributionSession(const TDistributionWindowSetup& setup);
    ~TDistributionSession();
    TMainForm& Window() { return *FWindow; }
    TDistributionWindowResult Run();   // modal

private:
    TDistributionWindowSetup FSetup;
    std::unique_ptr<IUserMessages> FMessages;
    std::unique_ptr<TMainForm> FWindow;
    std::unique_ptr<TProgressDialog> FProgress;
    std::unique_ptr<TMailingRun> FRun;
};

TDistributionWindowResult RunDistributionWindow(const TDistributionWindowSetup& setup);

// The wait window for the conversion of an old store; null without a
// QApplication (nothing can be shown then).
std::unique_ptr<IProcessWait> ProcessWaitWindow();

// A failure the host's user must see before the method returns.
void ShowFailure(const QString& text);
// The message boxes for what the module tells its user outside a window
// (lives as long as the process).
IUserMessages& ModuleMessages();

// The recipient window in address-management mode (adr may be null).
void RunAddressManagement(TAdressDB* adr);

}  // namespace kalvex
