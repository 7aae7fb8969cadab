// How the distribution window reads on a laptop screen: in English, in the
// dark scheme, with its ribbon at the default width, its lists and the
// sender it will send as.

#include "DemoInstallation.h"
#include "TestApp.h"

#include "ui/RecipientEntry.h"
#include "ui/RibbonGroup.h"
#include "ui/fAdresseManuell.h"
#include "ui/fDarstellung.h"
#include "ui/fGesendeteMail.h"
#include "ui/fMainForm.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSqlDatabase>
#include <QTabWidget>
#include <QTableWidget>
#include <QToolButton>
#include <QTreeWidget>
#include <gtest/gtest.h>
#include <cmath>

using namespace kalvex;

namespace {

struct TAppFirst {
    TAppFirst()
    {
        QSqlDatabase::connectionNames();
        kalvex::testing::WidgetApp();
    }
};

class WindowReading : public ::testing::Test {
protected:
    void language(int32_t lang)
    {
        TLang::Install(std::make_unique<TLang>(QFileInfo(QStringLiteral(KALVEX_TRANSLATIONS_DB)).absolutePath()))
            .SetLanguage(lang);
    }
    TMainFormServices services()
    {
        TMainFormServices s;
        s.mails = [this]() -> const TEMailListe* { return &site.Module->FEMailListe; };
        return s;
    }
    TAppFirst app;
    kalvex::testing::DemoInstallation site;
    TRecordingMessages messages;
};

// WCAG contrast of two colours: 4.5 is what body text needs.
double contrast(const QColor& a, const QColor& b)
{
    const auto luminance = [](const QColor& c) {
        const auto channel = [](double v) { return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
        return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) + 0.0722 * channel(c.blueF());
    };
    const double la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

QColor textColour(const QLabel* label)
{
    return label->palette().color(label->isEnabled() ? QPalette::Active : QPalette::Disabled, label->foregroundRole());
}

QList<QToolButton*> commandButtons(QWidget* tab)
{
    QList<QToolButton*> buttons;
    for (TRibbonGroup* group : static_cast<TRibbonTab*>(tab)->Groups())
        for (QToolButton* b : group->findChildren<QToolButton*>())
            if (b->defaultAction())
                buttons << b;
    return buttons;
}

}  // namespace

// The kinds and the stored "Gesendet durch" values read in English; the
// store keeps the German values.
TEST_F(WindowReading, EnglishShowsToAndTranslatedSenders)
{
    language(1033);
    TEMail sent;
    sent.FBetreff = "Defect notice";
    sent.FSender = TMailSender::msStandardClient;
    sent.FGesendetDurch = MailSenderText(sent.FSender);
    sent.FLEmpfaenger.Add().FAdresse = "anna.schaefer@example.org";
    site.Module->SaveEMail(sent, TMailStatus::stGesendet);
    site.LogMail("Draft: acceptance date", TMailStatus::stEntwurf);
    site.Module->LoadEMailListeFromDB(true);
    TMainForm form(messages, services(), QString(), false);
    form.FillMailLists();
    form.AddRecipientRow({"b.albers@example.org", "", "", 0, 0, 0, TEmpfaengerTyp::elAn});
    EXPECT_EQ(form.rbVoreinstellung[0]->text(), "To");
    EXPECT_EQ(form.edEmpfaenger->cbArt->itemText(0), "To");
    EXPECT_EQ(static_cast<QComboBox*>(form.gridEmpf->cellWidget(0, 6))->currentText(), "To");
    ASSERT_EQ(form.gridEntwuerfe->rowCount(), 1);
    EXPECT_EQ(form.gridEntwuerfe->item(0, 5)->text(), "To");
    ASSERT_EQ(form.gridGesendet->rowCount(), 1);
    EXPECT_EQ(form.gridGesendet->item(0, 5)->text(), "default mail program");
    const TEMail* stored = nullptr;
    for (const auto& m : site.Module->FEMailListe)
        if (m->FStatus == TMailStatus::stGesendet)
            stored = m.get();
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->FGesendetDurch, "Standard-E-Mail-Client");
    TFormGesendeteMail view(*stored, messages);
    EXPECT_TRUE(view.lbEmpfaenger->text().startsWith("To: ")) << view.lbEmpfaenger->text().toStdString();
}

// At the width a laptop gives the window, and narrower, commands of groups
// of one stay buttons; icons sit right above their captions.
TEST_F(WindowReading, RibbonKeepsSingleCommandsAndIconsOnTheirCaptions)
{
    language(1031);
    TMainForm form(messages, services(), QString(), false);
    for (int width : {1180, 900, 700}) {
        form.resize(width, 700);
        form.show();
        QApplication::processEvents();
        SCOPED_TRACE(width);
        for (TRibbonGroup* group : static_cast<TRibbonTab*>(form.ribbon->widget(0))->Groups())
            if (group->Commands().size() == 1) {
                EXPECT_FALSE(group->IsCollapsed()) << CommandName(group->Commands().first()).toStdString();
            }
        QStringList visible;
        for (QToolButton* b : commandButtons(form.ribbon->widget(0)))
            if (b->isVisible())
                visible << b->defaultAction()->objectName();
        EXPECT_TRUE(visible.contains("barbtProgrammBeenden"));
        EXPECT_TRUE(visible.contains("barbtHelp"));
    }
    form.resize(1366, 736);
    for (int pass = 0; pass < 5; ++pass)   // each group that unfolds asks for one more layout pass
        QApplication::processEvents();
    for (QToolButton* b : commandButtons(form.ribbon->widget(0)))
        if (b->isVisible()) {
            EXPECT_EQ(b->height(), b->sizeHint().height()) << b->defaultAction()->objectName().toStdString();
        }
}

// The dark scheme: the status line and the check boxes and radio buttons
// stand out from the window.
TEST_F(WindowReading, DarkSchemeKeepsStatusLineAndIndicatorsReadable)
{
    TConfig& config = TConfig::Ensure();
    config.FVersandart = TVersandArt::vaDirekt;
    config.FHost = "smtp.example.org";
    config.FVerbindungVerschluesselt = false;
    TMainForm form(messages, services(), QString(), false);
    form.show();
    TDisplaySettings dark;
    dark.scheme = TFarbschema::fsDunkel;
    form.ApplyDisplaySettings(dark);
    const QColor window = form.palette().color(QPalette::Window);
    for (int panel : {0, 5})
        EXPECT_GE(contrast(textColour(form.statusPanels[panel]), window), 4.5) << panel;

    const QImage box = form.chbSeperatSenden->grab().toImage();
    QStyleOptionButton option;
    option.initFrom(form.chbSeperatSenden);
    const QRect indicator =
        form.chbSeperatSenden->style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, form.chbSeperatSenden);
    double best = 1;
    for (int x = indicator.left(); x <= indicator.right(); ++x)
        for (int y = indicator.top(); y <= indicator.bottom(); ++y)
            best = std::max(best, contrast(box.pixelColor(x * box.width() / form.chbSeperatSenden->width(),
                                                          y * box.height() / form.chbSeperatSenden->height()),
                                           window));
    EXPECT_GE(best, 1.8);   // the box stands out from the window
    form.hide();
}

// Lists give the room to what matters; the window shows who sends.
TEST_F(WindowReading, ListsFieldsAndSender)
{
    language(1031);
    TEMail sent;
    sent.FBetreff = "Mängelanzeige Neubau Lagerhalle Nord";
    for (int i = 0; i < 12; ++i)
        sent.FLEmpfaenger.Add().FAdresse = QString("empfaenger%1@nachunternehmer.example.org").arg(i);
    site.Module->SaveEMail(sent, TMailStatus::stGesendet);
    site.Module->LoadEMailListeFromDB(true);
    TConfig& config = TConfig::Ensure();
    config.FVersandart = TVersandArt::vaDirekt;
    config.FUser = "bauleitung@example.org";
    config.FAbsenderName = "Bauleitung Nord";
    config.FUserNotLikeMailAddress = false;
    config.FUserName.clear();
    TMainForm form(messages, services(), QString(), false);
    form.SetFelder(&site.Fields);
    form.FVorlageArtGUID = site.Kind;
    form.InitializeVorlagenAuswahl(&site.Module->FProgrammVorlageListe, 1031);
    form.UpdateStatusLine(config);
    form.FillMailLists();
    form.resize(1366, 736);
    form.show();
    QApplication::processEvents();

    EXPECT_EQ(form.lbVon->text(), "Bauleitung Nord <bauleitung@example.org>");
    EXPECT_FALSE(form.lbVon->isHidden());
    EXPECT_EQ(form.statusPanels[3]->text(), "Sender: bauleitung@example.org");
    EXPECT_EQ(form.statusPanels[5]->text(), "Verschlüsselung: inaktiv");

    // The recipient fields show the first recipient at once.
    form.AddRecipientRow({"anna.schaefer@example.org", "Anna Schäfer", "Planungsbüro Nord", 0, 0, 0, TEmpfaengerTyp::elAn});
    QStringList recipientValues;
    for (int i = 0; i < form.tvFelder->topLevelItemCount(); ++i)
        if (form.tvFelder->topLevelItem(i)->text(0).startsWith("Empfaenger."))
            recipientValues << form.tvFelder->topLevelItem(i)->text(1);
    EXPECT_TRUE(recipientValues.join("|").contains("Schäfer")) << recipientValues.join("|").toStdString();
    EXPECT_GE(form.tvFelder->columnWidth(1), form.tvFelder->fontMetrics().horizontalAdvance("Neubau Lagerhalle Nord"));

    form.ribbon->setCurrentIndex(1);
    QApplication::processEvents();
    EXPECT_GT(form.gridGesendet->columnWidth(1), form.gridGesendet->columnWidth(3));   // subject over recipients
    form.ribbon->setCurrentIndex(0);
    QApplication::processEvents();
    EXPECT_GE(form.gridEmpf->viewport()->height(), 6 * form.gridEmpf->verticalHeader()->defaultSectionSize());

    TFormAdresseManuell manual;
    manual.show();
    EXPECT_GE(manual.findChild<QLineEdit*>()->width(), 300);
    EXPECT_GE(manual.width(), manual.fontMetrics().horizontalAdvance(manual.windowTitle()) + 100);
}
