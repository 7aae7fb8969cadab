#include "config/IniPlus.h"
#include "config/KalvexError.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kalvex;

namespace {

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& bytes)
{
    const QString path = dir.filePath(name);
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(bytes);
    return path;
}

QByteArray readFile(const QString& path)
{
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    return f.readAll();
}

}  // namespace

// Reading follows the Windows rules that existing settings files rely on.
TEST(IniPlus, ReadsWithWindowsSemantics)
{
    QTemporaryDir dir;
    const QString path = writeFile(dir, "a.ini",
        "; comment\r\n[SMTP]\r\nHost =  mail.example.org  \r\nport=70000\r\nQuoted=\"  x  \"\r\n"
        "SendDirekt=1\r\nBad=abc\r\nHex=$1F\r\nFlag=true\r\n[smtp2]\nk=v\n");
    const TIniFile ini(path);
    EXPECT_EQ(ini.ReadString("smtp", "HOST", "-"), "mail.example.org");
    EXPECT_EQ(ini.ReadInteger("SMTP", "Port", 0), 70000);
    EXPECT_EQ(ini.ReadString("SMTP", "Quoted", "-"), "  x  ");
    EXPECT_TRUE(ini.ReadBool("SMTP", "SendDirekt", false));
    EXPECT_EQ(ini.ReadInteger("SMTP", "Bad", 7), 7);
    EXPECT_EQ(ini.ReadInteger("SMTP", "Hex", 0), 31);
    // Booleans are integers: a word is not one, so the default stands.
    EXPECT_FALSE(ini.ReadBool("SMTP", "Flag", false));
    EXPECT_TRUE(ini.ReadBool("SMTP", "Missing", true));
    EXPECT_EQ(ini.ReadString("Nowhere", "Host", "def"), "def");
    EXPECT_EQ(ini.ReadSections(), (QStringList{"SMTP", "smtp2"}));
}

// Writing keeps comments and unrelated lines, and a value written reads back.
TEST(IniPlus, WritesPreserveOtherContentAndReadBack)
{
    QTemporaryDir dir;
    const QString path = writeFile(dir, "b.ini", "; keep me\n[A]\nx=1\n; inner\ny=2\n[B]\nz=3\n");
    {
        TIniFile ini(path);
        ini.WriteString("a", "X", "neu wert äöü");
        ini.WriteBool("C", "DoFinalize", false);
        ini.DeleteKey("A", "y");
    }
    const QByteArray text = readFile(path);
    EXPECT_TRUE(text.contains("; keep me"));
    EXPECT_TRUE(text.contains("; inner"));
    EXPECT_FALSE(text.contains("y=2"));
    const TIniFile again(path);
    EXPECT_EQ(again.ReadString("A", "x", ""), QString::fromUtf8("neu wert äöü"));
    EXPECT_EQ(again.ReadString("B", "z", ""), "3");
    EXPECT_EQ(again.ReadString("C", "DoFinalize", ""), "0");
}

// Files from old Windows installations are in an 8-bit code page.
TEST(IniPlus, LatinOneFileAndFailures)
{
    QTemporaryDir dir;
    const QString path = writeFile(dir, "c.ini", "[S]\nName=M\xFCller\n");
    EXPECT_EQ(TIniFile(path).ReadString("S", "Name", ""), QString::fromUtf8("Müller"));

    const TIniFile missing(dir.filePath("none.ini"));
    EXPECT_TRUE(missing.loadError().isEmpty());
    EXPECT_EQ(missing.ReadInteger("S", "k", 5), 5);

    // A folder where the file should be cannot be written: German message, no crash.
    QDir(dir.path()).mkpath("blocked.ini");
    TIniFile blocked(dir.filePath("blocked.ini"));
    try {
        blocked.WriteString("S", "k", "v");
        FAIL() << "write into a folder succeeded";
    } catch (const EKalvex& e) {
        EXPECT_TRUE(e.message().contains("konnte nicht geschrieben werden"));
    }
}

TEST(IniPlus, BareFileNameResolvesToProgramFolder)
{
    const QString resolved = TIniPlus::ResolveFileName("x.ini");
    EXPECT_TRUE(resolved.endsWith("/x.ini"));
    EXPECT_TRUE(QFileInfo(resolved).isAbsolute());
    EXPECT_EQ(QFileInfo(resolved).absolutePath(), QFileInfo("/proc/self/exe").symLinkTarget().section('/', 0, -2));
    EXPECT_EQ(TIniPlus::ResolveFileName("/etc/x.ini"), "/etc/x.ini");
}

// A line break or control character in a section name, key or value would
// add lines, keys or sections of its own: refused, and the file stays as it was.
TEST(IniPlus, WritersRefuseWhatWouldBreakTheLineFormat)
{
    QTemporaryDir dir;
    const QByteArray before = "; Kommentar\n[SMTP]\nHost=mail.example.org\n";
    const QString path = writeFile(dir, "mailserver.ini", before);
    const QString esc = QStringLiteral("\x1b[31m"), nel = QString(QChar(0x85)), del = QString(QChar(0x7f));
    const struct {
        QString section, key, value;
    } bad[] = {
        {"SMTP", "Absender", "me@x\nHost=evil\n[Other]"}, {"SMTP", "Absender", "me@x\rHost=evil"},
        {"SMTP", "Absender", "a" + esc}, {"SMTP", "Absender", "a" + nel}, {"SMTP", "Absender", "a" + del},
        {"SMTP", "Absender", QString(QChar(0)) + "x"},
        {"SMTP]\n[Other", "Host", "x"}, {"", "Host", "x"}, {"SMTP" + esc, "Host", "x"},
        {"SMTP", "Host\nPort", "1"}, {"SMTP", "Host=x", "1"}, {"SMTP", "", "1"}, {"SMTP", "; Host", "1"},
        {"SMTP", "[Other", "x]"},
    };
    TIniFile ini(path);
    for (const auto& b : bad) {
        SCOPED_TRACE((b.section + "|" + b.key + "|" + b.value).toStdString());
        EXPECT_THROW(ini.WriteString(b.section, b.key, b.value), EKalvex);
        EXPECT_THROW(ini.WriteStrings(b.section, {{"Port", "25"}, {b.key, b.value}}), EKalvex);
        EXPECT_EQ(readFile(path), before);
        EXPECT_EQ(ini.ReadString("SMTP", "Port", "-"), "-");   // not even kept in memory
    }
    try {
        ini.WriteString("SMTP", "Absender", "me@x\nHost=evil");
    } catch (const EKalvex& e) {
        EXPECT_TRUE(e.message().contains("Absender")) << e.message().toStdString();
        EXPECT_TRUE(e.message().contains("Zeilenumbruch")) << e.message().toStdString();
    }
    // Tabs, umlauts and brackets inside a value are ordinary text.
    ini.WriteStrings("SMTP", {{"AbsenderName", "Müller\t[Bau] = GmbH"}, {"Port", "25"}});
    const TIniFile again(path);
    EXPECT_EQ(again.ReadString("SMTP", "AbsenderName", ""), QString::fromUtf8("Müller\t[Bau] = GmbH"));
    EXPECT_EQ(again.ReadSections(), QStringList{"SMTP"});
}

// A file that holds a password is its owner's alone, also when it existed
// before with a wider mode; other files keep theirs.
TEST(IniPlus, OwnerOnlyFilesGetMode0600)
{
    QTemporaryDir dir;
    const auto ownerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;
    const auto wide = ownerOnly | QFileDevice::ReadGroup | QFileDevice::ReadOther;
    const QString secret = writeFile(dir, "secret.ini", "[S]\nk=v\n");
    const QString shared = writeFile(dir, "shared.ini", "[S]\nk=v\n");
    for (const QString& f : {secret, shared})
        ASSERT_TRUE(QFile::setPermissions(f, wide));
    TIniFile(secret, TIniAccess::OwnerOnly).WriteString("S", "Passwort", "x");
    TIniFile(shared).WriteString("S", "k", "w");
    TIniFile(dir.filePath("new.ini"), TIniAccess::OwnerOnly).WriteString("S", "k", "v");
    const auto mode = [](const QString& f) { return QFile::permissions(f) & ~QFileDevice::Permissions(0x0700); };   // without the "current user" bits
    EXPECT_EQ(mode(secret), ownerOnly);
    EXPECT_EQ(mode(dir.filePath("new.ini")), ownerOnly);
    EXPECT_EQ(mode(shared), wide);
    EXPECT_EQ(TIniFile(secret).ReadString("S", "k", ""), "v");
}
