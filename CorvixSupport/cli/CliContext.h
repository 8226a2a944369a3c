// What every command verb of corvix-support shares: the output streams, the standard input, what
// the streams are connected to, and the exit code. Verbs never touch std::cout, std::cerr or
// std::cin directly, so tests run them inside the test process with captured streams.
#ifndef CORVIX_CLI_CLICONTEXT_H
#define CORVIX_CLI_CLICONTEXT_H

#include <iosfwd>

namespace CLI {
class App;
}

// Exit codes: 0 success, 1 the job failed, 2 the command line or the user's answer refused it.
enum CliExitCode { kCliSuccess = 0, kCliFailure = 1, kCliUsage = 2 };

// What the process's standard streams are: main() asks the platform, tests choose.
struct CliTerminal {
    // Standard input and standard error are both terminals: a question can be shown and answered.
    bool interactive = false;
    // Standard error is a terminal: progress may rewrite one line in place.
    bool errorIsTerminal = false;
    // The width help is wrapped to: the terminal's, or 80 when standard output is no terminal.
    int columns = 80;
    // The width of standard error when it is a terminal: progress lines are cut to fit it.
    int errorColumns = 80;
};

struct CliContext {
    std::ostream& out;
    std::ostream& err;
    std::istream& in;
    CliTerminal terminal;
    int exitCode = kCliSuccess;
};

#endif
