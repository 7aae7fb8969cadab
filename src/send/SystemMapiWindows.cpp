// Simple MAPI on Windows: mapi32.dll from the program's own folder, else
// the system's; MAPISendMail with the 8-bit message record.
#include "send/SystemMapi.h"

#include "config/AppHandle.h"
#include "config/AppPaths.h"
#include "config/LogFileUnit.h"

#include <QDir>
#include <QFileInfo>

#include <windows.h>
#include <oleauto.h>

#include <string>

namespace kalvex {

namespace {

// Simple MAPI's records (mapi.h), 8-bit.
struct MapiRecipDesc {
    ULONG ulReserved;
    ULONG ulRecipClass;
    LPSTR lpszName;
    LPSTR lpszAddress;
    ULONG ulEIDSize;
    LPVOID lpEntryID;
};

struct MapiFileDesc {
    ULONG ulReserved;
    ULONG flFlags;
    ULONG nPosition;
    LPSTR lpszPathName;
    LPSTR lpszFileName;
    LPVOID lpFileType;
};

struct MapiMessage {
    ULONG ulReserved;
    LPSTR lpszSubject;
    LPSTR lpszNoteText;
    LPSTR lpszMessageType;
    LPSTR lpszDateReceived;
    LPSTR lpszConversationID;
    ULONG flFlags;
    MapiRecipDesc* lpOriginator;
    ULONG nRecipCount;
    MapiRecipDesc* lpRecips;
    ULONG nFileCount;
    MapiFileDesc* lpFiles;
};

using MapiSendMailFn = ULONG(WINAPI*)(ULONG_PTR session, ULONG_PTR uiParam, MapiMessage* message, ULONG flags,
                                      ULONG reserved);

constexpr ULONG kMapiTo = 1, kMapiCc = 2, kMapiBcc = 3;
constexpr ULONG kLogonUiNewSessionDialog = 0x1 | 0x2 | 0x8;   // MAPI_LOGON_UI | MAPI_NEW_SESSION | MAPI_DIALOG
constexpr int kNotCallable = 99;
const QString kMessagingKey = QStringLiteral("SOFTWARE\\Microsoft\\Windows Messaging Subsystem");

// The loaded library and its entry point: found once, kept for the process.
struct TMapiLibrary {
    HMODULE module = nullptr;
    MapiSendMailFn send = nullptr;
    bool tried = false;
};

TMapiLibrary& library()
{
    static TMapiLibrary lib;
    return lib;
}

// "MAPI" = "1" under the messaging key says that a MAPI client is there.
bool mapiInstalled()
{
    HKEY key = nullptr;
    const std::wstring path = kMessagingKey.toStdWString();
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        TLogFile::LogGlobal(true, QStringLiteral("HKEY_LOCAL_MACHINE\\") + kMessagingKey
                                      + QStringLiteral(" enthält nicht die nötigen Schlüssel"));
        return false;
    }
    wchar_t value[16] = {};
    DWORD size = sizeof value - sizeof(wchar_t), type = 0;
    const LSTATUS status = RegQueryValueExW(key, L"MAPI", nullptr, &type, reinterpret_cast<BYTE*>(value), &size);
    RegCloseKey(key);
    if (status != ERROR_SUCCESS || type != REG_SZ) {
        TLogFile::LogGlobal(true, QStringLiteral("Wert für HKEY_LOCAL_MACHINE\\") + kMessagingKey
                                      + QStringLiteral("\\MAPI nicht vorhanden oder fehlerhaft"));
        return false;
    }
    return std::wstring(value) == L"1";
}

HMODULE loadLibrary()
{
    const QString own = ApplicationFolder() + QStringLiteral("mapi32.dll");
    if (QFileInfo::exists(own)) {
        HMODULE module = LoadLibraryW(QDir::toNativeSeparators(own).toStdWString().c_str());
        TLogFile::LogGlobal(true, module ? QStringLiteral("mapi32.dll aus eigenem Programmverzeichnis bezogen")
                                         : QStringLiteral("MAPIModule konnte nicht geladen werden"));
        return module;
    }
    if (!mapiInstalled())
        return nullptr;
    HMODULE module = LoadLibraryExW(L"MAPI32.DLL", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    TLogFile::LogGlobal(true, module ? QStringLiteral("mapi32.dll aus System32 bezogen")
                                     : QStringLiteral("mapi32.dll konnte nicht geladen werden"));
    return module;
}

MapiSendMailFn entryPoint()
{
    TMapiLibrary& lib = library();
    if (!lib.tried) {
        lib.tried = true;
        lib.module = loadLibrary();
    }
    if (!lib.module || lib.send)
        return lib.send;
    if (auto* fn = GetProcAddress(lib.module, "MAPISendMail")) {
        lib.send = reinterpret_cast<MapiSendMailFn>(reinterpret_cast<void*>(fn));
        TLogFile::LogGlobal(true, QStringLiteral("MapiSendMail gefunden"));
    } else if (auto* fnW = GetProcAddress(lib.module, "MAPISendMailW")) {
        lib.send = reinterpret_cast<MapiSendMailFn>(reinterpret_cast<void*>(fnW));
        TLogFile::LogGlobal(true, QStringLiteral("MapiSendMailW gefunden"));
    } else {
        TLogFile::LogGlobal(true, QStringLiteral("MapiSendMail liefert nichts"));
    }
    return lib.send;
}

// The text in the system's 8-bit code page; what it cannot hold is lost.
std::string ansi(const QString& text)
{
    const std::wstring wide = text.toStdWString();
    if (wide.empty())
        return std::string();
    const int n = WideCharToMultiByte(CP_ACP, 0, wide.c_str(), static_cast<int>(wide.size()), nullptr, 0, nullptr,
                                      nullptr);
    std::string out(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_ACP, 0, wide.c_str(), static_cast<int>(wide.size()), out.data(), n, nullptr, nullptr);
    return out;
}

// All values of a key as "name: value" lines between a begin and an end line.
void logKeyValues(const QString& keyPath, const QString& title)
{
    TLogFile::LogGlobal(true, QStringLiteral("Begin Read Registry / ") + title + QStringLiteral(" ------------------------"));
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, keyPath.toStdWString().c_str(), 0, KEY_READ, &key) == ERROR_SUCCESS) {
        for (DWORD i = 0;; ++i) {
            wchar_t name[256];
            BYTE data[1024];
            DWORD nameLength = 256, size = sizeof data - sizeof(wchar_t), type = 0;
            if (RegEnumValueW(key, i, name, &nameLength, nullptr, &type, data, &size) != ERROR_SUCCESS)
                break;
            QString value;
            if (type == REG_SZ || type == REG_EXPAND_SZ)
                value = QString::fromWCharArray(reinterpret_cast<const wchar_t*>(data),
                                                static_cast<qsizetype>(size / sizeof(wchar_t))).section(QChar(u'\0'), 0, 0);
            else if (type == REG_DWORD)
                value = QString::number(*reinterpret_cast<const DWORD*>(data));
            TLogFile::LogGlobal(true, QString::fromWCharArray(name, nameLength) + QStringLiteral(": ") + value);
        }
        RegCloseKey(key);
    }
    TLogFile::LogGlobal(true, QStringLiteral("End Read Registry / ") + title + QStringLiteral(" ---------------------------"));
}

bool keyExists(HKEY root, const wchar_t* path)
{
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, path, 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    RegCloseKey(key);
    return true;
}

QString defaultValue(HKEY root, const wchar_t* path)
{
    wchar_t value[256] = {};
    DWORD size = sizeof value - sizeof(wchar_t);
    if (RegGetValueW(root, path, nullptr, RRF_RT_REG_SZ, nullptr, value, &size) != ERROR_SUCCESS)
        return QString();
    return QString::fromWCharArray(value);
}

// One text property of an automation object; empty when it has none.
QString automationText(IDispatch* object, const wchar_t* name)
{
    DISPID id = 0;
    auto* names = const_cast<LPOLESTR>(name);
    if (FAILED(object->GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id)))
        return QString();
    DISPPARAMS none{nullptr, nullptr, 0, 0};
    VARIANT result;
    VariantInit(&result);
    QString text;
    if (SUCCEEDED(object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr))
        && SUCCEEDED(VariantChangeType(&result, &result, 0, VT_BSTR)) && result.bstrVal)
        text = QString::fromWCharArray(result.bstrVal, static_cast<qsizetype>(SysStringLen(result.bstrVal)));
    VariantClear(&result);
    return text;
}

// Outlook's version and product code through its automation object, when
// Outlook is installed; nothing otherwise.
void logOutlookAutomation()
{
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    CLSID clsid;
    IDispatch* outlook = nullptr;
    if (SUCCEEDED(CLSIDFromProgID(L"Outlook.Application", &clsid))
        && SUCCEEDED(CoCreateInstance(clsid, nullptr, CLSCTX_LOCAL_SERVER, IID_IDispatch, reinterpret_cast<void**>(&outlook)))) {
        TLogFile::LogGlobal(true, QStringLiteral("Version: ") + automationText(outlook, L"Version"));
        TLogFile::LogGlobal(true, QStringLiteral("ProductCode: ") + automationText(outlook, L"ProductCode"));
        outlook->Release();
    }
    if (SUCCEEDED(com))
        CoUninitialize();
}

// What a support call needs to know of the mail client; failures are ignored.
void logDiagnostics()
{
    TLogFile::LogGlobal(true, keyExists(HKEY_LOCAL_MACHINE, L"SOFTWARE\\WOW6432Node\\") ? QStringLiteral("WOW6432Node was found")
                                                                                       : QStringLiteral("there is no WOW6432Node"));
    logKeyValues(kMessagingKey + QStringLiteral("\\"), QStringLiteral("Windows Messaging Subsystem"));
    logKeyValues(QStringLiteral("SOFTWARE\\Clients\\Mail\\Microsoft Outlook\\"), QStringLiteral("Microsoft Outlook"));
    const QString client = defaultValue(HKEY_LOCAL_MACHINE, L"Software\\Clients\\Mail");
    TLogFile::LogGlobal(true, client.contains(QStringLiteral("Outlook"), Qt::CaseInsensitive)
                                  ? QStringLiteral("outlook was set as default mail client")
                                  : QStringLiteral("outlook was not set as default mail client correctly"));
    logOutlookAutomation();
}

ULONG recipientClass(int cls)
{
    return cls == 1 ? kMapiTo : (cls == 2 ? kMapiCc : kMapiBcc);
}

// The 8-bit texts and the descriptors that point into them, alive for the
// duration of the call.
struct TMapiRecord {
    std::string subject, body;
    std::vector<std::string> names, paths;
    std::vector<MapiRecipDesc> recipients;
    std::vector<MapiFileDesc> files;
    MapiMessage message{};

    explicit TMapiRecord(const TMapiMessage& m) : subject(ansi(m.subject)), body(ansi(m.body))
    {
        for (const TAddress& a : m.recipients)
            names.push_back(ansi(a.address));
        for (const QString& path : m.attachments)
            paths.push_back(ansi(QDir::toNativeSeparators(path)));
        for (size_t i = 0; i < m.recipients.size(); ++i)
            recipients.push_back({0, recipientClass(m.recipients[i].recipientClass), names[i].data(), nullptr, 0, nullptr});
        for (std::string& path : paths)
            files.push_back({0, 0, static_cast<ULONG>(-1), path.data(), nullptr, nullptr});
        message.lpszSubject = subject.data();
        message.lpszNoteText = body.data();
        message.nRecipCount = static_cast<ULONG>(recipients.size());
        message.lpRecips = recipients.empty() ? nullptr : recipients.data();
        message.nFileCount = static_cast<ULONG>(files.size());
        message.lpFiles = files.empty() ? nullptr : files.data();
    }
};

}  // namespace

std::optional<int> SendThroughSystemMapi(const TMapiMessage& message)
{
    logDiagnostics();
    const MapiSendMailFn send = entryPoint();
    if (!send)
        return kNotCallable;
    TMapiRecord record(message);
    return static_cast<int>(send(0, ApplicationHandle(), &record.message, kLogonUiNewSessionDialog, 0));
}

}  // namespace kalvex
