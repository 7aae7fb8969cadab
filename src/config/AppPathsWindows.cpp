// Where the program and the module's binary lie, on Windows.
#include "config/AppPaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <windows.h>

namespace kalvex {

namespace {

QString moduleFileName(HMODULE module)
{
    std::wstring name(MAX_PATH, L'\0');
    for (;;) {
        const DWORD n = GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size()));
        if (n == 0)
            return QString();
        if (n < name.size())
            return QDir::fromNativeSeparators(QString::fromWCharArray(name.data(), static_cast<qsizetype>(n)));
        name.resize(name.size() * 2);
    }
}

}  // namespace

QString ApplicationFolder()
{
    if (QCoreApplication::instance())
        return IncludeTrailingSeparator(QCoreApplication::applicationDirPath());
    return IncludeTrailingSeparator(QFileInfo(moduleFileName(nullptr)).absolutePath());
}

// The module that holds this function: kalvex.dll, or the program it is
// linked into.
QString ModuleFolder()
{
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&ModuleFolder), &module))
        return QString();
    const QString binary = moduleFileName(module);
    return binary.isEmpty() ? QString() : IncludeTrailingSeparator(QFileInfo(binary).absolutePath());
}

}  // namespace kalvex
