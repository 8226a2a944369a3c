// The application's controller: starts the window, offers the menu actions that switch views,
// and makes a support package when the window asks for one (signal makePackage).
//
// It uses the shared CorvixSupportPrefsController and its dialogs; the connection to the
// controller ends with either of them. Main-thread only.
#ifndef CORVIX_WINDOW_APPCONTROLLER_H
#define CORVIX_WINDOW_APPCONTROLLER_H

#include <QObject>
#include <QString>

class CorvixSupportPrefsController;

class AppController : public QObject {
    Q_OBJECT

  public:
    static const char* const kDefaultArchiveName;

    // The start: takes the shared window controller, listens for its makePackage, shows the
    // window, puts the three view actions on it and brings it to the front.
    void awakeFromNib();

    CorvixSupportPrefsController* prefs() const { return _prefs; }

  public slots:
    // Menu actions: show a view without moving the toolbar's highlight (there is none for
    // "3D Renderers"). On the window as the actions "doSupport", "doMaintenance" and "doInfo",
    // with the shortcuts Ctrl+4, Ctrl+3 and Ctrl+1, and on the toolbar's context menu.
    void doSupport();
    void doMaintenance();
    void doInfo();

    // Asks where to save the package (the save panel opens on the Desktop with
    // kDefaultArchiveName). Returns the chosen path, empty when the user cancelled.
    QString makePackage();

  private:
    void addMenuAction(const char* name, const QString& title, const QString& shortcut,
                       void (AppController::*action)());

    CorvixSupportPrefsController* _prefs = nullptr;
};

#endif
