// The distribution window as the module opens it, wired to the mailing
// run, the store and a real SMTP server: a user applies a template, saves
// a draft, loads it again and sends; the lists show what happened.

#include "DemoInstallation.h"
#include "TestApp.h"
#include "smtp/SmtpServer.h"

#include "db/uDatenModul.h"
#include "entry/WindowWiring.h"
#include "ui/MainFormRules.h"
#include "ui/fMainForm.h"

#include <QLineEdit>
#include <QSqlDatabase>
#include <QTableWidget>
#include <QTextEdit>
#include <gtest/gtest.h>

using namespace kalvex;

TEST(DistributionSession, TemplateDraftAndSendEndToEnd)
{
    QSqlDatabase::connectionNames();
    kalvex::testing::WidgetApp();
    qputenv("KALVEX_AUTOCLOSE", "1");   // message boxes print instead of waiting
    kalvex::testing::DemoInstallation site;
    kalvex::testing::SmtpServer server({});
    ASSERT_TRUE(server.Running());
    site.SendDirectTo(server.Port());

    TDistributionWindowSetup setup;
    setup.art = site.Kind;
    setup.vorlage = site.TemplateDE;
    setup.felder = &site.Fields;
    setup.recipients = {{"anna.schaefer@example.org", "Anna Schäfer", "", 0, 0, 0, TEmpfaengerTyp::elAn}};
    TDistributionSession session(setup);
    TMainForm& w = session.Window();
    EXPECT_EQ(w.edBetreff->text(), "Mängelanzeige Neubau Lagerhalle Nord");
    EXPECT_TRUE(w.edBody->toPlainText().contains("2. Tür schließt nicht"));

    w.barbtSpeichereEntwurf->trigger();
    ASSERT_EQ(w.gridEntwuerfe->rowCount(), 1);
    EXPECT_EQ(w.gridEntwuerfe->item(0, 0)->text(), "Mängelanzeige Neubau Lagerhalle Nord");
    // The list holds no bodies: the draft list shows the start of the
    // draft's plain text, the draft opened is read whole from the store.
    TDatenModul* store = TDatenModul::Instance();
    ASSERT_NE(store, nullptr);
    ASSERT_EQ(store->FEMailListe.Count(), 1);
    EXPECT_TRUE(store->FEMailListe[0].FBodyRTF.isEmpty());
    const std::unique_ptr<TEMail> stored = store->LoadEMail(store->FEMailListe[0].FID);
    ASSERT_NE(stored, nullptr);
    EXPECT_TRUE(stored->FBodyPlain.contains("Tür schließt nicht"));
    EXPECT_EQ(w.gridEntwuerfe->item(0, 2)->text(), ShortenForDraftList(stored->FBodyPlain));
    w.edBetreff->setText("geändert");
    w.edBody->clear();
    w.gridEntwuerfe->selectRow(0);
    w.barbtEntwurfBearbeiten->trigger();
    EXPECT_EQ(w.edBetreff->text(), "Mängelanzeige Neubau Lagerhalle Nord");
    EXPECT_TRUE(w.edBody->toPlainText().contains("2. Tür schließt nicht"));
    ASSERT_EQ(w.Model().Recipients.size(), 1u);

    w.barbtSend->trigger();
    ASSERT_EQ(server.MailCount(), 1);
    EXPECT_EQ(server.Parsed(1).value("subject").toString(), "Mängelanzeige Neubau Lagerhalle Nord");
    ASSERT_EQ(w.gridGesendet->rowCount(), 1);
    EXPECT_EQ(w.gridGesendet->item(0, 1)->text(), "Mängelanzeige Neubau Lagerhalle Nord");
    // A follow-up of the sent mail takes its body from the store (the list has none).
    w.edBody->clear();
    w.gridGesendet->selectRow(0);
    w.barbtNachtrag->trigger();
    EXPECT_TRUE(w.edBetreff->text().endsWith("Mängelanzeige Neubau Lagerhalle Nord")) << w.edBetreff->text().toStdString();
    EXPECT_TRUE(w.edBody->toPlainText().contains("2. Tür schließt nicht")) << w.edBody->toPlainText().toStdString();
    qunsetenv("KALVEX_AUTOCLOSE");
}
