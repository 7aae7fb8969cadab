// The distribution window as users live it: opened as the module opens it,
// driven through its commands and keys while a simulated user answers the
// real message boxes and clicks the real progress window; then the store,
// the SMTP server and the log file are checked.

#include "DemoInstallation.h"
#include "SimulatedUser.h"
#include "TestApp.h"
#include "smtp/SmtpServer.h"

#include "config/KalvexError.h"
#include "entry/MemoryStream.h"
#include "entry/StreamAdapter.h"
#include "entry/TMail.h"
#include "entry/WindowWiring.h"
#include "mailinterface/Empfaenger.h"
#include "address/AdressDB.h"
#include "ui/fEmpfWaehlen.h"
#include "ui/fMainForm.h"
#include "ui/fVorlagen.h"
#include "config/UserMessages.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressDialog>
#include <QRadioButton>
#include <QPushButton>
#include <QSqlDatabase>
#include <QStandardItemModel>
#include <QTextCharFormat>
#include <QTextCursor>
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
using kalvex::testing::TStreamRef;
using kalvex::testing::TUser;
using kalvex::testing::whenWindowIsUp;

namespace {

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
        DemoInstallation::SendDirectTo(server.Port());
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
    qint64 count(const char* sql) { return TDatenModul::Instance()->Handler().CalcSQL_Int(-1, sql); }
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
    const QString plan = site.Path("plan.pdf");
    QFile file(plan);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("%PDF-1.4 Bauzeitenplan");
    file.close();
    TDistributionSession session({});
    QString attachmentState;
    const auto result = run(session, [&](TMainForm& w) {
        compose(w, "Bauzeitenplan", "b.albers@example.org");
        w.AddAttachmentFiles({plan});
        w.barbtSend->trigger();
        w.ribbon->setCurrentIndex(1);
        w.gridGesendet->setCurrentCell(0, 1);
        if (w.gridGesendetAnhang->rowCount() == 1)
            attachmentState = w.gridGesendetAnhang->item(0, 2)->text();
        w.barbtProgrammBeenden->trigger();
    });
    EXPECT_EQ(user.Seen(QMessageBox::Information), QStringList{"EMail(s) wurden gesendet."});
    EXPECT_TRUE(user.Seen(QMessageBox::Question).isEmpty());
    EXPECT_EQ(attachmentState, "gespeichert");   // known without loading the contents
    EXPECT_EQ(server.MailCount(), 1);
    EXPECT_EQ(count(kSent), 1);
    EXPECT_EQ(count(kDrafts), 0);
    EXPECT_EQ(result.exitCode, KALVEX_EXIT_SENT);
}

// Esc, the title bar and "Schließen" all ask; Esc on the question goes back
// to the mail, No keeps nothing, Yes stores the draft; a window whose mail
// went out asks nothing.
TEST_F(Journey, EveryWayOfClosingAsksAboutTheDraft)
{
    user.AnswerWithEscape();
    user.Answer(false);
    TDistributionSession first({});
    bool keptAfterTwoEsc = false;
    run(first, [&](TMainForm& w) {
        compose(w, "Entwurf A", "a@example.org");
        QTest::keyClick(&w, Qt::Key_Escape);
        keptAfterTwoEsc = w.isVisible() && w.edBetreff->text() == "Entwurf A" && w.Model().Recipients.size() == 1;
        QTest::keyClick(&w, Qt::Key_Escape);
    });
    EXPECT_TRUE(keptAfterTwoEsc);
    EXPECT_EQ(user.Seen(QMessageBox::Question), QStringList({kQuestion, kQuestion}));
    EXPECT_EQ(count(kDrafts), 0);

    user.Answer(true);
    TDistributionSession second({});
    const auto result = run(second, [&](TMainForm& w) {
        compose(w, "Entwurf B", "b@example.org");
        QCloseEvent close;   // what the window manager's close button sends
        QApplication::sendEvent(w.windowHandle(), &close);
    });
    EXPECT_EQ(user.Seen(QMessageBox::Question).size(), 3);
    EXPECT_EQ(count(kDrafts), 1);
    EXPECT_EQ(result.exitCode, KALVEX_EXIT_CLOSED);

    TDistributionSession third({});
    run(third, [&](TMainForm& w) { w.barbtProgrammBeenden->trigger(); });   // empty: nothing to ask
    EXPECT_EQ(user.Seen(QMessageBox::Question).size(), 3);
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
    for (bool answer : {false, true, false})   // replace the typed text? No, Yes; then closing: No
        user.Answer(answer);
    const auto result = run(session, [&](TMainForm& w) {
        EXPECT_EQ(w.edBetreff->text(), "Mängelanzeige Neubau Lagerhalle Nord");
        w.edBetreff->setText("Mängelanzeige – bitte bis Freitag");
        w.edBody->setPlainText("Mein eigener Text.");
        w.btVorlagen->trigger();
        EXPECT_TRUE(managerOpened);
        EXPECT_EQ(w.edBetreff->text(), "Mängelanzeige – bitte bis Freitag");
        EXPECT_EQ(w.edBody->toPlainText(), "Mein eigener Text.");
        EXPECT_EQ(w.cbVorlagen->currentData().toUuid(), site.TemplateDE);
        // Choosing the template again asks before it replaces the typed text.
        const int chosen = w.cbVorlagen->currentIndex();
        emit w.cbVorlagen->activated(chosen);
        EXPECT_EQ(w.edBetreff->text(), "Mängelanzeige – bitte bis Freitag");
        EXPECT_EQ(w.cbVorlagen->currentIndex(), chosen);
        emit w.cbVorlagen->activated(chosen);
        EXPECT_EQ(w.edBetreff->text(), "Mängelanzeige Neubau Lagerhalle Nord");
        w.close();
    });
    EXPECT_EQ(user.Seen(QMessageBox::Question).size(), 3);
    EXPECT_TRUE(user.Seen(QMessageBox::Question).value(0).startsWith("Betreff und Text der E-Mail durch die Vorlage ersetzen?"));
    EXPECT_EQ(result.selectedVorlage, site.TemplateDE);
}

// A draft taken up again and saved stays one draft, with the new text.
TEST_F(Journey, SavingAnOpenedDraftUpdatesIt)
{
    TDistributionSession session({});
    QString listed;
    run(session, [&](TMainForm& w) {
        compose(w, "Abnahmetermin", "a@example.org");
        w.barbtSpeichereEntwurf->trigger();
        w.barbtNewMail->trigger();
        w.ribbon->setCurrentIndex(2);
        w.gridEntwuerfe->setCurrentCell(0, 0);
        w.barbtEntwurfBearbeiten->trigger();
        w.edBetreff->setText("Abnahmetermin verschoben");
        w.barbtSpeichereEntwurf->trigger();
        w.edBetreff->setText("Abnahmetermin verschoben auf Montag");
        w.barbtSpeichereEntwurf->trigger();
        listed = w.gridEntwuerfe->rowCount() == 1 ? w.gridEntwuerfe->item(0, 0)->text() : QString();
        w.barbtNewMail->trigger();
        w.barbtProgrammBeenden->trigger();
    });
    EXPECT_EQ(count(kDrafts), 1);
    EXPECT_EQ(listed, "Abnahmetermin verschoben auf Montag");
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

// What keeps the window from opening is shown before the method returns,
// and the host still gets it through its error: a store that cannot be
// opened; a log that cannot be created and an unreadable translation
// database are shown and the window opens (in German for the latter).
TEST_F(Journey, FailuresToOpenAreShownToTheUser)
{
    TDatenModul::Free();
    const QString store = site.Path("common/Common04/kalvex.db");
    ASSERT_TRUE(QFile::remove(store));
    QDir().mkpath(store);
    TMail mail;
    EXPECT_THROW(mail.ShowVerteilerFormLeer(0, "", "", 1031, "", 2026), EKalvex);
    ASSERT_EQ(user.Seen(QMessageBox::Critical).size(), 1);
    EXPECT_TRUE(user.Seen(QMessageBox::Critical)[0].startsWith("Es ist ein Fehler beim Verbinden zur Datenbank aufgetreten!"));
    EXPECT_THROW(mail.ShowMailAdrVerwaltungVersion2(0, 1031), EKalvex);   // nothing was opened
    EXPECT_EQ(user.Seen(QMessageBox::Critical).size(), 2);
    QDir().rmdir(store);

    TLogFile::Uninstall();   // the failed opening left its log to the next one
    const QString logFolder = site.Path("common/Common04/KVXLog");
    QDir(logFolder).removeRecursively();
    QFile blocker(logFolder);   // a file where the log's folder belongs
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    bool withoutLog = false;   // the module works on without its log and says so
    whenWindowIsUp([&](TMainForm& w) {
        withoutLog = true;
        w.close();
    });
    mail.ShowVerteilerFormLeer(0, "", "", 1031, "", 2026);
    EXPECT_TRUE(withoutLog);
    ASSERT_EQ(user.Seen(QMessageBox::Critical).size(), 3);
    EXPECT_TRUE(user.Seen(QMessageBox::Critical)[2].startsWith("Die Protokolldatei " + logFolder + "/logfile_kalvex.txt kann nicht"));
    QFile::remove(logFolder);

    QFile lang(site.Path("common/Common04/DllsLang.db3"));
    ASSERT_TRUE(lang.open(QIODevice::WriteOnly));
    lang.write(QByteArray(4096, 'x'));
    lang.close();
    bool opened = false;
    whenWindowIsUp([&](TMainForm& w) {
        opened = true;
        w.close();
    });
    mail.ShowVerteilerFormLeer(0, "", "", 1031, "", 2026);
    EXPECT_TRUE(opened);
    ASSERT_EQ(user.Seen(QMessageBox::Critical).size(), 4);
    EXPECT_TRUE(user.Seen(QMessageBox::Critical)[3].startsWith("Der Datenbankhandler konnte nicht erstellt werden!\r\n\r\n"));

    // Each window call of the host is a session of its own in the log.
    whenWindowIsUp([](TMainForm& w) { w.close(); });
    mail.ShowVerteilerFormLeer(0, "", "", 1031, "", 2026);
    EXPECT_EQ(logFile().count("Programmstart: "), 2);
    EXPECT_EQ(logFile().count("Programmende: "), 1);
}

// The user's own templates follow the host's under their categories and
// fill the mail with the host's values, keeping their formatting; text
// blocks and empty categories are not offered.
TEST_F(Journey, OwnTemplatesAreOfferedAfterTheProgramTemplates)
{
    TRecordingMessages messages;
    TFormVorlagen manager(site.Module->Handler(), messages, nullptr, 1031);
    manager.NeueKategorie("Leer");
    const int32_t eigene = manager.NeueKategorie("Baustelle");
    manager.NeuerEintrag(eigene);
    manager.edName->setText("Baustellenbrief");
    manager.edBetreff->setText("Baustelle <Projekt>");
    QTextCursor cursor(manager.edText->document());
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    cursor.insertText("Wichtig", bold);
    cursor.insertText(" bis <Frist>", QTextCharFormat());
    ASSERT_TRUE(manager.Speichern());
    TFormtextbausteine blocks(site.Module->Handler(), messages);
    blocks.NeuerEintrag(eigene);
    blocks.edName->setText("Gruß");
    blocks.edText->setPlainText("Mit freundlichen Grüßen");
    ASSERT_TRUE(blocks.Speichern());
    EXPECT_TRUE(site.Module->Handler().CalcSQL_String("", "select BodyRTF from KVXVorlage where Name = 'Gruß'").startsWith("{\\rtf"));

    TDistributionWindowSetup setup;
    setup.art = site.Kind;
    setup.felder = &site.Fields;
    TDistributionSession session(setup);
    const auto result = run(session, [&](TMainForm& w) {
        QStringList entries;
        for (int i = 0; i < w.cbVorlagen->count(); ++i)
            entries << w.cbVorlagen->itemText(i);
        ASSERT_EQ(entries, QStringList({"Defect notice (englisch)", "Mängelanzeige", "Baustelle", "    Baustellenbrief"}));
        const auto* model = qobject_cast<QStandardItemModel*>(w.cbVorlagen->model());
        EXPECT_FALSE(model->item(2)->isEnabled());   // a heading, not a template
        w.cbVorlagen->setCurrentIndex(3);
        emit w.cbVorlagen->activated(3);
        EXPECT_EQ(w.edBetreff->text(), "Baustelle Neubau Lagerhalle Nord");
        EXPECT_EQ(w.edBody->toPlainText(), "Wichtig bis 15.12.2026");
        QTextCursor at(w.edBody->document());
        at.setPosition(1);
        EXPECT_EQ(at.charFormat().fontWeight(), QFont::Bold);
        at.setPosition(10);
        EXPECT_NE(at.charFormat().fontWeight(), QFont::Bold);
        w.edBetreff->clear();
        w.edBody->clear();
        w.close();
    });
    EXPECT_TRUE(result.selectedVorlage.isNull());   // not a host template
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
    EXPECT_EQ(count("select count(*) from KVXTempEmpf"), 1);

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

// Picked recipients take the kind chosen under "Voreinstellung"; a row
// taken from the host's address database is named by its field Name.
// The picker starts from "Voreinstellung"; its "Bcc →" is what the row gets.
TEST_F(HostJourney, PickedRecipientsTakeTheKindChosenInThePicker)
{
    TDistributionWindowSetup setup;
    TAdressDB adr(site.Path("pkz") + "/");
    adr.Load(QString(), "AdressDB", 2026);
    ASSERT_TRUE(adr.IsOpen());
    setup.adr = &adr;
    TDistributionSession session(setup);
    TEmpfaengerTyp pickerDefault = TEmpfaengerTyp::elAn;
    user.OnDialog([&pickerDefault](QDialog& d) {
        auto* w = qobject_cast<TFormEmpfWaehlen*>(&d);
        if (!w)
            return d.reject();
        pickerDefault = w->DefaultKind();
        w->gridHost->selectAll();
        w->AddSelectedAs(TEmpfaengerTyp::elBcc);
        w->accept();
    });
    run(session, [&](TMainForm& w) {
        w.rbVoreinstellung[1]->setChecked(true);
        w.btAusAdrDBUebernehmen->trigger();
        w.close();
    });
    ASSERT_EQ(session.Window().Model().Recipients.size(), 1u);
    const TComposeRecipient& r = session.Window().Model().Recipients[0];
    EXPECT_EQ(r.email, "b.albers@example.org");
    EXPECT_EQ(r.name, "Albers");
    EXPECT_EQ(r.company, "Albers Hochbau");
    EXPECT_EQ(r.kind, TEmpfaengerTyp::elBcc);
    EXPECT_EQ(pickerDefault, TEmpfaengerTyp::elCc);
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
