#include "compose/SpellChecker.h"
#include "compose/SpellDictionary.h"
#include "config/LogFileUnit.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

std::shared_ptr<const THunspellDictionary> installed(const QString& language)
{
    return TSpellDictionaries::Shared(TSpellDictionaries::DefaultFolder, language);
}

QStringList flagged(TSpellChecker& checker, const QString& text)
{
    QStringList words;
    for (const TWordSpan& w : checker.Misspelt(text))
        words << text.mid(w.start, w.length);
    return words;
}

void writeFile(const QString& name, const QByteArray& bytes)
{
    QFile f(name);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

}  // namespace

TEST(SpellWords, LeavesOutPlaceholdersAddressesNumbersAndCapitals)
{
    const QString text = "Sehr geehrte <Empfaenger.Briefanrede>, Ihre Rechnnung 4711 vom 12.03. an "
                         "info@hausverwaltng.de (siehe https://www.beispeil.de/rechnnung, www.fehlr.de) "
                         "und MWST, A4, x: E-Mail don't <Kunde.Name>";
    QStringList words;
    for (const TWordSpan& w : CheckableWords(text))
        words << text.mid(w.start, w.length);
    EXPECT_EQ(words, QStringList({"Sehr", "geehrte", "Ihre", "Rechnnung", "vom", "an", "siehe", "und", "E-Mail", "don't"}));
    // "<" without its ">" on the line is no placeholder; its words count.
    EXPECT_EQ(CheckableWords(QStringLiteral("a < Rechnnung")).size(), 1);
    TWordSpan at;
    ASSERT_TRUE(CheckableWordAt(QStringLiteral("Die Rechnnung"), 13, at));   // the cursor right after the word
    EXPECT_EQ(at, (TWordSpan{4, 9}));
    EXPECT_FALSE(CheckableWordAt(QStringLiteral("<Kunde.Name>"), 3, at));
}

TEST(SpellChecker, GermanWordsWithUmlautsAndSharpS)
{
    ASSERT_NE(installed("de_DE"), nullptr) << "hunspell-de-de is part of the build's packages";
    TSpellChecker checker(installed("de_DE"), QString());
    for (const char* word : {"Grüße", "Straße", "Mängelanzeige", "Rechnung", "Empfänger", "übermorgen"})
        EXPECT_TRUE(checker.IsCorrect(QString::fromUtf8(word))) << word;
    // The Debian dictionary follows the reformed spelling: "ss" after a long vowel is wrong.
    for (const char* word : {"Grüsse", "Strasse", "Rechnnung", "Empfaenger"})
        EXPECT_FALSE(checker.IsCorrect(QString::fromUtf8(word))) << word;
    const QStringList suggestions = checker.Suggestions("Rechnnung");
    EXPECT_TRUE(suggestions.contains("Rechnung"));
    EXPECT_LE(suggestions.size(), TSpellChecker::MaxSuggestions);
    EXPECT_EQ(checker.Suggestions(QString::fromUtf8("Grüsse")).value(0), QString::fromUtf8("Grüße"));
    EXPECT_TRUE(checker.IsCorrect("MWST-Belege"));
    EXPECT_FALSE(checker.IsCorrect("MWST-Beleeg"));
    EXPECT_EQ(flagged(checker, QString::fromUtf8("Mit freundlichen Grüssen, Ihre <Firma.Name> — Rechnnung anbei")),
              QStringList({QString::fromUtf8("Grüssen"), "Rechnnung"}));
}

TEST(SpellChecker, EnglishInterfaceUsesTheEnglishDictionary)
{
    EXPECT_EQ(TSpellDictionaries::LanguageOf(1033), "en_US");
    EXPECT_EQ(TSpellDictionaries::LanguageOf(1031), "de_DE");
    EXPECT_EQ(TSpellDictionaries::LanguageOf(0), "de_DE");
    TSpellChecker checker(installed("en_US"), QString());
    ASSERT_TRUE(checker.Available());
    EXPECT_EQ(flagged(checker, "Please recieve the invoice, Rechnung attached"), QStringList({"recieve", "Rechnung"}));
    EXPECT_TRUE(checker.Suggestions("recieve").contains("receive"));
}

// An 8-bit dictionary: words go to Hunspell in its encoding and come back from it.
TEST(SpellChecker, DictionaryInLatin1)
{
    QTemporaryDir dir;
    writeFile(dir.filePath("xx_XX.aff"), "SET ISO8859-1\nTRY esrtaiüß\n");
    writeFile(dir.filePath("xx_XX.dic"), QString::fromUtf8("2\nGrüße\nStraße\n").toLatin1());
    auto dictionary = THunspellDictionary::Load(dir.path(), "xx_XX");
    ASSERT_NE(dictionary, nullptr);
    EXPECT_EQ(dictionary->Encoding(), "ISO-8859-1");
    EXPECT_TRUE(dictionary->Spell(QString::fromUtf8("Grüße")));
    EXPECT_FALSE(dictionary->Spell(QString::fromUtf8("Grüsse")));
    EXPECT_TRUE(dictionary->Suggest(QString::fromUtf8("Grüsse"), 7).contains(QString::fromUtf8("Grüße")));
    EXPECT_TRUE(dictionary->Spell(QString::fromUtf8("Łódź")));   // not in Latin-1: not judged
}

TEST(SpellChecker, OwnWordListLastsAcrossCheckersIgnoreOnlyInOne)
{
    QTemporaryDir dir;
    const QString list = dir.filePath("Benutzerwoerterbuch.txt");
    int changes = 0;
    {
        TSpellChecker first(installed("de_DE"), list);
        QObject::connect(&first, &TSpellChecker::Changed, [&] { ++changes; });
        ASSERT_FALSE(first.IsCorrect("Kalvexversand"));
        first.AddToWordList("Kalvexversand");
        first.Ignore("Rechnnung");
        EXPECT_TRUE(first.IsCorrect("Kalvexversand"));
        EXPECT_TRUE(flagged(first, "Kalvexversand und Rechnnung").isEmpty());
    }
    EXPECT_EQ(changes, 2);
    TSpellChecker second(installed("de_DE"), list);
    EXPECT_EQ(flagged(second, "Kalvexversand und Rechnnung"), QStringList({"Rechnnung"}));
    TSpellChecker elsewhere(installed("de_DE"), dir.filePath("andere.txt"));
    EXPECT_FALSE(elsewhere.IsCorrect("Kalvexversand"));
}

TEST(SpellChecker, OffWhenSwitchedOffOrWithoutDictionary)
{
    TSpellChecker on(installed("de_DE"), QString());
    on.SetEnabled(false);
    EXPECT_TRUE(on.Misspelt(QStringLiteral("Rechnnung")).isEmpty());
    on.SetEnabled(true);
    EXPECT_EQ(on.Misspelt(QStringLiteral("Rechnnung")).size(), 1);

    QTemporaryDir dir;
    TLogFile::Install(std::make_unique<TLogFile>(dir.filePath("log.txt")));
    const QString missing = dir.filePath("keine-woerterbuecher");
    EXPECT_EQ(TSpellDictionaries::Shared(missing, "de_DE"), nullptr);
    EXPECT_EQ(TSpellDictionaries::Shared(missing, "de_DE"), nullptr);
    TLogFile::Uninstall();
    QFile log(dir.filePath("log.txt"));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    EXPECT_EQ(QString::fromUtf8(log.readAll()).count(QStringLiteral("kein Wörterbuch")), 1);

    TSpellChecker off(nullptr, QString());
    EXPECT_FALSE(off.Available());
    EXPECT_FALSE(off.Active());
    EXPECT_TRUE(off.IsCorrect("Rechnnung"));
    EXPECT_TRUE(off.Suggestions("Rechnnung").isEmpty());
    EXPECT_TRUE(off.Misspelt(QStringLiteral("Rechnnung")).isEmpty());
}
