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

#endif
