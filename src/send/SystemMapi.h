#pragma once
// The hand-over through the system's Simple MAPI where the system has one
// (Windows: MAPISendMail from mapi32.dll, loaded once per process and kept
// until the process ends). Linux has none: there TGenHelp runs xdg-email.
// One source per platform: SystemMapiPosix.cpp, SystemMapiWindows.cpp.

#include "send/Genhelp.h"

#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

namespace kalvex {

struct TMapiMessage {
    QString subject;
    QString body;
    std::vector<TAddress> recipients;
    QStringList attachments;
};

// The MAPI result code of the hand-over, or nothing when this platform
// hands over through a program instead.
std::optional<int> SendThroughSystemMapi(const TMapiMessage& message);

}  // namespace kalvex
