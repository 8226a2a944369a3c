// corvix-support logging: show or set the product's logging level, as the Maintenance view's
// logging pop-up.
#include <CLI/CLI.hpp>

#include <memory>
#include <sstream>
#include <string>

#include "CliCommands.h"
#include "CliContext.h"
#include "MaintenanceDialogs.h"
#include "MaintenanceTasks.h"
#include "VeskLog.h"

namespace {

// The pop-up's three items, by their command-line names.
const char* const kLevelNames[] = {"off", "on", "dev"};

class LoggingPrinter : public MaintenanceDialogs {
  public:
    explicit LoggingPrinter(CliContext& context) : _context(context) {}
    void showAlert(Alert, const char* title, const char*) override {
        _context.out << title << "\n";
    }
    bool confirmReset(const char*, const char*, const char*, const char*) override { return false; }

  private:
    CliContext& _context;
};

void runLogging(const std::string& level, CliContext& context) {
    if (level.empty()) {
        context.out << kLevelNames[MaintenanceTasks::readLoggingLevel()] << "\n";
        context.exitCode = kCliSuccess;
        return;
    }
    int item = kLoggingOff;
    for (int i = 0; i < 3; ++i) {
        if (level == kLevelNames[i]) {
            item = i;
        }
    }
    // Read back: the configuration writer only logs a failure, and a user who was told to restart
    // must not find the old level afterwards.
    std::ostringstream alert;
    CliContext quiet{alert, context.err, context.in, false};
    LoggingPrinter printer(quiet);
    MaintenanceTasks::writeLoggingLevel(item, printer);
    if (MaintenanceTasks::readLoggingLevel() != item) {
        char folder[1025];
        calculateLogFilePath(folder, sizeof folder, "");
        context.err << "corvix-support logging: the level could not be written to " << folder
                    << "CorvixPro2.cfg\n";
        context.exitCode = kCliFailure;
        return;
    }
    context.out << alert.str();
    context.exitCode = kCliSuccess;
}

}  // namespace

void registerLoggingCommand(CLI::App& app, CliContext& context) {
    auto level = std::make_shared<std::string>();
    CLI::App* logging = app.add_subcommand(
        "logging",
        "Show the product's logging level, or set it: off, on (plain lines), dev (with developer "
        "lines). The level is written to CorvixPro2.cfg and applies after After Effects "
        "restarts");
    logging->add_option("LEVEL", *level, "off, on or dev")
        ->check(CLI::IsMember({"off", "on", "dev"}));
    logging->callback([level, &context] { runLogging(*level, context); });
}
