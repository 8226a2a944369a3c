// Writes corvix-support's manual page and bash completion from its command-line definition. Run
// by the build:
//
//   corvix_make_cli_docs VERSION MANPAGE_TEMPLATE MANPAGE_OUT COMPLETION_OUT
//
// Each output is written beside its destination and renamed into place, so that a failed run
// leaves no half-written file for the build to take as current.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include "CliBashCompletion.h"
#include "CliContext.h"
#include "CliMain.h"
#include "CliManPage.h"
#include "CliReference.h"

namespace {

bool writeFile(const std::string& path, const std::string& text) {
    const std::string temporary = path + ".tmp";
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (!out || std::rename(temporary.c_str(), path.c_str()) != 0) {
        std::cerr << "corvix_make_cli_docs: cannot write " << path << "\n";
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc != 5) {
        std::cerr << "usage: corvix_make_cli_docs VERSION MANPAGE_TEMPLATE MANPAGE_OUT "
                     "COMPLETION_OUT\n";
        return 2;
    }
    std::ifstream in(argv[2], std::ios::binary);
    std::ostringstream templateText;
    templateText << in.rdbuf();
    if (!in) {
        std::cerr << "corvix_make_cli_docs: cannot read " << argv[2] << "\n";
        return 1;
    }

    // The verbs' callbacks never run: nothing is parsed.
    std::ostringstream unused;
    std::istringstream noInput;
    CliContext context{unused, unused, noInput, CliTerminal()};
    CLI::App app;
    buildCorvixCliApp(app, context);
    const std::vector<CliCommandInfo> commands = cliCommands(app);

    const bool ok = writeFile(argv[3], cliManualPage(templateText.str(), commands, argv[1])) &&
                    writeFile(argv[4], cliBashCompletion(commands));
    return ok ? 0 : 1;
}
