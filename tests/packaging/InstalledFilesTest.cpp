// The files installed beside the programs, against what they describe: the manual page and the
// bash completion must cover every verb and option of corvix-support's live definition (walked
// here, not through the generator), the desktop entry and AppStream metadata must validate, and
// the changelog and metadata must name the project's version.
#include <CLI/CLI.hpp>

#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "CliContext.h"
#include "CliMain.h"
#include "TestEnvironment.h"

using namespace corvix_test;

namespace {

struct Command {
    std::string _line;  // "corvix-support renderers pin"
    std::string _verb;  // "renderers pin"; empty for the program
    std::vector<std::string> _options;
    std::vector<std::string> _verbs;
};

std::vector<Command> liveCommands() {
    std::ostringstream unused;
    std::istringstream noInput;
    CliContext context{unused, unused, noInput, CliTerminal()};
    CLI::App app;
    buildCorvixCliApp(app, context);
    std::vector<Command> commands;
    std::function<void(const CLI::App&, const std::string&)> walk = [&](const CLI::App& at,
                                                                        const std::string& verb) {
        Command command{verb.empty() ? at.get_name() : "corvix-support " + verb, verb, {}, {}};
        // Options and verbs without a group are hidden from help, and so from the page.
        for (const CLI::Option* option : at.get_options()) {
            if (option->get_group().empty()) {
                continue;
            }
            for (const std::string& name : option->get_snames()) {
                command._options.push_back("-" + name);
            }
            for (const std::string& name : option->get_lnames()) {
                command._options.push_back("--" + name);
            }
        }
        std::vector<const CLI::App*> verbs =
            at.get_subcommands([](const CLI::App* sub) { return !sub->get_group().empty(); });
        for (const CLI::App* sub : verbs) {
            command._verbs.push_back(sub->get_name());
        }
        commands.push_back(command);
        for (const CLI::App* sub : verbs) {
            walk(*sub, (verb.empty() ? "" : verb + " ") + sub->get_name());
        }
    };
    walk(app, "");
    return commands;
}

// Whether text holds word followed by a blank, a comma or the end of a line.
bool holdsWord(const std::string& text, const std::string& word) {
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        const size_t end = at + word.size();
        if (end == text.size() || text[end] == ' ' || text[end] == ',' || text[end] == '\n') {
            return true;
        }
    }
    return false;
}

std::string quoted(const std::string& s) {
    return "'" + s + "'";
}

class InstalledFilesTest : public SandboxTest {
  protected:
    // What the completion offers for each line (the text before the cursor) in the folder
    // <tmp>/work, run the way bash does: split into words, "=" a word of its own, a trailing
    // blank starting an empty word.
    std::map<std::string, std::set<std::string>> complete(const std::vector<std::string>& lines) {
        std::string script = R"(source /usr/share/bash-completion/bash_completion
source "$1"
cd "$2"
query() {
    COMP_LINE=$1 COMP_POINT=${#1} COMPREPLY=()
    read -ra COMP_WORDS <<<"${1//=/ = }"
    [[ $1 == *' ' ]] && COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    _corvix_support
    printf '%s\n' "== $1" "${COMPREPLY[@]}"
}
)";
        for (const std::string& line : lines) {
            script += "query " + quoted(line) + "\n";
        }
        writeFile(tmp("complete.sh"), script);
        std::string output;
        EXPECT_EQ(0, runCommand("bash " + quoted(tmp("complete.sh")) +
                                    " " CORVIX_BASH_COMPLETION " " + quoted(tmp("work")) + " 2>&1",
                                &output))
            << output;
        std::map<std::string, std::set<std::string>> offered;
        std::set<std::string>* words = nullptr;
        std::istringstream in(output);
        for (std::string word; std::getline(in, word);) {
            if (word.rfind("== ", 0) == 0) {
                words = &offered[word.substr(3)];
            } else if (words != nullptr && !word.empty()) {
                words->insert(word);
            }
        }
        return offered;
    }
};

TEST_F(InstalledFilesTest, ManualPageShowsEveryVerbWithItsOptions) {
    std::string page;
    ASSERT_EQ(0, runCommand("MANWIDTH=1000 LC_ALL=C man -l " CORVIX_MAN_PAGE " 2>&1", &page))
        << page;
    // Each verb's subsection runs from its heading to the next heading; the program's options
    // stand in OPTIONS.
    std::map<std::string, std::string> sections;
    std::string* section = nullptr;
    std::istringstream in(page);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line[0] != ' ') {
            section = line == "OPTIONS" ? &sections[""] : nullptr;
        } else if (line.size() > 3 && line.compare(0, 3, "   ") == 0 && line[3] != ' ') {
            section = &sections[line.substr(3)];
        } else if (section != nullptr) {
            *section += line + "\n";
        }
    }
    for (const Command& command : liveCommands()) {
        SCOPED_TRACE(command._line);
        ASSERT_EQ(1u, sections.count(command._verb)) << page;
        for (const std::string& option : command._options) {
            EXPECT_TRUE(holdsWord(sections[command._verb], option)) << option << " in\n"
                                                                    << sections[command._verb];
        }
    }
}

// Every verb and option of the live definition is offered, and values and arguments complete as
// they take: the level's names, files, folders, nothing for free text.
TEST_F(InstalledFilesTest, CompletionOffersEveryVerbOptionAndValue) {
    makeDirs(tmp("work/Projects"));
    writeFile(tmp("work/notes.txt"), "");
    const std::set<std::string> files{"Projects/", "notes.txt"};
    const struct {
        std::string line;
        std::set<std::string> expected;
    } cases[] = {
        {"corvix-support logging ", {"dev", "off", "on"}},
        {"corvix-support logging o", {"off", "on"}},
        {"corvix-support logging dev ", {}},
        {"corvix-support package --output ", files},
        {"corvix-support package --output=", files},
        {"corvix-support package -o n", {"notes.txt"}},
        {"corvix-support package --name ", {}},
        {"corvix-support sweep ", {"Projects/"}},
        {"corvix-support sweep -r ", {"Projects/"}},
        {"corvix-support --root ", {"Projects/"}},
        {"corvix-support --root Projects pack", {"package"}},
        {"corvix-support renderers pin Name ", files},
        {"corvix-support renderers list --j", {"--json"}},
    };
    const std::vector<Command> commands = liveCommands();
    std::vector<std::string> lines;
    for (const Command& command : commands) {
        lines.push_back(command._line + " ");
        lines.push_back(command._line + " -");
    }
    for (const auto& c : cases) {
        lines.push_back(c.line);
    }
    std::map<std::string, std::set<std::string>> offered = complete(lines);
    for (const Command& command : commands) {
        SCOPED_TRACE(command._line);
        for (const std::string& verb : command._verbs) {
            EXPECT_EQ(1u, offered[command._line + " "].count(verb)) << verb;
        }
        for (const std::string& option : command._options) {
            EXPECT_EQ(1u, offered[command._line + " -"].count(option)) << option;
        }
    }
    for (const auto& c : cases) {
        std::set<std::string> got;
        for (const std::string& word : offered[c.line]) {
            // _filedir marks folders for bash to append a slash; here they come bare.
            got.insert(word == "Projects" ? "Projects/" : word);
        }
        EXPECT_EQ(c.expected, got) << c.line;
    }
}

TEST_F(InstalledFilesTest, DesktopEntryAndMetadataValidate) {
    for (const std::string& command :
         {"desktop-file-validate " + quoted(CORVIX_DESKTOP_ENTRY),
          "appstreamcli validate --no-net " + quoted(CORVIX_METAINFO)}) {
        std::string output;
        EXPECT_EQ(0, runCommand(command + " 2>&1", &output)) << command << ":\n" << output;
    }
}

TEST_F(InstalledFilesTest, ChangelogAndMetadataNameTheProjectVersion) {
    const std::string changelog = readFile(CORVIX_CHANGELOG);
    EXPECT_EQ(0u, changelog.find("corvix-support (" CORVIX_VERSION "-"))
        << "the newest changelog entry is not for " CORVIX_VERSION;
    const std::string metainfo = readFile(CORVIX_METAINFO);
    const size_t release = metainfo.find("<release ");
    ASSERT_NE(std::string::npos, release);
    EXPECT_EQ(release, metainfo.find("<release version=\"" CORVIX_VERSION "\""))
        << "the newest release in the metadata is not " CORVIX_VERSION;
}

}  // namespace
