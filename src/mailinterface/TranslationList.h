#pragma once
#include "mailinterface/StreamIO.h"

#include <QList>
#include <QPair>
#include <QString>

namespace kalvex {

// Text per language code (1031 German, 1033 English). Entries keep their
// insertion order, which is also their order in the stream.
class TTranslationList {
public:
    QString GetText(int32_t lang) const;
    // A non-empty text adds or replaces the entry; an empty one removes it.
    void SetText(int32_t lang, const QString& text);
    int Count() const { return static_cast<int>(FItems.size()); }
    void Clear() { FItems.clear(); }
    const QList<QPair<int32_t, QString>>& Items() const { return FItems; }

    void SaveToStream(TStreamWriter& w) const;
    void LoadFromStream(TStreamReader& r);   // replaces the content
    bool operator==(const TTranslationList& other) const { return FItems == other.FItems; }

private:
    QList<QPair<int32_t, QString>> FItems;
};

}  // namespace kalvex
