// The plain part: what a reader of plain text needs from the document's
// structure (rows, list marks, link addresses), without pictures.
#include "compose/MailBodyExport.h"

#include <QTextBlock>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextList>
#include <QTextTable>

namespace kalvex {

namespace {

bool isBullet(const QTextListFormat& format)
{
    const int s = format.style();
    return s == QTextListFormat::ListDisc || s == QTextListFormat::ListCircle || s == QTextListFormat::ListSquare;
}

// "• " or "1. ", indented by the list's level.
QString listMark(const QTextBlock& block)
{
    const QTextList* list = block.textList();
    if (!list)
        return QString();
    const int level = std::max(1, list->format().indent());
    const QString indent(2 * (level - 1), QLatin1Char(' '));
    if (isBullet(list->format()))
        return indent + QStringLiteral("• ");
    QString number = list->itemText(block);
    if (number.isEmpty())
        number = QString::number(list->itemNumber(block) + 1) + QLatin1Char('.');
    return indent + number + QLatin1Char(' ');
}

QString linkText(const QString& text, const QString& href)
{
    const QString shown = text.trimmed();
    if (shown == href || QStringLiteral("mailto:") + shown == href)
        return text;
    return text + QStringLiteral(" <") + href + QLatin1Char('>');
}

// A block's text: pictures out, a link's fragments together, then its address.
QString blockText(const QTextBlock& block)
{
    QString out, link, href;
    auto endLink = [&] {
        if (!href.isEmpty())
            out += linkText(link, href);
        link.clear();
        href.clear();
    };
    for (auto it = block.begin(); !it.atEnd(); ++it) {
        const QTextFragment f = it.fragment();
        if (!f.isValid() || f.charFormat().isImageFormat())
            continue;
        const QString target = f.charFormat().isAnchor() ? f.charFormat().anchorHref() : QString();
        if (target != href)
            endLink();
        href = target;
        (href.isEmpty() ? out : link) += f.text();
    }
    endLink();
    out.replace(QChar::LineSeparator, QLatin1Char('\n')).replace(QChar::Nbsp, QLatin1Char(' '));
    out.remove(QChar::ObjectReplacementCharacter);
    return listMark(block) + out;
}

void frameLines(QTextFrame::iterator it, QStringList& lines);

// A cell's paragraphs on one line, so each row stays one line.
QString cellText(const QTextTableCell& cell)
{
    QStringList lines;
    frameLines(cell.begin(), lines);
    return lines.join(QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\t'), QLatin1Char(' '));
}

void tableLines(const QTextTable* table, QStringList& lines)
{
    for (int r = 0; r < table->rows(); ++r) {
        QStringList cells;
        for (int c = 0; c < table->columns(); ++c) {
            const QTextTableCell cell = table->cellAt(r, c);
            cells << (cell.row() == r && cell.column() == c ? cellText(cell) : QString());
        }
        lines << cells.join(QLatin1Char('\t'));
    }
}

void frameLines(QTextFrame::iterator it, QStringList& lines)
{
    for (; !it.atEnd(); ++it) {
        if (QTextFrame* child = it.currentFrame()) {
            if (auto* table = qobject_cast<QTextTable*>(child))
                tableLines(table, lines);
            else
                frameLines(child->begin(), lines);
        } else {
            lines << blockText(it.currentBlock());
        }
    }
}

}  // namespace

QString MailPlainText(const QTextDocument& document)
{
    QStringList lines;
    frameLines(document.rootFrame()->begin(), lines);
    return lines.join(QLatin1Char('\n'));
}

}  // namespace kalvex
