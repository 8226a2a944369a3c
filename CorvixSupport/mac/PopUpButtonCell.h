// The item delegate of a table column whose cells are pop-up buttons. Each cell is a combo box
// holding the delegate's items in a small font, meant to stay open as a persistent editor (the
// table's controller opens one per row); the model's edit value is the index of the chosen item.
//
// Choosing an item (also the one already shown) first makes its row the table's selected row,
// as a click into a table does, then hands the item's index to the model at once; nothing else
// writes to the model (leaving the pop-up does not). Main-thread only.
#ifndef CORVIX_WINDOW_POPUPBUTTONCELL_H
#define CORVIX_WINDOW_POPUPBUTTONCELL_H

#include <QStringList>
#include <QStyledItemDelegate>

class PopUpButtonCell : public QStyledItemDelegate {
    Q_OBJECT

  public:
    static constexpr int kMiniPixelSize = 11;  // the pop-up's font, smaller than the table's

    explicit PopUpButtonCell(const QStringList& items, QObject* parent = nullptr);

    const QStringList& items() const { return _items; }

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    // Nothing: see above.
    void setModelData(QWidget* editor, QAbstractItemModel* model,
                      const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;

  protected:
    // No text: the cell draws its background and selection only, the pop-up covers the rest.
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

  private:
    QStringList _items;
};

#endif
