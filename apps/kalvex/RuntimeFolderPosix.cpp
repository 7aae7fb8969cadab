#include "RuntimeFolder.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

namespace kalvex::cli {

// Qt wants a private runtime folder; make the one it would pick, quietly.
void PrepareRuntimeFolder()
{
    if (!qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR"))
        return;
    const QString runtime = QDir::tempPath() + QStringLiteral("/runtime-%1").arg(getuid());
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", runtime.toUtf8());
}

}  // namespace kalvex::cli
