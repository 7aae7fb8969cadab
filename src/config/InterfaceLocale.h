#pragma once
// The interface language beyond the module's own texts: the formats of
// dates and numbers in the windows' lists, and Qt's own texts (standard
// buttons, the editor's context menu, key names), whatever the system's
// locale is.

#include <QDateTime>
#include <QLocale>
#include <QString>

namespace kalvex {

// German without a translation object, as the module's texts are.
bool GermanInterface();
QLocale InterfaceLocale();
QString ListDateTime(const QDateTime& when);    // short date and time
QString ListNumber(double value, int decimals);  // no thousands separators

// Loads Qt's own catalogue (qtbase_de.qm of Qt's translations folder) for
// German and drops it for any other language code. The catalogue hangs on
// the application object; nothing happens without one.
void UseQtCatalogues(int langCode);
bool QtCataloguesLoaded();

}  // namespace kalvex
