// CorvixSupport: the support tool's window.
//
// Hidden options, for tests, packaging checks, benchmarks and screenshots:
//   --quit-when-shown   exit with 0 once the window's first frame is painted
//   --view NAME         after start, choose the view NAME as a click on its button would; once it
//                       is on screen print "shown X Y WIDTH HEIGHT" (the window's frame) on
//                       standard output
//   --sweep FOLDER      after start, show Maintenance and sweep FOLDER (and its subfolders) as
//                       the find-and-delete button would; once the sweep's panel is on screen
//                       print "shown X Y WIDTH HEIGHT" (the panel's frame)
//   --package-form FILE, --package-to PATH
//                       the package panel filled from FILE, then (with PATH) the progress panel
//                       of a package saved there; their frame is printed as above
//                       (PackageShowcase.h)
// With the environment variable CORVIX_STARTUP_CLOCK set, the wall-clock time of the first paint
// (microseconds since 1970) is printed on standard error as "first paint at N".
#include <QAbstractButton>
#include <QApplication>
#include <QCommandLineParser>
#include <QDialog>
#include <QTimer>
#include <QWidget>

#include <chrono>
#include <cstdio>

#include "AppController.h"
#include "CorvixSupportPrefsController.h"
#include "DarkTheme.h"
#include "NSDarkToolBar.h"
#include "PackageShowcase.h"
#include "PaintWatcher.h"
#include "WindowDiagnostics.h"

namespace {

QCommandLineOption hiddenOption(const QString& name, const QString& valueName = QString()) {
    QCommandLineOption option(name, QString(), valueName);
    option.setFlags(QCommandLineOption::HiddenFromHelp);
    return option;
}

// Clicks the button of view, then reports the window's frame once it has been painted at the
// view's size.
void showViewAndReport(CorvixSupportPrefsController* prefs, const QString& view) {
    QAbstractButton* button = prefs->darkToolbar()->findChild<QAbstractButton*>(view);
    if (button == nullptr) {
        std::fprintf(stderr, "CorvixSupport: there is no view \"%s\"\n", qPrintable(view));
        QCoreApplication::exit(2);
        return;
    }
    QWidget* window = prefs->window();
    QObject::connect(prefs, &TabbedPrefsWindowController::resizeFinished, window,
                     [window]() { PaintWatcher::reportFrameWhenPainted(window); });
    button->click();
}

// Shows Maintenance, sweeps folder, and reports the sweep panel's frame once it is painted.
void sweepAndReport(CorvixSupportPrefsController* prefs, const QString& folder) {
    PaintWatcher::reportFrameWhenPainted(prefs->progressPanel());
    if (auto* button = prefs->darkToolbar()->findChild<QAbstractButton*>("Maintenance")) {
        button->click();
    }
    prefs->setupMenuUsingPath(folder);
    QTimer::singleShot(0, prefs, &CorvixSupportPrefsController::removeCprFiles);
}

}  // namespace

int main(int argc, char* argv[]) {
    QApplication application(argc, argv);
    QApplication::setApplicationName("CorvixSupport");
    QApplication::setApplicationDisplayName("Corvix Support Tool");
    QApplication::setOrganizationName("Orvanta Software");
    QApplication::setApplicationVersion(CORVIX_VERSION);

    QCommandLineParser parser;
    const QCommandLineOption quitWhenShown = hiddenOption("quit-when-shown");
    const QCommandLineOption view = hiddenOption("view", "NAME");
    const QCommandLineOption packageForm = hiddenOption("package-form", "FILE");
    const QCommandLineOption packageTo = hiddenOption("package-to", "PATH");
    parser.addOption(quitWhenShown);
    parser.addOption(view);
    const QCommandLineOption sweep = hiddenOption("sweep", "FOLDER");
    parser.addOption(sweep);
    parser.addOptions({packageForm, packageTo});
    parser.addHelpOption();
    parser.process(application);

    WindowDiagnostics diagnostics;
    DarkTheme::apply(application);
    AppController controller;
    controller.awakeFromNib();
    CorvixSupportPrefsController* prefs = controller.prefs();

    PaintWatcher firstPaint(prefs->window());
    const bool printClock = qEnvironmentVariableIsSet("CORVIX_STARTUP_CLOCK");
    QObject::connect(&firstPaint, &PaintWatcher::painted, [&]() {
        if (printClock) {
            const auto now = std::chrono::system_clock::now().time_since_epoch();
            std::fprintf(stderr, "first paint at %lld\n",
                         static_cast<long long>(
                             std::chrono::duration_cast<std::chrono::microseconds>(now).count()));
        }
        if (parser.isSet(quitWhenShown)) {
            QCoreApplication::exit(0);
        } else if (parser.isSet(sweep)) {
            sweepAndReport(prefs, parser.value(sweep));
        } else if (parser.isSet(packageForm)) {
            if (!PackageShowcase::show(controller, parser.value(packageForm),
                                       parser.value(packageTo))) {
                QCoreApplication::exit(2);
            }
        } else if (parser.isSet(view)) {
            // The first view's animation runs on; the chosen one follows it.
            showViewAndReport(prefs, parser.value(view));
        }
    });
    return application.exec();
}
