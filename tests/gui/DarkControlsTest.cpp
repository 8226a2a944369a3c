// The theme's drawing helpers and dark controls, drawn offscreen and read back pixel by pixel.
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
#include "GuiTest.h"
#include "ImageAndTextCell.h"
#include "NSDarkView.h"
#include "NSShadowLine.h"

using GuiTest::greyAt;
using GuiTest::level;

using WidgetMaker = std::function<QWidget*()>;
Q_DECLARE_METATYPE(WidgetMaker)

namespace {

QWidget* taggedCheckBox(int tag) {
    auto* box = new QCheckBox("Logs");
    box->setProperty("tag", tag);
    return box;
}

QImage transparentImage(QSize size) {
    QImage image(size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    return image;
}

}  // namespace

class DarkControlsTest : public QObject {
    Q_OBJECT

  private slots:
    // The colours' alpha is not used: from red (alpha 0) at the start to blue at the end.
    void gradientFillIsOpaqueWhateverTheAlpha_data() {
        QTest::addColumn<int>("orientation");
        QTest::addColumn<QPoint>("start");
        QTest::addColumn<QPoint>("end");
        QTest::newRow("bottom to top")
            << int(QuartzUtils::kBottomToTop) << QPoint(5, 9) << QPoint(5, 0);
        QTest::newRow("left to right")
            << int(QuartzUtils::kLeftToRight) << QPoint(0, 5) << QPoint(9, 5);
    }
    void gradientFillIsOpaqueWhateverTheAlpha() {
        QFETCH(int, orientation);
        QFETCH(QPoint, start);
        QFETCH(QPoint, end);
        QImage image = transparentImage(QSize(10, 10));
        QPainter painter(&image);
        QuartzUtils::gradientFillRectangle(painter, QRectF(0, 0, 10, 10), QColor(255, 0, 0, 0),
                                           QColor(0, 0, 255, 40), orientation);
        painter.end();
        QCOMPARE(image.convertToFormat(QImage::Format_RGB32).convertToFormat(image.format()),
                 image);
        QVERIFY(qRed(image.pixel(start)) > 230 && qBlue(image.pixel(end)) > 230);
    }

    void darkButtonFaces_data() {
        QTest::addColumn<bool>("pressed");
        QTest::newRow("normal") << false;
        QTest::newRow("pressed") << true;
    }
    void darkButtonFaces() {
        QFETCH(bool, pressed);
        const QImage face = DarkButton::imageOfButtonWithSize(QSize(80, 24), "Create", pressed);
        // Outside the rounded corners nothing is drawn; a dark rim runs along the edges.
        for (QPoint corner : {QPoint(0, 0), QPoint(79, 0), QPoint(0, 23), QPoint(79, 23)}) {
            QCOMPARE(qAlpha(face.pixel(corner)), 0);
        }
        QVERIFY(greyAt(face, 40, 0) < greyAt(face, 40, 2));
        QVERIFY(greyAt(face, 0, 12) < greyAt(face, 2, 12));
        for (int y = 2; y <= 21; ++y) {
            for (int x = 4; x <= 75 && pressed; ++x) {
                QCOMPARE(greyAt(face, x, y), level(0.45));
            }
            // Normal: from 0.27 at the bottom to 0.38 at the top, never darker on the way up.
            QVERIFY2(pressed || greyAt(face, 40, y + 1) <= greyAt(face, 40, y),
                     qPrintable(QString::number(y)));
        }
        QVERIFY(pressed || qAbs(greyAt(face, 40, 1) - level(0.38)) <= 3);
        QVERIFY(pressed || qAbs(greyAt(face, 40, 22) - level(0.27)) <= 3);
    }

    void darkButtonMakesItsFacesOnceAtItsFormSize() {
        DarkButton button;
        button.resize(90, 22);
        button.ensurePolished();
        QCOMPARE(button.image().size(), QSize(90, 22));
        QCOMPARE(button.alternateImage().size(), QSize(90, 22));
        QCOMPARE(button.font().pixelSize(), DarkButton::kTitlePixelSize);
        button.resize(120, 30);
        QCOMPARE(button.image().size(), QSize(90, 22));
    }

    void shadowLineDrawsItsTwoBottomRows() {
        NSShadowLine line;
        line.resize(50, 6);
        QImage image = transparentImage(line.size());
        line.render(&image, QPoint(), QRegion(), {});
        for (int x : {0, 25, 49}) {
            QCOMPARE(greyAt(image, x, 5), level(DarkTheme::kLightLine));
            QCOMPARE(greyAt(image, x, 4), level(DarkTheme::kDarkLine));
            QCOMPARE(qAlpha(image.pixel(x, 3)), 0);
        }
    }

    void darkViewRecoloursByKind_data() {
        QTest::addColumn<WidgetMaker>("make");
        QTest::addColumn<double>("white");  // 0: the widget keeps its own colour
        QTest::newRow("label") << WidgetMaker([] { return new QLabel("Name"); })
                               << DarkTheme::kLabel;
        QTest::newRow("line edit")
            << WidgetMaker([] { return new QLineEdit("Ann"); }) << DarkTheme::kLabel;
        QTest::newRow("combo box") << WidgetMaker([] {
            auto* combo = new QComboBox;
            combo->setEditable(true);
            return combo;
        }) << 0.0;
        QTest::newRow("check box tagged 101")
            << WidgetMaker([] { return taggedCheckBox(101); }) << DarkTheme::kTaggedTitle;
        QTest::newRow("check box tagged 5") << WidgetMaker([] { return taggedCheckBox(5); }) << 0.0;
        QTest::newRow("untagged button")
            << WidgetMaker([] { return new QPushButton("Go"); }) << 0.0;
    }
    void darkViewRecoloursByKind() {
        QFETCH(WidgetMaker, make);
        QFETCH(double, white);
        std::unique_ptr<QWidget> alone(make());
        const QColor own = alone->palette().color(alone->foregroundRole());
        const QColor expected = white > 0 ? QuartzUtils::deviceWhite(white) : own;

        // Added in code, and created inside the view as a form does.
        NSDarkView view;
        QWidget* added = make();
        view.addSubview(added);
        QCOMPARE(added->palette().color(added->foregroundRole()), expected);
        QWidget* fromForm = make();
        fromForm->setParent(&view);
        fromForm->ensurePolished();
        QCOMPARE(fromForm->palette().color(fromForm->foregroundRole()), expected);
    }

    void imageAndTextCellGeometry_data() {
        QTest::addColumn<QRect>("cell");
        QTest::addColumn<QSize>("image");
        QTest::addColumn<QRect>("imageFrame");
        QTest::addColumn<QRect>("textFrame");
        QTest::newRow("odd spare row goes above") << QRect(10, 20, 100, 17) << QSize(16, 16)
                                                  << QRect(13, 21, 16, 16) << QRect(29, 20, 81, 17);
        QTest::newRow("image taller than the cell")
            << QRect(0, 0, 50, 15) << QSize(16, 16) << QRect(3, 0, 16, 16) << QRect(19, 0, 31, 15);
        QTest::newRow("no image") << QRect(0, 0, 50, 20) << QSize(0, 0) << QRect()
                                  << QRect(3, 0, 47, 20);
    }
    void imageAndTextCellGeometry() {
        QFETCH(QRect, cell);
        QFETCH(QSize, image);
        QFETCH(QRect, imageFrame);
        QFETCH(QRect, textFrame);
        QCOMPARE(ImageAndTextCell::imageFrameForCellFrame(cell, image), imageFrame);
        QCOMPARE(ImageAndTextCell::textFrameForCellFrame(cell, image), textFrame);
    }

    // 3 wider than the text without an image, 16 + 3 with the model's or the cell's own; the
    // model's image is drawn in its frame.
    void imageAndTextCellSizesAndDrawsTheImage() {
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

        QImage image = transparentImage(QSize(120, 20));
        QPainter painter(&image);
        ImageAndTextCell().paint(&painter, option, model.index(1, 0));
        painter.end();
        for (int x = 1; x < 21; ++x) {
            for (int y : {1, 2, 17, 18}) {
                QCOMPARE(image.pixel(x, y) == qRgb(255, 0, 0), QRect(3, 2, 16, 16).contains(x, y));
            }
        }
    }
};

GUI_TEST_SUITE(DarkControlsTest);

#include "DarkControlsTest.moc"
