// What the window's tests share. One binary holds every suite (GUI_TEST_SUITE); its first
// argument names the one to run. The views are driven by object name in the window as the
// application starts it, inside a temporary machine root, HOME, XDG_CONFIG_HOME and TMPDIR, with
// every alert and panel answered by a recording. The drawing tests read widgets' pixels back.
#ifndef CORVIX_TESTS_GUI_GUITEST_H
#define CORVIX_TESTS_GUI_GUITEST_H

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <variant>

#include "AppController.h"
#include "CorvixSupportPrefsController.h"
#include "NSDarkToolBar.h"
#include "QuartzUtils.h"
#include "VeskPlatform.h"
#include "WindowDialogs.h"

namespace GuiTest {

using Suites = std::map<QString, std::function<std::unique_ptr<QObject>()>>;
inline Suites& suites() {
    static Suites all;
    return all;
}
#define GUI_TEST_SUITE(Class)               \
    static const bool registered##Class = ( \
        GuiTest::suites()[#Class] = [] { return std::unique_ptr<QObject>(new Class); }, true)

// The widget drawn alone (its background and its own painting) into a transparent image.
inline QImage drawn(QWidget& widget) {
    QImage image(widget.size(), QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawWindowBackground);
    return image;
}
// The level (0 to 255) of an opaque grey pixel; -1 for a pixel that is not both.
inline int greyAt(const QImage& image, int x, int y) {
    const QRgb pixel = image.pixel(x, y);
    const bool grey = qRed(pixel) == qGreen(pixel) && qRed(pixel) == qBlue(pixel);
    return qAlpha(pixel) == 255 && grey ? qRed(pixel) : -1;
}
inline int level(qreal white) {
    return QuartzUtils::deviceWhite(white).red();
}

// Writes contents to path, making its folders; returns path, or a null string on failure.
inline QString writeFile(const QString& path, const QByteArray& contents) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    const bool written = file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
    return written ? path : QString();
}
inline QByteArray readFile(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// <tmp>/root is CORVIX_ROOT, <tmp>/home HOME (its .config XDG_CONFIG_HOME), <tmp>/tmp TMPDIR;
// the environment is restored and the folder removed on destruction.
class Sandbox {
  public:
    Sandbox() {
        vesk_setMachineRoot("");
        for (const char* folder : {"root", "home/.config", "tmp"}) {
            QDir(_dir.path()).mkpath(folder);
        }
        set("CORVIX_ROOT", root());
        set("HOME", home());
        set("XDG_CONFIG_HOME", home() + "/.config");
        set("TMPDIR", path("tmp"));
    }
    ~Sandbox() {
        for (const auto& [name, value] : _saved) {
            value ? qputenv(name, *value) : qunsetenv(name);
        }
    }
    QString path(const QString& relative = QString()) const {
        return relative.isEmpty() ? _dir.path() : _dir.path() + "/" + relative;
    }
    QString root() const { return path("root"); }
    QString home() const { return path("home"); }
    // Where the products keep their files, and the user configuration folder.
    QString product(const QString& generation, const QString& item) const {
        return root() + "/Library/Application Support/Orvanta Software/" + generation + "/" + item;
    }
    QString config(const QString& name) const { return home() + "/.config/Orvanta/Corvix/" + name; }
    QString file(const QString& relative, const QByteArray& contents) const {
        return writeFile(path(relative), contents);
    }

  private:
    void set(const char* name, const QString& value) {
        _saved.emplace(
            name, qEnvironmentVariableIsSet(name) ? qgetenv(name) : std::optional<QByteArray>());
        qputenv(name, QFile::encodeName(value));
    }
    QTemporaryDir _dir;
    std::map<const char*, std::optional<QByteArray>> _saved;
};

struct RecordedAlert {
    QString title, message, defaultButton, otherButton;
    QStringList all() const { return {title, message, defaultButton, otherButton}; }
};

// Records every alert and panel; answers from the queues, and with a queue empty takes the
// alert's default button or cancels the panel. onAlert runs as each alert is shown.
class RecordingDialogs : public WindowDialogs {
  public:
    using Call = std::variant<RecordedAlert, OpenPanelOptions, SavePanelOptions>;
    QList<Call> calls;
    QList<int> alertAnswers;
    QList<QStringList> openAnswers;
    QList<QString> saveAnswers;
    std::function<void()> onAlert = [] {};

    int runAlertPanel(const QString& title, const QString& message, const QString& defaultButton,
                      const QString& otherButton) override {
        onAlert();
        calls.append(RecordedAlert{title, message, defaultButton, otherButton});
        return alertAnswers.isEmpty() ? kAlertDefaultReturn : alertAnswers.takeFirst();
    }
    QStringList runOpenPanel(const OpenPanelOptions& options) override {
        calls.append(options);
        return openAnswers.isEmpty() ? QStringList() : openAnswers.takeFirst();
    }
    QString runSavePanel(const SavePanelOptions& options) override {
        calls.append(options);
        return saveAnswers.isEmpty() ? QString() : saveAnswers.takeFirst();
    }
    QList<RecordedAlert> alerts() const {
        QList<RecordedAlert> found;
        for (const Call& call : calls) {
            if (const auto* alert = std::get_if<RecordedAlert>(&call)) {
                found << *alert;
            }
        }
        return found;
    }
    QStringList titles() const {
        QStringList found;
        for (const RecordedAlert& alert : alerts()) {
            found << alert.title;
        }
        return found;
    }
};

// The window as the application starts it (AppController), then switched to the view named
// view when one is named (still animating to its size), in a sandbox, its dialogs recorded.
class Window {
  public:
    Sandbox sandbox;
    RecordingDialogs dialogs;
    std::unique_ptr<AppController> app;
    CorvixSupportPrefsController* prefs = nullptr;

    // prepare, when given, makes the machine's files before the window reads them.
    explicit Window(const QString& view = QString(),
                    const std::function<void(const Sandbox&)>& prepare = {}) {
        if (prepare) {
            prepare(sandbox);
        }
        open(view);
    }
    ~Window() { close(); }
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
};

}  // namespace GuiTest

#endif
