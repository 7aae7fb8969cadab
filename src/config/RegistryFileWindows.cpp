// The registry itself on Windows, read only.
#include "config/RegistryFile.h"

#include <windows.h>

#include <vector>

namespace kalvex {

namespace {

// Both views of a 64-bit system: the 32-bit hosts of the product family
// write under WOW6432Node, which a 64-bit reader sees only when it asks.
constexpr REGSAM kViews[] = {KEY_WOW64_64KEY, KEY_WOW64_32KEY};
const HKEY kRoots[] = {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER};

std::wstring wide(const QString& text)
{
    return text.toStdWString();
}

// The value as text: REG_SZ and REG_EXPAND_SZ as they are (the latter with
// its variables expanded), REG_DWORD as a decimal number.
std::optional<QString> readValue(HKEY key, const QString& valueName)
{
    DWORD type = 0, size = 0;
    const std::wstring name = wide(valueName);
    if (RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS)
        return std::nullopt;
    std::vector<BYTE> data(size + sizeof(wchar_t));
    if (RegQueryValueExW(key, name.c_str(), nullptr, &type, data.data(), &size) != ERROR_SUCCESS)
        return std::nullopt;
    if (type == REG_DWORD && size >= sizeof(DWORD))
        return QString::number(*reinterpret_cast<const DWORD*>(data.data()));
    if (type != REG_SZ && type != REG_EXPAND_SZ)
        return std::nullopt;
    QString text = QString::fromWCharArray(reinterpret_cast<const wchar_t*>(data.data()),
                                           static_cast<qsizetype>(size / sizeof(wchar_t)));
    while (text.endsWith(QChar(u'\0')))
        text.chop(1);
    if (type == REG_EXPAND_SZ) {
        const std::wstring raw = wide(text);
        const DWORD needed = ExpandEnvironmentStringsW(raw.c_str(), nullptr, 0);
        std::wstring expanded(needed, L'\0');
        if (needed && ExpandEnvironmentStringsW(raw.c_str(), expanded.data(), needed))
            text = QString::fromWCharArray(expanded.c_str());
    }
    return text;
}

// Calls use(key) on each place the key path exists, in search order, until
// it answers; the key is closed after each call.
template <class Use>
auto firstAnswer(const QString& keyPath, Use use) -> decltype(use(HKEY{}))
{
    const std::wstring path = wide(keyPath);
    for (HKEY root : kRoots)
        for (REGSAM view : kViews) {
            HKEY key = nullptr;
            if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | view, &key) != ERROR_SUCCESS)
                continue;
            auto answer = use(key);
            RegCloseKey(key);
            if (answer)
                return answer;
        }
    return {};
}

}  // namespace

TRegistryFile::TRegistryFile() : FIni(QString()) {}

TRegistryFile::TRegistryFile(const QString& fileName) : FIni(fileName) {}

QString TRegistryFile::Locate()
{
    return QString();
}

bool TRegistryFile::KeyExists(const QString& keyPath) const
{
    if (!FIni.FileName().isEmpty())
        return FIni.SectionExists(keyPath);
    return firstAnswer(keyPath, [](HKEY) { return true; });
}

std::optional<QString> TRegistryFile::ReadString(const QString& keyPath, const QString& valueName) const
{
    if (!FIni.FileName().isEmpty()) {
        if (!FIni.ValueExists(keyPath, valueName))
            return std::nullopt;
        return FIni.ReadString(keyPath, valueName, QString());
    }
    return firstAnswer(keyPath, [&](HKEY key) { return readValue(key, valueName); });
}

}  // namespace kalvex
