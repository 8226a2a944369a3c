// The window as the application starts it, driven through its toolbar buttons and menu actions.
#include <QAction>
#include <QDialog>
#include <QGuiApplication>
#include <QLabel>
#include <QTableView>
#include <QTimer>

#include "DarkTheme.h"
#include "GuiTest.h"
#include "ImageAndTextCell.h"
#include "QuartzUtils.h"

using GuiTest::Window;

class WindowShellTest : public QObject {
    Q_OBJECT

  private slots:
    void init() {
        _w = std::make_unique<Window>();
        QTRY_VERIFY(!_w->prefs->isAnimating());
    }
    void cleanup() { _w.reset(); }

    void startsOnInformationAtTheLeftEdge() {
        QCOMPARE(TabbedPrefsWindowController::sharedPrefsWindowController(), _w->prefs);
        QStringList titles;
        for (QAbstractButton* button : _w->prefs->darkToolbar()->buttons()) {
            titles << button->text();
            QVERIFY2(!button->icon().isNull(), qPrintable(button->text()));
        }
        QCOMPARE(titles, QStringList({"Information", "3D Renderers", "Maintenance", "Support"}));
        QCOMPARE(_w->prefs->darkToolbar()->selectedIdx(), 0);
        QCOMPARE(shownView(), _w->view("Information"));
        QCOMPARE(window()->windowTitle(), QString("Orvanta Software: Corvix Support Tool"));
        QCOMPARE(window()->geometry().x(), 150);
        QCOMPARE(window()->size(), _w->view("Information")->size() + QSize(0, 65));
        const QColor background = QuartzUtils::deviceWhite(DarkTheme::kBackground);
        QCOMPARE(window()->palette().color(QPalette::Window), background);

        // What Information says, and the package panel's dark look.
        QVERIFY(find<QLabel>("_versionLabel")->text().contains(CORVIX_VERSION));
        QVERIFY(
            find<QLabel>("_supportAddressLabel")->text().contains("mailto:" CORVIX_SUPPORT_EMAIL));
        QCOMPARE(find<QLabel>("_privacyLabel")->text(),
                 QString(CorvixSupportPrefsController::kPrivacyMessage));
        QCOMPARE(find<QDialog>("_packageWindow")->palette().color(QPalette::Window), background);
        QCOMPARE(find<QLabel>("_nameLabel")->palette().color(QPalette::WindowText),
                 QuartzUtils::deviceWhite(DarkTheme::kLabel));
        QVERIFY(qobject_cast<ImageAndTextCell*>(
            find<QTableView>("_attachments")->itemDelegateForColumn(0)));
    }

    // Every view in turn, ending with the one shown at the start: the window takes the view's
    // width and its height + 65, its bottom-left corner still in every frame of the animation.
    void choosingAViewResizesTheWindowAtItsTopEdge() {
        for (const char* label : {"3D Renderers", "Maintenance", "Support", "Information"}) {
            const QPoint bottomLeft = window()->geometry().bottomLeft();
            QList<QRect> frames;
            QTest::mouseClick(button(label), Qt::LeftButton);
            while (_w->prefs->isAnimating()) {
                frames << window()->geometry();
                QTest::qWait(5);
            }
            QVERIFY2(frames.size() > 1, label);
            for (const QRect& frame : frames) {
                QCOMPARE(frame.bottomLeft(), bottomLeft);
            }
            QCOMPARE(shownView(), _w->view(label));
            QCOMPARE(shownView()->pos(), QPoint(0, 0));
            QCOMPARE(window()->size(), shownView()->size() + QSize(0, 65));
            QCOMPARE(window()->geometry().bottomLeft(), bottomLeft);
            QCOMPARE(_w->prefs->darkToolbar()->selectedIdx(),
                     _w->prefs->toolbarIdentifiers().indexOf(label));
        }
    }

    // Whatever the holder had goes, and the view is put back and shown, in the same frame.
    void choosingTheShownViewAddsItAgain() {
        const QRect before = window()->geometry();
        const std::unique_ptr<QWidget> stray(new QWidget(_w->prefs->contentSubview()));
        _w->view("Information")->hide();
        _w->show("Information");
        QCOMPARE(shownView(), _w->view("Information"));
        QVERIFY(shownView()->isVisible());
        QCOMPARE(window()->geometry(), before);
    }

    void menuActionsSwitchTheViewButNotTheHighlight() {
        const struct {
            const char* action;
            const char* view;
        } steps[] = {
            {"doSupport", "Support"}, {"doMaintenance", "Maintenance"}, {"doInfo", "Information"}};
        _w->show("3D Renderers");
        for (const auto& step : steps) {
            window()->findChild<QAction*>(step.action)->trigger();
            QTRY_VERIFY(!_w->prefs->isAnimating());
            QCOMPARE(shownView(), _w->view(step.view));
            QCOMPARE(_w->prefs->darkToolbar()->selectedIdx(), 1);
        }
    }

    void closingTheWindowQuits() {
        // Not Qt's own quit on the last window: the controller's.
        QGuiApplication::setQuitOnLastWindowClosed(false);
        QTimer::singleShot(0, window(), &QWidget::close);
        QTimer::singleShot(10000, [] { QCoreApplication::exit(1); });
        const int exitCode = QCoreApplication::exec();
        QGuiApplication::setQuitOnLastWindowClosed(true);
        QCOMPARE(exitCode, 0);
    }

  private:
    QWidget* window() const { return _w->prefs->window(); }
    QAbstractButton* button(const char* label) const {
        return _w->prefs->darkToolbar()->findChild<QAbstractButton*>(label);
    }
    template <class T>
    static T* find(const char* name) {
        return Window::find<T>(name);
    }
    QWidget* shownView() const {
        const QList<QWidget*> shown =
            _w->prefs->contentSubview()->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
        return shown.size() == 1 ? shown.first() : nullptr;
    }

    std::unique_ptr<Window> _w;
};

QTEST_MAIN(WindowShellTest)

#include "WindowShellTest.moc"
