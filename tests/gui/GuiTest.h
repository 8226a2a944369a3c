// What the window's suites share: the window as the application starts it, inside a temporary
// machine root, HOME, XDG_CONFIG_HOME and TMPDIR, with every alert and panel answered by a
// recording; widgets are found and pressed by object name.
#ifndef CORVIX_TESTS_GUI_GUITEST_H
#define CORVIX_TESTS_GUI_GUITEST_H

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "../common/FixtureFiles.h"
#include "AppController.h"
#include "CorvixSupportPrefsController.h"
#include "NSDarkToolBar.h"
#include "VeskPlatform.h"
#include "WindowDialogs.h"

namespace GuiTest {

inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Whether this thread has a mount namespace of its own (root only), where a test may mount.
inline bool ownMountNamespace() {
    static const bool own = geteuid() == 0 && unshare(CLONE_NEWNS) == 0 &&
                            mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    return own;
}

struct RecordedAlert {
    QString title, message, defaultButton, otherButton;
    QStringList all() const { return {title, message, defaultButton, otherButton}; }
};

// Records every alert and panel; answers from the queues, and with a queue empty takes the
// alert's default button or cancels the panel. onAlert runs as each alert is shown.
class RecordingDialogs : public WindowDialogs {
  public:
    QList<RecordedAlert> alerts;
    QList<OpenPanelOptions> openPanels;
    QList<SavePanelOptions> savePanels;
    QList<int> alertAnswers;
    QList<QStringList> openAnswers;
    QList<QString> saveAnswers;
    std::function<void()> onAlert = [] {};

    int runAlertPanel(const QString& title, const QString& message, const QString& defaultButton,
                      const QString& otherButton) override {
        onAlert();
        alerts.append({title, message, defaultButton, otherButton});
        return alertAnswers.isEmpty() ? kAlertDefaultReturn : alertAnswers.takeFirst();
    }
    QStringList runOpenPanel(const OpenPanelOptions& options) override {
        openPanels.append(options);
        return openAnswers.isEmpty() ? QStringList() : openAnswers.takeFirst();
    }
    QString runSavePanel(const SavePanelOptions& options) override {
        savePanels.append(options);
        return saveAnswers.isEmpty() ? QString() : saveAnswers.takeFirst();
    }
    QStringList titles() const {
        QStringList found;
        for (const RecordedAlert& alert : alerts) {
            found << alert.title;
        }
        return found;
    }
};

// The window as the application starts it (AppController), switched to the view named view
// when one is named (still animating to its size), in a sandbox: <tmp>/root is CORVIX_ROOT,
// <tmp>/home HOME (its .config XDG_CONFIG_HOME), <tmp>/tmp TMPDIR. prepare, when given, makes
// the machine's files before the window reads them. The environment is restored on destruction.
class Window {
  public:
    RecordingDialogs dialogs;
    std::unique_ptr<AppController> app;
    CorvixSupportPrefsController* prefs = nullptr;

    explicit Window(const QString& view = QString(),
                    const std::function<void(const Window&)>& prepare = {}) {
        vesk_setMachineRoot("");
        const std::pair<const char*, QString> environment[] = {
            {"CORVIX_ROOT", root()},
            {"HOME", home()},
            {"XDG_CONFIG_HOME", home() + "/.config"},
            {"TMPDIR", path("tmp")}};
        for (const auto& [name, value] : environment) {
            QDir().mkpath(value);
            _saved.emplace(name, qEnvironmentVariableIsSet(name) ? qgetenv(name)
                                                                 : std::optional<QByteArray>());
            qputenv(name, QFile::encodeName(value));
        }
        if (prepare) {
            prepare(*this);
        }
        open(view);
    }
    ~Window() {
        close();
        for (const auto& [name, value] : _saved) {
            value ? qputenv(name, *value) : qunsetenv(name);
        }
    }
    void open(const QString& view) {
        app = std::make_unique<AppController>();
        app->awakeFromNib();
        prefs = app->prefs();
        prefs->setDialogs(&dialogs);
        if (!view.isEmpty()) {
            show(view, false);
        }
    }
    void close() {
        app.reset();
        TabbedPrefsWindowController::releaseSharedPrefsWindowController();
    }
    // Through its toolbar button; with wait, returns once the window has its new size.
    void show(const QString& view, bool wait = true) {
        QTest::mouseClick(prefs->darkToolbar()->findChild<QAbstractButton*>(view), Qt::LeftButton);
        QTRY_VERIFY(!wait || !prefs->isAnimating());
    }
    QWidget* view(const QString& label) const { return prefs->viewForIdentifier(label); }

    QString path(const QString& relative = QString()) const { return _dir.filePath(relative); }
    QString root() const { return path("root"); }
    QString home() const { return path("home"); }
    // Where the products keep their files, and the user configuration folder.
    QString product(const QString& generation, const QString& item = QString()) const {
        return root() + "/Library/Application Support/Orvanta Software/" + generation + "/" + item;
    }
    QString config(const QString& name = QString()) const {
        return home() + "/.config/Orvanta/Corvix/" + name;
    }
    // Writes contents to the file at (absolute, or in the sandbox), making its folders, and
    // returns its path; the test fails when it cannot be written.
    QString file(const QString& at, const QByteArray& contents = "x") const {
        const QString file = QDir(_dir.path()).filePath(at);
        QTest::qVerify(
            fixture_files::writeFile(QFile::encodeName(file).toStdString(), contents.toStdString()),
            "written", qPrintable(file), __FILE__, __LINE__);
        return file;
    }

    // The widget of that name in in, else in any top-level widget (the views out of the window
    // and the panels have no parent).
    template <class T = QWidget>
    static T* find(const char* name, QWidget* in = nullptr) {
        for (QWidget* top : in != nullptr ? QWidgetList{in} : QApplication::topLevelWidgets()) {
            if (T* found =
                    top->objectName() == name ? qobject_cast<T*>(top) : top->findChild<T*>(name)) {
                return found;
            }
        }
        return nullptr;
    }
    static void click(const char* name, QWidget* in = nullptr) {
        auto* button = find<QAbstractButton>(name, in);
        QVERIFY2(button != nullptr, name);
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(4, button->height() / 2));
    }

  private:
    QTemporaryDir _dir;
    std::map<const char*, std::optional<QByteArray>> _saved;
};

}  // namespace GuiTest

#endif
