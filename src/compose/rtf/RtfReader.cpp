#include "compose/rtf/RtfReader.h"

#include "compose/TableCommands.h"
#include "compose/rtf/RtfCodePage.h"
#include "compose/rtf/RtfLists.h"
#include "compose/rtf/RtfPicture.h"
#include "compose/rtf/RtfTableRow.h"
#include "config/TextDecoding.h"

#include <QRegularExpression>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextList>
#include <QTextTable>

namespace kalvex {

namespace {

constexpr int kMaxDepth = 4096;   // deeper groups are counted, not stacked

enum class TDest { Text, Skip, FontTable, ColorTable, Pict, ListText, FieldInst, ListTable, LevelText, ListOverrides, Pn };

struct TPara {
    Qt::Alignment align = Qt::AlignLeft;
    int left = 0, first = 0;
    int spaceBefore = 0, spaceAfter = 0, lineSpacing = 0;   // twips
    bool lineMultiple = false;
    bool inTable = false;
    int ls = 0, level = 0;   // \ls and \ilvl
    QTextListFormat::Style pnStyle = QTextListFormat::ListStyleUndefined;
    int pnLevel = 0;
};

// Character and paragraph properties are scoped by groups.
struct TState {
    TDest dest = TDest::Text;
    bool bold = false, italic = false, underline = false;
    int halfPoints = 24, font = 0, color = 0;
    int ucSkip = 1;
    int field = -1;   // the \field whose instruction or result this group is
    QString href;     // the link target of a HYPERLINK field's result
    TPara para;
};

constexpr int kIndentTwips = 720;
constexpr int kMaxFieldInstruction = 2048;

bool hasCellBorders(const QTextTableCellFormat& format)
{
    for (TBorderSide side : {TBorderSide::Left, TBorderSide::Right, TBorderSide::Top, TBorderSide::Bottom})
        if (CellBorderWidth(format, side) >= 0 || CellBorderColor(format, side).isValid())
            return true;
    return false;
}

// The target of a HYPERLINK field: its address, or "#anchor" for \l.
QString hyperlinkTarget(const QString& instruction)
{
    QStringList tokens;
    static const QRegularExpression token(QStringLiteral(R"re("([^"]*)"?|(\S+))re"));
    for (auto it = token.globalMatch(instruction); it.hasNext();) {
        const QRegularExpressionMatch m = it.next();
        tokens << (m.capturedStart(1) >= 0 ? m.captured(1) : m.captured(2));
    }
    if (tokens.isEmpty() || tokens.front().compare(QLatin1String("HYPERLINK"), Qt::CaseInsensitive) != 0)
        return QString();
    QString address, anchor;
    for (qsizetype i = 1; i < tokens.size(); ++i) {
        const QString& t = tokens[i];
        if (t == QLatin1String("\\l"))
            anchor = tokens.value(++i);
        else if (t == QLatin1String("\\o") || t == QLatin1String("\\t"))
            ++i;
        else if (!t.startsWith(QLatin1Char('\\')) && address.isEmpty())
            address = t;
    }
    return anchor.isEmpty() ? address.trimmed() : address.trimmed() + QLatin1Char('#') + anchor;
}

class TRtfReader {
public:
    TRtfReader(const QString& rtf, QTextDocument& doc) : FIn(rtf), FDoc(doc), FCursor(&doc) {}
    void Read();

private:
    void groupStart();
    bool closeGroup();
    void control();
    void controlWordAt();
    void character(QChar c);
    void controlWord(const QString& word, bool hasArg, int arg);
    bool destinationWord(const QString& word);
    bool fieldWord(const QString& word);
    bool listTableWord(const QString& word, int arg);
    bool pictureWord(const QString& word, int arg);
    bool spacingWord(const QString& word, int arg);
    void pnWord(const QString& word, int arg);
    void fontTableWord(const QString& word, int arg);
    bool skipFallback();
    void rawByte(unsigned char b);
    void binaryData(qsizetype count);
    int codePage() const;
    void plainCharacters();
    void listTextAsText();
    bool characterWord(const QString& word, bool hasArg, int arg);
    bool paragraphWord(const QString& word, int arg);
    bool tableWord(const QString& word, int arg);
    void text(QChar c);
    void flushText();
    void hexByte(unsigned char b);
    void groupEnd();
    void endParagraph();
    void finishLastParagraph();
    QTextBlockFormat paragraphFormat() const;
    void applyList();
    bool listOfParagraph(QTextListFormat& format, int& key) const;
    void ensureTableCell();
    void leaveTable();
    void startPendingRow();
    void prepareInsert();
    void dropClosingParagraph();
    void mergeRowCells();
    void mergeRowDown();
    void formatRowCells();
    void insertPicture();
    QTextCharFormat format() const;
    TState& st() { return FStack.back(); }
    TPara& para() { return FStack.back().para; }
    const TPara& para() const { return FStack.back().para; }

    const QString& FIn;
    qsizetype FPos = 0;
    QTextDocument& FDoc;
    QTextCursor FCursor;
    // Text of one run (no control word or group between), inserted with one
    // call: a character at a time costs the document a fragment each.
    QString FPending;
    QTextCharFormat FPendingFormat;
    std::vector<TState> FStack{TState{}};
    int FOverflow = 0;
    int FSkipChars = 0;
    bool FIgnorable = false;   // after \*: an unknown destination is skipped
    bool FCellPar = false;     // the last word was a \par inside a cell
    int FDefaultFont = 0;
    QStringList FFonts;
    QHash<int, int> FFontPages;   // font number -> code page of its \fcharset or \cpg
    TRtfByteDecoder FDecoder;
    QStringList FFields;          // instruction of every \field read so far
    TRtfListTable FListTable;
    QHash<QPair<int, int>, QTextList*> FOpenLists;   // (list, level) -> the list its items join; owned by the document
    QList<QColor> FColors;
    int FRed = 0, FGreen = 0, FBlue = 0;
    QString FFontName;
    int FFontNo = 0;
    QString FListText;
    TRtfPicture FPicture;
    int FCodePage = 1252;
    // Tables.
    QTextTable* FTable = nullptr;
    TRtfRowDefinition FRowDef;
    int FRow = 0, FCol = 0;
    bool FRowPending = false;
};

QTextCharFormat TRtfReader::format() const
{
    const TState& s = FStack.back();
    QTextCharFormat f;
    f.setFontWeight(s.bold ? QFont::Bold : QFont::Normal);
    f.setFontItalic(s.italic);
    f.setFontUnderline(s.underline);
    f.setFontPointSize(s.halfPoints / 2.0);
    if (s.font >= 0 && s.font < FFonts.size() && !FFonts[s.font].isEmpty())
        f.setFontFamilies({FFonts[s.font]});
    // Entry 0 of the colour table is the automatic colour.
    if (s.color > 0 && s.color < FColors.size())
        f.setForeground(FColors[s.color]);
    if (!s.href.isEmpty()) {
        f.setAnchor(true);
        f.setAnchorHref(s.href);
    }
    return f;
}

void TRtfReader::ensureTableCell()
{
    if (!para().inTable || FTable)
        return;
    const int columns = std::max(1, FRowDef.Cells());
    const QTextTableFormat tf = FRowDef.TableFormat();
    // A table splits the block it is inserted into; the empty block that the
    // preceding \par opened would stay in front of it and grow by one on
    // every write and read.
    const QTextBlock before = FCursor.block().previous();
    if (FCursor.block().length() <= 1 && before.isValid() && !QTextCursor(before).currentTable())
        FCursor.deletePreviousChar();
    FTable = FCursor.insertTable(1, columns, tf);
    FRow = FCol = 0;
    FRowPending = false;
    FCursor = FTable->cellAt(0, 0).firstCursorPosition();
}

void TRtfReader::leaveTable()
{
    if (!FTable)
        return;
    FCursor = FTable->lastCursorPosition();
    FCursor.movePosition(QTextCursor::NextBlock);
    FTable = nullptr;
}

// A row after \row begins with its first text or its first \cell.
void TRtfReader::startPendingRow()
{
    if (!FTable || !FRowPending)
        return;
    FTable->appendRows(1);
    FCursor = FTable->cellAt(++FRow, 0).firstCursorPosition();
    FCol = 0;
    FRowPending = false;
}

// Content goes into the table while paragraphs are marked \intbl, after it
// otherwise.
void TRtfReader::mergeRowCells()
{
    const int columns = std::min(FRowDef.Cells(), FTable->columns());
    for (int c = 0; c < columns; ++c) {
        if (FRowDef.Merge(c) != 1)
            continue;
        int span = 1;
        while (c + span < columns && FRowDef.Merge(c + span) == 2)
            ++span;
        if (span > 1 && FTable->cellAt(FRow, c).row() == FRow)
            FTable->mergeCells(FRow, c, 1, span);
    }
}

// A cell marked as merged into the one above joins it when both begin in
// the same column and are as wide.
void TRtfReader::mergeRowDown()
{
    for (int c = 0; FRow > 0 && c < std::min(FRowDef.Cells(), FTable->columns()); ++c) {
        if (FRowDef.VerticalMerge(c) != 2)
            continue;
        const QTextTableCell above = FTable->cellAt(FRow - 1, c);
        const QTextTableCell here = FTable->cellAt(FRow, c);
        if (above.column() == c && here.column() == c && here.row() == FRow && above.columnSpan() == here.columnSpan())
            FTable->mergeCells(above.row(), c, FRow - above.row() + 1, above.columnSpan());
    }
}

void TRtfReader::formatRowCells()
{
    bool cellBorders = false;
    const int columns = std::min(FRowDef.Cells(), FTable->columns());
    for (int c = 0; c < columns; ++c) {
        QTextTableCell cell = FTable->cellAt(FRow, c);
        const QTextTableCellFormat own = FRowDef.CellFormat(c, columns);
        if (cell.row() != FRow || cell.column() != c || own.properties().isEmpty())
            continue;
        QTextCharFormat f = cell.format();
        f.merge(own);
        cell.setFormat(f);
        cellBorders = cellBorders || hasCellBorders(own);
    }
    if (cellBorders && !FTable->format().borderCollapse()) {
        QTextTableFormat tf = FTable->format();
        tf.setBorderCollapse(true);
        FTable->setFormat(tf);
    }
}

// "text\par\cell" (pandoc) ends the cell's last paragraph twice: the empty
// one after the \par is no paragraph of the cell. With anything between
// them ("\par\pard\intbl\cell") it is one.
void TRtfReader::dropClosingParagraph()
{
    const QTextTableCell cell = FTable ? FTable->cellAt(FCursor) : QTextTableCell();
    if (cell.isValid() && FCursor.block().length() <= 1 && FCursor.block().position() > cell.firstPosition())
        FCursor.deletePreviousChar();
}

void TRtfReader::prepareInsert()
{
    if (!para().inTable)
        leaveTable();
    else
        ensureTableCell();
    startPendingRow();
}

void TRtfReader::text(QChar c)
{
    switch (st().dest) {
    case TDest::Skip:
    case TDest::Pict:
    case TDest::ListTable:
    case TDest::ListOverrides:
    case TDest::Pn: return;
    case TDest::ListText:
        if (FListText.size() < 64)
            FListText += c;
        return;
    case TDest::LevelText: FListTable.AddLevelText(c); return;
    case TDest::FieldInst:
        if (st().field >= 0 && FFields[st().field].size() < kMaxFieldInstruction)
            FFields[st().field] += c;
        return;
    case TDest::FontTable:
        if (c == QLatin1Char(';')) {
            while (FFonts.size() <= FFontNo && FFonts.size() < 4096)
                FFonts << QString();
            if (FFontNo < FFonts.size())
                FFonts[FFontNo] = FFontName.trimmed();
            FFontName.clear();
        } else {
            FFontName += c;
        }
        return;
    case TDest::ColorTable:
        if (c == QLatin1Char(';') && FColors.size() < 4096) {
            FColors << QColor(FRed, FGreen, FBlue);
            FRed = FGreen = FBlue = 0;
        }
        return;
    case TDest::Text: break;
    }
    if (FPending.isEmpty()) {
        prepareInsert();
        FPendingFormat = format();
    }
    FPending += c;
}

void TRtfReader::flushText()
{
    if (FPending.isEmpty())
        return;
    FCursor.insertText(FPending, FPendingFormat);
    FPending.clear();
}

// The characters after \uN that stand in for it are dropped; an escaped
// byte counts as one.
bool TRtfReader::skipFallback()
{
    if (FSkipChars <= 0)
        return false;
    --FSkipChars;
    return true;
}

// The code page of the current font, else the document's.
int TRtfReader::codePage() const
{
    const int page = FFontPages.value(FStack.back().font, -1);
    return page == -1 ? FCodePage : page;
}

void TRtfReader::hexByte(unsigned char b)
{
    if (skipFallback())
        return;
    rawByte(b);
}

// A byte that decodes to a control character is no text (\'01 is one in
// \leveltext only); a control character written as \uN is kept.
void TRtfReader::rawByte(unsigned char b)
{
    for (const QChar c : FDecoder.Decode(codePage(), b))
        if (c.unicode() >= 0x20 || c == QLatin1Char('\t') || st().dest != TDest::Text)
            text(c);
}

QTextBlockFormat TRtfReader::paragraphFormat() const
{
    QTextBlockFormat bf;
    bf.setAlignment(para().align);
    if (para().spaceBefore > 0)
        bf.setTopMargin(std::min(para().spaceBefore, 31680) / 15.0);
    if (para().spaceAfter > 0)
        bf.setBottomMargin(std::min(para().spaceAfter, 31680) / 15.0);
    const int line = std::clamp(para().lineSpacing, -31680, 31680);
    if (line > 0 && para().lineMultiple)
        bf.setLineHeight(std::max(line * 100 / 240, 10), QTextBlockFormat::ProportionalHeight);
    else if (line != 0 && !para().lineMultiple)
        bf.setLineHeight(std::abs(line) / 15.0, line > 0 ? QTextBlockFormat::MinimumHeight : QTextBlockFormat::FixedHeight);
    return bf;
}

// Which list a paragraph belongs to: the list table's \ls, else the \pn
// words, else the marker text of \pntext or \listtext. The key tells lists
// of the list table (their number) from the others (0).
bool TRtfReader::listOfParagraph(QTextListFormat& format, int& key) const
{
    const QString marker = FListText.trimmed();
    if (para().ls > 0 && FListTable.Knows(para().ls)) {
        format.setStyle(FListTable.Style(para().ls, para().level));
        format.setIndent(para().level + 1);
        key = para().ls;
    } else if (para().pnStyle != QTextListFormat::ListStyleUndefined) {
        format.setStyle(para().pnStyle);
        format.setIndent(std::clamp(para().pnLevel, 1, kListLevels));
        key = 0;
    } else if (!marker.isEmpty()) {
        const QChar first = marker.front();
        format.setStyle(first.isDigit() ? QTextListFormat::ListDecimal
                        : first.isLower() && marker.size() <= 3 ? QTextListFormat::ListLowerAlpha
                        : first.isUpper() && marker.size() <= 3 ? QTextListFormat::ListUpperAlpha : QTextListFormat::ListDisc);
        format.setIndent(std::clamp(qRound(std::max(0, para().left) / double(kIndentTwips)), 1, kListLevels));
        key = 0;
    }
    return format.style() != QTextListFormat::ListStyleUndefined;
}

// Items of one list and level join one QTextList; an item of a higher level
// ends the lists below it, a paragraph outside lists ends them all.
void TRtfReader::applyList()
{
    QTextListFormat lf;
    int key = 0;
    if (!listOfParagraph(lf, key)) {
        FOpenLists.clear();
        return;
    }
    for (auto it = FOpenLists.begin(); it != FOpenLists.end();)
        it = it.key().second > lf.indent() || (it.value()->format().style() != lf.style() && it.key().second == lf.indent())
                 ? FOpenLists.erase(it) : std::next(it);
    const QPair<int, int> id(key, lf.indent());
    if (QTextList* open = FOpenLists.value(id))
        open->add(FCursor.block());
    else
        FOpenLists.insert(id, FCursor.createList(lf));
}

void TRtfReader::endParagraph()
{
    QTextBlockFormat bf = paragraphFormat();
    const int left = std::max(0, para().left);
    QTextListFormat probe;
    int key = 0;
    if (!listOfParagraph(probe, key)) {   // a list item's indent is its list's
        if (left % kIndentTwips == 0)   // whole indent steps, as the editor's indent command makes them
            bf.setIndent(left / kIndentTwips);
        else
            bf.setLeftMargin(left / 15.0);
        bf.setTextIndent(para().first / 15.0);
    }
    FCursor.setBlockFormat(bf);
    applyList();
    FListText.clear();
    FCursor.insertBlock();
}

// A picture inside \shppict is read; its stand-in \nonshppict (a metafile
// of the same picture) is not.
bool TRtfReader::destinationWord(const QString& word)
{
    static const QStringList skipped = {"info", "stylesheet", "header", "footer", "headerl", "headerr", "footerl",
                                        "footerr", "footnote", "object", "themedata", "rsidtbl", "xmlnstbl",
                                        "generator", "pgdsctbl", "nonshppict", "pntxtb", "pntxta"};
    if (word == QLatin1String("fonttbl"))
        st().dest = TDest::FontTable;
    else if (word == QLatin1String("colortbl"))
        st().dest = TDest::ColorTable;
    else if (word == QLatin1String("pict")) {
        st().dest = st().dest == TDest::Text ? TDest::Pict : TDest::Skip;
        FPicture = TRtfPicture{};
    } else if (word == QLatin1String("pntext") || word == QLatin1String("listtext"))
        st().dest = TDest::ListText;
    else if (word == QLatin1String("listtable"))
        st().dest = TDest::ListTable;
    else if (word == QLatin1String("listoverridetable"))
        st().dest = TDest::ListOverrides;
    else if (word == QLatin1String("pn"))
        st().dest = st().dest == TDest::Text ? TDest::Pn : TDest::Skip;
    else if (skipped.contains(word))
        st().dest = TDest::Skip;
    else
        return word == QLatin1String("shppict") || fieldWord(word);
    return true;
}

// {\field{\*\fldinst HYPERLINK "address"}{\fldrslt text}}: the result is
// the text, a link when the instruction is HYPERLINK.
bool TRtfReader::fieldWord(const QString& word)
{
    if (word == QLatin1String("field")) {
        if (FFields.size() < 100000) {
            FFields << QString();
            st().field = static_cast<int>(FFields.size() - 1);
        }
    } else if (word == QLatin1String("fldinst")) {
        st().dest = st().dest == TDest::Text && st().field >= 0 ? TDest::FieldInst : TDest::Skip;
    } else if (word == QLatin1String("fldrslt")) {
        if (st().field >= 0 && st().dest == TDest::Text) {
            const QString target = hyperlinkTarget(FFields[st().field]);
            if (!target.isEmpty())
                st().href = target;
        }
    } else {
        return false;
    }
    return true;
}

bool TRtfReader::listTableWord(const QString& w, int arg)
{
    const TDest dest = st().dest;
    if (dest == TDest::ListTable || dest == TDest::LevelText) {
        if (w == QLatin1String("list")) FListTable.BeginList();
        else if (w == QLatin1String("listlevel")) FListTable.BeginLevel();
        else if (w == QLatin1String("levelnfc") || w == QLatin1String("levelnfcn")) FListTable.SetLevelNumberFormat(arg);
        else if (w == QLatin1String("leveltext")) st().dest = TDest::LevelText;
        else if (w == QLatin1String("listid")) FListTable.SetListId(arg);
        else if (w == QLatin1String("listname") || w == QLatin1String("levelnumbers")) st().dest = TDest::Skip;
        else return dest == TDest::ListTable;
        return true;
    }
    if (dest != TDest::ListOverrides)
        return false;
    if (w == QLatin1String("listoverride")) FListTable.BeginOverride();
    else if (w == QLatin1String("listid")) FListTable.SetOverrideListId(arg);
    else if (w == QLatin1String("ls")) FListTable.SetOverrideNumber(arg);
    else if (w == QLatin1String("lfolevel")) st().dest = TDest::Skip;
    return true;
}

// The words of a {\*\pn ...} group: the paragraph's numbering kind and level.
void TRtfReader::pnWord(const QString& w, int arg)
{
    const QTextListFormat::Style style = PnWordStyle(w);
    if (w == QLatin1String("pnlvlbody") && para().pnStyle != QTextListFormat::ListStyleUndefined)
        return;   // the body level keeps a kind named before it
    if (style != QTextListFormat::ListStyleUndefined)
        para().pnStyle = style;
    else if (w == QLatin1String("pnlvl")) {
        para().pnLevel = std::clamp(arg, 1, kListLevels);
        if (para().pnStyle == QTextListFormat::ListStyleUndefined)
            para().pnStyle = QTextListFormat::ListDecimal;
    } else if (w == QLatin1String("pntxtb") || w == QLatin1String("pntxta"))
        st().dest = TDest::Skip;
}

void TRtfReader::fontTableWord(const QString& w, int arg)
{
    if (w == QLatin1String("f"))
        FFontNo = std::clamp(arg, 0, 4095);
    else if (w == QLatin1String("fcharset") && FFontPages.size() < 4096)
        FFontPages.insert(FFontNo, CharsetCodePage(arg));
    else if (w == QLatin1String("cpg") && arg > 0 && arg < 100000 && FFontPages.size() < 4096)
        FFontPages.insert(FFontNo, arg);
}

bool TRtfReader::pictureWord(const QString& w, int arg)
{
    static const QHash<QString, QByteArray> kinds = {{"pngblip", "png"},   {"jpegblip", "jpeg"}, {"emfblip", "emf"},
                                                     {"wmetafile", "wmf"}, {"dibitmap", "dib"},  {"wbitmap", "ddb"},
                                                     {"macpict", "pict"},  {"pmmetafile", "pm"}};
    if (const auto kind = kinds.constFind(w); kind != kinds.constEnd()) FPicture.Kind = *kind;
    else if (w == QLatin1String("picwgoal")) FPicture.GoalWidth = arg;
    else if (w == QLatin1String("pichgoal")) FPicture.GoalHeight = arg;
    else if (w == QLatin1String("picscalex")) FPicture.ScaleX = arg;
    else if (w == QLatin1String("picscaley")) FPicture.ScaleY = arg;
    else return false;
    return true;
}

// \plain: the character properties as at the start, all else kept.
void TRtfReader::plainCharacters()
{
    TState& s = st();
    s.bold = s.italic = s.underline = false;
    s.halfPoints = 24;
    s.color = 0;
    s.font = FDefaultFont;
}

bool TRtfReader::characterWord(const QString& w, bool hasArg, int arg)
{
    const bool on = !hasArg || arg != 0;
    if (w == QLatin1String("b")) st().bold = on;
    else if (w == QLatin1String("i")) st().italic = on;
    else if (w == QLatin1String("ul")) st().underline = on;
    else if (w == QLatin1String("ulnone")) st().underline = false;
    else if (w == QLatin1String("fs")) st().halfPoints = std::clamp(arg, 2, 3276);
    else if (w == QLatin1String("f")) st().font = std::clamp(arg, 0, 4095);
    else if (w == QLatin1String("deff")) FDefaultFont = st().font = std::clamp(arg, 0, 4095);
    else if (w == QLatin1String("cf")) st().color = std::clamp(arg, 0, 4095);
    else if (w == QLatin1String("plain")) plainCharacters();
    else if (w == QLatin1String("red")) FRed = std::clamp(arg, 0, 255);
    else if (w == QLatin1String("green")) FGreen = std::clamp(arg, 0, 255);
    else if (w == QLatin1String("blue")) FBlue = std::clamp(arg, 0, 255);
    else if (w == QLatin1String("uc")) st().ucSkip = std::clamp(arg, 0, 10);
    else if (w == QLatin1String("u")) { text(QChar(static_cast<char16_t>(arg))); FSkipChars = st().ucSkip; }
    else if (w == QLatin1String("ansicpg")) FCodePage = arg > 0 && arg < 100000 ? arg : 1252;
    else return false;
    return true;
}

bool TRtfReader::paragraphWord(const QString& w, int arg)
{
    if (w == QLatin1String("line") || w == QLatin1String("tab")) {
        text(w == QLatin1String("tab") ? QChar('\t') : QChar::LineSeparator);
        return true;
    }
    if (st().dest == TDest::ListText && w == QLatin1String("par"))
        listTextAsText();
    if (st().dest != TDest::Text)
        return w == QLatin1String("par") || w == QLatin1String("pard");   // inside \listtext they are no paragraph
    if (w == QLatin1String("par")) {
        if (!para().inTable) {
            leaveTable();
        } else {   // a paragraph inside a cell, also the cell's first one
            ensureTableCell();
            startPendingRow();
            FCursor.insertBlock();
            FCellPar = true;
            return true;
        }
        if (!para().inTable)
            endParagraph();
    } else if (w == QLatin1String("pard")) para() = TPara{};
    else if (w == QLatin1String("ql")) para().align = Qt::AlignLeft;
    else if (w == QLatin1String("qc")) para().align = Qt::AlignHCenter;
    else if (w == QLatin1String("qr")) para().align = Qt::AlignRight;
    else if (w == QLatin1String("qj")) para().align = Qt::AlignJustify;
    else if (w == QLatin1String("li")) para().left = arg;
    else if (w == QLatin1String("fi")) para().first = arg;
    else if (w == QLatin1String("intbl")) para().inTable = true;
    else if (w == QLatin1String("ls")) para().ls = arg;
    else if (w == QLatin1String("ilvl")) para().level = std::clamp(arg, 0, kListLevels - 1);
    else if (spacingWord(w, arg)) return true;
    else return false;
    return true;
}

// A marker holds no paragraph end: a \listtext group with \par in it
// (AbiWord writes such) is the paragraph's text.
void TRtfReader::listTextAsText()
{
    for (auto it = FStack.rbegin(); it != FStack.rend() && it->dest == TDest::ListText; ++it)
        it->dest = TDest::Text;
    const QString marker = std::exchange(FListText, QString());
    for (const QChar c : marker)
        text(c);
}

bool TRtfReader::spacingWord(const QString& w, int arg)
{
    if (w == QLatin1String("sb")) para().spaceBefore = arg;
    else if (w == QLatin1String("sa")) para().spaceAfter = arg;
    else if (w == QLatin1String("sl")) para().lineSpacing = arg;
    else if (w == QLatin1String("slmult")) para().lineMultiple = arg == 1;
    else return false;
    return true;
}

bool TRtfReader::tableWord(const QString& w, int arg)
{
    if (w == QLatin1String("trowd")) {
        para().inTable = true;   // text of a row defined here belongs to its cells, \intbl or not
        FRowDef.Reset();
    } else if (FRowDef.Word(w, arg, FColors)) {
        return true;
    } else if (w == QLatin1String("cell")) {
        para().inTable = true;
        ensureTableCell();
        startPendingRow();
        if (std::exchange(FCellPar, false))
            dropClosingParagraph();
        if (FTable && FCol + 1 < FTable->columns())
            FCursor = FTable->cellAt(FRow, ++FCol).firstCursorPosition();
        else if (FTable)
            ++FCol;
    } else if (w == QLatin1String("row")) {
        if (FTable) {
            formatRowCells();
            mergeRowCells();
            mergeRowDown();
            FRowPending = true;
        }
    } else {
        return false;
    }
    return true;
}

void TRtfReader::controlWord(const QString& word, bool hasArg, int arg)
{
    const bool ignorable = std::exchange(FIgnorable, false);
    if (word != QLatin1String("cell"))
        FCellPar = false;
    const TDest dest = st().dest;
    if (dest == TDest::Skip)
        return;
    if (dest == TDest::FontTable)
        fontTableWord(word, arg);
    if (dest == TDest::Pn) {
        pnWord(word, arg);
        return;
    }
    if (listTableWord(word, arg) || (dest == TDest::Pict && pictureWord(word, arg)) || destinationWord(word))
        return;
    if (ignorable) {   // a destination this reader does not know
        st().dest = TDest::Skip;
        return;
    }
    if (characterWord(word, hasArg, arg) || paragraphWord(word, arg) || tableWord(word, arg))
        return;
    static const QHash<QString, char16_t> symbols = {{"bullet", 0x2022}, {"emdash", 0x2014}, {"endash", 0x2013},
                                                     {"lquote", 0x2018}, {"rquote", 0x2019}, {"ldblquote", 0x201C},
                                                     {"rdblquote", 0x201D}, {"emspace", 0x2003}, {"enspace", 0x2002}};
    if (const auto it = symbols.constFind(word); it != symbols.constEnd())
        text(QChar(*it));
}

// A picture Qt cannot decode is left out, without a stand-in character.
void TRtfReader::insertPicture()
{
    QTextImageFormat f;
    if (!FPicture.AddTo(FDoc, f))
        return;
    f.merge(format());
    prepareInsert();
    FCursor.insertImage(f);
}

// \binN: N bytes of binary data follow; only a picture keeps them.
void TRtfReader::binaryData(qsizetype count)
{
    count = std::clamp<qsizetype>(count, 0, FIn.size() - FPos);
    if (st().dest == TDest::Pict)
        for (qsizetype i = 0; i < count && FPicture.Room() > 0; ++i)
            FPicture.AddByte(static_cast<char>(FIn.at(FPos + i).unicode()));
    FPos += count;
}

void TRtfReader::groupEnd()
{
    FSkipChars = 0;
    if (FOverflow > 0) {
        --FOverflow;
        return;
    }
    if (FStack.size() <= 1)
        return;   // a brace too many: ignored
    const TDest dest = st().dest;
    FStack.pop_back();
    if (dest == TDest::Pict && st().dest != TDest::Pict) {
        TState& outer = st();
        const TDest saved = outer.dest;
        outer.dest = TDest::Text;
        insertPicture();
        outer.dest = saved;
    }
}

// The last paragraph has no \par of its own: it takes the paragraph
// properties in force when the document's group closes.
void TRtfReader::finishLastParagraph()
{
    if (!FTable)
        FCursor.setBlockFormat(paragraphFormat());
}

void TRtfReader::groupStart()
{
    FSkipChars = 0;
    FIgnorable = false;
    if (FStack.size() < kMaxDepth)
        FStack.push_back(FStack.back());
    else
        ++FOverflow;
}

// False when the document's group is closed: what follows (RichEdit's NUL)
// is not text.
bool TRtfReader::closeGroup()
{
    FIgnorable = false;
    if (FStack.size() == 2 && FOverflow == 0)
        finishLastParagraph();
    groupEnd();
    return FStack.size() > 1 || FOverflow > 0;
}

// A control word: letters, an optional signed number of at most ten
// digits, and a blank that belongs to it.
void TRtfReader::controlWordAt()
{
    const qsizetype n = FIn.size(), start = FPos;
    while (FPos < n && FIn.at(FPos).isLetter() && FPos - start < 32)
        ++FPos;
    const QString word = FIn.mid(start, FPos - start);
    const qsizetype numStart = FPos;
    if (FPos < n && FIn.at(FPos) == QLatin1Char('-'))
        ++FPos;
    while (FPos < n && FIn.at(FPos).isDigit() && FPos - numStart < 10)
        ++FPos;
    const bool hasArg = FPos > numStart && !(FPos == numStart + 1 && FIn.at(numStart) == QLatin1Char('-'));
    const int arg = hasArg ? FIn.mid(numStart, FPos - numStart).toInt() : 0;
    if (FPos < n && FIn.at(FPos) == QLatin1Char(' '))
        ++FPos;
    flushText();
    if (word == QLatin1String("bin") && hasArg)
        binaryData(arg);
    else
        controlWord(word, hasArg, arg);
}

// What follows a backslash.
void TRtfReader::control()
{
    const QChar d = FIn.at(FPos);
    if (d.isLetter()) {
        controlWordAt();
        return;
    }
    ++FPos;
    if (d == QLatin1Char('\'')) {
        bool ok = false;
        const int b = FIn.mid(FPos, 2).toInt(&ok, 16);
        FPos += 2;
        if (ok)
            hexByte(static_cast<unsigned char>(b));
    } else if (d == QLatin1Char('*')) {
        FIgnorable = true;
    } else if (d == QLatin1Char('~')) {
        text(QChar(0xA0));
    } else if (d == QLatin1Char('_')) {
        text(QChar(0x2011));
    } else if (d == QLatin1Char('\\') || d == QLatin1Char('{') || d == QLatin1Char('}')) {
        text(d);
    } else if (d == QLatin1Char('\n') || d == QLatin1Char('\r')) {
        flushText();
        paragraphWord(QStringLiteral("par"), 0);
    }
}

void TRtfReader::character(QChar c)
{
    if (c.unicode() < 0x20 && c != QLatin1Char('\t'))
        return;   // line ends and control characters are no text
    if (st().dest == TDest::Pict) {
        if (c.unicode() < 128)
            FPicture.AddHexDigit(c.toLatin1());
    } else if (skipFallback()) {
        return;
    } else if ((c.unicode() >= 0x80 && c.unicode() <= 0xFF) || (FDecoder.LeadPending() && c.unicode() < 0x80)) {
        rawByte(static_cast<unsigned char>(c.unicode()));   // 8-bit text: a byte of the code page
    } else {
        text(c);
    }
}

void TRtfReader::Read()
{
    while (FPos < FIn.size()) {
        const QChar c = FIn.at(FPos++);
        if (c == QLatin1Char('{')) {
            flushText();
            groupStart();
        } else if (c == QLatin1Char('}')) {
            flushText();
            if (!closeGroup())
                return;
        } else if (c == QLatin1Char('\\')) {
            if (FPos < FIn.size())
                control();
        } else {
            character(c);
        }
    }
    flushText();
    if (FStack.size() > 1)
        finishLastParagraph();   // the input ends inside the document's group
}

}  // namespace

QString RtfTextFromBytes(const QByteArray& bytes)
{
    const QByteArray text = bytes.startsWith("\xef\xbb\xbf") ? bytes.mid(3) : bytes;
    return LooksLikeRtf(QString::fromLatin1(text.left(64))) ? QString::fromLatin1(text) : DecodeTextFileBytes(text);
}

bool LooksLikeRtf(const QString& text)
{
    return text.trimmed().startsWith(QLatin1String("{\\rtf"));
}

void RtfToDocument(const QString& rtf, QTextDocument& document)
{
    document.clear();
    if (!LooksLikeRtf(rtf)) {
        document.setPlainText(rtf);
        return;
    }
    TRtfReader(rtf, document).Read();
    // A document ends with an empty block after the last \par: drop it.
    QTextCursor end(&document);
    end.movePosition(QTextCursor::End);
    if (end.block().text().isEmpty() && end.block().previous().isValid() && !end.currentTable()) {
        end.movePosition(QTextCursor::PreviousCharacter, QTextCursor::KeepAnchor);
        if (end.selectedText() == QString(QChar::ParagraphSeparator))
            end.removeSelectedText();
    }
}

}  // namespace kalvex
