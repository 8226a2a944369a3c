#include "PopUpButtonCell.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QPersistentModelIndex>

PopUpButtonCell::PopUpButtonCell(const QStringList& items, QObject* parent)
    : QStyledItemDelegate(parent), _items(items) {}

QWidget* PopUpButtonCell::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                       const QModelIndex& index) const {
    auto* popUp = new QComboBox(parent);
    popUp->addItems(_items);
    QFont font = popUp->font();
    font.setPixelSize(kMiniPixelSize);
    popUp->setFont(font);

    auto* table = qobject_cast<QAbstractItemView*>(const_cast<QWidget*>(option.widget));
    const QPersistentModelIndex cell(index);
    // The chosen index is passed on as chosen: selecting the row may reload the table, which
    // gives the pop-up the model's value again before the model has the new one.
    connect(popUp, &QComboBox::activated, this, [table, cell](int chosen) {
        if (table != nullptr && cell.isValid()) {
            table->setCurrentIndex(cell);
        }
        if (cell.isValid()) {
            const_cast<QAbstractItemModel*>(cell.model())->setData(cell, chosen, Qt::EditRole);
        }
    });
    return popUp;
}

void PopUpButtonCell::setEditorData(QWidget* editor, const QModelIndex& index) const {
    static_cast<QComboBox*>(editor)->setCurrentIndex(index.data(Qt::EditRole).toInt());
}

void PopUpButtonCell::setModelData(QWidget* /*editor*/, QAbstractItemModel* /*model*/,
                                   const QModelIndex& /*index*/) const {
    // The choice reached the model when it was made; leaving the pop-up (focus, Tab, Return)
    // must not choose again.
}

void PopUpButtonCell::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                           const QModelIndex& /*index*/) const {
    editor->setGeometry(option.rect.adjusted(2, 1, -2, -1));
}

void PopUpButtonCell::initStyleOption(QStyleOptionViewItem* option,
                                      const QModelIndex& index) const {
    QStyledItemDelegate::initStyleOption(option, index);
    option->text.clear();
}
