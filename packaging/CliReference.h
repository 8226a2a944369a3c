// What corvix-support's command line offers, read from its own CLI11 definition: every command
// (the program and each verb, nested verbs included) with its options, arguments and verbs. The
// manual page and the shell completion are written from this, so that neither can lag behind
// the program.
#ifndef CORVIX_PACKAGING_CLIREFERENCE_H
#define CORVIX_PACKAGING_CLIREFERENCE_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

// What an option's value or an argument names, for completion.
enum class CliValueKind { kText, kFile, kFolder, kChoice };

struct CliOptionInfo {
    // "-o", "--output"; empty for an argument.
    std::vector<std::string> _names;
    // The value's name ("PATH"), or the argument's name ("FOLDER"); empty for a flag.
    std::string _valueName;
    std::string _description;
    // The default shown in help, if any.
    std::string _default;
    // The accepted values of a closed set (CLI::IsMember), in their order.
    std::vector<std::string> _choices;
    CliValueKind _kind = CliValueKind::kText;
    bool _required = false;

    bool isFlag() const { return !_names.empty() && _valueName.empty(); }
};

struct CliCommandInfo {
    // The words that choose the command: {"corvix-support"}, {"corvix-support", "renderers",
    // "pin"}.
    std::vector<std::string> _path;
    std::string _description;
    // Named options in definition order, the help flag first.
    std::vector<CliOptionInfo> _options;
    std::vector<CliOptionInfo> _arguments;
    std::vector<std::string> _verbs;
    bool _verbRequired = false;
    // Whether the parent's options are also accepted after this command's name.
    bool _fallthrough = false;
};

// words joined by single spaces: a command's path as it is typed.
std::string cliJoin(const std::vector<std::string>& words);

// Every command of app, the program first, each verb before its own verbs, in definition order.
// Options and verbs that the help hides (no group) are left out; option groups count as part of
// the command that holds them.
std::vector<CliCommandInfo> cliCommands(const CLI::App& app);

#endif
