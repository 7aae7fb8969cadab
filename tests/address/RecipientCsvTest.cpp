// Recipient files of a personal circular as users' spreadsheets write
// them: either separator, quotes, BOM, Windows-1252, empty cells, and
// attachments that must exist before anything is sent.

#include "address/AdressDB.h"
#include "address/RecipientCsv.h"
#include "config/KalvexError.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

class RecipientCsvTest : public ::testing::Test {
protected:
    QString write(const QString& name, const QByteArray& bytes)
    {
        QFile f(dir.filePath(name));
        f.open(QIODevice::WriteOnly);
        f.write(bytes);
        return f.fileName();
    }
    QString readError(const QByteArray& bytes)
    {
        try {
            ReadRecipientCsv(write("fehler.csv", bytes));
        } catch (const EKalvex& e) {
            return e.message();
        }
        return QString();
    }
    QTemporaryDir dir;
};

}  // namespace

TEST_F(RecipientCsvTest, SpreadsheetFilesAreReadAsWritten)
{
    // Excel's "CSV UTF-8": BOM, semicolons, CR LF, quoted separators and quotes.
    const QString utf8 = write("liste.csv", "\xEF\xBB\xBF" "Anrede;Titel;Vorname;Nachname;Firma;EMail;Projekt\r\n"
                                            "Frau;Dr.;Anna;Schäfer;\"Bau; Söhne \"\"Nord\"\"\";anna@example.org;Halle 3\r\n"
                                            "Herr;;Bernd;Albers;;bernd@example.org;\r\n"
                                            ";;;;;\r\n");
    const QList<TRecipientPerson> people = ReadRecipientCsv(utf8);
    ASSERT_EQ(people.size(), 2);   // the blank row is no recipient
    EXPECT_EQ(people[0].anrede, TAnrede::anFrau);
    EXPECT_EQ(people[0].title, "Dr.");
    EXPECT_EQ(people[0].company, "Bau; Söhne \"Nord\"");
    ASSERT_EQ(people[0].extra.size(), 1);
    EXPECT_EQ(people[0].extra[0], qMakePair(QString("Projekt"), QString("Halle 3")));
    EXPECT_EQ(people[1].company, "");   // an empty cell is an empty field
    EXPECT_EQ(people[1].extra[0].second, "");
    EXPECT_EQ(Briefanrede(people[1]), "Sehr geehrter Herr Albers,");

    // Windows-1252 with commas, a line break inside quotes, a full name only.
    const QString ansi = write("ansi.csv", "Name,E-Mail,Bemerkung\n"
                                           "J\xFCrgen M\xFC\xDF" "ig,j@example.org,\"Zeile 1\nZeile 2 \x80\"\n");
    const QList<TRecipientPerson> ansiPeople = ReadRecipientCsv(ansi);
    ASSERT_EQ(ansiPeople.size(), 1);
    EXPECT_EQ(ansiPeople[0].firstName, "Jürgen");
    EXPECT_EQ(ansiPeople[0].lastName, "Müßig");
    EXPECT_EQ(ansiPeople[0].extra[0].second, "Zeile 1\nZeile 2 €");
    EXPECT_EQ(Briefanrede(ansiPeople[0]), "Guten Tag Jürgen Müßig,");
}

TEST_F(RecipientCsvTest, AttachmentsArePerRecipientAndMustExist)
{
    write("a.pdf", "A");
    write("b.pdf", "B");
    const QList<TRecipientPerson> people = ReadRecipientCsv(
        write("mit.csv", "EMail;Anhang\na@example.org;a.pdf | b.pdf\nb@example.org;\n"));
    ASSERT_EQ(people.size(), 2);
    EXPECT_EQ(people[0].attachments, QStringList({dir.filePath("a.pdf"), dir.filePath("b.pdf")}));
    EXPECT_TRUE(people[1].attachments.isEmpty());

    const QString missing = readError("EMail;Anhang\na@example.org;a.pdf\nb@example.org;fehlt.pdf\n");
    EXPECT_TRUE(missing.contains("Zeile 3")) << missing.toStdString();
    EXPECT_TRUE(missing.contains("fehlt.pdf"));
    EXPECT_TRUE(readError("Name;Firma\nAnna;Bau\n").contains("keine Spalte \"EMail\""));
    EXPECT_TRUE(readError("Name;EMail\nAnna;\n").contains("Zeile 2: Es ist keine E-Mail-Adresse angegeben."));
    EXPECT_TRUE(readError("").contains("leer"));
}

TEST(HostRecord, PersonTakesTitleSalutationAndNamesWhereTheHostRecordsThem)
{
    TAdrFieldValueList record;
    record.SetField("Anrede", "Frau");
    record.SetField("Titel", "Dr.");
    record.SetField("Vorname", "Anna");
    record.SetField("Name", "Schäfer");
    record.SetField("Firma", "Bau");
    record.SetField("Firma2", "Nord");
    record.SetField("EMAIL", "anna@example.org");
    const TRecipientPerson p = AdrPerson(record);
    EXPECT_EQ(p.company, "Bau Nord");
    EXPECT_EQ(Briefanrede(p), "Sehr geehrte Frau Dr. Schäfer,");
    TAdrFieldValueList withoutSalutation;
    withoutSalutation.SetField("Name", "Albers");
    EXPECT_EQ(Briefanrede(AdrPerson(withoutSalutation)), "Guten Tag Albers,");
}
