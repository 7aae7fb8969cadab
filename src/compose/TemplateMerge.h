#pragma once
// Applying a host program template: its GUID placeholders become field names
// of the current language, then the host's fields and repeat blocks are
// merged into subject and body, once, for all recipients. An RTF body is
// merged as a document (DocumentMerge), so values never break its source.

#include <QString>
#include <QStringList>
#include <cstdint>

namespace kalvex {

class TFelder;
class TProgrammVorlage;
class TRTFEditorEngine;

// Puts every value of the fields into the engine, as text, and returns the
// block names to expand (in the fields' order).
QStringList LoadFieldsIntoEngine(const TFelder& felder, int32_t lang, TRTFEditorEngine& engine);

struct TMergedTemplate {
    QString subject;
    QString body;   // RTF (as the writer writes it) or plain text, as the template holds it
};

// The body comes from the template's file when that exists, else from the
// template itself. Raises EKalvex when a block count is not an integer.
TMergedTemplate MergeProgrammVorlage(const TProgrammVorlage& vorlage, const TFelder& felder, int32_t lang);

}  // namespace kalvex
