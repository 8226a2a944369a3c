#include "PaintWatcher.h"

#include <QEvent>
#include <QTimer>
#include <QWidget>

PaintWatcher::PaintWatcher(QWidget* widget, QObject* parent) : QObject(parent), _widget(widget) {
    _widget->installEventFilter(this);
}

bool PaintWatcher::eventFilter(QObject* watched, QEvent* event) {
    if (watched == _widget && event->type() == QEvent::Paint) {
        _widget->removeEventFilter(this);
        QTimer::singleShot(0, this, &PaintWatcher::painted);
    }
    return QObject::eventFilter(watched, event);
}
