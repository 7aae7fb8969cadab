#include "config/IniPlus.h"

#include "config/AppPaths.h"
#include "config/ControlCharacters.h"
#include "config/KalvexError.h"
#include "config/LanguageUnit.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStringDecoder>

namespace kalvex {

namespace {

bool sameName(const QString& a, const QString& b)
{
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

// Old installations wrote these files in the Windows code page; text that is
// not valid UTF-8 is taken as Latin-1 so that nothing is lost.
QString decodeSettingsText(const QByteArray& bytes)
{
    QByteArray data = bytes;
    if (data.startsWith("\xEF\xBB\xBF"))
        data.remove(0, 3);
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8.decode(data);
    if (!utf8.hasError())
        return text;
    return QString::fromLatin1(data);
}

QString unquote(const QString& value)
{
    if (value.size() >= 2) {
        const QChar first = value.front();
        if ((first == QLatin1Char('"') || first == QLatin1Char('\'')) && value.back() == first)
            return value.mid(1, value.size() - 2);
    }
    return value;
}

// A key must not read back as a comment, a section header or another key.
bool validKey(const QString& key)
{
    const QString k = key.trimmed();
    return !k.isEmpty() && !k.contains(QLatin1Char('=')) && !k.startsWith(QLatin1Char(';'))
        && !k.startsWith(QLatin1Char('[')) && !HasControlCharacter(k);
}

bool parseInteger(const QString& text, qint64& out)
{
    const QString t = text.trimmed();
    bool ok = false;
    if (t.startsWith(QLatin1Char('$')))
        out = t.mid(1).toLongLong(&ok, 16);
    else if (t.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        out = t.mid(2).toLongLong(&ok, 16);
    else
        out = t.toLongLong(&ok, 10);
    return ok;
}

}  // namespace

TIniFile::TIniFile(QString fileName, TIniAccess access) : FFileName(std::move(fileName)), FAccess(access)
{
    QFile file(FFileName);
    if (!file.exists())
        return;
    if (!file.open(QIODevice::ReadOnly)) {
        FLoadError = file.errorString();
        return;
    }
    parse(decodeSettingsText(file.readAll()));
}

bool TIniFile::fileExists() const
{
    return QFileInfo::exists(FFileName);
}

void TIniFile::parse(const QString& text)
{
    FSections.push_back(Section{});
    const QStringList lines = text.split(QRegularExpression(QStringLiteral("\r\n|\n|\r")));
    for (int i = 0; i < lines.size(); ++i) {
        const QString& raw = lines[i];
        const QString line = raw.trimmed();
        if (i == lines.size() - 1 && line.isEmpty())
            break;  // the final line break
        if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
            FSections.push_back(Section{line.mid(1, line.size() - 2).trimmed(), {}});
            continue;
        }
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (line.isEmpty() || line.startsWith(QLatin1Char(';')) || eq <= 0) {
            FSections.back().lines.push_back(Line{QString(), raw});
            continue;
        }
        FSections.back().lines.push_back(
            Line{line.left(eq).trimmed(), unquote(line.mid(eq + 1).trimmed())});
    }
}

const TIniFile::Section* TIniFile::findSection(const QString& name) const
{
    for (const Section& s : FSections)
        if (!s.name.isEmpty() && sameName(s.name, name))
            return &s;
    return nullptr;
}

TIniFile::Section& TIniFile::ensureSection(const QString& name)
{
    if (const Section* s = findSection(name))
        return const_cast<Section&>(*s);
    FSections.push_back(Section{name, {}});
    return FSections.back();
}

const TIniFile::Line* TIniFile::findLine(const QString& section, const QString& key) const
{
    const Section* s = findSection(section);
    if (!s)
        return nullptr;
    for (const Line& l : s->lines)
        if (!l.key.isEmpty() && sameName(l.key, key))
            return &l;
    return nullptr;
}

QString TIniFile::ReadString(const QString& section, const QString& key, const QString& def) const
{
    const Line* l = findLine(section, key);
    return l ? l->value : def;
}

int TIniFile::ReadInteger(const QString& section, const QString& key, int def) const
{
    const Line* l = findLine(section, key);
    qint64 v = 0;
    if (!l || !parseInteger(l->value, v) || v < INT32_MIN || v > INT32_MAX)
        return def;
    return static_cast<int>(v);
}

bool TIniFile::ReadBool(const QString& section, const QString& key, bool def) const
{
    return ReadInteger(section, key, def ? 1 : 0) != 0;
}

double TIniFile::ReadFloat(const QString& section, const QString& key, double def) const
{
    const Line* l = findLine(section, key);
    if (!l)
        return def;
    bool ok = false;
    QString t = l->value;
    const double v = t.replace(QLatin1Char(','), QLatin1Char('.')).toDouble(&ok);
    return ok ? v : def;
}

bool TIniFile::SectionExists(const QString& section) const
{
    return findSection(section) != nullptr;
}

bool TIniFile::ValueExists(const QString& section, const QString& key) const
{
    return findLine(section, key) != nullptr;
}

QStringList TIniFile::ReadSection(const QString& section) const
{
    QStringList keys;
    if (const Section* s = findSection(section))
        for (const Line& l : s->lines)
            if (!l.key.isEmpty())
                keys << l.key;
    return keys;
}

QStringList TIniFile::ReadSections() const
{
    QStringList names;
    for (const Section& s : FSections)
        if (!s.name.isEmpty())
            names << s.name;
    return names;
}

void TIniFile::WriteString(const QString& section, const QString& key, const QString& value)
{
    checkEntry(section, key, value);
    setValue(section, key, value);
    save();
}

void TIniFile::WriteStrings(const QString& section, const QList<QPair<QString, QString>>& entries)
{
    for (const auto& [key, value] : entries)
        checkEntry(section, key, value);
    for (const auto& [key, value] : entries)
        setValue(section, key, value);
    save();
}

void TIniFile::checkEntry(const QString& section, const QString& key, const QString& value) const
{
    if (section.trimmed().isEmpty() || HasControlCharacter(section))
        throw EKalvex(Tx(2400, "Der Abschnittsname „%1“ ist ungültig (leer, Zeilenumbruch oder Steuerzeichen) und wird "
                               "nicht in %2 geschrieben.")
                          .arg(VisibleControlCharacters(section), FFileName));
    if (!validKey(key))
        throw EKalvex(Tx(2401, "Der Schlüssel „%1“ im Abschnitt [%2] ist ungültig (leer, „=“, Zeilenumbruch oder "
                               "Steuerzeichen) und wird nicht in %3 geschrieben.")
                          .arg(VisibleControlCharacters(key), section, FFileName));
    if (HasControlCharacter(value))
        throw EKalvex(Tx(2402, "Der Wert für %1 im Abschnitt [%2] enthält einen Zeilenumbruch oder ein Steuerzeichen "
                               "und wird nicht in %3 geschrieben.")
                          .arg(key, section, FFileName));
}

void TIniFile::setValue(const QString& section, const QString& key, const QString& value)
{
    if (const Line* l = findLine(section, key))
        const_cast<Line*>(l)->value = value;
    else
        ensureSection(section).lines.push_back(Line{key, value});
}

void TIniFile::WriteInteger(const QString& section, const QString& key, int value)
{
    WriteString(section, key, QString::number(value));
}

void TIniFile::WriteBool(const QString& section, const QString& key, bool value)
{
    WriteString(section, key, value ? QStringLiteral("1") : QStringLiteral("0"));
}

void TIniFile::WriteFloat(const QString& section, const QString& key, double value)
{
    WriteString(section, key, QString::number(value, 'g', 15));
}

void TIniFile::EraseSection(const QString& section)
{
    std::erase_if(FSections, [&](const Section& s) {
        return !s.name.isEmpty() && sameName(s.name, section);
    });
    save();
}

void TIniFile::DeleteKey(const QString& section, const QString& key)
{
    if (const Section* s = findSection(section)) {
        auto& lines = const_cast<Section*>(s)->lines;
        std::erase_if(lines, [&](const Line& l) { return !l.key.isEmpty() && sameName(l.key, key); });
        save();
    }
}

QString TIniFile::serialise() const
{
    QString out;
    for (const Section& s : FSections) {
        if (!s.name.isEmpty())
            out += QLatin1Char('[') + s.name + QLatin1String("]\n");
        for (const Line& l : s.lines)
            out += (l.key.isEmpty() ? l.value : l.key + QLatin1Char('=') + l.value) + QLatin1Char('\n');
    }
    return out;
}

void TIniFile::save() const
{
    const QFileInfo info(FFileName);
    QDir().mkpath(info.absolutePath());
    QSaveFile file(FFileName);
    // The temporary file takes the old file's mode at open; tighten it
    // before a byte of content is in it.
    const bool opened = file.open(QIODevice::WriteOnly)
                     && (FAccess == TIniAccess::Shared || file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner));
    if (!opened || file.write(serialise().toUtf8()) < 0 || !file.commit())
        throw EKalvex(QStringLiteral("Die Einstellungsdatei \"%1\" konnte nicht geschrieben werden: %2")
                          .arg(FFileName, file.errorString()));
}

TIniPlus::TIniPlus(const QString& fileName) : TIniFile(ResolveFileName(fileName)) {}

QString TIniPlus::ResolveFileName(const QString& fileName)
{
    const QString folder = QFileInfo(fileName).path();
    const bool bare = !fileName.contains(QLatin1Char('/')) || folder.trimmed().isEmpty();
    return bare ? ApplicationFolder() + fileName : fileName;
}

}  // namespace kalvex
