#pragma once
// The small windows around the distribution window:
// - TFormDarstellung: display settings (font size, automatic column widths,
//   centred grids), kept in config.ini, section "Darstellung";
// - TFormTastenkombinationen: the keyboard shortcuts of a window's commands;
// - TFormHinweis: a notice with "Diesen Dialog nicht mehr anzeigen", whose
//   choice is kept in config.ini, section "Hinweise", one key per notice.

#include <QDialog>
#include <QList>

class QAction;
class QCheckBox;
class QSpinBox;
class QTableWidget;

namespace kalvex {

class TConfig;

struct TDisplaySettings {
    int fontSize = 0;   // 0: the desktop's size
    bool autoWidth = false;
    bool centred = false;
};
TDisplaySettings LoadDisplaySettings(const TConfig& config);
void SaveDisplaySettings(TConfig& config, const TDisplaySettings& settings);

class TFormDarstellung : public QDialog {
    Q_OBJECT

public:
    explicit TFormDarstellung(const TDisplaySettings& settings, QWidget* parent = nullptr);
    TDisplaySettings Settings() const;

    QSpinBox* seSchriftgroesse;
    QCheckBox* cbAutoBreite;
    QCheckBox* cbZentriert;
};

class TFormTastenkombinationen : public QDialog {
    Q_OBJECT

public:
    // Lists the actions that have a shortcut, in the order given.
    explicit TFormTastenkombinationen(const QList<QAction*>& actions, QWidget* parent = nullptr);
    QTableWidget* gridTasten;
};

class TFormHinweis : public QDialog {
    Q_OBJECT

public:
    TFormHinweis(const QString& text, QWidget* parent = nullptr);
    bool NichtMehrAnzeigen() const;
    QCheckBox* cbNichtMehrAnzeigen;
};

// Shows the notice unless the user turned it off; remembers the choice.
void ShowNotice(QWidget* parent, const QString& key, const QString& text);
bool NoticeSuppressed(const QString& key);

}  // namespace kalvex
