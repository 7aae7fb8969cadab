#include "compose/LinkCommands.h"

#include <QColor>
#include <QRegularExpression>
#include <QTextCharFormat>
#include <QTextCursor>

namespace kalvex {

namespace {

QTextCharFormat linkFormat(const QString& href)
{
    QTextCharFormat f;
    f.setAnchor(true);
    f.setAnchorHref(href);
    f.setFontUnderline(true);
    f.setForeground(QColor(0x05, 0x63, 0xC1));   // the blue mail programs show links in
    return f;
}

}  // namespace

QString NormalizedLinkAddress(const QString& typed)
{
    const QString address = typed.trimmed();
    static const QRegularExpression scheme(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*:"));
    static const QRegularExpression mailbox(QStringLiteral("^[^@\\s/]+@[^@\\s/]+\\.[^@\\s/]+$"));
    if (address.isEmpty() || scheme.match(address).hasMatch())
        return address;
    if (mailbox.match(address).hasMatch())
        return QStringLiteral("mailto:") + address;
    return QStringLiteral("https://") + address;
}

void InsertLink(QTextCursor& cursor, const QString& text, const QString& address)
{
    const QString href = NormalizedLinkAddress(address);
    if (href.isEmpty())
        return;
    const QString shown = text.isEmpty() ? address.trimmed() : text;
    if (cursor.hasSelection() && cursor.selectedText() == shown) {
        cursor.mergeCharFormat(linkFormat(href));
        return;
    }
    QTextCharFormat format = cursor.charFormat();
    format.merge(linkFormat(href));
    cursor.insertText(shown, format);
    // Typing after the link goes on without it.
    QTextCharFormat after = format;
    after.setAnchor(false);
    after.setAnchorHref(QString());
    after.setFontUnderline(false);
    after.clearForeground();
    cursor.setCharFormat(after);
}

}  // namespace kalvex
