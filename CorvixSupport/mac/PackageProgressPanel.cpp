#include "PackageProgressPanel.h"

#include <QCloseEvent>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QScreen>
#include <QVBoxLayout>

#include "DarkButton.h"
#include "DarkTheme.h"
#include "NSDarkView.h"
#include "QuartzUtils.h"

PackageProgressPanel::PackageProgressPanel(QWidget* parent)
    : QDialog(parent,
              Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint),  // no close box
      _infoLabel(new QLabel(this)),
      _progressBar(new QProgressBar(this)),
      _cancelButton(new DarkButton(this)) {
    setObjectName("_progressPanel");
    setWindowTitle("Creating Support Package");
    setAutoFillBackground(true);
    _infoLabel->setObjectName("_infoLabel");
    _infoLabel->setText("Preparing the support package…");
    _infoLabel->setMinimumWidth(360);
    NSDarkView::setTextColor(_infoLabel, QuartzUtils::deviceWhite(DarkTheme::kLabel));
    _progressBar->setObjectName("_progressBar");
    _progressBar->setTextVisible(false);
    _cancelButton->setObjectName("_stopButton");
    _cancelButton->setText("Cancel");
    _cancelButton->setFixedSize(80, 22);
    _cancelButton->setAutoDefault(false);
    connect(_cancelButton, &QPushButton::clicked, this, &PackageProgressPanel::requestCancel);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(_cancelButton);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 18, 20, 14);
    layout->setSpacing(10);
    layout->addWidget(_infoLabel);
    layout->addWidget(_progressBar);
    layout->addLayout(buttons);
}

void PackageProgressPanel::runModal(const QWidget* over) {
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, QuartzUtils::deviceWhite(DarkTheme::kBackground));
    setPalette(palette);
    adjustSize();
    const QScreen* screen = over != nullptr ? over->screen() : QGuiApplication::primaryScreen();
    if (screen != nullptr) {
        move(screen->availableGeometry().center() - rect().center());
    }
    _progressBar->setRange(0, 0);
    _cancelButton->setEnabled(true);
    setWindowModality(Qt::ApplicationModal);
    exec();
}

void PackageProgressPanel::stopAnimation() {
    _progressBar->setRange(0, 1);
}

void PackageProgressPanel::stopModal() {
    done(QDialog::Accepted);
    hide();
}

bool PackageProgressPanel::isAnimating() const {
    return _progressBar->maximum() == 0;
}

// Once the user has asked to stop, the panel says so until the job has ended.
void PackageProgressPanel::showStep(int index, int total, const QString& label) {
    if (!_cancelButton->isEnabled()) {
        return;
    }
    _shown = QString("Collecting %1 (%2 of %3)…").arg(label).arg(index).arg(total);
    _shownFor.start();
    _infoLabel->setText(_shown);
}

void PackageProgressPanel::showSaving(const QString& archivePath) {
    if (!_cancelButton->isEnabled()) {
        return;
    }
    _shown = QString("Saving %1…").arg(QFileInfo(archivePath).fileName());
    _shownFor.start();
    _infoLabel->setText(_shown);
}

void PackageProgressPanel::showPercent(int percent) {
    // The plain text stays a moment before a figure is added, long enough to be read.
    if (!_cancelButton->isEnabled() || _shown.isEmpty() || _shownFor.elapsed() < kPlainTextMs) {
        return;
    }
    _infoLabel->setText(QString("%1 %2 %").arg(_shown).arg(percent));
}

void PackageProgressPanel::reject() {
    requestCancel();
}

void PackageProgressPanel::closeEvent(QCloseEvent* event) {
    event->ignore();
    requestCancel();
}

void PackageProgressPanel::requestCancel() {
    if (_cancelButton->isEnabled()) {
        _cancelButton->setEnabled(false);
        _infoLabel->setText("Stopping…");
        emit cancelRequested();
    }
}
