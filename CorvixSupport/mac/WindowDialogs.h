// How the window asks the user: alert panels, open panels and save panels, behind one small
// interface so that tests (and views under test) answer them with a recording implementation
// instead of real dialogs. QtWindowDialogs is the real one.
//
// Main-thread only. Every call is application-modal and blocks until the user has answered.
#ifndef CORVIX_WINDOW_WINDOWDIALOGS_H
#define CORVIX_WINDOW_WINDOWDIALOGS_H

#include <QString>
#include <QStringList>

struct OpenPanelOptions {
    QString title;      // the panel's title
    QString prompt;     // the confirming button's text; empty: the toolkit's own
    QString directory;  // where the panel opens; empty: the toolkit's default
    QString fileName;   // preselected in that folder; may be empty
    bool canChooseFiles = true;
    bool canChooseDirectories = false;
    bool canCreateDirectories = true;
    bool allowsMultipleSelection = false;
};

struct SavePanelOptions {
    QString title;      // may be empty
    QString directory;  // where the panel opens
    QString fileName;   // the proposed name
    bool canCreateDirectories = true;
};

class WindowDialogs {
  public:
    // What runAlertPanel returns.
    enum AlertReturn {
        kAlertDefaultReturn = 1,  // the default button (also Return)
        kAlertOtherReturn = 0,    // the other button
    };

    virtual ~WindowDialogs() = default;

    // An alert with title as its headline and message below it; the default button, and the
    // other button when otherButton is not empty.
    virtual int runAlertPanel(const QString& title, const QString& message,
                              const QString& defaultButton, const QString& otherButton) = 0;
    // The chosen paths in the panel's order; empty when the user cancelled.
    virtual QStringList runOpenPanel(const OpenPanelOptions& options) = 0;
    // The chosen path; empty when the user cancelled.
    virtual QString runSavePanel(const SavePanelOptions& options) = 0;
};

#endif
