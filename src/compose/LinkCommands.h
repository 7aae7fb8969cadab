#pragma once
// Links in the body: what the editor's "Link einfügen" does to the document.

#include <QString>

class QTextCursor;

namespace kalvex {

// "www.example.org" -> "https://www.example.org", "a@b.de" -> "mailto:a@b.de";
// an address with a scheme stays as typed (trimmed).
QString NormalizedLinkAddress(const QString& typed);
// Links the selection when text is what it holds, else inserts text as a
// link at the cursor (the selection replaced). An empty text shows the address.
void InsertLink(QTextCursor& cursor, const QString& text, const QString& address);

}  // namespace kalvex
