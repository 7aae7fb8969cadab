#pragma once
// Takes file drops from the file manager (text/uri-list) on the widgets it
// watches and hands the URLs on; other drags pass through untouched.

#include <QList>
#include <QObject>
#include <QSet>
#include <QUrl>
#include <functional>

class QWidget;

namespace kalvex {

class TFileDropFilter : public QObject {
public:
    using TDropHandler = std::function<void(const QList<QUrl>&)>;
    TFileDropFilter(TDropHandler onDrop, QObject* parent);
    // Lets widget accept drops and routes its file drops here.
    void Watch(QWidget* widget);
    // A text field: dropped files come here, other URLs stay its text.
    void WatchText(QWidget* widget);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    TDropHandler FOnDrop;
    QSet<QObject*> FTextFields;   // watched, not owned
};

}  // namespace kalvex
