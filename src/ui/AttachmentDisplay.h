#pragma once
// How the compose page shows its attachments: sizes in the interface
// language's number format, the total, the warning for large mails, and
// which dropped URLs can be attached.

#include "config/InterfaceLocale.h"
#include "send/ComposeModel.h"

#include <QList>
#include <QLocale>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <vector>

namespace kalvex {

// Many providers refuse mails whose attachments exceed this.
constexpr qint64 LargeMailBytes = 20LL * 1024 * 1024;

// "n KB" below 1 MB (at least 1 KB), "x,xx MB" from 1 MB.
QString FormatAttachmentSize(qint64 bytes, const QLocale& locale);
qint64 AttachmentBytes(const TComposeAttachment& attachment);
qint64 TotalAttachmentBytes(const std::vector<TComposeAttachment>& attachments);
// The file name, behind the origin prefix when the row has one.
QString AttachmentDisplayName(const QString& file, const QString& originPrefix);

// Dropped URLs sorted into files to attach and the user's reasons for the rest.
struct TDroppedFiles {
    QStringList files;
    QStringList refusals;
};
TDroppedFiles SortDroppedUrls(const QList<QUrl>& urls);

}  // namespace kalvex
