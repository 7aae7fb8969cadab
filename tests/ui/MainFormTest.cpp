#include "config/uConfig.h"
#include "mailinterface/uMailInterface.h"
#include "ui/MainFormRules.h"
#include "ui/fMainForm.h"

#include "TestApp.h"

#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTextEdit>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

QString makeFile(const QTemporaryDir& dir, const QString& name, int bytes)
{
    QFile f(dir.filePath(name));
    f.open(QIODevice::WriteOnly);
    f.write(QByteArray(bytes, 'x'));
    return f.fileName();
}

}  // namespace

TEST(MainFormRules, DraftListShorteningAndFollowUps)
{
    const QString hundred(100, 'a');
    EXPECT_EQ(ShortenForDraftList(hundred), hundred);
    const QString longer = QString(99, 'a') + "bZ";   // 101 characters
    EXPECT_EQ(ShortenForDraftList(longer), QString(99, 'a') + "Z ...");
    EXPECT_EQ(FollowUpSubject("Angebot"), "Nachtrag zu: Angebot");
    EXPECT_EQ(FollowUpSubject(FollowUpSubject("Angebot")), "Nachtrag zu: Angebot");
    EXPECT_EQ(StripOriginPrefix("Ursprung: /tmp/a.pdf", OriginPrefix()), "/tmp/a.pdf");
    EXPECT_EQ(StripOriginPrefix("/tmp/Ursprung: a.pdf", OriginPrefix()), "/tmp/Ursprung: a.pdf");
    EXPECT_EQ(FormatSizeMB(0.001), "0,01");
    EXPECT_EQ(FormatSizeMB(2.5), "2,50");
}

TEST(MainForm, AttachmentsAndRecipients)
{
    kalvex::testing::WidgetApp();
    QTemporaryDir dir;
    TRecordingMessages messages;
    TMainForm form(messages, {}, QString(), false);
    const QString a = makeFile(dir, "a.pdf", 3 * 1024 * 1024);
    const QString b = makeFile(dir, "b.txt", 10);
    form.AddAttachmentFiles({a, b, a});
    ASSERT_EQ(form.gridAnhang->rowCount(), 2);   // the same path only once
    EXPECT_EQ(form.gridAnhang->item(0, 1)->text(), "3,00");
    EXPECT_EQ(form.gridAnhang->item(1, 1)->text(), "0,01");

    form.gridAnhang->selectRow(0);
    form.DeleteSelectedAttachments();   // default answer: No
    EXPECT_EQ(form.gridAnhang->rowCount(), 2);
    form.gridAnhang->selectAll();
    messages.QueueAnswer(true);
    form.DeleteSelectedAttachments();
    EXPECT_EQ(form.gridAnhang->rowCount(), 0);
    const QStringList questions = messages.Texts(TRecordingMessages::Kind::Question);
    ASSERT_EQ(questions.size(), 2);
    EXPECT_TRUE(questions[0].contains("den aktuell markierten Anhang"));
    EXPECT_TRUE(questions[1].contains("die aktuell markierten Anhänge"));

    form.AddAttachmentFiles({b});
    QFile::remove(b);
    form.OpenAttachment(0);
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Error).last(),
              "Die Datei " + b + " wurde verschoben oder gelöscht.");

    form.rbVoreinstellung[2]->setChecked(true);
    form.AddRecipientRow({"x@example.org", "X", "", 0, 0, 0, form.PresetKind()});
    form.AddRecipientRow({"x@example.org", "Doppelt", "", 0, 0, 0, form.PresetKind()});
    ASSERT_EQ(form.Model().Recipients.size(), 1u);
    EXPECT_EQ(form.Model().Recipients[0].kind, TEmpfaengerTyp::elBcc);
}

TEST(MainForm, NewMailAsksOnlyWhenThereIsSomething)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    int drafts = 0;
    TMainFormServices services;
    services.storeDraft = [&](TComposeModel&) { ++drafts; };
    TMainForm form(messages, services, QString(), false);
    form.NewMail();
    EXPECT_TRUE(messages.Entries().empty());

    form.edBetreff->setText("Angebot");
    messages.QueueAnswer(true);
    form.NewMail();
    EXPECT_EQ(drafts, 1);
    EXPECT_EQ(form.edBetreff->text(), "");
    EXPECT_EQ(form.FResultCode, -1);

    TEMail sent;
    sent.SetStatus(TMailStatus::stGesendet);
    sent.FBetreff = "Nachtrag zu: Angebot";
    TEMailEmpfaenger& r = sent.FLEmpfaenger.Add();
    r.FAdresse = "a@example.org";
    r.FEmpfType = TEmpfaengerTyp::elCc;
    form.LoadMailIntoCompose(sent);
    EXPECT_EQ(form.edBetreff->text(), "Nachtrag zu: Angebot");
    ASSERT_EQ(form.Model().Recipients.size(), 1u);
    EXPECT_EQ(form.Model().Recipients[0].kind, TEmpfaengerTyp::elCc);
}

TEST(MainForm, StatusLineFollowsSendMode)
{
    kalvex::testing::WidgetApp();
    TRecordingMessages messages;
    TMainForm form(messages, {}, QString(), false);
    TConfig config;
    config.FVersandart = TVersandArt::vaDirekt;
    config.FHost = "smtp.example.org";
    config.FPort = 465;
    config.FVerbindungVerschluesselt = true;
    form.UpdateStatusLine(config);
    EXPECT_EQ(form.statusPanels[0]->text(), " SMTP-Server: smtp.example.org");
    EXPECT_EQ(form.statusPanels[5]->text(), "aktiv");
    EXPECT_FALSE(form.chbSeperatSenden->isHidden());
    form.show();
    form.edBody->setPlainText("Sehr geehrte Damen und Herren,");
    form.grab().save("/tmp/mainform.png");
    config.FVersandart = TVersandArt::vaStandardClient;
    form.UpdateStatusLine(config);
    EXPECT_EQ(form.statusPanels[0]->text(), "Versandart: über Standard-E-Mail-Programm");
    EXPECT_EQ(form.statusPanels[1]->text(), "");
    EXPECT_TRUE(form.chbSeperatSenden->isHidden());
}
