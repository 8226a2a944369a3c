// The item delegate of a table column that shows a small image before its text: the image stands
// 3 pixels from the cell's left edge, vertically centred (an odd spare row goes above it), and the
// text takes the rest of the cell after the image and the gap.
//
// The image of a row is the model's decoration for it (Qt::DecorationRole); where the model has
// none, the delegate's own image (setImage), which may be null. The base delegate draws the text
// as if the item had no decoration. Main-thread only.
#ifndef CORVIX_WINDOW_IMAGEANDTEXTCELL_H
#define CORVIX_WINDOW_IMAGEANDTEXTCELL_H

#include <QPixmap>
#include <QStyledItemDelegate>

class ImageAndTextCell : public QStyledItemDelegate {
    Q_OBJECT

  public:
    static constexpr int kGap = 3;

    explicit ImageAndTextCell(QObject* parent = nullptr);

    const QPixmap& image() const { return _image; }
    void setImage(const QPixmap& image) { _image = image; }

    // Where an image of imageSize is drawn in the cell frame; a null rectangle for an empty
    // size.
    static QRect imageFrameForCellFrame(const QRect& cellFrame, const QSize& imageSize);
    // The cell frame without the image and the gap before it: where the text goes. An empty
    // imageSize leaves the gap alone.
    static QRect textFrameForCellFrame(const QRect& cellFrame, const QSize& imageSize);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    // The base size of the text, widened by the image's width and the gap (the gap alone when
    // there is no image).
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    // Editing gets the text part only.
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;

  protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

  private:
    QPixmap imageFor(const QStyleOptionViewItem& option, const QModelIndex& index) const;

    QPixmap _image;
};

#endif
