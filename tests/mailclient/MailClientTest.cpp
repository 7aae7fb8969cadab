#include "config/LogFileUnit.h"
#include "config/UserMessages.h"
#include "send/Genhelp.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QMultiMap>
#include <QTemporaryDir>
#include <QUrl>
#include <QUrlQuery>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

QCoreApplication& app()
{
    static int argc = 1;
    static char name[] = "test_mailclient";
    static char* argv[] = {name, nullptr};
    static QCoreApplication a(argc, argv);
    return a;
}

void writeFile(const QString& path, const QByteArray& text)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(text);
    f.close();
    f.setPermissions(f.permissions() | QFileDevice::ExeOwner);
}

// A desktop whose mailto: handler is a script that writes the URL it got.
class MailClientTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        app();
        received = dir.filePath("received.txt");
        writeFile(dir.filePath("handler.sh"), "#!/bin/sh\nprintf '%s' \"$1\" > '" + received.toUtf8() + "'\n");
        writeFile(dir.filePath("data/applications/kalvextest.desktop"),
                  "[Desktop Entry]\nType=Application\nName=Test\nExec=" + dir.filePath("handler.sh").toUtf8()
                      + " %u\nMimeType=x-scheme-handler/mailto;\n");
        writeFile(dir.filePath("config/mimeapps.list"), "[Default Applications]\nx-scheme-handler/mailto=kalvextest.desktop\n");
        // xdg-open uses the desktop's handlers only with a display set; it never connects to it.
        qputenv("DISPLAY", ":99");
        qunsetenv("XDG_CURRENT_DESKTOP");
        qputenv("XDG_DATA_HOME", dir.filePath("data").toUtf8());
        qputenv("XDG_CONFIG_HOME", dir.filePath("config").toUtf8());
        qputenv("XDG_DATA_DIRS", dir.filePath("none").toUtf8());
        TLogFile::Install(std::make_unique<TLogFile>(dir.filePath("log.txt")));
    }
    void TearDown() override
    {
        TLogFile::Uninstall();
        for (const char* v : {"DISPLAY", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_DATA_DIRS"})
            qunsetenv(v);
    }
    QString receivedText() const
    {
        QFile f(received);
        f.open(QIODevice::ReadOnly);
        return QString::fromUtf8(f.readAll());
    }
    QUrl receivedUrl() const { return QUrl(receivedText()); }
    // The fields of the mailto: URL the handler got, each percent-decoded
    // as a mail program does: "to" from the path, then the query's.
    QMultiMap<QString, QString> receivedFields() const
    {
        const QString url = receivedText();
        QMultiMap<QString, QString> fields;
        if (!url.startsWith("mailto:"))
            return fields;
        const QString rest = url.mid(7);
        fields.insert("to", QUrl::fromPercentEncoding(rest.section('?', 0, 0).toLatin1()));
        for (const QString& field : rest.section('?', 1).split('&', Qt::SkipEmptyParts))
            fields.insert(field.section('=', 0, 0), QUrl::fromPercentEncoding(field.section('=', 1).toLatin1()));
        return fields;
    }

    QTemporaryDir dir;
    QString received;
};

}  // namespace

TEST_F(MailClientTest, EverythingArrivesAtTheMailProgram)
{
    const QString attachment = dir.filePath(QString::fromUtf8("Angebot für Müller (2).pdf"));
    writeFile(attachment, "%PDF");
    TRecordingMessages messages;
    TGenHelp help(&messages);
    help.SetBetrifft(QString::fromUtf8("Grüße & mehr; rm -rf / $(id)"));
    help.SetMailtext(QString::fromUtf8("Zeile 1\nZeile ü"));
    help.AddDestAdr("anna@example.org", 1);
    help.AddDestAdr("anna@example.org", 1);   // duplicate dropped
    help.AddDestAdr("anna@example.org", 2);   // the same address as Cc stays
    help.AddDestAdr("geheim@example.org", 3);
    help.AddAttachment(attachment);
    ASSERT_EQ(help.Recipients().size(), 3u);
    EXPECT_EQ(help.CallMailClient(), 0);
    EXPECT_TRUE(messages.Entries().empty());

    const QUrl url = receivedUrl();
    EXPECT_EQ(url.scheme(), "mailto");
    EXPECT_EQ(url.path(), "anna@example.org");
    const QUrlQuery query(url);
    EXPECT_EQ(query.queryItemValue("subject", QUrl::FullyDecoded), QString::fromUtf8("Grüße & mehr; rm -rf / $(id)"));
    EXPECT_EQ(query.queryItemValue("body", QUrl::FullyDecoded), QString::fromUtf8("Zeile 1\r\nZeile ü"));
    EXPECT_EQ(query.queryItemValue("cc", QUrl::FullyDecoded), "anna@example.org");
    EXPECT_EQ(query.queryItemValue("bcc", QUrl::FullyDecoded), "geheim@example.org");
    EXPECT_EQ(query.queryItemValue("attach", QUrl::FullyDecoded), attachment);
}

TEST_F(MailClientTest, MissingFilesAndMissingProgramGiveTheirCodes)
{
    TRecordingMessages messages;
    TGenHelp help(&messages);
    help.AddDestAdr("anna@example.org", 1);
    help.AddAttachment(dir.filePath("gibt es nicht.pdf"));
    EXPECT_EQ(help.CallMailClient(), 11);
    EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Error), QStringList{"Die ausgewählte Datei wurde nicht gefunden!"});
    EXPECT_FALSE(QFile::exists(received));

    // No mailto: handler on this desktop.
    qputenv("XDG_CONFIG_HOME", dir.filePath("leer").toUtf8());
    qputenv("XDG_DATA_HOME", dir.filePath("leer").toUtf8());
    messages.Clear();
    TGenHelp none(&messages);
    none.AddDestAdr("anna@example.org", 1);
    EXPECT_EQ(none.CallMailClient(), 99);
    ASSERT_EQ(messages.Texts(TRecordingMessages::Kind::Error).size(), 1);
    EXPECT_TRUE(messages.Texts(TRecordingMessages::Kind::Error)[0].startsWith("MailClient konnte nicht aufgerufen werden."));
    QFile log(dir.filePath("log.txt"));
    log.open(QIODevice::ReadOnly);
    EXPECT_TRUE(log.readAll().contains("Standard-E-Mail-Programm (mailto): "));
}

// A body is handed over whole as long as the mailto: URL fits one program
// argument; a longer one is refused as too long before anything starts,
// never cut and never taken for a missing mail program.
TEST_F(MailClientTest, LongBodiesArriveWholeOrAreRefusedAsTooLong)
{
    TRecordingMessages messages;
    TGenHelp fits(&messages);
    fits.AddDestAdr("anna@example.org", 1);
    const QString longBody = QString(120 * 1024, QLatin1Char('a')) + "\nEnde";
    fits.SetMailtext(longBody);
    EXPECT_EQ(fits.CallMailClient(), 0);
    EXPECT_TRUE(messages.Entries().empty());
    EXPECT_EQ(QUrlQuery(receivedUrl()).queryItemValue("body", QUrl::FullyDecoded).size(), longBody.size() + 1);
    QFile::remove(received);

    const QString tooLong[] = {QString(200 * 1024, QLatin1Char('a')),   // over what one argument carries
                               QString(44 * 1024, QChar(0xFC))};          // fits raw, not percent-encoded
    for (const QString& body : tooLong) {
        messages.Clear();
        TGenHelp help(&messages);
        help.AddDestAdr("anna@example.org", 1);
        help.SetMailtext(body);
        EXPECT_EQ(help.CallMailClient(), 18);
        EXPECT_EQ(messages.Texts(TRecordingMessages::Kind::Error), QStringList{"Die eingegebenene Nachricht ist zu lang"});
        EXPECT_FALSE(QFile::exists(received));
    }
}

// The real xdg-email hands the mail to the handler through its own sh, whose
// echo takes "\c", "\n", "\t" and "\\" as commands: whatever the user wrote
// must arrive as written (line breaks as the CR LF of mailto:), and the
// files as their paths. Spellings of one address are one recipient.
TEST_F(MailClientTest, TextsAndFilesArriveExactlyAsWritten)
{
    const QString subject = QString::fromUtf8("Pfad C:\\config \\c \\t \\\\server\\x 'a' \"b\" $HOME `id` %41 + & = ? # € ü");
    const QString body = QString::fromUtf8("Zeile 1 C:\\neu\\test\n\\c Ende? nein\r\n$(id) `id` ${PATH} 'x' \"y\"\n\tü€ 100%\\");
    const QString odd = dir.filePath(QString::fromUtf8("Plan \\c $(id) 'x' \"y\" `id` ü.pdf"));
    writeFile(odd, "%PDF");
    TRecordingMessages messages;
    TGenHelp help(&messages);
    help.SetBetrifft(subject);
    help.SetMailtext(body);
    help.AddDestAdr("anna@example.org", 1);
    help.AddDestAdr("Anna@EXAMPLE.org", 1);                           // the same recipient
    help.AddDestAdr(QString::fromUtf8("Anna Schäfer <anna@example.org>"), 1);
    help.AddDestAdr("-bernd@example.org", 2);
    help.AddAttachment(odd);
    ASSERT_EQ(help.Recipients().size(), 2u);
    ASSERT_EQ(help.CallMailClient(), 0);
    EXPECT_TRUE(messages.Entries().empty());

    const QString raw = receivedText();
    for (const QChar c : QStringLiteral("\\\"'$` \n\r\t"))
        EXPECT_FALSE(raw.contains(c)) << "raw URL holds " << QString(c).toStdString();
    const QMultiMap<QString, QString> fields = receivedFields();
    EXPECT_EQ(fields.value("to"), "anna@example.org");
    EXPECT_EQ(fields.values("subject"), QStringList{subject});
    QString crlfBody = body;
    crlfBody.replace("\r\n", "\n").replace("\n", "\r\n");
    EXPECT_EQ(fields.values("body"), QStringList{crlfBody});
    EXPECT_EQ(fields.values("cc"), QStringList{"-bernd@example.org"});
    EXPECT_EQ(fields.values("attach"), QStringList{QFileInfo(odd).canonicalFilePath()});
}
