#pragma once
#include <QString>

namespace kalvex {

// The help object: opens pages below a base address in the desktop browser.
class TKalvexHelp {
public:
    explicit TKalvexHelp(QString baseAddress) : FBaseAddress(std::move(baseAddress)) {}
    const QString& BaseAddress() const { return FBaseAddress; }
    QString TopicAddress(const QString& topic) const;  // base + topic
    bool ShowTopic(const QString& topic) const;         // false when nothing could open it

private:
    QString FBaseAddress;
};

}  // namespace kalvex
