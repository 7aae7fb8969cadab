#pragma once
// Finds which of many keys occur in a text, ignoring letter case, in one
// pass (an Aho-Corasick automaton over case-folded UTF-16).

#include <QHash>
#include <QString>
#include <QStringList>
#include <vector>

namespace kalvex {

class TKeyMatcher {
public:
    explicit TKeyMatcher(const QStringList& keys);
    // Calls found(keyIndex) for every occurrence of a key in text[from, to).
    template <class Found>
    void Scan(const QString& foldedText, qsizetype from, qsizetype to, Found found) const;
    int MaxKeyLength() const { return FMaxKeyLength; }

private:
    int child(int node, char16_t c) const;
    void addKey(const QString& folded, int index);
    void buildLinks();

    struct Node {
        int fail = 0;
        int output = -1;   // first key ending here, or -1
        std::vector<int> more;   // further keys equal to it after case folding
        int next = -1;     // nearest node on the fail chain with an output
    };
    std::vector<Node> FNodes;
    QHash<quint64, int> FEdges;   // (node << 16) | character -> node
    int FMaxKeyLength = 0;
};

template <class Found>
void TKeyMatcher::Scan(const QString& foldedText, qsizetype from, qsizetype to, Found found) const
{
    int node = 0;
    for (qsizetype i = from; i < to; ++i) {
        const char16_t c = foldedText.at(i).unicode();
        int n = child(node, c);
        while (n < 0 && node != 0) {
            node = FNodes[static_cast<size_t>(node)].fail;
            n = child(node, c);
        }
        node = n < 0 ? 0 : n;
        for (int out = FNodes[static_cast<size_t>(node)].output >= 0 ? node : FNodes[static_cast<size_t>(node)].next;
             out > 0; out = FNodes[static_cast<size_t>(out)].next) {
            found(FNodes[static_cast<size_t>(out)].output);
            for (int extra : FNodes[static_cast<size_t>(out)].more)
                found(extra);
        }
    }
}

}  // namespace kalvex
