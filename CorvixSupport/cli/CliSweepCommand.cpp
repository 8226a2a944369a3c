// corvix-support sweep: delete the hidden per-project settings files in a folder tree, as the
// Maintenance view's find-and-delete button. Ctrl-C stops the walk after its current entry.
#include <signal.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "CliCommands.h"
#include "CliContext.h"
#include "CorvixCleaner.h"
#include "CprSweep.h"
#include "CprSweepObserver.h"

namespace {

struct SweepOptions {
    std::string _folder;
    bool _recursive = false;
};

class SweepPrinter : public CprSweepObserver {
  public:
    explicit SweepPrinter(CliContext& context) : _context(context) {}
    void cprFileRemoved(const char* path) override { _context.out << path << "\n"; }
    void cprFileNotRemoved(const char* path, const char* reason) override {
        _context.err << "Could not remove " << path;
        if (reason) {
            _context.err << ": " << reason;
        }
        _context.err << "\n";
    }

  private:
    CliContext& _context;
};

extern "C" void stopSweep(int) {
    g_shouldRunCPRThread = 0;
}

// Routes SIGINT to the sweep's stop flag while it lives; the earlier handling comes back after.
class StopOnInterrupt {
  public:
    StopOnInterrupt() {
        struct sigaction action;
        memset(&action, 0, sizeof action);
        action.sa_handler = stopSweep;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        _installed = sigaction(SIGINT, &action, &_previous) == 0;
    }
    ~StopOnInterrupt() {
        if (_installed) {
            sigaction(SIGINT, &_previous, nullptr);
        }
    }
    StopOnInterrupt(const StopOnInterrupt&) = delete;
    StopOnInterrupt& operator=(const StopOnInterrupt&) = delete;

  private:
    struct sigaction _previous;
    bool _installed = false;
};

void runSweep(const SweepOptions& options, CliContext& context) {
    struct stat info;
    if (stat(options._folder.c_str(), &info) != 0) {
        context.err << "corvix-support: cannot sweep \"" << options._folder
                    << "\": " << strerror(errno) << "\n";
        context.exitCode = kCliFailure;
        return;
    }
    if (!S_ISDIR(info.st_mode)) {
        context.err << "corvix-support: cannot sweep \"" << options._folder
                    << "\": " << strerror(ENOTDIR) << "\n";
        context.exitCode = kCliFailure;
        return;
    }

    SweepPrinter printer(context);
    int removed = 0;
    {
        StopOnInterrupt interrupt;
        removed = CprSweep::run(options._folder.c_str(), options._recursive, &printer);
    }
    context.out << removed << " file(s) removed during this session.\n";
    if (g_shouldRunCPRThread == 0) {
        context.err << "The sweep was stopped before it finished.\n";
        context.exitCode = kCliFailure;
    } else {
        context.exitCode = kCliSuccess;
    }
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
    sweep->add_option("FOLDER", options->_folder, "The folder to search")->required();
    sweep->callback([options, &context] { runSweep(*options, context); });
}
