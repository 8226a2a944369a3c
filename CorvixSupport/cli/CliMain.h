// The command-line front end: parses the global options and dispatches to one verb.
#ifndef CORVIX_CLI_CLIMAIN_H
#define CORVIX_CLI_CLIMAIN_H

#include <iosfwd>

// Runs corvix-support with argv (argv[0] is the program name). Returns the exit code. Output goes
// to out and err; questions are read from in when interactive is true.
int corvixCliMain(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
                  std::istream& in, bool interactive);

#endif
