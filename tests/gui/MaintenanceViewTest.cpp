// The Maintenance view driven through its controls under the offscreen platform, its alerts
// answered by a recording implementation, in a temporary machine root and HOME: the reset and
// the order of its deletions, the logging level, the sweep's folder pop-up, and the sweep with
// its panel, its worker and its stop button.
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
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <functional>
#include <memory>

#include "CorvixSupportPrefsController.h"
#include "DarkTheme.h"
#include "GuiSandbox.h"
#include "QuartzUtils.h"
#include "RecordingWindowDialogs.h"
#include "VeskConfig.h"

namespace {

const char* const kProductFolder = "root/Library/Application Support/Orvanta Software/";
const char* const kLogFolder = "home/.config/Orvanta/Corvix/";
const char* const kTarget = ".CorvixPro2ProjectConfig.cpr";
const char* const kSweepTitle = "Find & Delete CPR files has completed.";

// Records alerts and lets a test look at the window when each one is shown.
class WatchingDialogs : public RecordingWindowDialogs {
  public:
    std::function<void()> onAlert;

    int runAlertPanel(const QString& title, const QString& message, const QString& defaultButton,
                      const QString& otherButton) override {
        if (onAlert) {
            onAlert();
        }
        return RecordingWindowDialogs::runAlertPanel(title, message, defaultButton, otherButton);
    }
    QStringList alertTitles() const {
        QStringList titles;
        for (const Call& call : calls) {
            if (const auto* alert = std::get_if<RecordedAlert>(&call)) {
                titles << alert->title;
            }
        }
        return titles;
    }
    RecordedAlert lastAlert() const { return std::get<RecordedAlert>(calls.last()); }
};

// The names deleted in the watched folders, in the order the file system saw them go.
class DeletionRecorder {
  public:
    DeletionRecorder() : _fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}
    ~DeletionRecorder() { close(_fd); }
    bool watch(const QString& folder, const QString& label) {
        const int watch = inotify_add_watch(_fd, QFile::encodeName(folder).constData(), IN_DELETE);
        _labels[watch] = label;
        return watch >= 0;
    }
    QStringList deleted() const {
        QStringList names;
        alignas(inotify_event) char buffer[65536];
        ssize_t size = 0;
        while ((size = read(_fd, buffer, sizeof buffer)) > 0) {
            for (char* at = buffer; at < buffer + size;) {
                const auto* event = reinterpret_cast<const inotify_event*>(at);
                names << _labels.value(event->wd) + "/" + QString::fromUtf8(event->name);
                at += sizeof(inotify_event) + event->len;
            }
        }
        return names;
    }

  private:
    int _fd;
    QMap<int, QString> _labels;
};

int chownToNobody(const char* path, const struct stat*, int, FTW*) {
    return lchown(path, 65534, 65534);
}

// Makes folder unlistable for this thread: taken from every other user and, when the test runs
// as root (which reads any folder), this thread's file access done as "nobody", who owns the
// rest of the sandbox. Undone on destruction. False from active() when that cannot be had.
class UnlistableFolder {
  public:
    UnlistableFolder(const QString& sandbox, const QString& folder) : _folder(folder) {
        if (geteuid() == 0) {
            if (nftw(QFile::encodeName(sandbox).constData(), chownToNobody, 16, FTW_PHYS) != 0) {
                return;
            }
            _asNobody = true;
            setfsuid(65534);
        }
        chmod(QFile::encodeName(folder).constData(), 0);
        int fd = open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY);
        _active = fd < 0 && (!_asNobody || setfsuid(-1) == 65534);
        if (fd >= 0) {
            close(fd);
        }
    }
    ~UnlistableFolder() {
        if (_asNobody) {
            setfsuid(0);
        }
        chmod(QFile::encodeName(_folder).constData(), 0700);
    }
    bool active() const { return _active; }

  private:
    QString _folder;
    bool _asNobody = false;
    bool _active = false;
};

}  // namespace

class MaintenanceViewTest : public QObject {
    Q_OBJECT

  private slots:
    void init() {
        _dialogs = WatchingDialogs();
        _sandbox = std::make_unique<GuiSandbox>();
        openView();
    }
    void cleanup() {
        TabbedPrefsWindowController::releaseSharedPrefsWindowController();
        _sandbox.reset();
    }

    void resetAsksFirstAndDeletesNothingUnasked() {
        makeProductState();
        const RecordedAlert question{"Are you sure you want to reset your settings",
                                     "These changes are irreversible and will remove all settings "
                                     "and history.",
                                     "No", "Yes"};
        click("_executeButton");
        QCOMPARE(_dialogs.alertTitles(), QStringList{"No maintenance tasks have been selected."});
        QCOMPARE(_dialogs.lastAlert().message,
                 QString("Please check off some maintenance tasks to perform and try again."));

        checkAllBoxes();
        _dialogs.calls.clear();
        _dialogs.alertAnswers = {WindowDialogs::kAlertDefaultReturn};
        click("_executeButton");
        QCOMPARE(_dialogs.calls.size(), 1);
        QCOMPARE(_dialogs.lastAlert().title, question.title);
        QCOMPARE(_dialogs.lastAlert().message, question.message);
        QCOMPARE(_dialogs.lastAlert().defaultButton, question.defaultButton);
        QCOMPARE(_dialogs.lastAlert().otherButton, question.otherButton);
        for (const char* item : {"CorvixPro/RenderQueue/RQ.txt", "CorvixPro2/Cache/f",
                                 "CorvixPro2/Config.txt", "CorvixPro/FrameCache.cpr"}) {
            QVERIFY2(QFile::exists(_sandbox->path(kProductFolder + QString(item))), item);
        }
        QVERIFY(QFile::exists(logFolder() + "corvix.log"));
        for (QCheckBox* box : boxes()) {
            QVERIFY(box->isChecked());
        }
    }

    void yesDeletesEverythingInTheFixedOrderAndClearsTheBoxes() {
        makeProductState();
        DeletionRecorder recorder;
        QVERIFY(recorder.watch(productFolder("CorvixPro"), "CorvixPro"));
        QVERIFY(recorder.watch(productFolder("CorvixPro2"), "CorvixPro2"));
        QVERIFY(recorder.watch(logFolder(), "logs"));
        QStringList cleared;
        for (QCheckBox* box : boxes()) {
            box->setChecked(true);
            connect(box, &QCheckBox::toggled, box,
                    [&cleared, box]() { cleared << box->objectName(); });
        }
        _dialogs.alertAnswers = {WindowDialogs::kAlertOtherReturn};
        click("_executeButton");

        QCOMPARE(recorder.deleted(),
                 QStringList({"CorvixPro2/RenderQueue", "CorvixPro/RenderQueue", "logs/corvix.log",
                              "CorvixPro/Config.txt", "CorvixPro2/Config.txt", "logs/corvix.cfg",
                              "logs/CorvixPro2.cfg", "CorvixPro2/Cache", "CorvixPro/Cache",
                              "CorvixPro/FrameCache.cpr", "CorvixPro2/FrameCache.cpr"}));
        QCOMPARE(_dialogs.alertTitles(),
                 QStringList({"Are you sure you want to reset your settings",
                              "Maintenace tasks completed."}));
        QCOMPARE(_dialogs.lastAlert().message,
                 QString("The maintenance tasks that you have selected have been succesfully "
                         "executed."));
        QCOMPARE(cleared, QStringList({"_chkRQ", "_chkConfig", "_chkCache", "_chkLogs"}));
    }

    void anUnlistableLogFolderStopsTheResetAfterTheRenderQueues() {
        makeProductState();
        checkAllBoxes();
        _dialogs.alertAnswers = {WindowDialogs::kAlertOtherReturn};
        {
            UnlistableFolder unlistable(_sandbox->path(), logFolder());
            if (!unlistable.active()) {
                QSKIP("the log folder cannot be made unlistable for this test's user");
            }
            click("_executeButton");
        }
        QCOMPARE(_dialogs.alertTitles(),
                 QStringList({"Are you sure you want to reset your settings",
                              "Error performing maintenance.", "Maintenace tasks completed."}));
        const auto error = std::get<RecordedAlert>(_dialogs.calls[1]);
        QCOMPARE(error.message, "Could not open \"" + logFolder() + "\" for directory listing.");
        QVERIFY(!QFile::exists(productFolder("CorvixPro") + "RenderQueue"));
        QVERIFY(!QFile::exists(productFolder("CorvixPro2") + "RenderQueue"));
        for (const QString& kept :
             {productFolder("CorvixPro2") + "Config.txt", productFolder("CorvixPro") + "Cache/f",
              productFolder("CorvixPro2") + "FrameCache.cpr", logFolder() + "corvix.log",
              logFolder() + "CorvixPro2.cfg"}) {
            QVERIFY2(QFile::exists(kept), qPrintable(kept));
        }
        for (QCheckBox* box : boxes()) {
            QVERIFY(!box->isChecked());
        }
    }

    void loggingLevelIsShownFromTheFilesAndWrittenToTheSecondOnly() {
        // A fresh account: opening the view made both files.
        QCOMPARE(loggingLevel()->currentIndex(), 0);
        QCOMPARE(loggingLevel()->count(), 3);
        QCOMPARE(value("corvix.cfg", "corvix.logging"), QByteArray("default"));
        QCOMPARE(value("CorvixPro2.cfg", "corvix.dev.logging"), QByteArray("default"));
        const QByteArray first = GuiSandbox::readFile(logFolder() + "corvix.cfg");

        QTest::keyClick(loggingLevel(), Qt::Key_End);
        QCOMPARE(value("CorvixPro2.cfg", "corvix.logging"), QByteArray("1"));
        QCOMPARE(value("CorvixPro2.cfg", "corvix.dev.logging"), QByteArray("1"));
        QCOMPARE(GuiSandbox::readFile(logFolder() + "corvix.cfg"), first);
        QCOMPARE(_dialogs.alertTitles(),
                 QStringList{"Please restart After Effects for the setting to take effect."});

        // Reopened, the second file decides.
        reopen();
        QCOMPARE(loggingLevel()->currentIndex(), 2);

        // A level that cannot be stored: said so, and the pop-up shows what is stored.
        QFile::remove(logFolder() + "CorvixPro2.cfg");
        QVERIFY(QDir().mkpath(logFolder() + "CorvixPro2.cfg"));
        QTest::keyClick(loggingLevel(), Qt::Key_Up);
        QCOMPARE(_dialogs.alertTitles(), QStringList{"The logging level could not be saved."});
        QCOMPARE(loggingLevel()->currentIndex(), 0);
    }

    void folderPopUpShowsTheChosenFolderAndOther() {
        QComboBox* menu = cprPath();
        QCOMPARE(menu->count(), 3);
        QCOMPARE(menu->itemText(0), QString("/"));
        QCOMPARE(_prefs->currentCprPath(), QString("/"));
        QVERIFY(!menu->itemIcon(0).isNull());
        QVERIFY(!(menu->model()->flags(menu->model()->index(1, 0)) & Qt::ItemIsSelectable));
        QCOMPARE(menu->itemText(2), QString("Other..."));

        const QString projects = _sandbox->path("My Projects");
        QVERIFY(QDir().mkpath(projects));
        _dialogs.openAnswers = {{projects}};
        QTest::keyClick(menu, Qt::Key_End);
        const auto panel = std::get<OpenPanelOptions>(_dialogs.calls.last());
        QCOMPARE(panel.directory, QString("/"));
        QVERIFY(panel.canChooseDirectories && !panel.canChooseFiles &&
                !panel.allowsMultipleSelection);
        QCOMPARE(menu->itemText(0), QString("My Projects"));
        QCOMPARE(_prefs->currentCprPath(), projects);
        QCOMPARE(menu->currentIndex(), 0);

        QTest::keyClick(menu, Qt::Key_End);  // cancelled
        QCOMPARE(std::get<OpenPanelOptions>(_dialogs.calls.last()).directory, projects);
        QCOMPARE(menu->itemText(0), QString("My Projects"));
        QCOMPARE(menu->currentIndex(), 0);
        QCOMPARE(menu->count(), 3);
    }

    void sweepEndsOnTheMainThreadInTheDesignedOrder_data() {
        QTest::addColumn<QString>("folder");
        QTest::addColumn<bool>("recursive");
        QTest::addColumn<bool>("stopAtOnce");
        QTest::addColumn<QString>("message");
        QTest::newRow("top folder only")
            << "projects" << false << false << "1 file(s) removed during this session.";
        QTest::newRow("subfolders")
            << "projects" << true << false << "3 file(s) removed during this session.";
        QTest::newRow("stopped before it started")
            << "projects" << true << true
            << "0 file(s) removed during this session.\n\nThe sweep was stopped before it "
               "finished.";
        QTest::newRow("missing folder")
            << "missing" << true << false
            << "0 file(s) removed during this session.\n\n\"FOLDER\" could not be searched: No "
               "such file or directory.";
    }
    void sweepEndsOnTheMainThreadInTheDesignedOrder() {
        QFETCH(QString, folder);
        QFETCH(bool, recursive);
        QFETCH(bool, stopAtOnce);
        QFETCH(QString, message);
        message.replace("FOLDER", _sandbox->path(folder));
        for (const char* file : {"", "a/", "a/b/", ".hidden/"}) {
            QVERIFY(GuiSandbox::writeFile(_sandbox->path("projects/") + file + kTarget, "x"));
        }
        chooseCprFolder(_sandbox->path(folder));
        sweepBox()->setChecked(recursive);
        _prefs->setCprSweepStartDelay(std::chrono::milliseconds(stopAtOnce ? 60000 : 0));
        QTimer stop;
        connect(&stop, &QTimer::timeout, [&]() {
            if (panel()->isVisible()) {
                panel()->findChild<QPushButton*>("_cprStopButton")->click();
                stop.stop();
            }
        });
        if (stopAtOnce) {
            stop.start(1);
        }
        bool endedInOrder = false;
        _dialogs.onAlert = [&]() {
            endedInOrder = QThread::currentThread() == qApp->thread() && !panel()->isVisible() &&
                           panel()->findChild<QProgressBar*>("_progressBar")->maximum() > 0;
        };
        click("_removeCprFilesButton");

        QCOMPARE(_dialogs.alertTitles(), QStringList{kSweepTitle});
        QCOMPARE(_dialogs.lastAlert().message, message);
        QVERIFY(endedInOrder);
        const QByteArray log = GuiSandbox::readFile(logFolder() + "CorvixSupport.log");
        QCOMPARE(log.count("REMOVED - "), message.section(' ', 0, 0).toInt());
        QVERIFY(QFile::exists(_sandbox->path("projects/.hidden/") + kTarget));
    }

    // 200,000 entries: the stop button, pressed while the sweep runs, ends it early; the alert
    // and the sweep log count exactly what is gone, and the main thread's timer fired throughout.
    // The sweep log is a FIFO that the timer reads only once it has pressed stop: until then the
    // worker waits on a log line in the middle of the walk, however fast the disk and however
    // busy the machine. The tree is made in memory (/dev/shm) where there is one: on a busy disk
    // it takes minutes to make.
    void stopEndsALongSweepEarly() {
        const bool inMemory = QFileInfo("/dev/shm").isWritable();
        QTemporaryDir tree(inMemory ? "/dev/shm/corvix-sweep-XXXXXX" : _sandbox->path("tree"));
        const int folders = 10000;
        const int filesPerFolder = 19;
        QStringList targets;
        for (int i = 0; i < folders; ++i) {
            const QString folder = tree.path() + QString("/d%1/").arg(i);
            QVERIFY(QDir().mkpath(folder));
            targets << folder + kTarget;
            for (int j = 0; j <= filesPerFolder; ++j) {
                const QString file =
                    j < filesPerFolder ? folder + QString::number(j) : targets.last();
                close(::open(QFile::encodeName(file).constData(), O_WRONLY | O_CREAT | O_CLOEXEC,
                             0644));
            }
        }
        const QByteArray log = QFile::encodeName(logFolder() + "CorvixSupport.log");
        QCOMPARE(mkfifo(log.constData(), 0600), 0);
        const int reader = ::open(log.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        QVERIFY(reader >= 0);
        QByteArray logged;
        const auto readLog = [&]() {
            char buffer[65536];
            for (ssize_t size; (size = read(reader, buffer, sizeof buffer)) > 0;) {
                logged.append(buffer, int(size));
            }
        };
        chooseCprFolder(tree.path());
        _prefs->setCprSweepStartDelay(std::chrono::milliseconds(0));

        int ticks = 0;
        bool stopped = false;
        QRect frame;
        QColor background;
        QTimer timer;
        connect(&timer, &QTimer::timeout, [&]() {
            if (!panel()->isVisible()) {
                return;
            }
            if (++ticks == 1) {
                frame = panel()->frameGeometry();
                background = panel()->palette().color(QPalette::Window);
            }
            const QString label = panel()->findChild<QLabel*>("_cprFolderLabel")->text();
            if (!stopped && ticks >= 3 && label.startsWith(tree.path() + "/d")) {
                QTest::mouseClick(panel()->findChild<QPushButton*>("_cprStopButton"),
                                  Qt::LeftButton);
                stopped = true;
            }
            // Ten seconds without a stop: let the worker go, and the checks below say why.
            if (stopped || ticks > 2000) {
                readLog();
            }
        });
        timer.start(5);
        click("_removeCprFilesButton");
        readLog();
        close(reader);

        int gone = 0;
        for (const QString& target : targets) {
            gone += QFile::exists(target) ? 0 : 1;
        }
        QVERIFY(stopped);
        // Centred; a frame the window system adds once the panel shows may shift it by its width.
        const QPoint offCentre = frame.center() - panel()->screen()->availableGeometry().center();
        QVERIFY2(qAbs(offCentre.x()) <= 2 && qAbs(offCentre.y()) <= 2,
                 qPrintable(QString("%1 %2").arg(offCentre.x()).arg(offCentre.y())));
        QCOMPARE(background, QuartzUtils::deviceWhite(DarkTheme::kBackground));
        QVERIFY2(gone > 0 && gone < folders, qPrintable(QString::number(gone)));
        QCOMPARE(int(logged.count("REMOVED - ")), gone);
        QCOMPARE(_dialogs.lastAlert().title, QString(kSweepTitle));
        QCOMPARE(_dialogs.lastAlert().message,
                 QString("%1 file(s) removed during this session.\n\nThe sweep was stopped "
                         "before it finished.")
                     .arg(gone));
    }

  private:
    void openView() {
        _prefs = CorvixSupportPrefsController::sharedPrefsWindowController();
        _prefs->setDialogs(&_dialogs);
        _prefs->showWindow(nullptr);
        _prefs->displayViewForIdentifier("Maintenance", false);
        _view = _prefs->viewForIdentifier("Maintenance");
        QVERIFY(_view != nullptr);
    }
    void reopen() {
        TabbedPrefsWindowController::releaseSharedPrefsWindowController();
        _dialogs.calls.clear();
        openView();
    }

    QString productFolder(const char* generation) const {
        return _sandbox->path(kProductFolder) + generation + "/";
    }
    QString logFolder() const { return _sandbox->path(kLogFolder); }
    void makeProductState() {
        for (const char* generation : {"CorvixPro", "CorvixPro2"}) {
            for (const char* item :
                 {"RenderQueue/RQ.txt", "Cache/f", "Config.txt", "FrameCache.cpr"}) {
                QVERIFY(GuiSandbox::writeFile(productFolder(generation) + item, "x"));
            }
        }
        QVERIFY(GuiSandbox::writeFile(logFolder() + "corvix.log", "x"));
    }
    QByteArray value(const char* fileName, const char* key) const {
        for (const QByteArray& line : GuiSandbox::readFile(logFolder() + fileName).split('\n')) {
            if (line.startsWith(QByteArray(key) + "=")) {
                return line.mid(int(strlen(key)) + 1);
            }
        }
        return QByteArray();
    }

    QList<QCheckBox*> boxes() const {
        QList<QCheckBox*> list;
        for (const char* name : {"_chkRQ", "_chkLogs", "_chkCache", "_chkConfig"}) {
            list << _view->findChild<QCheckBox*>(name);
        }
        return list;
    }
    void checkAllBoxes() {
        for (QCheckBox* box : boxes()) {
            QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(4, box->height() / 2));
            QVERIFY(box->isChecked());
        }
    }
    void click(const char* button) {
        QPushButton* found = _view->findChild<QPushButton*>(button);
        QVERIFY2(found != nullptr, button);
        QTest::mouseClick(found, Qt::LeftButton);
    }
    QComboBox* loggingLevel() const { return _view->findChild<QComboBox*>("_cbLoggingLevel"); }
    QComboBox* cprPath() const { return _view->findChild<QComboBox*>("_cprPath"); }
    QCheckBox* sweepBox() const {
        return _view->findChild<QCheckBox*>("_chkScanSubdirectoriesForCprFiles");
    }
    QDialog* panel() const { return _prefs->progressPanel(); }
    void chooseCprFolder(const QString& folder) {
        _dialogs.openAnswers = {{folder}};
        QTest::keyClick(cprPath(), Qt::Key_End);
        _dialogs.calls.clear();
    }

    std::unique_ptr<GuiSandbox> _sandbox;
    WatchingDialogs _dialogs;
    CorvixSupportPrefsController* _prefs = nullptr;
    QWidget* _view = nullptr;
};

QTEST_MAIN(MaintenanceViewTest)
#include "MaintenanceViewTest.moc"
