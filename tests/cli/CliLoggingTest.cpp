// corvix-support logging: what the verb adds in-process (the level's names, exit codes, messages,
// creating nothing to show the level), and concurrent runs of the real binary.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "CliTest.h"

using namespace corvix_test;

namespace {

class LoggingCommandTest : public CliTest {
  protected:
    std::string config(const char* name) const { return userFolder() + name; }
    int logging(const char* level = nullptr) {
        return cli("logging", level ? std::vector<std::string>{level} : std::vector<std::string>{});
    }
};

TEST_F(LoggingCommandTest, ShowsAndSetsTheLevelAndNeverTouchesTheFirstFile) {
    EXPECT_EQ(0, logging());
    EXPECT_EQ("off\n", _out);
    EXPECT_FALSE(exists(home() + "/.config"));

    EXPECT_EQ(0, logging("dev"));
    EXPECT_EQ("Please restart After Effects for the setting to take effect.\n", _out);
    EXPECT_EQ(0, logging());
    EXPECT_EQ("dev\n", _out);
    EXPECT_EQ(0, logging("on"));
    EXPECT_EQ(0, logging());
    EXPECT_EQ("on\n", _out);
    EXPECT_EQ(2, logging("loud"));
    EXPECT_NE(std::string::npos, _err.find("loud"));
    EXPECT_FALSE(exists(config("corvix.cfg")));
}

// A FIFO where a file belongs: an answer at once, naming it, and exit 1.
TEST_F(LoggingCommandTest, FifosAreRefusedAtOnce) {
    makeDirs(userFolder());
    for (const char* name : {"corvix.cfg", "CorvixPro2.cfg"}) {
        unlink(config(name).c_str());
        ASSERT_EQ(0, mkfifo(config(name).c_str(), 0600));
        for (const char* level : {static_cast<const char*>(nullptr), "on"}) {
            auto start = std::chrono::steady_clock::now();
            int code = logging(level);
            EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
            // Setting the level never reads the first file.
            bool untouched = level && std::string(name) == "corvix.cfg";
            EXPECT_EQ(untouched ? 0 : 1, code) << name;
            EXPECT_EQ(untouched, _err.find(config(name) + " is a FIFO") == std::string::npos)
                << _err;
        }
        unlink(config(name).c_str());
    }
}

// Two processes at a time set the level while a third key stands in the file: it survives every
// pair, and the first product's file is never created.
TEST_F(LoggingCommandTest, ConcurrentRunsKeepEveryOtherKey) {
    ASSERT_EQ(0, logging("off"));
    std::string file = config("CorvixPro2.cfg");
    std::string text = readFile(file);
    text.replace(text.find("\ncorvix.processes=default\n"), 26, "\ncorvix.processes=7\n");
    writeFile(file, text);
    for (int pair = 0; pair < 100; ++pair) {
        pid_t on = spawn({"logging", "on"});
        pid_t dev = spawn({"logging", "dev"});
        ASSERT_EQ(0, exitCode(on)) << "pair " << pair;
        ASSERT_EQ(0, exitCode(dev)) << "pair " << pair;
        text = readFile(file);
        ASSERT_NE(std::string::npos, text.find("\ncorvix.processes=7\n")) << "pair " << pair;
        ASSERT_NE(std::string::npos, text.find("\ncorvix.logging=1\n")) << "pair " << pair;
        ASSERT_FALSE(exists(config("corvix.cfg"))) << "pair " << pair;
    }
}

}  // namespace
