#pragma once
// The platform's store of secrets, one entry per key of the service
// "kalvex". One source per platform: SecretStorePosix.cpp (the desktop's
// secret store through QtKeychain), SecretStoreWindows.cpp (the Windows
// credential store, CredReadW/CredWriteW).
//
// Each call returns false when the store failed (not there, locked,
// refused); an entry that is not there is no failure.

#include <QString>

namespace kalvex {

// value is empty when there is no entry.
bool SecretStoreRead(const QString& key, QString& value);
bool SecretStoreWrite(const QString& key, const QString& value);
bool SecretStoreDelete(const QString& key);
// Where the entries are, for the user ("im Schlüsselbund des Desktops").
QString SecretStoreName();

}  // namespace kalvex
