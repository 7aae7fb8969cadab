#pragma once
// The distribution window's small rules, apart from its widgets.

#include <QString>

namespace kalvex {

// Drafts list: at most 100 characters stay; a longer text keeps its first
// 99 characters and its last one, followed by " ...".
QString ShortenForDraftList(const QString& text);
// "Nachtrag zu: " + subject, unless the subject begins with it already.
QString FollowUpSubject(const QString& subject);
// The translated "Ursprung:" with a blank behind it.
QString OriginPrefix();
// The file of an attachment row without the origin prefix.
QString StripOriginPrefix(const QString& file, const QString& prefix);
// "Die Datei <path> wurde verschoben oder gelöscht."
QString FileMovedMessage(const QString& path);

}  // namespace kalvex
