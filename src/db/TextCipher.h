#pragma once
// The scrambling of stored connection values (user, password, database name,
// additional parameters) in the store's settings section. It keeps them from
// being read at a glance; values it writes read back unchanged.
//
// Scheme: the UTF-8 bytes are XOR-ed with a key stream derived from the key
// text, then written in a 64-character alphabet (a-z, A-Z, 0-9, "+", "-",
// "?") six bits per character, behind a "~" marker so that plain values of
// older files still read as they stand.

#include <QString>

namespace kalvex {

class TTextCipher {
public:
    // Raises EKalvex("Der Schlüssel ist ungültig.") for an empty key.
    explicit TTextCipher(const QString& key);

    QString Encode(const QString& plain) const;
    // Text without the marker is returned as it stands (plain older values);
    // a marked text with characters outside the alphabet raises EKalvex.
    QString Decode(const QString& scrambled) const;

    static const QString& Alphabet();

private:
    QByteArray keyStream(qsizetype length) const;
    QByteArray FKey;
};

// The key the module uses for its own settings files.
const QString& DefaultCipherKey();

}  // namespace kalvex
