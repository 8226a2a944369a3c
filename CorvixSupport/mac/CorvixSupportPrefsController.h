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

class NSDarkView;
class QDialog;
namespace Ui {
class InfoView;
class PackageWindow;
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

  signals:
    // The user confirmed the package panel: the application makes the package.
    void makePackage();

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
