// Recipient files of a personal circular as users' spreadsheets write
// them: either separator, quotes, BOM, Windows-1252, empty cells, and
// attachments that must exist before anything is sent.

#include "address/AdressDB.h"
#include "address/RecipientCsv.h"
#include "config/KalvexError.h"
#include "mailinterface/RecipientKey.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace kalvex;

namespace {

class RecipientCsvTest : public ::testing::Test {
protected:
    QString write(const QString& name, const QByteArray& bytes)
    {
        QDir().mkpath(QFileInfo(dir.filePath(name)).path());
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

// Spreadsheets and hand-written lists put quotes inside unquoted fields; a
// quote opens a quoted field only where the field begins.
TEST_F(RecipientCsvTest, QuotesInsideUnquotedFieldsAreKept)
{
    const QList<QStringList> rows = SplitCsvRows(QString::fromUtf8("Firma;EMail;Notiz\n"
                                                                   "Müller \"Bau\" GmbH;a@example.org;\"x;\"\"y\"\"\"z\"\n"
                                                                   "5\" Rohr;b@example.org;\"\"\n"));
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows[1], QStringList({QString::fromUtf8("Müller \"Bau\" GmbH"), "a@example.org", "x;\"y\"z\""}));
    EXPECT_EQ(rows[2], QStringList({"5\" Rohr", "b@example.org", ""}));
    // A quote inside a header field does not hide the separators after it.
    EXPECT_EQ(SplitCsvRows("Firma \"A\",EMail,X;Y\nBau,c@example.org,1\n")[1].size(), 3);
}

// Whoever writes the list chooses the recipients: its files come only from
// its folder or a released one, and only regular files. A refused file keeps
// its recipient out (the reason names row and file); the others stay.
TEST_F(RecipientCsvTest, AttachmentsOutsideTheListsFolderOrNotRegularAreRefused)
{
    const QString secret = write("privat/geheim.txt", "GEHEIM");
    write("liste/plan.pdf", "PLAN");
    write("liste/unter/anlage.pdf", "ANLAGE");
    ASSERT_TRUE(QFile::link(secret, dir.filePath("liste/verweis.pdf")));
    ASSERT_TRUE(QFile::link(dir.filePath("liste/plan.pdf"), dir.filePath("liste/kurz.pdf")));
    ASSERT_EQ(::mkfifo(QFile::encodeName(dir.filePath("liste/rohr")).constData(), 0600), 0);
    const QString csv = write("liste/liste.csv", "EMail;Anhang\n"
                                                 "gut@example.org;plan.pdf|unter/../unter/anlage.pdf|kurz.pdf\n"
                                                 "link@example.org;verweis.pdf\n"
                                                 "hoch@example.org;../privat/geheim.txt\n"
                                                 "abs@example.org;" + secret.toUtf8() + "\n"
                                                 "proc@example.org;/proc/self/environ\n"
                                                 "proc2@example.org;../../../../../../../proc/self/environ\n"
                                                 "fifo@example.org;rohr\n"
                                                 "ordner@example.org;unter\n"
                                                 "geraet@example.org;/dev/zero\n"
                                                 "halb@example.org;plan.pdf|verweis.pdf\n");
    const QString plan = QFileInfo(dir.filePath("liste/plan.pdf")).canonicalFilePath();
    const QList<TRecipientPerson> people = ReadRecipientCsv(csv);
    ASSERT_EQ(people.size(), 10);
    EXPECT_EQ(people[0].attachments, QStringList({plan, QFileInfo(dir.filePath("liste/unter/anlage.pdf")).canonicalFilePath(), plan}));
    EXPECT_EQ(people[0].refusal, "");
    const QString outside = "liegt außerhalb des Ordners der Empfängerliste und wurde nicht freigegeben.";
    const QString special = "ist keine gewöhnliche Datei";
    const QList<QPair<QString, QString>> refused = {
        {"Zeile 3: Der Anhang \"verweis.pdf\" ", outside}, {"Zeile 4: Der Anhang \"../privat/geheim.txt\" ", outside},
        {"Zeile 5: Der Anhang \"" + secret + "\" ", outside}, {"Zeile 6: Der Anhang \"/proc/self/environ\" ", special},
        {"Zeile 7: Der Anhang \"../../../../../../../proc/self/environ\" ", special},
        {"Zeile 8: Der Anhang \"rohr\" ", special}, {"Zeile 9: Der Anhang \"unter\" ", special},
        {"Zeile 10: Der Anhang \"/dev/zero\" ", special}, {"Zeile 11: Der Anhang \"verweis.pdf\" ", outside}};
    for (qsizetype i = 0; i < refused.size(); ++i) {
        const TRecipientPerson& p = people[i + 1];
        EXPECT_TRUE(p.refusal.startsWith(refused[i].first + refused[i].second)) << p.refusal.toStdString();
        EXPECT_FALSE(p.attachments.contains(secret)) << p.email.toStdString();
    }
    EXPECT_EQ(people[9].attachments, QStringList{plan});   // accepted, but the recipient is refused

    // A released folder lets its files in, however they were named; system
    // files and FIFOs stay out even from a released folder.
    const QList<TRecipientPerson> released = ReadRecipientCsv(csv, {dir.filePath("privat"), "/proc", "/dev"});
    const QString canonicalSecret = QFileInfo(secret).canonicalFilePath();
    for (const int i : {1, 2, 3, 9}) {
        EXPECT_EQ(released[i].refusal, "") << i;
        EXPECT_TRUE(released[i].attachments.contains(canonicalSecret)) << i;
    }
    for (const int i : {4, 5, 6, 7, 8})
        EXPECT_TRUE(released[i].refusal.contains(special)) << i;
}

// Case and display names do not make two recipients of one address.
TEST(RecipientKeyTest, SpellingsOfOneAddressShareTheirKey)
{
    const QStringList one = {"anna.schaefer@example.org", "Anna.Schaefer@EXAMPLE.ORG", " Anna Schäfer <anna.schaefer@Example.org> ",
                             "\"Schäfer, Anna\" <ANNA.SCHAEFER@example.org>"};
    for (const QString& spelling : one)
        EXPECT_EQ(RecipientKey(spelling), RecipientKey(one.first())) << spelling.toStdString();
    EXPECT_EQ(RecipientKey(QString::fromUtf8("jörg@Bücher.de")), RecipientKey("JÖRG@xn--bcher-kva.de"));
    const QSet<QString> distinct = {RecipientKey("anna@example.org"), RecipientKey("anna@example.com"),
                                    RecipientKey("anna.s@example.org"), RecipientKey("keine adresse")};
    EXPECT_EQ(distinct.size(), 4);
}
