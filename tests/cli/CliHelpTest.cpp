// corvix-support's help and its parse errors, through the real binary: wrapped to the terminal
// (80 columns without one), ending in exit codes and environment, "help VERB", and a guess for a
// mistyped verb or option.
#include <sstream>
#include <string>
#include <vector>

#include "CliTest.h"

namespace {

class CliHelpTest : public corvix_test::CliTest {
  protected:
    // The widest line of text, in characters.
    static size_t widest(const std::string& text) {
        size_t widest = 0;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            size_t characters = 0;
            for (unsigned char c : line) {
                characters += (c & 0xC0) != 0x80 && c != '\r';
            }
            widest = std::max(widest, characters);
        }
        return widest;
    }
};

TEST_F(CliHelpTest, HelpFitsTheTerminalAndEndsWithExitCodesAndEnvironment) {
    ASSERT_EQ(0, binary({"--help"}));
    EXPECT_LE(widest(_out), 80u);
    EXPECT_GT(widest(_out), 70u);  // wrapped at the width, not far below it
    const size_t codes = _out.find("\nExit codes:\n  0 ");
    const size_t environment = _out.find("\nEnvironment:\n");
    ASSERT_NE(std::string::npos, codes) << _out;
    ASSERT_NE(std::string::npos, environment);
    EXPECT_LT(codes, environment);
    for (const char* variable : {"CORVIX_ROOT", "TMPDIR", "HOME", "XDG_CONFIG_HOME"}) {
        EXPECT_NE(std::string::npos, _out.find("\n  " + std::string(variable) + " ", environment))
            << variable;
    }

    std::string screen;
    ASSERT_EQ(0, corvix_test::runOnTerminal({"help", "package"}, "", &screen, 50));
    EXPECT_LE(widest(screen), 50u);
    EXPECT_NE(std::string::npos, screen.find("Usage: corvix-support package [OPTIONS]"));
    EXPECT_NE(std::string::npos, screen.find("\n  130, 143  Interrupted by SIGINT or"));
    ASSERT_EQ(0, binary({"help", "renderers", "pin"}));
    EXPECT_NE(std::string::npos, _out.find("Usage: corvix-support renderers pin [OPTIONS] NAME"));
}

TEST_F(CliHelpTest, MistypedVerbsAndOptionsGetAGuess) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"pakage"}, "\"pakage\" is not a verb of corvix-support; did you mean \"package\"?"},
        {{"clena", "--all"}, "did you mean \"clean\"?"},
        {{"renderers", "lst"},
         "\"lst\" is not a verb of corvix-support renderers; did you mean "
         "\"list\"?"},
        {{"package", "--dryrun"},
         "\"--dryrun\" is not an option of corvix-support package; did "
         "you mean \"--dry-run\"?"},
        {{"help", "sweeep"},
         "\"sweeep\" is not a verb of corvix-support; did you mean "
         "\"sweep\"?"},
        {{"frobnicate"}, "The following argument was not expected: frobnicate"},
    };
    for (const auto& [arguments, message] : cases) {
        EXPECT_EQ(2, binary(arguments)) << arguments[0];
        EXPECT_NE(std::string::npos, _err.find(message)) << _err;
        EXPECT_EQ("", _out);
    }
}

}  // namespace
