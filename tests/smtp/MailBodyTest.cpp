// What the recipient gets from a body document: sent through a real server
// and read back by Python's email and HTML parsers (check_mail.py).
#include "SmtpServer.h"

#include "compose/LinkCommands.h"
#include "compose/MailBodyExport.h"
#include "compose/PersonalCircular.h"
#include "compose/TemplateMerge.h"
#include "compose/rtf/RtfReader.h"
#include "compose/rtf/RtfWriter.h"
#include "mailinterface/EMail.h"
#include "mailinterface/uMailInterface.h"
#include "send/ComposeModel.h"
#include "send/EMailVersand.h"
#include "send/MimeBuilder.h"
#include "send/PreparedBody.h"

#include <QBuffer>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextList>
#include <QTextTable>
#include <gtest/gtest.h>

using namespace kalvex;
using namespace kalvex::testing;

namespace {

QGuiApplication& gui()
{
    static int argc = 1;
    static char name[] = "test_mail_body";
    static char* argv[] = {name, nullptr};
    static QGuiApplication app(argc, argv);
    return app;
}

QByteArray encoded(const QColor& color, QSize size, const char* format)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

QJsonObject sendAndParse(const SmtpServer& server, TEMail& mail)
{
    mail.FVon = "absender@example.org";
    mail.FAn = {"anna@example.org"};
    mail.FBetreff = "Test";
    TEMailVersand sender(nullptr);
    sender.Setup("127.0.0.1", QString(), false, server.Port(), QString());
    sender.Settings().replyTimeoutMs = 5000;
    sender.Settings().connectTimeoutMs = 5000;
    EXPECT_TRUE(sender.SendMail(mail));
    return server.Parsed(server.MailCount());
}

QJsonObject partOf(const QJsonObject& message, const QString& type)
{
    for (const QJsonValue p : message["parts"].toArray())
        if (p["type"].toString() == type)
            return p.toObject();
    return {};
}

void mailFrom(const QTextDocument& doc, TEMail& mail)
{
    mail.FBodyHTML = MailHtmlLines(doc);
    mail.FBodyPlain = MailPlainText(doc);
    mail.FBodyRTF = DocumentToRtf(doc);
}

void leaveList(QTextCursor& c)
{
    c.insertBlock(QTextBlockFormat(), QTextCharFormat());
    if (QTextList* list = c.currentList())
        list->remove(c.block());
    c.setBlockFormat(QTextBlockFormat());
}

void fillCells(QTextTable* table, const QStringList& texts)
{
    for (int i = 0; i < texts.size(); ++i)
        table->cellAt(i / table->columns(), i % table->columns()).firstCursorPosition().insertText(texts[i]);
}

// A document as the editor makes it: links, fonts, spacing, pictures (the
// same one twice, a JPEG, an old QImage resource), nested lists, a table
// without and one with borders.
void writeRichDocument(QTextDocument& doc)
{
    QTextCursor c(&doc);
    c.insertText("Hallo Welt");
    c.insertBlock();
    QTextCharFormat link;
    link.setAnchor(true);
    link.setAnchorHref("https://example.org/a?b=1&c=\"x\"");
    link.setForeground(QColor(0, 0, 255));
    c.insertText("Unsere Seite", link);
    c.insertText(" und ", QTextCharFormat());
    QTextCharFormat bare;
    bare.setAnchor(true);
    bare.setAnchorHref("https://example.org/");
    c.insertText("https://example.org/", bare);
    c.insertBlock(QTextBlockFormat(), QTextCharFormat());
    QTextCharFormat serif, mono;
    serif.setFontFamilies({"Serif"});
    mono.setFontFamilies({"Courier New"});
    c.insertText("Serifen", serif);
    c.insertText(" Code", mono);
    QTextBlockFormat spaced;
    spaced.setTopMargin(12);
    spaced.setBottomMargin(6);
    c.insertBlock(spaced, QTextCharFormat());
    c.insertText("Abstand");
    c.insertBlock(QTextBlockFormat(), QTextCharFormat());
    QTextImageFormat red;
    red.setName(AddPictureResource(doc, PictureFromFileBytes(encoded(Qt::red, {20, 10}, "PNG"))));
    red.setWidth(40);
    red.setHeight(20);
    c.insertImage(red);
    c.insertText("Text zwischen Bildern");
    c.insertImage(red);
    c.insertImage(AddPictureResource(doc, PictureFromFileBytes(encoded(Qt::green, {16, 12}, "JPEG"))));
    doc.addResource(QTextDocument::ImageResource, QUrl("kalvex-image://alt"), QImage(8, 8, QImage::Format_RGB32));
    c.insertImage("kalvex-image://alt");
    c.insertBlock();
    QTextListFormat bullets;
    bullets.setStyle(QTextListFormat::ListDisc);
    c.insertList(bullets);
    c.insertText("Punkt eins");
    c.insertBlock();
    QTextListFormat numbers;
    numbers.setStyle(QTextListFormat::ListDecimal);
    numbers.setIndent(2);
    c.insertList(numbers);
    c.insertText("Unterpunkt");
    c.insertBlock();
    c.insertText("Unterpunkt zwei");
    leaveList(c);
    QTextTableFormat noBorder;
    noBorder.setBorder(0);
    QTextTable* sums = c.insertTable(2, 2, noBorder);
    fillCells(sums, {"A1", "B1", "A2", "B2"});
    QTextTableCellFormat underlined;   // a sum line: one side of one cell
    underlined.setBottomBorder(2);
    underlined.setBottomBorderStyle(QTextFrameFormat::BorderStyle_Solid);
    underlined.setBottomBorderBrush(QColor(255, 0, 0));
    sums->cellAt(1, 1).setFormat(underlined);
    c.movePosition(QTextCursor::End);
    QTextTableFormat framed;
    framed.setBorder(1);
    framed.setBorderStyle(QTextFrameFormat::BorderStyle_Solid);
    fillCells(c.insertTable(1, 2, framed), {"x", "y"});
}

}  // namespace

TEST(MailBody, PicturesLinksFontsListsAndTablesReachTheRecipient)
{
    gui();
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    TComposeModel model;   // a new window's body
    writeRichDocument(model.Body());
    TEMail mail;
    mailFrom(model.Body(), mail);

    const QStringList plain = mail.FBodyPlain.split('\n');
    EXPECT_TRUE(plain.contains("Unsere Seite <https://example.org/a?b=1&c=\"x\"> und https://example.org/")) << mail.FBodyPlain.toStdString();
    EXPECT_TRUE(plain.contains("Text zwischen Bildern"));
    EXPECT_FALSE(mail.FBodyPlain.contains(QChar::ObjectReplacementCharacter));
    for (const char* line : {"• Punkt eins", "  1. Unterpunkt", "  2. Unterpunkt zwei", "A1\tB1", "A2\tB2", "x\ty"})
        EXPECT_TRUE(plain.contains(line)) << line << "\n" << mail.FBodyPlain.toStdString();

    const QJsonObject m = sendAndParse(server, mail);
    EXPECT_TRUE(m["problems"].toArray().isEmpty()) << QJsonDocument(m["problems"].toArray()).toJson().toStdString();
    EXPECT_EQ(m["parts"][0]["type"].toString(), "multipart/related");
    QFile raw(server.MailFile(server.MailCount()));
    ASSERT_TRUE(raw.open(QIODevice::ReadOnly));
    EXPECT_TRUE(raw.readAll().contains("multipart/related;\r\n type=\"multipart/alternative\""));

    // One part per distinct picture, each shown where the document has it.
    QStringList types;
    for (const QJsonValue p : m["parts"].toArray())
        if (p["cid"].isString()) {
            types << p["type"].toString();
            EXPECT_EQ(p["disposition"].toString(), "inline");
        }
    EXPECT_EQ(types, (QStringList{"image/png", "image/jpeg", "image/png"}));
    const QJsonObject html = partOf(m, "text/html");
    const QJsonArray images = html["images"].toArray();
    ASSERT_EQ(images.size(), 4);
    EXPECT_EQ(images[0]["src"], images[1]["src"]);
    EXPECT_EQ(images[0]["width"].toString(), "40");
    EXPECT_EQ(images[0]["height"].toString(), "20");
    EXPECT_EQ(images[2]["width"].toString(), "16");

    const QJsonArray links = html["links"].toArray();
    ASSERT_EQ(links.size(), 2);
    EXPECT_EQ(links[0]["href"].toString(), "https://example.org/a?b=1&c=\"x\"");
    EXPECT_EQ(links[0]["text"].toString(), "Unsere Seite");
    EXPECT_EQ(links[1]["href"].toString(), "https://example.org/");

    // The body's font is the default one, not Qt's "Sans Serif" 9 pt.
    const QJsonArray families = html["families"].toArray();
    EXPECT_EQ(families[0].toString(), "Arial, Helvetica, sans-serif");
    EXPECT_TRUE(families.contains("'Times New Roman', Times, serif"));
    EXPECT_TRUE(families.contains("'Courier New', monospace"));
    const QString text = html["text"].toString();
    EXPECT_TRUE(text.contains("font-size:10pt"));
    EXPECT_TRUE(text.startsWith(" <!DOCTYPE html> <html> <head> <meta charset=\"utf-8\">"));
    EXPECT_TRUE(text.contains("margin:12px 0px 6px 0px")) << text.toStdString();
    const QStringList tables = text.split("<table");
    ASSERT_EQ(tables.size(), 3);
    EXPECT_EQ(tables[1].count(QRegularExpression("border-(top|right|bottom|left)")), 1);
    EXPECT_TRUE(tables[1].contains("border-bottom:2px solid #ff0000"));
    EXPECT_TRUE(tables[2].contains("border-top:1px solid"));
    EXPECT_TRUE(html["shown"].toString().contains("Punkt eins"));
    EXPECT_TRUE(text.contains("Unterpunkt zwei </li> </ol> </li> </ul>")) << text.toStdString();   // the nested list inside its item
}

// Host values and recipient values with RTF's control characters, umlauts
// and a line break arrive as written in the plain part, the HTML part and
// the RTF the sent-mail log keeps.
TEST(MailBody, MergedValuesArriveExactlyInEveryBody)
{
    gui();
    SmtpServer server({});
    ASSERT_TRUE(server.Running());
    TFelder felder;
    const auto simple = [&](const char* name, const QString& value) {
        TFeldEinfach& f = felder.FEinfachListe.Add();
        f.FGUID = QUuid::createUuid();
        f.FFeldnameList.SetText(1031, name);
        f.FWert = value;
    };
    simple("Ort", "Halle {A}\\Teil 2 C:\\Temp\\neu");
    simple("Firma", "Müller\\Söhne GmbH");
    TFeldWiederholung& pos = felder.FWiederholungListe.Add();
    pos.FFeldnameBlockList.SetText(1031, "Pos");
    TFeldWiederholungBlockFeld& menge = pos.FBlockFeldListe.Add();
    menge.FGUID = QUuid::createUuid();
    menge.FFeldnameList.SetText(1031, "Menge");
    for (const char* v : {"{1}", "2\\3 Stück"}) {
        TFeldWiederholungBlockWert& cell = pos.AddRow().Add();
        cell.FGUID = menge.FGUID;
        cell.FWert = QString::fromUtf8(v);
    }
    TProgrammVorlage t;
    TProgrammVorlage::ReplaceFeldnamenToGuid(1031, "Angebot <Firma>", t.FBetreff, felder);
    TProgrammVorlage::ReplaceFeldnamenToGuid(
        1031, "{\\rtf1\\ansi{\\fonttbl{\\f0 Calibri;}{\\f1 Courier New;}}\\f0 {\\b <Ort>}\\par {\\f1 <Firma>}\\par <Pos-Wiederholung-Anfang>[<Menge>]<Pos-Wiederholung-Ende>\\par "
              "<Empfaenger.Firma>}", t.FBody, felder);
    const TMergedTemplate merged = MergeProgrammVorlage(t, felder, 1031);
    EXPECT_EQ(merged.subject, "Angebot Müller\\Söhne GmbH");
    TComposeModel model;
    RtfToDocument(merged.body, model.Body());
    TEMail templateMail;
    mailFrom(model.Body(), templateMail);

    TRecipientPerson person;
    person.company = "Bau {Nord}\\Süd\nZweig";
    person.email = "anna@example.org";
    TEMail mail;
    TPersonalCircular(templateMail).Apply(mail, person);
    const QString expected = "Halle {A}\\Teil 2 C:\\Temp\\neu\nMüller\\Söhne GmbH\n[{1}][2\\3 Stück]\nBau {Nord}\\Süd\nZweig";
    EXPECT_EQ(mail.FBodyPlain, expected);
    QTextDocument stored;
    RtfToDocument(mail.FBodyRTF, stored);
    EXPECT_EQ(stored.toPlainText().replace(QChar::LineSeparator, '\n'), expected);

    // A direct run sends parts prepared once from the template: the
    // recipient must get exactly what the merged mail holds.
    const TPersonalCircular circular(templateMail);
    TEMail prepared;
    circular.ApplyHeader(prepared, person, RecipientValueTable(person));
    prepared.FPreparedBody = TPreparedCircular(circular).For(RecipientValueTable(person));
    for (TEMail* sent : {&mail, &prepared}) {
        const QJsonObject m = sendAndParse(server, *sent);
        EXPECT_TRUE(m["problems"].toArray().isEmpty()) << QJsonDocument(m["problems"].toArray()).toJson().toStdString();
        EXPECT_EQ(partOf(m, "text/plain")["text"].toString().remove('\r'), expected + "\n");
        EXPECT_TRUE(partOf(m, "text/html")["families"].toArray().contains("Calibri, sans-serif"));   // fonts the reader set
        const QString shown = partOf(m, "text/html")["shown"].toString();
        for (const QString& line : expected.split('\n'))
            EXPECT_TRUE(shown.contains(line)) << line.toStdString();
    }
}

// Lines of at most 76 characters whatever precedes a line break, and the
// decoded text is the encoded one, also when the text is joined from
// fragments encoded apart (a personal circular's template and values).
TEST(MailBody, QuotedPrintableKeepsLinesShortAndDecodesBack)
{
    const auto decode = [](const QByteArray& qp) {
        QByteArray out;
        for (qsizetype i = 0; i < qp.size(); ++i) {
            if (qp[i] != '=') {
                out += qp[i];
            } else if (qp.mid(i + 1, 2) == "\r\n") {
                i += 2;
            } else {
                out += static_cast<char>(qp.mid(i + 1, 2).toInt(nullptr, 16));
                i += 2;
            }
        }
        return QString::fromUtf8(out);
    };
    for (int length = 60; length <= 160; ++length)
        for (const QString& end : {QString(" \n"), QString("\t\r\nx"), QString("ü"), QString(" "), QString("=\n")}) {
            const QString text = QString(length, 'a') + end + QString(length % 7, ' ') + "Ende";
            const QByteArray qp = EncodeQuotedPrintable(text);
            for (const QByteArray& line : qp.split('\n'))
                ASSERT_LE(line.size(), 77) << length << " " << qp.constData();   // 76 and the CR
            EXPECT_EQ(decode(qp), NormalizeLineBreaks(text) + "\r\n") << length;
        }
    const auto checkLines = [](const QByteArray& qp) {
        for (const QByteArray& line : qp.split('\n')) {
            ASSERT_LE(line.size(), 77) << qp.constData();
            ASSERT_FALSE(line.endsWith(" \r") || line.endsWith("\t\r")) << qp.constData();   // a blank lost in transit
        }
    };
    const QString text = QString::fromUtf8("Sehr geehrte Frau Schäfer, \nüber=Zeilen  \n") + QString(150, 'x') + " \t"
                       + QString(70, 'y') + "\n.Punkt am Anfang ";
    for (int cut = 1; cut < 60; cut += 3) {
        TQpJoiner joined(text.size());
        for (qsizetype at = 0; at < text.size(); at += cut)
            joined.Append(EncodeQuotedPrintableFragment(text.mid(at, cut).toUtf8()));
        joined.Append(EncodeQuotedPrintableFragment(QByteArray()));
        const QByteArray qp = joined.Take();
        checkLines(qp);
        EXPECT_EQ(decode(qp), NormalizeLineBreaks(text) + "\r\n") << cut;
    }
    EXPECT_EQ(TQpJoiner(0).Take(), EncodeQuotedPrintable(QString()));
}

// "Link einfügen": a selection becomes the link; without one the text goes
// in as a link and typing after it is plain again.
TEST(MailBody, LinkCommandLinksTheSelectionOrInsertsItsText)
{
    gui();
    EXPECT_EQ(NormalizedLinkAddress(" www.example.org "), "https://www.example.org");
    EXPECT_EQ(NormalizedLinkAddress("info@example.org"), "mailto:info@example.org");
    EXPECT_EQ(NormalizedLinkAddress("ftp://example.org/x"), "ftp://example.org/x");
    QTextDocument doc;
    QTextCursor c(&doc);
    c.insertText("Siehe Angebot hier");
    c.setPosition(6);
    c.setPosition(13, QTextCursor::KeepAnchor);
    InsertLink(c, "Angebot", "example.org/angebot");
    c.movePosition(QTextCursor::End);
    c.insertText(" oder ");
    InsertLink(c, QString(), "info@example.org");
    c.insertText(" danach");
    EXPECT_EQ(MailPlainText(doc), "Siehe Angebot <https://example.org/angebot> hier oder info@example.org danach");
    const QString html = MailHtml(doc);
    EXPECT_TRUE(html.contains("<a href=\"https://example.org/angebot\" style=\"text-decoration:underline;color:#0563c1\">Angebot</a>"))
        << html.toStdString();
    EXPECT_TRUE(html.contains(">info@example.org</a> danach")) << html.toStdString();
}
