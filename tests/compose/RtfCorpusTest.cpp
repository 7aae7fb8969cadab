// Letters written by LibreOffice, pandoc, AbiWord and in RichEdit's manner
// (tests/data/rtf, made by make_corpus.sh): each is read, checked, written
// and read again.

#include "compose/TableCommands.h"
#include "compose/rtf/RtfReader.h"
#include "compose/rtf/RtfWriter.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextList>
#include <QTextTable>
#include <gtest/gtest.h>

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

QByteArray corpusFile(const QString& name)
{
    QFile f(QStringLiteral(KALVEX_RTF_CORPUS "/") + name);
    EXPECT_TRUE(f.open(QIODevice::ReadOnly)) << name.toStdString();
    return f.readAll();
}

struct TLetter {
    const char* file;
    int pictures;      // logo (PNG), then photo (JPEG)
    const char* item;  // a list item as plain text where the program writes no list, else nullptr
    bool boxed;        // every cell framed; else a rule under the head row only
    double shown = 1;  // the size the document gives the pictures, to their own
};

struct TPicture {
    QByteArray bytes;
    QString name;
    QSizeF shown;
};

QList<TPicture> pictures(const QTextDocument& doc)
{
    QList<TPicture> out;
    for (QTextBlock b = doc.begin(); b.isValid(); b = b.next())
        for (auto it = b.begin(); !it.atEnd(); ++it)
            if (const QTextCharFormat f = it.fragment().charFormat(); f.isImageFormat()) {
                const QTextImageFormat image = f.toImageFormat();
                for (int i = 0; i < it.fragment().length(); ++i)   // equal neighbours share a fragment
                    out.append({doc.resource(QTextDocument::ImageResource, QUrl(image.name())).toByteArray(), image.name(),
                                QSizeF(image.width(), image.height())});
            }
    return out;
}

QStringList links(const QTextDocument& doc)
{
    QStringList out;
    for (QTextBlock b = doc.begin(); b.isValid(); b = b.next())
        for (auto it = b.begin(); !it.atEnd(); ++it)
            if (const QTextCharFormat f = it.fragment().charFormat(); f.isAnchor())
                out << f.anchorHref() + QLatin1Char(' ') + it.fragment().text();
    return out;
}

QTextTable* firstTable(const QTextDocument& doc)
{
    const QList<QTextTable*> tables = DocumentTables(doc);
    return tables.isEmpty() ? nullptr : tables.front();
}

void expectText(const QTextDocument& doc)
{
    const QString text = doc.toPlainText();
    for (const char* line : {"Sehr geehrte(r) <Name>,", "die Fläche <Fläche> kostet 25 € je m² – Grüße aus der Straße.",
                             "Mehr unter Kalvex-Seite oder Post."})
        EXPECT_TRUE(text.contains(QString::fromUtf8(line))) << line << "\nin:\n" << text.toStdString();
}

void expectPictures(const QTextDocument& doc, const TLetter& letter)
{
    const QList<TPicture> found = pictures(doc);
    ASSERT_EQ(found.size(), letter.pictures);
    const QSize sizes[] = {{48, 24}, {40, 30}};
    for (int i = 0; i < found.size(); ++i) {
        const QImage image = QImage::fromData(found[i].bytes);
        EXPECT_EQ(image.size(), sizes[i]) << found[i].name.toStdString();
        EXPECT_NEAR(found[i].shown.width(), sizes[i].width() * letter.shown, 1.0);
        EXPECT_NEAR(found[i].shown.height(), sizes[i].height() * letter.shown, 1.0);
        const QString hash = QString::fromLatin1(QCryptographicHash::hash(found[i].bytes, QCryptographicHash::Sha1).toHex());
        EXPECT_EQ(found[i].name, QStringLiteral("kalvex-image://%1.%2").arg(hash, i == 0 ? "png" : "jpg"));
    }
    if (found.size() == 2) {
        EXPECT_EQ(found[1].bytes, corpusFile("photo.jpg"));   // the JPEG as the program embedded it
    }
}

void expectLists(const QTextDocument& doc, const TLetter& letter)
{
    QTextList* bullets = doc.find("erster Punkt").block().textList();
    QTextList* numbers = doc.find("Nummer zwei").block().textList();
    if (letter.item) {
        EXPECT_EQ(bullets, nullptr);
        EXPECT_EQ(numbers, nullptr);
        EXPECT_TRUE(doc.toPlainText().contains(QString::fromUtf8(letter.item)));
        return;
    }
    ASSERT_NE(bullets, nullptr);
    ASSERT_NE(numbers, nullptr);
    EXPECT_EQ(bullets->format().style(), QTextListFormat::ListDisc);
    EXPECT_EQ(bullets, doc.find("zweiter Punkt").block().textList());
    EXPECT_EQ(numbers->format().style(), QTextListFormat::ListDecimal);
    EXPECT_EQ(numbers, doc.find("Nummer eins").block().textList());
    EXPECT_EQ(numbers->itemNumber(doc.find("Nummer zwei").block()), 1);
    EXPECT_EQ(bullets->format().indent(), 1);
}

bool framed(const QTextTableCell& cell, TBorderSide side)
{
    return CellBorderWidth(cell.format().toTableCellFormat(), side) > 0;
}

void expectTable(const QTextDocument& doc, const TLetter& letter)
{
    QTextTable* t = firstTable(doc);
    ASSERT_NE(t, nullptr);
    ASSERT_EQ(t->rows(), 3);
    ASSERT_EQ(t->columns(), 2);
    const char* texts[3][2] = {{"Pos", "Menge"}, {"<Pos-Wiederholung-Anfang>Äpfel", "3"}, {"Öl", "1<Pos-Wiederholung-Ende>"}};
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 2; ++c) {
            QTextCursor cell = t->cellAt(r, c).firstCursorPosition();
            cell.setPosition(t->cellAt(r, c).lastCursorPosition().position(), QTextCursor::KeepAnchor);
            EXPECT_EQ(cell.selectedText().toStdString(), texts[r][c]);
            EXPECT_TRUE(framed(t->cellAt(r, c), TBorderSide::Bottom) || (r > 0 && !letter.boxed)) << r << "," << c;
            for (TBorderSide side : {TBorderSide::Left, TBorderSide::Right, TBorderSide::Top})
                EXPECT_EQ(framed(t->cellAt(r, c), side), letter.boxed) << r << "," << c << " side " << int(side);
        }
    EXPECT_EQ(t->format().border(), 0);
}

void expectLetter(const QTextDocument& doc, const TLetter& letter)
{
    expectText(doc);
    expectPictures(doc, letter);
    EXPECT_EQ(links(doc), QStringList({"https://www.example.com/kalvex?a=1&b=2 Kalvex-Seite", "mailto:info@example.com Post"}));
    expectLists(doc, letter);
    expectTable(doc, letter);
}

}  // namespace

TEST(RtfCorpus, LettersOfOtherProgramsReadAndWriteBack)
{
    app();
    const TLetter letters[] = {{"libreoffice.rtf", 2, nullptr, false},
                               {"pandoc.rtf", 2, "•\terster Punkt\n•\tzweiter Punkt\n1.\tNummer eins", false},
                               {"abiword.rtf", 2, nullptr, true, 4 / 3.0},   // 48 pt for 48 pixels
                               {"abiword-rule.rtf", 0, "\terster Punkt\n\tzweiter Punkt", false},   // its items in \listtext
                               {"wordpad.rtf", 2, nullptr, false}};
    for (const TLetter& letter : letters) {
        SCOPED_TRACE(letter.file);
        QTextDocument doc;
        RtfToDocument(RtfTextFromBytes(corpusFile(letter.file)), doc);
        expectLetter(doc, letter);
        QTextDocument back;
        RtfToDocument(DocumentToRtf(doc), back);
        SCOPED_TRACE("written and read again");
        expectLetter(back, letter);
        EXPECT_EQ(back.toPlainText(), doc.toPlainText());
        const QList<TPicture> before = pictures(doc), after = pictures(back);
        for (int i = 0; i < std::min(before.size(), after.size()); ++i)
            EXPECT_EQ(after[i].bytes, before[i].bytes);   // byte for byte, so the same name
    }
}

namespace {

// LibreOffice converts an RTF file (to UTF-8 text, to HTML), in a profile
// of its own.
QString libreOffice(const QString& rtf, const QString& filter, const QString& suffix)
{
    QTemporaryDir dir;
    QFile file(dir.filePath("brief.rtf"));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(rtf.toLatin1());   // the writer writes 7-bit text
    file.close();
    QProcess office;
    office.setWorkingDirectory(dir.path());
    office.start("soffice", {"-env:UserInstallation=" + QUrl::fromLocalFile(dir.filePath("profile")).toString(), "--headless",
                             "--convert-to", filter, "--outdir", dir.path(), file.fileName()});
    EXPECT_TRUE(office.waitForFinished(180000)) << "soffice (Debian libreoffice-writer-nogui) did not finish";
    QFile text(dir.filePath("brief." + suffix));
    EXPECT_TRUE(text.open(QIODevice::ReadOnly)) << office.readAllStandardError().toStdString();
    return QString::fromUtf8(text.readAll());
}

}  // namespace

// What the module stores opens in LibreOffice with its bullets, numbers and
// table cells.
TEST(RtfCorpus, LibreOfficeReadsWhatTheWriterWrites)
{
    app();
    QTextDocument doc;
    QTextCursor c(&doc);
    c.insertText(QString::fromUtf8("Grüße für <Name> – 25 €"));
    c.insertBlock();
    c.createList(QTextListFormat::ListDisc);
    c.insertText("Apfel");
    c.insertBlock();
    c.insertText("Birne");
    c.insertBlock();
    c.createList(QTextListFormat::ListDecimal);
    c.insertText("Eins");
    c.insertBlock();
    c.insertText("Zwei");
    c.insertBlock(QTextBlockFormat());
    QTextCharFormat link;
    link.setAnchor(true);
    link.setAnchorHref("https://example.com/kalvex");
    c.insertText("Seite", link);
    c.insertBlock(QTextBlockFormat(), QTextCharFormat());
    QTextTable* table = c.insertTable(2, 2);
    table->cellAt(0, 0).firstCursorPosition().insertText("Zelle A1");
    table->cellAt(1, 1).firstCursorPosition().insertText("Zelle B2");
    c = table->lastCursorPosition();
    c.movePosition(QTextCursor::NextBlock);
    doc.addResource(QTextDocument::ImageResource, QUrl("kalvex-image://logo"), corpusFile("logo.png"));
    c.insertImage("kalvex-image://logo");

    const QString rtf = DocumentToRtf(doc);
    const QString text = libreOffice(rtf, "txt:Text (encoded):UTF8", "txt");
    for (const char* line : {"^Grüße für <Name> – 25 €$", "^\\s*•\\s+Apfel$", "^\\s*•\\s+Birne$", "^\\s*1\\.\\s+Eins$",
                             "^\\s*2\\.\\s+Zwei$", "^Seite$", "^Zelle A1$", "^Zelle B2$"})
        EXPECT_TRUE(text.contains(QRegularExpression(QString::fromUtf8(line), QRegularExpression::MultilineOption)))
            << line << "\nin:\n" << text.toStdString();
    const QString html = libreOffice(rtf, "html", "html");   // the picture, at its size
    EXPECT_TRUE(html.contains(QRegularExpression(R"(<img [^>]*width="48" height="24")"))) << html.toStdString();
}

// The fuzzer's seeds (pictures, fields, list tables, code pages, odd picture
// data) keep their text through a write and a read, as the fuzzer demands.
TEST(RtfCorpus, FuzzSeedsReadBackUnchanged)
{
    app();
    const QDir seeds(QStringLiteral(KALVEX_RTF_SEEDS));
    const QStringList files = seeds.entryList({"*.rtf"}, QDir::Files);
    ASSERT_GE(files.size(), 8);
    for (const QString& name : files) {
        QFile file(seeds.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        QTextDocument first, second;
        RtfToDocument(RtfTextFromBytes(file.readAll()), first);
        RtfToDocument(DocumentToRtf(first), second);
        EXPECT_EQ(second.toPlainText().toStdString(), first.toPlainText().toStdString()) << name.toStdString();
    }
}
