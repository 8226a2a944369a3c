// The cleaner: log-file selection and its exceptions, configuration files with their standard-
// error lines, and the machine-wide product folders below the machine root.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "CorvixCleaner.h"
#include "TestEnvironment.h"

using corvix_test::exists;
using corvix_test::makeDirs;
using corvix_test::SandboxTest;
using corvix_test::writeFile;

namespace {

class CorvixCleanerTest : public SandboxTest {
  protected:
    std::string logs() const { return home() + "/.config/Orvanta/Corvix/"; }
    std::string product(const std::string& generation, const std::string& item) const {
        return root() + "/Library/Application Support/Orvanta Software/" + generation + "/" + item;
    }
    // Both generations' store, registry, render queue and cache, each with content.
    void makeProductState() {
        for (const char* generation : {"CorvixPro", "CorvixPro2"}) {
            makeDirs(product(generation, "RenderQueue/job"));
            writeFile(product(generation, "RenderQueue/RQ.txt"), "q");
            writeFile(product(generation, "RenderQueue/job/RQ-History.txt"), "h");
            makeDirs(product(generation, "Cache/frames"));
            writeFile(product(generation, "Cache/frames/0001.raw"), "f");
            writeFile(product(generation, "Config.txt"), "c");
            writeFile(product(generation, "FrameCache.cpr"), "r");
        }
    }
    CorvixCleaner _cleaner;
};

TEST_F(CorvixCleanerTest, RemoveLogsDeletesProductLogsOnly) {
    makeDirs(logs());
    for (const char* name : {"corvix.log", "corvix.log.0.txt", "CorPro.txt", "corvix.cfg",
                             "other.log", "xCORVIXtxt", "corvix.log.bak"}) {
        writeFile(logs() + name, "x");
    }
    EXPECT_EQ(4, _cleaner.removeLogs());
    EXPECT_FALSE(exists(logs() + "corvix.log"));
    EXPECT_FALSE(exists(logs() + "corvix.log.0.txt"));
    EXPECT_FALSE(exists(logs() + "CorPro.txt"));
    EXPECT_FALSE(exists(logs() + "xCORVIXtxt"));
    EXPECT_TRUE(exists(logs() + "corvix.cfg"));
    EXPECT_TRUE(exists(logs() + "other.log"));
    EXPECT_TRUE(exists(logs() + "corvix.log.bak"));
    EXPECT_EQ(0, _cleaner.removeLogs());
}

TEST_F(CorvixCleanerTest, RemoveLogsThrowsForUnlistableFolderAndUndeletableFile) {
    // A file where the log folder should be: it can be neither made nor listed, even by root.
    makeDirs(home() + "/.config/Orvanta");
    writeFile(home() + "/.config/Orvanta/Corvix", "not a folder");
    try {
        _cleaner.removeLogs();
        ADD_FAILURE() << "no exception";
    } catch (const CorvixCleanerException& e) {
        EXPECT_EQ("Could not open \"" + logs() + "\" for directory listing.", e.what());
    }

    unlink((home() + "/.config/Orvanta/Corvix").c_str());
    makeDirs(logs() + "corvix.log");
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

TEST_F(CorvixCleanerTest, RemoveConfigFilesCountsAndReportsOnStandardError) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(0, _cleaner.removeConfigFiles());
    EXPECT_EQ("\ncorvix.cfg not deleted.\nCorvixPro2.cfg not deleted.\n0 config files deleted.",
              testing::internal::GetCapturedStderr());

    makeDirs(logs());
    writeFile(logs() + "CorvixPro2.cfg", "x");
    testing::internal::CaptureStderr();
    EXPECT_EQ(1, _cleaner.removeConfigFiles());
    EXPECT_EQ("\ncorvix.cfg not deleted.\n1 config files deleted.",
              testing::internal::GetCapturedStderr());
    EXPECT_FALSE(exists(logs() + "CorvixPro2.cfg"));
}

TEST_F(CorvixCleanerTest, RemoveAllLeavesMachineWideState) {
    makeProductState();
    makeDirs(logs());
    writeFile(logs() + "corvix.log", "x");
    writeFile(logs() + "corvix.cfg", "x");
    writeFile(logs() + "CorvixPro2.cfg", "x");
    testing::internal::CaptureStderr();
    EXPECT_EQ(1, _cleaner.removeAll());
    EXPECT_EQ("\n2 config files deleted.", testing::internal::GetCapturedStderr());
    EXPECT_FALSE(exists(logs() + "corvix.log"));
    EXPECT_FALSE(exists(logs() + "corvix.cfg"));
    EXPECT_FALSE(exists(logs() + "CorvixPro2.cfg"));
    for (const char* generation : {"CorvixPro", "CorvixPro2"}) {
        for (const char* item :
             {"RenderQueue/RQ.txt", "Cache/frames/0001.raw", "Config.txt", "FrameCache.cpr"}) {
            EXPECT_TRUE(exists(product(generation, item))) << generation << "/" << item;
        }
    }
}

TEST_F(CorvixCleanerTest, ProductFoldersGoForBothGenerationsWithoutFollowingLinks) {
    makeProductState();
    makeDirs(tmp("elsewhere"));
    writeFile(tmp("elsewhere/sentinel"), "keep me");
    ASSERT_EQ(0,
              symlink(tmp("elsewhere").c_str(), product("CorvixPro2", "RenderQueue/link").c_str()));

    // Two files per generation and the link, which goes as the link itself.
    EXPECT_EQ(5, _cleaner.removeRenderQueueFiles(e_corvix_pro));
    EXPECT_TRUE(exists(tmp("elsewhere/sentinel")));
    EXPECT_EQ(2, _cleaner.removeCacheFiles());
    _cleaner.removePISSConfig();
    _cleaner.removeFrameRegistry();
    for (const char* generation : {"CorvixPro", "CorvixPro2"}) {
        for (const char* item : {"RenderQueue", "Cache", "Config.txt", "FrameCache.cpr"}) {
            EXPECT_FALSE(exists(product(generation, item))) << generation << "/" << item;
        }
    }
    // Nothing left to delete is no error.
    EXPECT_EQ(0, _cleaner.removeRenderQueueFiles(e_corvix_all));
    EXPECT_EQ(1, _cleaner.removeRenderQueueHistory());
    EXPECT_EQ(1, _cleaner.removeRenderQueueActiveJobs());
}

}  // namespace
