#include <CLI/CLI.hpp>

#include "CliCommands.h"
#include "CliContext.h"

// The "clean" verb joins the command line with its core library.
void registerCleanCommand(CLI::App& /*app*/, CliContext& /*context*/) {}
