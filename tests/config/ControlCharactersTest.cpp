#include "config/ControlCharacters.h"

#include <gtest/gtest.h>

using namespace kalvex;

// What a terminal would obey is shown instead; ordinary text, tabs and
// (where asked) line breaks pass unchanged.
TEST(ControlCharacters, AreMadeVisible)
{
    const QString fffd(QChar(0xFFFD));
    const struct {
        QString in;
        bool keepLineBreaks;
        QString out;
    } rows[] = {
        {QString::fromUtf8("Mängel\tliste"), false, QString::fromUtf8("Mängel\tliste")},
        {"a\x1b[31mb", false, "a^[[31mb"},
        {"\x1b]0;Titel\x07", false, "^[]0;Titel^G"},
        {QString("x") + QChar(0) + "y", false, "x^@y"},
        {"1\r\n2\n3", false, "1^M^J2^J3"},
        {"1\r\n2\n3\r4", true, "1\n2\n3^M4"},
        {QString("del") + QChar(0x7f), false, "del^?"},
        {QString("csi") + QChar(0x9b) + "2J" + QChar(0x85), true, "csi" + fffd + "2J" + fffd},
        {QString(QChar(0xa0)) + QChar(0x2028), false, QString(QChar(0xa0)) + QChar(0x2028)},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(VisibleControlCharacters(r.in, r.keepLineBreaks), r.out) << r.in.toStdString();
        EXPECT_EQ(HasControlCharacter(r.in), r.in != VisibleControlCharacters(r.in)) << r.in.toStdString();
    }
}
