#include "compose/RTFEditorEngine.h"

#include "compose/KeyMatcher.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <set>

namespace kalvex {

namespace {

const QString kStart = QStringLiteral("-Wiederholung-Anfang");
const QString kEnd = QStringLiteral("-Wiederholung-Ende");
const QString kCount = QStringLiteral("-Wiederholung-Count");

int strictInteger(const QString& text)
{
    bool ok = false;
    const int value = text.toInt(&ok, 10);
    if (!ok || text.trimmed() != text || text.isEmpty())
        throw EKalvex(Tx(1600, "'%1' ist kein gültiger Integerwert.").arg(text));
    return value;
}

// Replace-all ignoring case, on the text and its case-folded twin at once
// (the search runs case-sensitively on the folded text, which is fast);
// reports where each value now stands.
struct TScratch {
    QString out, outFolded;   // reused between keys: no fresh pages per pass
};

void replaceAll(QString& text, QString& folded, const QString& foldedKey, const QString& value,
                const QString& foldedValue, std::vector<qsizetype>& placed, TScratch& scratch)
{
    QString& out = scratch.out;
    QString& outFolded = scratch.outFolded;
    qsizetype from = 0;
    for (qsizetype at; (at = folded.indexOf(foldedKey, from, Qt::CaseSensitive)) >= 0; from = at + foldedKey.size()) {
        if (placed.empty()) {
            out.resize(0);
            outFolded.resize(0);
            out.reserve(text.size() + 64);
            outFolded.reserve(text.size() + 64);
        }
        out += QStringView(text).mid(from, at - from);
        outFolded += QStringView(folded).mid(from, at - from);
        placed.push_back(out.size());
        out += value;
        outFolded += foldedValue;
    }
    if (placed.empty())
        return;
    out += QStringView(text).mid(from);
    outFolded += QStringView(folded).mid(from);
    std::swap(text, out);
    std::swap(folded, outFolded);
}

}  // namespace

void TRTFEditorEngine::SetDataFieldValueDynamisch(const QString& name, const QString& value)
{
    const auto it = FIndex.constFind(name);
    if (it != FIndex.constEnd()) {
        FValues[static_cast<size_t>(*it)] = value;
        return;
    }
    FIndex.insert(name, static_cast<int>(FKeys.size()));
    FKeys.push_back(name);
    FValues.push_back(value);
}

QString TRTFEditorEngine::Value(const QString& key) const
{
    const auto it = FIndex.constFind(key);
    return it == FIndex.constEnd() ? QString() : FValues[static_cast<size_t>(*it)];
}

int TRTFEditorEngine::BlockRows(const QString& block) const
{
    const auto count = FIndex.constFind(block + kCount);
    return count == FIndex.constEnd() ? 0 : strictInteger(FValues[static_cast<size_t>(*count)]);
}

void TRTFEditorEngine::AddDataFieldBlockUnterfeld(const QString& block, const QString& subField)
{
    FDataFieldBlocks[block].append(subField);
}

// Only the first occurrence of the block is expanded; markers are matched
// case-sensitively, placeholders in the body ignoring case.
void TRTFEditorEngine::expandBlock(QString& text, const QString& block) const
{
    const QString start = QLatin1Char('<') + block + kStart + QLatin1Char('>');
    const QString end = QLatin1Char('<') + block + kEnd + QLatin1Char('>');
    const qsizetype p = text.indexOf(start, 0, Qt::CaseSensitive);
    if (p < 0)
        return;
    const qsizetype q = text.indexOf(end, p, Qt::CaseSensitive);
    if (q < 0)
        return;
    const qsizetype bodyStart = p + start.size();
    const QString body = text.mid(bodyStart, q - bodyStart);
    text.remove(p, q + end.size() - p);
    const int rows = BlockRows(block);
    const auto subFields = FDataFieldBlocks.constFind(block);
    QString expansion;
    for (int i = 0; i < rows; ++i) {
        QString row = body;
        if (subFields != FDataFieldBlocks.constEnd())
            for (const QString& s : *subFields) {
                const auto cell = FIndex.constFind(s + QString::number(i));
                row.replace(QLatin1Char('<') + s + QLatin1Char('>'),
                            cell == FIndex.constEnd() ? QString() : FValues[static_cast<size_t>(*cell)], Qt::CaseInsensitive);
            }
        expansion += row;
    }
    text.insert(p, expansion);
}

void TRTFEditorEngine::expandBlocks(QString& text, const QStringList* blockNames) const
{
    if (blockNames)
        for (const QString& block : *blockNames)
            expandBlock(text, block);
}

void TRTFEditorEngine::ReplaceDataValuesSequential(const QString& text, const QStringList* blockNames, QString& result) const
{
    QString out = text;
    expandBlocks(out, blockNames);
    for (size_t i = 0; i < FKeys.size(); ++i)
        if (!FKeys[i].isEmpty())
            out.replace(FKeys[i], FValues[i], Qt::CaseInsensitive);
    result = out;
}

void TRTFEditorEngine::ReplaceDataValues(const QString& text, const QStringList* blockNames, QString& result) const
{
    QString out = text;
    expandBlocks(out, blockNames);
    replaceFast(out);
    result = out;
}

// Keys run in enumeration order, but only those present: the automaton
// finds them in the text, and after each replacement it looks again only
// around the values just placed, for later keys the replacement created.
void TRTFEditorEngine::replaceFast(QString& text) const
{
    QStringList keys;
    for (const QString& k : FKeys)
        keys << k;
    const TKeyMatcher matcher(keys);
    std::set<int> pending;
    const auto mark = [&](int from) { return [&pending, from](int index) { if (index > from) pending.insert(index); }; };
    QString folded = text.toCaseFolded();
    if (folded.size() != text.size()) {
        ReplaceDataValuesSequential(text, nullptr, text);   // folding changed lengths: stay on the safe path
        return;
    }
    matcher.Scan(folded, 0, folded.size(), mark(-1));
    const qsizetype reach = std::max(0, matcher.MaxKeyLength() - 1);
    TScratch scratch;
    while (!pending.empty()) {
        const int index = *pending.begin();
        pending.erase(pending.begin());
        const QString& value = FValues[static_cast<size_t>(index)];
        const QString foldedKey = FKeys[static_cast<size_t>(index)].toCaseFolded();
        const QString foldedValue = value.toCaseFolded();
        if (foldedKey.size() != FKeys[static_cast<size_t>(index)].size() || foldedValue.size() != value.size()) {
            // Folding changed a length: the rest runs the plain way, in order.
            for (size_t i = static_cast<size_t>(index); i < FKeys.size(); ++i)
                if (!FKeys[i].isEmpty())
                    text.replace(FKeys[i], FValues[i], Qt::CaseInsensitive);
            return;
        }
        std::vector<qsizetype> placed;
        replaceAll(text, folded, foldedKey, value, foldedValue, placed, scratch);
        if (placed.empty())
            continue;
        // Windows around the placed values, merged where they touch, so no
        // occurrence is cut at a window edge.
        qsizetype windowFrom = -1, windowTo = -1;
        for (qsizetype at : placed) {
            const qsizetype from = std::max<qsizetype>(0, at - reach);
            const qsizetype to = std::min<qsizetype>(folded.size(), at + value.size() + reach);
            if (windowFrom >= 0 && from <= windowTo) {
                windowTo = std::max(windowTo, to);
                continue;
            }
            if (windowFrom >= 0)
                matcher.Scan(folded, windowFrom, windowTo, mark(index));
            windowFrom = from;
            windowTo = to;
        }
        if (windowFrom >= 0)
            matcher.Scan(folded, windowFrom, windowTo, mark(index));
    }
}

}  // namespace kalvex
