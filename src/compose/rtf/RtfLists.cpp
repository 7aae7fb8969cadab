#include "compose/rtf/RtfLists.h"

namespace kalvex {

namespace {

QString roman(int n)
{
    static const std::pair<int, const char*> digits[] = {{1000, "m"}, {900, "cm"}, {500, "d"}, {400, "cd"}, {100, "c"},
                                                         {90, "xc"},  {50, "l"},   {40, "xl"},  {10, "x"},   {9, "ix"},
                                                         {5, "v"},    {4, "iv"},   {1, "i"}};
    QString out;
    for (const auto& [value, text] : digits)
        for (; n >= value; n -= value)
            out += QLatin1String(text);
    return out;
}

QString alpha(int n)
{
    QString out;
    for (; n > 0; n = (n - 1) / 26)
        out.prepend(QChar('a' + (n - 1) % 26));
    return out;
}

// \leveltext: the length byte, then the text with \'0N for the number of
// level N.
QString levelText(QTextListFormat::Style style, int level)
{
    if (IsBulletStyle(style)) {
        const int bullet = style == QTextListFormat::ListCircle ? 0x25E6 : style == QTextListFormat::ListSquare ? 0x25AA : 0x2022;
        return QStringLiteral("{\\leveltext\\'01\\u%1 ?;}{\\levelnumbers;}").arg(bullet);
    }
    return QStringLiteral("{\\leveltext\\'02\\'%1.;}{\\levelnumbers\\'01;}").arg(level, 2, 16, QLatin1Char('0'));
}

QString listDefinition(const TWrittenList& list)
{
    QString s = QStringLiteral("{\\list\\listtemplateid%1").arg(list.number);
    const int nfc = StyleNumberFormat(list.style);
    for (int level = 0; level < kListLevels; ++level)
        s += QStringLiteral("{\\listlevel\\levelnfc%1\\levelnfcn%1\\leveljc0\\leveljcn0\\levelfollow0\\levelstartat1%2"
                            "\\fi-360\\li%3\\lin%3 }")
                 .arg(nfc).arg(levelText(list.style, level)).arg(720 * (level + 1));
    return s + QStringLiteral("{\\listname ;}\\listid%1}").arg(list.number);
}

}  // namespace

QTextListFormat::Style NumberFormatStyle(int levelNfc, QChar bullet)
{
    switch (levelNfc) {
    case 1: return QTextListFormat::ListUpperRoman;
    case 2: return QTextListFormat::ListLowerRoman;
    case 3: return QTextListFormat::ListUpperAlpha;
    case 4: return QTextListFormat::ListLowerAlpha;
    case 23: break;
    case 255: return QTextListFormat::ListStyleUndefined;
    default: return QTextListFormat::ListDecimal;
    }
    const char16_t c = bullet.unicode();
    if (c == 'o' || c == 0x25E6 || c == 0x25CB || c == 0xF06F)
        return QTextListFormat::ListCircle;
    if (c == 0xA7 || c == 0xF0A7 || c == 0x25AA || c == 0x25A0 || c == 0xF06E)
        return QTextListFormat::ListSquare;
    return QTextListFormat::ListDisc;
}

int StyleNumberFormat(QTextListFormat::Style style)
{
    switch (style) {
    case QTextListFormat::ListUpperRoman: return 1;
    case QTextListFormat::ListLowerRoman: return 2;
    case QTextListFormat::ListUpperAlpha: return 3;
    case QTextListFormat::ListLowerAlpha: return 4;
    case QTextListFormat::ListDecimal: return 0;
    default: return 23;
    }
}

QTextListFormat::Style PnWordStyle(const QString& w)
{
    static const QHash<QString, QTextListFormat::Style> styles = {
        {"pnlvlblt", QTextListFormat::ListDisc},       {"pndec", QTextListFormat::ListDecimal},
        {"pnlcltr", QTextListFormat::ListLowerAlpha},  {"pnucltr", QTextListFormat::ListUpperAlpha},
        {"pnlcrm", QTextListFormat::ListLowerRoman},   {"pnucrm", QTextListFormat::ListUpperRoman},
        {"pnlvlbody", QTextListFormat::ListDecimal}};
    return styles.value(w, QTextListFormat::ListStyleUndefined);
}

bool IsBulletStyle(QTextListFormat::Style style)
{
    return style == QTextListFormat::ListDisc || style == QTextListFormat::ListCircle || style == QTextListFormat::ListSquare;
}

QString ListMarker(QTextListFormat::Style style, int number)
{
    switch (style) {
    case QTextListFormat::ListLowerAlpha: return alpha(number);
    case QTextListFormat::ListUpperAlpha: return alpha(number).toUpper();
    case QTextListFormat::ListLowerRoman: return roman(std::min(number, 3999));
    case QTextListFormat::ListUpperRoman: return roman(std::min(number, 3999)).toUpper();
    default: return QString::number(number);
    }
}

// A document names at most a few hundred lists; more are not kept.
void TRtfListTable::BeginList()
{
    if (FLists.size() < 1000)
        FLists.append(TList{});
}

void TRtfListTable::BeginLevel()
{
    if (!FLists.isEmpty() && FLists.back().levels.size() < kListLevels)
        FLists.back().levels.append(TLevel{});
}

void TRtfListTable::SetLevelNumberFormat(int levelNfc)
{
    if (!FLists.isEmpty() && !FLists.back().levels.isEmpty())
        FLists.back().levels.back().nfc = levelNfc;
}

void TRtfListTable::AddLevelText(QChar c)
{
    if (!FLists.isEmpty() && !FLists.back().levels.isEmpty() && FLists.back().levels.back().text.size() < 32)
        FLists.back().levels.back().text += c;
}

void TRtfListTable::SetListId(int id)
{
    if (!FLists.isEmpty())
        FLists.back().id = id;
}

void TRtfListTable::BeginOverride()
{
    FOverrideListId = 0;
}

void TRtfListTable::SetOverrideListId(int id)
{
    FOverrideListId = id;
}

void TRtfListTable::SetOverrideNumber(int ls)
{
    if (FOverrides.size() < 1000)
        FOverrides.insert(ls, FOverrideListId);
}

// The level's bullet is the first character after the length byte.
QTextListFormat::Style TRtfListTable::Style(int ls, int level) const
{
    const int id = FOverrides.value(ls, -1);
    for (const TList& list : FLists) {
        if (list.id != id || list.levels.isEmpty())
            continue;
        const TLevel& l = list.levels.value(std::clamp<int>(level, 0, list.levels.size() - 1));
        return NumberFormatStyle(l.nfc, l.text.size() > 1 ? l.text.at(1) : QChar());
    }
    return QTextListFormat::ListDisc;
}

QString ListTableRtf(const QList<TWrittenList>& lists)
{
    if (lists.isEmpty())
        return QString();
    QString table = QStringLiteral("{\\*\\listtable");
    QString overrides = QStringLiteral("{\\*\\listoverridetable");
    for (const TWrittenList& list : lists) {
        table += QLatin1Char('\n') + listDefinition(list);
        overrides += QStringLiteral("{\\listoverride\\listid%1\\listoverridecount0\\ls%1}").arg(list.number);
    }
    return table + QStringLiteral("}\n") + overrides + QStringLiteral("}\n");
}

}  // namespace kalvex
