#include "config/ShellOpen.h"

#include <QDesktopServices>

namespace kalvex {

bool OpenWithShell(const QUrl& url)
{
    return QDesktopServices::openUrl(url);
}

}  // namespace kalvex
