// The command-line front end: parses the global options and dispatches to one verb.
#ifndef CORVIX_CLI_CLIMAIN_H
#define CORVIX_CLI_CLIMAIN_H

#include <iosfwd>

#include "CliContext.h"

// Defines every global option and verb of corvix-support on app, which must be fresh. Nothing
// runs until app parses a command line; the verbs' callbacks then write to context's streams.
// Also used at build time to write the manual page and the shell completion from the same
// definition.
void buildCorvixCliApp(CLI::App& app, CliContext& context);

// Runs corvix-support with argv (argv[0] is the program name). Returns the exit code. Output goes
// to out and err; questions are read from in when terminal.interactive is true; help is wrapped
// to terminal.columns.
int corvixCliMain(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
                  std::istream& in, const CliTerminal& terminal);

#endif
