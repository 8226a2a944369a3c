#include <CLI/CLI.hpp>

#include "CliCommands.h"
#include "CliContext.h"

// The "package" verb joins the command line with its core library.
void registerPackageCommand(CLI::App& /*app*/, CliContext& /*context*/) {}
