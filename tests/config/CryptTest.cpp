#include "config/uCrypt.h"

#include <gtest/gtest.h>

using namespace kalvex;

namespace {
const QString kSec = QStringLiteral("0123456789ABCDEF");
}

// Without filler the encoding is fully determined, so the exact characters
// can be checked against a hand computation: 'A' = 0x41 encodes its low
// nibble 1 through the table "0123456789ABCDEF" -> '1', the table rotates to
// "F0123456789ABCDE", the high nibble 4 -> '3'.
TEST(Crypt, EncodesNibblesThroughTheRotatingTable)
{
    EXPECT_EQ(TCrypt::EncodePWDEx("A", kSec, 0, 0), "13");
    // Second 'A' sees the table rotated twice more: "EF0123456789ABCD" -> low 1 = 'F',
    // then "DEF0123456789ABC" -> high 4 = '1'.
    EXPECT_EQ(TCrypt::EncodePWDEx("AA", kSec, 0, 0), "13F1");
    EXPECT_EQ(TCrypt::DecodePWDEx("13F1", kSec), "AA");
    // Filler characters from outside the table are skipped when decoding.
    EXPECT_EQ(TCrypt::DecodePWDEx("xy1zz3qF+1/", kSec), "AA");
}

TEST(Crypt, RandomFillerRoundTrips)
{
    const QString sec = TCrypt::GeneratePWDSecurityString();
    ASSERT_TRUE(TCrypt::IsValidSecurityString(sec));
    const QString password = QString::fromUtf8("Geheim ß€ 123!");
    const QString a = TCrypt::EncodePWDEx(password, sec, 1, 30);
    const QString b = TCrypt::EncodePWDEx(password, sec, 30, 1);  // bounds swapped
    EXPECT_NE(a, b);
    EXPECT_EQ(TCrypt::DecodePWDEx(a, sec), password);
    EXPECT_EQ(TCrypt::DecodePWDEx(b, sec), password);
    for (QChar c : a)
        EXPECT_TRUE(TCrypt::Alphabet().contains(c));
    // The empty password is a single filler run: nothing from the table.
    const QString empty = TCrypt::EncodePWDEx("", sec, 3, 3);
    EXPECT_EQ(empty.size(), 3);
    for (QChar c : empty)
        EXPECT_FALSE(sec.contains(c));
    EXPECT_EQ(TCrypt::DecodePWDEx(empty, sec), "");
    // Huge bounds are capped, the pool of 48 filler characters limits a run.
    EXPECT_EQ(TCrypt::DecodePWDEx(TCrypt::EncodePWDEx("x", sec, 500, 1000), sec), "x");
}

TEST(Crypt, InvalidSecurityStringsGiveEmptyText)
{
    EXPECT_EQ(TCrypt::EncodePWDEx("pw", "0123456789ABCDE", 0, 5), "");     // 15 characters
    EXPECT_EQ(TCrypt::EncodePWDEx("pw", "0123456789ABCDE-", 0, 5), "");    // outside the alphabet
    EXPECT_EQ(TCrypt::EncodePWDEx("pw", "0123456789ABCDEE", 0, 5), "");    // repeated
    EXPECT_EQ(TCrypt::DecodePWDEx("13", "0123456789ABCDE"), "");
    for (int i = 0; i < 50; ++i) {
        const QString sec = TCrypt::GeneratePWDSecurityString();
        EXPECT_EQ(sec.size(), 16);
        EXPECT_TRUE(TCrypt::IsValidSecurityString(sec)) << sec.toStdString();
    }
}
