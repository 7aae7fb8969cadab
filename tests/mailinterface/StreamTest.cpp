#include "Bytes.h"

#include "config/KalvexError.h"
#include "mailinterface/uMailInterface.h"

#include <gtest/gtest.h>

using namespace kalvex;
using namespace testbytes;

namespace {

const char* kG1 = "{0F637C8A-F91A-4C32-822D-B6D1697C9146}";
const char* kG2 = "{03FB9C37-1DF5-4C59-B61B-1CCC44BFE8E4}";

QByteArray translations(int32_t lang, const char* text)
{
    return i32(1) + i32(lang) + str(text);
}

// One simple field and one block with a column and a row, written by hand.
QByteArray handFelder()
{
    QByteArray b = i32(1) + i32(1);
    b += i32(1) + str(kG1) + str("Müller") + translations(1031, "Name") + i32(0);
    b += i32(1);
    b += i32(1) + str(kG2) + translations(1031, "Pos") + i32(0);
    b += i32(1) + i32(1) + str(kG1) + translations(1031, "Menge") + i32(0);
    b += i32(1) + i32(1) + i32(1) + i32(1) + str(kG1) + str("5");
    return b;
}

template <class T>
QByteArray save(const T& record)
{
    TStreamWriter w;
    record.SaveToStream(w);
    return w.TakeData();
}

template <class T>
void load(T& record, const QByteArray& bytes)
{
    TStreamReader r(bytes);
    record.LoadFromStream(r);
}

QString errorOf(const std::function<void()>& f)
{
    try {
        f();
    } catch (const EKalvex& e) {
        return e.message();
    }
    return QString();
}

}  // namespace

TEST(Stream, FelderMatchesHandAssembledBytes)
{
    TFelder felder;
    load(felder, handFelder());
    ASSERT_EQ(felder.FEinfachListe.Count(), 1);
    EXPECT_EQ(felder.FEinfachListe[0].FWert, QString::fromUtf8("Müller"));
    EXPECT_EQ(felder.FEinfachListe[0].GetFeldname(1031), "Name");
    EXPECT_EQ(felder.FEinfachListe[0].GetFeldname(1033), "");
    const TFeldWiederholung& block = felder.FWiederholungListe[0];
    EXPECT_EQ(block.FBlockListe[0].FFeldliste, &block.FBlockFeldListe);
    EXPECT_EQ(block.FBlockListe[0][0].FWert, "5");
    EXPECT_EQ(block.FBlockFeldListe.FindByGUID(QUuid(QString(kG1)))->GetFeldname(1031), "Menge");
    EXPECT_EQ(save(felder), handFelder());
}

TEST(Stream, MailAndAttachmentLayout)
{
    TEMail mail;
    mail.FID = 7;
    mail.SetStatus(TMailStatus::stGesendet);
    mail.FSender = TMailSender::msKalvex;
    mail.FDatum = 45000.5;
    mail.FBetreff = QString::fromUtf8("Grüße");
    mail.FBodyHTML = {"<p>a</p>", "<p>b</p>"};
    mail.FAn = {"a@x.de", "b@x.de"};
    TAnhang& a = mail.FLAnhaengeBlob.Add();
    a.FID = 3; a.FMailID = 7; a.FPfad = "/tmp/r.pdf"; a.FDateigroesse = 4; a.FObjekt = "%PDF";
    TEMailEmpfaenger& e = mail.FLEmpfaenger.Add();
    e.FID = 9; e.FMailID = 7; e.FAdresse = "a@x.de"; e.FAdressDB_ID = 12; e.FEmpfType = TEmpfaengerTyp::elBcc;

    QByteArray expected = i32(1) + i32(7) + i32(2) + i32(2) + f64(45000.5) + str("") + str("Grüße")
        + str("<p>a</p>\r\n<p>b</p>") + str("") + str("") + str("") + str("a@x.de\r\nb@x.de") + str("") + str("")
        + str("");
    expected += i32(1) + i32(1) + i32(1) + i32(3) + i32(7) + str("/tmp/r.pdf") + f64(4) + str("%PDF");
    expected += i32(1) + i32(1) + i32(1) + i32(9) + i32(7) + str("a@x.de") + str("") + str("") + i32(12) + i32(2);
    EXPECT_EQ(save(mail), expected);

    TEMail back;
    load(back, expected);
    EXPECT_EQ(back.FStatusStr, "gesendet");
    EXPECT_EQ(back.FAn, mail.FAn);
    EXPECT_EQ(back.FBodyHTML, mail.FBodyHTML);
    EXPECT_EQ(back.FLAnhaengeBlob[0].FObjekt, QByteArray("%PDF"));
    EXPECT_EQ(back.FLEmpfaenger[0].FEmpfType, TEmpfaengerTyp::elBcc);
}

TEST(Stream, TemplateKindAndTemplateLayout)
{
    TProgrammVorlageArt kind;
    kind.FGUID = QUuid(QString(kG1));
    kind.SetTranslation(1031, "Rechnung", "nicht im Strom");
    kind.AddProgID(3);
    kind.AddProgID(16);  // ignored: only 0..15
    kind.FFelderVersion = 4;
    EXPECT_EQ(save(kind), i32(1) + str(kG1) + i32(8) + i32(4));

    TProgrammVorlage t;
    t.FGUID = QUuid(QString(kG1));
    t.FArt = QUuid(QString(kG2));
    t.FBetreff = "B";
    t.FIsDefault = true;
    t.FOrvanProgVersion = 2021;
    t.FFelderVersion = 99;  // does not travel
    t.SetTranslation(1033, "Invoice");
    EXPECT_EQ(save(t), i32(1) + str(kG1) + str(kG2) + str("B") + str("") + boolean(false) + boolean(true)
                           + i32(2021) + str("") + translations(1033, "Invoice"));
}

// Another version leaves the record as it was; nothing else is read.
TEST(Stream, OtherVersionLeavesRecordUnchanged)
{
    TFelder felder;
    load(felder, handFelder());
    QByteArray v2 = handFelder();
    v2.replace(0, 4, i32(2));
    TStreamReader r(v2);
    felder.LoadFromStream(r);
    EXPECT_EQ(r.Position(), 4);
    EXPECT_EQ(felder.FEinfachListe.Count(), 1);

    TEMail mail;
    mail.FBetreff = "alt";
    load(mail, i32(0) + i32(5));
    EXPECT_EQ(mail.FBetreff, "alt");
}

// Broken streams end in a German message, never in a crash or a huge allocation.
TEST(Stream, BadInputIsRefusedWithGermanMessages)
{
    const QByteArray good = handFelder();
    for (qsizetype cut = 1; cut < good.size(); ++cut) {
        TFelder f;
        const QString msg = errorOf([&] { load(f, good.left(cut)); });
        EXPECT_TRUE(msg.startsWith("Der Datenstrom")) << cut;
        EXPECT_EQ(f.FEinfachListe.Count(), 0) << "half-read fields were kept at " << cut;
    }
    TFelder f;
    EXPECT_TRUE(errorOf([&] { load(f, i32(1) + i32(0x7FFFFFFF)); }).contains("ungültige Anzahl"));
    EXPECT_TRUE(errorOf([&] { load(f, i32(1) + i32(-1)); }).contains("ungültige Anzahl"));
    // A string that claims 2 GB is refused before any allocation.
    EXPECT_TRUE(errorOf([&] { load(f, i32(1) + i32(1) + i32(1) + i32(0x7FFFFFF0)); }).contains("unvollständig"));
    EXPECT_TRUE(errorOf([&] { load(f, i32(1) + i32(1) + i32(1) + i32(-5)); }).contains("ungültige Länge"));
    EXPECT_TRUE(errorOf([&] { load(f, i32(1) + i32(1) + i32(1) + str("{not-a-guid}")); }).contains("GUID"));
    const QByteArray badUtf8 = i32(1) + i32(1) + i32(1) + str(kG1) + str("\xC3\x28") + i32(0) + i32(0) + i32(0);
    EXPECT_TRUE(errorOf([&] { load(f, badUtf8); }).contains("UTF-8"));
    TEMail mail;
    EXPECT_TRUE(errorOf([&] { load(mail, i32(1) + i32(1) + i32(9)); }).contains("ungültigen Wert"));
}
