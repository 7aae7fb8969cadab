#include "config/LanguageUnit.h"
#include "config/LogFileUnit.h"

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

QString readText(const QString& path)
{
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    return QString::fromUtf8(f.readAll());
}

// The C string literals of a call, joined and unescaped.
QString joinLiterals(const QString& literals)
{
    static const QRegularExpression literal(QStringLiteral(R"re("((?:[^"\\]|\\.)*)")re"));
    QString out;
    for (auto it = literal.globalMatch(literals); it.hasNext();)
        out += it.next().captured(1);
    return out.replace(QLatin1String("\\\""), QLatin1String("\"")).replace(QLatin1String("\\n"), QLatin1String("\n"));
}

}  // namespace

TEST(Lang, LooksUpGermanAndEnglishWithGermanFallback)
{
    QTemporaryDir dir;
    ASSERT_TRUE(QFile::copy(KALVEX_TRANSLATIONS_DB, dir.filePath("DllsLang.db3")));
    auto& lang = TLang::Install(std::make_unique<TLang>(dir.path()));
    EXPECT_GT(lang.TextCount(), 200);
    lang.SetLanguage(1033);
    EXPECT_EQ(lang.GetCurrentLangCode(), 1033);
    EXPECT_EQ(Tx(190, "Passwort* (gesperrt)"), "Password* (locked)");
    EXPECT_EQ(Tx(99999, "Nur deutsch"), "Nur deutsch");
    lang.Add("Kalvex", "Nur hier", "", 99998);
    EXPECT_EQ(Tx(99998, "x"), "Nur hier");   // English missing: German
    lang.SetLanguage(1031);
    EXPECT_EQ(lang.GetCurrentLangCode(), 1031);
    EXPECT_EQ(Tx(190, "anders"), "Passwort* (gesperrt)");
    TLang::Free();
    EXPECT_EQ(Tx(190, "ohne Datenbank"), "ohne Datenbank");
}

TEST(Lang, SQLiteFileWinsAndAnAccessFileAloneLoadsNothing)
{
    QTemporaryDir dir;
    TLogFile::Install(std::make_unique<TLogFile>(dir.filePath("log.txt")));
    QFile mdb(dir.filePath("DllsLang.mdb"));
    mdb.open(QIODevice::WriteOnly);
    mdb.write("Standard Jet DB");
    mdb.close();
    EXPECT_EQ(TLang(dir.path()).TextCount(), 0);
    EXPECT_TRUE(readText(dir.filePath("log.txt")).contains("DllsLang.mdb"));
    ASSERT_TRUE(QFile::copy(KALVEX_TRANSLATIONS_DB, dir.filePath("DllsLang.db3")));
    EXPECT_GT(TLang(dir.path()).TextCount(), 200);
    TLogFile::Uninstall();
}

// Every text in the code is in the translation table, with the same German
// wording and an English one; no id stands for two texts.
TEST(Lang, EveryTextOfTheCodeIsInTheTable)
{
    const QString root = qEnvironmentVariable("KALVEX_SOURCE_DIR", KALVEX_TEST_SOURCE_DIR);
    QHash<int, QPair<QString, QString>> table;
    for (const QString& line : readText(root + "/src/config/translations.tsv").split('\n')) {
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        const QStringList cols = line.split('\t');
        ASSERT_EQ(cols.size(), 3) << line.toStdString();
        table.insert(cols[0].toInt(), {QString(cols[1]).replace("\\n", "\n"), QString(cols[2]).replace("\\n", "\n")});
    }
    static const QRegularExpression call(QStringLiteral(R"re(\bTx\(\s*(\d+)\s*,\s*((?:"(?:[^"\\]|\\.)*"\s*)+)\))re"));
    QHash<int, QString> seen;
    int calls = 0;
    for (const QString& folder : {root + "/src", root + "/apps"}) {
        for (QDirIterator it(folder, {"*.cpp", "*.h"}, QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
            const QString file = it.next();
            for (auto m = call.globalMatch(readText(file)); m.hasNext();) {
                const auto match = m.next();
                const int id = match.captured(1).toInt();
                const QString german = joinLiterals(match.captured(2));
                ++calls;
                EXPECT_TRUE(!seen.contains(id) || seen[id] == german) << "id " << id << " has two texts";
                seen.insert(id, german);
                ASSERT_TRUE(table.contains(id)) << "id " << id << " missing (" << file.toStdString() << ")";
                EXPECT_EQ(table[id].first, german) << "id " << id;
                EXPECT_FALSE(table[id].second.isEmpty()) << "id " << id;
            }
        }
    }
    EXPECT_GT(calls, 150);
}
