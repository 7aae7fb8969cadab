#pragma once
// Stored attachments back on disk: written to Common04/KVXIni/Temp/ of the
// installation under the last component of the stored name only, so a
// stored path such as "../../x" or "/etc/x" cannot leave that folder.

#include <QByteArray>
#include <QString>

namespace kalvex {

// The folder stored attachments are written to (with a trailing "/").
QString AttachmentTempFolder();
// Returns the path written; raises EKalvex when it cannot be written.
QString WriteAttachmentToTemp(const QString& storedPath, const QByteArray& content);
// The last component of a stored path, whatever separators it uses; never
// empty, never "." or "..".
QString SafeAttachmentName(const QString& storedPath);

}  // namespace kalvex
