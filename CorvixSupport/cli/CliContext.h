// What every command verb of corvix-support shares: the output streams, the standard input and
// the exit code. Verbs never touch std::cout, std::cerr or std::cin directly, so tests run them
// inside the test process with captured streams.
#ifndef CORVIX_CLI_CLICONTEXT_H
#define CORVIX_CLI_CLICONTEXT_H

#include <iosfwd>

namespace CLI {
class App;
}

// Exit codes: 0 success, 1 the job failed, 2 the command line or the user's answer refused it.
enum CliExitCode { kCliSuccess = 0, kCliFailure = 1, kCliUsage = 2 };

struct CliContext {
    std::ostream& out;
    std::ostream& err;
    std::istream& in;
    // Whether standard input is a terminal that can answer a question.
    bool interactive;
    int exitCode = kCliSuccess;
};

#endif
