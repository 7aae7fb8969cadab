#pragma once
// The field merge: fills a template text (RTF source or plain text) with the
// host's simple fields and expands its repeat blocks. A pure text engine:
// it knows nothing of RTF.
//
// The final pass replaces every key of the value dictionary, ignoring case,
// in the order the keys were first set (the dictionary's enumeration order).
// With tens of thousands of keys (a block of 10,000 rows) it would be
// quadratic; instead only the keys that occur in the text are replaced, and
// after each replacement the changed places are searched for keys that the
// replacement created, so the result is exactly that of the plain passes.

#include <QHash>
#include <QString>
#include <QStringList>
#include <vector>

namespace kalvex {

class TRTFEditorEngine {
public:
    // Adds or overwrites; keys that differ in case are different entries.
    void SetDataFieldValueDynamisch(const QString& name, const QString& value);
    // Appends a sub-field to a block's list (no duplicate check).
    void AddDataFieldBlockUnterfeld(const QString& block, const QString& subField);
    // blockNames may be null: then no block is expanded. Raises EKalvex when
    // a block's count is not an integer.
    void ReplaceDataValues(const QString& text, const QStringList* blockNames, QString& result) const;
    // The plain passes, one per key over the whole text: the reference.
    void ReplaceDataValuesSequential(const QString& text, const QStringList* blockNames, QString& result) const;

    int KeyCount() const { return static_cast<int>(FKeys.size()); }
    // For merges that find placeholders themselves (in a document): the
    // keys in enumeration order with their values, a value by its exact
    // key (empty when absent), a block's row count (raises like the merge)
    // and its sub-fields.
    const std::vector<QString>& Keys() const { return FKeys; }
    const std::vector<QString>& Values() const { return FValues; }
    QString Value(const QString& key) const;
    int BlockRows(const QString& block) const;
    QStringList BlockSubFields(const QString& block) const { return FDataFieldBlocks.value(block); }

private:
    void expandBlock(QString& text, const QString& block) const;
    void expandBlocks(QString& text, const QStringList* blockNames) const;
    void replaceFast(QString& text) const;

    std::vector<QString> FKeys;          // enumeration order
    QHash<QString, int> FIndex;          // key -> position in FKeys / FValues
    std::vector<QString> FValues;
    QHash<QString, QStringList> FDataFieldBlocks;
};

}  // namespace kalvex
