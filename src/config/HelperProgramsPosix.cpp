#include "config/HelperPrograms.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QStandardPaths>

namespace kalvex {

QString DatabaseConverterProgram()
{
    const QString name = QStringLiteral("kalvex-dbconvert");
    if (QCoreApplication::instance()) {
        const QString beside = QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
        if (QFileInfo(beside).isExecutable())
            return beside;
    }
    return QStandardPaths::findExecutable(name);
}

}  // namespace kalvex
