// The distribution window as the module builds it, in German and English:
// it fits a 1366 x 768 laptop with every command reachable, its tooltips
// and shortcut overview name the keys in the interface language, Qt's own
// texts and the lists' dates follow that language, and the appearance
// settings show at once, are kept, and are taken back on Cancel.

#include "DemoInstallation.h"
#include "TestApp.h"

#include "config/InterfaceLocale.h"
#include "config/UserMessages.h"
#include "entry/WindowWiring.h"
#include "mailinterface/EMail.h"
#include "send/ComposeModel.h"
#include "ui/RibbonGroup.h"
#include "ui/fDarstellung.h"
#include "ui/fMainForm.h"

#include <QAction>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QSpinBox>
#include <QMenu>
#include <QPushButton>
#include <QRegularExpression>
#include <QScrollBar>
#include <QSqlDatabase>
#include <QStyle>
#include <QIcon>
#include <QStyleFactory>
#include <QTabWidget>
#include <QTableWidget>
#include <QTextEdit>
#include <QTimer>
#include <QToolButton>
#include <gtest/gtest.h>
#include <memory>

using namespace kalvex;

namespace {

// What TMail does before it opens a window: the language of the call.
void useLanguage(int32_t lang)
{
    TLang::Install(std::make_unique<TLang>(QFileInfo(QStringLiteral(KALVEX_TRANSLATIONS_DB)).absolutePath()))
        .SetLanguage(lang);
}

struct Session {
    explicit Session(int32_t lang, bool withKind = true)
    {
        QSqlDatabase::connectionNames();
        kalvex::testing::WidgetApp();
        useLanguage(lang);
        site.LogMail("Mängelanzeige", TMailStatus::stGesendet);
        TDistributionWindowSetup setup;
        setup.art = withKind ? site.Kind : QUuid();
        setup.felder = &site.Fields;
        setup.lang = lang;
        setup.recipients = {{"anna.schaefer@example.org", "Anna Schäfer", "Schäfer Hochbau GmbH", 0, 0, 0,
                             TEmpfaengerTyp::elAn}};
        session = std::make_unique<TDistributionSession>(setup);
    }
    TMainForm& window() { return session->Window(); }

    kalvex::testing::DemoInstallation site;
    std::unique_ptr<TDistributionSession> session;
};

QList<TRibbonGroup*> groupsOf(TMainForm& w, int tab)
{
    return static_cast<TRibbonTab*>(w.ribbon->widget(tab))->Groups();
}

// Each command of a group is a visible button, or an entry of the menu of
// the group's drop-down.
void expectReachable(TRibbonGroup* group)
{
    for (QAction* command : group->Commands()) {
        if (!command->isVisible())
            continue;
        if (group->IsCollapsed()) {
            EXPECT_TRUE(group->DropDown()->isVisible());
            EXPECT_TRUE(group->DropDown()->menu()->actions().contains(command)) << CommandName(command).toStdString();
            continue;
        }
        bool shown = false;
        for (QToolButton* button : group->findChildren<QToolButton*>())
            shown = shown || (button->defaultAction() == command && button->isVisible());
        EXPECT_TRUE(shown) << CommandName(command).toStdString();
    }
}

}  // namespace

TEST(Shell, WindowFitsALaptopScreenWithEveryCommandReachable)
{
    for (const int32_t lang : {1031, 1033}) {
        SCOPED_TRACE(lang);
        Session s(lang);
        TMainForm& w = s.window();
        w.show();
        QApplication::processEvents();
        const QSize minimum = w.minimumSizeHint();
        EXPECT_LE(minimum.width(), 1280);
        EXPECT_LE(minimum.height(), 768 - 60);   // title bar and desktop panel
        EXPECT_LE(w.width(), 1366);
        EXPECT_LE(w.height(), 768);

        w.resize(minimum.width(), 700);
        int collapsed = 0;
        for (int tab = 0; tab < w.ribbon->count(); ++tab) {
            w.ribbon->setCurrentIndex(tab);
            QApplication::processEvents();
            for (TRibbonGroup* group : groupsOf(w, tab)) {
                expectReachable(group);
                collapsed += group->IsCollapsed() ? 1 : 0;
            }
        }
        EXPECT_GT(collapsed, 0);   // the narrow window needs its drop-downs

        w.ribbon->setCurrentIndex(5);
        QApplication::processEvents();
        TRibbonGroup* settings = groupsOf(w, 5).first();
        ASSERT_TRUE(settings->Commands().contains(w.rbbtSearch));
        if (settings->IsCollapsed())
            settings->DropDown()->menu()->actions().at(settings->Commands().indexOf(w.rbbtSearch))->trigger();
        else
            w.rbbtSearch->trigger();
        EXPECT_TRUE(w.FSearchPanel->isVisible());

        w.resize(3000, 700);
        w.ribbon->setCurrentIndex(0);
        QApplication::processEvents();
        for (TRibbonGroup* group : groupsOf(w, 0))
            EXPECT_FALSE(group->IsCollapsed());   // room enough: every button shows
    }
}

TEST(Shell, TooltipsAndShortcutOverviewNameTheKeysInTheInterfaceLanguage)
{
    {
        Session s(1031);
        EXPECT_EQ(s.window().barbtSend->toolTip(), "Senden (Strg+Eingabe)");
        EXPECT_EQ(s.window().barbtAddAttachment->toolTip(), "Anhang hinzufügen (Strg+Umschalt+A)");
        EXPECT_EQ(s.window().barbtDeleteContact->toolTip(), "Empfänger entfernen");
        TFormTastenkombinationen keys(s.window().actions());
        keys.show();
        QApplication::processEvents();
        QStringList texts;
        for (int r = 0; r < keys.gridTasten->rowCount(); ++r)
            texts << keys.gridTasten->item(r, 0)->text() + " = " + keys.gridTasten->item(r, 1)->text();
        EXPECT_TRUE(texts.contains("Anhang hinzufügen = Strg+Umschalt+A")) << texts.join("; ").toStdString();
        EXPECT_TRUE(texts.contains("Senden = Strg+Eingabe"));
        EXPECT_FALSE(keys.gridTasten->verticalScrollBar()->isVisible());
        EXPECT_FALSE(keys.gridTasten->horizontalScrollBar()->isVisible());
    }
    Session s(1033);
    EXPECT_EQ(s.window().barbtSend->toolTip(), "Send (Ctrl+Return)");
    EXPECT_EQ(s.window().barbtAddAttachment->toolTip(), "Add attachment (Ctrl+Shift+A)");
}

TEST(Shell, QtOwnTextsDatesAndNumbersFollowTheInterfaceLanguage)
{
    const auto cancelText = [] {
        QDialogButtonBox box(QDialogButtonBox::Cancel);
        return box.button(QDialogButtonBox::Cancel)->text();
    };
    const auto menuTexts = [] {
        QTextEdit editor;
        editor.setPlainText("Text");
        std::unique_ptr<QMenu> menu(editor.createStandardContextMenu());
        QStringList texts;
        for (const QAction* a : menu->actions())
            texts << a->text();
        return texts.join('|');
    };
    {
        Session s(1031);
        EXPECT_TRUE(QtCataloguesLoaded());
        EXPECT_TRUE(menuTexts().contains("&Rückgängig")) << menuTexts().toStdString();
        EXPECT_EQ(cancelText().remove(QLatin1Char('&')), "Abbrechen");
        const QString date = s.window().gridGesendet->item(0, 2)->text();
        EXPECT_EQ(date, ListDateTime(DaysToDateTime(46348.4)));
        EXPECT_TRUE(date.contains(QRegularExpression("^\\d\\d\\.\\d\\d\\.\\d\\d \\d\\d:\\d\\d$"))) << date.toStdString();
        EXPECT_EQ(FormatSizeMB(2.5), "2,50");
        EXPECT_EQ(FormatSizeMB(1234.5), "1234,50");
    }
    EXPECT_FALSE(QtCataloguesLoaded());   // the window's call is over: the host's texts again
    Session s(1033);
    EXPECT_FALSE(QtCataloguesLoaded());
    EXPECT_TRUE(menuTexts().contains("&Undo"));
    EXPECT_EQ(cancelText().remove(QLatin1Char('&')), "Cancel");
    const QString date = s.window().gridGesendet->item(0, 2)->text();
    EXPECT_TRUE(date.contains(QRegularExpression("^\\d\\d?/\\d\\d?/\\d\\d "))) << date.toStdString();
    EXPECT_EQ(FormatSizeMB(0.001), "0.01");
}

namespace {

// Opens "Darstellung" from the window, lets pick() work in the open
// dialog, and answers with OK or Cancel.
void editAppearance(TMainForm& w, const std::function<void(TFormDarstellung&)>& pick, bool ok)
{
    QTimer::singleShot(0, &w, [&] {
        auto* dialog = qobject_cast<TFormDarstellung*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        pick(*dialog);
        ok ? dialog->accept() : dialog->reject();
    });
    w.barbtSetupDarstellung->trigger();
}

bool dark(const QWidget& w)
{
    return w.palette().color(QPalette::Window).lightnessF() < 0.3;
}

}  // namespace

TEST(Shell, AppearanceShowsAtOnceIsKeptAndCancelTakesItBack)
{
    Session s(1031);
    TMainForm& w = s.window();
    const QColor highlight = w.palette().color(QPalette::Highlight);
    ASSERT_FALSE(dark(w));
    ASSERT_TRUE(QStyleFactory::keys().contains("Windows"));
    editAppearance(w, [&](TFormDarstellung& d) {
        d.cbFarbschema->setCurrentIndex(2);
        d.cbStil->setCurrentIndex(d.cbStil->findData("Windows"));
        EXPECT_TRUE(dark(w));   // live, while the dialog is open
        EXPECT_TRUE(dark(d));
        EXPECT_EQ(QIcon::themeName(), "breeze-dark");   // icons drawn for a dark background
        EXPECT_EQ(w.gridGesendet->style()->name(), "windows");
    }, false);
    EXPECT_FALSE(dark(w));
    EXPECT_EQ(QIcon::themeName(), "breeze");
    EXPECT_EQ(w.gridGesendet->style(), QApplication::style());
    const QString ini = TConfig::Ensure().ConfigIniFileName();
    EXPECT_EQ(TIniFile(ini).ReadString("Darstellung", "Farbschema", "-"), "-");

    editAppearance(w, [&](TFormDarstellung& d) {
        d.cbFarbschema->setCurrentIndex(2);
        d.SetAccent(QColor("#c0392b"));
        d.cbStil->setCurrentIndex(d.cbStil->findData("Windows"));
        d.seSchriftgroesse->setValue(13);
    }, true);
    const TIniFile kept(ini);
    EXPECT_EQ(kept.ReadString("Darstellung", "Farbschema", ""), "dunkel");
    EXPECT_EQ(kept.ReadString("Darstellung", "Akzent", ""), "#c0392b");
    EXPECT_EQ(kept.ReadString("Darstellung", "Stil", ""), "Windows");
    EXPECT_EQ(kept.ReadInteger("Darstellung", "FontSize", 0), 13);

    TRecordingMessages messages;
    TMainForm again(messages, {}, QString(), false);   // reads what was kept
    EXPECT_TRUE(dark(again));
    EXPECT_EQ(again.palette().color(QPalette::Highlight), QColor("#c0392b"));
    EXPECT_EQ(again.edBetreff->style()->name(), "windows");

    editAppearance(w, [&](TFormDarstellung& d) {
        d.cbFarbschema->setCurrentIndex(0);
        d.SetAccent(QColor());
        d.cbStil->setCurrentIndex(0);
    }, true);
    EXPECT_FALSE(dark(w));
    EXPECT_EQ(w.palette().color(QPalette::Highlight), highlight);
    EXPECT_EQ(TIniFile(ini).ReadString("Darstellung", "Farbschema", ""), "System");
}

TEST(Shell, TemplateCommandsFollowTheKindAndTheHelpButtonOpensHelp)
{
    {
        Session s(1031, false);
        TMainForm& w = s.window();
        w.show();
        QApplication::processEvents();
        EXPECT_FALSE(w.btVorlagen->isVisible());
        for (TRibbonGroup* group : groupsOf(w, 0))
            EXPECT_FALSE(group->Commands().contains(w.btVorlagen));   // the group is gone
        EXPECT_FALSE(w.cbVorlagen->isVisible());
    }
    Session s(1031);
    TMainForm& w = s.window();
    w.show();
    QApplication::processEvents();
    EXPECT_TRUE(w.btVorlagen->isVisible());
    auto* help = w.findChild<QToolButton*>("btVorlagenHilfe");
    ASSERT_NE(help, nullptr);
    EXPECT_TRUE(help->isVisible());
    QObject::disconnect(w.barbtHelp, &QAction::triggered, nullptr, nullptr);   // no browser in the test
    int helpShown = 0;
    QObject::connect(w.barbtHelp, &QAction::triggered, [&] { ++helpShown; });
    help->click();
    EXPECT_EQ(helpShown, 1);
    EXPECT_TRUE(w.gridGesendet->actions().contains(w.barbtSetupDarstellung));
}
