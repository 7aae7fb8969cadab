#include "send/oauth/SecretStore.h"

#include "config/LanguageUnit.h"

#include <windows.h>
#include <wincred.h>

namespace kalvex {

namespace {

// One generic credential per key, named after the service.
std::wstring targetName(const QString& key)
{
    return (QStringLiteral("kalvex/") + key).toStdWString();
}

}  // namespace

bool SecretStoreRead(const QString& key, QString& value)
{
    value.clear();
    PCREDENTIALW credential = nullptr;
    if (!CredReadW(targetName(key).c_str(), CRED_TYPE_GENERIC, 0, &credential))
        return GetLastError() == ERROR_NOT_FOUND;
    value = QString::fromUtf8(reinterpret_cast<const char*>(credential->CredentialBlob),
                              static_cast<qsizetype>(credential->CredentialBlobSize));
    CredFree(credential);
    return true;
}

bool SecretStoreWrite(const QString& key, const QString& value)
{
    std::wstring target = targetName(key);
    QByteArray blob = value.toUtf8();
    CREDENTIALW credential{};
    credential.Type = CRED_TYPE_GENERIC;
    credential.TargetName = target.data();
    credential.CredentialBlobSize = static_cast<DWORD>(blob.size());
    credential.CredentialBlob = reinterpret_cast<LPBYTE>(blob.data());
    credential.Persist = CRED_PERSIST_LOCAL_MACHINE;
    credential.UserName = const_cast<wchar_t*>(L"kalvex");
    return CredWriteW(&credential, 0);
}

QString SecretStoreName()
{
    return Tx(4700, "in der Windows-Anmeldeinformationsverwaltung");
}

bool SecretStoreDelete(const QString& key)
{
    return CredDeleteW(targetName(key).c_str(), CRED_TYPE_GENERIC, 0) || GetLastError() == ERROR_NOT_FOUND;
}

}  // namespace kalvex
