#pragma once
// The mail body's editor: a picture pasted from the clipboard becomes a
// picture resource of the document like one inserted from a file (PNG,
// named by its content), so the mail carries it.

#include <QTextEdit>

namespace kalvex {

class TBodyEdit : public QTextEdit {
public:
    explicit TBodyEdit(QWidget* parent) : QTextEdit(parent) {}

protected:
    bool canInsertFromMimeData(const QMimeData* source) const override;
    void insertFromMimeData(const QMimeData* source) override;
};

}  // namespace kalvex
