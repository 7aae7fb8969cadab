// The recipient window on a real SQLite store: address management writes
// through at once; selection takes valid addresses once each, with a kind.

#include "config/UserMessages.h"
#include "db/BasedbClasses.h"
#include "db/DBUpdater.h"
#include "ui/fEmpfWaehlen.h"

#include "SeededStore.h"
#include "TestApp.h"

#include <QLabel>
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
