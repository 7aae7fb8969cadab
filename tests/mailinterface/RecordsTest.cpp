#include "mailinterface/uMailInterface.h"

#include <gtest/gtest.h>

using namespace kalvex;

namespace {

TFelder sampleFields()
{
    TFelder f;
    TFeldEinfach& name = f.FEinfachListe.Add();
    name.FGUID = QUuid::createUuid();
    name.FFeldnameList.SetText(1031, "Name");
    name.FFeldnameList.SetText(1033, "LastName");
    TFeldEinfach& unnamed = f.FEinfachListe.Add();  // zero GUID: never replaced
    unnamed.FFeldnameList.SetText(1031, "Ort");
    TFeldWiederholung& block = f.FWiederholungListe.Add();
    block.FFeldnameBlockList.SetText(1031, "Pos");
    block.FFeldnameBlockList.SetText(1033, "Item");
    TFeldWiederholungBlockFeld& col = block.FBlockFeldListe.Add();
    col.FGUID = QUuid::createUuid();
    col.FFeldnameList.SetText(1031, "Menge");
    col.FFeldnameList.SetText(1033, "Quantity");
    return f;
}

}  // namespace

TEST(Records, FieldPlaceholdersSurviveALanguageSwitch)
{
    const TFelder fields = sampleFields();
    const QString guidName = "<" + GuidToString(fields.FEinfachListe[0].FGUID) + ">";
    QString stored;
    TProgrammVorlage::ReplaceFeldnamenToGuid(1031, "Hallo <Name>, <name>, <Ort>, <Menge>", stored, fields);
    EXPECT_TRUE(stored.startsWith("Hallo " + guidName + ", <name>, <Ort>, <{"));
    EXPECT_FALSE(stored.contains("<Menge>"));

    QString english;
    TProgrammVorlage::ReplaceGuidToFeldnamen(1033, stored.toLower(), english, fields);  // GUIDs in either case
    EXPECT_EQ(english, "hallo <LastName>, <name>, <ort>, <Quantity>");
}

TEST(Records, TranslationListsAndMarkers)
{
    TTranslationList t;
    t.SetText(1031, "Anrede");
    t.SetText(1033, "Salutation");
    t.SetText(1031, "");
    EXPECT_EQ(t.Count(), 1);
    EXPECT_EQ(t.GetText(1031), "");
    TStreamWriter w;
    TTranslationList().SaveToStream(w);
    EXPECT_EQ(w.Data(), QByteArray(4, '\0'));

    const TFelder fields = sampleFields();
    const TFeldWiederholung& block = fields.FWiederholungListe[0];
    EXPECT_EQ(block.GetFeldnameBlockAnfang(1031), "Pos-Wiederholung-Anfang");
    EXPECT_EQ(block.GetFeldnameBlockCount(1031), "Pos-Wiederholung-Count");
    EXPECT_EQ(block.GetFeldnameBlockAnfang(1033), "Item-loop-begin");
    EXPECT_EQ(block.GetFeldnameBlockEnde(1033), "Item-loop-end");
    EXPECT_EQ(block.GetFeldnameBlockCount(1033), "Item-loop-count");
}

// Sorting is by UTF-16 code unit in the chosen language: "Z" < "a" < "Ä".
TEST(Records, ListsSortByNameInTheirLanguage)
{
    TProgrammVorlageArtListe kinds;
    const QList<QPair<QString, QString>> names = {{"a", "3"}, {QString::fromUtf8("Ärger"), "2"}, {"Z", "1"}};
    for (const auto& [de, en] : names) {
        TProgrammVorlageArt& k = kinds.Add();
        k.FGUID = QUuid::createUuid();
        k.SetTranslation(1031, de, "");
        k.SetTranslation(1033, en, "");
    }
    kinds.SortByName();
    EXPECT_EQ(kinds[0].GetName(1031), "Z");
    EXPECT_EQ(kinds[1].GetName(1031), "a");
    kinds.SetLanguage(1033);
    kinds.SortByName();
    EXPECT_EQ(kinds[0].GetName(1033), "1");
    EXPECT_EQ(kinds[2].GetName(1033), "3");
    EXPECT_TRUE(kinds.ProgrammVorlageArtVorhanden(kinds[1].FGUID));
    EXPECT_EQ(kinds.GetProgrammVorlageArt(QUuid::createUuid()), nullptr);
}

#include "mailinterface/MailAddress.h"

TEST(Records, AddressPlausibility)
{
    for (const char* good : {"anna@example.org", "a.b-c+d@sub.example.co.uk", "müller@bau.de"})
        EXPECT_TRUE(IsValidEMailAddress(QString::fromUtf8(good))) << good;
    for (const char* bad : {"", "anna", "anna@", "@example.org", "anna@example", "anna@@example.org",
                            "anna example@x.org", "a@x.org\r\nBcc: evil@x.org", "a@x.org\n", "a\t@x.org",
                            "Anna <anna@x.org>", "a..b@x.org", "a@x..org"})
        EXPECT_FALSE(IsValidEMailAddress(QString::fromUtf8(bad))) << bad;
}
