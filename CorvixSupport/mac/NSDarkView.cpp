#include "NSDarkView.h"

#include <QAbstractButton>
#include <QChildEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPaintEvent>
#include <QPainter>

#include "DarkTheme.h"
#include "QuartzUtils.h"

NSDarkView::NSDarkView(QWidget* parent) : QWidget(parent) {}

void NSDarkView::addSubview(QWidget* view) {
    recolour(view);
    view->setParent(this);
    view->show();
}

bool NSDarkView::isTextField(const QWidget* widget) {
    return qobject_cast<const QLabel*>(widget) != nullptr ||
           qobject_cast<const QLineEdit*>(widget) != nullptr;
}

void NSDarkView::setTextColor(QWidget* widget, const QColor& color) {
    QPalette palette = widget->palette();
    palette.setColor(widget->foregroundRole(), color);
    widget->setPalette(palette);
}

void NSDarkView::recolour(QWidget* view) {
    if (isTextField(view)) {
        setTextColor(view, QuartzUtils::deviceWhite(DarkTheme::kLabel));
    } else if (qobject_cast<QAbstractButton*>(view) != nullptr &&
               view->property("tag").toInt() == DarkTheme::kLightTitleTag) {
        setTextColor(view, QuartzUtils::deviceWhite(DarkTheme::kTaggedTitle));
    }
}

void NSDarkView::childEvent(QChildEvent* event) {
    // A child announced by ChildAdded may still be under construction; by the time it is
    // polished it is whole and its form has set its properties.
    if (event->type() == QEvent::ChildPolished && event->child()->isWidgetType()) {
        recolour(static_cast<QWidget*>(event->child()));
    }
    QWidget::childEvent(event);
}

void NSDarkView::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.fillRect(event->rect(), QuartzUtils::deviceWhite(DarkTheme::kBackground));
}
