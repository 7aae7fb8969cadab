#pragma once
// Stored attachments back on disk: written below the temporary folder under
// the file's base name only, so a stored path such as "../../x" cannot
// escape the folder.

#include <QByteArray>
#include <QString>

namespace kalvex {

// Returns the path written; raises EKalvex when it cannot be written.
QString WriteAttachmentToTemp(const QString& storedPath, const QByteArray& content);
// The base name of a stored path, whatever separators it uses; never empty.
QString SafeAttachmentName(const QString& storedPath);

}  // namespace kalvex
