// The cleaner: log-file selection and its exceptions, configuration files with their standard-
// error lines, and the machine-wide product folders below the machine root.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "CorvixCleaner.h"
#include "TestEnvironment.h"

using corvix_test::exists;
using corvix_test::SandboxTest;
using corvix_test::writeFile;

namespace {

const char* const kGenerations[] = {"CorvixPro", "CorvixPro2"};

class CorvixCleanerTest : public SandboxTest {
  protected:
    std::string logs() const { return home() + "/.config/Orvanta/Corvix/"; }
    std::string product(const std::string& generation, const std::string& item) const {
        return root() + "/Library/Application Support/Orvanta Software/" + generation + "/" + item;
    }
    // Both generations' store, registry, render queue and cache, each with content.
    void makeProductState() {
        for (const char* generation : kGenerations) {
            for (const char* item : {"RenderQueue/RQ.txt", "RenderQueue/job/RQ-History.txt",
                                     "Cache/frames/0001.raw", "Config.txt", "FrameCache.cpr"}) {
                writeFile(product(generation, item), "x");
            }
        }
    }
    CorvixCleaner _cleaner;
};

TEST_F(CorvixCleanerTest, RemoveLogsDeletesProductLogsOnly) {
    const std::pair<const char*, bool> files[] = {{"corvix.log.0.txt", true},
                                                  {"CorPro.txt", true},
                                                  {"xCORVIXtxt", true},
                                                  {"corvix.cfg", false},
                                                  {"other.log", false}};
    for (const auto& [name, deleted] : files) {
        writeFile(logs() + name, "x");
    }
    EXPECT_EQ(3, _cleaner.removeLogs());
    for (const auto& [name, deleted] : files) {
        EXPECT_EQ(!deleted, exists(logs() + name)) << name;
    }
    EXPECT_EQ(0, _cleaner.removeLogs());
}

TEST_F(CorvixCleanerTest, RemoveLogsThrowsForUnlistableFolderAndUndeletableFile) {
    // A file where the log folder should be: it can be neither made nor listed, even by root.
    writeFile(home() + "/.config/Orvanta/Corvix", "not a folder");
    try {
        _cleaner.removeLogs();
        ADD_FAILURE() << "no exception";
    } catch (const CorvixCleanerException& e) {
        EXPECT_EQ("Could not open \"" + logs() + "\" for directory listing.", e.what());
    }

    unlink((home() + "/.config/Orvanta/Corvix").c_str());
    writeFile(logs() + "corvix.log/keep", "x");
    testing::internal::CaptureStderr();
    try {
        _cleaner.removeAll();
        ADD_FAILURE() << "no exception";
    } catch (const std::exception& e) {
        EXPECT_EQ("Could not delete " + logs() + "corvix.log\nDirectory not empty.",
                  std::string(e.what()));
    }
    EXPECT_EQ("\nTrying to delete: " + logs() + "corvix.log",
              testing::internal::GetCapturedStderr());
}

// removeAll takes the logs and both configuration files and leaves every machine-wide item.
TEST_F(CorvixCleanerTest, ConfigFilesAndRemoveAll) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(0, _cleaner.removeConfigFiles());
    writeFile(logs() + "CorvixPro2.cfg", "x");
    EXPECT_EQ(1, _cleaner.removeConfigFiles());
    EXPECT_EQ(
        "\ncorvix.cfg not deleted.\nCorvixPro2.cfg not deleted.\n0 config files deleted."
        "\ncorvix.cfg not deleted.\n1 config files deleted.",
        testing::internal::GetCapturedStderr());

    makeProductState();
    for (const char* name : {"corvix.log", "corvix.cfg", "CorvixPro2.cfg"}) {
        writeFile(logs() + name, "x");
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(1, _cleaner.removeAll());
    EXPECT_EQ("\n2 config files deleted.", testing::internal::GetCapturedStderr());
    for (const char* name : {"corvix.log", "corvix.cfg", "CorvixPro2.cfg"}) {
        EXPECT_FALSE(exists(logs() + name)) << name;
    }
    for (const char* generation : kGenerations) {
        for (const char* item :
             {"RenderQueue/RQ.txt", "Cache/frames/0001.raw", "Config.txt", "FrameCache.cpr"}) {
            EXPECT_TRUE(exists(product(generation, item))) << generation << "/" << item;
        }
    }
}

TEST_F(CorvixCleanerTest, ProductFoldersGoForBothGenerationsWithoutFollowingLinks) {
    makeProductState();
    writeFile(tmp("elsewhere/sentinel"), "keep me");
    ASSERT_EQ(0,
              symlink(tmp("elsewhere").c_str(), product("CorvixPro2", "RenderQueue/link").c_str()));

    // Two files per generation and the link, which goes as the link itself.
    EXPECT_EQ(5, _cleaner.removeRenderQueueFiles(e_corvix_pro));
    EXPECT_TRUE(exists(tmp("elsewhere/sentinel")));
    EXPECT_EQ(2, _cleaner.removeCacheFiles());
    _cleaner.removePISSConfig();
    _cleaner.removeFrameRegistry();
    for (const char* generation : kGenerations) {
        for (const char* item : {"RenderQueue", "Cache", "Config.txt", "FrameCache.cpr"}) {
            EXPECT_FALSE(exists(product(generation, item))) << generation << "/" << item;
        }
    }
    // Nothing left to delete is no error.
    EXPECT_EQ(0, _cleaner.removeRenderQueueFiles(e_corvix_all));
}

}  // namespace
