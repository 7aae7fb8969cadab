#pragma once
// Picture properties: the shown width and height of a picture in the body,
// with its aspect ratio kept on request.

#include <QDialog>
#include <QSize>

class QCheckBox;
class QSpinBox;

namespace kalvex {

class TFormBildeigenschaften : public QDialog {
    Q_OBJECT

public:
    // shown: the size as the picture stands now; natural: the image's own.
    TFormBildeigenschaften(QSize shown, QSize natural, QWidget* parent = nullptr);
    QSize ShownSize() const;

    QSpinBox* edBreite;
    QSpinBox* edHoehe;
    QCheckBox* chbSeitenverhaeltnis;

private:
    void keepRatio(bool widthChanged);

    QSize FNatural;
};

}  // namespace kalvex
