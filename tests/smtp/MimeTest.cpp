#include "mailinterface/EMail.h"
#include "send/MimeBuilder.h"
#include "send/SaslMechanisms.h"

#include <gtest/gtest.h>

using namespace kalvex;

TEST(Mime, HeaderAndBodyEncoders)
{
    EXPECT_EQ(EncodeHeaderWord("Angebot", 9), QByteArray("Angebot"));
    const QByteArray word = EncodeHeaderWord(QString::fromUtf8("Grüße ") + QString(80, QChar(0x00E4)), 9);
    for (const QByteArray& line : word.split('\n'))
        EXPECT_LE(line.size(), 77);
    EXPECT_FALSE(word.contains("\r\n\r\n"));
    EXPECT_TRUE(word.startsWith("=?UTF-8?B?"));
    EXPECT_LE(word.left(word.indexOf('\r')).size(), 76 - 9);   // "Subject: " stands before it

    // Long encoded names and many addresses: folded between words and
    // after commas, no line over 76.
    std::vector<TMailbox> list;
    for (int i = 0; i < 6; ++i)
        list.push_back({QString::fromUtf8("Schäfer-Müller Großbaustellen Nord-Süd GmbH %1").arg(i), "anna", "example.org"});
    list.push_back({"Plain Name, With Comma", "b", "example.org"});
    const QByteArray to = AddressHeader("To", list);
    EXPECT_TRUE(to.endsWith(" <anna@example.org>,\r\n \"Plain Name, With Comma\" <b@example.org>\r\n")) << to.data();
    for (const QByteArray& line : to.split('\n'))
        EXPECT_LE(line.size(), 77) << line.data();

    const QByteArray qp = EncodeQuotedPrintable(QString::fromUtf8("a=b ü\nZeile mit Blank \n") + QString(200, 'y'));
    EXPECT_TRUE(qp.startsWith("a=3Db =C3=BC\r\nZeile mit Blank=20\r\n"));
    for (const QByteArray& line : qp.split('\n'))
        EXPECT_LE(line.size(), 77);
    EXPECT_EQ(NormalizeLineBreaks("a\rb\nc\r\nd"), "a\r\nb\r\nc\r\nd");
    EXPECT_EQ(FileNameParameters("plan.pdf"), QByteArray("\r\n filename=\"plan.pdf\""));
    EXPECT_TRUE(FileNameParameters(QString::fromUtf8("Über.pdf")).contains("filename*0*=UTF-8''%C3%9Cber.pdf"));
    EXPECT_EQ(FormatMailDate(QDateTime(QDate(2026, 11, 22), QTime(13, 5, 9), Qt::OffsetFromUTC, 3600)),
              QByteArray("Sun, 22 Nov 2026 13:05:09 +0100"));
}

// RFC 2289 appendix C: "This is a test." with seed "TeSt".
TEST(Mime, OneTimePasswordsFollowTheRfcVectors)
{
    EXPECT_EQ(OneTimePassword("md5", 0, "TeSt", "This is a test."), QByteArray("hex:9e876134d90499dd"));
    EXPECT_EQ(OneTimePassword("md5", 1, "TeSt", "This is a test."), QByteArray("hex:7965e05436f5029f"));
    EXPECT_EQ(OneTimePassword("sha1", 0, "TeSt", "This is a test."), QByteArray("hex:bb9e6ae1979d8ff4"));
    EXPECT_EQ(OneTimePassword("md4", 0, "TeSt", "This is a test."), QByteArray("hex:d1854218ebbb0b51"));
    EXPECT_EQ(OneTimePassword("md4", 99, "TeSt", "This is a test."), QByteArray("hex:c5e612776e6c237a"));
    auto mechanisms = CreateSaslMechanisms({"u", "p"});
    QStringList order;
    for (const auto& m : mechanisms)
        order << QString::fromLatin1(m->Name());
    EXPECT_EQ(order, (QStringList{"CRAM-SHA1", "CRAM-MD5", "SKEY", "OTP", "ANONYMOUS", "EXTERNAL", "LOGIN", "PLAIN"}));
    EXPECT_EQ(ChooseSaslMechanism(mechanisms, {"PLAIN", "LOGIN"})->Name(), "LOGIN");
    EXPECT_EQ(ChooseSaslMechanism(mechanisms, {"XOAUTH2"}), nullptr);
}
