#include "SweepProgressPanel.h"

SweepProgressPanel::SweepProgressPanel(QWidget* parent) : QDialog(parent) {}

void SweepProgressPanel::reject() {
    emit stopRequested();
}
