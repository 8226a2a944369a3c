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

#include <memory>

#include "QtWindowDialogs.h"
#include "TabbedPrefsWindowController.h"

class AttachmentsTableModel;
class NSDarkView;
class QDialog;
namespace Ui {
class InfoView;
class PackageWindow;
class SupportView;
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
};

#endif
