// Opening a stored attachment with the desktop's program, apart from the
// data module's other sources: a program that only reads the store (the
// command line's list and show) then links no GUI layer.
#include "db/uDatenModul.h"

#include "config/AttachmentFiles.h"
#include "config/ShellOpen.h"

#include <QUrl>

namespace kalvex {

QString TDatenModul::AnhangOeffnenUndAnzeigen(const QString& path)
{
    const QString target = WriteAttachmentToTemp(path, AnhangOeffnen(path));
    OpenWithShell(QUrl::fromLocalFile(target));
    return target;
}

}  // namespace kalvex
