#pragma once
// Lists in RTF: the definitions of \listtable and \listoverridetable that a
// paragraph names with \lsN and \ilvlN, the numbering kinds of the older
// \pn form, and what the writer puts into both.

#include <QHash>
#include <QList>
#include <QString>
#include <QTextListFormat>

namespace kalvex {

constexpr int kListLevels = 9;

// A \levelnfc number as a list style; ListStyleUndefined for "no number".
QTextListFormat::Style NumberFormatStyle(int levelNfc, QChar bullet);
int StyleNumberFormat(QTextListFormat::Style style);
// The list style of a \pn word (pnlvlblt, pndec, pnlcltr, ...), or
// ListStyleUndefined when the word names none.
QTextListFormat::Style PnWordStyle(const QString& word);

// The list definitions of a document, as they are read.
class TRtfListTable {
public:
    void BeginList();
    void BeginLevel();
    void SetLevelNumberFormat(int levelNfc);
    void AddLevelText(QChar c);
    void SetListId(int id);
    void BeginOverride();
    void SetOverrideListId(int id);
    void SetOverrideNumber(int ls);
    bool Knows(int ls) const { return FOverrides.contains(ls); }
    QTextListFormat::Style Style(int ls, int level) const;

private:
    struct TLevel {
        int nfc = 23;
        QString text;
    };
    struct TList {
        int id = 0;
        QList<TLevel> levels;
    };
    QList<TList> FLists;
    QHash<int, int> FOverrides;   // \ls -> \listid
    int FOverrideListId = 0;
};

// One list of the written document: its style, and the number the
// paragraphs name with \ls.
struct TWrittenList {
    QTextListFormat::Style style = QTextListFormat::ListDisc;
    int number = 1;
};
// \listtable and \listoverridetable for the lists, empty when there are none.
QString ListTableRtf(const QList<TWrittenList>& lists);
bool IsBulletStyle(QTextListFormat::Style style);
// The marker text of a numbered item: "3", "c", "iv".
QString ListMarker(QTextListFormat::Style style, int number);

}  // namespace kalvex
