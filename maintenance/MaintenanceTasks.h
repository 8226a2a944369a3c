// What the Maintenance view does, without the view: run the checked reset tasks through the
// cleaner, and read and write the product's logging level in the user configuration files.
// The view (and the command line) only map their controls to these calls and answer the
// dialogs; turning the check boxes off afterwards stays with the view.
//
// Runs on the calling thread (the view's: the tasks are short and modal). Nothing prints
// except the cleaner's own standard-error lines; nothing throws.
#ifndef CORVIX_MAINTENANCE_MAINTENANCETASKS_H
#define CORVIX_MAINTENANCE_MAINTENANCETASKS_H

#include <optional>
#include <string>

class MaintenanceDialogs;

// The four check boxes.
struct MaintenanceSelection {
    bool renderQueue = false;
    bool logs = false;
    bool config = false;
    bool cache = false;

    bool any() const { return renderQueue || logs || config || cache; }
};

// What a run did. A count is set only for a task that ran to its end.
struct MaintenanceReport {
    // The tasks were started: something was selected and the user said "Yes".
    bool ran = false;
    // A task threw; the tasks after it were skipped. error holds the exception's text.
    bool failed = false;
    std::string error;
    std::optional<int> renderQueueFiles;  // entries removed from both render queue folders
    std::optional<int> logFiles;          // log files deleted
    std::optional<int> configFiles;       // user configuration files deleted (0 to 2)
    std::optional<int> cacheFiles;        // entries removed from both frame cache folders
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
    // alert if a task failed, and the completion alert in every case.
    static MaintenanceReport execute(const MaintenanceSelection& selection,
                                     MaintenanceDialogs& dialogs);

    // The pop-up item to show: "corvix.cfg" is read first, then "CorvixPro2.cfg", whose values
    // win where it has them. Constructing the configurations creates (or rewrites) both files.
    static int readLoggingLevel();

    // Writes the item's logging switches into "CorvixPro2.cfg" only ("corvix.cfg" stays as it
    // is), then shows the restart alert. An item outside 0..2 means logging off.
    static void writeLoggingLevel(int item, MaintenanceDialogs& dialogs);
};

#endif
