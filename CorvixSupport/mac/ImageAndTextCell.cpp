#include "ImageAndTextCell.h"

#include <QApplication>
#include <QIcon>
#include <QPainter>

#include <cmath>

namespace {

// In device-independent pixels; empty for no image.
QSize sizeOf(const QPixmap& image) {
    return image.isNull() ? QSize(0, 0) : image.deviceIndependentSize().toSize();
}

}  // namespace

ImageAndTextCell::ImageAndTextCell(QObject* parent) : QStyledItemDelegate(parent) {}

QRect ImageAndTextCell::imageFrameForCellFrame(const QRect& cellFrame, const QSize& imageSize) {
    if (imageSize.isEmpty()) {
        return QRect();
    }
    // Half the spare height, rounded up, lies above the image.
    const int top = cellFrame.y() +
                    static_cast<int>(std::ceil((cellFrame.height() - imageSize.height()) / 2.0));
    return QRect(QPoint(cellFrame.x() + kGap, top), imageSize);
}

QRect ImageAndTextCell::textFrameForCellFrame(const QRect& cellFrame, const QSize& imageSize) {
    const int imagePart = imageSize.isEmpty() ? kGap : imageSize.width() + kGap;
    return cellFrame.adjusted(imagePart, 0, 0, 0);
}

QPixmap ImageAndTextCell::imageFor(const QStyleOptionViewItem& option,
                                   const QModelIndex& index) const {
    const QVariant decoration = index.data(Qt::DecorationRole);
    switch (decoration.typeId()) {
        case QMetaType::QPixmap:
            return decoration.value<QPixmap>();
        case QMetaType::QImage:
            return QPixmap::fromImage(decoration.value<QImage>());
        case QMetaType::QIcon:
            return decoration.value<QIcon>().pixmap(option.decorationSize);
        default:
            return _image;
    }
}

void ImageAndTextCell::initStyleOption(QStyleOptionViewItem* option,
                                       const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    // The image is ours to draw; the base delegate lays out the text alone.
    option->features &= ~QStyleOptionViewItem::HasDecoration;
    option->icon = QIcon();
    option->decorationSize = QSize();
}

void ImageAndTextCell::paint(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const {
    const QPixmap image = imageFor(option, index);
    if (image.isNull()) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    const QSize imageSize = sizeOf(image);
    QStyleOptionViewItem cell = option;
    initStyleOption(&cell, index);
    cell.text.clear();
    const QWidget* widget = option.widget;
    QStyle* style = widget != nullptr ? widget->style() : QApplication::style();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &cell, painter, widget);
    painter->drawPixmap(imageFrameForCellFrame(option.rect, imageSize), image);

    QStyleOptionViewItem text = option;
    text.rect = textFrameForCellFrame(option.rect, imageSize);
    QStyledItemDelegate::paint(painter, text, index);
}

QSize ImageAndTextCell::sizeHint(const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const {
    const int imageWidth = sizeOf(imageFor(option, index)).width();
    return QStyledItemDelegate::sizeHint(option, index) + QSize(imageWidth + kGap, 0);
}

void ImageAndTextCell::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                            const QModelIndex& index) const {
    QStyleOptionViewItem text = option;
    text.rect = textFrameForCellFrame(option.rect, sizeOf(imageFor(option, index)));
    QStyledItemDelegate::updateEditorGeometry(editor, text, index);
}
