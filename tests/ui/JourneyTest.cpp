// The distribution window as users live it: opened as the module opens it,
// driven through its commands and keys while a simulated user answers the
// real message boxes and clicks the real progress window; then the store,
// the SMTP server and the log file are checked.

#include "DemoInstallation.h"
#include "TestApp.h"
#include "smtp/SmtpServer.h"

#include "config/KalvexError.h"
#include "entry/MemoryStream.h"
#include "entry/StreamAdapter.h"
#include "entry/TMail.h"
#include "entry/WindowWiring.h"
#include "mailinterface/Empfaenger.h"
#include "ui/fEmpfWaehlen.h"
#include "ui/fMainForm.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTableWidget>
#include <QTest>
#include <QTextEdit>
#include <QTimer>
#include <gtest/gtest.h>
#include <deque>

using namespace kalvex;
using kalvex::testing::DemoInstallation;
using kalvex::testing::SmtpServer;

namespace {

// An in-memory stream as a host makes one; released at the end of scope.
struct TStreamRef {
    TStreamRef() = default;
    TStreamRef(TStreamRef&& other) noexcept : s(std::exchange(other.s, nullptr)) {}
    ~TStreamRef() { if (s) s->lpVtbl->Release(s); }
    IStream* Interface() const { return s; }
    IStream* s = TMemoryStream::Create();
};

// Watches for the module's modal windows as a user would: reads every
// message box and answers it, clicks "Abbrechen" in the progress window
// when told to, and closes any other dialog it is not told about.
class TUser {
public:
    TUser()
    {
        FTimer.setInterval(15);
        QObject::connect(&FTimer, &QTimer::timeout, [this] { look(); });
        FTimer.start();
    }
    void Answer(bool yes) { FAnswers.push_back(yes); }
    void CancelWhen(std::function<bool(const QString&)> when) { FCancelWhen = std::move(when); }
    void OnDialog(std::function<void(QDialog&)> handle) { FOnDialog = std::move(handle); }
    QStringList Seen(QMessageBox::Icon icon) const
    {
        QStringList out;
        for (const auto& [kind, text] : FSeen)
            if (kind == icon)
                out << text;
        return out;
    }
    int Boxes() const { return static_cast<int>(FSeen.size()); }
    qint64 CancelledAtMs = -1;   // on the clock of the test, started by the test
    QElapsedTimer Clock;

private:
    void look()
    {
        QWidget* modal = QApplication::activeModalWidget();
        if (auto* box = qobject_cast<QMessageBox*>(modal))
            answer(*box);
        else if (auto* dialog = qobject_cast<QDialog*>(modal); dialog && !qobject_cast<TMainForm*>(dialog))
            other(*dialog);
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* progress = qobject_cast<QProgressDialog*>(w); progress && progress->isVisible())
                maybeCancel(*progress);
    }
    void answer(QMessageBox& box)
    {
        if (box.property("seen").toBool())
            return;
        box.setProperty("seen", true);
        FSeen.push_back({box.icon(), box.text()});
        const bool yes = box.icon() == QMessageBox::Question && !FAnswers.empty() && FAnswers.front();
        if (box.icon() == QMessageBox::Question && !FAnswers.empty())
            FAnswers.pop_front();
        for (QAbstractButton* b : box.buttons())
            if (box.icon() != QMessageBox::Question || (b->text() == "Ja") == yes) {
                QTest::mouseClick(b, Qt::LeftButton);
                return;
            }
    }
    void other(QDialog& dialog)
    {
        if (auto* progress = qobject_cast<QProgressDialog*>(&dialog)) {
            maybeCancel(*progress);
            return;
        }
        if (FOnDialog)
            FOnDialog(dialog);
        else
            dialog.reject();
    }
    void maybeCancel(QProgressDialog& progress)
    {
        if (!FCancelWhen || CancelledAtMs >= 0 || !FCancelWhen(progress.labelText()))
            return;
        for (QPushButton* b : progress.findChildren<QPushButton*>()) {
            CancelledAtMs = Clock.elapsed();
            QTest::mouseClick(b, Qt::LeftButton);   // a real click: it must get through
            return;
        }
    }

    QTimer FTimer;
    std::deque<bool> FAnswers;
    std::vector<std::pair<QMessageBox::Icon, QString>> FSeen;
    std::function<bool(const QString&)> FCancelWhen;
    std::function<void(QDialog&)> FOnDialog;
};

// Calls what the user does once the distribution window is up and modal
// (not before: something may spin the event loop while it is being made).
void whenWindowIsUp(std::function<void(TMainForm&)> act)
{
    auto* poll = new QTimer;
    poll->setInterval(10);
    QObject::connect(poll, &QTimer::timeout, [poll, act] {
        auto* w = qobject_cast<TMainForm*>(QApplication::activeModalWidget());
        if (!w || !w->isVisible())
            return;
        poll->stop();
        poll->deleteLater();
        act(*w);
        if (w->isVisible()) {
            ADD_FAILURE() << "the journey left the window open";
            w->done(QDialog::Rejected);
        }
    });
    poll->start();
}

class Journey : public ::testing::Test {
protected:
    // The application comes before the installation and the user's timer.
    struct TAppFirst {
        TAppFirst()
        {
            QSqlDatabase::connectionNames();   // Qt SQL's globals must outlive the application
            kalvex::testing::WidgetApp();
            qunsetenv("KALVEX_AUTOCLOSE");
        }
    };
    void useServer(const SmtpServer& server)
    {
        ASSERT_TRUE(server.Running());
        TConfig& config = TConfig::Ensure();
        config.FSendDirekt = 1;
        config.FVersandart = TVersandArt::vaDirekt;
        config.FHost = "127.0.0.1";
        config.FPort = server.Port();
        config.FUser = "absender@example.org";
        config.FVerbindungVerschluesselt = false;
    }
    // Runs the window modally as the module does; the script is the user.
    TDistributionWindowResult run(TDistributionSession& session, const std::function<void(TMainForm&)>& script)
    {
        whenWindowIsUp([&session, script](TMainForm& w) {
            EXPECT_EQ(&w, &session.Window());
            script(w);
        });
        return session.Run();
    }
    void compose(TMainForm& w, const QString& subject, const QString& to)
    {
        w.edBetreff->setText(subject);
        w.edBody->setPlainText("Guten Tag,\nanbei die Unterlagen.");
        w.AddRecipientRow({to, {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn});
    }
    qint64 count(const char* sql) { return site.Module->Handler().CalcSQL_Int(-1, sql); }
    QString logFile()
    {
        QFile f(TLogFile::DefaultFileName(site.Path("common") + "/"));
        f.open(QIODevice::ReadOnly);
        return QString::fromUtf8(f.readAll());
    }

    TAppFirst app;
    DemoInstallation site;
    TUser user;
};

const char* kSent = "select count(*) from KVXGesendeteMails where MailStatus = 2";
const char* kDrafts = "select count(*) from KVXGesendeteMails where MailStatus = 1";
const QString kQuestion = "Wollen Sie den aktuellen Entwurf speichern?";

TEST_F(Journey, SendThenCloseAsksNothing)
{
    SmtpServer server({});
    useServer(server);
    TDistributionSession session({});
    const auto result = run(session, [&](TMainForm& w) {
        compose(w, "Bauzeitenplan", "b.albers@example.org");
        w.barbtSend->trigger();
        w.barbtProgrammBeenden->trigger();
    });
    EXPECT_EQ(user.Seen(QMessageBox::Information), QStringList{"EMail(s) wurden gesendet."});
    EXPECT_TRUE(user.Seen(QMessageBox::Question).isEmpty());
    EXPECT_EQ(server.MailCount(), 1);
    EXPECT_EQ(count(kSent), 1);
    EXPECT_EQ(count(kDrafts), 0);
    EXPECT_EQ(result.exitCode, KALVEX_EXIT_SENT);
}

// Esc, the title bar and "Schließen" all ask; No keeps nothing, Yes stores
// the draft; a window whose mail went out asks nothing.
TEST_F(Journey, EveryWayOfClosingAsksAboutTheDraft)
{
    user.Answer(false);
    TDistributionSession first({});
    run(first, [&](TMainForm& w) {
        compose(w, "Entwurf A", "a@example.org");
        QTest::keyClick(&w, Qt::Key_Escape);
    });
    EXPECT_EQ(user.Seen(QMessageBox::Question), QStringList{kQuestion});
    EXPECT_EQ(count(kDrafts), 0);

    user.Answer(true);
    TDistributionSession second({});
    const auto result = run(second, [&](TMainForm& w) {
        compose(w, "Entwurf B", "b@example.org");
        QCloseEvent close;   // what the window manager's close button sends
        QApplication::sendEvent(w.windowHandle(), &close);
    });
    EXPECT_EQ(user.Seen(QMessageBox::Question).size(), 2);
    EXPECT_EQ(count(kDrafts), 1);
    EXPECT_EQ(result.exitCode, KALVEX_EXIT_CLOSED);

    TDistributionSession third({});
    run(third, [&](TMainForm& w) { w.barbtProgrammBeenden->trigger(); });   // empty: nothing to ask
    EXPECT_EQ(user.Seen(QMessageBox::Question).size(), 2);
}

TEST_F(Journey, EditingTemplatesKeepsTheEditedMail)
{
    TDistributionWindowSetup setup;
    setup.art = site.Kind;
    setup.vorlage = site.TemplateDE;
    setup.felder = &site.Fields;
    TDistributionSession session(setup);
    bool managerOpened = false;
    user.OnDialog([&](QDialog& d) {
        managerOpened = true;
        d.reject();
    });
    user.Answer(false);
    const auto result = run(session, [&](TMainForm& w) {
        EXPECT_EQ(w.edBetreff->text(), "Mängelanzeige Neubau Lagerhalle Nord");
        w.edBetreff->setText("Mängelanzeige – bitte bis Freitag");
        w.edBody->setPlainText("Mein eigener Text.");
        w.btVorlagen->trigger();
        EXPECT_TRUE(managerOpened);
        EXPECT_EQ(w.edBetreff->text(), "Mängelanzeige – bitte bis Freitag");
        EXPECT_EQ(w.edBody->toPlainText(), "Mein eigener Text.");
        EXPECT_EQ(w.cbVorlagen->currentData().toUuid(), site.TemplateDE);
        w.close();
    });
    EXPECT_EQ(result.selectedVorlage, site.TemplateDE);
}

// After a success, "Neue E-Mail" starts afresh: a failing send must not
// end with the success message of the previous one.
TEST_F(Journey, NewMailAfterSuccessThenFailureShowsNoSuccess)
{
    SmtpServer server({});
    useServer(server);
    TDistributionSession session({});
    const auto result = run(session, [&](TMainForm& w) {
        compose(w, "Erste", "b.albers@example.org");
        w.barbtSend->trigger();
        w.barbtNewMail->trigger();
        EXPECT_TRUE(w.edBetreff->text().isEmpty());
        compose(w, "Zweite", "refuse@example.org");
        w.barbtSend->trigger();
        w.barbtNewMail->trigger();   // the failed mail is still unsent: asks
        w.close();
    });
    EXPECT_EQ(user.Seen(QMessageBox::Information), QStringList{"EMail(s) wurden gesendet."});
    ASSERT_EQ(user.Seen(QMessageBox::Critical).size(), 2);
    EXPECT_EQ(user.Seen(QMessageBox::Critical)[0], "Die Adresse refuse@example.org scheint fehlerhaft zu sein.");
    EXPECT_TRUE(user.Seen(QMessageBox::Critical)[1].startsWith("Das Senden der E-Mail wurde abgebrochen."));
    EXPECT_EQ(user.Seen(QMessageBox::Question), QStringList{kQuestion});
    EXPECT_EQ(server.MailCount(), 1);
    EXPECT_EQ(result.exitCode, KALVEX_EXIT_SENT_WITH_FAILURES);
}

TEST_F(Journey, CancelWhileTheServerIsSilentEndsAtOnce)
{
    SmtpServer silent({"--mode", "silent"});
    useServer(silent);
    TDistributionSession session({});
    qint64 endedAtMs = -1;
    user.Clock.start();
    user.CancelWhen([](const QString&) { return true; });
    const auto result = run(session, [&](TMainForm& w) {
        compose(w, "Stille", "b.albers@example.org");
        w.barbtSend->trigger();
        endedAtMs = user.Clock.elapsed();
        w.barbtProgrammBeenden->trigger();   // not sent: the question comes
    });
    ASSERT_GE(user.CancelledAtMs, 0) << "the progress window never showed";
    // The reply time-out is 60 s: a run that ends within seconds ended by the click.
    EXPECT_LT(endedAtMs - user.CancelledAtMs, 5000);
    EXPECT_EQ(user.Seen(QMessageBox::Information), QStringList{"Vorgang wurde durch den Nutzer abgebrochen."});
    EXPECT_TRUE(user.Seen(QMessageBox::Critical).isEmpty());
    EXPECT_EQ(user.Seen(QMessageBox::Question), QStringList{kQuestion});
    EXPECT_EQ(count(kSent), 0);
    EXPECT_EQ(result.exitCode, KALVEX_EXIT_NOT_SENT);
}

TEST_F(Journey, CancelInTheMiddleOfASeparateRunStopsTheRest)
{
    SmtpServer server({});
    useServer(server);
    TDistributionSession session({});
    QStringList progressLines;
    // Mails to a local server go fast: the user clicks once the fifth is under way.
    user.CancelWhen([&](const QString& label) {
        progressLines << label.section('\n', 0, 0);
        return label.section(' ', 1, 1).toInt() >= 5;
    });
    const auto result = run(session, [&](TMainForm& w) {
        w.edBetreff->setText("Rundschreiben");
        w.edBody->setPlainText("Sehr geehrte Damen und Herren,");
        for (int i = 1; i <= 20; ++i)
            w.AddRecipientRow({QString("empf%1@example.org").arg(i), {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn});
        w.chbSeperatSenden->setChecked(true);
        w.barbtSend->trigger();
        w.barbtProgrammBeenden->trigger();
    });
    const int sent = server.MailCount();
    EXPECT_GE(sent, 4);
    EXPECT_LT(sent, 20);
    EXPECT_TRUE(progressLines.contains("Empfänger 1 von 20: empf1@example.org"));
    const QString summary = QString("Der Versand wurde abgebrochen.\n%1 von 20 E-Mails wurden gesendet, %2 wurden nicht gesendet.")
                                .arg(sent).arg(20 - sent);
    EXPECT_EQ(user.Seen(QMessageBox::Information), QStringList{summary});
    EXPECT_TRUE(user.Seen(QMessageBox::Critical).isEmpty());
    EXPECT_TRUE(user.Seen(QMessageBox::Question).isEmpty());   // the run counts as sent
    EXPECT_EQ(count(kSent), 1);   // one log entry per separate run
    const QString log = logFile();
    EXPECT_EQ(log.count(": gesendet"), sent);
    EXPECT_TRUE(log.contains("Rundschreiben an empf1@example.org: gesendet"));
    EXPECT_FALSE(log.contains(QString("Rundschreiben an empf%1@example.org").arg(sent + 2)));
    EXPECT_EQ(result.exitCode, KALVEX_EXIT_SENT_WITH_FAILURES);
}

// The host's view: the interface methods with streams, as a host calls them.
class HostJourney : public Journey {
protected:
    void SetUp() override
    {
        TIniFile reg(site.Path("registry.ini"));
        reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Steuerpult2015", site.Path("pkz"));
        createHostDatabase(site.Path("pkz/AdressDB/AdressDB.db"));
        TDatenModul::Free();
        TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Test")));
        mail = std::make_unique<TMail>();
        mail->InitInterface(site.Path("data"), QString(), QString(), 2026, 1);
    }
    void TearDown() override { mail.reset(); }
    static void createHostDatabase(const QString& file)
    {
        QDir().mkpath(QFileInfo(file).absolutePath());
        {
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "host-setup");
            db.setDatabaseName(file);
            ASSERT_TRUE(db.open());
            QSqlQuery q(db);
            q.exec("CREATE TABLE Persdat (GUID TEXT, EMAIL TEXT, Vorname TEXT, Name TEXT, Firma TEXT, Firma2 TEXT)");
            q.exec("INSERT INTO Persdat VALUES ('{00000000-0000-0000-0000-000000000001}', 'b.albers@example.org', "
                   "'Bernd', 'Albers', 'Albers', 'Hochbau')");
        }
        QSqlDatabase::removeDatabase("host-setup");
    }
    TStreamRef recipients(const QString& address)
    {
        TEmpfaengerListe list;
        list.Add().FEMailAdresse = address;
        TStreamWriter writer;
        list.SaveToStream(writer);
        TStreamRef stream;
        WriteAllToStream(stream.Interface(), writer.Data());
        return stream;
    }
    std::unique_ptr<TMail> mail;
};

TEST_F(HostJourney, Version3TellsSentFromClosedAndVersion2TheChosenTemplate)
{
    SmtpServer server({});
    useServer(server);
    TStreamRef to = recipients("b.albers@example.org");
    whenWindowIsUp([](TMainForm& w) {
        EXPECT_EQ(w.Model().Recipients.size(), 1u);
        w.edBetreff->setText("Vom Host");
        w.barbtSend->trigger();
        w.close();
    });
    EXPECT_EQ(mail->ShowVerteilerFormTemplate(0, 1031, "", "", to.Interface(), nullptr, "", "", "", nullptr),
              KALVEX_EXIT_SENT);
    EXPECT_EQ(server.MailCount(), 1);
    // The host's calls run on the module the interface opened (SetUp freed the site's).
    EXPECT_EQ(TDatenModul::Instance()->Handler().CalcSQL_Int(-1, "select count(*) from KVXTempEmpf"), 1);

    whenWindowIsUp([](TMainForm& w) { w.close(); });
    QUuid chosen = QUuid::createUuid();
    EXPECT_EQ(mail->ShowVerteilerFormTemplate(0, 1031, "", "", nullptr, nullptr, "", site.Kind.toString(),
                                              "{94170175-0000-0000-0000-000000000000}", &chosen),
              KALVEX_EXIT_CLOSED);
    EXPECT_TRUE(chosen.isNull());   // a template that is not there was not chosen
}

TEST_F(HostJourney, AddressManagementVersion2ShowsTheHostAddresses)
{
    int hostRows = -1;
    bool missingNotice = true;
    user.OnDialog([&](QDialog& d) {
        if (auto* w = qobject_cast<TFormEmpfWaehlen*>(&d)) {
            w->ShowHostAddresses();
            hostRows = w->gridHost->rowCount();
            missingNotice = false;
            for (QLabel* l : w->findChildren<QLabel*>())
                missingNotice = missingNotice || l->text() == "Keine Adressdatenbank gefunden.";
        }
        d.reject();
    });
    mail->ShowMailAdrVerwaltungVersion2(0, 1031);
    EXPECT_EQ(hostRows, 1);
    EXPECT_FALSE(missingNotice);
}

// Before InitInterface the host learns what is missing; a field stream of
// another version leaves the fields as they are.
TEST_F(HostJourney, HostCallsOutOfOrderOrOfAnotherVersion)
{
    TMail fresh;
    TDatenModul::Free();
    try {
        fresh.VorlageAnlegen(site.Kind, QUuid::createUuid(), "a", "b", "c", "d", "", false);
        ADD_FAILURE() << "a template was created before InitInterface";
    } catch (const EKalvex& e) {
        EXPECT_EQ(e.message(), "OrvanProgID nicht initialisiert (InitInterface)");
    }
    mail->InitInterface(site.Path("data"), QString(), QString(), 2026, 1);
    TStreamWriter one;
    site.Fields.SaveToStream(one);
    TStreamRef v1;
    WriteAllToStream(v1.Interface(), one.Data());
    mail->SetDatenfelder(v1.Interface());
    QByteArray other = one.Data();
    other[0] = 2;   // the record's version
    TStreamRef v2;
    WriteAllToStream(v2.Interface(), other);
    mail->SetDatenfelder(v2.Interface());
    EXPECT_EQ(TDatenModul::Instance()->FFelder.FEinfachListe.Count(), site.Fields.FEinfachListe.Count());
}

}  // namespace
