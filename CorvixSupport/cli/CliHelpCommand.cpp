// corvix-support help [VERB...]: the help of the program or of one verb, as "VERB --help" shows it.
#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

#include "CliCommands.h"
#include "CliContext.h"
#include "CliHelp.h"

namespace {

void runHelp(const CLI::App& program, const std::vector<std::string>& words, CliContext& context) {
    const CLI::App* command = &program;
    std::string prefix;
    for (const std::string& word : words) {
        std::vector<std::string> verbs;
        const CLI::App* next = nullptr;
        for (const CLI::App* verb : command->get_subcommands({})) {
            verbs.push_back(verb->get_name());
            if (verb->get_name() == word) {
                next = verb;
            }
        }
        if (!next) {
            std::string nearest = cliNearest(word, verbs);
            context.err << "corvix-support help: \"" << word << "\" is not a verb of "
                        << (prefix.empty() ? program.get_name()
                                           : prefix + " " + command->get_name())
                        << (nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?") << "\n";
            context.exitCode = kCliUsage;
            return;
        }
        prefix = prefix.empty() ? program.get_name() : prefix + " " + command->get_name();
        command = next;
    }
    context.out << command->help(prefix);
    context.exitCode = kCliSuccess;
}

}  // namespace

void registerHelpCommand(CLI::App& app, CliContext& context) {
    auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* help = app.add_subcommand("help", "Show the help of the program or of VERB");
    help->add_option("VERB", *words, "A verb, and a verb of that verb (\"renderers pin\")")
        ->expected(0, 2);
    help->footer(cliExitCodes({{"0", "The help was shown"}, {"2", "There is no such verb"}}));
    help->callback([&app, words, &context] { runHelp(app, *words, context); });
}
