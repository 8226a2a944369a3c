#include "MaintenanceTasks.h"

#include <exception>

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

bool stepSelected(MaintenanceStep step, const MaintenanceSelection& selection) {
    switch (step) {
        case kStepRenderQueue:
            return selection.renderQueue;
        case kStepLogs:
            return selection.logs;
        case kStepStore:
        case kStepConfigFiles:
            return selection.config;
        default:
            return selection.cache;
    }
}

void runStep(MaintenanceStep step, CorvixCleaner& cleaner, CorvixCleanerResult* files) {
    switch (step) {
        case kStepRenderQueue:
            cleaner.removeRenderQueueFiles(e_corvix_all, files);
            break;
        case kStepLogs:
            cleaner.removeLogs(files);
            break;
        case kStepStore:
            cleaner.removePISSConfig(files);
            break;
        case kStepConfigFiles:
            cleaner.removeConfigFiles(files);
            break;
        case kStepCache:
            cleaner.removeCacheFiles(files);
            break;
        default:
            cleaner.removeFrameRegistry(files);
            break;
    }
}

// Reads one file's switches as the view does; the later file wins where it has a value.
void readSwitches(VeskConfig& config, bool* logging, bool* devLogging) {
    int value = 0;
    if (config.getValue("corvix.logging", &value)) {
        *logging = value != 0;
    }
    if (config.getValue("corvix.dev.logging", &value)) {
        *devLogging = value != 0;
    }
}

int itemFor(bool logging, bool devLogging) {
    return logging && devLogging ? kLoggingDeveloper : logging ? kLoggingOn : kLoggingOff;
}

int readLevel(VeskConfig::Access access, std::string* error) {
    bool logging = false;
    bool devLogging = false;
    for (const char* fileName : {"corvix.cfg", "CorvixPro2.cfg"}) {
        VeskConfig config("/", fileName, access);
        readSwitches(config, &logging, &devLogging);
        if (error && error->empty()) {
            *error = config.lastError();
        }
    }
    return itemFor(logging, devLogging);
}

}  // namespace

bool MaintenanceReport::complete() const {
    if (failed) {
        return false;
    }
    for (const MaintenanceStepResult& step : steps) {
        if (step.files.notRemoved > 0) {
            return false;
        }
    }
    return true;
}

const char* MaintenanceTasks::stepName(MaintenanceStep step) {
    static const char* const kNames[kStepCount] = {
        "Render queue files",       "Log files",         "Settings store files",
        "User configuration files", "Frame cache files", "Frame cache registries",
    };
    return step >= 0 && step < kStepCount ? kNames[step] : "";
}

std::string MaintenanceTasks::notRemovedLine(MaintenanceStep step,
                                             const MaintenanceStepResult& result) {
    if (result.files.notRemoved == 0) {
        return std::string();
    }
    return std::string(stepName(step)) + ": " + std::to_string(result.files.notRemoved) +
           " could not be deleted, the first: " + result.files.problem;
}

MaintenanceReport MaintenanceTasks::execute(const MaintenanceSelection& selection,
                                            MaintenanceDialogs& dialogs, CorvixCleanerMode mode) {
    MaintenanceReport report;
    CorvixCleaner cleaner(mode);
    const bool dryRun = mode == kCleanerDryRun;
    if (!selection.any()) {
        dialogs.showAlert(MaintenanceDialogs::kNoTasksSelected,
                          "No maintenance tasks have been selected.",
                          "Please check off some maintenance tasks to perform and try again.");
        return report;
    }
    // The title has no question mark; that is how users have always seen it.
    if (!dryRun && !dialogs.confirmReset(
                       "Are you sure you want to reset your settings",
                       "These changes are irreversible and will remove all settings and history.",
                       "No", "Yes")) {
        return report;
    }

    report.ran = true;
    for (int step = 0; step < kStepCount; ++step) {
        if (stepSelected(static_cast<MaintenanceStep>(step), selection)) {
            report.steps[step].state = MaintenanceStepResult::kNotReached;
        }
    }
    int current = 0;
    try {
        for (; current < kStepCount; ++current) {
            MaintenanceStepResult& result = report.steps[current];
            if (result.state == MaintenanceStepResult::kNotReached) {
                runStep(static_cast<MaintenanceStep>(current), cleaner, &result.files);
                result.state = MaintenanceStepResult::kDone;
            }
        }
    } catch (const std::exception& e) {
        report.steps[current].state = MaintenanceStepResult::kFailed;
        report.failed = true;
        report.error = e.what();
        if (!dryRun) {
            dialogs.showAlert(MaintenanceDialogs::kMaintenanceFailed,
                              "Error performing maintenance.", e.what());
        }
    }
    if (dryRun) {
        return report;
    }
    // The completion alert alone would say that files still there were deleted. The failed
    // step's own problem is in the error alert already.
    std::string leftOver;
    for (int step = 0; step < kStepCount; ++step) {
        if (report.steps[step].state == MaintenanceStepResult::kDone) {
            std::string line =
                notRemovedLine(static_cast<MaintenanceStep>(step), report.steps[step]);
            leftOver += (leftOver.empty() || line.empty() ? "" : "\n") + line;
        }
    }
    if (!leftOver.empty()) {
        dialogs.showAlert(MaintenanceDialogs::kMaintenanceIncomplete,
                          "Error performing maintenance.", leftOver.c_str());
    }
    // The completion alert follows an error alert too: users are told the run has ended.
    dialogs.showAlert(
        MaintenanceDialogs::kMaintenanceCompleted, "Maintenace tasks completed.",
        "The maintenance tasks that you have selected have been succesfully executed.");
    return report;
}

int MaintenanceTasks::readLoggingLevel() {
    return readLevel(VeskConfig::kReadWrite, nullptr);
}

bool MaintenanceTasks::peekLoggingLevel(int* item, std::string* error) {
    std::string problem;
    int level = readLevel(VeskConfig::kReadOnly, &problem);
    if (item) {
        *item = level;
    }
    if (error) {
        *error = problem;
    }
    return problem.empty();
}

bool MaintenanceTasks::writeLoggingLevel(int item, MaintenanceDialogs& dialogs) {
    LoggingValues values = loggingValuesForItem(item);
    bool written = false;
    std::string error;
    {
        VeskConfig config("C:\\", "CorvixPro2.cfg");
        config.setValue("corvix.logging", values.logging);
        config.setValue("corvix.dev.logging", values.devLogging);
        written = config.writeToDisk();
        error = config.lastError().empty() ? config.getPath() : config.lastError();
    }
    if (!written) {
        dialogs.showAlert(MaintenanceDialogs::kLoggingLevelNotSaved,
                          "The logging level could not be saved.", error.c_str());
        return false;
    }
    dialogs.showAlert(MaintenanceDialogs::kRestartRequired,
                      "Please restart After Effects for the setting to take effect.",
                      "Your new logging level setting will be honored after you restart After "
                      "Effects.");
    return true;
}
