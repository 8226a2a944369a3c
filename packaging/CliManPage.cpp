#include "CliManPage.h"

#include <cctype>
#include <sstream>

namespace {

// Backslashes are roff's escape character, and a line that begins with a dot or an apostrophe
// would be read as a request.
std::string roffText(const std::string& text) {
    std::string out;
    bool lineStart = true;
    for (char c : text) {
        if (lineStart && (c == '.' || c == '\'')) {
            out += "\\&";
        }
        out += c == '\\' ? std::string("\\e") : std::string(1, c);
        lineStart = c == '\n';
    }
    return out;
}

// Option names and commands are typed as they stand: their hyphens are minus signs.
std::string roffLiteral(const std::string& text) {
    std::string out;
    for (char c : roffText(text)) {
        out += c == '-' ? std::string("\\-") : std::string(1, c);
    }
    return out;
}

std::string bold(const std::string& text) {
    return "\\fB" + roffLiteral(text) + "\\fR";
}

std::string italic(const std::string& text) {
    return "\\fI" + roffLiteral(text) + "\\fR";
}

// Help shows descriptions without a closing full stop; a page of prose needs one.
std::string sentence(const std::string& text) {
    if (text.empty() || !(std::isalnum(static_cast<unsigned char>(text.back())) ||
                          text.back() == ')' || text.back() == '"')) {
        return roffText(text);
    }
    return roffText(text) + ".";
}

// A description, then what help shows beside it, each on a line of its own.
std::string details(const CliOptionInfo& option) {
    std::string text = sentence(option._description);
    if (!option._default.empty()) {
        text += "\n.br\nDefault: " + roffLiteral(option._default) + ".";
    }
    if (!option._choices.empty()) {
        text += "\n.br\nValues:";
        const char* separator = " ";
        for (const std::string& choice : option._choices) {
            text += separator + bold(choice);
            separator = ", ";
        }
        text += ".";
    }
    if (option._required && !option._names.empty()) {
        text += "\n.br\nRequired.";
    }
    return text;
}

void writeOptions(const CliCommandInfo& command, std::ostream& out) {
    for (const CliOptionInfo& option : command._options) {
        out << ".TP\n";
        const char* separator = "";
        for (const std::string& name : option._names) {
            out << separator << bold(name);
            separator = ", ";
        }
        if (!option.isFlag()) {
            out << " " << italic(option._valueName);
        }
        out << "\n" << details(option) << "\n";
    }
    for (const CliOptionInfo& argument : command._arguments) {
        out << ".TP\n" << italic(argument._valueName) << "\n" << details(argument) << "\n";
    }
}

void writeVerb(const CliCommandInfo& command, std::ostream& out) {
    const std::string verb = cliJoin({command._path.begin() + 1, command._path.end()});
    out << ".SS \"" << roffText(verb) << "\"\n"
        << bold(cliJoin(command._path)) << " [" << italic("options") << "]";
    for (const CliOptionInfo& argument : command._arguments) {
        out << " " << (argument._required ? "" : "[") << italic(argument._valueName)
            << (argument._required ? "" : "]");
    }
    if (!command._verbs.empty()) {
        out << " " << (command._verbRequired ? "" : "[") << italic("verb")
            << (command._verbRequired ? "" : "]");
    }
    out << "\n.PP\n" << sentence(command._description) << "\n";
    writeOptions(command, out);
}

void replace(std::string* text, const std::string& placeholder, const std::string& value) {
    const size_t at = text->find(placeholder);
    if (at != std::string::npos) {
        text->replace(at, placeholder.size(), value);
    }
}

}  // namespace

std::string cliManualPage(const std::string& templateText,
                          const std::vector<CliCommandInfo>& commands, const std::string& version) {
    std::ostringstream options, verbs;
    if (!commands.empty()) {
        writeOptions(commands.front(), options);
    }
    for (size_t i = 1; i < commands.size(); ++i) {
        writeVerb(commands[i], verbs);
    }
    std::string page = templateText;
    // Each block ends with a newline and stands on the template's line of its own.
    replace(&page, "@OPTIONS@\n", options.str());
    replace(&page, "@VERBS@\n", verbs.str());
    replace(&page, "@VERSION@", roffLiteral(version));
    return page;
}
