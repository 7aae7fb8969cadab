#pragma once
// The settings dialog's group for the pace of separate runs: at most N
// mails a minute (off by default, presets for the large providers) and the
// tries for a mail the server refuses for now.

#include "send/SendPacing.h"

#include <QGroupBox>

class QCheckBox;
class QComboBox;
class QLabel;
class QSpinBox;

namespace kalvex {

class TPacingGroupBox : public QGroupBox {
    Q_OBJECT

public:
    explicit TPacingGroupBox(QWidget* parent = nullptr);
    void Initialize(const TSendPacingSettings& pacing);
    TSendPacingSettings Pacing() const;

    QCheckBox* chkPacing;
    QSpinBox* edMailsPerMinute;
    QComboBox* cbPreset;
    QSpinBox* edTries;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void translateCaptions();
    void presetChosen(int index);
    void pacingToggled();

    QLabel* lbPerMinute;
    QLabel* lbPreset;
    QLabel* lbTries;
    TSendPacingSettings FLoaded;   // what the dialog does not edit stays
};

}  // namespace kalvex
