// What the window's tests share: reading the pixels of widgets drawn offscreen.
#ifndef CORVIX_TESTS_GUI_GUITEST_H
#define CORVIX_TESTS_GUI_GUITEST_H

#include <QImage>
#include <QWidget>

#include "QuartzUtils.h"

namespace GuiTest {

// The widget drawn alone into a transparent image of its size: its background (the palette's
// window colour) and its own painting, without its children.
inline QImage drawn(QWidget& widget) {
    QImage image(widget.size(), QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawWindowBackground);
    return image;
}

// The grey level (0 to 255) of an opaque grey pixel; -1 for a pixel that is not both.
inline int greyAt(const QImage& image, int x, int y) {
    const QRgb pixel = image.pixel(x, y);
    if (qAlpha(pixel) != 255 || qRed(pixel) != qGreen(pixel) || qRed(pixel) != qBlue(pixel)) {
        return -1;
    }
    return qRed(pixel);
}

// The 0-255 level of a theme grey.
inline int level(qreal white) {
    return QuartzUtils::deviceWhite(white).red();
}

}  // namespace GuiTest

#endif
