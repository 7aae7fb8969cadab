// Template manager and text block manager on a real, seeded SQLite store.

#include "config/UserMessages.h"
#include "db/BasedbClasses.h"
#include "db/DBUpdater.h"
#include "ui/SpellLineEdit.h"
#include "ui/fVorlagen.h"

#include "SeededStore.h"
#include "TestApp.h"

#include <QComboBox>
#include <QLineEdit>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextEdit>
#include <QTextLayout>
#include <QTreeWidget>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

class TemplateWindows : public ::testing::Test {
protected:
    void SetUp() override { FHandler = kalvex::testing::SeededStore(FDir); }
    int countEntries(const QTreeWidget& tree)
    {
        int n = 0;
        for (int i = 0; i < tree.topLevelItemCount(); ++i)
            n += tree.topLevelItem(i)->childCount();
        return n;
    }
    QTemporaryDir FDir;
    std::unique_ptr<TQMBDatabaseHandler> FHandler;
    TRecordingMessages FMessages;
};

}  // namespace

TEST_F(TemplateWindows, TextBlocksAreChosenAndKeptApartFromTemplates)
{
    TFormVorlagen templates(*FHandler, FMessages, nullptr, 1031);
    const int32_t angebote = templates.NeueKategorie("Angebote");
    templates.NeuerEintrag(angebote);
    templates.edName->setText("Angebot Dach");
    templates.edBetreff->setText("Ihr Angebot <Projekt>");
    templates.edText->setPlainText("Sehr geehrte Damen und Herren,");
    ASSERT_TRUE(templates.Speichern());
    EXPECT_EQ(FHandler->CalcSQL_Int(0, "select Art from KVXVorlage where Name = 'Angebot Dach'"), 1);
    EXPECT_EQ(FHandler->CalcSQL_String("", "select Betreff from KVXVorlage where Name = 'Angebot Dach'"), "Ihr Angebot <Projekt>");

    TFormtextbausteine blocks(*FHandler, FMessages);
    EXPECT_EQ(countEntries(*blocks.tvVorlagen), 7);   // the seeded blocks, not the template
    const int32_t id = FHandler->CalcSQL_Int(0, "select ID from KVXVorlage where Name = 'Text 4'");
    const int32_t kat = FHandler->CalcSQL_Int(0, "select KategorieID from KVXVorlage where Name = 'Text 4'");
    blocks.Select(kat, id);
    blocks.InsertCurrent();
    EXPECT_EQ(blocks.result(), QDialog::Accepted);
    EXPECT_EQ(blocks.ChosenText(), FHandler->CalcSQL_String("", "select BodyRTF from KVXVorlage where ID = :id", {P("id", id)}));
    EXPECT_TRUE(blocks.ChosenText().contains("§ 8 Nr. 3 VOB/B"));

    TFormtextbausteine again(*FHandler, FMessages);
    again.NeuerEintrag(kat);
    again.edText->setPlainText("Mit freundlichen Grüßen");
    EXPECT_FALSE(again.Speichern());   // no name: refused with a hint
    EXPECT_EQ(FMessages.Entries().back().text, "Bitte geben Sie einen Namen ein.");
    again.edName->setText("Gruß");
    ASSERT_TRUE(again.Speichern());
    EXPECT_EQ(FHandler->CalcSQL_String("", "select BodyPlain from KVXVorlage where Name = 'Gruß' and Art = 0"),
              "Mit freundlichen Grüßen");
    EXPECT_EQ(countEntries(*again.tvVorlagen), 8);
}

// Both managers check the spelling of what is typed into their editors.
TEST_F(TemplateWindows, EditorsUnderlineMisspeltWords)
{
    TFormVorlagen templates(*FHandler, FMessages, nullptr, 1031);
    auto* subject = qobject_cast<TSpellLineEdit*>(templates.edBetreff);
    ASSERT_NE(subject, nullptr);
    subject->setText("Zahlungserinnerrung zu <Rechnung.Nummer>");
    EXPECT_EQ(subject->MisspeltRanges(), QList<TWordSpan>({{0, 19}}));
    TFormtextbausteine blocks(*FHandler, FMessages);
    for (QTextEdit* text : {templates.edText, blocks.edText}) {
        text->setPlainText("Bitte begleichen Sie die Rechnnung.");
        const QList<QTextLayout::FormatRange> formats = text->document()->firstBlock().layout()->formats();
        ASSERT_EQ(formats.size(), 1);
        EXPECT_EQ(formats[0].start, 25);
        EXPECT_EQ(formats[0].format.underlineStyle(), QTextCharFormat::WaveUnderline);
        EXPECT_EQ(text->contextMenuPolicy(), Qt::CustomContextMenu);   // the menu with the suggestions
    }
}

TEST_F(TemplateWindows, CategoriesAreRenamedAndDeletedWithTheirEntries)
{
    TFormVorlagen w(*FHandler, FMessages, nullptr, 1031);
    const int32_t k = w.NeueKategorie("Mahnungen");
    for (const char* name : {"Erste Mahnung", "Zweite Mahnung"}) {
        w.NeuerEintrag(k);
        w.edName->setText(name);
        ASSERT_TRUE(w.Speichern());
    }
    w.KategorieUmbenennen(k, "Zahlungserinnerungen");
    EXPECT_EQ(FHandler->CalcSQL_String("", "select Kategorie from KVXKategorie where ID = :id", {P("id", k)}), "Zahlungserinnerungen");
    EXPECT_EQ(w.cbKategorie->findText("Zahlungserinnerungen") >= 0, true);

    FMessages.QueueAnswer(true);
    w.Select(k, FHandler->CalcSQL_Int(0, "select ID from KVXVorlage where Name = 'Zweite Mahnung'"));
    ASSERT_NE(w.Current(), nullptr);
    w.EintragLoeschen();
    EXPECT_EQ(FHandler->CalcSQL_Int(0, "select count(*) from KVXVorlage where KategorieID = :k", {P("k", k)}), 1);
    FMessages.QueueAnswer(false);
    w.KategorieLoeschen(k);
    EXPECT_EQ(FHandler->CalcSQL_Int(0, "select count(*) from KVXKategorie where ID = :k", {P("k", k)}), 1);
    FMessages.QueueAnswer(true);
    w.KategorieLoeschen(k);
    EXPECT_EQ(FHandler->CalcSQL_Int(0, "select count(*) from KVXKategorie where ID = :k", {P("k", k)}), 0);
    EXPECT_EQ(FHandler->CalcSQL_Int(0, "select count(*) from KVXVorlage where KategorieID = :k", {P("k", k)}), 0);
    w.show();
    w.grab().save(QString(KALVEX_SCREENSHOT_DIR) + "/template-manager.png");
    TFormtextbausteine blocks(*FHandler, FMessages);
    blocks.Select(FHandler->CalcSQL_Int(0, "select KategorieID from KVXVorlage where Name = 'Text 4'"),
                  FHandler->CalcSQL_Int(0, "select ID from KVXVorlage where Name = 'Text 4'"));
    blocks.show();
    blocks.grab().save(QString(KALVEX_SCREENSHOT_DIR) + "/text-blocks.png");
}

#include "DemoInstallation.h"
#include "ui/fMainForm.h"

// The user picks a template in the distribution window: subject and body
// come merged with the host's fields, the repeat block once per row, in
// the window's language (block markers keep their German suffixes).
TEST(TemplateChoice, MergedOnceAtChoiceInBothLanguages)
{
    QSqlDatabase::connectionNames();
    kalvex::testing::WidgetApp();
    kalvex::testing::DemoInstallation site;
    for (const int32_t lang : {1031, 1033}) {
        TRecordingMessages messages;
        TMainForm form(messages, {}, QString(), false);
        form.SetFelder(&site.Fields);
        form.FVorlageArtGUID = site.Kind;
        form.InitializeVorlagenAuswahl(&site.Module->FProgrammVorlageListe, lang);
        const QUuid chosen = lang == 1031 ? site.TemplateDE : site.TemplateEN;
        const int index = form.cbVorlagen->findData(chosen);
        ASSERT_GE(index, 0);
        form.cbVorlagen->setCurrentIndex(index);
        emit form.cbVorlagen->activated(index);   // what a click on the entry sends
        EXPECT_EQ(form.FSelectedVorlageGUID, chosen);
        const QString body = form.edBody->toPlainText();
        if (lang == 1031) {
            EXPECT_EQ(form.edBetreff->text(), "Mängelanzeige Neubau Lagerhalle Nord");
            EXPECT_TRUE(body.contains("1. Risse im Estrich\n2. Tür schließt nicht\nBitte beseitigen Sie sie bis zum 15.12.2026."))
                << body.toStdString();
        } else {
            EXPECT_EQ(form.edBetreff->text(), "Defect notice Neubau Lagerhalle Nord");
            EXPECT_TRUE(body.contains("2. Tür schließt nicht\nPlease remedy them by 15.12.2026.")) << body.toStdString();
        }
        EXPECT_TRUE(messages.Entries().empty());
    }
}

#include "config/IniPlus.h"

#include <QSplitter>

// The template window comes back in the size the user left it, under the
// keys the settings file has always used.
TEST(TemplateChoice, WindowSizeAndPanelWidthPersist)
{
    QSqlDatabase::connectionNames();
    kalvex::testing::WidgetApp();
    kalvex::testing::DemoInstallation site;
    TRecordingMessages messages;
    {
        TFormVorlagen w(site.Module->Handler(), messages, nullptr, 1031);
        w.show();
        w.resize(760, 480);
        w.findChild<QSplitter*>()->setSizes({300, 460});
        w.reject();   // what "Schließen" does
    }
    const TIniFile ini(TConfig::Ensure().ConfigIniFileName());
    EXPECT_EQ(ini.ReadInteger("FormVorlagen", "Breite", 0), 760);
    EXPECT_EQ(ini.ReadInteger("FormVorlagen", "Hoehe", 0), 480);
    EXPECT_GT(ini.ReadInteger("FormVorlagen", "pnTopLeft", 0), 200);
    TFormVorlagen again(site.Module->Handler(), messages, nullptr, 1031);
    EXPECT_EQ(again.width(), 760);
    EXPECT_EQ(again.height(), 480);
}
