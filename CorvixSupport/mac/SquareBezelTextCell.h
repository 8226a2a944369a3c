// The item delegate of an editable text column drawn as square-bezel text fields: each cell
// shows its text inside a 1-pixel square frame on the field colour, and edits in a frameless
// line edit inside that frame.
//
// The line edit takes text of any length: the model decides what it accepts, and nothing is cut
// on the way. A line edit closed with its text as it was opened changes nothing (the model is not
// asked): a value that the text cannot show exactly, such as a file name that is not UTF-8,
// would otherwise be replaced by the shown text. endEditing() hands the open editor's text to
// the model and closes it, as the user's Return would. Main-thread only.
#ifndef CORVIX_WINDOW_SQUAREBEZELTEXTCELL_H
#define CORVIX_WINDOW_SQUAREBEZELTEXTCELL_H

#include <QLineEdit>
#include <QPointer>
#include <QStyledItemDelegate>

class SquareBezelTextCell : public QStyledItemDelegate {
    Q_OBJECT

  public:
    static constexpr int kMargin = 2;   // between the cell's edge and the frame
    static constexpr int kPadding = 3;  // between the frame and the text

    explicit SquareBezelTextCell(QObject* parent = nullptr);

    // The frame drawn in a cell of that rectangle.
    static QRect frameForCellFrame(const QRect& cellFrame);

    // The line edit open in this column, or null.
    QLineEdit* editor() const { return _editor; }
    // Commits and closes the open line edit; nothing when there is none.
    void endEditing();

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void destroyEditor(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model,
                      const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;

  protected:
    // No text: the base draws the cell's background and selection, paint() the field.
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

  private:
    mutable QPointer<QLineEdit> _editor;
};

#endif
