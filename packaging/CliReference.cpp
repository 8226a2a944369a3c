#include "CliReference.h"

#include <CLI/CLI.hpp>

#include <sstream>

namespace {

bool mentions(const std::string& name, std::initializer_list<const char*> words) {
    for (const char* word : words) {
        if (name.find(word) != std::string::npos) {
            return true;
        }
    }
    return false;
}

// CLI11 shows a closed set as "TYPE:{a,b,c}" and other checks as "TYPE:CHECK"; the value's own
// name is the part before the first colon.
CliOptionInfo optionInfo(const CLI::Option& option) {
    CliOptionInfo info;
    info._description = option.get_description();
    info._default = option.get_default_str();
    info._required = option.get_required();
    const std::string typeName = option.get_type_name();
    const size_t set = typeName.find(":{");
    if (set != std::string::npos && typeName.back() == '}') {
        std::istringstream items(typeName.substr(set + 2, typeName.size() - set - 3));
        for (std::string item; std::getline(items, item, ',');) {
            info._choices.push_back(item);
        }
    }
    if (option.nonpositional()) {
        for (const std::string& name : option.get_snames()) {
            info._names.push_back("-" + name);
        }
        for (const std::string& name : option.get_lnames()) {
            info._names.push_back("--" + name);
        }
        if (option.get_items_expected_max() > 0) {
            info._valueName = typeName.substr(0, typeName.find(':'));
        }
    } else {
        info._valueName = option.get_name(true);
    }
    if (!info._choices.empty()) {
        info._kind = CliValueKind::kChoice;
    } else if (mentions(info._valueName, {"FILE", "PATH"})) {
        info._kind = CliValueKind::kFile;
    } else if (mentions(info._valueName, {"DIR", "FOLDER"})) {
        info._kind = CliValueKind::kFolder;
    }
    return info;
}

void addOptions(const CLI::App& app, CliCommandInfo* command) {
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_group().empty()) {
            continue;
        }
        CliOptionInfo info = optionInfo(*option);
        (option->nonpositional() ? command->_options : command->_arguments).push_back(info);
    }
    for (const CLI::App* group : app.get_subcommands({})) {
        if (group->get_name().empty()) {
            addOptions(*group, command);
        }
    }
}

void addCommand(const CLI::App& app, std::vector<std::string> path,
                std::vector<CliCommandInfo>* commands) {
    path.push_back(app.get_name());
    CliCommandInfo command;
    command._path = path;
    command._description = app.get_description();
    command._verbRequired = app.get_require_subcommand_min() > 0;
    command._fallthrough = app.get_fallthrough();
    addOptions(app, &command);
    std::vector<const CLI::App*> verbs;
    for (const CLI::App* verb : app.get_subcommands({})) {
        if (!verb->get_name().empty() && !verb->get_group().empty()) {
            command._verbs.push_back(verb->get_name());
            verbs.push_back(verb);
        }
    }
    commands->push_back(command);
    for (const CLI::App* verb : verbs) {
        addCommand(*verb, path, commands);
    }
}

}  // namespace

std::string cliJoin(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

std::vector<CliCommandInfo> cliCommands(const CLI::App& app) {
    std::vector<CliCommandInfo> commands;
    addCommand(app, {}, &commands);
    return commands;
}
