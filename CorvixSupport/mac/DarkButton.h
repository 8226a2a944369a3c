// The theme's push button: a rounded face (radius 4) with a gradient from grey 0.27 at the bottom
// to 0.38 at the top, a flat grey 0.45 face while pressed, a thin dark outline, and a white
// centred title in the system font at 9 pixels with 0.5 of letter spacing.
//
// The two faces are made once, when the button is first polished (after its form has given it
// its size and title), at the size it has then; they are not remade on resize, so forms give
// dark buttons a fixed size. Main-thread only.
#ifndef CORVIX_WINDOW_DARKBUTTON_H
#define CORVIX_WINDOW_DARKBUTTON_H

#include <QImage>
#include <QPushButton>

class DarkButton : public QPushButton {
    Q_OBJECT

  public:
    static constexpr qreal kCornerRadius = 4;
    static constexpr int kTitlePixelSize = 9;

    explicit DarkButton(QWidget* parent = nullptr);

    // Makes the faces at the current size and sets the title's font. Runs once by itself; calling
    // it again remakes the faces.
    void awakeFromNib();

    // A new image of size with the button face drawn in it: the gradient face, or with
    // hasHighlight the pressed one. The title is accepted but not drawn: the button draws it.
    static QImage imageOfButtonWithSize(const QSize& size, const QString& title, bool hasHighlight);

    const QImage& image() const { return _image; }
    const QImage& alternateImage() const { return _alternateImage; }

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    QImage _image;
    QImage _alternateImage;
    bool _awake = false;
};

#endif
