#include "DarkButton.h"

#include <QEvent>
#include <QPainter>

#include "QuartzUtils.h"

DarkButton::DarkButton(QWidget* parent) : QPushButton(parent) {
    setFlat(true);
}

void DarkButton::awakeFromNib() {
    _awake = true;
    _image = imageOfButtonWithSize(size(), text(), false);
    _alternateImage = imageOfButtonWithSize(size(), text(), true);

    QFont font = this->font();
    font.setPixelSize(kTitlePixelSize);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 0.5);
    setFont(font);
    QPalette palette = this->palette();
    palette.setColor(QPalette::Active, QPalette::ButtonText, Qt::white);
    palette.setColor(QPalette::Inactive, QPalette::ButtonText, Qt::white);
    setPalette(palette);
}

QImage DarkButton::imageOfButtonWithSize(const QSize& size, const QString& /*title*/,
                                         bool hasHighlight) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    const QRectF bounds(0, 0, size.width(), size.height());
    const QPainterPath outline = QuartzUtils::bezierPathWithRoundedRect(bounds, kCornerRadius);

    QPainter painter(&image);
    painter.setClipPath(outline);
    if (hasHighlight) {
        painter.fillRect(bounds, QuartzUtils::deviceWhite(0.45));
    } else {
        QuartzUtils::gradientFillRectangle(painter, bounds, QuartzUtils::deviceWhite(0.27),
                                           QuartzUtils::deviceWhite(0.38),
                                           QuartzUtils::kBottomToTop);
    }
    // The outline is stroked smoothly along the clipped edge: its inner half shows as a thin
    // dark rim that follows the rounded corners.
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(QPen(Qt::black, 1));
    painter.drawPath(outline);
    return image;
}

bool DarkButton::event(QEvent* event) {
    const bool handled = QPushButton::event(event);
    if (event->type() == QEvent::Polish && !_awake) {
        awakeFromNib();
    }
    return handled;
}

void DarkButton::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.drawImage(0, 0, isDown() ? _alternateImage : _image);
    painter.setFont(font());
    painter.setPen(palette().color(QPalette::ButtonText));
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextShowMnemonic, text());
}
