// corvix-support clean, in-process: refusals, the question, the task order under an error.
#include <sstream>
#include <string>
#include <vector>

#include "CliTest.h"
#include "TestEnvironment.h"

using corvix_test::exists;
using corvix_test::makeDirs;
using corvix_test::SandboxTest;
using corvix_test::writeFile;

namespace {

class CleanCommandTest : public corvix_test::CliTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        makeDirs(product("RenderQueue"));
        writeFile(product("RenderQueue/RQ.txt"), "q");
        makeDirs(product("Cache"));
        writeFile(product("Cache/frame"), "f");
        makeDirs(userFolder());
        writeFile(userFolder() + "/corvix.log", "l");
    }
    std::string userFolder() const { return home() + "/.config/Orvanta/Corvix"; }
    std::string product(const std::string& item) const {
        return root() + "/Library/Application Support/Orvanta Software/CorvixPro/" + item;
    }
    int clean(const std::vector<std::string>& arguments, const std::string& input = "",
              bool interactive = false) {
        testing::internal::CaptureStderr();  // the cleaner's own diagnostics
        int code = cli("clean", arguments, input, interactive);
        testing::internal::GetCapturedStderr();
        return code;
    }
    bool untouched() const {
        return exists(product("RenderQueue/RQ.txt")) && exists(product("Cache/frame")) &&
               exists(userFolder() + "/corvix.log");
    }
};

TEST_F(CleanCommandTest, RefusesWithoutTasksOrConfirmation) {
    EXPECT_EQ(2, clean({"--yes"}));
    EXPECT_EQ(0u, _err.find("No maintenance tasks have been selected.\n"));

    EXPECT_EQ(2, clean({"--all"}));
    EXPECT_NE(std::string::npos, _err.find("--yes"));

    EXPECT_EQ(2, clean({"--logs", "--cache"}, "n\n", true));
    EXPECT_NE(std::string::npos, _out.find("Are you sure you want to reset your settings [y/N] "));
    EXPECT_EQ(2, clean({"--logs"}, "", true));  // end of input is no "yes"
    EXPECT_TRUE(untouched());
}

TEST_F(CleanCommandTest, ConfirmedTasksRunAndPrintTheirCounts) {
    EXPECT_EQ(0, clean({"--logs", "--cache"}, " Yes\n", true));
    EXPECT_NE(std::string::npos,
              _out.find("Log files: 1 deleted.\nFrame cache files: 1 deleted.\n"));
    EXPECT_EQ(std::string::npos, _out.find("Render queue"));
    EXPECT_FALSE(exists(userFolder() + "/corvix.log"));
    EXPECT_FALSE(exists(product("Cache")));
    EXPECT_TRUE(exists(product("RenderQueue/RQ.txt")));
}

TEST_F(CleanCommandTest, ErrorStopsLaterTasksAndFails) {
    corvix_test::runCommand("rm -rf '" + userFolder() + "'");
    writeFile(userFolder(), "not a folder");
    EXPECT_EQ(1, clean({"--all", "-y"}));
    EXPECT_EQ("Error performing maintenance.\nCould not open \"" + userFolder() +
                  "/\" for directory listing.\n",
              _err);
    EXPECT_EQ("Render queue files: 1 deleted.\n", _out);
    EXPECT_FALSE(exists(product("RenderQueue")));
    EXPECT_TRUE(exists(product("Cache/frame")));
}

}  // namespace
