#include "CorvixSupportPrefsController.h"

#include <QDialog>
#include <QTableView>

#include <string>

#include "DarkTheme.h"
#include "ImageAndTextCell.h"
#include "NSDarkView.h"
#include "QuartzUtils.h"
#include "RenderViewController.h"
#include "VeskPlatform.h"
#include "ui_InfoView.h"
#include "ui_MaintenanceView.h"
#include "ui_PackageWindow.h"
#include "ui_RenderersView.h"
#include "ui_SupportView.h"
#include "ui_SweepProgressPanel.h"

const char* const CorvixSupportPrefsController::kPrivacyMessage =
    "Orvanta Software will only collect nonsensitive system and user information for "
    "troubleshooting purposes. We will never sell or disclose your information to third parties.";

namespace {

// A view as its form draws it. Views keep the size of their form: the window is sized to them.
template <class Form>
NSDarkView* loadView(Form& form) {
    auto* view = new NSDarkView;
    form.setupUi(view);
    view->setFixedSize(view->size());
    return view;
}

// The column of table whose identifier is identifier, or -1. A table names its columns in the
// property "columnIdentifiers", in column order.
int columnWithIdentifier(const QAbstractItemView* table, const QString& identifier) {
    return table->property("columnIdentifiers").toStringList().indexOf(identifier);
}

}  // namespace

CorvixSupportPrefsController::CorvixSupportPrefsController()
    : _info(std::make_unique<Ui::InfoView>()), _package(std::make_unique<Ui::PackageWindow>()) {}

CorvixSupportPrefsController::~CorvixSupportPrefsController() {
    // The window (deleted after this, with the base class) holds at most one of the views.
    delete _infoView;
    delete _3DEditorView;
    delete _maintenanceView;
    delete _supportView;
    delete _packageWindow;
}

CorvixSupportPrefsController* CorvixSupportPrefsController::sharedPrefsWindowController() {
    return qobject_cast<CorvixSupportPrefsController*>(sharedInstance(
        []() -> TabbedPrefsWindowController* { return new CorvixSupportPrefsController; }));
}

void CorvixSupportPrefsController::setDialogs(WindowDialogs* dialogs) {
    _dialogs = dialogs != nullptr ? dialogs : &_qtDialogs;
}

void CorvixSupportPrefsController::setUserName(const QString& userName) {
    _userName = userName;
    _package->_nameField->setText(userName);
}

void CorvixSupportPrefsController::setupToolbar() {
    addView(_infoView, "Information");
    addView(_3DEditorView, "3D Renderers");
    addView(_maintenanceView, "Maintenance");
    addView(_supportView, "Support");
}

void CorvixSupportPrefsController::loadNib() {
    _infoView = loadView(*_info);
    Ui::RenderersView renderers;
    _3DEditorView = loadView(renderers);
    auto* renderView = new RenderViewController(
        renderers._table, renderers._applyButton, [this]() -> WindowDialogs& { return dialogs(); },
        _3DEditorView);
    renderView->awakeFromNib();
    _maintenance = std::make_unique<Ui::MaintenanceView>();
    _maintenanceView = loadView(*_maintenance);
    Ui::SupportView support;
    _supportView = loadView(support);
    _packageWindow = new QDialog;
    _package->setupUi(_packageWindow);
    awakeFromNib();
    awakeSupportView(support);
}

void CorvixSupportPrefsController::awakeFromNib() {
    _attachedFiles.clear();
    QTableView* attachments = _package->_attachments;
    const int filename = columnWithIdentifier(attachments, "filename");
    if (filename >= 0) {
        attachments->setItemDelegateForColumn(filename, new ImageAndTextCell(attachments));
    }

    _userName.clear();
    _package->_textView->setAcceptRichText(false);
    std::string fullName;
    if (vesk_userFullName(&fullName)) {
        setUserName(QString::fromStdString(fullName));
    }
    setupLoggingInfo();

    QPalette palette = _packageWindow->palette();
    palette.setColor(QPalette::Window, QuartzUtils::deviceWhite(DarkTheme::kBackground));
    _packageWindow->setPalette(palette);
    for (QWidget* child : _packageWindow->findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        if (NSDarkView::isTextField(child)) {
            NSDarkView::setTextColor(child, QuartzUtils::deviceWhite(DarkTheme::kLabel));
        }
    }
    attachments->setAttribute(Qt::WA_MacShowFocusRect, false);

    _info->_versionLabel->setText(
        QString("Version %1, for Corvix Pro 2").arg(QStringLiteral(CORVIX_VERSION)));
    _info->_supportAddressLabel->setText(
        QString("Questions? Write to <a href=\"mailto:%1\">%1</a> and attach a support package "
                "made in Support.")
            .arg(QStringLiteral(CORVIX_SUPPORT_EMAIL)));
    _info->_privacyLabel->setText(kPrivacyMessage);
    awakeMaintenanceView();
}
