#include "compose/SpellChecker.h"
#include "compose/SpellDictionary.h"
#include "config/LanguageUnit.h"
#include "config/UserMessages.h"
#include "ui/SpellLineEdit.h"
#include "ui/Spelling.h"
#include "ui/TextEditSpelling.h"
#include "ui/fMainForm.h"

#include <QAction>
#include <QApplication>
#include <QInputDevice>
#include <QContextMenuEvent>
#include <QFile>
#include <QMenu>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextEdit>
#include <QTextLayout>
#include <QTimer>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

std::shared_ptr<const THunspellDictionary> german()
{
    return TSpellDictionaries::Shared(TSpellDictionaries::DefaultFolder, "de_DE");
}

// The words of a paragraph that carry the wavy underline.
// Spelling's red waves, not the marks of recipient fields.
QStringList underlined(const QTextBlock& block)
{
    QStringList words;
    for (const QTextLayout::FormatRange& r : block.layout()->formats())
        if (r.format.underlineStyle() == QTextCharFormat::WaveUnderline && r.format.underlineColor() == QColor(Qt::red))
            words << block.text().mid(r.start, r.length);
    return words;
}

QStringList underlined(const QTextEdit& edit, int paragraph)
{
    return underlined(edit.document()->findBlockByNumber(paragraph));
}

QStringList misspelt(TSpellLineEdit& edit)
{
    QStringList words;
    for (const TWordSpan& w : edit.MisspeltRanges())
        words << edit.text().mid(w.start, w.length);
    return words;
}

QStringList texts(const QMenu& menu)
{
    QStringList result;
    for (const QAction* a : menu.actions())
        if (!a->isSeparator())
            result << a->text();
    return result;
}

QAction* action(const QMenu& menu, const QString& text)
{
    for (QAction* a : menu.actions())
        if (a->text() == text || a->objectName() == text)
            return a;
    ADD_FAILURE() << "no " << text.toStdString() << " in " << texts(menu).join(" | ").toStdString();
    static QAction none;
    return &none;
}

// Right-clicks target at pos and hands the open pop-up menu to use; the
// menu closes afterwards. Returns the menu's texts.
QStringList rightClick(QWidget* target, QPoint pos, const std::function<void(QMenu&)>& use = {})
{
    QStringList seen;
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (!menu)
            return;
        seen = texts(*menu);
        if (use)
            use(*menu);
        menu->close();
    });
    timer.start(0);
    QContextMenuEvent event(QContextMenuEvent::Mouse, pos, target->mapToGlobal(pos));
    QApplication::sendEvent(target, &event);
    return seen;
}

// The middle of the character at position in paragraph, in viewport coordinates.
QPoint pointAt(QTextEdit& edit, int paragraph, int position)
{
    QTextCursor cursor(edit.document()->findBlockByNumber(paragraph));
    cursor.setPosition(cursor.block().position() + position);
    return edit.cursorRect(cursor).center() + QPoint(3, 0);
}

QPoint pointAt(TSpellLineEdit& edit, int position)
{
    return {edit.TextX(position) + 3, edit.height() / 2};
}

}  // namespace

TEST(Spelling, BodyUnderlinesPerParagraphAsOneTypes)
{
    TSpellChecker checker(german(), QString());
    QTextEdit edit;
    TTextEditSpelling::Attach(&edit, &checker);
    edit.setPlainText(QString::fromUtf8("Die Rechnnung kommt.\n<Kunde.Name> schreibt Grüsse an info@firmaa.de, "
                                        "https://www.beispeil.de und 3 MWST-Belege"));
    EXPECT_EQ(underlined(edit, 0), QStringList({"Rechnnung"}));
    EXPECT_EQ(underlined(edit, 1), QStringList({QString::fromUtf8("Grüsse")}));

    QTextCursor typing(edit.document()->findBlockByNumber(0));
    typing.movePosition(QTextCursor::EndOfBlock);
    typing.insertText(" Mahnnung");
    EXPECT_EQ(underlined(edit, 0), QStringList({"Rechnnung", "Mahnnung"}));
    typing.insertText("\nNeue Zeille");
    EXPECT_EQ(underlined(edit, 1), QStringList({"Zeille"}));
    EXPECT_EQ(underlined(edit, 2), QStringList({QString::fromUtf8("Grüsse")}));
    // The underline is the editor's only: what is stored and sent has none.
    EXPECT_FALSE(edit.document()->toHtml().contains("underline"));

    checker.SetEnabled(false);
    EXPECT_TRUE(underlined(edit, 0).isEmpty());
    EXPECT_TRUE(underlined(edit, 2).isEmpty());
    checker.SetEnabled(true);
    EXPECT_EQ(underlined(edit, 1), QStringList({"Zeille"}));
}

TEST(Spelling, DistributionWindowSubjectAndBodyMenus)
{
    TRecordingMessages messages;
    TMainForm form(messages, {}, QString(), false);
    auto* subject = qobject_cast<TSpellLineEdit*>(form.edBetreff);
    ASSERT_NE(subject, nullptr);
    const QString typed = "Rechnnung für <Kunde.Name> vom 12.03. an info@firmaa.de";
    subject->setText(typed);
    EXPECT_EQ(subject->text(), typed);
    ASSERT_EQ(subject->MisspeltRanges(), QList<TWordSpan>({{0, 9}}));
    form.SetBody(QString::fromUtf8("Sehr geehrte Damen und Herren,\nanbei die Mahnnung für <Empfaenger.Briefanrede>."));
    EXPECT_EQ(underlined(*form.edBody, 1), QStringList({"Mahnnung"}));
    // The recipient field is marked in the same paragraph: neither mark replaces the other.
    const QList<QTextLayout::FormatRange> marks = form.edBody->document()->findBlockByNumber(1).layout()->formats();
    EXPECT_EQ(marks.size(), 2);
    EXPECT_TRUE(std::any_of(marks.begin(), marks.end(), [](const auto& r) { return r.format.background() != QBrush(); }));
    form.show();
    form.grab().save(QString(KALVEX_SCREENSHOT_DIR) + "/spelling-distribution-window.png");

    const QStringList bodyMenu = rightClick(form.edBody->viewport(), pointAt(*form.edBody, 1, 12),
                                            [](QMenu& menu) { menu.actions().first()->trigger(); });
    ASSERT_FALSE(bodyMenu.isEmpty());
    EXPECT_EQ(bodyMenu.first(), "Mahnung");
    EXPECT_TRUE(bodyMenu.contains(QString::fromUtf8("Zum Wörterbuch hinzufügen")));
    EXPECT_TRUE(bodyMenu.contains("Ignorieren"));
    EXPECT_TRUE(bodyMenu.contains("Textbaustein einfügen"));   // the window's own commands stay
    EXPECT_EQ(form.edBody->document()->findBlockByNumber(1).text(),
              QString::fromUtf8("anbei die Mahnung für <Empfaenger.Briefanrede>."));
    EXPECT_TRUE(underlined(*form.edBody, 1).isEmpty());

    const QStringList subjectMenu = rightClick(subject, pointAt(*subject, 2), [](QMenu& menu) {
        ASSERT_EQ(menu.actions().first()->text(), "Rechnung");
        menu.actions().first()->trigger();
    });
    EXPECT_LE(subjectMenu.indexOf(QString::fromUtf8("Zum Wörterbuch hinzufügen")), 8);   // at most 7 suggestions first
    EXPECT_EQ(subject->text(), "Rechnung für <Kunde.Name> vom 12.03. an info@firmaa.de");
    EXPECT_EQ(form.Model().Subject, subject->text());
    EXPECT_TRUE(subject->MisspeltRanges().isEmpty());
    // A correct word: no suggestions, but the switch.
    const QStringList plain = rightClick(subject, pointAt(*subject, 2));
    EXPECT_NE(plain.first(), "Rechnung");
    EXPECT_TRUE(plain.contains(QString::fromUtf8("Rechtschreibprüfung")));
}

TEST(Spelling, OwnWordIgnoreAndSwitchActOnSubjectAndBody)
{
    QTemporaryDir dir;
    const QString list = dir.filePath("Benutzerwoerterbuch.txt");
    TSpellChecker checker(german(), list);
    TSpellLineEdit subject(&checker);
    subject.resize(400, 30);
    subject.setText("Kalvexversand und Rechnnung");
    QTextEdit body;
    body.resize(400, 200);
    TTextEditSpelling::Attach(&body, &checker)->InstallMenu();
    body.setPlainText("Kalvexversand mit Rechnnung");
    subject.show();
    body.show();
    EXPECT_EQ(misspelt(subject), QStringList({"Kalvexversand", "Rechnnung"}));

    rightClick(&subject, pointAt(subject, 3),
               [](QMenu& m) { action(m, QString::fromUtf8("Zum Wörterbuch hinzufügen"))->trigger(); });
    EXPECT_EQ(misspelt(subject), QStringList({"Rechnnung"}));
    EXPECT_EQ(underlined(body, 0), QStringList({"Rechnnung"}));
    rightClick(body.viewport(), pointAt(body, 0, 20), [](QMenu& m) { action(m, "Ignorieren")->trigger(); });
    EXPECT_TRUE(misspelt(subject).isEmpty());
    EXPECT_TRUE(underlined(body, 0).isEmpty());

    QFile file(list);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "Kalvexversand\n");
    TSpellChecker nextSession(german(), list);
    EXPECT_TRUE(nextSession.IsCorrect("Kalvexversand"));
    EXPECT_FALSE(nextSession.IsCorrect("Rechnnung"));   // ignoring lasts for the window only

    body.setPlainText("Neue Zeille");
    rightClick(body.viewport(), pointAt(body, 0, 2), [](QMenu& m) {
        ASSERT_TRUE(action(m, "spellToggle")->isChecked());
        action(m, "spellToggle")->trigger();
    });
    EXPECT_FALSE(checker.Enabled());
    EXPECT_TRUE(underlined(body, 0).isEmpty());
    const QStringList off = rightClick(body.viewport(), pointAt(body, 0, 7));
    EXPECT_NE(off.first(), "Zeile");   // no suggestions while switched off
}

TEST(Spelling, EnglishInterfaceChecksEnglish)
{
    TLang::Install(std::make_unique<TLang>()).SetLanguage(1033);
    QObject window;
    TSpellChecker* checker = CreateSpellChecker(&window);
    TLang::Free();
    ASSERT_TRUE(checker->Available());
    EXPECT_FALSE(checker->IsCorrect("recieve"));
    EXPECT_TRUE(checker->IsCorrect("receive"));
    EXPECT_FALSE(checker->IsCorrect("Rechnung"));
}

TEST(Spelling, SwitchIsKeptInConfigIni)
{
    QTemporaryDir dir;
    const QString ini = dir.filePath("config.ini");
    EXPECT_TRUE(SpellingEnabledIn(ini));
    SaveSpellingEnabled(ini, false);
    EXPECT_FALSE(SpellingEnabledIn(ini));
    QFile file(ini);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString content = QString::fromUtf8(file.readAll());
    EXPECT_TRUE(content.contains("[Darstellung]"));
    EXPECT_TRUE(content.contains("Rechtschreibpruefung=0"));
    SaveSpellingEnabled(ini, true);
    EXPECT_TRUE(SpellingEnabledIn(ini));
}

TEST(Spelling, WithoutDictionaryTheEditorsWorkAsBefore)
{
    TSpellChecker none(nullptr, QString());
    TSpellLineEdit subject(&none);
    subject.resize(400, 30);
    subject.setText("Rechnnung");
    EXPECT_TRUE(subject.MisspeltRanges().isEmpty());
    const QStringList menu = rightClick(&subject, pointAt(subject, 2));
    EXPECT_FALSE(menu.isEmpty());   // the standard commands
    EXPECT_FALSE(menu.contains(QString::fromUtf8("Rechtschreibprüfung")));
    EXPECT_FALSE(menu.contains("Ignorieren"));

    QTextEdit body;
    body.resize(400, 200);
    TTextEditSpelling::Attach(&body, &none)->InstallMenu();
    body.setPlainText("Rechnnung");
    EXPECT_TRUE(underlined(body, 0).isEmpty());
    const QStringList bodyMenu = rightClick(body.viewport(), pointAt(body, 0, 2));
    EXPECT_FALSE(bodyMenu.isEmpty());
    EXPECT_FALSE(bodyMenu.contains(QString::fromUtf8("Rechtschreibprüfung")));
}

// The application lives on main's stack: one destroyed by the exit handlers
// crashes in Qt's clean-up once a line edit's pop-up menu has been shown.
int main(int argc, char** argv)
{
    QInputDevice::devices();
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
