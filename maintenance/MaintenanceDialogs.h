// How the maintenance logic talks to the user: the window answers with alert panels, the
// command line with text and its --yes option, tests with scripted answers. Called on the
// thread that runs the maintenance logic; calls block until the user has answered.
#ifndef CORVIX_MAINTENANCE_MAINTENANCEDIALOGS_H
#define CORVIX_MAINTENANCE_MAINTENANCEDIALOGS_H

class MaintenanceDialogs {
  public:
    // Which one-button alert is being shown, so a front end may present each in its own way.
    enum Alert {
        kNoTasksSelected,
        kMaintenanceFailed,
        // The run went on, but some of what it found could not be deleted; the message names
        // the steps, how many items stayed and the first of them.
        kMaintenanceIncomplete,
        kMaintenanceCompleted,
        kRestartRequired,
        // The logging level could not be stored; the message says why.
        kLoggingLevelNotSaved,
    };

    virtual ~MaintenanceDialogs() = default;

    // An alert with the single button "Ok".
    virtual void showAlert(Alert alert, const char* title, const char* message) = 0;
    // The reset question. defaultButton ("No") declines; returns true only when the user chose
    // otherButton ("Yes").
    virtual bool confirmReset(const char* title, const char* message, const char* defaultButton,
                              const char* otherButton) = 0;
};

#endif
