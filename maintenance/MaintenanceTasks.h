// What the Maintenance view does, without the view: run the checked reset tasks through the
// cleaner, and read and write the product's logging level in the user configuration files.
// The view (and the command line) only map their controls to these calls and answer the
// dialogs; turning the check boxes off afterwards stays with the view.
//
// Runs on the calling thread (the view's: the tasks are short and modal). Nothing prints
// except the cleaner's own designed lines, through the diagnostics sink; nothing throws.
#ifndef CORVIX_MAINTENANCE_MAINTENANCETASKS_H
#define CORVIX_MAINTENANCE_MAINTENANCETASKS_H

#include <string>

#include "CorvixCleaner.h"

class MaintenanceDialogs;

// The four check boxes.
struct MaintenanceSelection {
    bool renderQueue = false;
    bool logs = false;
    bool config = false;
    bool cache = false;

    bool any() const { return renderQueue || logs || config || cache; }
};

// The reset steps, in the order they run. The configuration box selects the store and the user
// configuration files, the cache box the cache folders and the registries.
enum MaintenanceStep {
    kStepRenderQueue,    // both render queue folders
    kStepLogs,           // the product's log files
    kStepStore,          // both global settings store files
    kStepConfigFiles,    // both user configuration files
    kStepCache,          // both frame cache folders
    kStepFrameRegistry,  // both frame cache registries
    kStepCount
};

struct MaintenanceStepResult {
    enum State {
        kNotSelected,
        kDone,        // ran to its end; files says what went and what could not
        kFailed,      // threw: the run's error
        kNotReached,  // selected, but an earlier step threw
    };
    State state = kNotSelected;
    CorvixCleanerResult files;
};

// What a run did.
struct MaintenanceReport {
    // The tasks were started: something was selected and the user said "Yes".
    bool ran = false;
    // A step threw; the steps after it were not reached. error holds the exception's text.
    bool failed = false;
    std::string error;
    MaintenanceStepResult steps[kStepCount];

    // Every selected step ran to its end and deleted everything it found.
    bool complete() const;
};

// The logging-level pop-up's items.
enum MaintenanceLoggingLevel {
    kLoggingOff = 0,
    kLoggingOn = 1,
    kLoggingDeveloper = 2,
};

class MaintenanceTasks {
  public:
    // Asks, then runs the selected tasks in the fixed order render queue, logs, configuration
    // (global settings store, then user configuration files), cache (folders, then registry).
    // Alerts: "no tasks" (and nothing else) when none is selected; after a started run an error
    // alert if a task failed, a second one (kMaintenanceIncomplete) if any other step left
    // something it found, and the completion alert in every case.
    //
    // With kCleanerDryRun the same steps run without asking and delete nothing: each step's
    // files.wouldRemove lists what it would delete, and no alert but "no tasks" is shown. An
    // error a real run would stop at (a log folder that cannot be listed) ends it the same way.
    static MaintenanceReport execute(const MaintenanceSelection& selection,
                                     MaintenanceDialogs& dialogs,
                                     CorvixCleanerMode mode = kCleanerDeletes);
    // What a step deletes, for reports: "Render queue files", "Log files", ...
    static const char* stepName(MaintenanceStep step);
    // "Log files: 2 could not be deleted, the first: <path>: <reason>" for a step that left
    // something; empty for one that did not.
    static std::string notRemovedLine(MaintenanceStep step, const MaintenanceStepResult& result);

    // The pop-up item to show: "corvix.cfg" is read first, then "CorvixPro2.cfg", whose values
    // win where it has them. Constructing the configurations creates (or rewrites) both files,
    // as the view does when it opens.
    static int readLoggingLevel();

    // The same item, read without creating or rewriting anything. False when a file exists but
    // could not be read (a FIFO, a device, an oversized file): error says which and why, and
    // item holds the level from what could be read.
    static bool peekLoggingLevel(int* item, std::string* error);

    // Writes the item's logging switches into "CorvixPro2.cfg" only ("corvix.cfg" stays as it
    // is). An item outside 0..2 means logging off. When the file was written, shows the restart
    // alert and returns true; otherwise shows the "not saved" alert with the reason instead, so
    // that nobody restarts After Effects for a level that was never stored.
    static bool writeLoggingLevel(int item, MaintenanceDialogs& dialogs);
};

#endif
