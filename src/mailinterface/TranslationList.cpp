#include "mailinterface/TranslationList.h"

namespace kalvex {

QString TTranslationList::GetText(int32_t lang) const
{
    for (const auto& item : FItems)
        if (item.first == lang)
            return item.second;
    return QString();
}

void TTranslationList::SetText(int32_t lang, const QString& text)
{
    for (qsizetype i = 0; i < FItems.size(); ++i) {
        if (FItems[i].first != lang)
            continue;
        if (text.isEmpty())
            FItems.removeAt(i);
        else
            FItems[i].second = text;
        return;
    }
    if (!text.isEmpty())
        FItems.append({lang, text});
}

void TTranslationList::SaveToStream(TStreamWriter& w) const
{
    w.WriteInteger(static_cast<int32_t>(FItems.size()));
    for (const auto& item : FItems) {
        w.WriteInteger(item.first);
        w.WriteString(item.second);
    }
}

void TTranslationList::LoadFromStream(TStreamReader& r)
{
    const int32_t count = r.ReadCount(8);
    QList<QPair<int32_t, QString>> items;
    items.reserve(count);
    for (int32_t i = 0; i < count; ++i) {
        const int32_t lang = r.ReadInteger();
        items.append({lang, r.ReadString()});
    }
    FItems = std::move(items);
}

}  // namespace kalvex
