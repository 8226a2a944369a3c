// corvix-support clean: reset the product's state, as the Maintenance view's execute button.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <iostream>
#include <memory>
#include <string>

#include "CliCommands.h"
#include "CliContext.h"
#include "CliHelp.h"
#include "MaintenanceDialogs.h"
#include "MaintenanceTasks.h"
#include "VeskPath.h"

namespace {

struct CleanOptions {
    MaintenanceSelection _selection;
    bool _all = false;
    bool _yes = false;
    bool _dryRun = false;
};

// The view's alerts as text. The question is asked on the terminal (standard error, so that it
// shows whatever standard output is redirected to) and answered there, or by --yes; without
// either the reset is refused, since nothing may be deleted unasked.
class CliCleanDialogs : public MaintenanceDialogs {
  public:
    CliCleanDialogs(CliContext& context, bool assumeYes)
        : _context(context), _assumeYes(assumeYes) {}

    void showAlert(Alert alert, const char* title, const char* message) override {
        switch (alert) {
            case kNoTasksSelected:
                _context.err << title << "\n"
                             << message << "\n"
                             << "Choose at least one of --render-queue, --logs, --config, "
                                "--cache or --all.\n";
                break;
            case kMaintenanceFailed:
                _context.err << title << "\n" << message << "\n";
                break;
            default:
                // The command prints what was deleted instead of the completion alert.
                break;
        }
    }

    bool confirmReset(const char* title, const char* message, const char* /*defaultButton*/,
                      const char* /*otherButton*/) override {
        if (_assumeYes) {
            return true;
        }
        if (!_context.terminal.interactive) {
            _context.err << "There is no terminal to ask on: nothing was deleted. Pass --yes to "
                            "reset without the question, or --dry-run to see what it deletes.\n";
            return false;
        }
        _context.err << message << "\n" << title << " [y/N] " << std::flush;
        std::string answer;
        std::getline(_context.in, answer);
        answer.erase(std::remove_if(answer.begin(), answer.end(),
                                    [](unsigned char c) { return std::isspace(c); }),
                     answer.end());
        std::transform(answer.begin(), answer.end(), answer.begin(),
                       [](unsigned char c) { return std::tolower(c); });
        if (answer == "y" || answer == "yes") {
            return true;
        }
        _context.err << "Nothing was deleted.\n";
        return false;
    }

  private:
    CliContext& _context;
    bool _assumeYes;
};

// One line per step that ran, counting only what went; what could not go, and the steps an
// error left undone, on the error stream.
void printReport(const MaintenanceReport& report, CliContext& context) {
    std::string notReached;
    for (int i = 0; i < kStepCount; ++i) {
        const MaintenanceStepResult& step = report.steps[i];
        const char* name = MaintenanceTasks::stepName(static_cast<MaintenanceStep>(i));
        if (step.state == MaintenanceStepResult::kNotReached) {
            notReached += (notReached.empty() ? "" : ", ") + std::string(name);
            continue;
        }
        if (step.state == MaintenanceStepResult::kNotSelected ||
            (step.state == MaintenanceStepResult::kFailed && step.files.removed == 0)) {
            continue;
        }
        context.out << name << ": " << step.files.removed << " deleted.\n";
        if (step.files.notRemoved > 0) {
            context.err << MaintenanceTasks::notRemovedLine(static_cast<MaintenanceStep>(i), step)
                        << "\n";
        }
    }
    if (!notReached.empty()) {
        context.err << "Not done because of the error: " << notReached << ".\n";
    }
}

// Every path each step would delete, then the total. Standard output holds only the list.
void printDryRun(const MaintenanceReport& report, CliContext& context) {
    size_t paths = 0;
    int64_t bytes = 0;
    for (int i = 0; i < kStepCount; ++i) {
        const MaintenanceStepResult& step = report.steps[i];
        if (step.state == MaintenanceStepResult::kNotSelected) {
            continue;
        }
        context.out << MaintenanceTasks::stepName(static_cast<MaintenanceStep>(i)) << ":\n";
        if (step.files.wouldRemove.empty()) {
            context.out << "  (nothing)\n";
        }
        for (const std::string& path : step.files.wouldRemove) {
            context.out << "  " << vesk_printablePath(path) << "\n";
        }
        paths += step.files.wouldRemove.size();
        bytes += step.files.bytes;
        if (step.files.notRemoved > 0) {
            context.err << MaintenanceTasks::notRemovedLine(static_cast<MaintenanceStep>(i), step)
                        << "\n";
        }
    }
    if (report.failed) {
        context.err << "Error performing maintenance.\n" << report.error << "\n";
    }
    context.out << paths << " path(s) would be deleted, " << bytes
                << " bytes of files. Nothing was deleted: dry run.\n";
}

void runClean(const CleanOptions& options, CliContext& context) {
    MaintenanceSelection selection = options._selection;
    if (options._all) {
        selection = MaintenanceSelection{true, true, true, true};
    }
    CliCleanDialogs dialogs(context, options._yes);
    MaintenanceReport report = MaintenanceTasks::execute(
        selection, dialogs, options._dryRun ? kCleanerDryRun : kCleanerDeletes);
    if (!report.ran) {
        context.exitCode = kCliUsage;
        return;
    }
    if (options._dryRun) {
        printDryRun(report, context);
        context.exitCode = report.failed ? kCliFailure : kCliSuccess;
        return;
    }
    if (report.steps[kStepConfigFiles].state == MaintenanceStepResult::kDone) {
        // The cleaner's own standard-error lines end without a newline.
        context.err << "\n";
    }
    printReport(report, context);
    context.exitCode = report.complete() ? kCliSuccess : kCliFailure;
}

}  // namespace

void registerCleanCommand(CLI::App& app, CliContext& context) {
    auto options = std::make_shared<CleanOptions>();
    CLI::App* clean = app.add_subcommand(
        "clean",
        "Reset the product's state: render queue folders, log files, settings (global store and "
        "user configuration files), frame cache folders and registries");
    clean->add_flag("--render-queue", options->_selection.renderQueue,
                    "Delete both products' render queue folders");
    clean->add_flag("--logs", options->_selection.logs, "Delete the product's log files");
    clean->add_flag("--config", options->_selection.config,
                    "Delete the global settings store files and the user configuration files");
    clean->add_flag("--cache", options->_selection.cache,
                    "Delete the frame cache folders and the frame cache registries");
    clean->add_flag("--all", options->_all, "All four of the above");
    clean->add_flag("-y,--yes", options->_yes, "Do not ask before deleting");
    clean->add_flag("-n,--dry-run", options->_dryRun,
                    "List every path the chosen tasks would delete, and the total; delete nothing");
    clean->footer(cliExitCodes(
        {{"0", "Everything chosen was deleted (with --dry-run: listed)"},
         {"1", "Something found could not be deleted, or an error stopped the tasks"},
         {"2", "No task was chosen, or the question was declined or could not be asked"}}));
    clean->callback([options, &context] { runClean(*options, context); });
}
