#include <CLI/CLI.hpp>

#include "CliCommands.h"
#include "CliContext.h"

// The "logging" verb joins the command line with its core library.
void registerLoggingCommand(CLI::App& /*app*/, CliContext& /*context*/) {}
