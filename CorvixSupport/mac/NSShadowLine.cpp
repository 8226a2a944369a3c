#include "NSShadowLine.h"

#include <QPainter>

#include "DarkTheme.h"
#include "QuartzUtils.h"

NSShadowLine::NSShadowLine(QWidget* parent) : QFrame(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void NSShadowLine::paintEvent(QPaintEvent* /*event*/) {
    const QRect bounds = rect();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.setPen(QuartzUtils::deviceWhite(DarkTheme::kLightLine));
    painter.drawLine(bounds.left(), bounds.bottom(), bounds.right(), bounds.bottom());
    painter.setPen(QuartzUtils::deviceWhite(DarkTheme::kDarkLine));
    painter.drawLine(bounds.left(), bounds.bottom() - 1, bounds.right(), bounds.bottom() - 1);
}
