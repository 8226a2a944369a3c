#include <CLI/CLI.hpp>

#include "CliCommands.h"
#include "CliContext.h"

// The "sweep" verb joins the command line with its core library.
void registerSweepCommand(CLI::App& /*app*/, CliContext& /*context*/) {}
