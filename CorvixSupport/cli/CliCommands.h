// One registration function per verb (one file each); registerCliCommands adds them all.
// A verb's callback runs after the global options are parsed, does its job through the core
// libraries, writes to the context's streams and sets context.exitCode.
#ifndef CORVIX_CLI_CLICOMMANDS_H
#define CORVIX_CLI_CLICOMMANDS_H

namespace CLI {
class App;
}
struct CliContext;

void registerCliCommands(CLI::App& app, CliContext& context);

// corvix-support package: collect, describe and save a support package (CliPackageCommand.cpp).
void registerPackageCommand(CLI::App& app, CliContext& context);
// corvix-support clean: reset product state (CliCleanCommand.cpp).
void registerCleanCommand(CLI::App& app, CliContext& context);
// corvix-support sweep: remove per-project settings files in a tree (CliSweepCommand.cpp).
void registerSweepCommand(CLI::App& app, CliContext& context);
// corvix-support logging: read or set the product's logging level (CliLoggingCommand.cpp).
void registerLoggingCommand(CLI::App& app, CliContext& context);
// corvix-support renderers: list, pin and discover external 3D renderers
// (CliRenderersCommand.cpp).
void registerRenderersCommand(CLI::App& app, CliContext& context);
// corvix-support help: the help of the program or of a verb (CliHelpCommand.cpp).
void registerHelpCommand(CLI::App& app, CliContext& context);

#endif
