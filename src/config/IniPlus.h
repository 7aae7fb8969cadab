#pragma once
// Classic sectioned settings files with Windows INI semantics: sections and
// keys compare case-insensitively, values are trimmed and unquoted, lines
// beginning with ";" are comments, there is no escaping, booleans are read
// as integers (!= 0 is true) and written as 1/0. QSettings speaks another
// dialect (escapes, %General), so the module has its own class.
// Nothing that would break the line format is ever written: writers refuse
// section names, keys and values with line breaks or control characters.

#include <QString>
#include <QPair>
#include <QStringList>
#include <vector>

namespace kalvex {

// Files that hold a password are readable by their owner only.
enum class TIniAccess { Shared, OwnerOnly };

class TIniFile {
public:
    // Reads the file at once. A missing or unreadable file is an empty one;
    // loadError() tells why it could not be read (empty when it was read or
    // simply does not exist).
    explicit TIniFile(QString fileName, TIniAccess access = TIniAccess::Shared);
    virtual ~TIniFile() = default;

    const QString& FileName() const { return FFileName; }
    const QString& loadError() const { return FLoadError; }
    bool fileExists() const;

    QString ReadString(const QString& section, const QString& key, const QString& def) const;
    int ReadInteger(const QString& section, const QString& key, int def) const;
    bool ReadBool(const QString& section, const QString& key, bool def) const;
    double ReadFloat(const QString& section, const QString& key, double def) const;
    bool SectionExists(const QString& section) const;
    bool ValueExists(const QString& section, const QString& key) const;
    QStringList ReadSection(const QString& section) const;   // the keys of a section
    QStringList ReadSections() const;

    // Writers save the whole file at once (atomically) and raise EKalvex
    // with a German message when it cannot be written or when a section
    // name, key or value would break the line format (then nothing is
    // written). An OwnerOnly file gets mode 0600 before its content.
    void WriteString(const QString& section, const QString& key, const QString& value);
    // Several keys of one section in one write: all or none.
    void WriteStrings(const QString& section, const QList<QPair<QString, QString>>& entries);
    void WriteInteger(const QString& section, const QString& key, int value);
    void WriteBool(const QString& section, const QString& key, bool value);
    void WriteFloat(const QString& section, const QString& key, double value);
    void EraseSection(const QString& section);
    void DeleteKey(const QString& section, const QString& key);

private:
    struct Line {
        QString key;    // empty for a comment or blank line
        QString value;  // the stored value, or the raw text of a comment line
    };
    struct Section {
        QString name;   // empty name: the lines before the first section header
        std::vector<Line> lines;
    };

    void parse(const QString& text);
    const Section* findSection(const QString& name) const;
    Section& ensureSection(const QString& name);
    const Line* findLine(const QString& section, const QString& key) const;
    void checkEntry(const QString& section, const QString& key, const QString& value) const;
    void setValue(const QString& section, const QString& key, const QString& value);
    QString serialise() const;
    void save() const;

    QString FFileName;
    QString FLoadError;
    TIniAccess FAccess;
    std::vector<Section> FSections;
};

// A settings file whose bare file name (no folder) lives in the folder of
// the host program's executable.
class TIniPlus : public TIniFile {
public:
    explicit TIniPlus(const QString& fileName);
    static QString ResolveFileName(const QString& fileName);
};

}  // namespace kalvex
