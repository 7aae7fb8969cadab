#pragma once
// An owning list of heap objects, as the boundary records keep their
// children: items have stable addresses, so rows may refer to their
// block's column list.

#include <QtGlobal>
#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

namespace kalvex {

template <class T>
class TObjectList {
public:
    T& Add() { return Add(std::make_unique<T>()); }
    T& Add(std::unique_ptr<T> item)
    {
        FItems.push_back(std::move(item));
        return *FItems.back();
    }
    int Count() const { return static_cast<int>(FItems.size()); }
    bool IsEmpty() const { return FItems.empty(); }
    T& operator[](int i) { return *FItems.at(static_cast<size_t>(i)); }
    const T& operator[](int i) const { return *FItems.at(static_cast<size_t>(i)); }
    void Clear() { FItems.clear(); }
    void Reserve(int n) { FItems.reserve(static_cast<size_t>(n)); }
    // Removes and frees the item; false when it is not in the list.
    bool Remove(const T* item)
    {
        const auto it = std::find_if(FItems.begin(), FItems.end(), [&](const auto& p) { return p.get() == item; });
        if (it == FItems.end())
            return false;
        FItems.erase(it);
        return true;
    }
    template <class Less>
    void Sort(Less less)
    {
        std::stable_sort(FItems.begin(), FItems.end(), [&](const auto& a, const auto& b) { return less(*a, *b); });
    }

    auto begin() { return FItems.begin(); }
    auto end() { return FItems.end(); }
    auto begin() const { return FItems.cbegin(); }
    auto end() const { return FItems.cend(); }

private:
    std::vector<std::unique_ptr<T>> FItems;
};

// A record list's stream: version 1, count, the records. A list of another
// version is left unread and unchanged; a broken one leaves it unchanged too.
template <class List, class Writer>
void WriteRecordList(Writer& w, const List& list)
{
    w.WriteInteger(1);
    w.WriteInteger(list.Count());
    for (const auto& item : list)
        item->SaveToStream(w);
}

template <class Item, class List, class Reader>
void ReadRecordList(Reader& r, List& list)
{
    if (r.ReadInteger() != 1)
        return;
    const int32_t count = r.ReadCount(4);
    TObjectList<Item> items;
    items.Reserve(count);
    for (int32_t i = 0; i < count; ++i)
        items.Add().LoadFromStream(r);
    static_cast<TObjectList<Item>&>(list) = std::move(items);
}

}  // namespace kalvex
