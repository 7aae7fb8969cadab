#include "compose/RTFEditorEngine.h"
#include "config/KalvexError.h"

#include <QRandomGenerator>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

QString merge(const TRTFEditorEngine& e, const QString& text, const QStringList& blocks)
{
    QString out;
    e.ReplaceDataValues(text, &blocks, out);
    return out;
}

}  // namespace

TEST(MergeEngine, BlocksExpandFirstThenFieldsAreReplaced)
{
    TRTFEditorEngine e;
    e.SetDataFieldValueDynamisch("<name>", "Müller");   // found in the text ignoring case
    e.SetDataFieldValueDynamisch("Pos-Wiederholung-Count", "2");
    e.AddDataFieldBlockUnterfeld("Pos", "Menge");
    e.AddDataFieldBlockUnterfeld("Pos", "Text");
    e.SetDataFieldValueDynamisch("Menge0", "1");
    e.SetDataFieldValueDynamisch("Text0", "A");
    e.SetDataFieldValueDynamisch("Menge1", "3");
    e.SetDataFieldValueDynamisch("Text1", "B");
    const QString tpl = "Hallo <Name>: <Pos-Wiederholung-Anfang><Menge> x <text>;<Pos-Wiederholung-Ende> Ende "
                        "<Pos-Wiederholung-Anfang>zwei<Pos-Wiederholung-Ende> <Unbekannt> (<Pos-Wiederholung-Count>)";
    EXPECT_EQ(merge(e, tpl, {"Pos"}),
              "Hallo Müller: 1 x A;3 x B; Ende <Pos-Wiederholung-Anfang>zwei<Pos-Wiederholung-Ende> <Unbekannt> (<2>)");
    EXPECT_EQ(merge(e, "<pos-wiederholung-anfang>x<pos-wiederholung-ende>", {"Pos"}),
              "<pos-wiederholung-anfang>x<pos-wiederholung-ende>");   // markers are case-sensitive
    EXPECT_EQ(merge(e, "a<Pos-Wiederholung-Ende>b<Pos-Wiederholung-Anfang>c", {"Pos"}),
              "a<Pos-Wiederholung-Ende>b<Pos-Wiederholung-Anfang>c");   // no end after the start
    EXPECT_EQ(merge(e, "x<Leer-Wiederholung-Anfang>y<Leer-Wiederholung-Ende>z", {"Leer"}), "xz");   // no count: removed
    QString unexpanded;
    e.ReplaceDataValues("<Pos-Wiederholung-Anfang>q<Pos-Wiederholung-Ende>", nullptr, unexpanded);
    EXPECT_EQ(unexpanded, "<Pos-Wiederholung-Anfang>q<Pos-Wiederholung-Ende>");

    e.SetDataFieldValueDynamisch("Kaputt-Wiederholung-Count", "zwei");
    QString out;
    const QStringList blocks{"Kaputt"};
    EXPECT_THROW(e.ReplaceDataValues("<Kaputt-Wiederholung-Anfang>x<Kaputt-Wiederholung-Ende>", &blocks, out), EKalvex);
}

// The fast final pass must give exactly what the plain passes give, also
// where keys overlap, contain each other, appear in values or are created
// across the edges of replaced text. Random keys and texts over a tiny
// alphabet make those cases frequent.
TEST(MergeEngine, FastPassEqualsThePlainPasses)
{
    QRandomGenerator rng(20261122);
    const QString alphabet = "abAB<>x";
    auto randomText = [&](int maxLength) {
        QString s;
        const int n = static_cast<int>(rng.bounded(maxLength + 1));
        for (int i = 0; i < n; ++i)
            s += alphabet.at(static_cast<int>(rng.bounded(static_cast<int>(alphabet.size()))));
        return s;
    };
    int differentFromInput = 0;
    for (int round = 0; round < 20000; ++round) {
        TRTFEditorEngine e;
        const int keys = 1 + static_cast<int>(rng.bounded(8));
        for (int k = 0; k < keys; ++k) {
            QString key = randomText(4);
            if (key.isEmpty())
                key = "a";
            e.SetDataFieldValueDynamisch(key, randomText(4));
        }
        const QString text = randomText(40);
        QString fast, plain;
        e.ReplaceDataValues(text, nullptr, fast);
        e.ReplaceDataValuesSequential(text, nullptr, plain);
        ASSERT_EQ(fast, plain) << "round " << round << " text " << text.toStdString();
        differentFromInput += fast != text;
    }
    EXPECT_GT(differentFromInput, 8000);   // the generator really exercises replacements
}

TEST(MergeEngine, LargeBlockGivesTheSameResultBothWays)
{
    TRTFEditorEngine e;
    QString tpl = "{\\rtf1 Kopf <Feld7> <Pos-Wiederholung-Anfang>\\par <A>;<B>;<C>;<D>;<E><Pos-Wiederholung-Ende> Fuss}";
    for (int f = 0; f < 100; ++f)
        e.SetDataFieldValueDynamisch(QString("<Feld%1>").arg(f), QString("Wert %1").arg(f));
    e.SetDataFieldValueDynamisch("Pos-Wiederholung-Count", "500");
    for (const char* c : {"A", "B", "C", "D", "E"}) {
        e.AddDataFieldBlockUnterfeld("Pos", c);
        for (int r = 0; r < 500; ++r)
            e.SetDataFieldValueDynamisch(QString(c) + QString::number(r), QString("%1-%2").arg(c).arg(r));
    }
    QString fast, plain;
    const QStringList blocks{"Pos"};
    e.ReplaceDataValues(tpl, &blocks, fast);
    e.ReplaceDataValuesSequential(tpl, &blocks, plain);
    EXPECT_EQ(fast, plain);
    EXPECT_TRUE(fast.contains("\\par A-499;B-499;C-499;D-499;E-499 Fuss"));
    EXPECT_TRUE(fast.contains("Kopf Wert 7 "));
}

#include "compose/TemplateMerge.h"
#include "mailinterface/uMailInterface.h"

// A host template stored with GUID placeholders, applied with the host's
// fields in the interface language.
TEST(MergeEngine, ProgramTemplateIsMergedInTheCurrentLanguage)
{
    TFelder felder;
    TFeldEinfach& name = felder.FEinfachListe.Add();
    name.FGUID = QUuid::createUuid();
    name.FFeldnameList.SetText(1031, "Name");
    name.FFeldnameList.SetText(1033, "LastName");
    name.FWert = "Schäfer";
    TFeldWiederholung& pos = felder.FWiederholungListe.Add();
    pos.FFeldnameBlockList.SetText(1031, "Pos");
    TFeldWiederholungBlockFeld& menge = pos.FBlockFeldListe.Add();
    menge.FGUID = QUuid::createUuid();
    menge.FFeldnameList.SetText(1031, "Menge");
    for (const char* v : {"4", "9"}) {
        TFeldWiederholungBlockWert& cell = pos.AddRow().Add();
        cell.FGUID = menge.FGUID;
        cell.FWert = v;
    }
    TProgrammVorlage t;
    TProgrammVorlage::ReplaceFeldnamenToGuid(1031, "Angebot für <Name>", t.FBetreff, felder);
    TProgrammVorlage::ReplaceFeldnamenToGuid(1031, "<Pos-Wiederholung-Anfang>[<Menge>]<Pos-Wiederholung-Ende>", t.FBody, felder);
    EXPECT_FALSE(t.FBetreff.contains("<Name>"));   // stored with the GUID
    const TMergedTemplate merged = MergeProgrammVorlage(t, felder, 1031);
    EXPECT_EQ(merged.subject, "Angebot für Schäfer");
    EXPECT_EQ(merged.body, "[4][9]");
}

#include "compose/rtf/RtfReader.h"

#include <QTextCursor>
#include <QTextDocument>

// Placeholders typed in other programs: an umlaut written as \u228\'e4 or
// \u228?, a placeholder split across groups. Values with RTF's control
// characters arrive as text.
TEST(MergeEngine, RtfPlaceholdersAreFoundAsTheTextShowsThem)
{
    TFelder felder;
    const auto simple = [&](const QString& name, const QString& value) {
        TFeldEinfach& f = felder.FEinfachListe.Add();
        f.FGUID = QUuid::createUuid();
        f.FFeldnameList.SetText(1031, name);
        f.FWert = value;
    };
    simple("Fläche", "12 m²");
    simple("Ort", "Halle {A}\\Teil 2 C:\\Temp\\neu");
    TFeldWiederholung& pos = felder.FWiederholungListe.Add();
    pos.FFeldnameBlockList.SetText(1031, "Pos");
    TFeldWiederholungBlockFeld& menge = pos.FBlockFeldListe.Add();
    menge.FGUID = QUuid::createUuid();
    menge.FFeldnameList.SetText(1031, "Menge");
    for (const char* v : {"{1}", "2\\3"}) {
        TFeldWiederholungBlockWert& cell = pos.AddRow().Add();
        cell.FGUID = menge.FGUID;
        cell.FWert = v;
    }
    TProgrammVorlage t;
    t.FBody = "{\\rtf1\\ansi\\uc1 <Fl\\u228\\'e4che>; <Fl\\u228?che>; {\\b <Fl}{\\b \\u228?che>}\\par <Ort>\\par "
              "<Pos-Wiederholung-Anfang>[{\\i <Menge>}]<Pos-Wiederholung-Ende>\\par}";
    const TMergedTemplate merged = MergeProgrammVorlage(t, felder, 1031);
    QTextDocument doc;
    RtfToDocument(merged.body, doc);
    EXPECT_EQ(doc.toPlainText(), "12 m²; 12 m²; 12 m²\nHalle {A}\\Teil 2 C:\\Temp\\neu\n[{1}][2\\3]");
    QTextCursor bold = doc.find("12 m²", doc.find("; ").position() + 5);
    ASSERT_FALSE(bold.isNull());
    EXPECT_EQ(bold.charFormat().fontWeight(), QFont::Bold);   // the placeholder's first character's format
    EXPECT_TRUE(doc.find("2\\3").charFormat().fontItalic());
}
