#include "CliMain.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>

#include "CliCommands.h"
#include "CliContext.h"
#include "CliHelp.h"
#include "VeskDiagnostics.h"
#include "VeskPlatform.h"

#ifndef CORVIX_VERSION
#define CORVIX_VERSION "0.0.0"
#endif

namespace {

// The core's messages go to the verb's error stream, in order with what the verb prints there.
class CliDiagnosticSink : public VeskDiagnosticSink {
  public:
    explicit CliDiagnosticSink(std::ostream& err) : _err(err) {}
    void write(const std::string& text) override { _err << text << std::flush; }

  private:
    std::ostream& _err;
};

}  // namespace

void buildCorvixCliApp(CLI::App& app, CliContext& context) {
    app.name("corvix-support");
    app.description("Corvix Pro support tool: support packages, maintenance and 3D renderers.");
    // Set first: every verb takes the formatter its parent has when it is added.
    app.formatter(std::make_shared<CliHelpFormatter>(context.terminal.columns));
    app.footer(cliExitCodes({{"0", "The job was done"},
                             {"1",
                              "The job failed (package: no archive was made; clean, sweep: "
                              "something found was not deleted)"},
                             {"2",
                              "The command line, or the answer to a question, refused it: "
                              "nothing was collected or changed"},
                             {"130, 143", "package was interrupted by SIGINT or SIGTERM"}}) +
               "\n" + cliEnvironment() +
               "\nRun 'corvix-support help VERB' for a verb's options and exit codes.");
    app.require_subcommand(0, 1);
    app.set_version_flag("--version", std::string("corvix-support ") + CORVIX_VERSION);

    // Applied while parsing, before any verb's callback runs.
    app.add_option_function<std::string>(
           "--root", [](const std::string& dir) { vesk_setMachineRoot(dir); },
           "Machine root: read and write every machine-wide path below DIR "
           "(overrides CORVIX_ROOT)")
        ->type_name("DIR");

    registerCliCommands(app, context);
}

int corvixCliMain(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
                  std::istream& in, const CliTerminal& terminal) {
    CliContext context{out, err, in, terminal};
    CliDiagnosticSink sink(err);
    VeskScopedDiagnosticSink useSink(&sink);

    CLI::App app;
    buildCorvixCliApp(app, context);

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        out << app.help();
        return kCliSuccess;
    } catch (const CLI::CallForAllHelp&) {
        out << app.help("", CLI::AppFormatMode::All);
        return kCliSuccess;
    } catch (const CLI::CallForVersion&) {
        out << app.version() << "\n";
        return kCliSuccess;
    } catch (const CLI::ParseError& e) {
        std::string suggestion = cliSuggestion(app, e);
        err << "corvix-support: " << (suggestion.empty() ? e.what() : suggestion) << "\n"
            << "Run 'corvix-support --help' for the commands and options.\n";
        return kCliUsage;
    }
    // Subcommand callbacks run inside parse(); with none chosen, show what there is.
    if (app.get_subcommands().empty()) {
        out << app.help();
    }
    return context.exitCode;
}
