#include "compose/rtf/RtfWriter.h"

#include "compose/TableCommands.h"
#include "compose/rtf/RtfLists.h"
#include "compose/rtf/RtfPicture.h"

#include <QHash>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextList>
#include <QTextTable>
#include <QUrl>

namespace kalvex {

namespace {

class TRtfWriter {
public:
    explicit TRtfWriter(const QTextDocument& doc) : FDoc(doc) {}
    QString Write();

private:
    int fontIndex(const QString& family);
    int colorIndex(const QColor& color);
    void writeFrame(const QTextFrame* frame, bool inTable);
    void writeBlock(const QTextBlock& block, bool inTable);
    void writeTable(const QTextTable* table);
    void writeRowDefinition(const QTextTable* table, int row);
    QString cellDefinition(const QTextTable* table, int row, int column);
    QString cellBorder(const QTextTableCellFormat& format, TBorderSide side, double tableBorder);
    void writeFragments(const QTextBlock& block);
    void writeFragment(const QTextFragment& fragment);
    void writeImage(const QTextImageFormat& format);
    QString listParagraph(const QTextBlock& block, QTextList* list);
    int listNumber(const QTextList* list);
    QString escapeText(const QString& text, bool unicodeOnly) const;
    QString charFormat(const QTextCharFormat& f);

    const QTextDocument& FDoc;
    QStringList FFonts;
    QList<QColor> FColors;
    QList<TWrittenList> FLists;
    QHash<const QTextList*, int> FListNumbers;   // the lists are the document's
    QString FBody;
};

// Latin-1 characters (the Windows-1252 letters that matter here, umlauts
// and ß among them) as \'hh; everything else as \uN.
bool inCp1252(char16_t c, QByteArray& byte)
{
    if (c < 0xA0)
        return false;
    if (c > 0xFF)
        return false;
    byte = QByteArray(1, static_cast<char>(c));
    return true;
}

// Text in the Symbol font is read back through the font's own encoding:
// every non-ASCII character is written as \uN there.
QString escapeChar(QChar ch, bool unicodeOnly = false)
{
    const char16_t c = ch.unicode();
    if (c == '\\' || c == '{' || c == '}')
        return QString(QLatin1Char('\\')) + ch;
    if (c == '\t')
        return QStringLiteral("\\tab ");
    if (c == QChar::LineSeparator || c == '\n')
        return QStringLiteral("\\line ");
    if (c < 0x20)   // a control character read from plain text: kept, but not raw
        return QStringLiteral("\\u%1?").arg(int(c));
    if (c < 0x80)
        return QString(ch);
    QByteArray byte;
    if (!unicodeOnly && inCp1252(c, byte))
        return QStringLiteral("\\'%1").arg(static_cast<unsigned char>(byte[0]), 2, 16, QLatin1Char('0'));
    return QStringLiteral("\\u%1?").arg(static_cast<int16_t>(c));
}

// A font name ends at ';' in the font table: it may hold no ';' and no
// control characters, and its braces and backslashes are escaped.
QString fontName(const QString& family)
{
    QString out;
    for (const QChar ch : family)
        if (ch != QLatin1Char(';') && ch.unicode() >= 0x20)
            out += escapeChar(ch);
    return out;
}

constexpr int kIndentTwips = 720;   // one indent step, a list level
constexpr int kTextWidthTwips = 9000;

// The right edge of every column in twips: fixed widths as they are,
// percentages of the text width, the rest in equal shares.
QList<int> columnEdges(const QTextTable* table)
{
    const QTextTableFormat format = table->format();
    const QList<QTextLength> constraints = format.columnWidthConstraints();
    const int columns = table->columns();
    const double whole = format.width().type() == QTextLength::FixedLength ? format.width().rawValue() * 15 : kTextWidthTwips;
    QList<int> edges;
    double x = 0;
    for (int c = 0; c < columns; ++c) {
        const QTextLength w = constraints.value(c);
        x += w.type() == QTextLength::FixedLength ? w.rawValue() * 15
           : w.type() == QTextLength::PercentageLength ? w.rawValue() * kTextWidthTwips / 100 : whole / columns;
        edges << qRound(x);
    }
    return edges;
}

// \trwWidth: fiftieths of a percent (\trftsWidth2) or twips (3).
QString rowWidth(const QTextTableFormat& format)
{
    const QTextLength w = format.width();
    if (w.type() == QTextLength::PercentageLength)
        return QStringLiteral("\\trftsWidth2\\trwWidth%1").arg(qRound(w.rawValue() * 50));
    if (w.type() == QTextLength::FixedLength)
        return QStringLiteral("\\trftsWidth3\\trwWidth%1").arg(qRound(w.rawValue() * 15));
    return QString();
}

// A position covered by a merged cell says so; the cell's first one says
// that a merge begins there.
QString mergeFlags(const QTextTableCell& cell, int row, int column)
{
    QString s;
    if (cell.row() != row)
        s += QStringLiteral("\\clvmrg");
    else if (cell.rowSpan() > 1)
        s += QStringLiteral("\\clvmgf");
    if (cell.column() != column)
        s += QStringLiteral("\\clmrg");
    else if (cell.columnSpan() > 1)
        s += QStringLiteral("\\clmgf");
    return s;
}

QString verticalAlignment(const QTextCharFormat& format)
{
    switch (format.verticalAlignment()) {
    case QTextCharFormat::AlignTop: return QStringLiteral("\\clvertalt");
    case QTextCharFormat::AlignMiddle: return QStringLiteral("\\clvertalc");
    case QTextCharFormat::AlignBottom: return QStringLiteral("\\clvertalb");
    default: return QString();
    }
}

}  // namespace

// A side without a width of its own follows the table's border; one of
// width 0 has none. Only borders that are drawn are written.
QString TRtfWriter::cellBorder(const QTextTableCellFormat& format, TBorderSide side, double tableBorder)
{
    static const char* const words[] = {"\\clbrdrl", "\\clbrdrr", "\\clbrdrt", "\\clbrdrb"};
    const double width = CellBorderWidth(format, side) < 0 ? tableBorder : CellBorderWidth(format, side);
    const QColor color = CellBorderColor(format, side);
    QString s = QLatin1String(words[static_cast<int>(side)]);
    if (width <= 0)
        return CellBorderWidth(format, side) == 0 ? s + QStringLiteral("\\brdrnone") : QString();
    s += QStringLiteral("\\brdrs\\brdrw%1").arg(std::max(1, qRound(width * 15)));
    if (color.isValid())
        s += QStringLiteral("\\brdrcf%1").arg(colorIndex(color));
    return s;
}

QString TRtfWriter::cellDefinition(const QTextTable* table, int row, int column)
{
    const QTextTableCell cell = table->cellAt(row, column);
    const QTextTableCellFormat f = cell.format().toTableCellFormat();
    QString s = mergeFlags(cell, row, column) + verticalAlignment(f);
    for (TBorderSide side : {TBorderSide::Top, TBorderSide::Left, TBorderSide::Bottom, TBorderSide::Right})
        s += cellBorder(f, side, table->format().border());
    if (f.background().style() != Qt::NoBrush)
        s += QStringLiteral("\\clcbpat%1").arg(colorIndex(f.background().color()));
    return s;
}

void TRtfWriter::writeRowDefinition(const QTextTable* table, int row)
{
    FBody += QStringLiteral("\\trowd\\trgaph108") + rowWidth(table->format());
    const QList<int> edges = columnEdges(table);
    for (int c = 0; c < table->columns(); ++c)
        FBody += cellDefinition(table, row, c) + QStringLiteral("\\cellx%1").arg(edges[c]);
    FBody += QLatin1Char('\n');
}

QString RtfEscapeText(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (const QChar ch : text)
        out += ch == QLatin1Char('\r') ? QString() : escapeChar(ch);
    return out;
}

int TRtfWriter::fontIndex(const QString& family)
{
    const QString name = family.isEmpty() ? QStringLiteral("Arial") : family;
    qsizetype i = FFonts.indexOf(name);
    if (i < 0) {
        FFonts << name;
        i = FFonts.size() - 1;
    }
    return static_cast<int>(i);
}

int TRtfWriter::colorIndex(const QColor& color)
{
    qsizetype i = FColors.indexOf(color);
    if (i < 0) {
        FColors << color;
        i = FColors.size() - 1;
    }
    return static_cast<int>(i) + 1;   // 0 is the automatic colour
}

// Placeholders "<...>" are kept raw and whole, unless they hold what is no
// text raw: a line break, a control character, a C1 control (which a
// reader takes for a byte of the code page).
QString TRtfWriter::escapeText(const QString& text, bool unicodeOnly) const
{
    QString out;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) == QLatin1Char('<')) {
            const qsizetype close = text.indexOf(QLatin1Char('>'), i);
            const QString inner = close > i ? text.mid(i + 1, close - i - 1) : QString();
            if (close > i && !inner.isEmpty() && !inner.contains(QLatin1Char('<'))
                && !inner.contains(QLatin1Char('\\')) && !inner.contains(QLatin1Char('{')) && !inner.contains(QLatin1Char('}'))
                && !inner.contains(QChar::LineSeparator) && !unicodeOnly
                && std::none_of(inner.begin(), inner.end(), [](QChar ch) { return ch.unicode() < 0x20 || (ch.unicode() >= 0x80 && ch.unicode() < 0xA0); })) {
                out += text.mid(i, close - i + 1);
                i = close;
                continue;
            }
        }
        out += escapeChar(text.at(i), unicodeOnly);
    }
    return out;
}

QString TRtfWriter::charFormat(const QTextCharFormat& f)
{
    QString s = QStringLiteral("\\plain\\f%1").arg(fontIndex(f.fontFamilies().toStringList().value(0)));
    const double size = f.fontPointSize() > 0 ? f.fontPointSize() : 10.0;
    s += QStringLiteral("\\fs%1").arg(qRound(size * 2));
    if (f.fontWeight() >= QFont::Bold)
        s += QStringLiteral("\\b");
    if (f.fontItalic())
        s += QStringLiteral("\\i");
    if (f.fontUnderline())
        s += QStringLiteral("\\ul");
    if (f.hasProperty(QTextFormat::ForegroundBrush) && f.foreground().style() != Qt::NoBrush)
        s += QStringLiteral("\\cf%1").arg(colorIndex(f.foreground().color()));
    return s + QLatin1Char(' ');
}

// A picture in \shppict, as word processors write it: the PNG or JPEG
// bytes of the resource unchanged, at the size the document shows it.
void TRtfWriter::writeImage(const QTextImageFormat& format)
{
    const TEncodedImage image = EncodeDocumentImage(FDoc, format.name());
    if (image.bytes.isEmpty())
        return;
    const QSize natural = image.size;
    const double w = format.width() > 0 ? format.width()
                   : format.height() > 0 ? natural.width() * format.height() / natural.height() : natural.width();
    const double h = format.height() > 0 ? format.height() : natural.height() * w / natural.width();
    FBody += QStringLiteral("{\\*\\shppict{\\pict\\%1\\picw%2\\pich%3\\picwgoal%4\\pichgoal%5\n")
                 .arg(QString::fromLatin1(image.blip)).arg(natural.width()).arg(natural.height())
                 .arg(qRound(w * 15)).arg(qRound(h * 15));
    const QByteArray hex = image.bytes.toHex();
    for (qsizetype i = 0; i < hex.size(); i += 128)
        FBody += QString::fromLatin1(hex.mid(i, 128)) + QLatin1Char('\n');
    FBody += QStringLiteral("}}");
}

// A link's address as the argument of HYPERLINK: 7-bit, quoted; a link
// into the document as \l "anchor".
static QString hyperlinkArgument(const QString& href)
{
    if (href.startsWith(QLatin1Char('#')))
        return QStringLiteral("\\\\l \"%1\"").arg(RtfEscapeText(href.mid(1).remove(QLatin1Char('"'))));
    const QUrl url(href);
    const QString address = url.isValid() ? QString::fromLatin1(url.toEncoded()) : href;
    return QLatin1Char('"') + RtfEscapeText(QString(address).replace(QLatin1Char('"'), QLatin1String("%22"))) + QLatin1Char('"');
}

// Fragments with one link target are the result of one HYPERLINK field.
void TRtfWriter::writeFragments(const QTextBlock& block)
{
    QString open;
    for (auto it = block.begin(); !it.atEnd(); ++it) {
        const QTextCharFormat f = it.fragment().charFormat();
        const QString href = f.isAnchor() ? f.anchorHref() : QString();
        if (href != open && !open.isEmpty())
            FBody += QStringLiteral("}}}");
        if (href != open && !href.isEmpty())
            FBody += QStringLiteral("{\\field{\\*\\fldinst{HYPERLINK %1}}{\\fldrslt{").arg(hyperlinkArgument(href));
        open = href;
        writeFragment(it.fragment());
    }
    if (!open.isEmpty())
        FBody += QStringLiteral("}}}");
}

int TRtfWriter::listNumber(const QTextList* list)
{
    if (const auto it = FListNumbers.constFind(list); it != FListNumbers.constEnd())
        return *it;
    const int number = static_cast<int>(FLists.size()) + 1;
    FLists.append({list->format().style(), number});
    FListNumbers.insert(list, number);
    return number;
}

// A list item for every reader: \ls and \ilvl name its list of the list
// table (Word, LibreOffice), \pn and \pntext describe it on their own
// (WordPad); the marker is returned, to stand before the text.
QString TRtfWriter::listParagraph(const QTextBlock& block, QTextList* list)
{
    const QTextListFormat::Style style = list->format().style();
    const int level = std::clamp(list->format().indent(), 1, kListLevels);
    FBody += QStringLiteral("\\fi-360\\ls%1\\ilvl%2").arg(listNumber(list)).arg(level - 1);
    if (IsBulletStyle(style)) {
        const int symbol = fontIndex(QStringLiteral("Symbol"));
        FBody += QStringLiteral("{\\*\\pn\\pnlvlblt\\pnf%1\\pnindent0{\\pntxtb\\'b7}}").arg(symbol);
        return QStringLiteral("{\\pntext\\f%1\\'b7\\tab}").arg(symbol);
    }
    static const QHash<int, const char*> kinds = {{QTextListFormat::ListLowerAlpha, "pnlcltr"}, {QTextListFormat::ListUpperAlpha, "pnucltr"},
                                                  {QTextListFormat::ListLowerRoman, "pnlcrm"}, {QTextListFormat::ListUpperRoman, "pnucrm"}};
    FBody += QStringLiteral("{\\*\\pn\\pnlvlbody\\pnindent0\\pnstart1\\%1{\\pntxta .}}").arg(QLatin1String(kinds.value(style, "pndec")));
    return QStringLiteral("{\\pntext %1.\\tab}").arg(ListMarker(style, list->itemNumber(block) + 1));
}

static QString spacing(const QTextBlockFormat& bf)
{
    QString s;
    if (bf.topMargin() > 0)
        s += QStringLiteral("\\sb%1").arg(qRound(bf.topMargin() * 15));
    if (bf.bottomMargin() > 0)
        s += QStringLiteral("\\sa%1").arg(qRound(bf.bottomMargin() * 15));
    const double line = bf.lineHeight();
    switch (bf.lineHeightType()) {
    case QTextBlockFormat::ProportionalHeight:
        if (line > 0 && line != 100)
            s += QStringLiteral("\\sl%1\\slmult1").arg(qRound(line * 240 / 100));
        break;
    case QTextBlockFormat::FixedHeight: s += QStringLiteral("\\sl-%1\\slmult0").arg(qRound(line * 15)); break;
    case QTextBlockFormat::MinimumHeight: s += QStringLiteral("\\sl%1\\slmult0").arg(qRound(line * 15)); break;
    default: break;
    }
    return s;
}

void TRtfWriter::writeFragment(const QTextFragment& fragment)
{
    const QTextCharFormat f = fragment.charFormat();
    if (f.isImageFormat()) {   // equal pictures side by side share one fragment
        for (int i = 0; i < fragment.length(); ++i)
            writeImage(f.toImageFormat());
        return;
    }
    const bool symbol = f.fontFamilies().toStringList().value(0) == QLatin1String("Symbol");
    FBody += QLatin1Char('{') + charFormat(f) + escapeText(fragment.text(), symbol) + QLatin1Char('}');
}

void TRtfWriter::writeBlock(const QTextBlock& block, bool inTable)
{
    const QTextBlockFormat bf = block.blockFormat();
    FBody += QStringLiteral("\\pard");
    if (inTable)
        FBody += QStringLiteral("\\intbl");
    const Qt::Alignment a = bf.alignment();
    FBody += a & Qt::AlignHCenter ? QStringLiteral("\\qc") : a & Qt::AlignRight ? QStringLiteral("\\qr")
           : a & Qt::AlignJustify ? QStringLiteral("\\qj") : QStringLiteral("\\ql");
    FBody += spacing(bf);
    int left = qRound(bf.leftMargin() * 15) + bf.indent() * kIndentTwips;
    QString marker;
    if (QTextList* list = block.textList()) {
        left += kIndentTwips * std::clamp(list->format().indent(), 1, kListLevels);
        marker = listParagraph(block, list);
    } else if (bf.textIndent() != 0) {
        FBody += QStringLiteral("\\fi%1").arg(qRound(bf.textIndent() * 15));
    }
    if (left)
        FBody += QStringLiteral("\\li%1").arg(left);
    FBody += QLatin1Char(' ') + marker;
    writeFragments(block);
    if (!inTable)
        FBody += QStringLiteral("\\par\n");
}

void TRtfWriter::writeTable(const QTextTable* table)
{
    const int columns = table->columns();
    for (int r = 0; r < table->rows(); ++r) {
        writeRowDefinition(table, r);
        for (int c = 0; c < columns; ++c) {
            const QTextTableCell cell = table->cellAt(r, c);
            if (cell.row() == r && cell.column() == c) {
                bool first = true;
                for (auto it = cell.begin(); !it.atEnd(); ++it) {
                    if (QTextBlock b = it.currentBlock(); b.isValid()) {
                        if (!first)
                            FBody += QStringLiteral("\\par ");
                        writeBlock(b, true);
                        first = false;
                    }
                }
            }
            FBody += QStringLiteral("\\cell ");
        }
        FBody += QStringLiteral("\\row\n");
    }
}

void TRtfWriter::writeFrame(const QTextFrame* frame, bool inTable)
{
    for (auto it = frame->begin(); !it.atEnd(); ++it) {
        if (QTextFrame* child = it.currentFrame()) {
            if (auto* table = qobject_cast<QTextTable*>(child))
                writeTable(table);
            else
                writeFrame(child, inTable);
        } else if (it.currentBlock().isValid()) {
            writeBlock(it.currentBlock(), inTable);
        }
    }
}

QString TRtfWriter::Write()
{
    writeFrame(FDoc.rootFrame(), false);
    QString head = QStringLiteral("{\\rtf1\\ansi\\ansicpg1252\\deff0\\uc1{\\fonttbl");
    for (int i = 0; i < FFonts.size(); ++i)
        head += QStringLiteral("{\\f%1\\fnil%2 %3;}").arg(i)
                    .arg(FFonts[i] == QLatin1String("Symbol") ? QStringLiteral("\\fcharset2") : QString(), fontName(FFonts[i]));
    head += QStringLiteral("}{\\colortbl ;");
    for (const QColor& c : FColors)
        head += QStringLiteral("\\red%1\\green%2\\blue%3;").arg(c.red()).arg(c.green()).arg(c.blue());
    head += QStringLiteral("}\n") + ListTableRtf(FLists);
    return head + FBody + QLatin1Char('}');
}

QString DocumentToRtf(const QTextDocument& document)
{
    return TRtfWriter(document).Write();
}

}  // namespace kalvex
