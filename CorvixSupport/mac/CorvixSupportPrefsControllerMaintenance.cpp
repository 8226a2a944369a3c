// The Maintenance view's actions of CorvixSupportPrefsController: the reset, the logging level
// and the settings-file sweep. The work is the maintenance core's, as on the command line; this
// file maps the controls to it and shows its answers.
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QProgressBar>
#include <QScreen>
#include <QSignalBlocker>
#include <QTimer>

#include "CorvixSupportPrefsController.h"
#include "CprSweepWorker.h"
#include "DarkTheme.h"
#include "MaintenanceTasks.h"
#include "NSDarkView.h"
#include "QuartzUtils.h"
#include "SweepProgressPanel.h"
#include "WindowMaintenanceDialogs.h"
#include "ui_MaintenanceView.h"
#include "ui_SweepProgressPanel.h"

namespace {

// The label follows the walk at this pace (milliseconds), however fast the walk goes: the walk
// only leaves its folder's name behind, and painting never holds it up.
constexpr int kFolderLabelInterval = 50;
// Lines of the core's messages an alert shows; all of them go to standard error as well.
constexpr int kMessageLines = 4;

bool isOn(const QCheckBox* box) {
    return box->checkState() == Qt::Checked;
}

// A folder's name in the pop-up: its last path component; the root shows as "/".
QString displayName(const QString& path) {
    const QString clean = QDir::cleanPath(path);
    const QString name = QFileInfo(clean).fileName();
    return name.isEmpty() ? clean : name;
}

// The first kMessageLines lines of text, with "…" when there are more.
QString firstLines(const QString& text) {
    const QStringList lines = text.split('\n');
    if (lines.size() <= kMessageLines) {
        return text;
    }
    return QStringList(lines.mid(0, kMessageLines)).join('\n') + "\n…";
}

}  // namespace

void CorvixSupportPrefsController::awakeMaintenanceView() {
    Ui::MaintenanceView& view = *_maintenance;
    connect(view._executeButton, &QAbstractButton::clicked, this,
            &CorvixSupportPrefsController::executeMaintenance);
    connect(view._cbLoggingLevel, &QComboBox::activated, this,
            &CorvixSupportPrefsController::onLoggingLevelChange);
    connect(view._cprPath, &QComboBox::activated, this, [this](int index) {
        if (index == _maintenance->_cprPath->count() - 1) {
            chooseCprLocation();
        }
    });
    connect(view._removeCprFilesButton, &QAbstractButton::clicked, this,
            &CorvixSupportPrefsController::removeCprFiles);

    _progressPanel = std::make_unique<SweepProgressPanel>();
    _sweepPanel = std::make_unique<Ui::SweepProgressPanel>();
    _sweepPanel->setupUi(_progressPanel.get());
    for (QLabel* label : {_sweepPanel->_cprTitleLabel, _sweepPanel->_cprFolderLabel}) {
        NSDarkView::setTextColor(label, QuartzUtils::deviceWhite(DarkTheme::kLabel));
    }
    connect(_sweepPanel->_cprStopButton, &QAbstractButton::clicked, this,
            &CorvixSupportPrefsController::stopCprKiller);
    connect(_progressPanel.get(), &SweepProgressPanel::stopRequested, this,
            &CorvixSupportPrefsController::stopCprKiller);
    _cprSweep = new CprSweepWorker;
    _cprSweep->setParent(this);
    connect(_cprSweep, &CprSweepWorker::finished, this,
            &CorvixSupportPrefsController::cprSweepEnded);
    _cprFolderTimer = new QTimer(this);
    _cprFolderTimer->setInterval(kFolderLabelInterval);
    connect(_cprFolderTimer, &QTimer::timeout, this, &CorvixSupportPrefsController::showCprFolder);

    _currentCprPath.clear();
    setupMenuUsingPath("/");
}

QDialog* CorvixSupportPrefsController::progressPanel() const {
    return _progressPanel.get();
}

void CorvixSupportPrefsController::executeMaintenance() {
    const Ui::MaintenanceView& view = *_maintenance;
    MaintenanceSelection selection;
    selection.renderQueue = isOn(view._chkRQ);
    selection.logs = isOn(view._chkLogs);
    selection.config = isOn(view._chkConfig);
    selection.cache = isOn(view._chkCache);
    WindowMaintenanceDialogs alerts(dialogs());
    if (!MaintenanceTasks::execute(selection, alerts).ran) {
        return;
    }
    for (QCheckBox* box : {view._chkRQ, view._chkConfig, view._chkCache, view._chkLogs}) {
        box->setCheckState(Qt::Unchecked);
    }
}

void CorvixSupportPrefsController::setupLoggingInfo() {
    _maintenance->_cbLoggingLevel->setCurrentIndex(MaintenanceTasks::readLoggingLevel());
}

void CorvixSupportPrefsController::onLoggingLevelChange(int item) {
    WindowMaintenanceDialogs alerts(dialogs());
    if (!MaintenanceTasks::writeLoggingLevel(item, alerts)) {
        int stored = kLoggingOff;
        MaintenanceTasks::peekLoggingLevel(&stored, nullptr);
        _maintenance->_cbLoggingLevel->setCurrentIndex(stored);
    }
}

void CorvixSupportPrefsController::setupMenuUsingPath(const QString& path) {
    if (path.isEmpty()) {
        return;
    }
    _currentCprPath = path;
    QComboBox* menu = _maintenance->_cprPath;
    const QSignalBlocker quiet(menu);
    menu->clear();
    // A folder that is gone still shows as a folder.
    const QFileIconProvider icons;
    QIcon icon = icons.icon(QFileInfo(path));
    menu->addItem(icon.isNull() ? icons.icon(QFileIconProvider::Folder) : icon, displayName(path),
                  path);
    menu->setItemData(0, path, Qt::ToolTipRole);
    menu->insertSeparator(1);
    menu->addItem("Other...");
    menu->setCurrentIndex(0);
}

void CorvixSupportPrefsController::chooseCprLocation() {
    OpenPanelOptions options;
    options.title = "Choose the folder to search";
    options.prompt = "Choose";
    options.directory = _currentCprPath;
    options.canChooseFiles = false;
    options.canChooseDirectories = true;
    options.canCreateDirectories = false;
    const QStringList chosen = dialogs().runOpenPanel(options);
    if (!chosen.isEmpty()) {
        setupMenuUsingPath(chosen.first());
    }
    _maintenance->_cprPath->setCurrentIndex(0);
}

void CorvixSupportPrefsController::removeCprFiles() {
    if (_currentCprPath.isEmpty() || _cprSweep->isRunning()) {
        return;
    }
    const bool recursive = isOn(_maintenance->_chkScanSubdirectoriesForCprFiles);
    if (!_cprSweep->start(QFile::encodeName(_currentCprPath).toStdString(), recursive,
                          _cprSweepStartDelay)) {
        dialogs().runAlertPanel("The search for project settings files could not be started.",
                                "Nothing was deleted.", "Ok", QString());
        return;
    }
    showCprFolder();

    // Centred at the size it shows at: polished, with the folder in its label.
    QPalette palette = _progressPanel->palette();
    palette.setColor(QPalette::Window, QuartzUtils::deviceWhite(DarkTheme::kBackground));
    _progressPanel->setPalette(palette);
    _progressPanel->ensurePolished();
    _progressPanel->adjustSize();
    const QScreen* screen =
        window()->screen() ? window()->screen() : QGuiApplication::primaryScreen();
    QRect frame = _progressPanel->frameGeometry();
    frame.moveCenter(screen->availableGeometry().center());
    _progressPanel->move(frame.topLeft());
    _sweepPanel->_progressBar->setRange(0, 0);
    _sweepPanel->_cprStopButton->setAttribute(Qt::WA_MacShowFocusRect, false);
    _cprFolderTimer->start();
    // The sweep's end arrives as a queued call, so it is handled inside this modal loop, once
    // the panel is on screen: a sweep that ends at once cannot close the panel before it opens.
    _progressPanel->exec();
}

void CorvixSupportPrefsController::stopCprKiller() {
    _cprSweep->requestStop();
}

void CorvixSupportPrefsController::showCprFolder() {
    QLabel* label = _sweepPanel->_cprFolderLabel;
    const int width = qMax(label->width(), label->minimumWidth());
    label->setText(
        label->fontMetrics().elidedText(_cprSweep->currentFolder(), Qt::ElideMiddle, width));
}

void CorvixSupportPrefsController::cprSweepEnded(const CprSweepResult& result,
                                                 const QString& messages) {
    _cprFolderTimer->stop();
    // As the sweep has always ended: the bar stops, the modal session ends, the panel goes, and
    // only then the alert.
    _sweepPanel->_progressBar->setRange(0, 1);
    _progressPanel->done(QDialog::Accepted);
    _progressPanel->hide();

    // The designed count, then what the sweep could not do, so that "0 file(s) removed" never
    // stands for a folder that was not searched.
    QString message = QString::asprintf("%d file(s) removed during this session.", result.removed);
    QString shortfall = QString::fromStdString(result.shortfall()).trimmed();
    if (!result.folderError.empty()) {
        shortfall = QString("\"%1\" could not be searched: %2.")
                        .arg(_currentCprPath, QString::fromStdString(result.folderError));
    }
    if (!messages.isEmpty()) {
        shortfall += (shortfall.isEmpty() ? "" : "\n") + firstLines(messages);
    }
    if (!shortfall.isEmpty()) {
        message += "\n\n" + shortfall;
    }
    dialogs().runAlertPanel("Find & Delete CPR files has completed.", message, "Ok", QString());
}
