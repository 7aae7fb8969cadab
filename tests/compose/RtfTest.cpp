#include "compose/RTFEditorEngine.h"
#include "compose/TableCommands.h"
#include "compose/rtf/RtfReader.h"
#include "compose/rtf/RtfWriter.h"

#include <QGuiApplication>
#include <QImage>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextList>
#include <QTextTable>
#include <gtest/gtest.h>
#include <memory>

using namespace kalvex;

namespace {

QGuiApplication& app()
{
    static int argc = 1;
    static char name[] = "test_rtf";
    static char* argv[] = {name, nullptr};
    static QGuiApplication a(argc, argv);
    return a;
}

QTextCharFormat formatAt(const QTextDocument& doc, const QString& text)
{
    QTextCursor c = doc.find(text);
    EXPECT_FALSE(c.isNull()) << text.toStdString();
    return c.charFormat();
}

QTextTable* firstTable(QTextDocument& doc)
{
    for (QTextBlock b = doc.begin(); b.isValid(); b = b.next())
        if (QTextTable* t = QTextCursor(b).currentTable())
            return t;
    return nullptr;
}

}  // namespace

TEST(Rtf, RoundTripKeepsTextFormatsListsTablesAndPictures)
{
    app();
    QTextDocument doc;
    QTextCursor c(&doc);
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    bold.setFontPointSize(14);
    bold.setForeground(QColor(200, 0, 0));
    c.insertText(QString::fromUtf8("Grüße Straße "), QTextCharFormat());
    c.insertText("fett rot", bold);
    QTextCharFormat italic;
    italic.setFontItalic(true);
    italic.setFontUnderline(true);
    c.insertText(QString::fromUtf8(" kursiv € Ω"), italic);
    QTextBlockFormat centered;
    centered.setAlignment(Qt::AlignHCenter);
    c.insertBlock(centered);
    c.insertText("Mitte");
    c.insertBlock(QTextBlockFormat());
    c.createList(QTextListFormat::ListDisc);
    c.insertText("Punkt eins");
    c.insertBlock();
    c.insertText("Punkt zwei");
    c.insertBlock(QTextBlockFormat());
    c.setBlockFormat(QTextBlockFormat());
    QTextTable* table = c.insertTable(2, 3);
    table->cellAt(0, 0).firstCursorPosition().insertText("A1");
    table->cellAt(1, 2).firstCursorPosition().insertText("C2");
    table->mergeCells(0, 1, 1, 2);
    c = table->lastCursorPosition();
    c.movePosition(QTextCursor::NextBlock);
    QImage image(8, 6, QImage::Format_RGB32);
    image.fill(QColor(10, 20, 30));
    doc.addResource(QTextDocument::ImageResource, QUrl("img://1"), image);
    c.insertImage("img://1");

    const QString rtf = DocumentToRtf(doc);
    for (QChar ch : rtf.left(rtf.indexOf("{\\pict")))
        ASSERT_LT(ch.unicode(), 128) << "non-ASCII outside placeholders";
    QTextDocument back;
    RtfToDocument(rtf, back);
    EXPECT_TRUE(back.toPlainText().startsWith(QString::fromUtf8("Grüße Straße fett rot kursiv € Ω\nMitte\nPunkt eins\nPunkt zwei")));
    const QTextCharFormat b = formatAt(back, "fett rot");
    EXPECT_EQ(b.fontWeight(), QFont::Bold);
    EXPECT_EQ(b.fontPointSize(), 14);
    EXPECT_EQ(b.foreground().color(), QColor(200, 0, 0));
    EXPECT_TRUE(formatAt(back, "kursiv").fontItalic());
    EXPECT_TRUE(formatAt(back, "kursiv").fontUnderline());
    EXPECT_EQ(back.find("Mitte").block().blockFormat().alignment() & Qt::AlignHCenter, Qt::AlignHCenter);
    QTextList* list = back.find("Punkt zwei").block().textList();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->count(), 2);
    QTextTable* t = firstTable(back);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->rows(), 2);
    EXPECT_EQ(t->columns(), 3);
    EXPECT_EQ(t->cellAt(1, 2).firstCursorPosition().block().text(), "C2");
    EXPECT_EQ(t->cellAt(0, 1).columnSpan(), 2);   // the merged cells of the first row
    EXPECT_EQ(t->cellAt(1, 1).columnSpan(), 1);
    bool foundImage = false;
    for (QTextBlock blk = back.begin(); blk.isValid(); blk = blk.next())
        for (auto it = blk.begin(); !it.atEnd(); ++it)
            if (it.fragment().charFormat().isImageFormat()) {
                const QImage img = QImage::fromData(back.resource(QTextDocument::ImageResource,
                                                 QUrl(it.fragment().charFormat().toImageFormat().name())).toByteArray());
                EXPECT_EQ(img.size(), QSize(8, 6));
                EXPECT_EQ(img.pixelColor(3, 3), QColor(10, 20, 30));
                foundImage = true;
            }
    EXPECT_TRUE(foundImage);
}

TEST(Rtf, ReadsHandWrittenWordPadStyleInput)
{
    app();
    const QString rtf = "{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl{\\f0\\fnil\\fcharset0 Calibri;}{\\f1\\fswiss Arial;}}"
                        "{\\colortbl ;\\red0\\green0\\blue255;}{\\*\\generator Riched20 10.0;}\\viewkind4\\uc1 "
                        "\\pard\\sa200\\sl276\\slmult1\\f0\\fs22\\lang7 M\\'fcller \\u252?ber \\b fett\\b0  und "
                        "\\cf1\\f1 blau\\cf0\\par\n\\pard\\qr rechts\\par\n}";
    QTextDocument doc;
    RtfToDocument(rtf, doc);
    EXPECT_EQ(doc.toPlainText(), QString::fromUtf8("Müller über fett und blau\nrechts"));
    EXPECT_EQ(formatAt(doc, "fett").fontWeight(), QFont::Bold);
    EXPECT_EQ(formatAt(doc, "blau").foreground().color(), QColor(0, 0, 255));
    EXPECT_EQ(formatAt(doc, "blau").fontFamilies().toStringList().value(0), "Arial");
    EXPECT_EQ(formatAt(doc, "M").fontPointSize(), 11);
    EXPECT_TRUE(doc.find("rechts").block().blockFormat().alignment() & Qt::AlignRight);

    QTextDocument plain;
    RtfToDocument("Kein {\\rtf} am Anfang", plain);
    EXPECT_EQ(plain.toPlainText(), "Kein {\\rtf} am Anfang");
}

// Broken input ends in some document, never in a crash or a hang.
TEST(Rtf, MalformedInputIsSurvived)
{
    app();
    QTextDocument doc;
    RtfToDocument("{\\rtf1 offen {\\b fett", doc);
    EXPECT_EQ(doc.toPlainText(), "offen fett");
    RtfToDocument("{\\rtf1 zu}}} viel\\'e", doc);
    EXPECT_TRUE(doc.toPlainText().startsWith("zu"));
    RtfToDocument("{\\rtf1\\uc99999 \\u8364 Euro}", doc);
    EXPECT_EQ(doc.toPlainText(), QString::fromUtf8("€"));   // the skip count is capped
    QString deep = "{\\rtf1 ";
    for (int i = 0; i < 100000; ++i)
        deep += "{\\b ";
    deep += "tief";
    for (int i = 0; i < 100000; ++i)
        deep += "}";
    deep += " flach}";
    RtfToDocument(deep, doc);
    EXPECT_EQ(doc.toPlainText(), "tief flach");
    RtfToDocument("{\\rtf1 {\\pict\\pngblip 89504e47zz}x}", doc);   // broken picture data
    EXPECT_EQ(doc.toPlainText(), "x");
}

// What the fuzzer found: a document written by us reads back to the same
// text, also after a row without \intbl and with a font name holding RTF's
// own characters.
TEST(Rtf, WrittenDocumentsReadBackUnchanged)
{
    app();
    for (const char* rtf : {"{\\rtf1 X\\par\\trowd\\cellx1000\\pard\\intbl A\\cell\\row\\pard Y\\par}",
                            "{\\rtf1 Vor\\par\\trowd\\cellx1000\\cellx2000 A\\cell B\\cell\\row}",
                            "{\\rtf1{\\fonttbl{\\f0 A{x;}{\\f1 \\{colortbl;}}\\f1 Text\\par}",
                            "{\\rtf1 B\\cell 2\\par x\\cell\\row}",
                            "{\\rtf1\\trowd\\cellx500\\pard\\intbl\\par\\par A\\cell\\row}"}) {
        QTextDocument first;
        RtfToDocument(QString::fromLatin1(rtf), first);
        for (int round = 0; round < 3; ++round) {
            QTextDocument again;
            RtfToDocument(DocumentToRtf(first), again);
            EXPECT_EQ(again.toPlainText(), first.toPlainText()) << rtf << " round " << round;
        }
    }
    QTextDocument table;
    RtfToDocument("{\\rtf1 Vor\\par\\trowd\\cellx1000\\cellx2000 A\\cell B\\cell\\row}", table);
    EXPECT_EQ(table.toPlainText(), "Vor\nA\nB\n");   // the row's text is in its cells, no empty paragraph before
}

// Placeholders leave the writer in one piece, so the merge finds them in
// the RTF source; the merged source reads back with the values.
TEST(Rtf, PlaceholdersStayWholeForTheMerge)
{
    app();
    QTextDocument doc;
    QTextCursor c(&doc);
    QTextCharFormat bold;
    bold.setFontWeight(QFont::Bold);
    c.insertText("Sehr geehrte(r) ");
    c.insertText(QString::fromUtf8("<Straße>"), bold);
    c.insertText(QString::fromUtf8(" <Pos-Wiederholung-Anfang>Menge: <Menge>\n<Pos-Wiederholung-Ende> Ende"));
    const QString rtf = DocumentToRtf(doc);
    EXPECT_TRUE(rtf.contains(QString::fromUtf8("<Straße>")));
    EXPECT_TRUE(rtf.contains("<Pos-Wiederholung-Anfang>"));
    EXPECT_TRUE(rtf.contains("<Menge>"));
    TRTFEditorEngine engine;
    engine.SetDataFieldValueDynamisch(QString::fromUtf8("<Straße>"), QString::fromUtf8("Hauptstraße 1"));
    engine.SetDataFieldValueDynamisch("Pos-Wiederholung-Count", "2");
    engine.AddDataFieldBlockUnterfeld("Pos", "Menge");
    engine.SetDataFieldValueDynamisch("Menge0", "5");
    engine.SetDataFieldValueDynamisch("Menge1", "7");
    QString merged;
    const QStringList blocks{"Pos"};
    engine.ReplaceDataValues(rtf, &blocks, merged);
    QTextDocument back;
    RtfToDocument(merged, back);
    EXPECT_EQ(back.toPlainText(), QString::fromUtf8("Sehr geehrte(r) Hauptstraße 1 Menge: 5\nMenge: 7\n Ende"));
    EXPECT_EQ(formatAt(back, QString::fromUtf8("Hauptstraße 1")).fontWeight(), QFont::Bold);
}

namespace {

QTextDocument* roundTrip(const QTextDocument& doc)
{
    auto* back = new QTextDocument;
    RtfToDocument(DocumentToRtf(doc), *back);
    return back;
}

QTextCursor cellRange(QTextTable* table, int r0, int c0, int r1, int c1)
{
    QTextCursor c = table->cellAt(r0, c0).firstCursorPosition();
    c.setPosition(table->cellAt(r1, c1).lastCursorPosition().position(), QTextCursor::KeepAnchor);
    return c;
}

// Every side of every cell, its width and colour, the spans, the vertical
// alignment and the background, as one comparable text.
QStringList cellProperties(QTextTable* table)
{
    QStringList out;
    for (int r = 0; r < table->rows(); ++r)
        for (int c = 0; c < table->columns(); ++c) {
            const QTextTableCell cell = table->cellAt(r, c);
            if (cell.row() != r || cell.column() != c)
                continue;
            const QTextTableCellFormat f = cell.format().toTableCellFormat();
            QString line = QStringLiteral("%1,%2 span %3x%4 valign %5 bg %6 text %7 |")
                               .arg(r).arg(c).arg(cell.rowSpan()).arg(cell.columnSpan()).arg(int(f.verticalAlignment()))
                               .arg(f.background().style() == Qt::NoBrush ? QString("-") : f.background().color().name())
                               .arg(cell.firstCursorPosition().block().text());
            for (TBorderSide side : {TBorderSide::Left, TBorderSide::Right, TBorderSide::Top, TBorderSide::Bottom})
                line += QStringLiteral(" %1 %2").arg(CellBorderWidth(f, side)).arg(CellBorderColor(f, side).name());
            out << line;
        }
    return out;
}

}  // namespace

// What the table commands make reads back as it was written: borders per
// side with their colours, merges across and down, vertical alignment,
// backgrounds and the full width.
TEST(Rtf, TableCommandsSurviveTheRoundTrip)
{
    app();
    QTextDocument doc;
    QTextCursor c(&doc);
    c.insertText("Vor der Tabelle");
    c.insertBlock();
    QTextTableFormat tf;
    tf.setBorder(1);
    QTextTable* table = c.insertTable(4, 4, tf);
    for (int r = 0; r < 4; ++r)
        for (int col = 0; col < 4; ++col)
            table->cellAt(r, col).firstCursorPosition().insertText(QStringLiteral("Z%1S%2").arg(r).arg(col));
    ApplyTableBorders(cellRange(table, 0, 0, 3, 3), TBorderSet::None);
    ApplyTableBorders(cellRange(table, 0, 0, 3, 3), TBorderSet::Outer, 2);
    ApplyTableBorders(cellRange(table, 1, 1, 2, 2), TBorderSet::Inner, 1);
    ApplyBorderColor(cellRange(table, 0, 0, 0, 3), TBorderSide::Top, QColor(0, 0, 200));
    ApplyBorderColor(cellRange(table, 3, 0, 3, 1), TBorderSide::Left, QColor(0, 150, 0));
    SetCellVerticalAlignment(table->cellAt(0, 3).firstCursorPosition(), Qt::AlignBottom);
    SetCellVerticalAlignment(table->cellAt(3, 3).firstCursorPosition(), Qt::AlignVCenter);
    QTextTableCell shaded = table->cellAt(3, 2);
    QTextCharFormat bg = shaded.format();
    bg.setBackground(QColor(255, 255, 180));
    shaded.setFormat(bg);
    table->mergeCells(0, 0, 1, 2);   // across
    table->mergeCells(1, 0, 3, 1);   // down
    table->mergeCells(1, 2, 2, 2);   // both ways
    QTextTableFormat wide = table->format();
    wide.setWidth(QTextLength(QTextLength::PercentageLength, 100));
    table->setFormat(wide);

    std::unique_ptr<QTextDocument> back(roundTrip(doc));
    QTextTable* t = firstTable(*back);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->rows(), 4);
    EXPECT_EQ(t->columns(), 4);
    EXPECT_EQ(cellProperties(t), cellProperties(table));
    EXPECT_EQ(t->cellAt(2, 3).rowSpan(), 2);
    EXPECT_EQ(t->cellAt(2, 3).columnSpan(), 2);
    EXPECT_TRUE(t->format().borderCollapse());
    EXPECT_TRUE(IsFullWidth(t->format().width()));
    EXPECT_EQ(back->toPlainText(), doc.toPlainText());   // merged cells gain no empty paragraphs

    std::unique_ptr<QTextDocument> again(roundTrip(*back));   // and stay so
    EXPECT_EQ(cellProperties(firstTable(*again)), cellProperties(table));

    QTextDocument fixed;   // a fixed width and its columns
    QTextTableFormat ff;
    ff.setBorder(0);
    ff.setWidth(QTextLength(QTextLength::FixedLength, 400));
    ff.setColumnWidthConstraints({QTextLength(QTextLength::FixedLength, 100), QTextLength(QTextLength::FixedLength, 300)});
    QTextTable* borderless = QTextCursor(&fixed).insertTable(1, 2, ff);
    ApplyTableBorders(borderless->cellAt(0, 0).firstCursorPosition(), TBorderSet::Bottom, 2);
    std::unique_ptr<QTextDocument> fixedBack(roundTrip(fixed));
    QTextTable* fixedTable = firstTable(*fixedBack);
    EXPECT_EQ(fixedTable->format().width(), QTextLength(QTextLength::FixedLength, 400));
    EXPECT_EQ(fixedTable->format().columnWidthConstraints(), ff.columnWidthConstraints());
    EXPECT_EQ(fixedTable->format().border(), 0);   // a line under one cell, no borders elsewhere
    EXPECT_EQ(cellProperties(fixedTable), cellProperties(borderless));
}

TEST(Rtf, ParagraphFormatsSurviveTheRoundTrip)
{
    app();
    QTextDocument doc;
    QTextCursor c(&doc);
    const std::pair<const char*, Qt::Alignment> aligned[] = {
        {"links", Qt::AlignLeft}, {"mitte", Qt::AlignHCenter}, {"rechts", Qt::AlignRight}, {"block", Qt::AlignJustify}};
    for (const auto& [text, alignment] : aligned) {
        QTextBlockFormat bf;
        bf.setAlignment(alignment);
        c.setBlockFormat(bf);
        c.insertText(text);
        c.insertBlock();
    }
    QTextBlockFormat indented;
    indented.setIndent(2);
    c.setBlockFormat(indented);
    QTextCharFormat colored;
    colored.setForeground(QColor(112, 48, 160));
    c.insertText("eingerückt violett", colored);
    c.insertBlock(QTextBlockFormat(), QTextCharFormat());
    c.createList(QTextListFormat::ListDisc);
    c.insertText("Punkt");
    c.insertBlock();
    QTextListFormat level2;
    level2.setStyle(QTextListFormat::ListDecimal);
    level2.setIndent(2);
    c.createList(level2);
    c.insertText("Nummer eins");
    c.insertBlock();
    c.insertText("Nummer zwei");

    std::unique_ptr<QTextDocument> back(roundTrip(doc));
    EXPECT_EQ(back->toPlainText(), doc.toPlainText());
    for (const auto& [text, alignment] : aligned)
        EXPECT_EQ(back->find(text).block().blockFormat().alignment() & Qt::AlignHorizontal_Mask, alignment) << text;
    EXPECT_EQ(back->find("eingerückt").block().blockFormat().indent(), 2);
    EXPECT_EQ(formatAt(*back, "violett").foreground().color(), QColor(112, 48, 160));
    QTextList* bullets = back->find("Punkt").block().textList();
    ASSERT_NE(bullets, nullptr);
    EXPECT_EQ(bullets->format().style(), QTextListFormat::ListDisc);
    EXPECT_EQ(bullets->format().indent(), 1);
    QTextList* numbers = back->find("Nummer zwei").block().textList();
    ASSERT_NE(numbers, nullptr);
    EXPECT_EQ(numbers->format().style(), QTextListFormat::ListDecimal);
    EXPECT_EQ(numbers->format().indent(), 2);
    EXPECT_EQ(numbers->count(), 2);
}

// A table as another word processor writes it: the first cell of a merge
// down carries the text, the sides name their own widths and colours.
TEST(Rtf, ReadsForeignTableBordersAndMerges)
{
    app();
    const QString rtf =
        "{\\rtf1{\\colortbl ;\\red0\\green0\\blue200;\\red255\\green255\\blue180;}"
        "\\trowd\\trftsWidth2\\trwWidth2500\\clvmgf\\clvertalb\\clbrdrt\\brdrs\\brdrw30\\brdrcf1\\clbrdrb\\brdrnone\\cellx3000"
        "\\clbrdrl\\brdrs\\cellx6000\\clcbpat2\\cellx9000"
        "\\pard\\intbl oben\\cell mitte\\cell rechts\\cell\\row"
        "\\trowd\\trftsWidth2\\trwWidth2500\\clvmrg\\cellx3000\\clmgf\\cellx6000\\clmrg\\cellx9000"
        "\\pard\\intbl\\cell breit\\cell\\cell\\row}";
    QTextDocument doc;
    RtfToDocument(rtf, doc);
    QTextTable* t = firstTable(doc);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->rows(), 2);
    EXPECT_EQ(t->cellAt(0, 0).rowSpan(), 2);
    EXPECT_EQ(t->cellAt(1, 1).columnSpan(), 2);
    EXPECT_EQ(t->format().width(), QTextLength(QTextLength::PercentageLength, 50));
    const QTextTableCellFormat first = t->cellAt(0, 0).format().toTableCellFormat();
    EXPECT_EQ(first.verticalAlignment(), QTextCharFormat::AlignBottom);
    EXPECT_EQ(CellBorderWidth(first, TBorderSide::Top), 2);
    EXPECT_EQ(CellBorderColor(first, TBorderSide::Top), QColor(0, 0, 200));
    EXPECT_EQ(CellBorderWidth(first, TBorderSide::Bottom), 0);
    EXPECT_EQ(CellBorderWidth(first, TBorderSide::Left), -1);
    EXPECT_EQ(CellBorderWidth(t->cellAt(0, 1).format().toTableCellFormat(), TBorderSide::Left), 1);   // a line style without a width
    EXPECT_EQ(CellBorderWidth(t->cellAt(0, 1).format().toTableCellFormat(), TBorderSide::Top), -1);   // no line: none drawn
    EXPECT_EQ(t->format().border(), 0);   // no border the document does not give
    EXPECT_EQ(t->cellAt(0, 2).format().background().color(), QColor(255, 255, 180));
    EXPECT_EQ(doc.toPlainText(), "\noben\nmitte\nrechts\nbreit\n");   // a document holds a block before its first table
}
