#pragma once
// The small windows around the distribution window:
// - TFormDarstellung: display settings (font size, automatic column widths,
//   centred grids, colour scheme, accent, style), kept in config.ini,
//   section "Darstellung" (ui/Appearance);
// - TFormTastenkombinationen: the keyboard shortcuts of a window's commands;
// - TFormHinweis: a notice with "Diesen Dialog nicht mehr anzeigen", whose
//   choice is kept in config.ini, section "Hinweise", one key per notice.

#include "ui/Appearance.h"

#include <QDialog>
#include <QList>

class QAction;
class QCheckBox;
class QComboBox;
class QPushButton;
class QSpinBox;
class QTableWidget;

namespace kalvex {

class TConfig;

class TFormDarstellung : public QDialog {
    Q_OBJECT

public:
    explicit TFormDarstellung(const TDisplaySettings& settings, QWidget* parent = nullptr);
    TDisplaySettings Settings() const;
    void SetAccent(const QColor& accent);   // invalid: the scheme's own

    QSpinBox* seSchriftgroesse;
    QCheckBox* cbAutoBreite;
    QCheckBox* cbZentriert;
    QComboBox* cbFarbschema;
    QPushButton* btAkzent;
    QComboBox* cbStil;

signals:
    // Every change, for the live preview of the window that opened the dialog.
    void Changed(const kalvex::TDisplaySettings& settings);

private:
    QWidget* accentRow();
    QComboBox* styleChoice(const QString& current);
    void emitChanged();

    QColor FAccent;
};

class TFormTastenkombinationen : public QDialog {
    Q_OBJECT

public:
    // Lists the actions that have a shortcut, in the order given.
    explicit TFormTastenkombinationen(const QList<QAction*>& actions, QWidget* parent = nullptr);
    QTableWidget* gridTasten;

private:
    void fitGridToContents();
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
