#include "compose/RTFEditorEngine.h"
#include "compose/TableCommands.h"
#include "compose/rtf/RtfReader.h"
#include "compose/rtf/RtfWriter.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QRegularExpression>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextList>
#include <QTextTable>
#include <gtest/gtest.h>
#include <memory>

using namespace kalvex;

namespace {

// One application object for the program, whichever test file comes first.
void app()
{
    if (QCoreApplication::instance())
        return;
    static int argc = 1;
    static char name[] = "test_rtf";
    static char* argv[] = {name, nullptr};
    static QGuiApplication a(argc, argv);
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

namespace {

QList<QTextImageFormat> images(const QTextDocument& doc)
{
    QList<QTextImageFormat> out;
    for (QTextBlock b = doc.begin(); b.isValid(); b = b.next())
        for (auto it = b.begin(); !it.atEnd(); ++it)
            if (it.fragment().charFormat().isImageFormat())
                for (int i = 0; i < it.fragment().length(); ++i)   // equal neighbours share a fragment
                    out << it.fragment().charFormat().toImageFormat();
    return out;
}

QByteArray encoded(const QImage& image, const char* format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

QString pict(const QString& words, const QByteArray& bytes)
{
    return QStringLiteral("{\\pict%1 %2}").arg(words, QString::fromLatin1(bytes.toHex()));
}

}  // namespace

// 8-bit text is decoded by the font's character set, else the document's
// code page; \uN drops as many fallback characters as \ucN says.
TEST(Rtf, EightBitTextFollowsCodePagesAndCharacterSets)
{
    app();
    const std::pair<QByteArray, const char*> cases[] = {
        {"{\\rtf1\\ansi\\ansicpg1252 Stra\xdf" "e \\'80}", "Straße €"},
        {"{\\rtf1\\ansi\\ansicpg1251 \\'cf\xf0\\'e8\\'e2\\'e5\\'f2}", "Привет"},
        {"{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0 Arial;}{\\f1\\fcharset238 Arial CE;}{\\f2\\fcharset161 Arial Greek;}"
         "{\\f3\\fcharset162 Arial TUR;}{\\f4\\fcharset204 Arial CYR;}}\\f1 \\'9ala\\'9ek\\f2  \\'e1\\f3  \\'fe\\f4  \\'e6\\f0  \\'e4}",
         "šlažk α ş ж ä"},
        {"{\\rtf1\\ansi{\\fonttbl{\\f0\\fcharset128 MS Mincho;}}\\f0 \\'82\\'a0\\'83e}", "あテ"},
        {"{\\rtf1\\ansi{\\fonttbl{\\f0 Arial;}{\\f1\\fcharset2 Symbol;}}\\f1 \\'b7\\f0  a}", "• a"},
        {"{\\rtf1\\ansi\\uc1 \\u228?\\u228\\'e4 \\uc2\\u8364\\'80\\'80|\\uc0\\u223 x {\\u252}\\'fc}", "ää €|ßx üü"},
    };
    for (const auto& [rtf, expected] : cases) {
        QTextDocument doc;
        RtfToDocument(RtfTextFromBytes(rtf), doc);
        EXPECT_EQ(doc.toPlainText().toStdString(), expected) << rtf.toStdString();
    }
    QTextDocument plain;   // a file without RTF is UTF-8 text
    RtfToDocument(RtfTextFromBytes("\xef\xbb\xbfGr\xc3\xbc\xc3\x9f" "e"), plain);
    EXPECT_EQ(plain.toPlainText(), QString::fromUtf8("Grüße"));
}

// Pictures of both forms are read once each, named by their bytes, at the
// size the document gives; what Qt cannot decode is left out.
TEST(Rtf, PicturesAreReadAsEncodedBytesAtTheirGivenSize)
{
    app();
    QImage red(30, 20, QImage::Format_RGB32);
    red.fill(Qt::red);
    const QByteArray png = encoded(red, "PNG"), jpeg = encoded(red, "JPEG"), bmp = encoded(red, "BMP");
    const QString rtf = "{\\rtf1 A" + pict("\\pngblip\\picwgoal900\\pichgoal600\\picscalex50", png)
                      + "{\\*\\shppict" + pict("\\jpegblip", jpeg) + "}{\\nonshppict" + pict("\\wmetafile8", "0100090000") + "}"
                      + "B" + pict("\\emfblip", "0100000088000000") + pict("\\dibitmap0\\picwgoal-5\\pichgoal1000000000", bmp.mid(14))
                      + pict("\\pngblip", png) + pict("\\pngblip", "not a picture") + "{\\pict\\jpegblip 89504e47a}C}";
    QTextDocument doc;
    RtfToDocument(rtf, doc);
    EXPECT_EQ(doc.toPlainText(), QString("A") + QChar::ObjectReplacementCharacter + QChar::ObjectReplacementCharacter + "B"
                                     + QChar::ObjectReplacementCharacter + QChar::ObjectReplacementCharacter + "C");
    const QList<QTextImageFormat> found = images(doc);
    ASSERT_EQ(found.size(), 4);
    const QByteArray first = doc.resource(QTextDocument::ImageResource, QUrl(found[0].name())).toByteArray();
    EXPECT_EQ(first, png);
    EXPECT_EQ(found[0].name(), "kalvex-image://" + QCryptographicHash::hash(png, QCryptographicHash::Sha1).toHex() + ".png");
    EXPECT_EQ(QSizeF(found[0].width(), found[0].height()), QSizeF(30, 40));   // 900 twips at 50 %, 600 twips
    EXPECT_EQ(doc.resource(QTextDocument::ImageResource, QUrl(found[1].name())).toByteArray(), jpeg);
    EXPECT_TRUE(found[1].name().endsWith(".jpg"));
    const QByteArray dib = doc.resource(QTextDocument::ImageResource, QUrl(found[2].name())).toByteArray();
    EXPECT_TRUE(dib.startsWith("\x89PNG"));   // a bitmap is kept as PNG
    EXPECT_EQ(QImage::fromData(dib).pixelColor(5, 5), QColor(Qt::red));
    EXPECT_EQ(QSizeF(found[2].width(), found[2].height()), QSizeF(30, 20));   // nonsense sizes: its own
    EXPECT_EQ(found[3].name(), found[0].name());   // the same picture twice: one name

    QTextDocument back;   // written in \shppict, read with the same bytes
    const QString written = DocumentToRtf(doc);
    EXPECT_EQ(written.count("{\\*\\shppict{\\pict\\pngblip"), 3);
    EXPECT_EQ(written.count("{\\*\\shppict{\\pict\\jpegblip"), 1);
    RtfToDocument(written, back);
    const QList<QTextImageFormat> again = images(back);
    ASSERT_EQ(again.size(), 4);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(again[i].name(), found[i].name());
        EXPECT_EQ(QSizeF(again[i].width(), again[i].height()), QSizeF(found[i].width(), found[i].height()));
    }
}

// The writer finds an image resource of any name and kind.
TEST(Rtf, WriterTakesImagesOfEveryResourceKind)
{
    app();
    QImage blue(12, 8, QImage::Format_RGB32);
    blue.fill(Qt::blue);
    QTextDocument doc;
    QTextCursor c(&doc);
    doc.addResource(QTextDocument::ImageResource, QUrl("img:image"), blue);
    doc.addResource(QTextDocument::ImageResource, QUrl("img:pixmap"), QPixmap::fromImage(blue));
    doc.addResource(QTextDocument::ImageResource, QUrl("img:gif"), encoded(blue, "BMP"));
    for (const char* name : {"img:image", "img:pixmap", "img:gif"})
        c.insertImage(QString::fromLatin1(name));
    QTextDocument back;
    RtfToDocument(DocumentToRtf(doc), back);
    const QList<QTextImageFormat> found = images(back);
    ASSERT_EQ(found.size(), 3);
    for (const QTextImageFormat& f : found) {
        const QImage image = QImage::fromData(back.resource(QTextDocument::ImageResource, QUrl(f.name())).toByteArray());
        EXPECT_EQ(image.size(), QSize(12, 8));
        EXPECT_EQ(image.pixelColor(1, 1), QColor(Qt::blue));
    }
}

// Links are HYPERLINK fields both ways; other fields keep their result.
TEST(Rtf, HyperlinkFieldsBecomeAnchors)
{
    app();
    const QString rtf = "{\\rtf1 {\\field{\\*\\fldinst{HYPERLINK \"https://example.com/a?b=1&c=2\"}}{\\fldrslt{\\ul Seite}}} "
                        "{\\field{\\*\\fldinst HYPERLINK \\\\l \"Kapitel2\"}{\\fldrslt Kapitel}} "
                        "{\\field{\\*\\fldinst {HYPERLINK mailto:a@example.com }}{\\fldrslt Post}} "
                        "{\\field{\\*\\fldinst PAGE}{\\fldrslt 3}} {\\field{\\*\\fldinst MERGEFIELD Name}{\\fldrslt \\'abName\\'bb}}}";
    QTextDocument doc;
    RtfToDocument(rtf, doc);
    EXPECT_EQ(doc.toPlainText(), QString::fromUtf8("Seite Kapitel Post 3 «Name»"));
    EXPECT_EQ(formatAt(doc, "Seite").anchorHref(), "https://example.com/a?b=1&c=2");
    EXPECT_TRUE(formatAt(doc, "Seite").fontUnderline());
    EXPECT_EQ(formatAt(doc, "Kapitel").anchorHref(), "#Kapitel2");
    EXPECT_EQ(formatAt(doc, "Post").anchorHref(), "mailto:a@example.com");
    EXPECT_FALSE(formatAt(doc, "3").isAnchor());

    const QString written = DocumentToRtf(doc);
    EXPECT_TRUE(written.contains("{\\field{\\*\\fldinst{HYPERLINK \"https://example.com/a?b=1&c=2\"}}{\\fldrslt{"));
    EXPECT_TRUE(written.contains("HYPERLINK \\\\l \"Kapitel2\""));
    QTextDocument back;
    RtfToDocument(written, back);
    EXPECT_EQ(back.toPlainText(), doc.toPlainText());
    for (const char* text : {"Seite", "Kapitel", "Post", "3"})
        EXPECT_EQ(formatAt(back, text).anchorHref(), formatAt(doc, text).anchorHref()) << text;
}

// Lists of the list table keep their kind and level; the old \pn words too.
TEST(Rtf, ListsOfListTablesAndPnWords)
{
    app();
    const QString rtf =
        "{\\rtf1{\\*\\listtable{\\list{\\listlevel\\levelnfc23{\\leveltext\\'01\\u8226 ?;}}{\\listlevel\\levelnfc4"
        "{\\leveltext\\'02\\'01);}}\\listid7}{\\list{\\listlevel\\levelnfc2{\\leveltext\\'02\\'00.;}}\\listid9}}"
        "{\\*\\listoverridetable{\\listoverride\\listid7\\listoverridecount0\\ls1}{\\listoverride\\listid9\\ls2}}"
        "\\pard\\ls1\\ilvl0{\\listtext\\pard\\plain \\'b7\\tab}Eins\\par"
        "\\pard\\ls1\\ilvl1{\\listtext a)\\tab}Unter\\par"
        "\\pard\\ls1\\ilvl0{\\listtext \\'b7\\tab}Zwei\\par"
        "\\pard\\ls2 R\\'f6misch\\par\\pard Text\\par"
        "\\pard{\\pntext\\f1 A.\\tab}{\\*\\pn\\pnlvlbody\\pnucltr{\\pntxta .}}\\fi-360\\li720 Gross\\par}";
    QTextDocument doc;
    RtfToDocument(rtf, doc);
    EXPECT_EQ(doc.toPlainText(), QString::fromUtf8("Eins\nUnter\nZwei\nRömisch\nText\nGross"));
    auto listOf = [&](const QTextDocument& d, const char* text) { return d.find(text).block().textList(); };
    std::unique_ptr<QTextDocument> back(roundTrip(doc));
    for (const QTextDocument* d : {const_cast<const QTextDocument*>(&doc), const_cast<const QTextDocument*>(back.get())}) {
        ASSERT_NE(listOf(*d, "Eins"), nullptr);
        EXPECT_EQ(listOf(*d, "Eins"), listOf(*d, "Zwei"));   // the sub-item does not break the list
        EXPECT_EQ(listOf(*d, "Eins")->format().style(), QTextListFormat::ListDisc);
        ASSERT_NE(listOf(*d, "Unter"), nullptr);
        EXPECT_EQ(listOf(*d, "Unter")->format().style(), QTextListFormat::ListLowerAlpha);
        EXPECT_EQ(listOf(*d, "Unter")->format().indent(), 2);
        ASSERT_NE(listOf(*d, "Römisch"), nullptr);
        EXPECT_EQ(listOf(*d, "Römisch")->format().style(), QTextListFormat::ListLowerRoman);
        EXPECT_EQ(listOf(*d, "Text"), nullptr);
        ASSERT_NE(listOf(*d, "Gross"), nullptr);
        EXPECT_EQ(listOf(*d, "Gross")->format().style(), QTextListFormat::ListUpperAlpha);
    }
    const QString written = DocumentToRtf(doc);   // what WordPad, Word and LibreOffice each read
    const QRegularExpressionMatch symbol = QRegularExpression(R"(\{\\f(\d+)\\fnil\\fcharset2 Symbol;\})").match(written);
    ASSERT_TRUE(symbol.hasMatch());
    EXPECT_TRUE(written.contains(QStringLiteral("{\\pntext\\f%1\\'b7\\tab}").arg(symbol.captured(1))));
    EXPECT_TRUE(written.contains(QStringLiteral("{\\*\\pn\\pnlvlblt\\pnf%1\\pnindent0{\\pntxtb\\'b7}}").arg(symbol.captured(1))));
    EXPECT_TRUE(written.contains("{\\*\\listtable"));
    EXPECT_TRUE(written.contains("\\ls1\\ilvl0"));
}

TEST(Rtf, ParagraphSpacingSurvivesTheRoundTrip)
{
    app();
    QTextDocument doc;
    RtfToDocument("{\\rtf1\\pard\\sb120\\sa240\\sl360\\slmult1 Eins\\par\\pard\\sl-300\\slmult0 Zwei\\par"
                  "\\pard\\sl300 Drei\\par\\pard Vier\\par}", doc);
    std::unique_ptr<QTextDocument> back(roundTrip(doc));
    for (QTextDocument* d : {&doc, back.get()}) {
        const QTextBlockFormat one = d->find("Eins").blockFormat();
        EXPECT_EQ(one.topMargin(), 8);
        EXPECT_EQ(one.bottomMargin(), 16);
        EXPECT_EQ(one.lineHeightType(), QTextBlockFormat::ProportionalHeight);
        EXPECT_EQ(one.lineHeight(), 150);
        EXPECT_EQ(d->find("Zwei").blockFormat().lineHeightType(), QTextBlockFormat::FixedHeight);
        EXPECT_EQ(d->find("Zwei").blockFormat().lineHeight(), 20);
        EXPECT_EQ(d->find("Drei").blockFormat().lineHeightType(), QTextBlockFormat::MinimumHeight);
        EXPECT_EQ(d->find("Vier").blockFormat().topMargin(), 0);
    }
}

// Hostile counts and sizes end in a document of bounded size.
TEST(Rtf, HostileCountsAreBounded)
{
    app();
    QTextDocument doc;
    RtfToDocument("{\\rtf1 a\\bin2147483647 xyz}b", doc);
    EXPECT_EQ(doc.toPlainText(), "a");
    RtfToDocument("{\\rtf1 a{\\pict\\pngblip\\bin999999999 \x89PNG}b}", doc);
    EXPECT_EQ(doc.toPlainText(), "a");
    QString huge = "{\\rtf1 {\\pict\\pngblip ";
    huge += QString(70 << 20, QLatin1Char('a'));   // more hex digits than any picture may have
    huge += "}x}";
    RtfToDocument(huge, doc);
    EXPECT_EQ(doc.toPlainText(), "x");
    RtfToDocument("{\\rtf1\\ansicpg2147483647 \\'e4\\uc-5\\u-3 x{\\field{\\*\\fldinst HYPERLINK \"}{\\fldrslt y}}}", doc);
    EXPECT_EQ(doc.toPlainText(), QString::fromUtf8("ä\uFFFDxy"));
    EXPECT_FALSE(formatAt(doc, "y").isAnchor());
    RtfToDocument("{\\rtf1 a\\'02\x01\\uc0\\u27 b\\'09c}", doc);   // a control byte is no text; a tab is, and \u27
    EXPECT_EQ(doc.toPlainText(), "a\x1b" "b\tc");
    QTextDocument plain;   // a plain text keeps its control characters through RTF
    plain.setPlainText("x\x1b[0m\x01");
    RtfToDocument(DocumentToRtf(plain), doc);
    EXPECT_EQ(doc.toPlainText(), plain.toPlainText());
}

TEST(Rtf, EveryListStyleSurvivesTheRoundTrip)
{
    app();
    const QTextListFormat::Style styles[] = {QTextListFormat::ListDisc,       QTextListFormat::ListCircle,
                                             QTextListFormat::ListSquare,     QTextListFormat::ListDecimal,
                                             QTextListFormat::ListLowerAlpha, QTextListFormat::ListUpperAlpha,
                                             QTextListFormat::ListLowerRoman, QTextListFormat::ListUpperRoman};
    QTextDocument doc;
    QTextCursor c(&doc);
    for (const QTextListFormat::Style style : styles) {
        c.insertBlock(QTextBlockFormat());
        c.insertText(QStringLiteral("Absatz %1").arg(int(style)));
        c.insertBlock();
        c.createList(style);
        c.insertText(QStringLiteral("Punkt %1").arg(int(style)));
    }
    std::unique_ptr<QTextDocument> back(roundTrip(doc));
    EXPECT_EQ(back->toPlainText(), doc.toPlainText());
    for (const QTextListFormat::Style style : styles) {
        QTextList* list = back->find(QStringLiteral("Punkt %1").arg(int(style))).block().textList();
        ASSERT_NE(list, nullptr) << int(style);
        EXPECT_EQ(list->format().style(), style);
    }
}

// Paragraph properties belong to their group; the last paragraph, without
// a \par, keeps those in force when the document closes.
TEST(Rtf, ParagraphPropertiesAreScopedByGroups)
{
    app();
    QTextDocument doc;
    RtfToDocument("{\\rtf1{\\pard\\qr rechts\\par}links\\par\\pard\\qc Mitte}", doc);
    EXPECT_EQ(doc.toPlainText(), "rechts\nlinks\nMitte");
    EXPECT_EQ(doc.find("rechts").blockFormat().alignment() & Qt::AlignHorizontal_Mask, Qt::AlignRight);
    EXPECT_EQ(doc.find("links").blockFormat().alignment() & Qt::AlignHorizontal_Mask, Qt::AlignLeft);
    EXPECT_EQ(doc.find("Mitte").blockFormat().alignment() & Qt::AlignHorizontal_Mask, Qt::AlignHCenter);
    RtfToDocument("{\\rtf1 Vor\\par{\\trowd\\cellx1000\\pard\\intbl A\\cell\\row}\\par Nach\\par}", doc);
    ASSERT_NE(firstTable(doc), nullptr);
    EXPECT_EQ(firstTable(doc)->rows(), 1);   // the row's group closed its table
    EXPECT_TRUE(doc.toPlainText().endsWith("Nach"));
}
