#include "QtWindowDialogs.h"

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>

namespace {

// Opens in directory with fileName preselected; read-only (no new folders) unless allowed.
void prepare(QFileDialog& dialog, const QString& directory, const QString& fileName,
             bool canCreateDirectories) {
    if (!directory.isEmpty()) {
        dialog.setDirectory(directory);
    }
    if (!fileName.isEmpty()) {
        dialog.selectFile(fileName);
    }
    dialog.setOption(QFileDialog::ReadOnly, !canCreateDirectories);
}

}  // namespace

int QtWindowDialogs::runAlertPanel(const QString& title, const QString& message,
                                   const QString& defaultButton, const QString& otherButton) {
    QMessageBox box(QApplication::activeWindow());
    box.setWindowModality(Qt::ApplicationModal);
    box.setWindowTitle(QGuiApplication::applicationDisplayName());
    box.setIconPixmap(QGuiApplication::windowIcon().pixmap(48, 48));
    box.setText(title);
    box.setInformativeText(message);
    QPushButton* defaultChoice = box.addButton(defaultButton, QMessageBox::AcceptRole);
    if (!otherButton.isEmpty()) {
        box.addButton(otherButton, QMessageBox::RejectRole);
    }
    box.setDefaultButton(defaultChoice);
    box.exec();
    return box.clickedButton() == defaultChoice ? kAlertDefaultReturn : kAlertOtherReturn;
}

QStringList QtWindowDialogs::runOpenPanel(const OpenPanelOptions& options) {
    QFileDialog dialog(QApplication::activeWindow(), options.title);
    dialog.setAcceptMode(QFileDialog::AcceptOpen);
    prepare(dialog, options.directory, options.fileName, options.canCreateDirectories);
    if (options.canChooseDirectories && !options.canChooseFiles) {
        dialog.setFileMode(QFileDialog::Directory);
    } else {
        dialog.setFileMode(options.allowsMultipleSelection ? QFileDialog::ExistingFiles
                                                           : QFileDialog::ExistingFile);
    }
    if (!options.prompt.isEmpty()) {
        dialog.setLabelText(QFileDialog::Accept, options.prompt);
    }
    if (dialog.exec() != QDialog::Accepted) {
        return {};
    }
    return dialog.selectedFiles();
}

QString QtWindowDialogs::runSavePanel(const SavePanelOptions& options) {
    QFileDialog dialog(QApplication::activeWindow(), options.title);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    prepare(dialog, options.directory, options.fileName, options.canCreateDirectories);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return {};
    }
    return dialog.selectedFiles().first();
}
