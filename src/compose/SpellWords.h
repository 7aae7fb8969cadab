#pragma once
// The words of a text that spell checking looks at. Left out: merge
// placeholders (<Kunde.Name>, <Empfaenger.Briefanrede>), e-mail addresses,
// web addresses, anything with a digit, words in capitals (abbreviations,
// shouting) and single letters.

#include <QList>
#include <QStringView>

namespace kalvex {

struct TWordSpan {
    int start = 0;
    int length = 0;
    int end() const { return start + length; }
    bool operator==(const TWordSpan&) const = default;
};

QList<TWordSpan> CheckableWords(QStringView text);

// A word worth asking the dictionary about: two letters or more, no digit,
// not all capitals.
bool IsCheckableWord(QStringView word);

// The checkable word that position (a cursor position) touches, if any.
bool CheckableWordAt(QStringView text, int position, TWordSpan& word);

}  // namespace kalvex
