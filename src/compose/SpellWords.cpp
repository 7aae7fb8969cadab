#include "compose/SpellWords.h"

namespace kalvex {

namespace {

bool isJoiner(QChar c)
{
    return c == u'-' || c == u'\'' || c == u'\u2019';
}

// A placeholder runs from "<" to the next ">" on the same line, with no "<"
// in between; returns its end, or start when there is none.
int placeholderEnd(QStringView text, int start)
{
    for (int i = start + 1; i < text.size(); ++i) {
        if (text[i] == u'>')
            return i + 1;
        if (text[i] == u'<' || text[i] == u'\n')
            break;
    }
    return start;
}

int tokenEnd(QStringView text, int start)
{
    int i = start;
    while (i < text.size() && !text[i].isSpace())
        ++i;
    return i;
}

bool isAddress(QStringView token)
{
    return token.contains(u'@') || token.contains(u"://") || token.startsWith(u"www.", Qt::CaseInsensitive);
}

// A run of letters, joined by single hyphens or apostrophes ("E-Mail",
// "don't"); digits stuck to it make it a code, not a word.
int wordEnd(QStringView text, int start, bool& hasDigit)
{
    int i = start;
    while (i < text.size()) {
        if (text[i].isLetterOrNumber() || text[i].isMark())
            hasDigit = hasDigit || text[i].isDigit();
        else if (!(isJoiner(text[i]) && i + 1 < text.size() && text[i + 1].isLetter()))
            break;
        ++i;
    }
    return i;
}

bool allCapitals(QStringView word)
{
    for (QChar c : word)
        if (c.isLower())
            return false;
    return true;
}

class TWordScanner {
public:
    explicit TWordScanner(QStringView text) : FText(text) {}
    QList<TWordSpan> words();

private:
    bool skipPlaceholder();
    bool skipAddress();
    bool takeWord();

    QStringView FText;
    int FPos = 0;
    QList<TWordSpan> FWords;
};

QList<TWordSpan> TWordScanner::words()
{
    while (FPos < FText.size()) {
        if (!skipPlaceholder() && !skipAddress() && !takeWord())
            ++FPos;
    }
    return FWords;
}

bool TWordScanner::skipPlaceholder()
{
    if (FText[FPos] != u'<' || placeholderEnd(FText, FPos) == FPos)
        return false;
    FPos = placeholderEnd(FText, FPos);
    return true;
}

// At the start of a whitespace-separated token that is an address, skips it.
bool TWordScanner::skipAddress()
{
    if (FPos > 0 && !FText[FPos - 1].isSpace())
        return false;
    const int end = tokenEnd(FText, FPos);
    if (!isAddress(FText.sliced(FPos, end - FPos)))
        return false;
    FPos = end;
    return true;
}

bool TWordScanner::takeWord()
{
    if (!FText[FPos].isLetterOrNumber())
        return false;
    bool hasDigit = false;
    const int end = wordEnd(FText, FPos, hasDigit);
    if (!hasDigit && IsCheckableWord(FText.sliced(FPos, end - FPos)))
        FWords.append({FPos, end - FPos});
    FPos = end;
    return true;
}

}  // namespace

QList<TWordSpan> CheckableWords(QStringView text)
{
    return TWordScanner(text).words();
}

bool IsCheckableWord(QStringView word)
{
    for (QChar c : word)
        if (c.isDigit())
            return false;
    return word.size() > 1 && !allCapitals(word);
}

bool CheckableWordAt(QStringView text, int position, TWordSpan& word)
{
    for (const TWordSpan& w : CheckableWords(text)) {
        if (position >= w.start && position <= w.end()) {
            word = w;
            return true;
        }
    }
    return false;
}

}  // namespace kalvex
