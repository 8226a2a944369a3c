// The modal panel shown while a support package is made, on the dark background: a line naming
// the job's current step (_infoLabel), an indeterminate bar (_progressBar) and a Cancel button
// (_stopButton; the package panel has a _cancelButton of its own). The panel never closes
// itself: Cancel, Escape and the window's close ask for the job to stop (cancelRequested), and
// the panel stays until its owner ends the modal loop, so it never vanishes while the job runs.
//
// Main-thread only. The panel has no parent; its owner deletes it.
#ifndef CORVIX_WINDOW_PACKAGEPROGRESSPANEL_H
#define CORVIX_WINDOW_PACKAGEPROGRESSPANEL_H

#include <QDialog>
#include <QElapsedTimer>

class QLabel;
class QProgressBar;
class QPushButton;

class PackageProgressPanel : public QDialog {
    Q_OBJECT

  public:
    explicit PackageProgressPanel(QWidget* parent = nullptr);

    QProgressBar* progressBar() const { return _progressBar; }
    QLabel* infoLabel() const { return _infoLabel; }

    // Dark background, centred on the screen of over (the primary screen for null), the bar
    // indeterminate and moving, the Cancel button enabled; then the application-modal loop,
    // until stopModal.
    void runModal(const QWidget* over);
    // The bar stops moving.
    void stopAnimation();
    // Ends the modal loop and orders the panel out.
    void stopModal();

    bool isAnimating() const;

  public slots:
    // The job is collecting row index of total, labelled label.
    void showStep(int index, int total, const QString& label);
    // The job is saving the archive at archivePath.
    void showSaving(const QString& archivePath);
    // The step or the saving shown has reached percent of its bytes; the bar stays as it is.
    void showPercent(int percent);

  signals:
    // The user asked the job to stop; the button is disabled until the next runModal.
    void cancelRequested();

  protected:
    void reject() override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void requestCancel();

    QLabel* _infoLabel;
    QString _shown;           // the label's text without its figure
    QElapsedTimer _shownFor;  // since _shown was set
    static const int kPlainTextMs = 500;
    QProgressBar* _progressBar;
    QPushButton* _cancelButton;
};

#endif
