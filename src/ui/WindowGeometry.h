#pragma once
// Window size and position kept in config.ini, one section per window
// (FormTextbausteine, FormVorlagen, fGesendeteMail, ...). Missing keys keep
// the window's design values.

#include <QString>

class QWidget;

namespace kalvex {

void LoadWindowGeometry(QWidget* window, const QString& section);
void SaveWindowGeometry(const QWidget* window, const QString& section);
// The width of a window's left panel (key pnTopLeft).
int LoadPanelWidth(const QString& section, int designWidth);
void SavePanelWidth(const QString& section, int width);

}  // namespace kalvex
