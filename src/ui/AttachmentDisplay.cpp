#include "ui/AttachmentDisplay.h"

#include "config/LanguageUnit.h"

#include <QFileInfo>
#include <cmath>

namespace kalvex {

namespace {

constexpr qint64 KB = 1024;
constexpr qint64 MB = 1024 * 1024;

QString refusal(const QUrl& url)
{
    if (!url.isLocalFile())
        return Tx(3201, "„%1“ ist keine Datei auf diesem Rechner und kann nicht angehängt werden.")
            .arg(url.toDisplayString());
    const QFileInfo info(url.toLocalFile());
    if (info.isDir())
        return Tx(3200, "„%1“ ist ein Ordner und kann nicht angehängt werden.").arg(info.filePath());
    if (!info.isFile())
        return Tx(3202, "Die Datei „%1“ gibt es nicht.").arg(info.filePath());
    return {};
}

}  // namespace

QString FormatAttachmentSize(qint64 bytes, const QLocale& locale)
{
    if (bytes < MB)
        return locale.toString(std::max<qint64>(1, (bytes + KB - 1) / KB)) + QStringLiteral(" KB");
    return locale.toString(static_cast<double>(bytes) / MB, 'f', 2) + QStringLiteral(" MB");
}

qint64 AttachmentBytes(const TComposeAttachment& attachment)
{
    return std::llround(attachment.sizeMB * MB);
}

qint64 TotalAttachmentBytes(const std::vector<TComposeAttachment>& attachments)
{
    qint64 total = 0;
    for (const TComposeAttachment& a : attachments)
        total += AttachmentBytes(a);
    return total;
}

QString AttachmentDisplayName(const QString& file, const QString& originPrefix)
{
    if (!file.startsWith(originPrefix))
        return QFileInfo(file).fileName();
    return originPrefix + QFileInfo(file.mid(originPrefix.size())).fileName();
}

TDroppedFiles SortDroppedUrls(const QList<QUrl>& urls)
{
    TDroppedFiles dropped;
    for (const QUrl& url : urls) {
        const QString why = refusal(url);
        if (why.isEmpty())
            dropped.files << QFileInfo(url.toLocalFile()).absoluteFilePath();
        else
            dropped.refusals << why;
    }
    return dropped;
}

}  // namespace kalvex
