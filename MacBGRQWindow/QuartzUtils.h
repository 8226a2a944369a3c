// The dark theme's drawing helpers on QPainter: an opaque two-colour gradient fill and the
// rounded-rectangle path of the theme's buttons. Stateless; any thread that owns the painter may
// call them. Coordinates are Qt's (origin top-left, y down); "bottom to top" means from the
// rectangle's visually lower edge to its upper edge.
#ifndef CORVIX_DRAWING_QUARTZUTILS_H
#define CORVIX_DRAWING_QUARTZUTILS_H

#include <QColor>
#include <QPainterPath>
#include <QRectF>

class QPainter;

class QuartzUtils {
  public:
    enum Orientation {
        kBottomToTop = 0,
        kLeftToRight = 1,
    };

    // A grey of the given white level (0 to 1), fully opaque: the theme's only kind of colour.
    static QColor deviceWhite(qreal level);

    // Fills rect with a linear gradient from startColor to endColor along the orientation, with
    // antialiasing off. Only the colours' red, green and blue are used: the fill is always opaque,
    // whatever alpha the colours carry. Any orientation other than the two above draws nothing.
    // The painter's state is restored afterwards.
    static void gradientFillRectangle(QPainter& painter, const QRectF& rect,
                                      const QColor& startColor, const QColor& endColor,
                                      int orientation);

    // A closed path of rect with its four corners rounded to quarter circles of radius.
    static QPainterPath bezierPathWithRoundedRect(const QRectF& rect, qreal radius);

    // A cap bar was never drawn: the path is always empty. Nothing calls it.
    static QPainterPath bezierCapBar(const QRectF& rect, qreal radius);
};

#endif
