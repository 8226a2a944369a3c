#include "SquareBezelTextCell.h"

#include <QPainter>

#include <limits>

SquareBezelTextCell::SquareBezelTextCell(QObject* parent) : QStyledItemDelegate(parent) {}

QRect SquareBezelTextCell::frameForCellFrame(const QRect& cellFrame) {
    return cellFrame.adjusted(kMargin, kMargin, -kMargin, -kMargin);
}

void SquareBezelTextCell::endEditing() {
    if (QLineEdit* editor = _editor) {
        emit commitData(editor);
        emit closeEditor(editor, QAbstractItemDelegate::NoHint);
    }
}

QWidget* SquareBezelTextCell::createEditor(QWidget* parent, const QStyleOptionViewItem& /*option*/,
                                           const QModelIndex& /*index*/) const {
    auto* field = new QLineEdit(parent);
    field->setFrame(false);
    // Qt's default limit would cut a long paste; the model refuses what does not fit instead.
    field->setMaxLength(std::numeric_limits<int>::max());
    _editor = field;
    return field;
}

void SquareBezelTextCell::destroyEditor(QWidget* editor, const QModelIndex& index) const {
    if (editor == _editor) {
        _editor = nullptr;
    }
    QStyledItemDelegate::destroyEditor(editor, index);
}

void SquareBezelTextCell::setModelData(QWidget* editor, QAbstractItemModel* model,
                                       const QModelIndex& index) const {
    const QString text = static_cast<QLineEdit*>(editor)->text();
    if (text != index.data(Qt::EditRole).toString()) {
        model->setData(index, text, Qt::EditRole);
    }
}

void SquareBezelTextCell::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                               const QModelIndex& /*index*/) const {
    editor->setGeometry(frameForCellFrame(option.rect).adjusted(1, 1, -1, -1));
}

void SquareBezelTextCell::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                const QModelIndex& index) const {
    QStyledItemDelegate::paint(painter, option, index);
    const QString text = index.data(Qt::DisplayRole).toString();
    const QRect frame = frameForCellFrame(option.rect);
    painter->save();
    painter->fillRect(frame, option.palette.color(QPalette::Base));
    painter->setPen(option.palette.color(QPalette::Light));
    painter->drawRect(frame.adjusted(0, 0, -1, -1));
    painter->setPen(option.palette.color(QPalette::Text));
    const QRect textFrame = frame.adjusted(kPadding, 0, -kPadding, 0);
    painter->drawText(textFrame, Qt::AlignLeft | Qt::AlignVCenter,
                      option.fontMetrics.elidedText(text, Qt::ElideMiddle, textFrame.width()));
    painter->restore();
}

void SquareBezelTextCell::initStyleOption(QStyleOptionViewItem* option,
                                          const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    option->text.clear();
}
