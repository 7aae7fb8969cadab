#include "compose/KeyMatcher.h"

#include <deque>

namespace kalvex {

TKeyMatcher::TKeyMatcher(const QStringList& keys)
{
    FNodes.emplace_back();
    FEdges.reserve(keys.size() * 8);
    for (int i = 0; i < keys.size(); ++i)
        addKey(keys[i].toCaseFolded(), i);
    buildLinks();
}

int TKeyMatcher::child(int node, char16_t c) const
{
    return FEdges.value((static_cast<quint64>(node) << 16) | c, -1);
}

void TKeyMatcher::addKey(const QString& folded, int index)
{
    if (folded.isEmpty())
        return;
    FMaxKeyLength = std::max(FMaxKeyLength, static_cast<int>(folded.size()));
    int node = 0;
    for (QChar ch : folded) {
        const quint64 edge = (static_cast<quint64>(node) << 16) | ch.unicode();
        auto it = FEdges.constFind(edge);
        if (it == FEdges.constEnd()) {
            FNodes.emplace_back();
            it = FEdges.insert(edge, static_cast<int>(FNodes.size() - 1));
        }
        node = *it;
    }
    // Keys equal after folding share a node and are all reported.
    Node& end = FNodes[static_cast<size_t>(node)];
    if (end.output < 0)
        end.output = index;
    else
        end.more.push_back(index);
}

// Breadth-first: fail links and the chain of nodes that end a key.
void TKeyMatcher::buildLinks()
{
    QHash<int, QList<QPair<char16_t, int>>> children;
    for (auto it = FEdges.constBegin(); it != FEdges.constEnd(); ++it)
        children[static_cast<int>(it.key() >> 16)].append({static_cast<char16_t>(it.key() & 0xFFFF), it.value()});
    std::deque<int> queue;
    for (const auto& [c, n] : children.value(0)) {
        FNodes[static_cast<size_t>(n)].fail = 0;
        queue.push_back(n);
    }
    while (!queue.empty()) {
        const int node = queue.front();
        queue.pop_front();
        for (const auto& [c, n] : children.value(node)) {
            int f = FNodes[static_cast<size_t>(node)].fail;
            while (f != 0 && child(f, c) < 0)
                f = FNodes[static_cast<size_t>(f)].fail;
            const int target = child(f, c);
            FNodes[static_cast<size_t>(n)].fail = (target >= 0 && target != n) ? target : 0;
            const Node& failNode = FNodes[static_cast<size_t>(FNodes[static_cast<size_t>(n)].fail)];
            FNodes[static_cast<size_t>(n)].next = failNode.output >= 0 ? FNodes[static_cast<size_t>(n)].fail : failNode.next;
            queue.push_back(n);
        }
    }
}

}  // namespace kalvex
