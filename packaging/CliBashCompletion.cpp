#include "CliBashCompletion.h"

#include <cctype>
#include <map>
#include <set>
#include <sstream>

namespace {

// The completion function walks the words before the cursor to find the command they choose
// and how many of its arguments are given, then offers that command's options, its verbs, or
// what the option before the cursor or the next argument takes.
const char kScript[] = R"(# bash completion for @PROGRAM@: its verbs, their options, and what option
# values and arguments are. Written at build time from the program's own command-line definition.

@FUNCTION@() {
    local cur prev words cword split
    _init_completion -s || return

    # Keyed by command (the words that choose it): the verbs and options that may follow it, and
    # what its arguments are, in order. Keyed by command and option: what the option's value is.
    # A kind is file, folder, text, or one-of: with the words joined by |.
@ARRAYS@
    local command=@QUOTED_PROGRAM@ word i argc=0
    for ((i = 1; i < cword; i++)); do
        word=${words[i]}
        if [[ -n ${values["$command $word"]-} ]]; then
            i=$((i + 1))
        elif [[ $word == -* ]]; then
            continue
        elif [[ $argc -eq 0 && " ${verbs[$command]-} " == *" $word "* ]]; then
            command+=" $word"
        else
            argc=$((argc + 1))
        fi
    done

    local kind=""
    if [[ -n ${values["$command $prev"]-} ]]; then
        kind=${values["$command $prev"]}
    elif [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "${options[$command]-}" -- "$cur"))
        return
    else
        local -a kinds=(${arguments[$command]-})
        kind=${kinds[argc]-}
        ((argc > 0)) || COMPREPLY=($(compgen -W "${verbs[$command]-}" -- "$cur"))
    fi
    case $kind in
        file) _filedir ;;
        folder) _filedir -d ;;
        one-of:*)
            local choices=${kind#one-of:}
            COMPREPLY+=($(compgen -W "${choices//|/ }" -- "$cur"))
            ;;
    esac
}

complete -F @FUNCTION@ @PROGRAM@
)";

void replaceAll(std::string* text, const std::string& placeholder, const std::string& value) {
    for (size_t at = text->find(placeholder); at != std::string::npos;
         at = text->find(placeholder, at + value.size())) {
        text->replace(at, placeholder.size(), value);
    }
}

std::string quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text) {
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return out + "'";
}

std::string kindWord(const CliOptionInfo& option) {
    switch (option._kind) {
        case CliValueKind::kFile:
            return "file";
        case CliValueKind::kFolder:
            return "folder";
        case CliValueKind::kChoice: {
            std::string word = "one-of:";
            for (const std::string& choice : option._choices) {
                if (choice.find_first_of(" \t\n|") == std::string::npos) {
                    word += (word.size() > 7 ? "|" : "") + choice;
                }
            }
            return word;
        }
        case CliValueKind::kText:
            break;
    }
    return "text";
}

void writeArray(const char* name, const std::map<std::string, std::string>& entries,
                std::ostream& out) {
    out << "    local -A " << name << "=(\n";
    for (const auto& [key, value] : entries) {
        if (!value.empty()) {
            out << "        [" << quoted(key) << "]=" << quoted(value) << "\n";
        }
    }
    out << "    )\n";
}

}  // namespace

std::string cliBashCompletion(const std::vector<CliCommandInfo>& commands) {
    if (commands.empty()) {
        return "";
    }
    const std::string program = commands.front()._path.front();
    std::map<std::string, std::string> verbs, options, arguments, values;
    std::map<std::string, const CliCommandInfo*> byPath;
    for (const CliCommandInfo& command : commands) {
        const std::string path = cliJoin(command._path);
        byPath[path] = &command;
        verbs[path] = cliJoin(command._verbs);
        std::vector<std::string> kinds;
        for (const CliOptionInfo& argument : command._arguments) {
            kinds.push_back(kindWord(argument));
        }
        arguments[path] = cliJoin(kinds);
        // A command that falls through also takes its parent's options, after its own.
        std::vector<std::string> names;
        std::set<std::string> seen;
        for (const CliCommandInfo* at = &command; at != nullptr;) {
            for (const CliOptionInfo& option : at->_options) {
                for (const std::string& name : option._names) {
                    if (!seen.insert(name).second) {
                        continue;
                    }
                    names.push_back(name);
                    if (!option.isFlag()) {
                        values[path + " " + name] = kindWord(option);
                    }
                }
            }
            const std::string parent = cliJoin({at->_path.begin(), at->_path.end() - 1});
            at = at->_fallthrough ? byPath[parent] : nullptr;
        }
        options[path] = cliJoin(names);
    }

    std::string function = "_" + program;
    for (char& c : function) {
        c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    }
    std::ostringstream arrays;
    writeArray("verbs", verbs, arrays);
    writeArray("options", options, arrays);
    writeArray("arguments", arguments, arrays);
    writeArray("values", values, arrays);
    std::string script = kScript;
    replaceAll(&script, "@ARRAYS@\n", arrays.str());
    replaceAll(&script, "@QUOTED_PROGRAM@", quoted(program));
    replaceAll(&script, "@FUNCTION@", function);
    replaceAll(&script, "@PROGRAM@", program);
    return script;
}
