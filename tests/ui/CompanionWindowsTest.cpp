#include "config/IniPlus.h"
#include "config/UserMessages.h"
#include "config/uConfig.h"
#include "mailinterface/uMailInterface.h"
#include "config/AttachmentFiles.h"
#include "ui/fAdresseManuell.h"
#include "ui/fGesendeteMail.h"

#include "TestApp.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QTableWidget>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

}  // namespace

// Whatever name the store holds, the file lands in the installation's
// Common04/KVXIni/Temp/ folder, under its last component.
TEST(CompanionWindows, StoredAttachmentsStayInTheInstallationsTempFolder)
{
    QTemporaryDir dir;
    TIniFile reg(dir.filePath("registry.ini"));
    reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", dir.filePath("common") + "/");
    qputenv("KALVEX_REGISTRY", dir.filePath("registry.ini").toUtf8());
    TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Test")));
    const QString folder = dir.filePath("common/Common04/KVXIni/Temp");
    const std::pair<QString, QString> cases[] = {
        {"../../outside.txt", "outside.txt"}, {"/etc/passwd", "passwd"},     {"C:\\Daten\\..\\Bericht.pdf", "Bericht.pdf"},
        {"..\\..\\boese.exe", "boese.exe"},    {"", "Anhang"},                {".", "Anhang"},
        {"..", "Anhang"},                       {"/tmp/x/..", "Anhang"},       {"ordner/../", "Anhang"}};
    for (const auto& [stored, name] : cases) {
        const QString written = WriteAttachmentToTemp(stored, stored.toUtf8() + "!");
        EXPECT_EQ(QFileInfo(written).absolutePath(), folder) << stored.toStdString();
        EXPECT_EQ(QFileInfo(written).fileName(), name) << stored.toStdString();
        QFile f(written);
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        EXPECT_EQ(f.readAll(), stored.toUtf8() + "!");
    }
    EXPECT_FALSE(QFile::exists(dir.filePath("outside.txt")));
    TConfig::Free();
    qunsetenv("KALVEX_REGISTRY");
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
    // A mail read without contents: the content is asked for when it is saved, not before.
    TEMail listed;
    TAnhang& stored = listed.FLAnhaengeBlob.Add();
    stored.FID = 42;
    stored.FPfad = "/alt/pfad/gross.bin";
    QList<int32_t> asked;
    TFormGesendeteMail lazy(listed, messages, nullptr, [&](const TAnhang& wanted) {
        asked << wanted.FID;
        return QByteArray("aus dem Speicher");
    });
    EXPECT_TRUE(asked.isEmpty());
    lazy.SaveAttachment(0, dir.filePath("gross.bin"));
    EXPECT_EQ(asked, QList<int32_t>{42});
    QFile lazyCopy(dir.filePath("gross.bin"));
    ASSERT_TRUE(lazyCopy.open(QIODevice::ReadOnly));
    EXPECT_EQ(lazyCopy.readAll(), QByteArray("aus dem Speicher"));

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
