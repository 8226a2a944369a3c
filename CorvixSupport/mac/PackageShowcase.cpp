#include "PackageShowcase.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QLineEdit>
#include <QTextEdit>
#include <QTimer>

#include <cstdio>

#include "AppController.h"
#include "CorvixSupportPrefsController.h"
#include "PackageProgressPanel.h"
#include "PackageReviewPanel.h"
#include "PaintWatcher.h"
#include "QtWindowDialogs.h"

namespace {

// Qt's dialogs, but the save panel answers with a fixed path.
class AnsweringDialogs : public QtWindowDialogs {
  public:
    QString _savePath;
    QString runSavePanel(const SavePanelOptions& /*options*/) override { return _savePath; }
};

QWidget* topLevel(const char* name) {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->objectName() == name) {
            return widget;
        }
    }
    return nullptr;
}

}  // namespace

bool PackageShowcase::show(AppController& controller, const QString& formFile,
                           const QString& archivePath) {
    QFile form(formFile);
    if (!form.open(QIODevice::ReadOnly | QIODevice::Text)) {
        std::fprintf(stderr, "CorvixSupport: cannot read the form \"%s\"\n", qPrintable(formFile));
        return false;
    }
    CorvixSupportPrefsController* prefs = controller.prefs();
    prefs->createSupportPackage();
    QWidget* panel = topLevel("_packageWindow");
    QStringList comment, attachments;
    bool review = false;
    while (!form.atEnd()) {
        QString line = QString::fromUtf8(form.readLine());
        if (line.endsWith('\n')) {
            line.chop(1);
        }
        const QString key = line.section(": ", 0, 0), value = line.section(": ", 1);
        if (key == "comment") {
            comment << value;
        } else if (key == "attach") {
            attachments << value;
        } else if (key == "review") {
            review = value == "yes";
        } else if (key == "hide") {
            panel->findChild<QAbstractButton*>("_redactCheckBox")->setChecked(value == "yes");
        } else if (auto* field = panel->findChild<QLineEdit*>("_" + key + "Field")) {
            field->setText(value);
        }
    }
    panel->findChild<QTextEdit*>("_textView")->setPlainText(comment.join('\n'));
    prefs->openPanelDidEnd(attachments, 1);
    if (review) {
        prefs->reviewContents();
        PaintWatcher::reportFrameWhenPainted(prefs->reviewPanel());
        return true;
    }
    if (archivePath.isEmpty()) {
        PaintWatcher::reportFrameWhenPainted(panel);
        return true;
    }
    static AnsweringDialogs answering;
    answering._savePath = archivePath;
    prefs->setDialogs(&answering);
    PaintWatcher::reportFrameWhenPainted(controller.progressPanel());
    // Confirming runs the job's modal loop: from the event loop, not from here.
    QTimer::singleShot(0, panel->findChild<QAbstractButton*>("_createButton"),
                       &QAbstractButton::click);
    return true;
}
