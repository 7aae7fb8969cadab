#include "mailinterface/MailAddress.h"

#include <QStringList>
#include <gtest/gtest.h>
#include <ostream>

using namespace kalvex;

inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}

namespace {

struct ValidCase {
    const char* text;
    const char* displayName;
    const char* address;
    const char* aceAddress;
};

// Mailboxes as users and hosts write them; the parsed name and the address
// that goes into MAIL FROM / RCPT TO.
const ValidCase kValid[] = {
    {"anna@example.org", "", "anna@example.org", "anna@example.org"},
    {" \tanna@example.org  ", "", "anna@example.org", "anna@example.org"},
    {"a.b-c+d@sub.example.co.uk", "", "a.b-c+d@sub.example.co.uk", "a.b-c+d@sub.example.co.uk"},
    {"user@localhost", "", "user@localhost", "user@localhost"},
    {"Anna Schäfer <anna@example.org>", "Anna Schäfer", "anna@example.org", "anna@example.org"},
    {"\"Schäfer, Anna\" <anna@example.org>", "Schäfer, Anna", "anna@example.org", "anna@example.org"},
    {"\"Dr. \\\"Bau\\\" Meier\"<m@x.de>", "Dr. \"Bau\" Meier", "m@x.de", "m@x.de"},
    {"Dr. Anna  Müller <am@x.de>", "Dr. Anna Müller", "am@x.de", "am@x.de"},
    {"<anna@example.org>", "", "anna@example.org", "anna@example.org"},
    {"\"anna schaefer\"@example.org", "", "\"anna schaefer\"@example.org", "\"anna schaefer\"@example.org"},
    {"root@[192.0.2.1]", "", "root@[192.0.2.1]", "root@[192.0.2.1]"},
    {"root@[IPv6:2001:db8::1]", "", "root@[IPv6:2001:db8::1]", "root@[IPv6:2001:db8::1]"},
    {"anna@bücher.de", "", "anna@bücher.de", "anna@xn--bcher-kva.de"},
    {"Jürgen <jürgen@müller.example>", "Jürgen", "jürgen@müller.example", "jürgen@xn--mller-kva.example"},
    {"用户@例子.广告", "", "用户@例子.广告", "用户@xn--fsqu00a.xn--4rr70v"},
};

// Everything here must be refused: broken syntax, control and format
// characters, comments, groups, and what SMTP cannot carry.
const char* const kInvalid[] = {
    "", " ", "@", "a@", "@b", "a@@b", "a@x)", "anna", "anna example@x.org", "a..b@x.org", ".a@x.org", "a.@x.org",
    "a@x..org", "a@.x.org", "a@x.org.", "a@-x.org", "a@x-.org", "a@x_y.org", "a@x.org\r\nBcc: e@x.org", "a@x.org\n",
    "a\t@x.org", "a @x.org", "a@ x.org", "Anna <anna@x.org", "Anna anna@x.org>", "a@x.org>", "<a@x.org> Anna",
    "a@x.org (Anna)", "(Anna) a@x.org", "\"unclosed@x.org", "\"a\"b@x.org", "\"a\rb\"@x.org", "Anna \"x <a@x.org>",
    "a\xe2\x80\xae" "gro.x@x.org", "a\xe2\x80\x8b@x.org", "a\x7f@x.org", "a\x01@x.org", "a\xc2\xa0b@x.org",
    "a@[1.2.3]", "a@[300.1.1.1]", "a@[x]", "a@[:1]", "Team: a@x.org;", "a@x.org, b@y.org", "a@x.org;",
    "Anna <a@x.org>, ", "a@bü cher.de",
};

}  // namespace

TEST(MailAddress, MailboxesAreParsedOrRefused)
{
    for (const ValidCase& c : kValid) {
        const auto m = ParseMailbox(QString::fromUtf8(c.text));
        ASSERT_TRUE(m.has_value()) << c.text;
        EXPECT_EQ(m->displayName, QString::fromUtf8(c.displayName)) << c.text;
        EXPECT_EQ(m->Address(), QString::fromUtf8(c.address)) << c.text;
        EXPECT_EQ(m->AceAddress(), QString::fromUtf8(c.aceAddress)) << c.text;
        // The written form reads back to the same mailbox.
        const auto again = ParseMailbox(m->ToString());
        ASSERT_TRUE(again.has_value()) << m->ToString().toStdString();
        EXPECT_EQ(again->displayName, m->displayName);
        EXPECT_EQ(again->Address(), m->Address());
    }
    for (const char* text : kInvalid)
        EXPECT_FALSE(ParseMailbox(QString::fromUtf8(text)).has_value()) << text;
    // A lone surrogate is no text at all.
    EXPECT_FALSE(ParseMailbox(QString("a") + QChar(0xD800) + "@x.org").has_value());
}

TEST(MailAddress, LengthLimitsOfSmtp)
{
    const QString local64(64, 'a');
    EXPECT_TRUE(ParseMailbox(local64 + "@x.org").has_value());
    EXPECT_FALSE(ParseMailbox(local64 + "a@x.org").has_value());
    // 32 two-byte characters are 64 octets, 33 are too many.
    EXPECT_TRUE(ParseMailbox(QString(32, QChar(0xE4)) + "@x.org").has_value());
    EXPECT_FALSE(ParseMailbox(QString(33, QChar(0xE4)) + "@x.org").has_value());
    const QString label63(63, 'b');
    EXPECT_TRUE(ParseMailbox("a@" + label63 + ".org").has_value());
    EXPECT_FALSE(ParseMailbox("a@" + label63 + "b.org").has_value());
    // 254 octets in all at most.
    const QString domain = label63 + '.' + label63 + '.' + label63 + '.' + QString(60, 'c');
    EXPECT_TRUE(ParseMailbox("a@" + domain).has_value());
    EXPECT_FALSE(ParseMailbox("ab@" + domain).has_value());
}

TEST(MailAddress, ListsAreSplitAndTheFirstBadEntryNamed)
{
    struct ListCase {
        const char* text;
        QStringList written;   // ToString of each mailbox
        const char* invalid;
    };
    const ListCase cases[] = {
        {"a@x,b@y", {"a@x", "b@y"}, ""},
        {"a@x.org; b@y.org", {"a@x.org", "b@y.org"}, ""},
        {"\"Schäfer, Anna\" <anna@x.org>, Bernd Albers <b@y.org>",
         {"\"Schäfer, Anna\" <anna@x.org>", "Bernd Albers <b@y.org>"}, ""},
        {"a@x.org,, \t ,b@y.org,", {"a@x.org", "b@y.org"}, ""},
        {"\"a;b\"@x.org", {"\"a;b\"@x.org"}, ""},
        {"", {}, ""},
        {"a@x.org, @b, c@z.org", {}, "@b"},
        {"a@x.org, a@@b", {}, "a@@b"},
        {"Anna <anna@x.org, b@y.org>", {}, "Anna <anna@x.org, b@y.org>"},
        {"\"unclosed, a@x.org", {}, "\"unclosed, a@x.org"},
    };
    for (const ListCase& c : cases) {
        const TAddressList list = ParseAddressList(QString::fromUtf8(c.text));
        EXPECT_EQ(list.valid, *c.invalid == 0) << c.text;
        EXPECT_EQ(list.invalid, QString::fromUtf8(c.invalid)) << c.text;
        if (!list.valid)
            continue;
        QStringList written;
        for (const TMailbox& m : list.mailboxes)
            written << m.ToString();
        EXPECT_EQ(written, c.written) << c.text;
    }
    EXPECT_EQ(AddressRefusalText("a@@b"), QString("Die Adresse a@@b scheint fehlerhaft zu sein."));
}
