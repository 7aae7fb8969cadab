#pragma once
// What a stretch of RTF source or HTML shows as text, so that a placeholder
// is recognised however the writer spelled it: an umlaut as \'e4 or \u228?,
// a placeholder split across groups or spans by a change of format.

#include <QString>

namespace kalvex {

struct TShownText {
    QString text;
    bool balanced = true;   // as many groups (tags) opened as closed: the stretch can be replaced whole
};

TShownText ShownRtfText(QStringView rtf);
TShownText ShownHtmlText(QStringView html);

}  // namespace kalvex
