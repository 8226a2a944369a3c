#include "AppController.h"

#include <QAction>
#include <QFile>
#include <QFileInfo>
#include <QKeySequence>
#include <QProcess>
#include <QWidget>

#include <cstring>
#include <optional>
#include <string>

#include "CorvixSupportPrefsController.h"
#include "NSDarkToolBar.h"
#include "PackageJob.h"
#include "PackageProgressPanel.h"
#include "PackageWorker.h"
#include "SupportPackage.h"
#include "VeskDiagnostics.h"
#include "VeskPath.h"

const char* const AppController::kCreatedTitle = "The support package has been created.";

namespace {

std::string pathBytes(const QString& path) {
    return QFile::encodeName(path).toStdString();
}

// A value of the panel for the request: a null string is no value.
std::optional<std::string> optionalText(const QString& text) {
    return text.isNull() ? std::nullopt : std::optional<std::string>(text.toStdString());
}

// The request as the command line fills it from its options: the panel's values, each only when
// it has one, the attachments in the order added, and the archive's path.
PackageRequest requestFrom(const CorvixSupportPrefsController* prefWindow,
                           const QString& fileName) {
    PackageRequest request;
    if (prefWindow != nullptr) {
        request._userName = optionalText(prefWindow->userName());
        request._company = optionalText(prefWindow->company());
        request._comment = optionalText(prefWindow->comment());
        request._email = optionalText(prefWindow->email());
        for (const QString& path : prefWindow->fileAttachments()) {
            request._fileAttachments.push_back(pathBytes(path));
        }
        for (const QString& row : prefWindow->excludedRows()) {
            request._excludedRows.push_back(row.toStdString());
        }
        request._redact = prefWindow->hidesNames();
    }
    request._fileName = pathBytes(fileName);
    // The window collects as it always has, machine root or not: it has no way to be asked for
    // the commands, and its users work on their own machine.
    request._liveCommands = true;
    return request;
}

}  // namespace

AppController::AppController() : _progressPanel(std::make_unique<PackageProgressPanel>()) {
    connect(_progressPanel.get(), &PackageProgressPanel::cancelRequested, this, [this] {
        if (_saveThread) {
            _saveThread->cancel();
        }
    });
}

// The worker goes first: it waits for its job, whose reports then go nowhere.
AppController::~AppController() {
    _saveThread.reset();
}

void AppController::awakeFromNib() {
    _prefs = CorvixSupportPrefsController::sharedPrefsWindowController();
    connect(_prefs, &CorvixSupportPrefsController::makePackage, this, &AppController::makePackage);
    _prefs->showWindow(this);
    addMenuAction("doInfo", "Information", "Ctrl+1", &AppController::doInfo);
    addMenuAction("doMaintenance", "Maintenance", "Ctrl+3", &AppController::doMaintenance);
    addMenuAction("doSupport", "Support", "Ctrl+4", &AppController::doSupport);
    _prefs->darkToolbar()->setContextMenuPolicy(Qt::ActionsContextMenu);

    QWidget* window = _prefs->window();
    window->raise();
    window->activateWindow();
}

void AppController::addMenuAction(const char* name, const QString& title, const QString& shortcut,
                                  void (AppController::*action)()) {
    QWidget* window = _prefs->window();
    auto* menuAction = new QAction(title, window);
    menuAction->setObjectName(name);
    menuAction->setShortcut(QKeySequence(shortcut));
    connect(menuAction, &QAction::triggered, this, action);
    window->addAction(menuAction);
    _prefs->darkToolbar()->addAction(menuAction);
}

void AppController::doSupport() {
    _prefs->displayViewForIdentifier("Support", true);
}

void AppController::doMaintenance() {
    _prefs->displayViewForIdentifier("Maintenance", true);
}

void AppController::doInfo() {
    _prefs->displayViewForIdentifier("Information", true);
}

void AppController::makePackage(CorvixSupportPrefsController* prefWindow) {
    if (_saveThread && _saveThread->isRunning()) {
        return;
    }
    _saveThread.reset();

    char desktop[kVeskPathBufferSize];
    memset(desktop, 0, sizeof desktop);
    SavePanelOptions options;
    if (SupportPackage::getPathToDesktop(desktop, sizeof desktop)) {
        options.directory = QFile::decodeName(desktop);
    }
    options.fileName = PackageJob::kDefaultArchiveName;
    options.canCreateDirectories = true;
    WindowDialogs& dialogs = _prefs->dialogs();
    const QString fileName = dialogs.runSavePanel(options);
    if (fileName.isEmpty()) {
        return;
    }

    PackageRequest request = requestFrom(prefWindow, fileName);
    std::string why;
    if (!PackageJob::checkRequest(request, &why)) {
        dialogs.runAlertPanel(PackageJob::kErrorTitle, QString::fromStdString(why), "Ok",
                              QString());
        return;
    }
    _jobAlerts.clear();
    _saveThread = std::make_unique<PackageWorker>(std::move(request));
    PackageWorker* worker = _saveThread.get();
    connect(worker, &PackageWorker::step, _progressPanel.get(), &PackageProgressPanel::showStep);
    connect(worker, &PackageWorker::saving, _progressPanel.get(),
            &PackageProgressPanel::showSaving);
    connect(worker, &PackageWorker::progress, _progressPanel.get(),
            &PackageProgressPanel::showPercent);
    connect(worker, &PackageWorker::alert, this,
            [this](const QString& title, const QString& message) {
                _jobAlerts.append({title, message});
            });
    connect(worker, &PackageWorker::finished, this, &AppController::savePackageDidEnd);
    worker->start();
    _progressPanel->runModal(_prefs->window());
}

void AppController::savePackageDidEnd() {
    _progressPanel->stopAnimation();
    _progressPanel->stopModal();

    const PackageJobResult& result = _saveThread->result();
    const QString diagnostics = QString::fromStdString(_saveThread->diagnostics()).trimmed();
    QList<std::pair<QString, QString>> alerts = _jobAlerts;
    switch (result._status) {
        case PackageJobStatus::Created:
            _lastArchive = QFile::decodeName(QByteArray::fromStdString(result._archivePath));
            alerts.append({kCreatedTitle, QString::fromStdString(result._message)});
            break;
        case PackageJobStatus::Failed: {
            // The job's own alert may have said this already ("Could not create support
            // package."): once is enough.
            const std::pair<QString, QString> failure(PackageJob::kErrorTitle,
                                                      QString::fromStdString(result._error));
            if (!alerts.contains(failure)) {
                alerts.append(failure);
            }
            if (!diagnostics.isEmpty()) {
                alerts.last().second += "\n\n" + diagnostics;
            }
            break;
        }
        case PackageJobStatus::Cancelled:
            break;
    }
    if (result._status != PackageJobStatus::Failed) {
        vesk_diagnosticText(_saveThread->diagnostics());
    }
    for (const auto& [title, message] : alerts) {
        _prefs->dialogs().runAlertPanel(title, message, "Ok", QString());
    }
}

void AppController::sendPackage() {
    if (!_lastArchive.isEmpty() && QFileInfo::exists(_lastArchive)) {
        QProcess::startDetached("xdg-email",
                                {"--attach", _lastArchive, QStringLiteral(CORVIX_SUPPORT_EMAIL)});
    }
}
