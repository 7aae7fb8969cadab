#pragma once
// The merge fields the compose page offers: name, the value it becomes and
// a description. Every source of fields (the host's simple fields, later
// others) contributes entries; one function shows them.

#include "compose/RecipientFields.h"

#include <QList>
#include <QString>
#include <cstdint>

class QTreeWidget;

namespace kalvex {

class TFelder;

// The host's simple fields under their names of the interface language.
QList<TFieldEntry> SimpleFieldEntries(const TFelder& felder, int32_t lang);
// "<name>", as the merge finds it.
QString FieldPlaceholder(const QString& name);
// One row per entry; the full value and description as tool tips.
void FillFieldTree(QTreeWidget& tree, const QList<TFieldEntry>& entries);

}  // namespace kalvex
