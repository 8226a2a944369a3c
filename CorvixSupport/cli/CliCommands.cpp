#include "CliCommands.h"

#include <CLI/CLI.hpp>

#include "CliContext.h"

void registerCliCommands(CLI::App& /*app*/, CliContext& /*context*/) {
    // Verbs are added here as they land: package, clean, sweep, logging, renderers.
}
