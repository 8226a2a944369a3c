// CorvixSupportPrefsController, continued: the Support view and the package panel.
#include <QAbstractButton>
#include <QCheckBox>
#include <QDialog>
#include <QFile>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QTableView>
#include <QTextEdit>

#include <algorithm>

#include "AttachmentsTableModel.h"
#include "CorvixSupportPrefsController.h"
#include "PackageJob.h"
#include "PackageRequest.h"
#include "PackageReviewPanel.h"
#include "ui_PackageWindow.h"
#include "ui_SupportView.h"

const char* const CorvixSupportPrefsController::kInvalidEmailTitle = "Invalid email address";
const char* const CorvixSupportPrefsController::kAttachPanelTitle = "Select file(s) to attach:";

namespace {

// A field's text as the panel keeps it: null when the field is empty.
QString valueOf(const QString& text) {
    return text.isEmpty() ? QString() : text;
}

}  // namespace

void CorvixSupportPrefsController::awakeSupportView(const Ui::SupportView& supportView) {
    connect(supportView._createPackageButton, &QAbstractButton::clicked, this,
            &CorvixSupportPrefsController::createSupportPackage);
    connect(supportView._privacyButton, &QAbstractButton::clicked, this,
            &CorvixSupportPrefsController::showPrivacyInfo);
    connect(_package->_addAttachmentButton, &QAbstractButton::clicked, this,
            &CorvixSupportPrefsController::addAttachment);
    connect(_package->_removeAttachmentButton, &QAbstractButton::clicked, this,
            &CorvixSupportPrefsController::removeAttachment);
    connect(_package->_cancelButton, &QAbstractButton::clicked, this,
            &CorvixSupportPrefsController::cancelPackageCreation);
    connect(_package->_createButton, &QAbstractButton::clicked, this,
            &CorvixSupportPrefsController::makePackageAction);
    _package->_createButton->setDefault(true);
    connect(_package->_reviewButton, &QAbstractButton::clicked, this,
            &CorvixSupportPrefsController::reviewContents);
    _reviewPanel = new PackageReviewPanel(_packageWindow);
    connect(_reviewPanel, &QDialog::accepted, this,
            [this] { _excludedRows = _reviewPanel->excludedRows(); });

    _attachmentsModel =
        new AttachmentsTableModel(_attachedFiles, _package->_attachments,
                                  [this](const QStringList& paths) { openPanelDidEnd(paths, 1); });
}

void CorvixSupportPrefsController::setCompany(const QString& company) {
    _company = company;
    _package->_companyField->setText(company);
}

void CorvixSupportPrefsController::setEmail(const QString& email) {
    _email = email;
    _package->_emailField->setText(email);
}

void CorvixSupportPrefsController::setComment(const QString& comment) {
    _comment = comment;
    _package->_textView->setPlainText(comment);
}

bool CorvixSupportPrefsController::validateEmail(const QString& value, QString* error) {
    if (value.isEmpty() || isValidEmailAddress(value)) {
        return true;
    }
    *error = kInvalidEmailTitle;
    return false;
}

bool CorvixSupportPrefsController::isValidEmailAddress(const QString& address) {
    return !address.isNull() && PackageRequest::isValidEmailAddress(address.toUtf8().constData());
}

void CorvixSupportPrefsController::createSupportPackage() {
    if (_packageWindow->isVisible()) {
        return;
    }
    _packageInfoIsValid = false;
    setComment(QString());
    _attachedFiles.clear();
    _excludedRows.clear();
    _attachmentsModel->reloadData();
    QWidget* over = window();
    _packageWindow->move(over->geometry().center() - _packageWindow->rect().center());
    _packageWindow->show();
    _packageWindow->raise();
    _packageWindow->activateWindow();
}

void CorvixSupportPrefsController::makePackageAction() {
    const QString email = _package->_emailField->text();
    QString error;
    if (!validateEmail(email, &error)) {
        dialogs().runAlertPanel(error,
                                QString("\"%1\" is not an e-mail address. Correct it, or leave "
                                        "the field empty.")
                                    .arg(email),
                                "Ok", QString());
        _package->_emailField->setFocus();
        return;
    }
    _userName = valueOf(_package->_nameField->text());
    _company = valueOf(_package->_companyField->text());
    _email = valueOf(email);
    _comment = valueOf(_package->_textView->toPlainText());
    _hidesNames = _package->_redactCheckBox->isChecked();
    _packageInfoIsValid = true;
    _packageWindow->hide();
    emit makePackage(this);
}

void CorvixSupportPrefsController::cancelPackageCreation() {
    _packageWindow->hide();
}

void CorvixSupportPrefsController::addAttachment() {
    OpenPanelOptions options;
    options.title = kAttachPanelTitle;
    options.prompt = "Select";
    options.canCreateDirectories = true;
    options.canChooseDirectories = false;
    options.canChooseFiles = true;
    options.allowsMultipleSelection = true;
    const QStringList paths = dialogs().runOpenPanel(options);
    openPanelDidEnd(paths, paths.isEmpty() ? 0 : 1);
}

void CorvixSupportPrefsController::openPanelDidEnd(const QStringList& paths, int returnCode) {
    if (returnCode == 0) {
        return;
    }
    for (const QString& path : paths) {
        addToAttachmentTable(path);
    }
    _attachmentsModel->reloadData();
}

void CorvixSupportPrefsController::addToAttachmentTable(const QString& path) {
    _attachedFiles.append(path);
}

void CorvixSupportPrefsController::removeAttachment() {
    QModelIndexList rows = _package->_attachments->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    QStringList selected;
    for (const QModelIndex& row : rows) {
        selected << _attachedFiles.value(row.row());
    }
    for (const QString& path : selected) {
        _attachedFiles.removeAll(path);
    }
    _attachmentsModel->reloadData();
    _package->_attachments->clearSelection();
}

void CorvixSupportPrefsController::reviewContents() {
    PackageRequest request;
    for (const QString& path : _attachedFiles) {
        request._fileAttachments.push_back(QFile::encodeName(path).toStdString());
    }
    _reviewPanel->setPlan(PackageJob::plan(request), _excludedRows);
    _reviewPanel->open();
}

void CorvixSupportPrefsController::showPrivacyInfo() {
    dialogs().runAlertPanel("Privacy information", kPrivacyMessage, "Ok", QString());
}
