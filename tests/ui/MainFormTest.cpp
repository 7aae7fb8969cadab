#include "config/uConfig.h"
#include "mailinterface/uMailInterface.h"
#include "ui/MainFormRules.h"
#include "ui/fMainForm.h"

#include "TestApp.h"

#include <QPushButton>
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
    EXPECT_EQ(form.gridAnhang->item(0, 1)->text(), "3,00 MB");
    EXPECT_EQ(form.gridAnhang->item(1, 1)->text(), "1 KB");

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
    EXPECT_EQ(form.statusPanels[5]->text(), "Verschlüsselung: aktiv");
    EXPECT_FALSE(form.chbSeperatSenden->isHidden());
    EXPECT_FALSE(form.btVorschau->isHidden());
    form.show();
    form.edBody->setPlainText("Sehr geehrte Damen und Herren,");
    form.grab().save("/tmp/mainform.png");
    config.FVersandart = TVersandArt::vaStandardClient;
    form.UpdateStatusLine(config);
    EXPECT_EQ(form.statusPanels[0]->text(), "Versandart: über Standard-E-Mail-Programm");
    EXPECT_EQ(form.statusPanels[1]->text(), "");
    EXPECT_TRUE(form.chbSeperatSenden->isHidden());
    EXPECT_TRUE(form.btVorschau->isHidden());   // no separate run through the mail program
}

#include "config/IniPlus.h"
#include "mailinterface/EMail.h"
#include "ui/fDarstellung.h"

#include <QAction>
#include <QSpinBox>

// Search panel, keyboard shortcuts, display settings and the notice that
// can be turned off, in one installation.
TEST(MainForm, SearchShortcutsDisplayAndNotice)
{
    kalvex::testing::WidgetApp();
    QTemporaryDir dir;
    TIniFile reg(dir.filePath("registry.ini"));
    reg.WriteString("SOFTWARE\\QMB GmbH\\InstallDir", "Test", dir.filePath("data"));
    reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", dir.filePath("common") + "/");
    qputenv("KALVEX_REGISTRY", dir.filePath("registry.ini").toUtf8());
    TConfig& config = TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Test")));
    TDisplaySettings saved;
    saved.fontSize = 14;
    saved.autoWidth = saved.centred = true;
    SaveDisplaySettings(config, saved);

    TEMailListe mails;
    for (const char* subject : {"Angebot Dach", "Rechnung 17", "Angebot Keller"}) {
        TEMail& m = mails.Add();
        m.FBetreff = subject;
        m.SetStatus(TMailStatus::stGesendet);
    }
    TRecordingMessages messages;
    TMainFormServices services;
    services.mails = [&mails]() -> const TEMailListe* { return &mails; };
    TMainForm form(messages, services, QString(), false);
    form.FillMailLists();
    EXPECT_EQ(form.gridGesendet->font().pointSize(), 14);   // the stored settings apply
    EXPECT_EQ(form.gridGesendet->item(0, 1)->textAlignment(), int(Qt::AlignCenter));

    form.rbbtSearch->trigger();
    EXPECT_FALSE(form.FSearchPanel->isHidden());
    form.edSuche->setText("angebot");
    int shown = 0;
    for (int r = 0; r < form.gridGesendet->rowCount(); ++r)
        shown += form.gridGesendet->isRowHidden(r) ? 0 : 1;
    EXPECT_EQ(shown, 2);
    form.FillMailLists();   // a refresh keeps the filter
    EXPECT_TRUE(form.gridGesendet->isRowHidden(1));

    EXPECT_EQ(form.barbtSend->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Return));
    TFormTastenkombinationen keys(form.actions());
    EXPECT_EQ(keys.gridTasten->rowCount(), 15);   // with "Link einfügen" (Ctrl+K)
    EXPECT_EQ(LoadDisplaySettings(config).fontSize, 14);

    TFormDarstellung display(LoadDisplaySettings(config));
    EXPECT_EQ(display.seSchriftgroesse->value(), 14);
    display.seSchriftgroesse->setValue(0);
    SaveDisplaySettings(config, display.Settings());
    EXPECT_EQ(LoadDisplaySettings(config).fontSize, 0);

    qputenv("KALVEX_AUTOCLOSE", "1");
    EXPECT_FALSE(NoticeSuppressed("Test"));
    ShowNotice(nullptr, "Test", "Hinweistext");   // closes at once, box not ticked
    EXPECT_FALSE(NoticeSuppressed("Test"));
    TIniFile(config.ConfigIniFileName()).WriteBool("Hinweise", "Test", true);
    EXPECT_TRUE(NoticeSuppressed("Test"));
    qunsetenv("KALVEX_AUTOCLOSE");
    TConfig::Free();
    qunsetenv("KALVEX_REGISTRY");
}


#include "ui/AttachmentDisplay.h"
#include "ui/RecipientEntry.h"

// Sizes in both interface languages at the unit boundaries; a pasted line
// keeps quoted commas inside a name and hands back what is no address.
TEST(MainFormRules, AttachmentSizesAndRecipientLines)
{
    const QLocale de(QLocale::German, QLocale::Germany), en(QLocale::English, QLocale::UnitedKingdom);
    EXPECT_EQ(FormatAttachmentSize(0, de), "1 KB");
    EXPECT_EQ(FormatAttachmentSize(1025, de), "2 KB");
    EXPECT_EQ(FormatAttachmentSize(1024 * 1024 - 1, de), "1.024 KB");
    EXPECT_EQ(FormatAttachmentSize(1024 * 1024, de), "1,00 MB");
    EXPECT_EQ(FormatAttachmentSize(1536 * 1024 * 1024LL, de), "1.536,00 MB");
    EXPECT_EQ(FormatAttachmentSize(1536 * 1024, en), "1.50 MB");
    EXPECT_EQ(AttachmentDisplayName("Ursprung: /tmp/x/plan.pdf", OriginPrefix()), "Ursprung: plan.pdf");

    const TRecipientLine line = ParseRecipientLine(
        "\"Albers, Bernd\" <b@example.org>; ;x@localhost, Müller <m@bau.example>,ohne-at", TEmpfaengerTyp::elBcc);
    ASSERT_EQ(line.recipients.size(), 2);
    EXPECT_EQ(line.recipients[0].email, "b@example.org");
    EXPECT_EQ(line.recipients[0].name, "Albers, Bernd");
    EXPECT_EQ(line.recipients[1].name, "Müller");
    EXPECT_EQ(line.recipients[1].kind, TEmpfaengerTyp::elBcc);
    EXPECT_EQ(line.invalid, QStringList({"x@localhost", "ohne-at"}));
    EXPECT_TRUE(SuggestionMatches({"Anna Schäfer", "Planungsbüro Nord", "a@x.de"}, " NORD "));
    EXPECT_FALSE(SuggestionMatches({"Anna Schäfer", "Planungsbüro Nord", "a@x.de"}, "süd"));
}

#include "config/IniPlus.h"
#include "send/MailingRun.h"
#include "ui/fVorschau.h"
#include <QTextBrowser>
#include <QTextBlock>
#include <QTextLayout>

// Recipient fields on the compose page: listed with the first recipient's
// values, marked in the body while "separat senden" is off, and previewed
// recipient by recipient through the real mailing run.
TEST(MainForm, PersonalCircularFieldsMarksAndPreview)
{
    kalvex::testing::WidgetApp();
    QTemporaryDir dir;
    TIniFile reg(dir.filePath("registry.ini"));
    reg.WriteString("SOFTWARE\\QMB GmbH\\Common", "Common", dir.filePath("common"));
    qputenv("KALVEX_REGISTRY", dir.filePath("registry.ini").toUtf8());
    TConfig& config = TConfig::Install(std::make_unique<TConfig>(QStringLiteral("Vorschau")));
    TRecordingMessages messages;
    TMainForm form(messages, {}, QString(), false);
    TMailingRun run(form.Model(), messages, config, {});
    TComposeRecipient anna{"anna@example.org", {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn};
    anna.person.anrede = TAnrede::anFrau;
    anna.person.title = "Dr.";
    anna.person.lastName = "Schäfer";
    anna.person.attachments = QStringList{dir.filePath("plan-anna.pdf")};   // her own file, from a recipient list
    form.AddRecipientRow(anna);
    form.AddRecipientRow({"Bernd Albers <bernd@example.org>", {}, {}, 0, 0, 0, TEmpfaengerTyp::elAn});
    form.edBetreff->setText("Hallo <Empfaenger.Nachname>");
    form.edBody->setPlainText("Vorab: <Empfaenger.Briefanrede>\nText");

    const QList<TFieldEntry> fields = form.RecipientFieldEntries();
    ASSERT_EQ(fields.size(), 7);
    EXPECT_EQ(fields[6].name, "Empfaenger.Briefanrede");
    EXPECT_EQ(fields[6].value, "Sehr geehrte Frau Dr. Schäfer,");

    // The placeholder is marked while one mail would go to all.
    const QTextBlock first = form.edBody->document()->firstBlock();
    const auto marks = [&first] { return first.layout()->formats(); };
    ASSERT_EQ(marks().size(), 1);
    EXPECT_EQ(marks()[0].start, 7);
    EXPECT_EQ(marks()[0].length, QString("<Empfaenger.Briefanrede>").size());
    form.chbSeperatSenden->setChecked(true);
    EXPECT_TRUE(marks().isEmpty());
    EXPECT_FALSE(form.Model().Body().toHtml().contains("background"));   // marks are no part of the mail

    TFormVorschau preview(form.Model().Recipients.size(), [&run](size_t i, TEMail& m) { run.PreviewMail(i, m); });
    EXPECT_EQ(preview.Subject(), "Betreff: Hallo Schäfer");
    EXPECT_EQ(preview.PlainBody(), "Vorab: Sehr geehrte Frau Dr. Schäfer,\nText");
    EXPECT_EQ(preview.Attachments(), "Anhänge: " + dir.filePath("plan-anna.pdf"));
    preview.ShowRecipient(1);
    EXPECT_EQ(preview.PlainBody(), "Vorab: Guten Tag Bernd Albers,\nText");
    EXPECT_EQ(preview.Attachments(), "");
    preview.ShowRecipient(2);   // there is no third
    EXPECT_EQ(preview.Current(), 1u);
    preview.resize(640, 400);
    const QString shots = qEnvironmentVariable("KALVEX_SCREENSHOT_DIR", dir.path());
    EXPECT_TRUE(preview.grab().save(shots + "/vorschau.png"));
    TConfig::Free();
}
