#include "WindowMaintenanceDialogs.h"

#include "WindowDialogs.h"

void WindowMaintenanceDialogs::showAlert(Alert /*alert*/, const char* title, const char* message) {
    _dialogs.runAlertPanel(QString::fromUtf8(title), QString::fromUtf8(message), "Ok", QString());
}

bool WindowMaintenanceDialogs::confirmReset(const char* title, const char* message,
                                            const char* defaultButton, const char* otherButton) {
    return _dialogs.runAlertPanel(QString::fromUtf8(title), QString::fromUtf8(message),
                                  QString::fromUtf8(defaultButton),
                                  QString::fromUtf8(otherButton)) ==
           WindowDialogs::kAlertOtherReturn;
}
