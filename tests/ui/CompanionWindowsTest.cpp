#include "config/UserMessages.h"
#include "mailinterface/uMailInterface.h"
#include "ui/AttachmentFiles.h"
#include "ui/fAdresseManuell.h"
#include "ui/fGesendeteMail.h"

#include "TestApp.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QTableWidget>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

}  // namespace

// A stored path must not lead the written file out of the temporary folder.
TEST(CompanionWindows, StoredAttachmentsStayInTheTemporaryFolder)
{
    EXPECT_EQ(SafeAttachmentName("../../etc/passwd"), "passwd");
    EXPECT_EQ(SafeAttachmentName("C:\\Daten\\..\\Bericht.pdf"), "Bericht.pdf");
    EXPECT_EQ(SafeAttachmentName("/tmp/x/.."), "Anhang");
    EXPECT_EQ(SafeAttachmentName(""), "Anhang");
    const QString written = WriteAttachmentToTemp("../../../outside.txt", "inhalt");
    EXPECT_TRUE(written.startsWith(QDir::tempPath() + "/kalvex-anhaenge/"));
    EXPECT_TRUE(written.endsWith("/outside.txt"));
    QFile f(written);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), QByteArray("inhalt"));
}

TEST(CompanionWindows, SentMailViewAndManualAddress)
{
    kalvex::testing::WidgetApp();
    TEMail mail;
    mail.FBetreff = "Bericht";
    mail.FBodyPlain = "Anbei der Bericht.";
    TEMailEmpfaenger& r = mail.FLEmpfaenger.Add();
    r.FAdresse = "a@example.org";
    r.FEmpfType = TEmpfaengerTyp::elCc;
    TAnhang& a = mail.FLAnhaengeBlob.Add();
    a.FPfad = "/alt/pfad/bericht.pdf";
    a.FObjekt = "%PDF-1.4";
    a.FDateigroesse = 8;
    TRecordingMessages messages;
    TFormGesendeteMail view(mail, messages);
    ASSERT_EQ(view.gridAnhang->rowCount(), 1);
    EXPECT_EQ(view.gridAnhang->item(0, 0)->text(), "bericht.pdf");
    EXPECT_EQ(view.lbEmpfaenger->text(), "Cc: a@example.org");
    QTemporaryDir dir;
    view.SaveAttachment(0, dir.filePath("kopie.pdf"));
    QFile copy(dir.filePath("kopie.pdf"));
    ASSERT_TRUE(copy.open(QIODevice::ReadOnly));
    EXPECT_EQ(copy.readAll(), QByteArray("%PDF-1.4"));
    view.SaveAttachment(0, dir.filePath("gibt/es/nicht/x.pdf"));
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Error).size(), 1);

    TFormAdresseManuell manual;
    manual.edEMail->setText("kein-adresse");
    manual.accept();
    EXPECT_EQ(manual.result(), 0);
    EXPECT_TRUE(manual.lbHinweis->text().contains("scheint fehlerhaft"));
    manual.edEMail->setText(" neu@example.org ");
    manual.edName->setText("Neu");
    manual.accept();
    EXPECT_EQ(manual.result(), QDialog::Accepted);
    EXPECT_EQ(manual.Recipient().email, "neu@example.org");
}
