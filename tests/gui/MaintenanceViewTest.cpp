// The Maintenance view driven through its controls: the reset, the logging level and the
// settings-file sweep with its progress panel.
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QProgressBar>
#include <QThread>
#include <QTimer>

#include "GuiTest.h"

using GuiTest::Window;

namespace {

const char* const kTarget = ".CorvixPro2ProjectConfig.cpr";
const char* const kQuestion = "Are you sure you want to reset your settings";
const char* const kCompleted = "Maintenace tasks completed.";
const char* const kBoxes[] = {"_chkRQ", "_chkLogs", "_chkCache", "_chkConfig"};

// "label/name" of each entry deleted in the watched folders, in the order the kernel saw it go.
class DeletionRecorder {
  public:
    ~DeletionRecorder() { close(_fd); }
    void watch(const QString& folder, const QString& label) {
        _labels[inotify_add_watch(_fd, QFile::encodeName(folder).constData(), IN_DELETE)] = label;
    }
    QStringList deleted() const {
        QStringList names;
        alignas(inotify_event) char buffer[65536];
        for (ssize_t size; (size = read(_fd, buffer, sizeof buffer)) > 0;) {
            for (char* at = buffer; at < buffer + size; at += sizeof(inotify_event)) {
                const auto* event = reinterpret_cast<const inotify_event*>(at);
                names << _labels.value(event->wd) + "/" + event->name;
                at += event->len;
            }
        }
        return names;
    }

  private:
    int _fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    QMap<int, QString> _labels;
};

}  // namespace

class MaintenanceViewTest : public QObject {
    Q_OBJECT

  private slots:
    void init() {
        _w = std::make_unique<Window>("Maintenance");
        for (const char* generation : {"CorvixPro", "CorvixPro2"}) {
            for (const char* item :
                 {"RenderQueue/RQ.txt", "Cache/f", "Config.txt", "FrameCache.cpr"}) {
                _w->file(product(generation, item));
            }
        }
        _w->file(config("corvix.log"));
    }
    void cleanup() { _w.reset(); }

    // Nothing without a task or with "No"; with "Yes" everything, in the fixed order, then the
    // completion alert, and the boxes turned off in theirs.
    void resetAsksFirstAndDeletesInTheFixedOrder() {
        click("_executeButton");
        QCOMPARE(_w->dialogs.titles(), QStringList{"No maintenance tasks have been selected."});
        checkAllBoxes();
        DeletionRecorder recorder;
        recorder.watch(product("CorvixPro"), "CorvixPro");
        recorder.watch(product("CorvixPro2"), "CorvixPro2");
        recorder.watch(config(), "logs");
        _w->dialogs.alerts.clear();
        click("_executeButton");
        QCOMPARE(_w->dialogs.alerts.value(0).all(),
                 QStringList({kQuestion,
                              "These changes are irreversible and will remove all settings and "
                              "history.",
                              "No", "Yes"}));
        QCOMPARE(recorder.deleted(), QStringList());
        QCOMPARE(checkedBoxes(), 4);

        QStringList cleared;
        for (const char* name : kBoxes) {
            connect(box(name), &QCheckBox::toggled, [&cleared, name] { cleared << name; });
        }
        _w->dialogs.alerts.clear();
        _w->dialogs.alertAnswers = {WindowDialogs::kAlertOtherReturn};
        click("_executeButton");
        QCOMPARE(recorder.deleted(),
                 QStringList({"CorvixPro2/RenderQueue", "CorvixPro/RenderQueue", "logs/corvix.log",
                              "CorvixPro/Config.txt", "CorvixPro2/Config.txt", "logs/corvix.cfg",
                              "logs/CorvixPro2.cfg", "CorvixPro2/Cache", "CorvixPro/Cache",
                              "CorvixPro/FrameCache.cpr", "CorvixPro2/FrameCache.cpr"}));
        QCOMPARE(_w->dialogs.titles(), QStringList({kQuestion, kCompleted}));
        QCOMPARE(cleared, QStringList({"_chkRQ", "_chkConfig", "_chkCache", "_chkLogs"}));
    }

    // A log folder that cannot be listed (a file in its place): the render queues go, the error
    // alert names the folder, configuration and cache stay, the completion alert follows and the
    // boxes are cleared.
    void aLogFolderThatCannotBeListedStopsTheResetAfterTheRenderQueues() {
        checkAllBoxes();
        _w->dialogs.alertAnswers = {WindowDialogs::kAlertOtherReturn};
        QVERIFY(QDir(config()).removeRecursively());
        _w->file(config().chopped(1), "not a folder");
        click("_executeButton");
        QCOMPARE(_w->dialogs.titles(),
                 QStringList({kQuestion, "Error performing maintenance.", kCompleted}));
        QCOMPARE(_w->dialogs.alerts[1].message,
                 "Could not open \"" + config() + "\" for directory listing.");
        QVERIFY(!QFile::exists(product("CorvixPro", "RenderQueue")));
        QVERIFY(!QFile::exists(product("CorvixPro2", "RenderQueue")));
        for (const QString& kept :
             {product("CorvixPro", "Config.txt"), product("CorvixPro2", "Config.txt"),
              product("CorvixPro", "Cache/f")}) {
            QVERIFY2(QFile::exists(kept), qPrintable(kept));
        }
        QCOMPARE(checkedBoxes(), 0);
    }

    // A fresh account: opening the view made both files and shows item 0. Item 2 writes "1"
    // for both keys into the second file only; a level that cannot be stored is said so, and the
    // pop-up shows the one stored.
    void loggingLevelIsReadFromBothFilesAndWrittenToTheSecondOnly() {
        auto* level = Window::find<QComboBox>("_cbLoggingLevel", view());
        QCOMPARE(level->currentIndex(), 0);
        QCOMPARE(value("corvix.cfg", "logging") + value("CorvixPro2.cfg", "dev.logging"),
                 QByteArray("defaultdefault"));
        const QByteArray first = GuiTest::readFile(config("corvix.cfg"));
        QTest::keyClick(level, Qt::Key_End);
        QCOMPARE(value("CorvixPro2.cfg", "logging") + value("CorvixPro2.cfg", "dev.logging"),
                 QByteArray("11"));
        QCOMPARE(GuiTest::readFile(config("corvix.cfg")), first);
        QCOMPARE(_w->dialogs.titles(),
                 QStringList{"Please restart After Effects for the setting to take effect."});

        QVERIFY(QFile::remove(config("CorvixPro2.cfg")) && QDir().mkpath(config("CorvixPro2.cfg")));
        _w->dialogs.alerts.clear();
        QTest::keyClick(level, Qt::Key_Up);
        QCOMPARE(_w->dialogs.titles(), QStringList{"The logging level could not be saved."});
        QCOMPARE(level->currentIndex(), 0);
    }

    // The sweep's end: on the main thread, the bar stopped and the panel gone before the alert,
    // which counts what the sweep log counts.
    void sweepEndsOnTheMainThreadInTheDesignedOrder_data() {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<bool>("recursive");
        QTest::addColumn<int>("delay");
        QTest::addColumn<QString>("message");
        const QString count = "%1 file(s) removed during this session.";
        QTest::newRow("top folder only") << "projects" << false << 0 << count.arg(1);
        QTest::newRow("subfolders") << "projects" << true << 0 << count.arg(3);
        QTest::newRow("stopped in the start delay")
            << "projects" << true << 60000
            << count.arg(0) + "\n\nThe sweep was stopped before it finished.";
        QTest::newRow("missing folder")
            << "missing" << true << 0
            << count.arg(0) + "\n\n\"FOLDER\" could not be searched: No such file or directory.";
    }
    void sweepEndsOnTheMainThreadInTheDesignedOrder() {
        QFETCH(QString, folder);
        QFETCH(bool, recursive);
        QFETCH(int, delay);
        QFETCH(QString, message);
        for (const char* subfolder : {"", "a/", "a/b/", ".hidden/"}) {
            _w->file("projects/" + QString(subfolder) + kTarget);
        }
        QTimer stop;  // in the start delay, once the panel is up
        connect(&stop, &QTimer::timeout, [&] {
            if (panel()->isVisible()) {
                Window::click("_cprStopButton", panel());
            }
        });
        stop.start(delay > 0 ? 1 : 60000);
        bool endedInOrder = false;
        _w->dialogs.onAlert = [&] {
            endedInOrder = QThread::currentThread() == qApp->thread() && !panel()->isVisible() &&
                           Window::find<QProgressBar>("_progressBar", panel())->maximum() > 0;
        };
        sweep(_w->path(folder), recursive, delay);
        QCOMPARE(_w->dialogs.titles(), QStringList{"Find & Delete CPR files has completed."});
        QCOMPARE(_w->dialogs.alerts[0].message, message.replace("FOLDER", _w->path(folder)));
        QVERIFY(endedInOrder);
        QCOMPARE(int(GuiTest::readFile(config("CorvixSupport.log")).count("REMOVED - ")),
                 message.section(' ', 0, 0).toInt());
    }

    // 200,000 entries: the stop button, pressed while the sweep runs, ends it early; the alert
    // and the sweep log count exactly what is gone, and a main-thread timer fired throughout.
    // The sweep log is a FIFO that the timer reads only once it has pressed stop, so until then
    // the worker waits on a log line mid-walk, however fast the disk or busy the machine. The
    // tree is made in memory (/dev/shm) where there is one: on a busy disk it takes minutes.
    void stopEndsALongSweepEarly() {
        const int folders = 10000;
        QTemporaryDir tree(QFileInfo("/dev/shm").isWritable() ? "/dev/shm/corvix-sweep-XXXXXX"
                                                              : _w->path("tree"));
        QStringList targets;
        for (int i = 0; i < folders; ++i) {
            const QString folder = tree.path() + QString("/d%1/").arg(i);
            QVERIFY(QDir().mkpath(folder));
            targets << folder + kTarget;
            for (int j = 0; j < 20; ++j) {  // 19 other files and the target
                const QString file = j < 19 ? folder + QString::number(j) : targets.last();
                close(::open(QFile::encodeName(file).constData(), O_CREAT | O_WRONLY, 0644));
            }
        }
        const QByteArray logPath = QFile::encodeName(config("CorvixSupport.log"));
        QCOMPARE(mkfifo(logPath.constData(), 0600), 0);
        const int log = ::open(logPath.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        QByteArray logged;
        const auto readLog = [&] {
            char buffer[65536];
            for (ssize_t size; (size = read(log, buffer, sizeof buffer)) > 0;) {
                logged.append(buffer, int(size));
            }
        };
        int ticks = 0;
        bool stopped = false;
        QTimer timer;
        connect(&timer, &QTimer::timeout, [&] {
            if (!panel()->isVisible()) {
                return;
            }
            ++ticks;
            const QString label = Window::find<QLabel>("_cprFolderLabel", panel())->text();
            if (!stopped && ticks >= 3 && label.startsWith(tree.path() + "/d")) {
                Window::click("_cprStopButton", panel());
                stopped = true;
            }
            if (stopped || ticks > 2000) {  // ten seconds without a stop: the checks say why
                readLog();
            }
        });
        timer.start(5);
        sweep(tree.path(), true, 0);
        readLog();
        close(log);

        const int gone = int(std::count_if(targets.begin(), targets.end(),
                                           [](const QString& t) { return !QFile::exists(t); }));
        QVERIFY(stopped);
        QVERIFY2(gone > 0 && gone < folders, qPrintable(QString::number(gone)));
        QCOMPARE(int(logged.count("REMOVED - ")), gone);
        QCOMPARE(_w->dialogs.alerts.value(0).message,
                 QString("%1 file(s) removed during this session.\n\n"
                         "The sweep was stopped before it finished.")
                     .arg(gone));
    }

  private:
    QString product(const char* generation, const char* item = "") const {
        return _w->product(generation, item);
    }
    QString config(const char* name = "") const { return _w->config(name); }
    QWidget* view() const { return _w->view("Maintenance"); }
    QCheckBox* box(const char* name) const { return Window::find<QCheckBox>(name, view()); }
    QDialog* panel() const { return _w->prefs->progressPanel(); }
    void click(const char* name) { Window::click(name, view()); }
    // The value of "corvix.<key>" in the user configuration file fileName.
    QByteArray value(const char* fileName, const char* key) const {
        const QByteArray start = QByteArray("corvix.") + key + "=";
        for (const QByteArray& line : GuiTest::readFile(config(fileName)).split('\n')) {
            if (line.startsWith(start)) {
                return line.mid(start.size());
            }
        }
        return QByteArray();
    }
    void checkAllBoxes() {
        for (const char* name : kBoxes) {
            click(name);
        }
        QCOMPARE(checkedBoxes(), 4);
    }
    int checkedBoxes() const {
        return int(std::count_if(std::begin(kBoxes), std::end(kBoxes),
                                 [this](const char* name) { return box(name)->isChecked(); }));
    }
    // Chooses folder through "Other..." and the open panel (the pop-up then shows the folder's
    // name, a separator and "Other..." again; cancelled, the panel opens in that folder and
    // changes nothing), then runs the sweep; returns after its alert.
    void sweep(const QString& folder, bool recursive, int delay) {
        auto* menu = Window::find<QComboBox>("_cprPath", view());
        QCOMPARE(menu->itemText(0) + menu->itemText(2), QString("/Other..."));
        _w->dialogs.openAnswers = {{folder}};
        QTest::keyClick(menu, Qt::Key_End);
        QTest::keyClick(menu, Qt::Key_End);
        const OpenPanelOptions first = _w->dialogs.openPanels.value(0);
        QVERIFY(first.directory == "/" && first.canChooseDirectories && !first.canChooseFiles);
        QCOMPARE(_w->dialogs.openPanels.value(1).directory, folder);
        QCOMPARE(QStringList({menu->currentText(), menu->itemText(1), menu->itemText(2)}),
                 QStringList({QFileInfo(folder).fileName(), "", "Other..."}));
        QVERIFY(menu->currentIndex() == 0 && !menu->itemIcon(0).isNull());
        QCOMPARE(_w->prefs->currentCprPath(), folder);
        box("_chkScanSubdirectoriesForCprFiles")->setChecked(recursive);
        _w->prefs->setCprSweepStartDelay(std::chrono::milliseconds(delay));
        click("_removeCprFilesButton");
    }

    std::unique_ptr<Window> _w;
};

QTEST_MAIN(MaintenanceViewTest)

#include "MaintenanceViewTest.moc"
