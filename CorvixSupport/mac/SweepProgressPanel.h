// The modal panel of the settings-file sweep: what is being searched, a busy bar and a stop
// button. Escape and the window's close button ask for a stop, as the stop button does, instead
// of closing the panel: it is the sweep's end that closes it, so that the panel is never gone
// while the sweep still runs. Main-thread only.
#ifndef CORVIX_WINDOW_SWEEPPROGRESSPANEL_H
#define CORVIX_WINDOW_SWEEPPROGRESSPANEL_H

#include <QDialog>

class SweepProgressPanel : public QDialog {
    Q_OBJECT

  public:
    explicit SweepProgressPanel(QWidget* parent = nullptr);

    // Escape or the close button: emits stopRequested and stays open.
    void reject() override;

  signals:
    void stopRequested();
};

#endif
