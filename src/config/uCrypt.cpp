#include "config/uCrypt.h"

#include <QRandomGenerator>
#include <QStringDecoder>

#include <algorithm>

namespace kalvex {

namespace {

constexpr int kTableSize = 16;
constexpr int kMaxFillerRun = 100;

// The digit table; rotating moves its last character to the front.
class TDigitTable {
public:
    explicit TDigitTable(const QString& secString) : FChars(secString.left(kTableSize)) {}
    QChar digit(int nibble) const { return FChars.at(nibble); }
    int nibbleOf(QChar c) const { return static_cast<int>(FChars.indexOf(c)); }
    void rotate() { FChars = FChars.right(1) + FChars.left(kTableSize - 1); }

private:
    QString FChars;
};

QString fillerPool(const QString& secString)
{
    QString pool;
    for (QChar c : TCrypt::Alphabet())
        if (!secString.contains(c))
            pool += c;
    return pool;
}

int randomBetween(int low, int high)
{
    return low + static_cast<int>(QRandomGenerator::system()->bounded(high - low + 1));
}

// Old files may carry a password in an 8-bit code page; keep those bytes.
QString decodePasswordBytes(const QByteArray& bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString text = utf8.decode(bytes);
    return utf8.hasError() ? QString::fromLatin1(bytes) : text;
}

}  // namespace

const QString& TCrypt::Alphabet()
{
    static const QString alphabet =
        QStringLiteral("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz+/");
    return alphabet;
}

QString TCrypt::RandomDistinctChars(const QString& pool, int count)
{
    QString rest = pool;
    QString result;
    for (int i = 0; i < count && !rest.isEmpty(); ++i) {
        const int pos = static_cast<int>(QRandomGenerator::system()->bounded(static_cast<int>(rest.size())));
        result += rest.at(pos);
        rest.remove(pos, 1);
    }
    return result;
}

QString TCrypt::GeneratePWDSecurityString()
{
    return RandomDistinctChars(Alphabet(), kTableSize);
}

bool TCrypt::IsValidSecurityString(const QString& secString)
{
    if (secString.size() < kTableSize)
        return false;
    for (qsizetype i = 0; i < secString.size(); ++i) {
        const QChar c = secString.at(i);
        if (!Alphabet().contains(c) || secString.indexOf(c, i + 1) >= 0)
            return false;
    }
    return true;
}

QString TCrypt::EncodePWDEx(const QString& password, const QString& secString, int minimum, int maximum)
{
    if (!IsValidSecurityString(secString))
        return QString();
    if (minimum > maximum)
        std::swap(minimum, maximum);
    maximum = std::min(maximum, kMaxFillerRun);
    minimum = std::clamp(minimum, 0, maximum);
    const QString pool = fillerPool(secString);
    auto filler = [&] { return RandomDistinctChars(pool, randomBetween(minimum, maximum)); };

    TDigitTable table(secString);
    QString result = filler();
    for (const char byte : password.toUtf8()) {
        const auto unit = static_cast<unsigned char>(byte);
        for (int nibble : {unit & 0x0F, unit >> 4}) {
            result += table.digit(nibble);
            table.rotate();
            result += filler();
        }
    }
    return result;
}

QString TCrypt::DecodePWDEx(const QString& encoded, const QString& secString)
{
    if (!IsValidSecurityString(secString))
        return QString();
    TDigitTable table(secString);
    QByteArray bytes;
    int low = -1;
    for (QChar c : encoded) {
        const int nibble = table.nibbleOf(c);
        if (nibble < 0)
            continue;  // filler
        table.rotate();
        if (low < 0) {
            low = nibble;
        } else {
            bytes.append(static_cast<char>(low | (nibble << 4)));
            low = -1;
        }
    }
    return decodePasswordBytes(bytes);
}

}  // namespace kalvex
