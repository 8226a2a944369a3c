// WindowDialogs with Qt's message boxes and file dialogs, parented to the active window.
#ifndef CORVIX_WINDOW_QTWINDOWDIALOGS_H
#define CORVIX_WINDOW_QTWINDOWDIALOGS_H

#include "WindowDialogs.h"

class QtWindowDialogs : public WindowDialogs {
  public:
    int runAlertPanel(const QString& title, const QString& message, const QString& defaultButton,
                      const QString& otherButton) override;
    QStringList runOpenPanel(const OpenPanelOptions& options) override;
    QString runSavePanel(const SavePanelOptions& options) override;
};

#endif
