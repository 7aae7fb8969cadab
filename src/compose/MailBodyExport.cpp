// The HTML part: our own writer over blocks, fragments, lists and tables,
// because Qt's toHtml() writes fonts without a generic family, margins mail
// programs replace with their own, and picture names nobody can resolve.
#include "compose/MailBodyExport.h"

#include <QTextBlock>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextList>
#include <QTextTable>
#include <vector>

namespace kalvex {

namespace {

QString attributeEscaped(const QString& text)
{
    return text.toHtmlEscaped();   // & < > " — enough inside double quotes
}

QString colorText(const QBrush& brush)
{
    return brush.color().name(QColor::HexRgb);
}

QString quotedFamily(const QString& family)
{
    return family.contains(QLatin1Char(' ')) ? QLatin1Char('\'') + family + QLatin1Char('\'') : family;
}

// Text of a fragment: blanks that HTML would fold kept, line breaks as <br>.
QString htmlText(const QString& text)
{
    QString out;
    out.reserve(text.size() + 16);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const bool blankRun = c == QLatin1Char(' ') && i > 0 && text.at(i - 1) == QLatin1Char(' ');
        if (c == QChar::LineSeparator || c == QLatin1Char('\n'))
            out += QLatin1String("<br>");
        else if (c == QLatin1Char('\t'))
            out += QLatin1String("&nbsp;&nbsp;&nbsp;&nbsp;");
        else if (blankRun || c == QChar::Nbsp)
            out += QLatin1String("&nbsp;");
        else if (c == QLatin1Char('<'))
            out += QLatin1String("&lt;");
        else if (c == QLatin1Char('>'))
            out += QLatin1String("&gt;");
        else if (c == QLatin1Char('&'))
            out += QLatin1String("&amp;");
        else
            out += c;
    }
    return out;
}

class THtmlWriter {
public:
    explicit THtmlWriter(const QTextDocument& document) : FDoc(document), FDefault(document.defaultFont()) {}
    QString Take();

private:
    void content(QTextFrame::iterator it);
    void block(const QTextBlock& block);
    void listFor(const QTextBlock& block);
    void closeLists(size_t depth);
    void table(QTextTable* table);
    void cell(QTextTable* table, const QTextTableCell& cell);
    void fragment(const QTextFragment& fragment);
    void picture(const QTextImageFormat& format);
    QString charStyle(const QTextCharFormat& f) const;
    QString blockStyle(const QTextBlockFormat& f, bool listItem) const;
    QString cellStyle(const QTextTable* table, const QTextTableCell& cell) const;
    QString fontStyle(const QFont& font) const;

    const QTextDocument& FDoc;
    QFont FDefault;
    QString FOut;
    struct TOpenList {
        QTextList* list;
        bool itemOpen;   // its last <li> stays open for a list nested in it
    };
    std::vector<TOpenList> FLists;   // the lists open at the current block, outermost first
};

QString THtmlWriter::fontStyle(const QFont& font) const
{
    QString style = QStringLiteral("font-family:") + CssFontFamily(font.family()) + QLatin1Char(';');
    if (font.pointSizeF() > 0)
        return style + QStringLiteral("font-size:%1pt").arg(font.pointSizeF());
    return style + QStringLiteral("font-size:%1px").arg(font.pixelSize());
}

QString THtmlWriter::Take()
{
    FOut = QStringLiteral("<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n"
                          "<meta name=\"viewport\" content=\"width=device-width\">\n</head>\n");
    // The font goes on a div as well: some webmail programs drop the body's style.
    FOut += QStringLiteral("<body style=\"%1\">\n<div style=\"%1\">\n").arg(fontStyle(FDefault));
    content(FDoc.rootFrame()->begin());
    closeLists(0);
    FOut += QStringLiteral("</div>\n</body>\n</html>");
    return FOut;
}

void THtmlWriter::content(QTextFrame::iterator it)
{
    for (; !it.atEnd(); ++it) {
        if (QTextFrame* child = it.currentFrame()) {
            closeLists(0);
            if (auto* t = qobject_cast<QTextTable*>(child))
                table(t);
            else
                content(child->begin());
        } else {
            block(it.currentBlock());
        }
    }
    closeLists(0);
}

bool isBulletList(const QTextList* list)
{
    const int style = list->format().style();
    return style == QTextListFormat::ListDisc || style == QTextListFormat::ListCircle || style == QTextListFormat::ListSquare;
}

QString listStyleType(const QTextList* list)
{
    switch (list->format().style()) {
    case QTextListFormat::ListCircle: return QStringLiteral("circle");
    case QTextListFormat::ListSquare: return QStringLiteral("square");
    case QTextListFormat::ListLowerAlpha: return QStringLiteral("lower-alpha");
    case QTextListFormat::ListUpperAlpha: return QStringLiteral("upper-alpha");
    case QTextListFormat::ListLowerRoman: return QStringLiteral("lower-roman");
    case QTextListFormat::ListUpperRoman: return QStringLiteral("upper-roman");
    case QTextListFormat::ListDecimal: return QStringLiteral("decimal");
    default: return QStringLiteral("disc");
    }
}

int listDepth(const QTextList* list)
{
    return std::max(1, list->format().indent());
}

// Lists nest by their indent, a deeper one inside the item before it; a
// block outside any list closes them all.
void THtmlWriter::listFor(const QTextBlock& block)
{
    QTextList* list = block.textList();
    if (!list)
        return closeLists(0);
    const auto open = std::find_if(FLists.begin(), FLists.end(), [list](const TOpenList& o) { return o.list == list; });
    if (open != FLists.end()) {
        closeLists(static_cast<size_t>(open - FLists.begin()) + 1);
        if (FLists.back().itemOpen)
            FOut += QStringLiteral("</li>\n");
        FLists.back().itemOpen = false;
        return;
    }
    while (!FLists.empty() && listDepth(FLists.back().list) >= listDepth(list))
        closeLists(FLists.size() - 1);
    FOut += QStringLiteral("<%1 style=\"margin-top:0;margin-bottom:0;list-style-type:%2\">\n")
                .arg(isBulletList(list) ? QStringLiteral("ul") : QStringLiteral("ol"), listStyleType(list));
    FLists.push_back({list, false});
}

void THtmlWriter::closeLists(size_t depth)
{
    while (FLists.size() > depth) {
        if (FLists.back().itemOpen)
            FOut += QStringLiteral("</li>\n");
        FOut += isBulletList(FLists.back().list) ? QStringLiteral("</ul>\n") : QStringLiteral("</ol>\n");
        FLists.pop_back();
    }
}

void THtmlWriter::block(const QTextBlock& b)
{
    listFor(b);
    const QString tag = b.textList() ? QStringLiteral("li") : QStringLiteral("p");
    FOut += QLatin1Char('<') + tag + QStringLiteral(" style=\"") + blockStyle(b.blockFormat(), b.textList() != nullptr) + QStringLiteral("\">");
    bool empty = true;
    for (auto it = b.begin(); !it.atEnd(); ++it)
        if (it.fragment().isValid()) {
            fragment(it.fragment());
            empty = false;
        }
    if (empty) {
        // An empty paragraph keeps its line only with something in it.
        const QString style = charStyle(b.charFormat());
        FOut += style.isEmpty() ? QStringLiteral("<br>") : QStringLiteral("<span style=\"%1\"><br></span>").arg(style);
    }
    if (b.textList())
        FLists.back().itemOpen = true;   // closed by the next item or the list's end
    else
        FOut += QStringLiteral("</p>");
    FOut += QLatin1Char('\n');
}

// Explicit margins: mail programs give a bare <p> a blank line of their own.
QString THtmlWriter::blockStyle(const QTextBlockFormat& f, bool listItem) const
{
    const double left = f.leftMargin() + (listItem ? 0 : f.indent() * FDoc.indentWidth());
    QString style = QStringLiteral("margin:%1px %2px %3px %4px").arg(f.topMargin()).arg(f.rightMargin())
                        .arg(f.bottomMargin()).arg(left);
    if (f.textIndent() != 0)
        style += QStringLiteral(";text-indent:%1px").arg(f.textIndent());
    const Qt::Alignment a = f.alignment();
    if (a & Qt::AlignHCenter)
        style += QStringLiteral(";text-align:center");
    else if (a & Qt::AlignRight)
        style += QStringLiteral(";text-align:right");
    else if (a & Qt::AlignJustify)
        style += QStringLiteral(";text-align:justify");
    if (f.lineHeightType() == QTextBlockFormat::ProportionalHeight && f.lineHeight() > 0)
        style += QStringLiteral(";line-height:%1%").arg(f.lineHeight());
    if (f.background().style() != Qt::NoBrush)
        style += QStringLiteral(";background-color:") + colorText(f.background());
    return style;
}

// What differs from the body's font, and colours, as one style.
QString THtmlWriter::charStyle(const QTextCharFormat& f) const
{
    QStringList style;
    const QString family = f.fontFamilies().toStringList().value(0);   // fontFamily() fails on an empty list
    if (!family.isEmpty() && family != FDefault.family())
        style << QStringLiteral("font-family:") + CssFontFamily(family);
    if (f.fontPointSize() > 0 && f.fontPointSize() != FDefault.pointSizeF())
        style << QStringLiteral("font-size:%1pt").arg(f.fontPointSize());
    if (f.hasProperty(QTextFormat::FontWeight) && f.fontWeight() >= QFont::DemiBold)
        style << QStringLiteral("font-weight:bold");
    if (f.fontItalic())
        style << QStringLiteral("font-style:italic");
    QStringList decoration;
    if (f.fontUnderline())
        decoration << QStringLiteral("underline");
    if (f.fontStrikeOut())
        decoration << QStringLiteral("line-through");
    if (!decoration.isEmpty())
        style << QStringLiteral("text-decoration:") + decoration.join(QLatin1Char(' '));
    if (f.foreground().style() != Qt::NoBrush)
        style << QStringLiteral("color:") + colorText(f.foreground());
    if (f.background().style() != Qt::NoBrush)
        style << QStringLiteral("background-color:") + colorText(f.background());
    if (f.verticalAlignment() == QTextCharFormat::AlignSuperScript)
        style << QStringLiteral("vertical-align:super");
    else if (f.verticalAlignment() == QTextCharFormat::AlignSubScript)
        style << QStringLiteral("vertical-align:sub");
    return style.join(QLatin1Char(';'));
}

// A link carries its own style: never a second style on one element.
void THtmlWriter::fragment(const QTextFragment& fragment)
{
    const QTextCharFormat f = fragment.charFormat();
    if (f.isImageFormat()) {
        for (qsizetype i = 0; i < fragment.length(); ++i)
            picture(f.toImageFormat());
        return;
    }
    const QString style = charStyle(f);
    const QString styleAttribute = style.isEmpty() ? QString() : QStringLiteral(" style=\"%1\"").arg(style);
    if (f.isAnchor() && !f.anchorHref().isEmpty())
        FOut += QStringLiteral("<a href=\"%1\"%2>%3</a>").arg(attributeEscaped(f.anchorHref()), styleAttribute, htmlText(fragment.text()));
    else if (!styleAttribute.isEmpty())
        FOut += QStringLiteral("<span%1>%2</span>").arg(styleAttribute, htmlText(fragment.text()));
    else
        FOut += htmlText(fragment.text());
}

void THtmlWriter::picture(const QTextImageFormat& format)
{
    const TPicture p = DocumentPicture(FDoc, format.name());
    if (p.mimeType.isEmpty())
        return;
    QSize size = PictureSize(p);
    if (format.width() > 0)
        size.setWidth(qRound(format.width()));
    if (format.height() > 0)
        size.setHeight(qRound(format.height()));
    FOut += QStringLiteral("<img src=\"data:%1;base64,%2\" width=\"%3\" height=\"%4\" alt=\"\" style=\"border:0\">")
                .arg(QString::fromLatin1(p.mimeType), QString::fromLatin1(p.bytes.toBase64()))
                .arg(size.width()).arg(size.height());
}

void THtmlWriter::table(QTextTable* t)
{
    const QTextTableFormat f = t->format();
    QString style = QStringLiteral("border-collapse:collapse");
    if (f.width().type() == QTextLength::PercentageLength)
        style += QStringLiteral(";width:%1%").arg(f.width().rawValue());
    else if (f.width().type() == QTextLength::FixedLength)
        style += QStringLiteral(";width:%1px").arg(f.width().rawValue());
    if (f.alignment() & Qt::AlignHCenter)
        style += QStringLiteral(";margin-left:auto;margin-right:auto");
    if (f.background().style() != Qt::NoBrush)
        style += QStringLiteral(";background-color:") + colorText(f.background());
    FOut += QStringLiteral("<table cellspacing=\"0\" cellpadding=\"0\" style=\"%1\">\n").arg(style);
    for (int r = 0; r < t->rows(); ++r) {
        FOut += QStringLiteral("<tr>\n");
        for (int c = 0; c < t->columns(); ++c) {
            const QTextTableCell current = t->cellAt(r, c);
            if (current.row() == r && current.column() == c)
                cell(t, current);
        }
        FOut += QStringLiteral("</tr>\n");
    }
    FOut += QStringLiteral("</table>\n");
}

void THtmlWriter::cell(QTextTable* t, const QTextTableCell& c)
{
    QString span;
    if (c.rowSpan() > 1)
        span += QStringLiteral(" rowspan=\"%1\"").arg(c.rowSpan());
    if (c.columnSpan() > 1)
        span += QStringLiteral(" colspan=\"%1\"").arg(c.columnSpan());
    FOut += QStringLiteral("<td%1 style=\"%2\">\n").arg(span, cellStyle(t, c));
    content(c.begin());
    FOut += QStringLiteral("</td>\n");
}

struct TSide {
    const char* name;
    QTextFormat::Property width, style, brush, padding;
};

constexpr TSide kSides[] = {
    {"top", QTextFormat::TableCellTopBorder, QTextFormat::TableCellTopBorderStyle, QTextFormat::TableCellTopBorderBrush,
     QTextFormat::TableCellTopPadding},
    {"right", QTextFormat::TableCellRightBorder, QTextFormat::TableCellRightBorderStyle,
     QTextFormat::TableCellRightBorderBrush, QTextFormat::TableCellRightPadding},
    {"bottom", QTextFormat::TableCellBottomBorder, QTextFormat::TableCellBottomBorderStyle,
     QTextFormat::TableCellBottomBorderBrush, QTextFormat::TableCellBottomPadding},
    {"left", QTextFormat::TableCellLeftBorder, QTextFormat::TableCellLeftBorderStyle,
     QTextFormat::TableCellLeftBorderBrush, QTextFormat::TableCellLeftPadding},
};

QString cssBorderStyle(int style)
{
    switch (style) {
    case QTextFrameFormat::BorderStyle_None: return QString();
    case QTextFrameFormat::BorderStyle_Dotted: return QStringLiteral("dotted");
    case QTextFrameFormat::BorderStyle_Dashed: return QStringLiteral("dashed");
    case QTextFrameFormat::BorderStyle_Double: return QStringLiteral("double");
    default: return QStringLiteral("solid");   // Qt's 3-D styles look broken in mail programs
    }
}

// A side has a border only where the cell or its table gives it one.
QString cellBorder(const QTextTableFormat& table, const QTextTableCellFormat& cell, const TSide& side)
{
    const double width = cell.hasProperty(side.width) ? cell.doubleProperty(side.width) : table.border();
    const QString style = cssBorderStyle(cell.hasProperty(side.style) ? cell.intProperty(side.style) : table.borderStyle());
    if (width <= 0 || style.isEmpty())
        return QString();
    const QBrush brush = cell.hasProperty(side.brush) ? cell.brushProperty(side.brush) : table.borderBrush();
    const QString color = brush.style() == Qt::NoBrush ? QStringLiteral("#808080") : colorText(brush);
    return QStringLiteral("border-%1:%2px %3 %4").arg(QLatin1String(side.name)).arg(width).arg(style, color);
}

QString THtmlWriter::cellStyle(const QTextTable* t, const QTextTableCell& c) const
{
    const QTextTableFormat tf = t->format();
    const QTextTableCellFormat cf = c.format().toTableCellFormat();
    QStringList style;
    QStringList padding;
    for (const TSide& side : kSides) {
        if (const QString border = cellBorder(tf, cf, side); !border.isEmpty())
            style << border;
        // The editor shows the cell spacing as room around the text; collapsed borders have none.
        const double inner = cf.hasProperty(side.padding) ? cf.doubleProperty(side.padding) : tf.cellPadding();
        padding << QStringLiteral("%1px").arg(inner + tf.cellSpacing());
    }
    style << QStringLiteral("padding:") + padding.join(QLatin1Char(' '));
    const auto v = c.format().verticalAlignment();
    style << (v == QTextCharFormat::AlignMiddle ? QStringLiteral("vertical-align:middle")
              : v == QTextCharFormat::AlignBottom ? QStringLiteral("vertical-align:bottom")
                                                  : QStringLiteral("vertical-align:top"));
    if (cf.background().style() != Qt::NoBrush)
        style << QStringLiteral("background-color:") + colorText(cf.background());
    const QList<QTextLength> widths = tf.columnWidthConstraints();
    if (c.row() == 0 && c.columnSpan() == 1 && c.column() < widths.size()) {
        const QTextLength w = widths.at(c.column());
        if (w.type() == QTextLength::PercentageLength)
            style << QStringLiteral("width:%1%").arg(w.rawValue());
        else if (w.type() == QTextLength::FixedLength)
            style << QStringLiteral("width:%1px").arg(w.rawValue());
    }
    return style.join(QLatin1Char(';'));
}

}  // namespace

QString CssFontFamily(const QString& family)
{
    const QString f = family.trimmed();
    const QString key = f.toLower();
    if (key.isEmpty() || key == QLatin1String("sans serif") || key == QLatin1String("sans-serif")
        || key == QLatin1String("sansserif"))
        return QStringLiteral("Arial, Helvetica, sans-serif");
    if (key == QLatin1String("serif"))
        return QStringLiteral("'Times New Roman', Times, serif");
    if (key == QLatin1String("monospace") || key == QLatin1String("mono"))
        return QStringLiteral("'Courier New', monospace");
    if (key == QLatin1String("arial") || key == QLatin1String("helvetica"))
        return QStringLiteral("Arial, Helvetica, sans-serif");
    if (key == QLatin1String("times new roman") || key == QLatin1String("times"))
        return QStringLiteral("'Times New Roman', Times, serif");
    if (key == QLatin1String("courier new") || key == QLatin1String("courier"))
        return QStringLiteral("'Courier New', monospace");
    const bool mono = key.contains(QLatin1String("mono")) || key.contains(QLatin1String("courier"))
                   || key == QLatin1String("consolas") || key == QLatin1String("lucida console");
    const bool serif = !key.contains(QLatin1String("sans"))
                    && (key.contains(QLatin1String("serif")) || key.contains(QLatin1String("times"))
                        || key == QLatin1String("georgia") || key == QLatin1String("cambria")
                        || key.contains(QLatin1String("garamond")) || key.contains(QLatin1String("palatino"))
                        || key == QLatin1String("book antiqua"));
    const QString generic = mono ? QStringLiteral("monospace") : serif ? QStringLiteral("serif") : QStringLiteral("sans-serif");
    QString clean = f;
    clean.remove(QLatin1Char('\'')).remove(QLatin1Char('"')).remove(QLatin1Char(';'));
    return quotedFamily(clean) + QStringLiteral(", ") + generic;
}

QString MailHtml(const QTextDocument& document)
{
    return THtmlWriter(document).Take();
}

QStringList MailHtmlLines(const QTextDocument& document)
{
    return MailHtml(document).split(QLatin1Char('\n'));
}

}  // namespace kalvex
