#include "compose/DocumentMerge.h"

#include "compose/KeyMatcher.h"
#include "compose/RTFEditorEngine.h"

#include <QTextCursor>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <set>

namespace kalvex {

namespace {

// A line break in a value stays a line of the paragraph, as \line does.
QString asDocumentText(QString value)
{
    value.replace(QLatin1String("\r\n"), QString(QChar::LineSeparator));
    value.replace(QLatin1Char('\r'), QChar::LineSeparator);
    value.replace(QLatin1Char('\n'), QChar::LineSeparator);
    return value;
}

QTextCharFormat firstCharFormat(const QTextCursor& match)
{
    QTextCursor at(match.document());
    at.setPosition(match.selectionStart() + 1);
    return at.charFormat();
}

// Every occurrence of key in [from, to), ignoring case; returns where the
// range ends after the replacements.
int replaceIn(QTextDocument& doc, const QString& key, const QString& value, int from, int to)
{
    if (key.isEmpty())
        return to;
    const QString text = asDocumentText(value);
    for (QTextCursor found = doc.find(key, from); !found.isNull() && found.selectionEnd() <= to;
         found = doc.find(key, found.position())) {
        const int removed = found.selectionEnd() - found.selectionStart();
        found.insertText(text, firstCharFormat(found));
        to += static_cast<int>(text.size()) - removed;
    }
    return to;
}

QTextCursor span(QTextDocument& doc, int from, int to)
{
    QTextCursor c(&doc);
    c.setPosition(from);
    c.setPosition(to, QTextCursor::KeepAnchor);
    return c;
}

void expandBlock(const TRTFEditorEngine& engine, QTextDocument& doc, const QString& block)
{
    const QString start = QLatin1Char('<') + block + QStringLiteral("-Wiederholung-Anfang>");
    const QString end = QLatin1Char('<') + block + QStringLiteral("-Wiederholung-Ende>");
    const QTextCursor s = doc.find(start, 0, QTextDocument::FindCaseSensitively);
    if (s.isNull())
        return;
    const QTextCursor q = doc.find(end, s.selectionStart(), QTextDocument::FindCaseSensitively);
    if (q.isNull())
        return;
    const QTextDocumentFragment body = span(doc, s.selectionEnd(), q.selectionStart()).selection();
    QTextCursor whole = span(doc, s.selectionStart(), q.selectionEnd());
    whole.removeSelectedText();
    const int rows = engine.BlockRows(block);
    int at = whole.position();
    const QStringList subFields = engine.BlockSubFields(block);
    for (int i = 0; i < rows; ++i) {
        QTextCursor row(&doc);
        row.setPosition(at);
        row.insertFragment(body);
        int rowEnd = row.position();
        for (const QString& sub : subFields)
            rowEnd = replaceIn(doc, QLatin1Char('<') + sub + QLatin1Char('>'), engine.Value(sub + QString::number(i)), at, rowEnd);
        at = rowEnd;
    }
}

// The keys after `after` that occur in the document, in one pass.
void keysPresent(const TKeyMatcher& matcher, const QTextDocument& doc, int after, std::set<int>& pending)
{
    const QString folded = doc.toRawText().toCaseFolded();
    matcher.Scan(folded, 0, folded.size(), [&](int index) {
        if (index > after)
            pending.insert(index);
    });
}

}  // namespace

// Only keys that occur are replaced, in enumeration order; the text is
// searched again after each replacement, which may have made later keys
// appear. A key of 10,000 block cells costs nothing when it is absent.
void MergeDocument(const TRTFEditorEngine& engine, QTextDocument& document, const QStringList* blockNames)
{
    if (blockNames)
        for (const QString& block : *blockNames)
            expandBlock(engine, document, block);
    const std::vector<QString>& keys = engine.Keys();
    const std::vector<QString>& values = engine.Values();
    const TKeyMatcher matcher(QStringList(keys.begin(), keys.end()));
    std::set<int> pending;
    keysPresent(matcher, document, -1, pending);
    while (!pending.empty()) {
        const int index = *pending.begin();
        pending.erase(pending.begin());
        const size_t i = static_cast<size_t>(index);
        replaceIn(document, keys[i], values[i], 0, document.characterCount());
        keysPresent(matcher, document, index, pending);
    }
}

}  // namespace kalvex
