#include "db/TextCipher.h"

#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <QCryptographicHash>

namespace kalvex {

namespace {

constexpr QChar kMarker = QLatin1Char('~');

[[noreturn]] void badKey()
{
    throw EKalvex(Tx(1400, "Der Schlüssel ist ungültig."));
}

}  // namespace

const QString& TTextCipher::Alphabet()
{
    static const QString alphabet =
        QStringLiteral("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-?");
    return alphabet;
}

const QString& DefaultCipherKey()
{
    static const QString key = QStringLiteral("Kalvex-Datenbankverbindung");
    return key;
}

TTextCipher::TTextCipher(const QString& key) : FKey(key.toUtf8())
{
    if (FKey.isEmpty())
        badKey();
}

// SHA-256 in counter mode over the key: as many bytes as needed.
QByteArray TTextCipher::keyStream(qsizetype length) const
{
    QByteArray stream;
    for (quint32 block = 0; stream.size() < length; ++block)
        stream += QCryptographicHash::hash(FKey + QByteArray::number(block), QCryptographicHash::Sha256);
    return stream.left(length);
}

QString TTextCipher::Encode(const QString& plain) const
{
    QByteArray bytes = plain.toUtf8();
    const QByteArray key = keyStream(bytes.size());
    for (qsizetype i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(bytes[i] ^ key[i]);
    QString out(kMarker);
    quint32 buffer = 0;
    int bits = 0;
    for (char c : bytes) {
        buffer = (buffer << 8) | static_cast<unsigned char>(c);
        bits += 8;
        while (bits >= 6) {
            bits -= 6;
            out += Alphabet().at((buffer >> bits) & 0x3F);
        }
    }
    if (bits > 0)
        out += Alphabet().at((buffer << (6 - bits)) & 0x3F);
    return out;
}

QString TTextCipher::Decode(const QString& scrambled) const
{
    if (!scrambled.startsWith(kMarker))
        return scrambled;
    QByteArray bytes;
    quint32 buffer = 0;
    int bits = 0;
    for (QChar c : scrambled.mid(1)) {
        const qsizetype value = Alphabet().indexOf(c);
        if (value < 0)
            badKey();
        buffer = (buffer << 6) | static_cast<quint32>(value);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            bytes += static_cast<char>((buffer >> bits) & 0xFF);
        }
    }
    const QByteArray key = keyStream(bytes.size());
    for (qsizetype i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(bytes[i] ^ key[i]);
    return QString::fromUtf8(bytes);
}

}  // namespace kalvex
