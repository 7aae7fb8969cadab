#pragma once
// Spell checking for one window's editors: a shared Hunspell dictionary, the
// user's own word list (a text file, one word a line, kept across sessions),
// the words ignored in this window, and a cache of the answers. Editors
// redraw when Changed() is emitted (a word added or ignored, checking turned
// on or off).
//
// Without a dictionary the checker is unavailable: nothing is flagged and
// the editors offer no spelling commands.

#include "compose/SpellWords.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <memory>

namespace kalvex {

class THunspellDictionary;

class TPersonalWordList {
public:
    // An empty file name keeps the words in memory only.
    explicit TPersonalWordList(QString fileName);
    bool Contains(const QString& word) const { return FWords.contains(word); }
    // Appends the word to the file; false when it could not be written.
    bool Add(const QString& word);

private:
    QString FFileName;
    QSet<QString> FWords;
};

class TSpellChecker : public QObject {
    Q_OBJECT

public:
    static constexpr int MaxSuggestions = 7;

    TSpellChecker(std::shared_ptr<const THunspellDictionary> dictionary, const QString& wordListFile,
                  QObject* parent = nullptr);
    ~TSpellChecker() override;

    bool Available() const { return FDictionary != nullptr; }
    bool Enabled() const { return FEnabled; }
    bool Active() const { return Available() && FEnabled; }
    void SetEnabled(bool enabled);

    bool IsCorrect(const QString& word);
    QStringList Suggestions(const QString& word);
    // The words of text that are flagged (none while not active).
    QList<TWordSpan> Misspelt(QStringView text);

    void AddToWordList(const QString& word);
    void Ignore(const QString& word);

signals:
    void Changed();

private:
    bool lookUp(const QString& word) const;

    std::shared_ptr<const THunspellDictionary> FDictionary;
    TPersonalWordList FWordList;
    QSet<QString> FIgnored;
    QHash<QString, bool> FAnswers;
    bool FEnabled = true;
};

}  // namespace kalvex
