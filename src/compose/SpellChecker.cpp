#include "compose/SpellChecker.h"

#include "compose/SpellDictionary.h"
#include "config/LogFileUnit.h"

#include <QFile>
#include <algorithm>

namespace kalvex {

namespace {

QSet<QString> readWords(const QString& fileName)
{
    QSet<QString> words;
    QFile file(fileName);
    if (fileName.isEmpty() || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return words;
    for (const QString& line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n')))
        if (!line.trimmed().isEmpty())
            words.insert(line.trimmed());
    return words;
}

}  // namespace

TPersonalWordList::TPersonalWordList(QString fileName) : FFileName(std::move(fileName)), FWords(readWords(FFileName))
{
}

bool TPersonalWordList::Add(const QString& word)
{
    if (FWords.contains(word))
        return true;
    FWords.insert(word);
    if (FFileName.isEmpty())
        return true;
    QFile file(FFileName);
    return file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text)
        && file.write((word + QLatin1Char('\n')).toUtf8()) > 0;
}

TSpellChecker::TSpellChecker(std::shared_ptr<const THunspellDictionary> dictionary, const QString& wordListFile,
                             QObject* parent)
    : QObject(parent), FDictionary(std::move(dictionary)), FWordList(wordListFile)
{
}

TSpellChecker::~TSpellChecker() = default;

void TSpellChecker::SetEnabled(bool enabled)
{
    if (enabled == FEnabled)
        return;
    FEnabled = enabled;
    emit Changed();
}

bool TSpellChecker::IsCorrect(const QString& word)
{
    if (!Available() || FIgnored.contains(word) || FWordList.Contains(word))
        return true;
    auto it = FAnswers.constFind(word);
    if (it == FAnswers.constEnd())
        it = FAnswers.insert(word, lookUp(word));
    return *it;
}

// A compound with hyphens passes when each part does, and parts in capitals
// need not ("MWST-Belege", "US-Wirtschaft").
bool TSpellChecker::lookUp(const QString& word) const
{
    if (FDictionary->Spell(word))
        return true;
    const QStringList parts = word.split(QLatin1Char('-'), Qt::SkipEmptyParts);
    return parts.size() > 1 && std::all_of(parts.cbegin(), parts.cend(), [this](const QString& part) {
               return !IsCheckableWord(part) || FDictionary->Spell(part);
           });
}

QStringList TSpellChecker::Suggestions(const QString& word)
{
    return Available() ? FDictionary->Suggest(word, MaxSuggestions) : QStringList();
}

QList<TWordSpan> TSpellChecker::Misspelt(QStringView text)
{
    QList<TWordSpan> misspelt;
    if (!Active())
        return misspelt;
    for (const TWordSpan& w : CheckableWords(text))
        if (!IsCorrect(text.sliced(w.start, w.length).toString()))
            misspelt.append(w);
    return misspelt;
}

void TSpellChecker::AddToWordList(const QString& word)
{
    if (!FWordList.Add(word))
        TLogFile::LogGlobal(false, QStringLiteral("Eigenes Wörterbuch: \"%1\" nicht gespeichert").arg(word));
    emit Changed();
}

void TSpellChecker::Ignore(const QString& word)
{
    FIgnored.insert(word);
    emit Changed();
}

}  // namespace kalvex
