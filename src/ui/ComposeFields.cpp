#include "ui/ComposeFields.h"

#include "mailinterface/Felder.h"

#include <QTreeWidget>
#include <algorithm>

namespace kalvex {

QList<TFieldEntry> SimpleFieldEntries(const TFelder& felder, int32_t lang)
{
    QList<TFieldEntry> entries;
    for (const auto& field : felder.FEinfachListe)
        entries.append({field->GetFeldname(lang), field->FWert, field->GetBeschreibung(lang)});
    return entries;
}

QString FieldPlaceholder(const QString& name)
{
    return QLatin1Char('<') + name + QLatin1Char('>');
}

void FillFieldTree(QTreeWidget& tree, const QList<TFieldEntry>& entries)
{
    tree.clear();
    for (const TFieldEntry& e : entries) {
        auto* item = new QTreeWidgetItem(&tree, {e.name, e.value, e.description});
        item->setToolTip(0, FieldPlaceholder(e.name));
        item->setToolTip(1, e.value);
        item->setToolTip(2, e.description);
    }
    // Names such as "Empfaenger.Briefanrede" readable, and the values whole
    // as far as reasonable; the description may be cut (its tooltip has it).
    tree.resizeColumnToContents(0);
    tree.setColumnWidth(0, std::min(tree.columnWidth(0), 170));
    tree.resizeColumnToContents(1);
    tree.setColumnWidth(1, std::min(tree.columnWidth(1), 260));
}

}  // namespace kalvex
