// Draws the window's images as PNG files into a folder: the four toolbar images (32 x 32), the
// table's status images valid.png and invalid.png (16 x 16) and the application image
// (64 x 64); and, into a second folder, the application icon at the desktop icon theme's sizes,
// scaled from the same 64-pixel drawing (icons/ holds a hand-written SVG of it as well). The PNGs
// are committed; run this only to change them:
//
//   cmake --build build --target corvix_make_images
//   cd CorvixSupport/resources
//   ../../build/CorvixSupport/mac/corvix_make_images images icons
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QTransform>

#include <cmath>
#include <cstdio>
#include <functional>

#include "QuartzUtils.h"

namespace {

const QColor kBlue(0x3d, 0x7c, 0xd9);
const QColor kRed(0xd9, 0x45, 0x3d);
const QColor kGreen(0x3d, 0xa8, 0x5a);
const QColor kOrange(0xe8, 0xa3, 0x3c);
const QColor kRim(0, 0, 0, 110);

QPainterPath circle(QPointF centre, qreal radius) {
    QPainterPath path;
    path.addEllipse(centre, radius, radius);
    return path;
}

// A blue disc with a white "i".
void information(QPainter& p) {
    p.setPen(QPen(kRim, 1));
    p.setBrush(kBlue);
    p.drawEllipse(QPointF(16, 16), 14.5, 14.5);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(16, 9.5), 2.4, 2.4);
    p.drawRoundedRect(QRectF(13.8, 13.5, 4.4, 12), 1.5, 1.5);
}

// A cube seen from above a corner, its three faces in three shades of orange.
void renderers(QPainter& p) {
    const QPointF top(16, 2.5), left(3.5, 9.5), right(28.5, 9.5), centre(16, 16.5);
    const QPointF bottom(16, 30), bottomLeft(3.5, 23), bottomRight(28.5, 23);
    const QPolygonF topFace{top, right, centre, left};
    const QPolygonF leftFace{left, centre, bottom, bottomLeft};
    const QPolygonF rightFace{centre, right, bottomRight, bottom};
    p.setPen(QPen(kRim, 1, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(kOrange.lighter(135));
    p.drawPolygon(topFace);
    p.setBrush(kOrange);
    p.drawPolygon(leftFace);
    p.setBrush(kOrange.darker(135));
    p.drawPolygon(rightFace);
}

// A grey gear with eight teeth.
void maintenance(QPainter& p) {
    QPainterPath gear = circle(QPointF(16, 16), 10.5);
    for (int tooth = 0; tooth < 8; ++tooth) {
        QPainterPath rect;
        rect.addRoundedRect(QRectF(-2.8, -15, 5.6, 8), 1.2, 1.2);
        QTransform turn;
        turn.translate(16, 16);
        turn.rotate(tooth * 45);
        gear = gear.united(turn.map(rect));
    }
    gear = gear.subtracted(circle(QPointF(16, 16), 4.5));
    QLinearGradient metal(0, 0, 0, 32);
    metal.setColorAt(0, QColor(0xe6, 0xe6, 0xe6));
    metal.setColorAt(1, QColor(0x9a, 0x9a, 0x9a));
    p.setPen(QPen(kRim, 1));
    p.setBrush(metal);
    p.drawPath(gear);
}

// A life buoy: a white ring with four red bands.
void lifebuoy(QPainter& p, QPointF centre, qreal outer, qreal inner) {
    const QPainterPath ring = circle(centre, outer).subtracted(circle(centre, inner));
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0xf4, 0xf4, 0xf4));
    p.drawPath(ring);
    const QRectF box(centre.x() - outer, centre.y() - outer, 2 * outer, 2 * outer);
    for (int band = 0; band < 4; ++band) {
        QPainterPath slice;
        slice.moveTo(centre);
        slice.arcTo(box, 45 + band * 90 - 22, 44);
        slice.closeSubpath();
        p.setBrush(kRed);
        p.drawPath(ring.intersected(slice));
    }
    p.setPen(QPen(kRim, 1));
    p.setBrush(Qt::NoBrush);
    p.drawPath(ring);
}

void support(QPainter& p) {
    lifebuoy(p, QPointF(16, 16), 14.5, 7);
}

// A coloured disc with a white mark.
void statusDisc(QPainter& p, const QColor& colour, const QPainterPath& mark) {
    p.setPen(QPen(kRim, 1));
    p.setBrush(colour);
    p.drawEllipse(QPointF(8, 8), 7, 7);
    p.setPen(QPen(Qt::white, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    p.drawPath(mark);
}

void valid(QPainter& p) {
    QPainterPath tick;
    tick.moveTo(4.5, 8.5);
    tick.lineTo(7, 11);
    tick.lineTo(11.5, 5.5);
    statusDisc(p, kGreen, tick);
}

void invalid(QPainter& p) {
    QPainterPath cross;
    cross.moveTo(5.3, 5.3);
    cross.lineTo(10.7, 10.7);
    cross.moveTo(10.7, 5.3);
    cross.lineTo(5.3, 10.7);
    statusDisc(p, kRed, cross);
}

// The application: a life buoy on a dark rounded tile shaded like the theme's buttons.
void application(QPainter& p) {
    const QRectF tile(2, 2, 60, 60);
    const QPainterPath outline = QuartzUtils::bezierPathWithRoundedRect(tile, 12);
    p.save();
    p.setClipPath(outline);
    QuartzUtils::gradientFillRectangle(p, tile, QuartzUtils::deviceWhite(0.22),
                                       QuartzUtils::deviceWhite(0.4), QuartzUtils::kBottomToTop);
    p.restore();
    p.setPen(QPen(QColor(0, 0, 0, 160), 1));
    p.setBrush(Qt::NoBrush);
    p.drawPath(outline);
    lifebuoy(p, QPointF(32, 32), 21, 10);
}

// Draws a design of designSize pixels square (0: of size pixels) into an image of size pixels.
bool save(const QString& folder, const QString& name, int size,
          const std::function<void(QPainter&)>& draw, int designSize = 0) {
    QImage image(size, size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    if (designSize > 0) {
        painter.scale(qreal(size) / designSize, qreal(size) / designSize);
    }
    draw(painter);
    painter.end();
    const QString path = folder + "/" + name;
    if (!image.save(path, "PNG")) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

}  // namespace

int main(int argc, char* argv[]) {
    QGuiApplication app(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: corvix_make_images FOLDER ICON_FOLDER\n");
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    const QString iconFolder = QString::fromLocal8Bit(argv[2]);
    bool ok = save(folder, "information.png", 32, information) &&
              save(folder, "3d-renderers.png", 32, renderers) &&
              save(folder, "maintenance.png", 32, maintenance) &&
              save(folder, "support.png", 32, support) && save(folder, "valid.png", 16, valid) &&
              save(folder, "invalid.png", 16, invalid) &&
              save(folder, "corvix-support.png", 64, application);
    for (int size : {16, 32, 48, 64, 128, 256}) {
        ok = ok && save(iconFolder, QString("example.orvanta.CorvixSupport-%1.png").arg(size), size,
                        application, 64);
    }
    return ok ? 0 : 1;
}
