#include "ui/FileDropFilter.h"

#include <QDropEvent>
#include <QMimeData>
#include <QWidget>

namespace kalvex {

namespace {

bool carriesUrls(const QEvent* event)
{
    const auto* drop = static_cast<const QDropEvent*>(event);
    return drop->mimeData() && drop->mimeData()->hasUrls();
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

bool TFileDropFilter::eventFilter(QObject* watched, QEvent* event)
{
    if (!isDragOrDrop(event->type()) || !carriesUrls(event))
        return QObject::eventFilter(watched, event);
    auto* drop = static_cast<QDropEvent*>(event);
    drop->setDropAction(Qt::CopyAction);
    drop->accept();
    if (event->type() == QEvent::Drop)
        FOnDrop(drop->mimeData()->urls());
    return true;
}

}  // namespace kalvex
