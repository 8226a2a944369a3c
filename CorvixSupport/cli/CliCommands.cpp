#include "CliCommands.h"

#include <CLI/CLI.hpp>

#include "CliContext.h"

void registerCliCommands(CLI::App& app, CliContext& context) {
    registerPackageCommand(app, context);
    registerCleanCommand(app, context);
    registerSweepCommand(app, context);
    registerLoggingCommand(app, context);
    registerRenderersCommand(app, context);
    registerHelpCommand(app, context);
}
