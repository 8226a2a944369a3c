#include "CliHelp.h"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace {

// Help narrower than this is unreadable; a narrower terminal gets lines of this width.
const int kNarrowest = 40;

// Characters on screen: UTF-8 continuation bytes take no column of their own.
size_t columnsOf(const std::string& text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

// Where a line's continuation starts: under the description of "  name   description" rows
// (the text after the first run of two or more blanks), else under the line's first character.
size_t hangingIndent(const std::string& line, size_t columns) {
    size_t indent = line.find_first_not_of(' ');
    if (indent == std::string::npos) {
        return 0;
    }
    size_t gap = line.find("  ", indent);
    if (gap != std::string::npos) {
        size_t text = line.find_first_not_of(' ', gap);
        if (text != std::string::npos && text <= columns / 2) {
            return text;
        }
    }
    return indent;
}

void wrapLine(const std::string& line, size_t columns, std::string* out) {
    if (columnsOf(line) <= columns) {
        *out += line;
        return;
    }
    const size_t indent = hangingIndent(line, columns);
    // The first line keeps its own layout up to the hanging column; words follow from there.
    std::string current = line.substr(0, indent);
    std::istringstream words(line.substr(indent));
    bool lineHasWord = false;
    for (std::string word; words >> word;) {
        if (lineHasWord && columnsOf(current) + 1 + columnsOf(word) > columns) {
            *out += current + "\n";
            current = std::string(indent, ' ');
            lineHasWord = false;
        }
        current += (lineHasWord ? " " : "") + word;
        lineHasWord = true;
    }
    *out += current;
}

// Edits (insert, delete, replace, swap two neighbours) from a to b, ignoring letter case.
size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::vector<size_t>> d(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        d[i][0] = i;
    }
    for (size_t j = 0; j <= b.size(); ++j) {
        d[0][j] = j;
    }
    auto same = [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) ==
               std::tolower(static_cast<unsigned char>(y));
    };
    for (size_t i = 1; i <= a.size(); ++i) {
        for (size_t j = 1; j <= b.size(); ++j) {
            d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1,
                                d[i - 1][j - 1] + (same(a[i - 1], b[j - 1]) ? 0 : 1)});
            if (i > 1 && j > 1 && same(a[i - 1], b[j - 2]) && same(a[i - 2], b[j - 1])) {
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
            }
        }
    }
    return d[a.size()][b.size()];
}

// The words that choose command: "corvix-support renderers".
std::string commandLine(const CLI::App* command) {
    std::string line = command->get_name();
    for (const CLI::App* parent = command->get_parent(); parent; parent = parent->get_parent()) {
        line = parent->get_name() + " " + line;
    }
    return line;
}

// The option names typed at command: its own, and its parents' where it lets them through.
std::vector<std::string> optionNames(const CLI::App* command) {
    std::vector<std::string> names;
    for (const CLI::App* at = command; at;
         at = at->get_fallthrough() ? at->get_parent() : nullptr) {
        for (const CLI::Option* option : at->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
            for (const std::string& name : option->get_snames()) {
                names.push_back("-" + name);
            }
        }
    }
    return names;
}

}  // namespace

CliHelpFormatter::CliHelpFormatter(int columns) : _columns(std::max(columns, kNarrowest)) {
    column_width(static_cast<size_t>(std::min(30, _columns / 3)));
}

std::string CliHelpFormatter::make_help(const CLI::App* app, std::string name,
                                        CLI::AppFormatMode mode) const {
    return cliWrap(CLI::Formatter::make_help(app, std::move(name), mode), _columns);
}

std::string cliWrap(const std::string& text, int columns) {
    const size_t width = static_cast<size_t>(std::max(columns, kNarrowest));
    std::string out;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        wrapLine(text.substr(start, end == std::string::npos ? std::string::npos : end - start),
                 width, &out);
        if (end == std::string::npos) {
            break;
        }
        out += "\n";
        start = end + 1;
    }
    return out;
}

std::string cliExitCodes(const std::vector<std::pair<const char*, const char*>>& codes) {
    std::string text = "Exit codes:\n";
    for (const auto& [code, meaning] : codes) {
        std::string row = std::string("  ") + code;
        row.resize(std::max<size_t>(row.size() + 2, 12), ' ');
        text += row + meaning + "\n";
    }
    return text;
}

std::string cliEnvironment() {
    return "Environment:\n"
           "  CORVIX_ROOT      The machine root, as --root (a copied disk)\n"
           "  TMPDIR           Where package makes its staging folder (else /tmp)\n"
           "  HOME             The home folder: the Desktop, After Effects' preferences\n"
           "  XDG_CONFIG_HOME  Holds the product's log and configuration files in Orvanta/Corvix "
           "(else ~/.config)\n";
}

CLI::Validator cliWholeNumber(long long max, const std::string& unit) {
    return CLI::Validator(
        [max, unit](std::string& text) -> std::string {
            const std::string refusal = "\"" + text + "\" is not a whole number of " + unit +
                                        " from 0 to " + std::to_string(max);
            if (text.empty() || text.size() > 18 ||
                !std::all_of(text.begin(), text.end(),
                             [](char c) { return c >= '0' && c <= '9'; })) {
                return refusal;
            }
            long long value = std::stoll(text);
            if (value > max) {
                return refusal;
            }
            text = std::to_string(value);
            return std::string();
        },
        "", "");
}

std::string cliNearest(const std::string& word, const std::vector<std::string>& candidates) {
    std::string best;
    size_t bestDistance = word.size() <= 4 ? 2 : 3;
    std::vector<std::string> extending;
    for (const std::string& candidate : candidates) {
        size_t distance = editDistance(word, candidate);
        if (distance < bestDistance) {
            best = candidate;
            bestDistance = distance;
        }
        if (word.size() >= 2 && candidate.size() > word.size() &&
            candidate.compare(0, word.size(), word) == 0) {
            extending.push_back(candidate);
        }
    }
    if (best.empty() && extending.size() == 1) {
        best = extending.front();
    }
    return best;
}

std::string cliSuggestion(const CLI::App& app, const CLI::Error& error) {
    if (!dynamic_cast<const CLI::ExtrasError*>(&error)) {
        return std::string();
    }
    const std::vector<std::string> extras = app.remaining(true);
    if (extras.empty()) {
        return std::string();
    }
    const CLI::App* command = &app;
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
    }
    std::string word = extras.front();
    std::string nearest;
    const char* kind = "verb";
    if (word[0] == '-') {
        word = word.substr(0, word.find('='));
        nearest = cliNearest(word, optionNames(command));
        kind = "option";
    } else {
        std::vector<std::string> verbs;
        for (const CLI::App* verb : command->get_subcommands({})) {
            verbs.push_back(verb->get_name());
        }
        nearest = cliNearest(word, verbs);
    }
    if (nearest.empty()) {
        return std::string();
    }
    return "\"" + word + "\" is not " + (kind[0] == 'o' ? "an " : "a ") + kind + " of " +
           commandLine(command) + "; did you mean \"" + nearest + "\"?";
}
