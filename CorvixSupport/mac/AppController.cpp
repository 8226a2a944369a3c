#include "AppController.h"

#include <QAction>
#include <QDir>
#include <QKeySequence>
#include <QWidget>

#include <string>

#include "CorvixSupportPrefsController.h"
#include "NSDarkToolBar.h"
#include "VeskPlatform.h"

const char* const AppController::kDefaultArchiveName = "CorvixSupport.zip";

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

QString AppController::makePackage() {
    std::string desktop;
    vesk_desktopFolder(&desktop);
    SavePanelOptions options;
    options.directory = QString::fromStdString(desktop);
    options.fileName = kDefaultArchiveName;
    options.canCreateDirectories = true;
    return _prefs->dialogs().runSavePanel(options);
}
