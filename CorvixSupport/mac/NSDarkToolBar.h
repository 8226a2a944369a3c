// The dark strip at the top of the window: a row of view buttons on grey 0.27, a lighter
// highlight behind the selected button, and two separator lines in a 2-point band at its bottom.
//
// The toolbar owns the buttons handed to it (they become its children). Buttons are only ever
// added; the selection starts at the first and changes only through setSelectedIdx or
// setSelectedIdxByButton. Main-thread only.
#ifndef CORVIX_WINDOW_NSDARKTOOLBAR_H
#define CORVIX_WINDOW_NSDARKTOOLBAR_H

#include <QList>
#include <QWidget>

class QAbstractButton;

class NSDarkToolBar : public QWidget {
    Q_OBJECT

  public:
    static constexpr int kButtonGap = 9;        // between neighbouring buttons
    static constexpr int kButtonTop = 8;        // the first button's distance from the top edge
    static constexpr int kHighlightMargin = 5;  // highlight beyond the button on each side
    static constexpr int kBottomBand = 2;       // rows kept at the bottom for the separator lines
    static constexpr int kTitlePixelSize = 10;  // button titles

    explicit NSDarkToolBar(QWidget* parent = nullptr);

    // Places the button to the right of the last one (the first keeps its own x and stands
    // kButtonTop below the top edge), gives it a white title at kTitlePixelSize in its own font
    // family, adopts it and sizes it to its content. Placement uses the previous button's fitted
    // width. A button added twice is listed twice.
    void addButton(QAbstractButton* button);
    // Buttons are never taken away: does nothing.
    void removeButton(QAbstractButton* button);

    // Selects and redraws at once when 0 <= index < number of buttons; any other index is
    // ignored.
    void setSelectedIdx(int index);
    int selectedIdx() const { return _selectedIdx; }
    // Selects the first position holding this very button; an unknown button changes nothing.
    void setSelectedIdxByButton(const QAbstractButton* button);

    const QList<QAbstractButton*>& buttons() const { return _buttons; }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QList<QAbstractButton*> _buttons;
    int _selectedIdx = 0;
};

#endif
