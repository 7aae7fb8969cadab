#pragma once
// How the module's windows look: font size and columns of the lists,
// colour scheme, accent colour and widget style, kept in config.ini,
// section "Darstellung".
//
// Inside a host's application the palette and the style go to the module's
// own windows only; when the module made the application object itself
// they go to the whole application, message boxes included.

#include <QColor>
#include <QString>

class QWidget;

namespace kalvex {

class TConfig;

enum class TFarbschema : int { fsSystem = 0, fsHell = 1, fsDunkel = 2 };

struct TDisplaySettings {
    int fontSize = 0;   // 0: the desktop's size
    bool autoWidth = false;
    bool centred = false;
    TFarbschema scheme = TFarbschema::fsSystem;
    QColor accent;      // invalid: the scheme's own
    QString style;      // empty: the application's style
};

TDisplaySettings LoadDisplaySettings(const TConfig& config);
void SaveDisplaySettings(TConfig& config, const TDisplaySettings& settings);

// Scheme, accent and style on window and its children (see above).
void ApplyAppearance(QWidget* window, const TDisplaySettings& settings);
// The kept appearance on a window about to be shown; nothing without settings.
void ApplyKeptAppearance(QWidget* window);

}  // namespace kalvex
