#include "ui/FileDropFilter.h"

#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <QWidget>

namespace kalvex {

namespace {

bool carriesUrls(const QEvent* event)
{
    const auto* drop = static_cast<const QDropEvent*>(event);
    return drop->mimeData() && drop->mimeData()->hasUrls();
}

bool carriesFiles(const QEvent* event)
{
    for (const QUrl& url : static_cast<const QDropEvent*>(event)->mimeData()->urls())
        if (url.isLocalFile())
            return true;
    return false;
}

bool isDragOrDrop(QEvent::Type type)
{
    return type == QEvent::DragEnter || type == QEvent::DragMove || type == QEvent::Drop;
}

}  // namespace

TFileDropFilter::TFileDropFilter(TDropHandler onDrop, QObject* parent) : QObject(parent), FOnDrop(std::move(onDrop)) {}

void TFileDropFilter::Watch(QWidget* widget)
{
    widget->setAcceptDrops(true);
    widget->installEventFilter(this);
}

void TFileDropFilter::WatchText(QWidget* widget)
{
    Watch(widget);
    FTextFields.insert(widget);
}

bool TFileDropFilter::eventFilter(QObject* watched, QEvent* event)
{
    if (!isDragOrDrop(event->type()) || !carriesUrls(event)
        || (FTextFields.contains(watched) && !carriesFiles(event)))
        return QObject::eventFilter(watched, event);
    auto* drop = static_cast<QDropEvent*>(event);
    drop->setDropAction(Qt::CopyAction);
    drop->accept();
    if (event->type() == QEvent::Drop)
        FOnDrop(drop->mimeData()->urls());
    return true;
}

}  // namespace kalvex
