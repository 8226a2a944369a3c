#include <CLI/CLI.hpp>

#include "CliCommands.h"
#include "CliContext.h"

// The "renderers" verb joins the command line with its core library.
void registerRenderersCommand(CLI::App& /*app*/, CliContext& /*context*/) {}
