// A two-tone horizontal separator: a light line (grey 0.35) on the bottom row with a dark one
// (grey 0.19) directly above it, as in the toolbar's bottom band. Whatever the widget's height,
// only those two rows are drawn. Main-thread only.
#ifndef CORVIX_WINDOW_NSSHADOWLINE_H
#define CORVIX_WINDOW_NSSHADOWLINE_H

#include <QFrame>

class NSShadowLine : public QFrame {
    Q_OBJECT

  public:
    explicit NSShadowLine(QWidget* parent = nullptr);

    QSize sizeHint() const override { return QSize(20, 2); }
    QSize minimumSizeHint() const override { return QSize(0, 2); }

  protected:
    void paintEvent(QPaintEvent* event) override;
};

#endif
