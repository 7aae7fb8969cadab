// The compose page as a user writes a mail: the field tree beside the body,
// files dropped from the file manager, the recipient line with completion
// from both address books. The window is opened as the module opens it and
// the mail goes to a real SMTP server.

#include "DemoInstallation.h"
#include "SimulatedUser.h"
#include "TestApp.h"
#include "smtp/SmtpServer.h"

#include "address/AdressDB.h"
#include "address/uKontakt.h"
#include "entry/WindowWiring.h"
#include "ui/fMainForm.h"

#include <QAbstractItemView>
#include <QAction>
#include <QComboBox>
#include <QCompleter>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QRadioButton>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStackedWidget>
#include <QTabWidget>
#include <QTableWidget>
#include <QTextEdit>
#include <QTreeWidget>

using namespace kalvex;
using kalvex::testing::DemoInstallation;
using kalvex::testing::SmtpServer;
using kalvex::testing::TUser;
using kalvex::testing::whenWindowIsUp;

namespace {

QString writeFile(const QString& path, qint64 bytes)
{
    QFile f(path);
    EXPECT_TRUE(f.open(QIODevice::WriteOnly));
    f.resize(bytes);   // sparse: large files cost no disk
    return QFileInfo(path).absoluteFilePath();
}

// What the file manager hands over: a drag entering, then the drop.
void dropUrls(QWidget* target, const QList<QUrl>& urls)
{
    QMimeData data;
    data.setUrls(urls);
    const QPointF at(10, 10);
    QDragEnterEvent enter(at.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
}

QStringList column(const QTableWidget* grid, int c)
{
    QStringList texts;
    for (int r = 0; r < grid->rowCount(); ++r)
        texts << grid->item(r, c)->text();
    return texts;
}

QStringList popupEntries(QCompleter* completer)
{
    QStringList texts;
    for (int r = 0; r < completer->completionModel()->rowCount(); ++r)
        texts << completer->completionModel()->index(r, 0).data().toString();
    return texts;
}

// The header lines of a received mail, unfolded.
QStringList headers(const QString& file)
{
    QFile f(file);
    f.open(QIODevice::ReadOnly);
    const QString head = QString::fromUtf8(f.readAll()).section("\r\n\r\n", 0, 0);
    return QString(head).replace(QRegularExpression("\r\n[ \t]+"), " ").split("\r\n");
}

QString header(const QStringList& lines, const QString& name)
{
    for (const QString& l : lines)
        if (l.startsWith(name + ": ", Qt::CaseInsensitive))
            return l.mid(name.size() + 2);
    return {};
}

class ComposeJourney : public ::testing::Test {
protected:
    struct TAppFirst {
        TAppFirst()
        {
            QSqlDatabase::connectionNames();   // Qt SQL's globals must outlive the application
            kalvex::testing::WidgetApp();
            qunsetenv("KALVEX_AUTOCLOSE");
        }
    };
    TDistributionWindowResult run(TDistributionSession& session, const std::function<void(TMainForm&)>& script)
    {
        whenWindowIsUp([script](TMainForm& w) { script(w); });
        return session.Run();
    }

    TAppFirst app;
    DemoInstallation site;
    TUser user;
};

TEST_F(ComposeJourney, FieldTreeAndDroppedAttachments)
{
    QDir().mkpath(site.Path("files/Ordner"));
    const QString plan = writeFile(site.Path("files/plan.pdf"), 300 * 1024 + 1);
    const QString foto = writeFile(site.Path("files/foto.jpg"), 3 * 1024 * 1024 + 512 * 1024);
    const QString video = writeFile(site.Path("files/begehung.mp4"), 21 * 1024 * 1024);
    TDistributionWindowSetup setup;
    setup.art = site.Kind;
    setup.vorlage = site.TemplateDE;
    setup.felder = &site.Fields;
    TDistributionSession session(setup);
    user.Answer(false);
    run(session, [&](TMainForm& w) {
        // The tree shows what each field becomes, and the template became it.
        ASSERT_FALSE(w.FFieldPanel->isHidden());
        ASSERT_EQ(w.tvFelder->topLevelItemCount(), 2 + 7);   // the host's two, then the recipient fields
        EXPECT_EQ(w.tvFelder->topLevelItem(2)->text(0), "Empfaenger.Anrede");
        EXPECT_EQ(w.tvFelder->topLevelItem(0)->text(0), "Projekt");
        EXPECT_EQ(w.tvFelder->topLevelItem(0)->text(1), "Neubau Lagerhalle Nord");
        EXPECT_EQ(w.tvFelder->topLevelItem(1)->text(1), "15.12.2026");
        EXPECT_EQ(w.edBetreff->text(), "Mängelanzeige Neubau Lagerhalle Nord");
        w.edBody->moveCursor(QTextCursor::End);
        emit w.tvFelder->itemDoubleClicked(w.tvFelder->topLevelItem(1), 0);
        EXPECT_TRUE(w.edBody->toPlainText().endsWith("bis zum 15.12.2026.<Frist>"));
        w.cbWerteEinfuegen->setCurrentIndex(0);
        emit w.cbWerteEinfuegen->activated(0);
        EXPECT_TRUE(w.edBody->toPlainText().endsWith("<Frist><Projekt>"));
        EXPECT_EQ(w.cbWerteEinfuegen->currentIndex(), -1);

        // Two files on the grid, then the same file again, a folder and a
        // web address on the window: the duplicate goes silently, the rest
        // is refused in one message.
        dropUrls(w.gridAnhang->viewport(), {QUrl::fromLocalFile(plan), QUrl::fromLocalFile(foto)});
        dropUrls(&w, {QUrl::fromLocalFile(plan), QUrl::fromLocalFile(site.Path("files/Ordner")),
                      QUrl("https://example.org/plan.pdf")});
        EXPECT_EQ(column(w.gridAnhang, 0), QStringList({"plan.pdf", "foto.jpg"}));
        EXPECT_EQ(w.gridAnhang->item(0, 0)->toolTip(), plan);
        EXPECT_EQ(column(w.gridAnhang, 1), QStringList({"301 KB", "3,50 MB"}));
        EXPECT_EQ(w.lbAnhangGesamt->text(), "Gesamt: 3,79 MB");
        EXPECT_TRUE(w.lbAnhangWarnung->isHidden());
        dropUrls(w.gridAnhang->viewport(), {QUrl::fromLocalFile(video)});
        EXPECT_EQ(w.lbAnhangGesamt->text(), "Gesamt: 24,79 MB");
        EXPECT_FALSE(w.lbAnhangWarnung->isHidden());

        // "Öffnen" leads the grid's menu and finds the deleted file gone.
        const QList<QAction*> menu = w.gridAnhang->actions();
        ASSERT_FALSE(menu.isEmpty());
        EXPECT_EQ(menu.first()->text(), "Öffnen");
        QFile::remove(foto);
        w.gridAnhang->setCurrentCell(1, 0);
        menu.first()->trigger();

        // A file dropped on the body or the subject attaches; the texts stay.
        const QString body = w.edBody->toPlainText();
        const QString subject = w.edBetreff->text();
        dropUrls(w.edBody->viewport(), {QUrl::fromLocalFile(writeFile(site.Path("files/notiz.txt"), 10))});
        dropUrls(w.edBetreff, {QUrl::fromLocalFile(writeFile(site.Path("files/liste.csv"), 10))});
        EXPECT_EQ(column(w.gridAnhang, 0), QStringList({"plan.pdf", "foto.jpg", "begehung.mp4", "notiz.txt", "liste.csv"}));
        EXPECT_EQ(w.edBody->toPlainText(), body);
        EXPECT_EQ(w.edBetreff->text(), subject);

        w.AddRecipientRow({"anna.schaefer@example.org", "Anna Schäfer", "Planungsbüro Nord", 0, 0, 0, TEmpfaengerTyp::elAn});
        w.resize(1366, 768);
        w.grab().save(QStringLiteral(KALVEX_SCREENSHOT_DIR "/compose-1366x768.png"));
        EXPECT_LE(w.pages->widget(0)->minimumSizeHint().width(), 1366);
        w.close();
    });
    const QStringList errors = user.Seen(QMessageBox::Critical);
    ASSERT_EQ(errors.size(), 2);
    EXPECT_EQ(errors[0], "„" + site.Path("files/Ordner") + "“ ist ein Ordner und kann nicht angehängt werden.\n"
                         "„https://example.org/plan.pdf“ ist keine Datei auf diesem Rechner und kann nicht angehängt werden.");
    EXPECT_EQ(errors[1], "Die Datei " + foto + " wurde verschoben oder gelöscht.");
}

// Without a template kind the tree goes with the template area.
TEST_F(ComposeJourney, NoTemplateKindNoFieldTree)
{
    TDistributionWindowSetup setup;
    setup.felder = &site.Fields;
    TDistributionSession session(setup);
    run(session, [](TMainForm& w) {
        EXPECT_FALSE(w.tvFelder->isVisible());
        EXPECT_FALSE(w.cbWerteEinfuegen->isVisible());
        EXPECT_TRUE(w.edEmpfaenger->isVisible());
        w.close();
    });
}

class RecipientLineJourney : public ComposeJourney {
protected:
    void SetUp() override
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "host-setup");
        QDir().mkpath(site.Path("pkz/AdressDB"));
        db.setDatabaseName(site.Path("pkz/AdressDB/AdressDB.db"));
        ASSERT_TRUE(db.open());
        QSqlQuery q(db);
        q.exec("CREATE TABLE Persdat (GUID TEXT, EMAIL TEXT, Vorname TEXT, Name TEXT, Firma TEXT, Firma2 TEXT)");
        q.exec("INSERT INTO Persdat VALUES ('{1}', 'b.albers@example.org', 'Bernd', 'Albers', 'Albers', 'Hochbau')");
        q.exec("INSERT INTO Persdat VALUES ('{2}', 'c.nord@example.org', 'Carla', 'Nord', 'Nordbau GmbH', '')");
        db.close();
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase("host-setup");
        TQMBDatabaseHandler& store = site.Module->Handler();
        TKontakt anna;
        anna.Vorname = "Anna";
        anna.Nachname = "Schäfer";
        anna.Firma = "Planungsbüro Nord";
        anna.EMail = "anna.schaefer@example.org";
        anna.Save(store, NeueGruppeAnlegen(store, "Kunden"));
        ASSERT_GT(anna.ID, 0);
    }
};

TEST_F(RecipientLineJourney, CompletionPastedListsAndKindsReachTheServer)
{
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    DemoInstallation::SendDirectTo(server.Port());
    TAdressDB adr(site.Path("pkz") + "/");
    adr.Load(QString(), "AdressDB", 2026);
    TDistributionWindowSetup setup;
    setup.adr = &adr;
    TDistributionSession session(setup);
    QStringList offered;
    run(session, [&](TMainForm& w) {
        QLineEdit* line = w.edEmpfaenger->edAdresse;
        QCompleter* completer = w.edEmpfaenger->FCompleter;
        // "nord": the own contact by its company, the host's by name and company.
        QTest::keyClicks(line, "nord");
        offered = popupEntries(completer);
        EXPECT_TRUE(completer->popup()->isVisible());
        EXPECT_FALSE(completer->popup()->currentIndex().isValid());   // nothing taken before the user picks
        QTest::keyClick(completer->popup(), Qt::Key_Down);     // the first suggestion
        QTest::keyClick(completer->popup(), Qt::Key_Return);
        EXPECT_EQ(line->text(), "");
        // By address, from the host only; Esc closes the list and nothing else.
        QTest::keyClicks(line, "albers@");
        EXPECT_EQ(popupEntries(completer), QStringList{"Bernd Albers – Albers Hochbau <b.albers@example.org>"});
        QTest::keyClick(completer->popup(), Qt::Key_Escape);
        EXPECT_FALSE(completer->popup()->isVisible());
        EXPECT_TRUE(w.isVisible());
        EXPECT_TRUE(user.Seen(QMessageBox::Question).isEmpty());
        line->clear();
        // A single match: Down highlights it, Enter takes it.
        QTest::keyClicks(line, "Bern");
        QTest::keyClick(completer->popup(), Qt::Key_Down);
        QTest::keyClick(completer->popup(), Qt::Key_Return);
        EXPECT_EQ(line->text(), "");

        // The preset kind sets the line's kind; a pasted list with one bad entry.
        w.rbVoreinstellung[1]->setChecked(true);
        EXPECT_EQ(w.edEmpfaenger->Kind(), TEmpfaengerTyp::elCc);
        line->setText("c.nord@example.org; Dora Ost <dora@ost.example>, kaputt@, anna.schaefer@example.org");
        QTest::keyClick(line, Qt::Key_Return);
        EXPECT_EQ(line->text(), "kaputt@");   // kept for correction
        line->clear();
        w.edEmpfaenger->cbArt->setCurrentIndex(2);
        QTest::keyClicks(line, "geheim@example.org");
        QTest::keyClick(line, Qt::Key_Return);
        // A whole address typed stays itself, though a suggestion contains it.
        QTest::keyClicks(line, "nord@example.org");
        EXPECT_TRUE(completer->popup()->isVisible());
        QTest::keyClick(completer->popup(), Qt::Key_Return);
        EXPECT_FALSE(completer->popup()->isVisible());

        w.edBetreff->setText("Baubesprechung");
        w.edBody->setPlainText("Guten Tag,");
        w.barbtSend->trigger();
        w.close();
    });
    EXPECT_EQ(offered, QStringList({"Anna Schäfer – Planungsbüro Nord <anna.schaefer@example.org>",
                                    "Carla Nord – Nordbau GmbH <c.nord@example.org>"}));
    const std::vector<TComposeRecipient>& rows = session.Window().Model().Recipients;
    ASSERT_EQ(rows.size(), 6u);   // Anna's second entry was a duplicate
    EXPECT_EQ(rows[0].name, "Anna Schäfer");
    EXPECT_EQ(rows[0].company, "Planungsbüro Nord");
    EXPECT_EQ(rows[0].kind, TEmpfaengerTyp::elAn);
    EXPECT_EQ(rows[1].email, "b.albers@example.org");
    EXPECT_EQ(rows[2].company, "Nordbau GmbH");   // known from the completion of "nord"
    EXPECT_EQ(rows[3].name, "Dora Ost");
    EXPECT_EQ(rows[5].email, "nord@example.org");
    EXPECT_EQ(rows[5].kind, TEmpfaengerTyp::elBcc);
    EXPECT_EQ(user.Seen(QMessageBox::Critical), QStringList{"Die Adresse kaputt@ scheint fehlerhaft zu sein."});

    ASSERT_EQ(server.MailCount(), 1);
    EXPECT_EQ(server.Envelope(1).mid(1), QStringList({"anna.schaefer@example.org", "b.albers@example.org", "c.nord@example.org",
                                                      "dora@ost.example", "geheim@example.org", "nord@example.org"}));
    const QStringList head = headers(server.MailFile(1));
    EXPECT_TRUE(header(head, "To").contains("anna.schaefer@example.org"));
    EXPECT_TRUE(header(head, "Cc").contains("c.nord@example.org"));
    EXPECT_TRUE(header(head, "Cc").contains("dora@ost.example"));
    EXPECT_FALSE(head.join("\n").contains("geheim"));   // Bcc stays off the headers
}

}  // namespace
