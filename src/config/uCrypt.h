#pragma once
// Obfuscation of the SMTP password in mailserver.ini. Not cryptography: it
// keeps the password from being read at a glance, and files written by other
// installations must stay readable, so the scheme is fixed.
//
// A password is encoded byte by byte in its UTF-8 form: the low nibble, then
// the high nibble, each as a character of the rotating digit table (the
// first 16 characters of the security string). Runs of filler characters
// drawn from the alphabet characters outside the security string stand
// before and after every encoding character.

#include <QString>

namespace kalvex {

class TCrypt {
public:
    static const QString& Alphabet();
    // 16 distinct alphabet characters, drawn at random.
    static QString GeneratePWDSecurityString();
    // count distinct characters drawn at random from pool (fewer when the
    // pool is smaller).
    static QString RandomDistinctChars(const QString& pool, int count);
    static bool IsValidSecurityString(const QString& secString);

    static QString EncodePWDEx(const QString& password, const QString& secString, int minimum, int maximum);
    static QString DecodePWDEx(const QString& encoded, const QString& secString);
};

}  // namespace kalvex
