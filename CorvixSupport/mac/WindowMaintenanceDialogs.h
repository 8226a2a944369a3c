// The maintenance logic's questions and alerts as the window's alert panels: every alert with
// the single button "Ok", the reset question with its two buttons ("No" the default). Texts are
// shown as the core gives them (UTF-8; a path that is not shows U+FFFD where it is not).
//
// The WindowDialogs stays the caller's and must outlive this object. Main-thread only.
#ifndef CORVIX_WINDOW_WINDOWMAINTENANCEDIALOGS_H
#define CORVIX_WINDOW_WINDOWMAINTENANCEDIALOGS_H

#include "MaintenanceDialogs.h"

class WindowDialogs;

class WindowMaintenanceDialogs : public MaintenanceDialogs {
  public:
    explicit WindowMaintenanceDialogs(WindowDialogs& dialogs) : _dialogs(dialogs) {}

    void showAlert(Alert alert, const char* title, const char* message) override;
    bool confirmReset(const char* title, const char* message, const char* defaultButton,
                      const char* otherButton) override;

  private:
    WindowDialogs& _dialogs;
};

#endif
