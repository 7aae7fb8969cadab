#include "config/Help.h"

#include "config/ShellOpen.h"

#include <QUrl>

namespace kalvex {

QString TKalvexHelp::TopicAddress(const QString& topic) const
{
    return FBaseAddress + topic;
}

bool TKalvexHelp::ShowTopic(const QString& topic) const
{
    if (FBaseAddress.isEmpty())
        return false;
    return OpenWithShell(QUrl(TopicAddress(topic)));
}

}  // namespace kalvex
