// The dark theme's controls and drawing helpers, drawn offscreen and read back pixel by pixel:
// the toolbar, the dark view, the shadow line, the dark button, the gradient and the image cell.
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTest>

#include <functional>
#include <memory>

#include "DarkButton.h"
#include "DarkTheme.h"
#include "ImageAndTextCell.h"
#include "NSDarkToolBar.h"
#include "NSDarkView.h"
#include "NSShadowLine.h"
#include "QuartzUtils.h"

namespace {

QImage blank(QSize size) {
    QImage image(size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    return image;
}
// The widget's own painting, over its background unless flags say otherwise.
QImage drawn(QWidget& widget, QWidget::RenderFlags flags = QWidget::DrawWindowBackground) {
    QImage image = blank(widget.size());
    widget.render(&image, QPoint(), QRegion(), flags);
    return image;
}
// The level (0 to 255) of an opaque grey pixel; -1 for a pixel that is not both.
int greyAt(const QImage& image, int x, int y) {
    const QRgb pixel = image.pixel(x, y);
    const bool grey = qRed(pixel) == qGreen(pixel) && qRed(pixel) == qBlue(pixel);
    return qAlpha(pixel) == 255 && grey ? qRed(pixel) : -1;
}
int level(qreal white) {
    return QuartzUtils::deviceWhite(white).red();
}

// A button of a fixed fitted size that draws nothing.
class FixedButton : public QAbstractButton {
  public:
    explicit FixedButton(QSize size = {60, 50}) : _size(size) { setGeometry(10, 0, 90, 50); }
    QSize sizeHint() const override { return _size; }

  protected:
    void paintEvent(QPaintEvent*) override {}

  private:
    QSize _size;
};

// A toolbar 400 by 65 with no buttons, or three of fitted widths 60, 75 and 40.
std::unique_ptr<NSDarkToolBar> toolbar(bool withButtons = true) {
    auto toolbar = std::make_unique<NSDarkToolBar>();
    toolbar->resize(400, 65);
    for (QSize size : {QSize(60, 50), QSize(75, 44), QSize(40, 50)}) {
        if (withButtons) {
            toolbar->addButton(new FixedButton(size));
        }
    }
    return toolbar;
}

}  // namespace

class DarkControlsTest : public QObject {
    Q_OBJECT

  private slots:
    // In a row 8 from the top: the first keeps its own x, each next one starts 9 after the
    // fitted width before it. -1 and the count change neither the selection nor the drawing; a
    // button not in the toolbar changes nothing; one added twice selects its first place.
    void toolbarPlacesAndSelectsButtons() {
        auto bar = toolbar();
        const QList<QAbstractButton*>& buttons = bar->buttons();
        QCOMPARE(buttons[0]->geometry(), QRect(10, 8, 60, 50));
        QCOMPARE(buttons[1]->geometry(), QRect(79, 8, 75, 44));
        QCOMPARE(buttons[2]->geometry(), QRect(163, 8, 40, 50));
        QCOMPARE(buttons[0]->palette().color(QPalette::ButtonText), QColor(Qt::white));
        QCOMPARE(buttons[0]->font().pixelSize(), NSDarkToolBar::kTitlePixelSize);
        QCOMPARE(bar->selectedIdx(), 0);

        bar->setSelectedIdx(1);
        const QImage before = drawn(*bar);
        FixedButton stranger;
        bar->setSelectedIdx(-1);
        bar->setSelectedIdx(3);
        bar->setSelectedIdxByButton(&stranger);
        QCOMPARE(bar->selectedIdx(), 1);
        QCOMPARE(drawn(*bar), before);
        bar->addButton(bar->buttons()[1]);
        bar->setSelectedIdx(0);
        bar->setSelectedIdxByButton(bar->buttons()[3]);
        QCOMPARE(bar->selectedIdx(), 1);
    }

    // Every pixel: the background; the highlight's sides and fill from the selected button's
    // frame - 5 to + 5, down to the band; the band of dark line, light line and background.
    void toolbarDrawsTheStrip_data() {
        QTest::addColumn<bool>("withButtons");
        QTest::addColumn<int>("selected");
        QTest::newRow("no buttons: no highlight") << false << 0;
        QTest::newRow("first") << true << 0;
        QTest::newRow("second") << true << 1;
        QTest::newRow("last") << true << 2;
    }
    void toolbarDrawsTheStrip() {
        QFETCH(bool, withButtons);
        QFETCH(int, selected);
        auto bar = toolbar(withButtons);
        bar->setSelectedIdx(selected);
        const QImage image = drawn(*bar);
        const QRect button =
            withButtons ? bar->buttons()[selected]->geometry() : QRect(-99, 0, 1, 1);
        const int left = button.x() - 5, right = button.right() + 6;
        for (int y = 0; y < 65; ++y) {
            for (int x = 0; x < 400; ++x) {
                qreal white = DarkTheme::kBackground;
                if (y == 62 || y == 63) {
                    white = y == 62 ? DarkTheme::kDarkLine : DarkTheme::kLightLine;
                } else if (y < 62 && (x == left || x == right)) {
                    white = DarkTheme::kHighlightSide;
                } else if (y < 62 && x > left && x < right) {
                    white = DarkTheme::kHighlightFill;
                }
                if (greyAt(image, x, y) != level(white)) {
                    QFAIL(qPrintable(
                        QString("(%1, %2) is %3").arg(x).arg(y).arg(greyAt(image, x, y))));
                }
            }
        }
    }

    // A text field or label turns grey 0.8 and a check box tagged 101 0.9, whether added in
    // code or created inside the view as a form does; anything else keeps its own colour.
    void darkViewRecoloursByKind() {
        const std::pair<std::function<QWidget*()>, qreal> kinds[] = {
            {[] { return new QLabel("Name"); }, DarkTheme::kLabel},
            {[] { return new QLineEdit("Ann"); }, DarkTheme::kLabel},
            {[] {
                 auto* combo = new QComboBox;
                 combo->setEditable(true);
                 return combo;
             },
             0},
            {[] { return new QPushButton("Go"); }, 0},
            {[] { return taggedCheckBox(101); }, DarkTheme::kTaggedTitle},
            {[] { return taggedCheckBox(5); }, 0}};
        for (const auto& [make, white] : kinds) {
            const std::unique_ptr<QWidget> alone(make());
            const QColor own = alone->palette().color(alone->foregroundRole());
            const QColor expected = white > 0 ? QuartzUtils::deviceWhite(white) : own;
            NSDarkView view;
            QWidget* added = make();
            view.addSubview(added);
            QWidget* fromForm = make();
            fromForm->setParent(&view);
            fromForm->ensurePolished();
            for (QWidget* widget : {added, fromForm}) {
                QCOMPARE(widget->palette().color(widget->foregroundRole()), expected);
            }
        }
    }

    void shadowLineDrawsItsTwoBottomRows() {
        NSShadowLine line;
        line.resize(50, 6);
        const QImage image = drawn(line, {});
        for (int x : {0, 25, 49}) {
            QCOMPARE(greyAt(image, x, 5), level(DarkTheme::kLightLine));
            QCOMPARE(greyAt(image, x, 4), level(DarkTheme::kDarkLine));
            QCOMPARE(qAlpha(image.pixel(x, 3)), 0);
        }
    }

    // Opaque whatever the colours' alpha, from red at the start to blue at the end.
    void gradientFillIsOpaque() {
        for (int orientation : {QuartzUtils::kBottomToTop, QuartzUtils::kLeftToRight}) {
            QImage image = blank(QSize(10, 10));
            QPainter painter(&image);
            QuartzUtils::gradientFillRectangle(painter, QRectF(0, 0, 10, 10), QColor(255, 0, 0, 0),
                                               QColor(0, 0, 255, 40), orientation);
            painter.end();
            QCOMPARE(image.convertToFormat(QImage::Format_RGB32).convertToFormat(image.format()),
                     image);
            const bool up = orientation == QuartzUtils::kBottomToTop;
            QVERIFY(qRed(image.pixel(up ? QPoint(5, 9) : QPoint(0, 5))) > 230);
            QVERIFY(qBlue(image.pixel(up ? QPoint(5, 0) : QPoint(9, 5))) > 230);
        }
    }

    // Both faces keep the rounded outline (corners untouched, a dark rim); pressed is a flat
    // 0.45, normal runs from 0.27 at the bottom to 0.38 at the top, never darker going up.
    void darkButtonFaces() {
        for (bool pressed : {false, true}) {
            const QImage face = DarkButton::imageOfButtonWithSize(QSize(80, 24), "Create", pressed);
            for (QPoint corner : {QPoint(0, 0), QPoint(79, 0), QPoint(0, 23), QPoint(79, 23)}) {
                QCOMPARE(qAlpha(face.pixel(corner)), 0);
            }
            QVERIFY(greyAt(face, 40, 0) < greyAt(face, 40, 2));
            QVERIFY(greyAt(face, 0, 12) < greyAt(face, 2, 12));
            for (int y = 1; y <= 21; ++y) {
                for (int x = 4; x <= 75 && pressed && y > 1; ++x) {
                    QCOMPARE(greyAt(face, x, y), level(0.45));
                }
                QVERIFY2(pressed || greyAt(face, 40, y + 1) <= greyAt(face, 40, y),
                         qPrintable(QString::number(y)));
            }
            QVERIFY(pressed || qAbs(greyAt(face, 40, 1) - level(0.38)) <= 3);
            QVERIFY(pressed || qAbs(greyAt(face, 40, 22) - level(0.27)) <= 3);
        }
        // Made once, when polished, at the form's size.
        DarkButton button;
        button.resize(90, 22);
        button.ensurePolished();
        button.resize(120, 30);
        QCOMPARE(button.image().size(), QSize(90, 22));
        QCOMPARE(button.alternateImage().size(), QSize(90, 22));
        QCOMPARE(button.font().pixelSize(), DarkButton::kTitlePixelSize);
    }

    // 3 wider than its text without an image, 16 + 3 with the model's or its own; the image
    // 3 from the left with half the spare height, rounded up, above it (none when taller than
    // the cell), the text after it.
    void imageAndTextCell() {
        QStandardItemModel model(2, 1);
        QPixmap red(16, 16);
        red.fill(Qt::red);
        model.setData(model.index(0, 0), "Missing");
        model.setData(model.index(1, 0), "Missing");
        model.setData(model.index(1, 0), red, Qt::DecorationRole);
        QStyleOptionViewItem option;
        option.rect = QRect(0, 0, 120, 20);
        ImageAndTextCell cell;
        const QSize text = QStyledItemDelegate().sizeHint(option, model.index(0, 0));
        QCOMPARE(cell.sizeHint(option, model.index(0, 0)), text + QSize(3, 0));
        QCOMPARE(cell.sizeHint(option, model.index(1, 0)), text + QSize(16 + 3, 0));
        cell.setImage(red);
        QCOMPARE(cell.sizeHint(option, model.index(0, 0)), text + QSize(16 + 3, 0));

        QImage image = blank(QSize(120, 20));
        QPainter painter(&image);
        ImageAndTextCell().paint(&painter, option, model.index(1, 0));
        painter.end();
        for (int x = 1; x < 21; ++x) {
            for (int y : {1, 2, 17, 18}) {
                QCOMPARE(image.pixel(x, y) == qRgb(255, 0, 0), QRect(3, 2, 16, 16).contains(x, y));
            }
        }
        const struct {
            QRect cell;
            QSize image;
            QRect imageFrame, textFrame;
        } frames[] = {{{10, 20, 100, 17}, {16, 16}, {13, 21, 16, 16}, {29, 20, 81, 17}},
                      {{0, 0, 50, 15}, {16, 16}, {3, 0, 16, 16}, {19, 0, 31, 15}},  // taller
                      {{0, 0, 50, 20}, {}, {}, {3, 0, 47, 20}}};
        for (const auto& frame : frames) {
            QCOMPARE(ImageAndTextCell::imageFrameForCellFrame(frame.cell, frame.image),
                     frame.imageFrame);
            QCOMPARE(ImageAndTextCell::textFrameForCellFrame(frame.cell, frame.image),
                     frame.textFrame);
        }
    }

  private:
    static QWidget* taggedCheckBox(int tag) {
        auto* box = new QCheckBox("Logs");
        box->setProperty("tag", tag);
        return box;
    }
};

QTEST_MAIN(DarkControlsTest)

#include "DarkControlsTest.moc"
