#include "config/Help.h"

#include <QDesktopServices>
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
    return QDesktopServices::openUrl(QUrl(TopicAddress(topic)));
}

}  // namespace kalvex
