// The recipient window on a real SQLite store: address management writes
// through at once; selection takes valid addresses once each, with a kind.

#include "address/AdressDB.h"
#include "config/UserMessages.h"
#include "db/BasedbClasses.h"
#include "db/DBUpdater.h"
#include "ui/fEmpfWaehlen.h"

#include "entry/WindowWiring.h"

#include "DemoInstallation.h"
#include "SeededStore.h"
#include "TestApp.h"

#include <QAction>
#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QInputDialog>
#include <QLabel>
#include <QPushButton>
#include <QSqlQuery>
#include <QTimer>
#include <QSqlDatabase>
#include <QLineEdit>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTreeWidget>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

class AddressWindow : public ::testing::Test {
protected:
    void SetUp() override { FHandler = kalvex::testing::SeededStore(FDir); }
    TKontakt person(const QString& vorname, const QString& email)
    {
        TKontakt k;
        k.Vorname = vorname;
        k.Nachname = "Muster";
        k.EMail = email;
        return k;
    }
    void grab(QWidget& w, const QString& name)
    {
        w.show();
        w.grab().save(QString(KALVEX_SCREENSHOT_DIR) + "/" + name + ".png");
    }
    QTemporaryDir FDir;
    std::unique_ptr<TQMBDatabaseHandler> FHandler;
    TRecordingMessages FMessages;
};

}  // namespace

TEST_F(AddressWindow, ManagementWritesThroughToTheStore)
{
    TFormEmpfWaehlen w(*FHandler, nullptr, TEmpfWaehlenMode::emAdressVerwaltung, FMessages);
    const int32_t kunden = w.NeueGruppe("Kunden");
    const int32_t lieferanten = w.NeueGruppe("Lieferanten");
    const int32_t anna = w.KontaktSpeichern(kunden, person("Anna", "anna@example.org"));
    ASSERT_GT(anna, 0);
    w.GruppeUmbenennen(kunden, "Stammkunden");
    w.KontaktVerschieben(anna, lieferanten);
    grab(w, "address-management");

    TGruppenListe stored = LoadGruppenListeFromDB(*FHandler);
    EXPECT_EQ(stored.at(kunden)->Gruppenname, "Stammkunden");
    EXPECT_TRUE(stored.at(kunden)->Kontakte.empty());
    ASSERT_EQ(stored.at(lieferanten)->Kontakte.count(anna), 1u);
    EXPECT_EQ(stored.at(lieferanten)->Kontakte.at(anna)->EMail, "anna@example.org");
    EXPECT_EQ(w.tvAdressen->topLevelItemCount(), 2);

    FMessages.QueueAnswer(false);
    FMessages.QueueAnswer(true);
    w.GruppeLoeschen(lieferanten);   // "no": nothing happens
    EXPECT_EQ(LoadGruppenListeFromDB(*FHandler).count(lieferanten), 1u);
    w.GruppeLoeschen(lieferanten);   // "yes": the group and its contact go
    EXPECT_EQ(LoadGruppenListeFromDB(*FHandler).count(lieferanten), 0u);
    EXPECT_EQ(FHandler->CalcSQL_Int(-1, "select count(*) from KVXAdresse"), 0);
    EXPECT_TRUE(FMessages.Entries().front().text.contains("\"Lieferanten\" mit ihren 1 Kontakten"));

    const int32_t bob = w.KontaktSpeichern(kunden, person("Bob", "bob@example.org"));
    FMessages.QueueAnswer(true);
    w.KontaktLoeschen(bob);
    EXPECT_TRUE(LoadGruppenListeFromDB(*FHandler).at(kunden)->Kontakte.empty());
}

TEST_F(AddressWindow, SelectionTakesValidAddressesOnceWithTheirKind)
{
    const int32_t team = NeueGruppeAnlegen(*FHandler, "Team");
    const int32_t andere = NeueGruppeAnlegen(*FHandler, "Andere");
    TKontakt anna = person("Anna", "anna@example.org");
    anna.Save(*FHandler, team);
    TKontakt kaputt = person("Kaputt", "keine-adresse");
    kaputt.Save(*FHandler, team);
    TKontakt bob = person("Bob", "BOB@example.org");
    bob.Save(*FHandler, andere);

    TFormEmpfWaehlen w(*FHandler, nullptr, TEmpfWaehlenMode::emAuswahl, FMessages);
    w.SelectItem(team);
    w.AddSelectedAs(TEmpfaengerTyp::elAn);   // the whole group: the broken address is refused
    ASSERT_EQ(w.Result().size(), 1);
    EXPECT_TRUE(FMessages.Entries().back().text.contains("Kaputt Muster"));
    w.SelectItem(team, anna.ID);
    w.AddSelectedAs(TEmpfaengerTyp::elCc);   // already chosen: dropped
    w.SelectItem(andere, bob.ID);
    w.AddSelectedAs(TEmpfaengerTyp::elBcc);
    const QList<TComposeRecipient> result = w.Result();
    ASSERT_EQ(result.size(), 2);
    EXPECT_EQ(result[0].email, "anna@example.org");
    EXPECT_EQ(result[0].kind, TEmpfaengerTyp::elAn);
    EXPECT_EQ(result[0].kontaktId, anna.ID);
    EXPECT_EQ(result[1].kind, TEmpfaengerTyp::elBcc);
    EXPECT_EQ(w.gridAuswahl->item(1, 0)->text(), "Bcc");

    w.SetFilter("bob");   // groups without a match disappear
    EXPECT_TRUE(w.tvAdressen->topLevelItem(1)->isHidden() != w.tvAdressen->topLevelItem(0)->isHidden());
    w.SetFilter("");
    grab(w, "recipient-selection");

    TFormKontakt form(person("Neu", "falsch@"));
    form.accept();
    EXPECT_NE(form.result(), QDialog::Accepted);
    form.Fields()[3]->setText("richtig@example.org");
    form.accept();
    EXPECT_EQ(form.result(), QDialog::Accepted);
    EXPECT_EQ(form.Kontakt().EMail, "richtig@example.org");
}

// ------------------------------------------------------------------------
// The window as a user meets it: opened on the data module's store, driven
// through its buttons, context menu and input windows.

namespace {

// Answers the next modal window (input window or contact form) once it is open.
void answerNext(const std::function<void(QDialog&)>& answer)
{
    QTimer::singleShot(0, [answer] {
        if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget()))
            answer(*dialog);
    });
}

void answerText(const QString& text)
{
    answerNext([text](QDialog& d) {
        auto& input = dynamic_cast<QInputDialog&>(d);
        input.setTextValue(text);
        input.accept();
    });
}

QAction* command(const TFormEmpfWaehlen& w, const QString& text)
{
    for (QAction* a : w.Commands())
        if (a->text().startsWith(text))
            return a;
    ADD_FAILURE() << "no command " << text.toStdString();
    return nullptr;
}

QPushButton* buttonOf(const QWidget& w, const QString& text)
{
    for (QPushButton* b : w.findChildren<QPushButton*>())
        if (b->text() == text)
            return b;
    ADD_FAILURE() << "no button " << text.toStdString();
    return nullptr;
}

const TKontakt* storedContact(TQMBDatabaseHandler& handler, int32_t gruppe, const QString& email)
{
    static TGruppenListe stored;
    stored = LoadGruppenListeFromDB(handler);
    const auto g = stored.find(gruppe);
    if (g == stored.end())
        return nullptr;
    for (const auto& [id, k] : g->second->Kontakte)
        if (k->EMail == email)
            return k.get();
    return nullptr;
}

int32_t groupNamed(TQMBDatabaseHandler& handler, const QString& name)
{
    for (const auto& [id, g] : LoadGruppenListeFromDB(handler))
        if (g->Gruppenname == name)
            return id;
    return 0;
}

TKontakt contact(const QString& vorname, const QString& nachname, const QString& email, const QString& firma = {})
{
    TKontakt k;
    k.Vorname = vorname;
    k.Nachname = nachname;
    k.EMail = email;
    k.Firma = firma;
    return k;
}

// The host's address database as the host writes it.
void createHostDatabase(const QString& file)
{
    QDir().mkpath(QFileInfo(file).absolutePath());
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "host-setup");
        db.setDatabaseName(file);
        ASSERT_TRUE(db.open());
        QSqlQuery q(db);
        ASSERT_TRUE(q.exec("CREATE TABLE Persdat (GUID TEXT, EMAIL TEXT, Vorname TEXT, Name TEXT, Firma TEXT, Firma2 TEXT)"));
        ASSERT_TRUE(q.exec("INSERT INTO Persdat VALUES ('{00000000-0000-0000-0000-000000000001}', 'b.albers@example.org', "
                           "'Bernd', 'Albers', 'Albers', 'Hochbau')"));
        ASSERT_TRUE(q.exec("INSERT INTO Persdat VALUES ('{00000000-0000-0000-0000-000000000002}', '', "
                           "'Otto', 'Ohneadresse', '', '')"));
    }
    QSqlDatabase::removeDatabase("host-setup");
}

void saveShot(QWidget& w, const QString& file)
{
    w.show();
    QApplication::processEvents();   // the views lay themselves out later
    EXPECT_TRUE(w.grab().save(file));
}

}  // namespace

TEST(AddressWindowSession, UserManagesTheBookAndChoosesRecipients)
{
    QSqlDatabase::connectionNames();
    kalvex::testing::WidgetApp();
    kalvex::testing::DemoInstallation site;
    TQMBDatabaseHandler& store = site.Module->Handler();
    TRecordingMessages messages;

    // ---- address management
    {
        TFormEmpfWaehlen w(store, nullptr, TEmpfWaehlenMode::emAdressVerwaltung, messages);
        w.show();
        EXPECT_EQ(w.MyMode(), TEmpfWaehlenMode::emAdressVerwaltung);
        EXPECT_TRUE(w.tvAdressen->actions().contains(command(w, "Kontakt löschen")));   // the context menu
        EXPECT_FALSE(command(w, "Neuer Kontakt")->isEnabled());   // no group yet
        EXPECT_FALSE(buttonOf(w, "Gruppe umbenennen …")->isEnabled());

        answerText(" Kunden ");
        command(w, "Neue Gruppe")->trigger();
        const int32_t kunden = groupNamed(store, "Kunden");
        ASSERT_GT(kunden, 0);
        answerText("Lieferanten");
        buttonOf(w, "Neue Gruppe …")->click();
        const int32_t lieferanten = groupNamed(store, "Lieferanten");
        ASSERT_GT(lieferanten, 0);

        w.SelectItem(kunden);
        EXPECT_TRUE(buttonOf(w, "Gruppe umbenennen …")->isEnabled());
        EXPECT_FALSE(buttonOf(w, "Kontakt bearbeiten …")->isEnabled());
        QString refusedHint;
        answerNext([&refusedHint](QDialog& d) {
            auto& form = dynamic_cast<TFormKontakt&>(d);
            const QList<QLineEdit*> f = form.Fields();
            f[0]->setText("Anna");
            f[1]->setText("Muster");
            f[3]->setText("anna@");   // refused: the form stays open
            f[8]->setText("Köln");
            form.accept();
            for (const QLabel* label : form.findChildren<QLabel*>())
                if (label->text().contains("fehlerhaft"))
                    refusedHint = label->text();
            f[3]->setText("anna@example.org");
            form.accept();
        });
        command(w, "Neuer Kontakt")->trigger();
        EXPECT_TRUE(refusedHint.contains("anna@"));
        const TKontakt* anna = storedContact(store, kunden, "anna@example.org");
        ASSERT_NE(anna, nullptr);
        EXPECT_EQ(anna->Ort, "Köln");
        const int32_t annaId = anna->ID;

        w.SelectItem(kunden);
        answerText("Stammkunden");
        command(w, "Gruppe umbenennen")->trigger();
        EXPECT_EQ(LoadGruppenListeFromDB(store).at(kunden)->Gruppenname, "Stammkunden");

        w.SelectItem(kunden, annaId);
        QStringList offered;
        answerNext([&offered](QDialog& d) {
            auto& input = dynamic_cast<QInputDialog&>(d);
            offered = input.comboBoxItems();
            input.accept();
        });
        buttonOf(w, "In andere Gruppe verschieben …")->click();
        EXPECT_EQ(offered, QStringList{"Lieferanten"});   // not the group it is in
        ASSERT_NE(storedContact(store, lieferanten, "anna@example.org"), nullptr);
        EXPECT_TRUE(LoadGruppenListeFromDB(store).at(kunden)->Kontakte.empty());

        w.SelectItem(lieferanten, annaId);
        answerNext([](QDialog& d) {
            auto& form = dynamic_cast<TFormKontakt&>(d);
            form.Fields()[4]->setText("0221 12345");
            form.accept();
        });
        command(w, "Kontakt bearbeiten")->trigger();
        EXPECT_EQ(storedContact(store, lieferanten, "anna@example.org")->Telefon, "0221 12345");
        TFormKontakt shown(*storedContact(store, lieferanten, "anna@example.org"), &w);
        saveShot(shown, "/tmp/kalvex-contact-form.png");
        saveShot(w, "/tmp/kalvex-address-management.png");

        w.SelectItem(lieferanten, annaId);
        messages.QueueAnswer(false);
        command(w, "Kontakt löschen")->trigger();   // "no": kept
        ASSERT_NE(storedContact(store, lieferanten, "anna@example.org"), nullptr);
        messages.QueueAnswer(true);
        command(w, "Kontakt löschen")->trigger();
        EXPECT_TRUE(LoadGruppenListeFromDB(store).at(lieferanten)->Kontakte.empty());

        w.SelectItem(kunden);
        messages.QueueAnswer(true);
        buttonOf(w, "Gruppe löschen")->click();
        EXPECT_EQ(LoadGruppenListeFromDB(store).count(kunden), 0u);

        const int32_t bob = w.KontaktSpeichern(lieferanten, contact("Bob", "Beispiel", "bob@example.org"));
        w.SelectItem(lieferanten, bob);
        command(w, "In andere Gruppe verschieben")->trigger();   // only one group left: says so
        EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Information).last().contains("keine andere Gruppe"));

        w.resize(720, 480);
        buttonOf(w, "Schließen")->click();
        const TIniFile ini(TConfig::Ensure().ConfigIniFileName());
        EXPECT_EQ(ini.ReadInteger("FormEmpfWaehlen", "Breite", 0), 720);
        EXPECT_EQ(ini.ReadInteger("FormEmpfWaehlen", "Hoehe", 0), 480);
    }

    // ---- selection
    const int32_t team = NeueGruppeAnlegen(store, "Team");
    const int32_t andere = NeueGruppeAnlegen(store, "Andere");
    TKontakt anna = contact("Anna", "Muster", "anna@example.org");
    anna.Save(store, team);
    TKontakt kaputt = contact("Kaputt", "Muster", "keine-adresse");
    kaputt.Save(store, team);
    TKontakt zweite = contact("Anna", "Zweitadresse", "ANNA@example.org");
    zweite.Save(store, andere);
    TKontakt carl = contact("Carl", "Chef", "carl@example.org", "Bau GmbH");
    carl.Save(store, andere);

    TFormEmpfWaehlen w(store, nullptr, TEmpfWaehlenMode::emAuswahl, messages);
    EXPECT_EQ(w.width(), 720);   // the size it was left with
    w.SelectItem(team, kaputt.ID);
    EXPECT_FALSE(w.tvAdressen->currentItem()->toolTip(1).isEmpty());   // shown dimmed, with the reason

    w.SelectItem(team);
    buttonOf(w, "An →")->click();   // the whole group: the broken address is refused
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Information).last().contains("Kaputt Muster"));
    w.SelectItem(andere, carl.ID);
    command(w, "Bcc")->trigger();   // from the tree's context menu
    w.SelectItem(andere);
    buttonOf(w, "Cc →")->click();   // both already chosen (one under another spelling): dropped
    saveShot(w, "/tmp/kalvex-recipient-selection.png");

    w.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    EXPECT_EQ(w.result(), QDialog::Accepted);
    const QList<TComposeRecipient> result = w.Result();
    ASSERT_EQ(result.size(), 2);
    EXPECT_EQ(result[0].email, "anna@example.org");
    EXPECT_EQ(result[0].kind, TEmpfaengerTyp::elAn);
    EXPECT_EQ(result[0].kontaktId, anna.ID);
    EXPECT_EQ(result[1].email, "carl@example.org");
    EXPECT_EQ(result[1].kind, TEmpfaengerTyp::elBcc);
    EXPECT_EQ(result[1].company, "Bau GmbH");
    EXPECT_EQ(w.gridAuswahl->rowCount(), 2);
    EXPECT_EQ(w.gridAuswahl->item(1, 0)->text(), "Bcc");
    w.gridAuswahl->selectRow(0);
    buttonOf(w, "Aus Auswahl entfernen")->click();
    ASSERT_EQ(w.Result().size(), 1);
    EXPECT_EQ(w.Result()[0].email, "carl@example.org");

    // ---- the host's addresses, read when their page is looked at
    createHostDatabase(site.Path("pkz/AdressDB/AdressDB.db"));
    TAdressDB adr(site.Path("pkz") + "/");
    adr.Load(QString(), "AdressDB", 2026);
    ASSERT_TRUE(adr.IsOpen());
    TFormEmpfWaehlen host(store, &adr, TEmpfWaehlenMode::emAuswahl, messages);
    EXPECT_EQ(host.gridHost->rowCount(), 0);
    host.tabs->setCurrentIndex(1);
    ASSERT_EQ(host.gridHost->rowCount(), 2);
    host.gridHost->selectAll();
    buttonOf(host, "Cc →")->click();
    ASSERT_EQ(host.Result().size(), 1);   // the one without an address is refused
    EXPECT_EQ(host.Result()[0].email, "b.albers@example.org");
    EXPECT_EQ(host.Result()[0].name, "Bernd Albers");
    EXPECT_EQ(host.Result()[0].company, "Albers Hochbau");
    EXPECT_EQ(host.Result()[0].kind, TEmpfaengerTyp::elCc);
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Information).last().contains("Otto Ohneadresse"));
    saveShot(host, "/tmp/kalvex-host-addresses.png");

    // ---- the module opens the management mode on the data module's store
    TEmpfWaehlenMode opened = TEmpfWaehlenMode::emAuswahl;
    int groupsShown = 0;
    answerNext([&](QDialog& d) {
        auto& window = dynamic_cast<TFormEmpfWaehlen&>(d);
        opened = window.MyMode();
        groupsShown = window.tvAdressen->topLevelItemCount();
        window.reject();
    });
    RunAddressManagement(nullptr);
    EXPECT_EQ(opened, TEmpfWaehlenMode::emAdressVerwaltung);
    EXPECT_EQ(groupsShown, static_cast<int>(LoadGruppenListeFromDB(store).size()));
}
