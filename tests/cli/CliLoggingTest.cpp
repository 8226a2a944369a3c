// corvix-support logging, in-process: reading as the view selects, writing only CorvixPro2.cfg.
#include <sstream>
#include <string>
#include <vector>

#include "CliTest.h"
#include "TestEnvironment.h"

using corvix_test::exists;
using corvix_test::readFile;
using corvix_test::SandboxTest;

namespace {

class LoggingCommandTest : public corvix_test::CliTest {
  protected:
    std::string config(const char* name) const {
        return home() + "/.config/Orvanta/Corvix/" + name;
    }
    int logging(const char* level = nullptr) {
        return cli("logging", level ? std::vector<std::string>{level} : std::vector<std::string>{});
    }
};

TEST_F(LoggingCommandTest, ShowsAndSetsTheLevel) {
    EXPECT_EQ(0, logging());
    EXPECT_EQ("off\n", _out);
    EXPECT_TRUE(exists(config("corvix.cfg")));
    std::string first = readFile(config("corvix.cfg"));

    EXPECT_EQ(0, logging("dev"));
    EXPECT_EQ("Please restart After Effects for the setting to take effect.\n", _out);
    std::string second = readFile(config("CorvixPro2.cfg"));
    EXPECT_NE(std::string::npos, second.find("\ncorvix.dev.logging=1\n"));
    EXPECT_NE(std::string::npos, second.find("\ncorvix.logging=1\n"));
    EXPECT_EQ(0, logging());
    EXPECT_EQ("dev\n", _out);

    EXPECT_EQ(0, logging("on"));
    EXPECT_EQ(0, logging());
    EXPECT_EQ("on\n", _out);
    EXPECT_EQ(first, readFile(config("corvix.cfg")));

    EXPECT_EQ(2, logging("loud"));
    EXPECT_NE(std::string::npos, _err.find("loud"));
    EXPECT_EQ(0, logging());
    EXPECT_EQ("on\n", _out);
}

TEST_F(LoggingCommandTest, ALevelThatCannotBeWrittenIsAnError) {
    corvix_test::makeDirs(config("CorvixPro2.cfg"));  // a folder where the file belongs
    EXPECT_EQ(1, logging("dev"));
    EXPECT_EQ("", _out);
    EXPECT_NE(std::string::npos, _err.find("could not be written to " + config("CorvixPro2.cfg")))
        << _err;
}

}  // namespace
