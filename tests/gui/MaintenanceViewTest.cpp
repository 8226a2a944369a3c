// The Maintenance view driven through its controls under the offscreen platform, alerts answered
// by a recording implementation, in a temporary machine root and HOME.
#include <fcntl.h>
#include <ftw.h>
#include <sys/fsuid.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <functional>
#include <memory>

#include "CorvixSupportPrefsController.h"
#include "GuiSandbox.h"
#include "RecordingWindowDialogs.h"

namespace {

const char* const kTarget = ".CorvixPro2ProjectConfig.cpr";
const char* const kQuestion = "Are you sure you want to reset your settings";
const char* const kCompleted = "Maintenace tasks completed.";

// Alerts only; onAlert looks at the window as each one is shown.
class Dialogs : public RecordingWindowDialogs {
  public:
    std::function<void()> onAlert = [] {};
    int runAlertPanel(const QString& title, const QString& message, const QString& defaultButton,
                      const QString& otherButton) override {
        onAlert();
        return RecordingWindowDialogs::runAlertPanel(title, message, defaultButton, otherButton);
    }
    RecordedAlert alert(int index) const { return std::get<RecordedAlert>(calls.value(index)); }
    QStringList titles() const {
        QStringList titles;
        for (int i = 0; i < calls.size(); ++i) {
            titles << alert(i).title;
        }
        return titles;
    }
};

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

// Makes folder unlistable while it lives. Root lists any folder, so as root the sandbox is given
// to "nobody" and this thread's file access is done as nobody meanwhile.
class UnlistableFolder {
  public:
    UnlistableFolder(const QString& sandbox, const QString& folder)
        : _folder(QFile::encodeName(folder)) {
        const auto giveAway = [](const char* path, const struct stat*, int, FTW*) {
            return lchown(path, 65534, 65534);
        };
        if (geteuid() != 0 ||
            (nftw(QFile::encodeName(sandbox).constData(), giveAway, 16, FTW_PHYS) == 0 &&
             (setfsuid(65534), setfsuid(-1) == 65534))) {
            chmod(_folder.constData(), 0);
        }
    }
    ~UnlistableFolder() {
        setfsuid(0);
        chmod(_folder.constData(), 0700);
    }
    bool active() const {
        const int fd = open(_folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        return fd < 0 || (close(fd), false);
    }

  private:
    QByteArray _folder;
};

}  // namespace

class MaintenanceViewTest : public QObject {
    Q_OBJECT

  private slots:
    void init() {
        _dialogs = Dialogs();
        _sandbox = std::make_unique<GuiSandbox>();
        openView();
        for (const char* generation : {"CorvixPro", "CorvixPro2"}) {
            for (const char* item :
                 {"RenderQueue/RQ.txt", "Cache/f", "Config.txt", "FrameCache.cpr"}) {
                QVERIFY(GuiSandbox::writeFile(product(generation, item), "x"));
            }
        }
        QVERIFY(GuiSandbox::writeFile(logs("corvix.log"), "x"));
    }
    void cleanup() {
        TabbedPrefsWindowController::releaseSharedPrefsWindowController();
        _sandbox.reset();
    }

    // Nothing without a task or with "No"; with "Yes" everything, in the fixed order, and the
    // boxes are turned off in theirs.
    void resetAsksFirstAndDeletesInTheFixedOrder() {
        click("_executeButton");
        QCOMPARE(_dialogs.titles(), QStringList{"No maintenance tasks have been selected."});
        checkAllBoxes();
        DeletionRecorder recorder;
        recorder.watch(product("CorvixPro", ""), "CorvixPro");
        recorder.watch(product("CorvixPro2", ""), "CorvixPro2");
        recorder.watch(logs(""), "logs");
        _dialogs.alertAnswers = {WindowDialogs::kAlertDefaultReturn};
        click("_executeButton");
        QCOMPARE(_dialogs.alert(1).title, QString(kQuestion));
        QCOMPARE(_dialogs.alert(1).defaultButton + _dialogs.alert(1).otherButton, QString("NoYes"));
        QCOMPARE(recorder.deleted(), QStringList());
        QCOMPARE(checkedBoxes(), 4);

        QStringList cleared;
        for (const char* name : kBoxes) {
            auto* box = _view->findChild<QCheckBox*>(name);
            connect(box, &QCheckBox::toggled, box, [&cleared, name] { cleared << name; });
        }
        _dialogs.calls.clear();
        _dialogs.alertAnswers = {WindowDialogs::kAlertOtherReturn};
        click("_executeButton");
        QCOMPARE(recorder.deleted(),
                 QStringList({"CorvixPro2/RenderQueue", "CorvixPro/RenderQueue", "logs/corvix.log",
                              "CorvixPro/Config.txt", "CorvixPro2/Config.txt", "logs/corvix.cfg",
                              "logs/CorvixPro2.cfg", "CorvixPro2/Cache", "CorvixPro/Cache",
                              "CorvixPro/FrameCache.cpr", "CorvixPro2/FrameCache.cpr"}));
        QCOMPARE(_dialogs.titles(), QStringList({kQuestion, kCompleted}));
        QCOMPARE(cleared, QStringList({"_chkRQ", "_chkConfig", "_chkCache", "_chkLogs"}));
    }

    void anUnlistableLogFolderStopsTheResetAfterTheRenderQueues() {
        checkAllBoxes();
        _dialogs.alertAnswers = {WindowDialogs::kAlertOtherReturn};
        {
            UnlistableFolder unlistable(_sandbox->path(), logs(""));
            if (!unlistable.active()) {
                QSKIP("the log folder cannot be made unlistable for this test's user");
            }
            click("_executeButton");
        }
        QCOMPARE(_dialogs.titles(),
                 QStringList({kQuestion, "Error performing maintenance.", kCompleted}));
        QCOMPARE(_dialogs.alert(1).message,
                 "Could not open \"" + logs("") + "\" for directory listing.");
        QVERIFY(!QFile::exists(product("CorvixPro", "RenderQueue")) &&
                !QFile::exists(product("CorvixPro2", "RenderQueue")));
        for (const QString& kept : {product("CorvixPro2", "Config.txt"),
                                    product("CorvixPro", "Cache/f"), logs("CorvixPro2.cfg")}) {
            QVERIFY2(QFile::exists(kept), qPrintable(kept));
        }
        QCOMPARE(checkedBoxes(), 0);
    }

    void loggingLevelIsReadFromBothFilesAndWrittenToTheSecondOnly() {
        // A fresh account: opening the view made both files.
        QCOMPARE(loggingLevel()->currentIndex(), 0);
        QCOMPARE(value("corvix.cfg", "logging") + value("CorvixPro2.cfg", "dev.logging"),
                 QByteArray("defaultdefault"));
        const QByteArray first = GuiSandbox::readFile(logs("corvix.cfg"));
        QTest::keyClick(loggingLevel(), Qt::Key_End);
        QCOMPARE(value("CorvixPro2.cfg", "logging") + value("CorvixPro2.cfg", "dev.logging"),
                 QByteArray("11"));
        QCOMPARE(GuiSandbox::readFile(logs("corvix.cfg")), first);
        QCOMPARE(_dialogs.titles(),
                 QStringList{"Please restart After Effects for the setting to take effect."});

        // A level that cannot be stored is said so, and the pop-up shows the one stored.
        QVERIFY(QFile::remove(logs("CorvixPro2.cfg")) && QDir().mkpath(logs("CorvixPro2.cfg")));
        _dialogs.calls.clear();
        QTest::keyClick(loggingLevel(), Qt::Key_Up);
        QCOMPARE(_dialogs.titles(), QStringList{"The logging level could not be saved."});
        QCOMPARE(loggingLevel()->currentIndex(), 0);
    }

    void sweepEndsOnTheMainThreadInTheDesignedOrder_data() {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<bool>("recursive");
        QTest::addColumn<bool>("stopAtOnce");
        QTest::addColumn<QString>("message");
        const QString count = "%1 file(s) removed during this session.";
        QTest::newRow("top folder only") << "projects" << false << false << count.arg(1);
        QTest::newRow("subfolders") << "projects" << true << false << count.arg(3);
        QTest::newRow("stopped in the start delay")
            << "projects" << true << true
            << count.arg(0) + "\n\nThe sweep was stopped before it finished.";
        QTest::newRow("missing folder")
            << "missing" << true << false
            << count.arg(0) + "\n\n\"FOLDER\" could not be searched: No such file or directory.";
    }
    void sweepEndsOnTheMainThreadInTheDesignedOrder() {
        QFETCH(QString, folder);
        QFETCH(bool, recursive);
        QFETCH(bool, stopAtOnce);
        QFETCH(QString, message);
        for (const char* file : {"", "a/", "a/b/", ".hidden/"}) {
            QVERIFY(GuiSandbox::writeFile(_sandbox->path("projects/") + file + kTarget, "x"));
        }
        chooseCprFolder(_sandbox->path(folder));
        _view->findChild<QCheckBox*>("_chkScanSubdirectoriesForCprFiles")->setChecked(recursive);
        _prefs->setCprSweepStartDelay(std::chrono::milliseconds(stopAtOnce ? 60000 : 0));
        QTimer stop;
        connect(&stop, &QTimer::timeout, [&] {
            if (panel()->isVisible()) {
                stopButton()->click();
            }
        });
        stop.start(stopAtOnce ? 1 : 60000);
        bool endedInOrder = false;
        _dialogs.onAlert = [&] {
            endedInOrder = QThread::currentThread() == qApp->thread() && !panel()->isVisible() &&
                           panel()->findChild<QProgressBar*>("_progressBar")->maximum() > 0;
        };
        click("_removeCprFilesButton");
        QCOMPARE(_dialogs.titles(), QStringList{"Find & Delete CPR files has completed."});
        QCOMPARE(_dialogs.alert(0).message, message.replace("FOLDER", _sandbox->path(folder)));
        QVERIFY(endedInOrder);
        QCOMPARE(int(GuiSandbox::readFile(logs("CorvixSupport.log")).count("REMOVED - ")),
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
                                                              : _sandbox->path("tree"));
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
        const QByteArray logPath = QFile::encodeName(logs("CorvixSupport.log"));
        QCOMPARE(mkfifo(logPath.constData(), 0600), 0);
        const int log = ::open(logPath.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        QByteArray logged;
        const auto readLog = [&] {
            char buffer[65536];
            for (ssize_t size; (size = read(log, buffer, sizeof buffer)) > 0;) {
                logged.append(buffer, int(size));
            }
        };
        chooseCprFolder(tree.path());
        _prefs->setCprSweepStartDelay(std::chrono::milliseconds(0));
        int ticks = 0;
        bool stopped = false;
        QTimer timer;
        connect(&timer, &QTimer::timeout, [&] {
            if (!panel()->isVisible()) {
                return;
            }
            ++ticks;
            const QString label = panel()->findChild<QLabel*>("_cprFolderLabel")->text();
            if (!stopped && ticks >= 3 && label.startsWith(tree.path() + "/d")) {
                QTest::mouseClick(stopButton(), Qt::LeftButton);
                stopped = true;
            }
            if (stopped || ticks > 2000) {  // ten seconds without a stop: the checks say why
                readLog();
            }
        });
        timer.start(5);
        click("_removeCprFilesButton");
        readLog();
        close(log);

        const int gone = int(std::count_if(targets.begin(), targets.end(),
                                           [](const QString& t) { return !QFile::exists(t); }));
        QVERIFY(stopped);
        QVERIFY2(gone > 0 && gone < folders, qPrintable(QString::number(gone)));
        QCOMPARE(int(logged.count("REMOVED - ")), gone);
        QCOMPARE(_dialogs.alert(0).message, QString("%1 file(s) removed during this session.\n\n"
                                                    "The sweep was stopped before it finished.")
                                                .arg(gone));
    }

  private:
    static constexpr const char* kBoxes[] = {"_chkRQ", "_chkLogs", "_chkCache", "_chkConfig"};

    void openView() {
        _prefs = CorvixSupportPrefsController::sharedPrefsWindowController();
        _prefs->setDialogs(&_dialogs);
        _prefs->showWindow(nullptr);
        _prefs->displayViewForIdentifier("Maintenance", false);
        _view = _prefs->viewForIdentifier("Maintenance");
    }
    QString product(const char* generation, const char* item) const {
        return _sandbox->root() + "/Library/Application Support/Orvanta Software/" + generation +
               "/" + item;
    }
    QString logs(const char* name) const {
        return _sandbox->home() + "/.config/Orvanta/Corvix/" + name;
    }
    // The value of "corvix.<key>" in the user configuration file fileName.
    QByteArray value(const char* fileName, const char* key) const {
        const QByteArray start = QByteArray("corvix.") + key + "=";
        for (const QByteArray& line : GuiSandbox::readFile(logs(fileName)).split('\n')) {
            if (line.startsWith(start)) {
                return line.mid(start.size());
            }
        }
        return QByteArray();
    }
    void checkAllBoxes() {
        for (const char* name : kBoxes) {
            auto* box = _view->findChild<QCheckBox*>(name);
            QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(4, box->height() / 2));
        }
        QCOMPARE(checkedBoxes(), 4);
    }
    int checkedBoxes() const {
        return int(std::count_if(std::begin(kBoxes), std::end(kBoxes), [this](const char* name) {
            return _view->findChild<QCheckBox*>(name)->isChecked();
        }));
    }
    void click(const char* button) {
        QTest::mouseClick(_view->findChild<QPushButton*>(button), Qt::LeftButton);
    }
    QComboBox* loggingLevel() const { return _view->findChild<QComboBox*>("_cbLoggingLevel"); }
    QDialog* panel() const { return _prefs->progressPanel(); }
    QPushButton* stopButton() const { return panel()->findChild<QPushButton*>("_cprStopButton"); }
    // Through "Other..." and the open panel; the pop-up then shows the folder's name, a
    // separator and "Other..." again, with the name selected.
    void chooseCprFolder(const QString& folder) {
        auto* menu = _view->findChild<QComboBox*>("_cprPath");
        QCOMPARE(menu->itemText(0) + menu->itemText(2), QString("/Other..."));
        _dialogs.openAnswers = {{folder}};
        QTest::keyClick(menu, Qt::Key_End);
        const auto options = std::get<OpenPanelOptions>(_dialogs.calls.takeLast());
        QVERIFY(options.directory == "/" && options.canChooseDirectories &&
                !options.canChooseFiles);
        QCOMPARE(QStringList({menu->itemText(0), menu->itemText(1), menu->itemText(2)}),
                 QStringList({QFileInfo(folder).fileName(), "", "Other..."}));
        QVERIFY(menu->currentIndex() == 0 && !menu->itemIcon(0).isNull());
        QCOMPARE(_prefs->currentCprPath(), folder);
        QTest::keyClick(menu, Qt::Key_End);  // cancelled: opens in the folder, changes nothing
        QCOMPARE(std::get<OpenPanelOptions>(_dialogs.calls.takeLast()).directory, folder);
        QVERIFY(menu->currentIndex() == 0 && _prefs->currentCprPath() == folder);
    }

    std::unique_ptr<GuiSandbox> _sandbox;
    Dialogs _dialogs;
    CorvixSupportPrefsController* _prefs = nullptr;
    QWidget* _view = nullptr;
};

QTEST_MAIN(MaintenanceViewTest)
#include "MaintenanceViewTest.moc"
