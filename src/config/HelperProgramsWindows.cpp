#include "config/HelperPrograms.h"

#include "config/AppPaths.h"

#include <QFileInfo>

namespace kalvex {

QString DatabaseConverterProgram()
{
    const QString beside = ModuleFolder() + QStringLiteral("DBConverter.exe");
    return QFileInfo(beside).isFile() ? beside : QString();
}

}  // namespace kalvex
