// This tool's window controller: registers the four views (Information, 3D Renderers,
// Maintenance, Support) and owns the controls of the views and of the package panel, all loaded
// from the "Preferences" forms (Preferences/*.ui). Object names of the forms' widgets are the
// outlet names below, so tests find them with findChild.
//
// Alerts and file panels go through dialogs(): Qt's by default; tests install a recording
// implementation with setDialogs before they act. Main-thread only.
#ifndef CORVIX_WINDOW_CORVIXSUPPORTPREFSCONTROLLER_H
#define CORVIX_WINDOW_CORVIXSUPPORTPREFSCONTROLLER_H

#include <QStringList>

#include <chrono>
#include <memory>

#include "QtWindowDialogs.h"
#include "TabbedPrefsWindowController.h"

class AttachmentsTableModel;
class PackageReviewPanel;
class NSDarkView;
class QDialog;
namespace Ui {
class InfoView;
class PackageWindow;
class SupportView;
}  // namespace Ui
// The Maintenance view's.
class CprSweepWorker;
class QTimer;
class SweepProgressPanel;
struct CprSweepResult;
namespace Ui {
class MaintenanceView;
class SweepProgressPanel;
}  // namespace Ui

class CorvixSupportPrefsController : public TabbedPrefsWindowController {
    Q_OBJECT

  public:
    // The privacy statement shown on the Information view and asked for on the Support view.
    static const char* const kPrivacyMessage;

    CorvixSupportPrefsController();
    ~CorvixSupportPrefsController() override;

    // The shared window controller, made as an instance of this class when there is none yet.
    static CorvixSupportPrefsController* sharedPrefsWindowController();

    WindowDialogs& dialogs() const { return *_dialogs; }
    // dialogs stays the caller's; null brings back Qt's.
    void setDialogs(WindowDialogs* dialogs);

    // The user's name as the package panel shows it.
    const QString& userName() const { return _userName; }
    void setUserName(const QString& userName);
    // Full paths of the files attached to the package, in the order added.
    const QStringList& fileAttachments() const { return _attachedFiles; }

    // ---- The Support view and the package panel (CorvixSupportPrefsControllerSupport.cpp) ----
    // The panel's values as last confirmed (name, company, e-mail address, the comment as plain
    // text); a null string for a field left empty. The setters fill the panel's fields too.
    static const char* const kInvalidEmailTitle;
    static const char* const kAttachPanelTitle;
    const QString& company() const { return _company; }
    void setCompany(const QString& company);
    const QString& email() const { return _email; }
    void setEmail(const QString& email);
    const QString& comment() const { return _comment; }
    void setComment(const QString& comment);
    bool packageInfoIsValid() const { return _packageInfoIsValid; }

    // The e-mail field's check: a null or empty value passes; any other passes when
    // isValidEmailAddress accepts it, else *error is "Invalid email address".
    static bool validateEmail(const QString& value, QString* error);
    // The core's e-mail check on the address's UTF-8 bytes; false for a null string.
    static bool isValidEmailAddress(const QString& address);

    // Appends path to the attached files; the same path may be attached more than once.
    void addToAttachmentTable(const QString& path);
    // The open panel's answer: paths (in the panel's order) for returnCode 1, nothing for 0.
    void openPanelDidEnd(const QStringList& paths, int returnCode);

    // The rows the review panel left out (names as the command line's --exclude takes them),
    // cleared when the panel opens; and whether the last confirmed panel asked to hide host
    // names, network addresses and user names.
    const QStringList& excludedRows() const { return _excludedRows; }
    bool hidesNames() const { return _hidesNames; }
    // The review panel (null until the interface is loaded); tests and screenshots drive it.
    PackageReviewPanel* reviewPanel() const { return _reviewPanel; }

  public slots:
    // Opens the package panel, unless it is already on screen: comment and attachments cleared,
    // name, company and e-mail kept.
    void createSupportPackage();
    // The panel's confirm button: refuses an invalid e-mail address (alert, the panel stays
    // open); else keeps the panel's values, closes it and emits makePackage.
    void makePackageAction();
    // Closes the panel; nothing else changes.
    void cancelPackageCreation();
    // Asks for files to attach (several at once; files only).
    void addAttachment();
    // Removes every copy of each selected row's path, then clears the selection.
    void removeAttachment();
    // Opens the review panel (window-modal, returns at once) on what a package with the
    // attached files would hold; Done keeps the rows it leaves out.
    void reviewContents();
    void showPrivacyInfo();

  signals:
    // The user confirmed the package panel: the application makes the package from prefWindow's
    // values.
    void makePackage(CorvixSupportPrefsController* prefWindow);

  private:
    // Connects the Support view's and the package panel's controls and the attachments table.
    void awakeSupportView(const Ui::SupportView& supportView);

    QString _email;
    QString _company;
    QString _comment;
    bool _packageInfoIsValid = false;
    AttachmentsTableModel* _attachmentsModel = nullptr;
    PackageReviewPanel* _reviewPanel = nullptr;  // a child of the package panel
    QStringList _excludedRows;
    bool _hidesNames = false;
    // ---- end of the Support view ----

  protected:
    void setupToolbar() override;
    void loadNib() override;

  private:
    void awakeFromNib();

    NSDarkView* _infoView = nullptr;
    NSDarkView* _maintenanceView = nullptr;
    NSDarkView* _supportView = nullptr;
    NSDarkView* _3DEditorView = nullptr;
    QDialog* _packageWindow = nullptr;
    std::unique_ptr<Ui::InfoView> _info;
    std::unique_ptr<Ui::PackageWindow> _package;  // _attachments, _textView, the panel's fields
    QStringList _attachedFiles;
    QString _userName;

    QtWindowDialogs _qtDialogs;
    WindowDialogs* _dialogs = &_qtDialogs;

    // ---- The Maintenance view: CorvixSupportPrefsControllerMaintenance.cpp ----
  public:
    // The reset: runs the checked tasks through the maintenance core (which asks first and
    // shows the alerts) and turns the four boxes off after a run; without a run (no box checked,
    // or "No") they stay as they are.
    void executeMaintenance();
    // Shows the stored logging level; reading creates both user configuration files, as opening
    // the view always has.
    void setupLoggingInfo();
    // Stores the level of item (the pop-up's action). When it cannot be stored, the alert says
    // why and the pop-up goes back to the level that is stored.
    void onLoggingLevelChange(int item);
    // The sweep's folder: the pop-up shows path's name and icon, a separator and "Other...".
    // An empty path changes nothing.
    void setupMenuUsingPath(const QString& path);
    // "Other...": asks for a folder with an open panel; item 0 is selected again in any case.
    void chooseCprLocation();
    // Sweeps the chosen folder on a worker thread behind the modal progress panel and returns
    // once the sweep has ended and its alert was answered. Nothing happens without a folder.
    void removeCprFiles();
    // The stop button: the sweep ends after the entry it is at and reports what it removed.
    void stopCprKiller();
    const QString& currentCprPath() const { return _currentCprPath; }
    // The sweep's worker waits this long before it starts, so that the panel is up first
    // (1 second); tests shorten it.
    void setCprSweepStartDelay(std::chrono::milliseconds delay) { _cprSweepStartDelay = delay; }
    // The sweep's panel (null until the interface is loaded); tests and screenshots watch it.
    QDialog* progressPanel() const;

  private:
    void awakeMaintenanceView();
    void showCprFolder();
    void cprSweepEnded(const CprSweepResult& result, const QString& messages);

    // _chkRQ, _chkLogs, _chkCache, _chkConfig, _cbLoggingLevel, _cprPath,
    // _chkScanSubdirectoriesForCprFiles and the two action buttons.
    std::unique_ptr<Ui::MaintenanceView> _maintenance;
    // _progressBar, _cprStopButton and the label of the folder being searched.
    std::unique_ptr<Ui::SweepProgressPanel> _sweepPanel;
    std::unique_ptr<SweepProgressPanel> _progressPanel;
    CprSweepWorker* _cprSweep = nullptr;  // a child of this controller
    QTimer* _cprFolderTimer = nullptr;    // repaints the folder label while a sweep runs
    QString _currentCprPath;
    std::chrono::milliseconds _cprSweepStartDelay{1000};
    // ---- end of the Maintenance view ----
};

#endif
