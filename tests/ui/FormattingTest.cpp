// The body editor's "Formatierung" and "Tabelle" commands, driven through
// the window's own actions.
#include "compose/MailBodyExport.h"
#include "compose/TableCommands.h"
#include "ui/LinkDialog.h"
#include "ui/TableGridLines.h"
#include "ui/fBildeigenschaften.h"
#include "ui/fMainForm.h"

#include "TestApp.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QMimeData>
#include <QComboBox>
#include <QFontComboBox>
#include <QImage>
#include <QLineEdit>
#include <QMenu>
#include <QSpinBox>
#include <QTabWidget>
#include <QTextBlock>
#include <QTextEdit>
#include <QTextList>
#include <QTextTable>
#include <QTimer>
#include <QToolButton>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

const QString kOutsideTable = "Bitte setzen Sie den Cursor zuerst in die gewünschte Tabelle.";

void placeCursor(TMainForm& form, int position, int anchor = -1)
{
    QTextCursor c = form.edBody->textCursor();
    c.setPosition(anchor < 0 ? position : anchor);
    if (anchor >= 0)
        c.setPosition(position, QTextCursor::KeepAnchor);
    form.edBody->setTextCursor(c);
}

QTextTable* insertTableAt(TMainForm& form, int position)
{
    placeCursor(form, position);
    const QList<QTextTable*> before = DocumentTables(*form.edBody->document());
    form.btTabelleEinfuegen->trigger();
    for (QTextTable* table : DocumentTables(*form.edBody->document()))
        if (!before.contains(table)) {
            placeCursor(form, table->cellAt(0, 0).firstCursorPosition().position());   // a click into it
            return table;
        }
    return nullptr;
}

void selectCells(TMainForm& form, QTextTable* table, int r0, int c0, int r1, int c1)
{
    placeCursor(form, table->cellAt(r1, c1).lastCursorPosition().position(),
                table->cellAt(r0, c0).firstCursorPosition().position());
}

}  // namespace

TEST(Formatting, ButtonsFollowTheCursorAndApplyToTheSelection)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    TMainForm form(messages, {}, QString(), false);
    QTextCursor c(form.edBody->document());
    QTextCharFormat big;
    big.setFontWeight(QFont::Bold);
    big.setFontPointSize(18);
    big.setFontFamilies({"DejaVu Serif"});
    c.insertText("normal ");
    c.insertText("fett", big);
    c.insertBlock();
    c.insertText("zweiter Absatz");
    placeCursor(form, 9);   // inside "fett"
    EXPECT_TRUE(form.barbtBoldMain->isChecked());
    EXPECT_FALSE(form.barbtItalicMain->isChecked());
    EXPECT_EQ(form.barcbFontSizeMain->currentText(), "18");
    EXPECT_EQ(form.barcbFontMain->currentFont().family(), "DejaVu Serif");
    placeCursor(form, 3);
    EXPECT_FALSE(form.barbtBoldMain->isChecked());
    placeCursor(form, 7, 0);   // "normal ": italic is switched on and the button says so
    form.barbtItalicMain->trigger();
    EXPECT_TRUE(form.edBody->textCursor().charFormat().fontItalic());
    EXPECT_TRUE(form.barbtItalicMain->isChecked());

    placeCursor(form, form.edBody->document()->characterCount() - 1, 2);   // both paragraphs
    form.btAlignJustify->trigger();
    for (QTextBlock b = form.edBody->document()->begin(); b.isValid(); b = b.next())
        EXPECT_EQ(b.blockFormat().alignment(), Qt::AlignJustify);
    placeCursor(form, 2);
    form.btAlignRight->trigger();
    EXPECT_EQ(form.edBody->document()->begin().next().blockFormat().alignment(), Qt::AlignJustify);   // only its own
    placeCursor(form, form.edBody->document()->characterCount() - 1);
    EXPECT_TRUE(form.btAlignJustify->isChecked());
    placeCursor(form, 2);
    EXPECT_TRUE(form.btAlignRight->isChecked());
    EXPECT_FALSE(form.btAlignJustify->isChecked());

    form.btIndentMore->trigger();
    form.btIndentMore->trigger();
    form.btIndentLess->trigger();
    EXPECT_EQ(form.edBody->document()->begin().blockFormat().indent(), 1);

    placeCursor(form, form.edBody->document()->characterCount() - 1, 2);
    form.btBullets->trigger();
    const QTextList* list = form.edBody->document()->begin().textList();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->count(), 2);
    EXPECT_TRUE(form.btBullets->isChecked());
    form.btNumbering->trigger();   // the same paragraphs become a numbered list
    EXPECT_EQ(form.edBody->document()->begin().textList()->format().style(), QTextListFormat::ListDecimal);
    EXPECT_TRUE(form.btNumbering->isChecked());
    EXPECT_FALSE(form.btBullets->isChecked());
    form.btIndentMore->trigger();   // a list moves by a level
    EXPECT_EQ(form.edBody->document()->begin().textList()->format().indent(), 2);
    form.btNumbering->trigger();   // and ends
    EXPECT_EQ(form.edBody->document()->begin().textList(), nullptr);
    EXPECT_FALSE(form.btNumbering->isChecked());

    placeCursor(form, 11, 7);   // "fett" red, then back to the editor's own colour
    form.barcbFColorMain->setCurrentIndex(3);
    emit form.barcbFColorMain->activated(3);
    EXPECT_EQ(form.edBody->textCursor().charFormat().foreground().color(), QColor(192, 0, 0));
    form.PickColor = [](QWidget*, const QColor&) { return QColor(1, 2, 3); };
    emit form.barcbFColorMain->activated(form.barcbFColorMain->count() - 1);
    EXPECT_EQ(form.edBody->textCursor().charFormat().foreground().color(), QColor(1, 2, 3));
    emit form.barcbFColorMain->activated(0);
    EXPECT_EQ(form.edBody->textCursor().charFormat().foreground().style(), Qt::NoBrush);

    placeCursor(form, 0);
    QList<QToolButton*> symbols = form.btSymbols->menu()->findChildren<QToolButton*>();
    ASSERT_EQ(symbols.size(), 18);
    for (QToolButton* b : symbols)
        if (b->text() == "€" || b->text() == "„")
            b->click();
    EXPECT_TRUE(form.edBody->document()->begin().text().startsWith("€„normal"));

    form.btVAlignBottom->trigger();   // outside a table
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information), QStringList{kOutsideTable});
}

TEST(Formatting, TableCommandsOnTheBody)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    TMainForm form(messages, {}, QString(), false);
    form.edBody->setPlainText("Text");
    for (QAction* command : {form.btZeileEinfuegen, form.btSpalteLoeschen, form.btZellenVerbinden, form.btRahmen,
                             form.btTabelle100})
        command->trigger();
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information), QStringList(5, kOutsideTable));
    messages.Clear();

    QTextTable* table = insertTableAt(form, 4);
    ASSERT_NE(table, nullptr);
    form.btZeileEinfuegen->trigger();
    form.btSpalteEinfuegen->trigger();
    form.btSpalteEinfuegen->trigger();
    EXPECT_EQ(table->rows(), 3);
    EXPECT_EQ(table->columns(), 4);
    selectCells(form, table, 0, 1, 0, 2);
    form.btSpalteLoeschen->trigger();
    EXPECT_EQ(table->columns(), 2);

    placeCursor(form, table->cellAt(0, 0).firstCursorPosition().position());
    form.btZellenVerbinden->trigger();   // one cell is nothing to merge
    form.btZelleTeilen->trigger();
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information),
              QStringList({"Bitte markieren Sie zuerst die Zellen, die verbunden werden sollen.",
                           "Die Zelle ist nicht verbunden; es gibt nichts zu teilen."}));
    selectCells(form, table, 0, 0, 1, 1);
    form.btZellenVerbinden->trigger();
    EXPECT_EQ(table->cellAt(0, 0).rowSpan(), 2);
    EXPECT_EQ(table->cellAt(0, 0).columnSpan(), 2);
    form.btVAlignCenter->trigger();
    EXPECT_EQ(table->cellAt(0, 0).format().verticalAlignment(), QTextCharFormat::AlignMiddle);
    EXPECT_TRUE(form.btVAlignCenter->isChecked());
    form.btZelleTeilen->trigger();
    EXPECT_EQ(table->cellAt(1, 1).row(), 1);

    selectCells(form, table, 0, 0, 2, 1);
    form.FBorderActions[3]->trigger();   // none
    form.FBorderActions[4]->trigger();   // left
    form.PickColor = [](QWidget*, const QColor&) { return QColor(Qt::blue); };
    form.FBorderColorActions[0]->trigger();
    const QTextTableCellFormat corner = table->cellAt(2, 0).format().toTableCellFormat();
    EXPECT_EQ(CellBorderWidth(corner, TBorderSide::Left), kDefaultBorderWidth);
    EXPECT_EQ(CellBorderWidth(corner, TBorderSide::Bottom), 0);
    EXPECT_EQ(CellBorderColor(corner, TBorderSide::Left), QColor(Qt::blue));
    EXPECT_FALSE(CellBorderColor(table->cellAt(2, 1).format().toTableCellFormat(), TBorderSide::Left).isValid());
    form.PickColor = [](QWidget*, const QColor&) { return QColor(); };   // the chooser cancelled
    form.btRahmenFarbe->trigger();
    EXPECT_EQ(CellBorderColor(table->cellAt(2, 1).format().toTableCellFormat(), TBorderSide::Top), QColor());

    form.btGridLines->trigger();
    EXPECT_TRUE(form.findChild<TTableGridLines*>()->isVisible() || !form.isVisible());
    EXPECT_EQ(form.findChild<TTableGridLines*>()->CellRects().size(), 6);
    form.btGridLines->trigger();
    EXPECT_TRUE(form.findChild<TTableGridLines*>()->isHidden());
    placeCursor(form, table->cellAt(2, 1).firstCursorPosition().position());
    form.btZeileLoeschen->trigger();
    EXPECT_EQ(table->rows(), 2);
}

TEST(Formatting, FullWidthAsksThenReportsEveryTable)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    TMainForm form(messages, {}, QString(), false);
    form.edBody->setPlainText("\n\n");
    QTextTable* fixed = insertTableAt(form, 0);
    QTextTableFormat f = fixed->format();
    f.setWidth(QTextLength(QTextLength::FixedLength, 189));   // 5 cm
    fixed->setFormat(f);
    QTextTable* small = insertTableAt(form, form.edBody->document()->characterCount() - 1);
    f.setWidth(QTextLength(QTextLength::PercentageLength, 10));
    small->setFormat(f);

    placeCursor(form, fixed->cellAt(0, 0).firstCursorPosition().position());
    form.btTabelle100->trigger();   // answered No: nothing changes
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Question),
              QStringList{"Die Tabellenbreite wird jetzt von festen 5,00 cm auf 100% Seitenbreite umgestellt?"});
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Information).isEmpty());
    EXPECT_EQ(fixed->format().width().type(), QTextLength::FixedLength);

    messages.Clear();
    messages.QueueAnswer(true);
    form.btTabelle100->trigger();
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information),
              QStringList{"Tabelle 1 => 100%\nTabelle 2 => übersprungen (kleiner Minimum)"});
    EXPECT_TRUE(IsFullWidth(fixed->format().width()));

    messages.Clear();   // again: no question, the note, then the check once more
    form.btTabelle100->trigger();
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Question).isEmpty());
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information),
              QStringList({"Die Tabellenbreite ist bereits auf 100% Seitenbreite eingestellt. Die Einstellung wird "
                           "jetzt noch einmal geprüft und ggfs. erneut gesetzt.",
                           "Tabelle 1 => übersprungen (bereits 100%)\nTabelle 2 => übersprungen (kleiner Minimum)"}));

    messages.Clear();
    placeCursor(form, small->cellAt(0, 0).firstCursorPosition().position());
    messages.QueueAnswer(false);
    form.btTabelle100->trigger();
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Question),
              QStringList{"Die Tabellenbreite wird jetzt von 10% auf 100% Seitenbreite umgestellt?"});
}

TEST(Formatting, PicturePropertiesOnlyForOnePicture)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    TMainForm form(messages, {}, QString(), false);
    QImage image(40, 20, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    form.edBody->document()->addResource(QTextDocument::ImageResource, QUrl("img://bild"), image);
    QTextCursor c(form.edBody->document());
    c.insertText("ab");
    c.insertImage("img://bild");
    c.insertText("cd");
    placeCursor(form, 1);
    form.btBildeigenschaften->trigger();
    placeCursor(form, 3, 1);   // "b" and the picture
    form.btBildeigenschaften->trigger();
    placeCursor(form, 1, 0);   // a letter
    form.btBildeigenschaften->trigger();
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Information),
              QStringList({"Es ist kein Bild ausgewählt.", "Das ausgewählte Objekt ist kein Bild (1).",
                           "Das ausgewählte Objekt ist kein Bild (2)."}));

    placeCursor(form, 3, 2);   // the picture alone: the dialog, its width doubled, the ratio kept
    QSize offered;
    QTimer::singleShot(0, [&] {
        auto* dialog = qobject_cast<TFormBildeigenschaften*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        offered = dialog->ShownSize();
        dialog->edBreite->setValue(80);
        dialog->grab().save(QString(KALVEX_SCREENSHOT_DIR) + "/picture-properties.png");
        dialog->accept();
    });
    form.btBildeigenschaften->trigger();
    EXPECT_EQ(offered, QSize(40, 20));
    QTextCursor at(form.edBody->document());
    at.setPosition(3);
    EXPECT_EQ(at.charFormat().toImageFormat().width(), 80);
    EXPECT_EQ(at.charFormat().toImageFormat().height(), 40);
    EXPECT_EQ(messages.Entries().size(), 3u);
}

// Ctrl+K on a selection: the dialog offers the selected text, the
// selection becomes the link; the mail's HTML carries it.
TEST(Formatting, LinkOnTheSelection)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    TMainForm form(messages, {}, QString(), false);
    QTextCursor c(form.edBody->document());
    c.insertText("Zum Angebot hier");
    placeCursor(form, 11, 4);   // "Angebot"
    EXPECT_EQ(form.btLinkEinfuegen->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_K));
    QString offered;
    QTimer::singleShot(0, [&] {
        auto* dialog = qobject_cast<TLinkDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dialog, nullptr);
        offered = dialog->Text();
        dialog->findChild<QLineEdit*>("edLinkAdresse")->setText("www.example.org/angebot");
        dialog->accept();
    });
    form.btLinkEinfuegen->trigger();
    EXPECT_EQ(offered, "Angebot");
    EXPECT_TRUE(MailHtml(*form.edBody->document()).contains("Zum <a href=\"https://www.example.org/angebot\""));
    EXPECT_EQ(MailPlainText(*form.edBody->document()), "Zum Angebot <https://www.example.org/angebot> hier");
}

// A picture pasted from the clipboard is kept like an inserted one, so the
// mail's HTML carries it.
TEST(Formatting, PastedPictureTravelsWithTheMail)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    TMainForm form(messages, {}, QString(), false);
    QImage image(30, 10, QImage::Format_RGB32);
    image.fill(Qt::blue);
    auto* mime = new QMimeData;   // the clipboard owns it
    mime->setImageData(image);
    QApplication::clipboard()->setMimeData(mime);
    form.edBody->paste();
    QTextCursor at(form.edBody->document());
    at.setPosition(1);
    const QString name = at.charFormat().toImageFormat().name();
    EXPECT_TRUE(name.startsWith("kalvex-image://") && name.endsWith(".png")) << name.toStdString();
    const QString html = MailHtml(*form.edBody->document());
    EXPECT_TRUE(html.contains("<img src=\"data:image/png;base64,")) << html.toStdString();
    EXPECT_TRUE(html.contains("width=\"30\" height=\"10\""));
}

// A look at both tabs as a user sees them.
TEST(Formatting, ScreenshotOfTheTwoTabs)
{
    kalvex::testing::WidgetApp();
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == "hicolor")
        QIcon::setThemeName("breeze");
    TRecordingMessages messages;
    TMainForm form(messages, {}, QString(), false);
    form.resize(1366, 768);
    form.show();
    form.edBody->setPlainText("Sehr geehrte Damen und Herren,\n\n");
    QTextTable* table = insertTableAt(form, form.edBody->document()->characterCount() - 1);
    form.btZeileEinfuegen->trigger();
    table->cellAt(0, 0).firstCursorPosition().insertText("Position");
    table->cellAt(0, 1).firstCursorPosition().insertText("Menge");
    table->cellAt(1, 0).firstCursorPosition().insertText("Dachziegel");
    table->cellAt(2, 0).firstCursorPosition().insertText("Summe");
    selectCells(form, table, 0, 0, 2, 1);
    form.FBorderActions[3]->trigger();   // none, then a red outer frame
    form.FBorderActions[1]->trigger();
    form.PickColor = [](QWidget*, const QColor&) { return QColor(Qt::red); };
    form.btRahmenFarbe->trigger();
    selectCells(form, table, 2, 0, 2, 1);
    form.btZellenVerbinden->trigger();
    form.FBorderActions[6]->trigger();   // a line above the sum
    placeCursor(form, 0);
    form.btGridLines->trigger();
    EXPECT_EQ(form.ribbon->tabText(3), "Formatierung");
    EXPECT_EQ(form.ribbon->tabText(4), "Tabelle");
    const QList<QAction*> expected[] = {
        {form.barbtBoldMain, form.btBullets, form.btIndentMore, form.btAlignJustify, form.btVAlignBottom, form.btSymbols,
         form.btGridLines, form.btBildeigenschaften},
        {form.btTabelleEinfuegen, form.btZeileEinfuegen, form.btSpalteLoeschen, form.btZellenVerbinden, form.btZelleTeilen,
         form.btRahmen, form.btRahmenFarbe, form.btTabelle100}};
    for (int tab : {3, 4}) {
        form.ribbon->setCurrentIndex(tab);
        QApplication::processEvents();
        QList<QAction*> shown;
        // A command shows as a button, or in the drop-down of a group collapsed for want of room.
        for (QToolButton* b : form.ribbon->widget(tab)->findChildren<QToolButton*>())
            if (b->isVisible())
                shown << b->defaultAction() << (b->menu() ? b->menu()->actions() : QList<QAction*>());
        for (QAction* action : expected[tab - 3])
            EXPECT_TRUE(shown.contains(action)) << action->objectName().toStdString();
        form.grab().save(QString(KALVEX_SCREENSHOT_DIR) + QStringLiteral("/formatting-tab-%1.png").arg(tab));
    }
}
