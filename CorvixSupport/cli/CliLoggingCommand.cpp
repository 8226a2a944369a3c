// corvix-support logging: show or set the product's logging level, as the Maintenance view's
// logging pop-up.
#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "CliCommands.h"
#include "CliContext.h"
#include "CliHelp.h"
#include "MaintenanceDialogs.h"
#include "MaintenanceTasks.h"

namespace {

// The pop-up's three items, by their command-line names.
const char* const kLevelNames[] = {"off", "on", "dev"};

// The restart alert's title is the confirmation; a level that was not saved is an error.
class LoggingPrinter : public MaintenanceDialogs {
  public:
    explicit LoggingPrinter(CliContext& context) : _context(context) {}
    void showAlert(Alert alert, const char* title, const char* message) override {
        if (alert == kLoggingLevelNotSaved) {
            _context.err << "corvix-support logging: " << title << " " << message << "\n";
        } else {
            _context.out << title << "\n";
        }
    }
    bool confirmReset(const char*, const char*, const char*, const char*) override { return false; }

  private:
    CliContext& _context;
};

void runLogging(const std::string& level, CliContext& context) {
    if (level.empty()) {
        // Showing the level creates and rewrites nothing.
        int item = kLoggingOff;
        std::string error;
        if (!MaintenanceTasks::peekLoggingLevel(&item, &error)) {
            context.err << "corvix-support logging: the level cannot be read: " << error << "\n";
            context.exitCode = kCliFailure;
            return;
        }
        context.out << kLevelNames[item] << "\n";
        context.exitCode = kCliSuccess;
        return;
    }
    int item = kLoggingOff;
    for (int i = 0; i < 3; ++i) {
        if (level == kLevelNames[i]) {
            item = i;
        }
    }
    LoggingPrinter printer(context);
    context.exitCode =
        MaintenanceTasks::writeLoggingLevel(item, printer) ? kCliSuccess : kCliFailure;
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
    logging->footer(cliExitCodes({{"0", "The level was shown, or saved"},
                                  {"1", "The level could not be read, or not saved"},
                                  {"2", "The command line was refused"}}));
    logging->callback([level, &context] { runLogging(*level, context); });
}
