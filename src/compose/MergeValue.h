#pragma once
// A field value as it goes into a merged text: RTF source needs its control
// characters escaped, HTML its markup characters. Every merge of host or
// recipient values into a text goes through here.

#include <QString>

namespace kalvex {

enum class TMergeTarget { mtPlain, mtRtf, mtHtml };

// RTF: "\\", "\{", "\}", non-ASCII as \uN?, line breaks as \line. HTML:
// escaped, line breaks as <br>. Plain: as it is.
QString EncodeMergeValue(const QString& value, TMergeTarget target);

}  // namespace kalvex
