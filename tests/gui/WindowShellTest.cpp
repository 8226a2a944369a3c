// The window as the application starts it, driven through its toolbar buttons and menu actions.
#include <QAction>
#include <QDialog>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <QTextEdit>
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
        QCOMPARE(CorvixSupportPrefsController::sharedPrefsWindowController(), _w->prefs);
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

        // What Information says; the package panel dark, empty, plain text only, with the user's
        // name filled in and the image cell in the first column only.
        QVERIFY(find<QLabel>("_versionLabel")->text().contains(CORVIX_VERSION));
        QVERIFY(
            find<QLabel>("_supportAddressLabel")->text().contains("mailto:" CORVIX_SUPPORT_EMAIL));
        QCOMPARE(find<QLabel>("_privacyLabel")->text(),
                 QString(CorvixSupportPrefsController::kPrivacyMessage));
        QCOMPARE(find<QDialog>("_packageWindow")->palette().color(QPalette::Window), background);
        const QColor label = QuartzUtils::deviceWhite(DarkTheme::kLabel);
        for (const char* name : {"_nameLabel", "_emailLabel", "_attachmentsLabel"}) {
            QCOMPARE(find<QLabel>(name)->palette().color(QPalette::WindowText), label);
        }
        QCOMPARE(find<QLineEdit>("_nameField")->palette().color(QPalette::Text), label);
        QVERIFY(!find<QTextEdit>("_textView")->acceptRichText());
        auto* attachments = find<QTableView>("_attachments");
        QVERIFY(qobject_cast<ImageAndTextCell*>(attachments->itemDelegateForColumn(0)));
        QVERIFY(!qobject_cast<ImageAndTextCell*>(attachments->itemDelegateForColumn(1)));
        QVERIFY(_w->prefs->fileAttachments().isEmpty() && !_w->prefs->userName().isEmpty());
        QCOMPARE(find<QLineEdit>("_nameField")->text(), _w->prefs->userName());
    }

    // Every view in turn, ending with the one shown at the start: the window takes the view's
    // width and its height + 65, its bottom-left corner still in every frame of the animation.
    // Chosen again, the shown view is put back and shown, whatever the holder had, in the same
    // frame.
    void choosingAViewResizesTheWindowAtItsTopEdge() {
        for (const char* label : {"3D Renderers", "Maintenance", "Support", "Information"}) {
            const QPoint bottomLeft = window()->geometry().bottomLeft();
            QList<QRect> frames;
            _w->show(label, false);
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
        const QRect before = window()->geometry();
        const std::unique_ptr<QWidget> stray(new QWidget(_w->prefs->contentSubview()));
        _w->view("Information")->hide();
        _w->show("Information");
        QCOMPARE(shownView(), _w->view("Information"));
        QVERIFY(shownView()->isVisible());
        QCOMPARE(window()->geometry(), before);
    }

    void menuActionsSwitchTheViewButNotTheHighlight() {
        const char* const steps[][2] = {
            {"doSupport", "Support"}, {"doMaintenance", "Maintenance"}, {"doInfo", "Information"}};
        _w->show("3D Renderers");
        for (const auto& [action, view] : steps) {
            window()->findChild<QAction*>(action)->trigger();
            QTRY_VERIFY(!_w->prefs->isAnimating());
            QCOMPARE(shownView(), _w->view(view));
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
