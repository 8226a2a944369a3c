// The window as the application starts it (AppController), driven through its toolbar buttons
// and menu actions under the offscreen platform.
#include <QAbstractButton>
#include <QAction>
#include <QCoreApplication>
#include <QDialog>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>
#include <QTimer>

#include <algorithm>
#include <memory>

#include "AppController.h"
#include "CorvixSupportPrefsController.h"
#include "DarkTheme.h"
#include "GuiTest.h"
#include "ImageAndTextCell.h"
#include "NSDarkToolBar.h"

namespace {

// Records the events a widget gets, with its geometry at each.
class EventRecorder : public QObject {
  public:
    explicit EventRecorder(QWidget* widget) : _widget(widget) { widget->installEventFilter(this); }
    QList<std::pair<QEvent::Type, QRect>> events;

    QList<QRect> geometries() const {
        QList<QRect> result;
        for (const auto& [type, geometry] : events) {
            if (type == QEvent::Resize || type == QEvent::Move) {
                result.append(geometry);
            }
        }
        return result;
    }
    int count(QEvent::Type type) const {
        return std::count_if(events.begin(), events.end(),
                             [type](const auto& event) { return event.first == type; });
    }

  protected:
    bool eventFilter(QObject*, QEvent* event) override {
        events.append({event->type(), _widget->geometry()});
        return false;
    }

  private:
    QWidget* _widget;
};

}  // namespace

class WindowShellTest : public QObject {
    Q_OBJECT

  private slots:
    void init() {
        _home = std::make_unique<QTemporaryDir>();
        qputenv("HOME", _home->path().toUtf8());
        qunsetenv("XDG_CONFIG_HOME");
        _app = std::make_unique<AppController>();
        _app->awakeFromNib();
        _prefs = _app->prefs();
        QVERIFY(_prefs != nullptr);
        waitForTheWindow();
    }

    void cleanup() {
        _app.reset();
        TabbedPrefsWindowController::releaseSharedPrefsWindowController();
        _home.reset();
    }

    void startsOnInformationAtTheLeftEdge() {
        QCOMPARE(_prefs->toolbarIdentifiers(),
                 QStringList({"Information", "3D Renderers", "Maintenance", "Support"}));
        QStringList titles;
        for (QAbstractButton* button : _prefs->darkToolbar()->buttons()) {
            titles << button->text();
            QVERIFY2(!button->icon().isNull(), qPrintable(button->text()));
        }
        QCOMPARE(titles, _prefs->toolbarIdentifiers());
        QCOMPARE(_prefs->darkToolbar()->selectedIdx(), 0);
        QCOMPARE(shownView(), view("_infoView"));
        QCOMPARE(window()->windowTitle(), QString("Orvanta Software: Corvix Support Tool"));
        QCOMPARE(window()->geometry().x(), 150);
        QCOMPARE(window()->size(), view("_infoView")->size() + QSize(0, 65));
        QCOMPARE(window()->palette().color(QPalette::Window),
                 QuartzUtils::deviceWhite(DarkTheme::kBackground));
    }

    void choosingAViewResizesTheWindowAtItsTopEdge() {
        struct Step {
            const char* label;
            const char* view;
        };
        // Every view in turn, ending with the one shown at the start.
        const Step steps[] = {{"3D Renderers", "_3DEditorView"},
                              {"Maintenance", "_maintenanceView"},
                              {"Support", "_supportView"},
                              {"Information", "_infoView"}};
        for (const Step& step : steps) {
            const QRect before = window()->geometry();
            EventRecorder recorder(window());
            button(step.label)->click();
            waitForTheWindow();

            QWidget* chosen = view(step.view);
            QCOMPARE(shownView(), chosen);
            QCOMPARE(chosen->pos(), QPoint(0, 0));
            QCOMPARE(window()->size(), chosen->size() + QSize(0, 65));
            QCOMPARE(window()->geometry().bottomLeft(), before.bottomLeft());
            QVERIFY2(recorder.geometries().size() > 1, step.label);
            for (const QRect& frame : recorder.geometries()) {
                QCOMPARE(frame.bottomLeft(), before.bottomLeft());
            }
            QCOMPARE(_prefs->darkToolbar()->selectedIdx(),
                     _prefs->toolbarIdentifiers().indexOf(step.label));
        }
    }

    void choosingTheShownViewAddsItAgain() {
        const QRect before = window()->geometry();
        EventRecorder holder(_prefs->contentSubview());
        button("Information")->click();
        waitForTheWindow();
        QCOMPARE(holder.count(QEvent::ChildRemoved), 1);
        QCOMPARE(holder.count(QEvent::ChildAdded), 1);
        QCOMPARE(shownView(), view("_infoView"));
        QCOMPARE(window()->geometry(), before);
    }

    void menuActionsSwitchTheViewButNotTheHighlight() {
        action("doSupport")->trigger();
        waitForTheWindow();
        QCOMPARE(shownView(), view("_supportView"));
        QCOMPARE(_prefs->darkToolbar()->selectedIdx(), 0);

        button("Maintenance")->click();
        waitForTheWindow();
        action("doInfo")->trigger();
        waitForTheWindow();
        QCOMPARE(shownView(), view("_infoView"));
        QCOMPARE(_prefs->darkToolbar()->selectedIdx(), 2);
        action("doMaintenance")->trigger();
        waitForTheWindow();
        QCOMPARE(shownView(), view("_maintenanceView"));
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

    void theSharedControllerIsOneForAllClasses() {
        QCOMPARE(CorvixSupportPrefsController::sharedPrefsWindowController(), _prefs);
        QCOMPARE(TabbedPrefsWindowController::sharedPrefsWindowController(), _prefs);
    }

    void thePackagePanelIsPrepared() {
        auto* panel = find<QDialog>("_packageWindow");
        QCOMPARE(panel->palette().color(QPalette::Window),
                 QuartzUtils::deviceWhite(DarkTheme::kBackground));
        const QColor label = QuartzUtils::deviceWhite(DarkTheme::kLabel);
        for (const char* name : {"_nameLabel", "_emailLabel", "_attachmentsLabel"}) {
            QCOMPARE(panel->findChild<QLabel*>(name)->palette().color(QPalette::WindowText), label);
        }
        QCOMPARE(panel->findChild<QLineEdit*>("_nameField")->palette().color(QPalette::Text),
                 label);
        QVERIFY(!panel->findChild<QTextEdit*>("_textView")->acceptRichText());
        auto* attachments = panel->findChild<QTableView*>("_attachments");
        QVERIFY(qobject_cast<ImageAndTextCell*>(attachments->itemDelegateForColumn(0)));
        QVERIFY(!qobject_cast<ImageAndTextCell*>(attachments->itemDelegateForColumn(1)));
        QVERIFY(_prefs->fileAttachments().isEmpty());
        QVERIFY(!_prefs->userName().isEmpty());
        QCOMPARE(panel->findChild<QLineEdit*>("_nameField")->text(), _prefs->userName());
    }

    void informationNamesVersionAddressAndPrivacy() {
        QWidget* info = view("_infoView");
        QVERIFY(info->findChild<QLabel*>("_versionLabel")->text().contains(CORVIX_VERSION));
        QVERIFY(info->findChild<QLabel*>("_supportAddressLabel")
                    ->text()
                    .contains("mailto:" CORVIX_SUPPORT_EMAIL));
        QCOMPARE(info->findChild<QLabel*>("_privacyLabel")->text(),
                 QString(CorvixSupportPrefsController::kPrivacyMessage));
    }

  private:
    QWidget* window() const { return _prefs->window(); }

    template <class T>
    T* find(const char* name) const {
        // Views out of the window and the package panel have no parent: ask the controller's
        // registered views and the application's top-level widgets.
        for (QWidget* top : QApplication::topLevelWidgets()) {
            if (top->objectName() == name) {
                return qobject_cast<T*>(top);
            }
            if (T* found = top->findChild<T*>(name)) {
                return found;
            }
        }
        return nullptr;
    }
    QWidget* view(const char* name) const { return find<QWidget>(name); }

    QWidget* shownView() const {
        const QList<QWidget*> shown =
            _prefs->contentSubview()->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
        return shown.size() == 1 ? shown.first() : nullptr;
    }

    QAbstractButton* button(const char* label) const {
        return _prefs->darkToolbar()->findChild<QAbstractButton*>(label);
    }

    QAction* action(const char* name) const { return window()->findChild<QAction*>(name); }

    void waitForTheWindow() { QTRY_VERIFY(!_prefs->isAnimating()); }

    std::unique_ptr<QTemporaryDir> _home;
    std::unique_ptr<AppController> _app;
    CorvixSupportPrefsController* _prefs = nullptr;
};

QTEST_MAIN(WindowShellTest)

#include "WindowShellTest.moc"
