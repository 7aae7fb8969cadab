// Recipient fields of a personal circular: the letter salutation in both
// languages, names split from a full name, and the split-once template
// writing values in the form of each text.

#include "compose/PersonalCircular.h"
#include "compose/RecipientFields.h"
#include "compose/rtf/RtfReader.h"
#include "config/LanguageUnit.h"
#include "mailinterface/EMail.h"

#include <QFileInfo>
#include <QTextDocument>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

TRecipientPerson person(TAnrede anrede, const QString& title, const QString& first, const QString& last)
{
    TRecipientPerson p;
    p.anrede = anrede;
    p.title = title;
    p.firstName = first;
    p.lastName = last;
    return p;
}

class RecipientFieldsTest : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override
    {
        TLang::Install(std::make_unique<TLang>(QFileInfo(QStringLiteral(KALVEX_TRANSLATIONS_DB)).absolutePath()))
            .SetLanguage(GetParam());
    }
    void TearDown() override { TLang::Free(); }
    bool english() const { return GetParam() == 1033; }
};

}  // namespace

TEST_P(RecipientFieldsTest, LetterSalutationFollowsBusinessCustom)
{
    const TRecipientPerson schaefer = person(TAnrede::anFrau, "Dr.", "Anna", "Schäfer");
    const TRecipientPerson albers = person(TAnrede::anHerr, "", "Bernd", "Albers");
    const TRecipientPerson divers = person(TAnrede::anDivers, "", "Kim", "Wolf");
    const TRecipientPerson unrecorded = person(TAnrede::anKeine, "", "Kim", "Wolf");
    const TRecipientPerson nobody = person(TAnrede::anFrau, "Dr.", "", "");   // no name: no person
    if (english()) {
        EXPECT_EQ(Briefanrede(schaefer), "Dear Ms Schäfer,");
        EXPECT_EQ(Briefanrede(albers), "Dear Mr Albers,");
        EXPECT_EQ(Briefanrede(divers), "Dear Kim Wolf,");
        EXPECT_EQ(Briefanrede(nobody), "Dear Sir or Madam,");
    } else {
        EXPECT_EQ(Briefanrede(schaefer), "Sehr geehrte Frau Dr. Schäfer,");
        EXPECT_EQ(Briefanrede(albers), "Sehr geehrter Herr Albers,");
        EXPECT_EQ(Briefanrede(divers), "Guten Tag Kim Wolf,");
        EXPECT_EQ(Briefanrede(unrecorded), "Guten Tag Kim Wolf,");
        EXPECT_EQ(Briefanrede(nobody), "Sehr geehrte Damen und Herren,");
    }
    EXPECT_EQ(AnredeFromText(" mrs "), TAnrede::anFrau);
    EXPECT_EQ(AnredeFromText("HERR"), TAnrede::anHerr);
    EXPECT_EQ(AnredeFromText("divers/keine Angabe"), TAnrede::anDivers);
    EXPECT_EQ(AnredeFromText("Firma"), TAnrede::anKeine);

    // The field list names the fields in the interface's language.
    const QList<TFieldEntry> fields = RecipientFieldList(&schaefer);
    ASSERT_EQ(fields.size(), 7);
    EXPECT_EQ(fields[6].name, english() ? "Recipient.LetterSalutation" : "Empfaenger.Briefanrede");
    EXPECT_EQ(fields[2].value, "Anna");
    EXPECT_TRUE(RecipientFieldList(nullptr)[1].value.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Languages, RecipientFieldsTest, ::testing::Values(1031, 1033));

TEST(RecipientFields, FullNamesAreSplitWhereFirstAndLastNameAreNotRecorded)
{
    TRecipientPerson p;
    p.fullName = "Prof. Dr. Anna Maria Schäfer";
    SplitFullName(p);
    EXPECT_EQ(p.title, "Prof. Dr.");
    EXPECT_EQ(p.firstName, "Anna Maria");
    EXPECT_EQ(p.lastName, "Schäfer");
    TRecipientPerson comma;
    comma.fullName = "Albers, Bernd";
    SplitFullName(comma);
    EXPECT_EQ(comma.lastName, "Albers");
    EXPECT_EQ(comma.firstName, "Bernd");
    TRecipientPerson recorded = person(TAnrede::anKeine, "", "", "Wolf");
    recorded.fullName = "Kim Wolf-Berger";
    SplitFullName(recorded);
    EXPECT_EQ(recorded.lastName, "Wolf");   // names recorded apart stay
}

TEST(RecipientFields, EachTextGetsTheValuesInItsOwnForm)
{
    TEMail mail;
    mail.FBetreff = "Einladung für <empfaenger.FIRMA>";   // names ignore case
    mail.FBodyPlain = "<Empfaenger.Briefanrede>\n<Recipient.FirstName> {<Empfaenger.Ort>} <Empfaenger.Unbekannt>";
    mail.FBodyRTF = "{\\rtf1 <Empfaenger.Briefanrede>\\par <Empfaenger.Firma>}";
    mail.FBodyHTML = {"<p>&lt;Empfaenger.Firma&gt;", "</p>"};
    const TPersonalCircular circular(mail);
    ASSERT_TRUE(circular.HasFields());
    TRecipientPerson p = person(TAnrede::anFrau, "Dr.", "Anna", "Schäfer");
    p.company = "Bau & {Söhne}";
    p.extra << qMakePair(QString("Ort"), QString("Köln"));
    TEMail personal;
    circular.Apply(personal, p);
    EXPECT_EQ(personal.FBetreff, "Einladung für Bau & {Söhne}");
    EXPECT_EQ(personal.FBodyPlain, "Sehr geehrte Frau Dr. Schäfer,\nAnna {Köln} <Empfaenger.Unbekannt>");
    EXPECT_EQ(personal.FBodyHTML, QStringList({"<p>Bau &amp; {Söhne}", "</p>"}));
    // The RTF source reads back to the values, braces and umlauts included.
    QTextDocument doc;
    RtfToDocument(personal.FBodyRTF, doc);
    EXPECT_EQ(doc.toPlainText(), "Sehr geehrte Frau Dr. Schäfer,\nBau & {Söhne}");
    // The log keeps the template.
    circular.Restore(personal, p);
    EXPECT_EQ(personal.FBodyPlain, mail.FBodyPlain);
    EXPECT_EQ(personal.FBetreff, mail.FBetreff);
    EXPECT_TRUE(ContainsRecipientField("&lt;Recipient.Name&gt;"));
    EXPECT_FALSE(ContainsRecipientField("<Empfaengerliste> <Name>"));
    EXPECT_FALSE(TPersonalCircular(TEMail()).HasFields());
}

// Recipient fields as other writers spell them: an umlaut escaped, the
// placeholder split by a change of format in RTF groups or HTML spans.
TEST(RecipientFields, PlaceholdersAreRecognisedAsTheTextShowsThem)
{
    TEMail mail;
    mail.FBodyRTF = "{\\rtf1 <Empfaenger.Fl\\'e4che> <Empfaenger.Fl\\u228?che> {\\b <Empf}{\\i aenger.Firma>} <Kein.Feld>}";
    mail.FBodyHTML = {"<p>&lt;Empfaenger.Fi</span><span style=\"font-weight:bold\">rma&gt; &lt;Empfaenger.Fläche&gt;</p>"};
    TRecipientPerson p;
    p.company = "Bau {Nord}";
    p.extra << qMakePair(QString("Fläche"), QString("12 m²"));
    TEMail personal;
    TPersonalCircular(mail).Apply(personal, p);
    QTextDocument doc;
    RtfToDocument(personal.FBodyRTF, doc);
    EXPECT_EQ(doc.toPlainText(), "12 m² 12 m² Bau {Nord} <Kein.Feld>");
    EXPECT_EQ(personal.FBodyHTML.first(), "<p>Bau {Nord} 12 m²</p>");
}
