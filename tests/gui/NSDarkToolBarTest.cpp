// The toolbar: where buttons go, every pixel of the strip (65 high), and which selections are
// refused.
#include <QAbstractButton>
#include <QTest>

#include <memory>

#include "DarkTheme.h"
#include "GuiTest.h"
#include "NSDarkToolBar.h"

using GuiTest::greyAt;
using GuiTest::level;

namespace {

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

const int kHeight = 65;

std::unique_ptr<NSDarkToolBar> toolbarWith(std::initializer_list<QSize> sizes) {
    auto toolbar = std::make_unique<NSDarkToolBar>();
    toolbar->resize(400, kHeight);
    for (QSize size : sizes) {
        toolbar->addButton(new FixedButton(size));
    }
    return toolbar;
}

}  // namespace

class NSDarkToolBarTest : public QObject {
    Q_OBJECT

  private slots:
    void placesButtonsInARowEightFromTheTop() {
        auto toolbar = toolbarWith({{60, 50}, {75, 44}, {40, 50}});
        const QList<QAbstractButton*>& buttons = toolbar->buttons();
        // The first keeps its own x; each next one starts 9 after the fitted width before it.
        QCOMPARE(buttons[0]->geometry(), QRect(10, 8, 60, 50));
        QCOMPARE(buttons[1]->geometry(), QRect(79, 8, 75, 44));
        QCOMPARE(buttons[2]->geometry(), QRect(163, 8, 40, 50));
        QCOMPARE(buttons[0]->palette().color(QPalette::ButtonText), QColor(Qt::white));
        QCOMPARE(buttons[0]->font().pixelSize(), NSDarkToolBar::kTitlePixelSize);
        QCOMPARE(toolbar->selectedIdx(), 0);
    }

    // Background, the highlight (sides and fill) from the selected button's frame - 5 to + 5
    // down to the band, and the band: dark line, light line, background.
    void drawsEveryPixelOfTheStrip_data() {
        QTest::addColumn<int>("buttons");
        QTest::addColumn<int>("selected");
        QTest::newRow("no buttons: no highlight") << 0 << 0;
        QTest::newRow("first") << 3 << 0;
        QTest::newRow("second") << 3 << 1;
        QTest::newRow("last") << 3 << 2;
    }
    void drawsEveryPixelOfTheStrip() {
        QFETCH(int, buttons);
        QFETCH(int, selected);
        auto toolbar = buttons == 0 ? toolbarWith({}) : toolbarWith({{60, 50}, {75, 44}, {40, 50}});
        toolbar->setSelectedIdx(selected);
        const QImage image = GuiTest::drawn(*toolbar);
        const QRect button =
            buttons == 0 ? QRect(-100, 0, 1, 1) : toolbar->buttons()[selected]->geometry();
        const int left = button.x() - 5, right = button.x() + button.width() + 5;
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < 400; ++x) {
                qreal white = DarkTheme::kBackground;
                if (y == kHeight - 3 || y == kHeight - 2) {
                    white = y == kHeight - 3 ? DarkTheme::kDarkLine : DarkTheme::kLightLine;
                } else if (y < kHeight - 3 && (x == left || x == right)) {
                    white = DarkTheme::kHighlightSide;
                } else if (y < kHeight - 3 && x > left && x < right) {
                    white = DarkTheme::kHighlightFill;
                }
                if (greyAt(image, x, y) != level(white)) {
                    QFAIL(qPrintable(QString("(%1, %2) is %3, not %4")
                                         .arg(x)
                                         .arg(y)
                                         .arg(greyAt(image, x, y))
                                         .arg(level(white))));
                }
            }
        }
    }

    void refusesIndicesOutsideTheButtons_data() {
        QTest::addColumn<int>("index");
        QTest::newRow("-1") << -1;
        QTest::newRow("count") << 3;
    }
    void refusesIndicesOutsideTheButtons() {
        QFETCH(int, index);
        auto toolbar = toolbarWith({{60, 50}, {75, 44}, {40, 50}});
        toolbar->setSelectedIdx(1);
        const QImage before = GuiTest::drawn(*toolbar);
        toolbar->setSelectedIdx(index);
        QCOMPARE(toolbar->selectedIdx(), 1);
        QCOMPARE(GuiTest::drawn(*toolbar), before);
    }

    // A button not in the toolbar changes nothing; one added twice selects its first place.
    void selectsByButtonIdentity() {
        auto toolbar = toolbarWith({});
        QAbstractButton* twice = new FixedButton;
        QAbstractButton* other = new FixedButton;
        for (QAbstractButton* button : {twice, other, twice}) {
            toolbar->addButton(button);
        }
        toolbar->setSelectedIdx(1);
        FixedButton stranger;
        toolbar->setSelectedIdxByButton(&stranger);
        QCOMPARE(toolbar->selectedIdx(), 1);
        toolbar->setSelectedIdxByButton(twice);
        QCOMPARE(toolbar->selectedIdx(), 0);
    }
};

GUI_TEST_SUITE(NSDarkToolBarTest);

#include "NSDarkToolBarTest.moc"
