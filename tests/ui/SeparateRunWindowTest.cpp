// The pace of separate runs in the settings dialog, the summary at the end
// of a run, and a run from the distribution window whose summary sends the
// mail again to just the recipients who did not get it.

#include "DemoInstallation.h"
#include "TestApp.h"
#include "smtp/SmtpServer.h"

#include "config/UserMessages.h"
#include "config/uConfig.h"
#include "entry/WindowWiring.h"
#include "send/MailingRun.h"
#include "send/SendPacing.h"
#include "ui/PacingGroupBox.h"
#include "ui/fMainForm.h"
#include "ui/fRunSummary.h"
#include "ui/fSetup.h"

#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QSqlDatabase>
#include <QTextEdit>
#include <QTimer>
#include <QTreeWidget>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

// Qt SQL's globals must outlive the application: they come first.
void widgetApp()
{
    QSqlDatabase::connectionNames();
    kalvex::testing::WidgetApp();
}

QStringList rows(const TFormRunSummary& form)
{
    QStringList out;
    for (int i = 0; i < form.lvRecipients->topLevelItemCount(); ++i)
        out << form.lvRecipients->topLevelItem(i)->text(0) + " | " + form.lvRecipients->topLevelItem(i)->text(1);
    return out;
}

}  // namespace

TEST(PacingGroup, PresetsLimitAndTriesInTheSettingsDialog)
{
    widgetApp();
    TRecordingMessages messages;
    TFormSetup form(messages);
    TPacingGroupBox& g = *form.gbPacing;
    form.rbDirekt->click();
    g.Initialize(TSendPacingSettings());
    EXPECT_FALSE(g.chkPacing->isChecked());   // off unless chosen
    EXPECT_FALSE(g.edMailsPerMinute->isEnabled());
    EXPECT_EQ(g.Pacing().mailsPerMinute, 0);

    const int google = g.cbPreset->findText("Google (20)");
    ASSERT_GE(google, 0);
    EXPECT_GE(g.cbPreset->findText("Microsoft 365 (30)"), 0);
    emit g.cbPreset->activated(google);
    EXPECT_TRUE(g.chkPacing->isChecked());
    EXPECT_TRUE(g.edMailsPerMinute->isEnabled());
    EXPECT_EQ(g.Pacing().mailsPerMinute, 20);
    g.edTries->setValue(5);
    EXPECT_EQ(g.Pacing().tries, 5);
    emit g.cbPreset->activated(0);   // "(keine)"
    EXPECT_EQ(g.Pacing().mailsPerMinute, 0);

    TSendPacingSettings stored;
    stored.mailsPerMinute = 12;
    stored.retryWaitMs = 4000;
    g.Initialize(stored);
    EXPECT_TRUE(g.chkPacing->isChecked());
    EXPECT_EQ(g.Pacing().mailsPerMinute, 12);
    EXPECT_EQ(g.Pacing().retryWaitMs, 4000);   // what the dialog does not show stays

    form.rbStandardClient->click();   // separate runs exist only for direct sending
    EXPECT_FALSE(g.isEnabled());
    form.rbDirekt->click();
    EXPECT_TRUE(g.isEnabled());
}

TEST(RunSummary, ListsWhoDidNotGetTheMailFirstAndOffersToSendAgain)
{
    widgetApp();
    TSeparateRunSummary s;
    s.sent = {"a@example.org", "c@example.org"};
    s.failed = {{"b@example.org", "Antwort des Servers: 550 5.1.1 No such user"}};
    s.notSent = {"d@example.org"};
    TFormRunSummary form(s);
    EXPECT_EQ(form.lbResult->text(), "2 von 4 E-Mails wurden gesendet. 2 Empfänger haben die E-Mail nicht erhalten.");
    EXPECT_EQ(rows(form), QStringList({"b@example.org | nicht gesendet: Antwort des Servers: 550 5.1.1 No such user",
                                       "d@example.org | abgebrochen, nicht gesendet", "a@example.org | gesendet",
                                       "c@example.org | gesendet"}));
    EXPECT_FALSE(form.btResend->isHidden());
    EXPECT_EQ(form.btResend->text(), "Erneut an fehlgeschlagene Empfänger senden");
    form.btResend->click();
    EXPECT_TRUE(form.ResendChosen());

    TSeparateRunSummary all;
    all.sent = {"a@example.org"};
    TFormRunSummary done(all);
    EXPECT_TRUE(done.btResend->isHidden());   // nobody to send to again
    EXPECT_FALSE(done.ResendChosen());
}

// A mail whose delivery is unknown has its own row and sentence, and is not
// offered again: "Erneut senden" could give a second copy.
TEST(RunSummary, NamesTheUnknownDeliveriesApartAndDoesNotOfferThemAgain)
{
    widgetApp();
    TSeparateRunSummary s;
    s.sent = {"a@example.org"};
    s.unknown = {{"b@example.org", "Der SMTP-Server hat die Verbindung unerwartet beendet."}};
    TFormRunSummary form(s);
    EXPECT_EQ(form.lbResult->text(), "1 von 2 E-Mails wurden gesendet. Bei 1 Empfänger ist die Zustellung unbekannt: "
                                     "die Verbindung endete, bevor der Server den Empfang bestätigte. Die E-Mail ist "
                                     "wahrscheinlich angekommen und wird nicht erneut gesendet.");
    EXPECT_EQ(rows(form), QStringList({"b@example.org | Zustellung unbekannt (Verbindung nach dem Senden beendet): Der "
                                       "SMTP-Server hat die Verbindung unerwartet beendet.",
                                       "a@example.org | gesendet"}));
    EXPECT_TRUE(form.btResend->isHidden());
}

// The window's separate run over four recipients, two refused for now with
// one try allowed: the summary names them, "Erneut an fehlgeschlagene
// Empfänger senden" sends to just those two, the second summary is closed.
TEST(SeparateRunWindow, TheSummarySendsAgainToJustTheFailedRecipients)
{
    widgetApp();
    qunsetenv("KALVEX_AUTOCLOSE");
    kalvex::testing::DemoInstallation site;
    kalvex::testing::SmtpServer server({"--tempfail", "RCPT=2"}, "smtp_fault_server.py");
    ASSERT_TRUE(server.Running());
    site.SendDirectTo(server.Port());
    TSendPacingSettings pacing;
    pacing.tries = 1;
    SaveSendPacing(TConfig::Ensure().ConfigIniFileName(), pacing);

    TDistributionSession session({});
    TMainForm& w = session.Window();
    w.edBetreff->setText("Rundschreiben");
    w.edBody->setPlainText("Sehr geehrte Damen und Herren,");
    for (const char* a : {"a@example.org", "b@example.org", "c@example.org", "d@example.org"})
        w.AddRecipientRow({a, {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn});
    w.chbSeperatSenden->setChecked(true);

    QList<QStringList> seen;
    QTimer user;
    user.setInterval(20);
    QObject::connect(&user, &QTimer::timeout, [&] {
        for (QWidget* top : QApplication::topLevelWidgets())
            if (auto* summary = qobject_cast<TFormRunSummary*>(top); summary && summary->isVisible()
                                                                     && !summary->property("seen").toBool()) {
                summary->setProperty("seen", true);
                seen << rows(*summary);
                (seen.size() == 1 ? summary->btResend : summary->btClose)->click();
            }
    });
    user.start();
    w.barbtSend->trigger();
    user.stop();

    ASSERT_EQ(seen.size(), 2);
    EXPECT_EQ(seen[0].mid(0, 2).join(' ').count("nicht gesendet"), 2);
    EXPECT_TRUE(seen[0][0].startsWith("a@example.org | nicht gesendet: "));
    EXPECT_EQ(seen[1], QStringList({"a@example.org | gesendet", "b@example.org | gesendet"}));
    QStringList received;
    for (int i = 1; i <= server.MailCount(); ++i)
        received << server.Envelope(i).value(1);
    EXPECT_EQ(received, QStringList({"c@example.org", "d@example.org", "a@example.org", "b@example.org"}));
}
