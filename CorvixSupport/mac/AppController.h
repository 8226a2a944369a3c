// The application's controller: starts the window, offers the menu actions that switch views,
// and makes a support package when the window asks for one (signal makePackage).
//
// A package is made by the core's PackageJob on a worker thread (PackageWorker) while the main
// thread runs the modal progress panel, so the window keeps painting. The job's end is handled
// on the main thread in this order: the bar stops, the modal loop ends, the panel goes, then the
// alerts. What the alert says is decided by the job's result alone: "The support package has been
// created." only for an archive that was read back whole; a failure shows the job's error title
// with the cause; a job the user cancelled shows no alert.
//
// It uses the shared CorvixSupportPrefsController and its dialogs; the connection to the
// controller ends with either of them. Main-thread only; destroying the controller while a job
// runs cancels the job and waits for it.
#ifndef CORVIX_WINDOW_APPCONTROLLER_H
#define CORVIX_WINDOW_APPCONTROLLER_H

#include <QList>
#include <QObject>
#include <QString>

#include <memory>
#include <utility>

class CorvixSupportPrefsController;
class PackageProgressPanel;
class PackageWorker;

class AppController : public QObject {
    Q_OBJECT

  public:
    static const char* const kCreatedTitle;

    AppController();
    ~AppController() override;

    // The start: takes the shared window controller, listens for its makePackage, shows the
    // window, puts the three view actions on it and brings it to the front.
    void awakeFromNib();

    CorvixSupportPrefsController* prefs() const { return _prefs; }
    PackageProgressPanel* progressPanel() const { return _progressPanel.get(); }

  public slots:
    // Menu actions: show a view without moving the toolbar's highlight (there is none for
    // "3D Renderers"). On the window as the actions "doSupport", "doMaintenance" and "doInfo",
    // with the shortcuts Ctrl+4, Ctrl+3 and Ctrl+1, and on the toolbar's context menu.
    void doSupport();
    void doMaintenance();
    void doInfo();

    // Asks where to save the package (the save panel opens on the Desktop proposing
    // PackageJob::kDefaultArchiveName; a cancel starts nothing), takes prefWindow's values, and
    // runs the job behind the modal progress panel; returns once the job has ended and its alert
    // was answered. A request the core refuses (an attachment that is gone, an over-long
    // e-mail address) is named in the error alert and nothing is started.
    void makePackage(CorvixSupportPrefsController* prefWindow);

    // Do nothing: a package is only made through makePackage, and the progress panel's Cancel
    // stops a running one.
    void buildPackage() {}
    void abortPacakgeCreation() {}

    // Hands the last archive this controller made to the desktop's mail program
    // (xdg-email --attach ARCHIVE ADDRESS) when that archive still exists. Failures are ignored.
    // No control calls it.
    void sendPackage();

  private:
    void addMenuAction(const char* name, const QString& title, const QString& shortcut,
                       void (AppController::*action)());
    // The worker's end, on the main thread.
    void savePackageDidEnd();

    CorvixSupportPrefsController* _prefs = nullptr;
    // The modal panel with its bar (_progressBar) and step line (_infoLabel).
    std::unique_ptr<PackageProgressPanel> _progressPanel;
    // The job started last; kept until the next one starts.
    std::unique_ptr<PackageWorker> _saveThread;
    // The job's own alerts, shown after the panel has gone.
    QList<std::pair<QString, QString>> _jobAlerts;
    QString _lastArchive;
};

#endif
