// The toolbar: where buttons go, what is drawn where (rows counted from the top of a strip 65
// high), and which selections are refused.
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
    explicit FixedButton(QSize size) : _size(size) { setGeometry(10, 0, 90, 50); }
    QSize sizeHint() const override { return _size; }

  protected:
    void paintEvent(QPaintEvent*) override {}

  private:
    QSize _size;
};

const int kHeight = 65;

// A toolbar of the window's height with buttons of these fitted sizes.
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
        QCOMPARE(buttons.size(), 3);
        // The first keeps its own x; each next one starts 9 after the fitted width before it.
        QCOMPARE(buttons[0]->geometry(), QRect(10, 8, 60, 50));
        QCOMPARE(buttons[1]->geometry(), QRect(79, 8, 75, 44));
        QCOMPARE(buttons[2]->geometry(), QRect(163, 8, 40, 50));
        QCOMPARE(buttons[0]->palette().color(QPalette::ButtonText), QColor(Qt::white));
        QCOMPARE(buttons[0]->font().pixelSize(), NSDarkToolBar::kTitlePixelSize);
        QCOMPARE(toolbar->selectedIdx(), 0);
    }

    void drawsBackgroundAndBottomLinesWithoutButtons() {
        auto toolbar = toolbarWith({});
        const QImage image = GuiTest::drawn(*toolbar);
        for (int x : {0, 200, 399}) {
            for (int y = 0; y <= kHeight - 4; ++y) {
                QCOMPARE(greyAt(image, x, y), level(DarkTheme::kBackground));
            }
            QCOMPARE(greyAt(image, x, kHeight - 3), level(DarkTheme::kDarkLine));
            QCOMPARE(greyAt(image, x, kHeight - 2), level(DarkTheme::kLightLine));
            QCOMPARE(greyAt(image, x, kHeight - 1), level(DarkTheme::kBackground));
        }
    }

    void drawsTheHighlightAtTheSelectedButtonPlusFive_data() {
        QTest::addColumn<int>("selected");
        QTest::newRow("first") << 0;
        QTest::newRow("second") << 1;
        QTest::newRow("last") << 2;
    }
    void drawsTheHighlightAtTheSelectedButtonPlusFive() {
        QFETCH(int, selected);
        auto toolbar = toolbarWith({{60, 50}, {75, 44}, {40, 50}});
        toolbar->setSelectedIdx(selected);
        const QImage image = GuiTest::drawn(*toolbar);

        const QRect button = toolbar->buttons()[selected]->geometry();
        const int left = button.x() - 5;
        const int right = button.x() + button.width() + 5;
        for (int y : {0, 30, kHeight - 4}) {
            QCOMPARE(greyAt(image, left - 1, y), level(DarkTheme::kBackground));
            QCOMPARE(greyAt(image, left, y), level(DarkTheme::kHighlightSide));
            for (int x = left + 1; x < right; ++x) {
                QCOMPARE(greyAt(image, x, y), level(DarkTheme::kHighlightFill));
            }
            QCOMPARE(greyAt(image, right, y), level(DarkTheme::kHighlightSide));
            QCOMPARE(greyAt(image, right + 1, y), level(DarkTheme::kBackground));
        }
        // The band below the strip is the same under the highlight.
        for (int x : {left, left + 1, right}) {
            QCOMPARE(greyAt(image, x, kHeight - 3), level(DarkTheme::kDarkLine));
            QCOMPARE(greyAt(image, x, kHeight - 2), level(DarkTheme::kLightLine));
            QCOMPARE(greyAt(image, x, kHeight - 1), level(DarkTheme::kBackground));
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

    void selectsByButtonIdentity() {
        auto toolbar = toolbarWith({});
        auto* twice = new FixedButton({60, 50});
        toolbar->addButton(twice);
        toolbar->addButton(new FixedButton({60, 50}));
        toolbar->addButton(twice);
        toolbar->setSelectedIdx(1);

        FixedButton stranger({60, 50});
        toolbar->setSelectedIdxByButton(&stranger);
        QCOMPARE(toolbar->selectedIdx(), 1);
        toolbar->setSelectedIdxByButton(twice);
        QCOMPARE(toolbar->selectedIdx(), 0);
        toolbar->setSelectedIdxByButton(toolbar->buttons()[1]);
        QCOMPARE(toolbar->selectedIdx(), 1);
    }
};

QTEST_MAIN(NSDarkToolBarTest)

#include "NSDarkToolBarTest.moc"
