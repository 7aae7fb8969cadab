#include "compose/rtf/RtfReader.h"

#include "compose/TableCommands.h"

#include <QImage>
#include <QStringDecoder>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextList>
#include <QTextTable>
#include <QUrl>
#include <QUuid>

namespace kalvex {

namespace {

constexpr int kMaxDepth = 4096;   // deeper groups are counted, not stacked

enum class TDest { Text, Skip, FontTable, ColorTable, Pict, ListText };

struct TState {
    TDest dest = TDest::Text;
    bool bold = false, italic = false, underline = false;
    int halfPoints = 24, font = 0, color = 0;
    int ucSkip = 1;
};

// A cell as its row definition describes it.
struct TCellDef {
    int merge = 0, verticalMerge = 0;   // 1 first of a merge, 2 merged into the one before (above)
    QTextTableCellFormat format;
    int styledSides = 0;   // sides with a line style: without a width of their own they follow the table
};

constexpr int kIndentTwips = 720;
constexpr int kRowBorder = 4;   // \brdr words of the row, not of a cell side

bool hasCellBorders(const QTextTableCellFormat& format)
{
    for (TBorderSide side : {TBorderSide::Left, TBorderSide::Right, TBorderSide::Top, TBorderSide::Bottom})
        if (CellBorderWidth(format, side) >= 0 || CellBorderColor(format, side).isValid())
            return true;
    return false;
}

bool followsTableBorder(const TCellDef& cell)
{
    for (TBorderSide side : {TBorderSide::Left, TBorderSide::Right, TBorderSide::Top, TBorderSide::Bottom})
        if ((cell.styledSides & (1 << int(side))) && CellBorderWidth(cell.format, side) < 0)
            return true;
    return false;
}

struct TPara {
    Qt::Alignment align = Qt::AlignLeft;
    int left = 0, first = 0;
    bool inTable = false;
};

QChar cp1252(unsigned char b)
{
    static const char16_t high[32] = {0x20AC, 0x81, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
                                      0x2039, 0x0152, 0x8D, 0x017D, 0x8F, 0x90, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
                                      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D, 0x017E, 0x0178};
    return b >= 0x80 && b < 0xA0 ? QChar(high[b - 0x80]) : QChar(b);
}

class TRtfReader {
public:
    TRtfReader(const QString& rtf, QTextDocument& doc) : FIn(rtf), FDoc(doc), FCursor(&doc) {}
    void Read();

private:
    void controlWord(const QString& word, bool hasArg, int arg);
    bool destinationWord(const QString& word);
    bool characterWord(const QString& word, bool hasArg, int arg);
    bool paragraphWord(const QString& word, int arg);
    bool tableWord(const QString& word, int arg);
    void text(QChar c);
    void hexByte(unsigned char b);
    void groupEnd();
    void endParagraph();
    void ensureTableCell();
    void leaveTable();
    void startPendingRow();
    void prepareInsert();
    void mergeRowCells();
    void mergeRowDown();
    void formatRowCells();
    bool cellWord(const QString& word, int arg);
    bool borderWord(const QString& word, int arg);
    QTextTableFormat tableFormat() const;
    QColor colorAt(int index) const;
    void insertPicture();
    QTextCharFormat format() const;
    TState& st() { return FStack.back(); }

    const QString& FIn;
    qsizetype FPos = 0;
    QTextDocument& FDoc;
    QTextCursor FCursor;
    std::vector<TState> FStack{TState{}};
    int FOverflow = 0;
    int FSkipChars = 0;
    TPara FPara;
    QStringList FFonts;
    QList<QColor> FColors;
    int FRed = 0, FGreen = 0, FBlue = 0;
    QString FFontName;
    int FFontNo = 0;
    QString FListText;
    QByteArray FPict;
    QByteArray FPictFormat = "PNG";
    QString FCodePage = QStringLiteral("windows-1252");
    // Tables.
    QTextTable* FTable = nullptr;
    QList<int> FCellX;
    QList<int> FRowCellX;
    QList<TCellDef> FRowCells;
    TCellDef FNextCell;
    int FBorderSide = -1;   // TBorderSide of the cell border being described, or kRowBorder
    int FRowWidth = 0, FRowWidthType = 0;
    int FRow = 0, FCol = 0;
    bool FRowPending = false;
    bool FBorders = false;
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
    return f;
}

void TRtfReader::ensureTableCell()
{
    if (!FPara.inTable || FTable)
        return;
    const int columns = std::max<int>(1, static_cast<int>(FRowCellX.size()));
    const QTextTableFormat tf = tableFormat();
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

// Column widths from the cell edges; a table of relative width keeps them
// as shares of the whole.
QTextTableFormat TRtfReader::tableFormat() const
{
    QTextTableFormat tf;
    tf.setBorder(FBorders ? 1 : 0);
    tf.setCellPadding(2);
    QList<QTextLength> widths;
    int previous = 0;
    for (int x : FRowCellX) {
        widths << QTextLength(QTextLength::FixedLength, std::max(10, (x - previous) / 15));
        previous = x;
    }
    if (FRowWidthType == 2 && FRowWidth > 0) {
        tf.setWidth(QTextLength(QTextLength::PercentageLength, std::min(FRowWidth, 5000) / 50.0));
        const double sum = std::max(1, previous / 15);
        for (QTextLength& w : widths)
            w = QTextLength(QTextLength::PercentageLength, 100.0 * w.rawValue() / sum);
    } else if (FRowWidthType == 3 && FRowWidth > 0) {
        tf.setWidth(QTextLength(QTextLength::FixedLength, std::min(FRowWidth, 100000) / 15.0));   // at most 1.76 m
    }
    tf.setColumnWidthConstraints(widths);
    return tf;
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
    for (int c = 0; c < FRowCells.size() && c < FTable->columns(); ++c) {
        if (FRowCells[c].merge != 1)
            continue;
        int span = 1;
        while (c + span < FRowCells.size() && c + span < FTable->columns() && FRowCells[c + span].merge == 2)
            ++span;
        if (span > 1 && FTable->cellAt(FRow, c).row() == FRow)
            FTable->mergeCells(FRow, c, 1, span);
    }
}

// A cell marked as merged into the one above joins it when both begin in
// the same column and are as wide.
void TRtfReader::mergeRowDown()
{
    for (int c = 0; FRow > 0 && c < FRowCells.size() && c < FTable->columns(); ++c) {
        if (FRowCells[c].verticalMerge != 2)
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
    for (int c = 0; c < FRowCells.size() && c < FTable->columns(); ++c) {
        QTextTableCell cell = FTable->cellAt(FRow, c);
        if (cell.row() != FRow || cell.column() != c || FRowCells[c].format.properties().isEmpty())
            continue;
        QTextCharFormat f = cell.format();
        f.merge(FRowCells[c].format);
        cell.setFormat(f);
        cellBorders = cellBorders || hasCellBorders(FRowCells[c].format);
    }
    if (cellBorders && !FTable->format().borderCollapse()) {
        QTextTableFormat tf = FTable->format();
        tf.setBorderCollapse(true);
        FTable->setFormat(tf);
    }
}

void TRtfReader::prepareInsert()
{
    if (!FPara.inTable)
        leaveTable();
    else
        ensureTableCell();
    startPendingRow();
}

void TRtfReader::text(QChar c)
{
    if (FSkipChars > 0) {
        --FSkipChars;
        return;
    }
    switch (st().dest) {
    case TDest::Skip:
    case TDest::Pict: return;
    case TDest::ListText: FListText += c; return;
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
    prepareInsert();
    FCursor.insertText(QString(c), format());
}

void TRtfReader::hexByte(unsigned char b)
{
    if (FCodePage == QLatin1String("windows-1252")) {
        text(cp1252(b));
        return;
    }
    QStringDecoder decoder(FCodePage.toLatin1().constData());
    const QString s = decoder.isValid() ? decoder.decode(QByteArray(1, static_cast<char>(b))) : QString(cp1252(b));
    text(s.isEmpty() ? cp1252(b) : s.at(0));
}

void TRtfReader::endParagraph()
{
    QTextBlockFormat bf;
    bf.setAlignment(FPara.align);
    const int left = std::max(0, FPara.left);
    if (left % kIndentTwips == 0)   // whole indent steps, as the editor's indent command makes them
        bf.setIndent(left / kIndentTwips);
    else
        bf.setLeftMargin(left / 15.0);
    bf.setTextIndent(FPara.first / 15.0);
    if (!FListText.isEmpty()) {
        bf = QTextBlockFormat();
        bf.setAlignment(FPara.align);
    }
    FCursor.setBlockFormat(bf);
    if (!FListText.trimmed().isEmpty()) {
        const bool numbered = FListText.trimmed().front().isDigit();
        QTextListFormat lf;
        lf.setStyle(numbered ? QTextListFormat::ListDecimal : QTextListFormat::ListDisc);
        lf.setIndent(std::clamp(qRound(left / double(kIndentTwips)), 1, 16));
        QTextBlock previous = FCursor.block().previous();
        if (previous.isValid() && previous.textList() && previous.textList()->format().style() == lf.style()
            && previous.textList()->format().indent() == lf.indent())
            previous.textList()->add(FCursor.block());
        else
            FCursor.createList(lf);
    }
    FListText.clear();
    FCursor.insertBlock();
}

bool TRtfReader::destinationWord(const QString& word)
{
    static const QStringList skipped = {"info", "stylesheet", "header", "footer", "headerl", "headerr", "footerl",
                                        "footerr", "footnote", "fldinst", "object", "themedata", "listtable",
                                        "listoverridetable", "rsidtbl", "xmlnstbl", "generator", "pgdsctbl"};
    if (word == QLatin1String("fonttbl"))
        st().dest = TDest::FontTable;
    else if (word == QLatin1String("colortbl"))
        st().dest = TDest::ColorTable;
    else if (word == QLatin1String("pict")) {
        st().dest = TDest::Pict;
        FPict.clear();
        FPictFormat = "PNG";
    } else if (word == QLatin1String("pntext") || word == QLatin1String("listtext"))
        st().dest = TDest::ListText;
    else if (skipped.contains(word))
        st().dest = TDest::Skip;
    else
        return false;
    return true;
}

bool TRtfReader::characterWord(const QString& w, bool hasArg, int arg)
{
    const bool on = !hasArg || arg != 0;
    if (w == QLatin1String("b")) st().bold = on;
    else if (w == QLatin1String("i")) st().italic = on;
    else if (w == QLatin1String("ul")) st().underline = on;
    else if (w == QLatin1String("ulnone")) st().underline = false;
    else if (w == QLatin1String("fs")) st().halfPoints = std::clamp(arg, 2, 3276);
    else if (w == QLatin1String("f")) { st().font = std::clamp(arg, 0, 4095); FFontNo = st().font; }
    else if (w == QLatin1String("cf")) st().color = std::clamp(arg, 0, 4095);
    else if (w == QLatin1String("plain")) { const TDest d = st().dest; const int uc = st().ucSkip; st() = TState{}; st().dest = d; st().ucSkip = uc; }
    else if (w == QLatin1String("red")) FRed = std::clamp(arg, 0, 255);
    else if (w == QLatin1String("green")) FGreen = std::clamp(arg, 0, 255);
    else if (w == QLatin1String("blue")) FBlue = std::clamp(arg, 0, 255);
    else if (w == QLatin1String("uc")) st().ucSkip = std::clamp(arg, 0, 10);
    else if (w == QLatin1String("u")) { text(QChar(static_cast<char16_t>(arg < 0 ? arg + 65536 : arg))); FSkipChars = st().ucSkip; }
    else if (w == QLatin1String("ansicpg")) FCodePage = arg == 1252 ? QStringLiteral("windows-1252") : QStringLiteral("windows-%1").arg(arg);
    else if (w == QLatin1String("pngblip")) FPictFormat = "PNG";
    else if (w == QLatin1String("jpegblip")) FPictFormat = "JPEG";
    else return false;
    return true;
}

bool TRtfReader::paragraphWord(const QString& w, int arg)
{
    if (w == QLatin1String("par")) {
        if (st().dest != TDest::Text)
            return true;
        if (!FPara.inTable) {
            leaveTable();
        } else {   // a paragraph inside a cell, also the cell's first one
            ensureTableCell();
            startPendingRow();
            FCursor.insertBlock();
        }
        if (!FPara.inTable)
            endParagraph();
    } else if (w == QLatin1String("pard")) FPara = TPara{};
    else if (w == QLatin1String("ql")) FPara.align = Qt::AlignLeft;
    else if (w == QLatin1String("qc")) FPara.align = Qt::AlignHCenter;
    else if (w == QLatin1String("qr")) FPara.align = Qt::AlignRight;
    else if (w == QLatin1String("qj")) FPara.align = Qt::AlignJustify;
    else if (w == QLatin1String("li")) FPara.left = arg;
    else if (w == QLatin1String("fi")) FPara.first = arg;
    else if (w == QLatin1String("intbl")) FPara.inTable = true;
    else if (w == QLatin1String("line")) text(QChar::LineSeparator);
    else if (w == QLatin1String("tab")) text(QLatin1Char('\t'));
    else return false;
    return true;
}

bool TRtfReader::tableWord(const QString& w, int arg)
{
    if (w == QLatin1String("trowd")) {
        FPara.inTable = true;   // text of a row defined here belongs to its cells, \intbl or not
        FRowCellX.clear();
        FRowCells.clear();
        FNextCell = TCellDef{};
        FBorderSide = -1;
        FRowWidth = FRowWidthType = 0;
    } else if (w == QLatin1String("cellx")) {
        if (FRowCellX.size() < 64) {
            FRowCellX << arg;
            FRowCells << FNextCell;
        }
        FBorders = FBorders || followsTableBorder(FNextCell);
        FNextCell = TCellDef{};
        FBorderSide = -1;
    } else if (w == QLatin1String("trwWidth")) {
        FRowWidth = arg;
    } else if (w == QLatin1String("trftsWidth")) {
        FRowWidthType = arg;
    } else if (cellWord(w, arg) || borderWord(w, arg)) {
        return true;
    } else if (w == QLatin1String("cell")) {
        FPara.inTable = true;
        ensureTableCell();
        startPendingRow();
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

QColor TRtfReader::colorAt(int index) const
{
    return index > 0 && index < FColors.size() ? FColors[index] : QColor();
}

// What a row definition says about its next cell.
bool TRtfReader::cellWord(const QString& w, int arg)
{
    static const QHash<QString, QTextCharFormat::VerticalAlignment> vertical = {
        {"clvertalt", QTextCharFormat::AlignTop}, {"clvertalc", QTextCharFormat::AlignMiddle},
        {"clvertalb", QTextCharFormat::AlignBottom}};
    if (w == QLatin1String("clmgf")) FNextCell.merge = 1;
    else if (w == QLatin1String("clmrg")) FNextCell.merge = 2;
    else if (w == QLatin1String("clvmgf")) FNextCell.verticalMerge = 1;
    else if (w == QLatin1String("clvmrg")) FNextCell.verticalMerge = 2;
    else if (vertical.contains(w)) FNextCell.format.setVerticalAlignment(vertical.value(w));
    else if (w == QLatin1String("clcbpat") && colorAt(arg).isValid()) FNextCell.format.setBackground(colorAt(arg));
    else return w == QLatin1String("clcbpat");
    return true;
}

// \clbrdrX picks a side of the next cell, \trbrdrX the row; the \brdr
// words after it describe that border.
bool TRtfReader::borderWord(const QString& w, int arg)
{
    static const QHash<QString, int> sides = {
        {"clbrdrl", int(TBorderSide::Left)}, {"clbrdrr", int(TBorderSide::Right)},
        {"clbrdrt", int(TBorderSide::Top)}, {"clbrdrb", int(TBorderSide::Bottom)}};
    if (sides.contains(w)) {
        FBorderSide = sides.value(w);
        return true;
    }
    if (w.startsWith(QLatin1String("trbrdr")))
        FBorderSide = kRowBorder;
    if (!w.startsWith(QLatin1String("brdr")))
        return w.startsWith(QLatin1String("trbrdr"));
    if (FBorderSide < 0 || FBorderSide == kRowBorder) {
        FBorders = FBorders || (w != QLatin1String("brdrnone") && w != QLatin1String("brdrw") && w != QLatin1String("brdrcf"));
        return true;
    }
    auto& f = FNextCell.format;
    const auto side = static_cast<TBorderSide>(FBorderSide);
    if (w == QLatin1String("brdrnone"))
        SetCellBorder(f, side, 0);
    else if (w == QLatin1String("brdrw"))
        SetCellBorder(f, side, std::clamp(arg, 1, 255) / 15.0);
    else if (w == QLatin1String("brdrcf") && colorAt(arg).isValid())
        SetCellBorderColor(f, side, colorAt(arg));
    else if (w != QLatin1String("brdrcf"))
        FNextCell.styledSides |= 1 << FBorderSide;
    return true;
}

void TRtfReader::controlWord(const QString& word, bool hasArg, int arg)
{
    if (st().dest == TDest::Skip)
        return;
    if (destinationWord(word) || characterWord(word, hasArg, arg) || paragraphWord(word, arg) || tableWord(word, arg))
        return;
    static const QHash<QString, char16_t> symbols = {{"bullet", 0x2022}, {"emdash", 0x2014}, {"endash", 0x2013},
                                                     {"lquote", 0x2018}, {"rquote", 0x2019}, {"ldblquote", 0x201C},
                                                     {"rdblquote", 0x201D}, {"emspace", 0x2003}, {"enspace", 0x2002}};
    if (const auto it = symbols.constFind(word); it != symbols.constEnd())
        text(QChar(*it));
}

void TRtfReader::insertPicture()
{
    QImage image;
    const QByteArray data = QByteArray::fromHex(FPict);
    if (!image.loadFromData(data, FPictFormat.constData()) && !image.loadFromData(data))
        return;
    const QUrl name(QStringLiteral("kalvex-image://%1").arg(QUuid::createUuid().toString(QUuid::WithoutBraces)));
    FDoc.addResource(QTextDocument::ImageResource, name, image);
    QTextImageFormat f;
    f.setName(name.toString());
    f.setWidth(image.width());
    f.setHeight(image.height());
    prepareInsert();
    FCursor.insertImage(f);
}

void TRtfReader::groupEnd()
{
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

void TRtfReader::Read()
{
    const qsizetype n = FIn.size();
    while (FPos < n) {
        const QChar c = FIn.at(FPos++);
        if (c == QLatin1Char('{')) {
            if (FStack.size() < kMaxDepth)
                FStack.push_back(FStack.back());
            else
                ++FOverflow;
        } else if (c == QLatin1Char('}')) {
            groupEnd();
        } else if (c == QLatin1Char('\\')) {
            if (FPos >= n)
                break;
            const QChar d = FIn.at(FPos);
            if (d == QLatin1Char('\'')) {
                bool ok = false;
                const int b = FIn.mid(FPos + 1, 2).toInt(&ok, 16);
                FPos += 3;
                if (ok)
                    hexByte(static_cast<unsigned char>(b));
            } else if (d == QLatin1Char('*')) {
                ++FPos;
                st().dest = TDest::Skip;
            } else if (d.isLetter()) {
                const qsizetype start = FPos;
                while (FPos < n && FIn.at(FPos).isLetter() && FPos - start < 32)
                    ++FPos;
                const QString word = FIn.mid(start, FPos - start);
                qsizetype numStart = FPos;
                if (FPos < n && FIn.at(FPos) == QLatin1Char('-'))
                    ++FPos;
                while (FPos < n && FIn.at(FPos).isDigit() && FPos - numStart < 10)
                    ++FPos;
                bool hasArg = FPos > numStart && !(FPos == numStart + 1 && FIn.at(numStart) == QLatin1Char('-'));
                const int arg = hasArg ? FIn.mid(numStart, FPos - numStart).toInt() : 0;
                if (FPos < n && FIn.at(FPos) == QLatin1Char(' '))
                    ++FPos;
                if (word == QLatin1String("bin") && hasArg) {
                    FPos += std::clamp<qsizetype>(arg, 0, n - FPos);
                    continue;
                }
                controlWord(word, hasArg, arg);
            } else {
                ++FPos;
                if (d == QLatin1Char('~')) text(QChar(0xA0));
                else if (d == QLatin1Char('_')) text(QChar(0x2011));
                else if (d == QLatin1Char('\\') || d == QLatin1Char('{') || d == QLatin1Char('}')) text(d);
                else if (d == QLatin1Char('\n') || d == QLatin1Char('\r')) paragraphWord(QStringLiteral("par"), 0);
            }
        } else if (c == QLatin1Char('\r') || c == QLatin1Char('\n')) {
            continue;
        } else if (st().dest == TDest::Pict) {
            if (FPict.size() < (64 << 20) && isxdigit(c.unicode() < 128 ? c.toLatin1() : 'x'))
                FPict += c.toLatin1();
        } else {
            text(c);
        }
    }
    // The last paragraph has no \par of its own: give it its format.
    QTextBlockFormat bf;
    bf.setAlignment(FPara.align);
    if (!FTable)
        FCursor.setBlockFormat(bf);
}

}  // namespace

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
