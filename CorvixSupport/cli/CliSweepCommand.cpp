// corvix-support sweep: delete the hidden per-project settings files in a folder tree, as the
// Maintenance view's find-and-delete button. Ctrl-C or SIGTERM stops the walk after its current
// entry; every deletion made so far is in the sweep log.
#include <signal.h>

#include <CLI/CLI.hpp>

#include <cstring>
#include <memory>
#include <string>

#include "CliCommands.h"
#include "CliContext.h"
#include "CliHelp.h"
#include "CorvixCleaner.h"
#include "CprSweep.h"
#include "CprSweepObserver.h"
#include "VeskPath.h"

namespace {

struct SweepOptions {
    std::string _folder;
    bool _recursive = false;
    bool _dryRun = false;
};

// Paths are printed with control characters escaped: a file name cannot forge an output line.
class SweepPrinter : public CprSweepObserver {
  public:
    SweepPrinter(CliContext& context, const std::string& folder)
        : _context(context), _folder(folder) {}
    void cprFileRemoved(const char* path) override {
        _context.out << vesk_printablePath(path) << "\n";
    }
    void cprFileNotRemoved(const char* path, const char* reason) override {
        _context.err << "Could not remove " << vesk_printablePath(path);
        if (reason) {
            _context.err << ": " << reason;
        }
        _context.err << "\n";
    }
    void folderNotRead(const char* path, const char* reason) override {
        if (_folder == path) {
            _context.err << "corvix-support: cannot sweep \"" << vesk_printablePath(path)
                         << "\": " << reason << "\n";
        } else {
            _context.err << "Could not read " << vesk_printablePath(path) << ": " << reason << "\n";
        }
    }
    void pathSkipped(const char* path) override {
        _context.err << "Skipped, the path is too long: " << vesk_printablePath(path) << "\n";
    }

  private:
    CliContext& _context;
    std::string _folder;
};

extern "C" void stopSweep(int) {
    g_shouldRunCPRThread = 0;
}

// Routes SIGINT and SIGTERM to the sweep's stop flag while it lives, so that the walk ends
// after its current entry and the log is closed whole; the earlier handling comes back after.
class StopOnSignals {
  public:
    StopOnSignals() {
        struct sigaction action;
        memset(&action, 0, sizeof action);
        action.sa_handler = stopSweep;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        for (int i = 0; i < kSignals; ++i) {
            _installed[i] = sigaction(kSignal[i], &action, &_previous[i]) == 0;
        }
    }
    ~StopOnSignals() {
        for (int i = 0; i < kSignals; ++i) {
            if (_installed[i]) {
                sigaction(kSignal[i], &_previous[i], nullptr);
            }
        }
    }
    StopOnSignals(const StopOnSignals&) = delete;
    StopOnSignals& operator=(const StopOnSignals&) = delete;

  private:
    static const int kSignals = 2;
    static constexpr int kSignal[kSignals] = {SIGINT, SIGTERM};
    struct sigaction _previous[kSignals];
    bool _installed[kSignals] = {false, false};
};

void runSweep(const SweepOptions& options, CliContext& context) {
    SweepPrinter printer(context, options._folder);
    CprSweepResult result;
    {
        StopOnSignals stop;
        CprSweep::run(options._folder.c_str(), options._recursive, &printer, &result,
                      options._dryRun ? kCleanerDryRun : kCleanerDeletes);
    }
    context.exitCode = result.complete() ? kCliSuccess : kCliFailure;
    if (!result.folderError.empty()) {
        return;
    }
    if (options._dryRun) {
        context.out << result.removed
                    << " file(s) would be removed. Nothing was deleted: dry run.\n";
    } else {
        context.out << result.removed << " file(s) removed during this session.\n";
    }
    context.err << result.shortfall();
}

}  // namespace

void registerSweepCommand(CLI::App& app, CliContext& context) {
    auto options = std::make_shared<SweepOptions>();
    CLI::App* sweep = app.add_subcommand(
        "sweep",
        "Delete the per-project settings files (.CorvixPro2ProjectConfig.cpr, "
        ".CorvixProProjectConfig.cpr) in FOLDER; each deletion is recorded in CorvixSupport.log");
    sweep->add_flag("-r,--recursive", options->_recursive,
                    "Also search every subfolder whose name does not begin with '.'");
    sweep->add_flag("-n,--dry-run", options->_dryRun,
                    "List every file that would be deleted, and their number; delete nothing "
                    "and write no log");
    sweep->add_option("FOLDER", options->_folder, "The folder to search")->required();
    sweep->footer(cliExitCodes(
        {{"0", "Every file found was deleted (with --dry-run: listed)"},
         {"1",
          "A file could not be deleted, a folder could not be read, a path was too long, "
          "or the sweep was stopped"},
         {"2", "The command line was refused"}}));
    sweep->callback([options, &context] { runSweep(*options, context); });
}
