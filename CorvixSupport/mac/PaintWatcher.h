// Tells, once, that a widget has been painted: the next time it handles a paint event, on the
// following turn of the event loop, by when the frame has been handed to the window system.
// Used for the start-up measurement (--quit-when-shown) and to know when a screenshot may be
// taken. Main-thread only; the watcher must not outlive the widget.
#ifndef CORVIX_WINDOW_PAINTWATCHER_H
#define CORVIX_WINDOW_PAINTWATCHER_H

#include <QObject>

class QWidget;

class PaintWatcher : public QObject {
    Q_OBJECT

  public:
    explicit PaintWatcher(QWidget* widget, QObject* parent = nullptr);

    // Prints "shown X Y WIDTH HEIGHT" (widget's frame) on standard output once widget has been
    // painted (asking for a paint now), for the scripts that wait to capture it.
    static void reportFrameWhenPainted(QWidget* widget);

  signals:
    void painted();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QWidget* _widget;
};

#endif
