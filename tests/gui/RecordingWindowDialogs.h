// WindowDialogs for tests: records every alert and panel it is asked for and answers from
// scripted queues; with a queue empty, an alert takes its default button and a panel is
// cancelled.
#ifndef CORVIX_TESTS_GUI_RECORDINGWINDOWDIALOGS_H
#define CORVIX_TESTS_GUI_RECORDINGWINDOWDIALOGS_H

#include <QList>

#include <variant>

#include "WindowDialogs.h"

struct RecordedAlert {
    QString title;
    QString message;
    QString defaultButton;
    QString otherButton;
};

class RecordingWindowDialogs : public WindowDialogs {
  public:
    using Call = std::variant<RecordedAlert, OpenPanelOptions, SavePanelOptions>;

    QList<Call> calls;
    QList<int> alertAnswers;
    QList<QStringList> openAnswers;
    QList<QString> saveAnswers;

    int runAlertPanel(const QString& title, const QString& message, const QString& defaultButton,
                      const QString& otherButton) override {
        calls.append(RecordedAlert{title, message, defaultButton, otherButton});
        return alertAnswers.isEmpty() ? kAlertDefaultReturn : alertAnswers.takeFirst();
    }
    QStringList runOpenPanel(const OpenPanelOptions& options) override {
        calls.append(options);
        return openAnswers.isEmpty() ? QStringList() : openAnswers.takeFirst();
    }
    QString runSavePanel(const SavePanelOptions& options) override {
        calls.append(options);
        return saveAnswers.isEmpty() ? QString() : saveAnswers.takeFirst();
    }
};

#endif
