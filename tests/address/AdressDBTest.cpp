#include "address/AdressDB.h"
#include "config/KalvexError.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

const QString kGuid = "{6B29FC40-CA47-1067-B31D-00DD010662DA}";

// A host address database as the host writes it (GUIDs in lower case here).
void createHostDatabase(const QString& file)
{
    QDir().mkpath(QFileInfo(file).absolutePath());
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "setup");
        db.setDatabaseName(file);
        ASSERT_TRUE(db.open());
        QSqlQuery q(db);
        ASSERT_TRUE(q.exec("CREATE TABLE Persdat (GUID TEXT, EMAIL TEXT, Vorname TEXT, Name TEXT, Firma TEXT, Firma2 TEXT)"));
        ASSERT_TRUE(q.exec("INSERT INTO Persdat VALUES ('" + kGuid.toLower() + "', 'anna@example.org', ' Anna', "
                           "'Schäfer', 'Bau GmbH', '')"));
        ASSERT_TRUE(q.exec("INSERT INTO Persdat VALUES ('{00000000-0000-0000-0000-000000000001}', 'b@example.org', "
                           "'Bernd', 'Albers', 'Albers', 'Hochbau')"));
    }
    QSqlDatabase::removeDatabase("setup");
}

}  // namespace

TEST(AdressDB, ReadsRecordsByGuidAndSearches)
{
    QTemporaryDir dir;
    createHostDatabase(dir.filePath("pkz/AdressDB/AdressDB.db"));
    TAdressDB adr(dir.filePath("pkz") + "/");
    adr.Load(QString(), "AdressDB", 2026);
    ASSERT_TRUE(adr.IsOpen());

    TAdrFieldValueList rec;
    ASSERT_TRUE(adr.RefreshRecord("persdat", "guid", QUuid(kGuid), rec));
    QString mail;
    EXPECT_TRUE(rec.TryGetField("EMAIL", mail));
    EXPECT_EQ(mail, "anna@example.org");
    EXPECT_EQ(AdrFullName(rec), QString::fromUtf8("Anna Schäfer"));
    EXPECT_EQ(AdrCompany(rec), "Bau GmbH");
    EXPECT_FALSE(adr.RefreshRecord("Persdat", "GUID", QUuid::createUuid(), rec));

    const auto all = adr.SearchPersdat("", 10);
    ASSERT_EQ(all.size(), 2);
    EXPECT_EQ(all[0].Field("Name"), "Albers");
    EXPECT_EQ(adr.SearchPersdat("hoch", 10).size(), 0);   // Firma2 is not searched
    EXPECT_EQ(adr.SearchPersdat("Bau", 10).size(), 1);
}

// Table and column names come from the host's stream: they never reach SQL
// unless they exist.
TEST(AdressDB, RefusesUnknownNamesAndOpensNamedFile)
{
    QTemporaryDir dir;
    createHostDatabase(dir.filePath("elsewhere/adressen.db"));
    QFile ini(dir.filePath("server/serverdboptions.ini"));
    QDir().mkpath(dir.filePath("server"));
    ini.open(QIODevice::WriteOnly);
    ini.write("[AdressDB]\nDatabaseName=" + dir.filePath("elsewhere/adressen.db").toUtf8() + "\n");
    ini.close();

    TAdressDB adr(dir.filePath("pkz"));
    adr.Load(dir.filePath("server"), "AdressDB", 2026);
    ASSERT_TRUE(adr.IsOpen());
    TAdrFieldValueList rec;
    EXPECT_THROW(adr.RefreshRecord("Persdat; DROP TABLE Persdat", "GUID", QUuid(kGuid), rec), EKalvex);
    EXPECT_THROW(adr.RefreshRecord("Persdat", "GUID) OR 1=1 --", QUuid(kGuid), rec), EKalvex);
    EXPECT_TRUE(adr.RefreshRecord("Persdat", "GUID", QUuid(kGuid), rec));

    TAdressDB missing(dir.filePath("nowhere"));
    missing.Load(QString(), "AdressDB", 2026);
    EXPECT_FALSE(missing.IsOpen());
    EXPECT_FALSE(missing.RefreshRecord("Persdat", "GUID", QUuid(kGuid), rec));

    QFile junk(dir.filePath("junk/AdressDB/AdressDB.db"));
    QDir().mkpath(dir.filePath("junk/AdressDB"));
    junk.open(QIODevice::WriteOnly);
    junk.write(QByteArray(4096, 'x'));
    junk.close();
    TAdressDB broken(dir.filePath("junk"));
    EXPECT_THROW(broken.Load(QString(), "AdressDB", 2026), EKalvex);
}
