#include "MaintenanceTasks.h"

#include <exception>

#include "CorvixCleaner.h"
#include "MaintenanceDialogs.h"
#include "VeskConfig.h"

namespace {

struct LoggingValues {
    const char* logging;
    const char* devLogging;
};

LoggingValues loggingValuesForItem(int item) {
    switch (item) {
        case kLoggingOn:
            return {"1", "0"};
        case kLoggingDeveloper:
            return {"1", "1"};
        default:
            return {"0", "0"};
    }
}

}  // namespace

MaintenanceReport MaintenanceTasks::execute(const MaintenanceSelection& selection,
                                            MaintenanceDialogs& dialogs) {
    MaintenanceReport report;
    CorvixCleaner cleaner;
    if (!selection.any()) {
        dialogs.showAlert(MaintenanceDialogs::kNoTasksSelected,
                          "No maintenance tasks have been selected.",
                          "Please check off some maintenance tasks to perform and try again.");
        return report;
    }
    // The title has no question mark; that is how users have always seen it.
    if (!dialogs.confirmReset(
            "Are you sure you want to reset your settings",
            "These changes are irreversible and will remove all settings and history.", "No",
            "Yes")) {
        return report;
    }

    report.ran = true;
    try {
        if (selection.renderQueue) {
            report.renderQueueFiles = cleaner.removeRenderQueueFiles(e_corvix_all);
        }
        if (selection.logs) {
            report.logFiles = cleaner.removeLogs();
        }
        if (selection.config) {
            cleaner.removePISSConfig();
            report.configFiles = cleaner.removeConfigFiles();
        }
        if (selection.cache) {
            report.cacheFiles = cleaner.removeCacheFiles();
            cleaner.removeFrameRegistry();
        }
    } catch (const std::exception& e) {
        report.failed = true;
        report.error = e.what();
        dialogs.showAlert(MaintenanceDialogs::kMaintenanceFailed, "Error performing maintenance.",
                          e.what());
    }
    // The completion alert follows an error alert too: users are told the run has ended.
    dialogs.showAlert(
        MaintenanceDialogs::kMaintenanceCompleted, "Maintenace tasks completed.",
        "The maintenance tasks that you have selected have been succesfully executed.");
    return report;
}

int MaintenanceTasks::readLoggingLevel() {
    bool logging = false;
    bool devLogging = false;
    int item = kLoggingOff;
    for (const char* fileName : {"corvix.cfg", "CorvixPro2.cfg"}) {
        VeskConfig config("/", fileName);
        int value = 0;
        if (config.getValue("corvix.logging", &value)) {
            logging = value != 0;
        }
        if (config.getValue("corvix.dev.logging", &value)) {
            devLogging = value != 0;
        }
        item = logging && devLogging ? kLoggingDeveloper : logging ? kLoggingOn : kLoggingOff;
    }
    return item;
}

void MaintenanceTasks::writeLoggingLevel(int item, MaintenanceDialogs& dialogs) {
    LoggingValues values = loggingValuesForItem(item);
    {
        VeskConfig config("C:\\", "CorvixPro2.cfg");
        config.setValue("corvix.logging", values.logging);
        config.setValue("corvix.dev.logging", values.devLogging);
        config.writeToDisk();
    }
    dialogs.showAlert(MaintenanceDialogs::kRestartRequired,
                      "Please restart After Effects for the setting to take effect.",
                      "Your new logging level setting will be honored after you restart After "
                      "Effects.");
}
