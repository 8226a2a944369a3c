#include "PaintWatcher.h"

#include <QEvent>
#include <QTimer>
#include <QWidget>

#include <cstdio>

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

void PaintWatcher::reportFrameWhenPainted(QWidget* widget) {
    auto* watcher = new PaintWatcher(widget, widget);
    QObject::connect(watcher, &PaintWatcher::painted, widget, [widget]() {
        const QRect frame = widget->frameGeometry();
        std::printf("shown %d %d %d %d\n", frame.x(), frame.y(), frame.width(), frame.height());
        std::fflush(stdout);
    });
    widget->update();
}
