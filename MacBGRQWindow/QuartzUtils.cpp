#include "QuartzUtils.h"

#include <QLinearGradient>
#include <QPainter>

QColor QuartzUtils::deviceWhite(qreal level) {
    return QColor::fromRgbF(level, level, level, 1.0);
}

void QuartzUtils::gradientFillRectangle(QPainter& painter, const QRectF& rect,
                                        const QColor& startColor, const QColor& endColor,
                                        int orientation) {
    QLinearGradient gradient;
    if (orientation == kBottomToTop) {
        gradient = QLinearGradient(rect.bottomLeft(), rect.topLeft());
    } else if (orientation == kLeftToRight) {
        gradient = QLinearGradient(rect.topLeft(), rect.topRight());
    } else {
        return;
    }
    // The theme's gradients are opaque on purpose: a translucent colour must not let the window
    // behind show through a button face.
    const QColor start = startColor.toRgb();
    const QColor end = endColor.toRgb();
    gradient.setColorAt(0.0, QColor::fromRgbF(start.redF(), start.greenF(), start.blueF(), 1.0));
    gradient.setColorAt(1.0, QColor::fromRgbF(end.redF(), end.greenF(), end.blueF(), 1.0));

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillRect(rect, gradient);
    painter.restore();
}

QPainterPath QuartzUtils::bezierPathWithRoundedRect(const QRectF& rect, qreal radius) {
    // Corners are arcs around the corners of the rectangle inset by the radius, joined by the
    // straight edges, going round counter-clockwise on screen from the lower-left corner.
    const QRectF inner = rect.adjusted(radius, radius, -radius, -radius);
    const auto corner = [radius](QPointF centre) {
        return QRectF(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius);
    };
    QPainterPath path;
    path.arcMoveTo(corner(inner.bottomLeft()), 180);
    path.arcTo(corner(inner.bottomLeft()), 180, 90);
    path.lineTo(path.currentPosition() + QPointF(inner.width(), 0));
    path.arcTo(corner(inner.bottomRight()), 270, 90);
    path.lineTo(path.currentPosition() + QPointF(0, -inner.height()));
    path.arcTo(corner(inner.topRight()), 0, 90);
    path.lineTo(path.currentPosition() + QPointF(-inner.width(), 0));
    path.arcTo(corner(inner.topLeft()), 90, 90);
    path.closeSubpath();
    return path;
}

QPainterPath QuartzUtils::bezierCapBar(const QRectF& /*rect*/, qreal /*radius*/) {
    return QPainterPath();
}
