#include "NSDarkToolBar.h"

#include <QAbstractButton>
#include <QPainter>

#include "DarkTheme.h"
#include "QuartzUtils.h"

NSDarkToolBar::NSDarkToolBar(QWidget* parent) : QWidget(parent) {
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, QuartzUtils::deviceWhite(DarkTheme::kBackground));
    setPalette(palette);
}

void NSDarkToolBar::addButton(QAbstractButton* button) {
    QPoint origin(button->x(), kButtonTop);
    if (!_buttons.isEmpty()) {
        const QAbstractButton* last = _buttons.last();
        origin = QPoint(last->x() + last->width() + kButtonGap, last->y());
    }
    button->move(origin);

    QPalette palette = button->palette();
    palette.setColor(QPalette::ButtonText, Qt::white);
    palette.setColor(QPalette::WindowText, Qt::white);
    button->setPalette(palette);
    QFont font = button->font();
    font.setPixelSize(kTitlePixelSize);
    button->setFont(font);

    button->setParent(this);
    button->show();
    button->resize(button->sizeHint());
    _buttons.append(button);
}

void NSDarkToolBar::removeButton(QAbstractButton* /*button*/) {}

void NSDarkToolBar::setSelectedIdx(int index) {
    if (index < 0 || index >= _buttons.size()) {
        return;
    }
    _selectedIdx = index;
    repaint();
}

void NSDarkToolBar::setSelectedIdxByButton(const QAbstractButton* button) {
    setSelectedIdx(_buttons.indexOf(button));
}

void NSDarkToolBar::paintEvent(QPaintEvent* /*event*/) {
    // The strip is drawn whole. Rows from the top: the background (and the highlight) down to
    // the band, then the dark line, the light line, and a last row left to the window's own
    // background, so that the dark line lies one row above the light one.
    const int w = width();
    const int h = height();
    const QRect background(0, 0, w, h - kBottomBand);
    const int lightLineY = h - 2;
    const int darkLineY = h - 3;

    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillRect(background, QuartzUtils::deviceWhite(DarkTheme::kBackground));

    if (_selectedIdx >= 0 && _selectedIdx < _buttons.size()) {
        const QRect button = _buttons[_selectedIdx]->geometry();
        const int left = button.x() - kHighlightMargin;
        const int right = left + button.width() + 2 * kHighlightMargin;
        painter.fillRect(QRect(left, background.top(), right - left, background.height()),
                         QuartzUtils::deviceWhite(DarkTheme::kHighlightFill));
        painter.setPen(QuartzUtils::deviceWhite(DarkTheme::kHighlightSide));
        painter.drawLine(left, background.top(), left, background.bottom());
        painter.drawLine(right, background.top(), right, background.bottom());
    }

    painter.setPen(QuartzUtils::deviceWhite(DarkTheme::kLightLine));
    painter.drawLine(0, lightLineY, w - 1, lightLineY);
    painter.setPen(QuartzUtils::deviceWhite(DarkTheme::kDarkLine));
    painter.drawLine(0, darkLineY, w - 1, darkLineY);
}
