// The cleaner: log-file selection and its exceptions, configuration files with their designed
// lines, and the machine-wide product folders below the machine root with honest counts.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "CorvixCleaner.h"
#include "MaintenanceTest.h"

using corvix_test::exists;
using corvix_test::writeFile;

namespace {

const char* const kGenerations[] = {"CorvixPro", "CorvixPro2"};

class CorvixCleanerTest : public corvix_test::MaintenanceTest {
  protected:
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
        writeFile(userFolder() + name, "x");
    }
    EXPECT_EQ(3, _cleaner.removeLogs());
    for (const auto& [name, deleted] : files) {
        EXPECT_EQ(!deleted, exists(userFolder() + name)) << name;
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
        EXPECT_EQ("Could not open \"" + userFolder() + "\" for directory listing.", e.what());
    }

    unlink((home() + "/.config/Orvanta/Corvix").c_str());
    writeFile(userFolder() + "corvix.log/keep", "x");
    try {
        _cleaner.removeAll();
        ADD_FAILURE() << "no exception";
    } catch (const std::exception& e) {
        EXPECT_EQ("Could not delete " + userFolder() + "corvix.log\nDirectory not empty.",
                  std::string(e.what()));
    }
    EXPECT_EQ("\nTrying to delete: " + userFolder() + "corvix.log", diagnostics());
}

// removeAll takes the logs and both configuration files and leaves every machine-wide item.
TEST_F(CorvixCleanerTest, ConfigFilesAndRemoveAll) {
    EXPECT_EQ(0, _cleaner.removeConfigFiles());
    writeFile(userFolder() + "CorvixPro2.cfg", "x");
    CorvixCleanerResult result;
    EXPECT_EQ(1, _cleaner.removeConfigFiles(&result));
    EXPECT_EQ(1, result.removed);
    EXPECT_EQ(0, result.notRemoved);  // a missing file is no failure
    EXPECT_EQ(
        "\ncorvix.cfg not deleted.\nCorvixPro2.cfg not deleted.\n0 config files deleted."
        "\ncorvix.cfg not deleted.\n1 config files deleted.",
        diagnostics());

    makeProductState();
    for (const char* name : {"corvix.log", "corvix.cfg", "CorvixPro2.cfg"}) {
        writeFile(userFolder() + name, "x");
    }
    EXPECT_EQ(1, _cleaner.removeAll());
    EXPECT_EQ("\n2 config files deleted.", diagnostics());
    for (const char* name : {"corvix.log", "corvix.cfg", "CorvixPro2.cfg"}) {
        EXPECT_FALSE(exists(userFolder() + name)) << name;
    }
    for (const char* generation : kGenerations) {
        for (const char* item :
             {"RenderQueue/RQ.txt", "Cache/frames/0001.raw", "Config.txt", "FrameCache.cpr"}) {
            EXPECT_TRUE(exists(product(generation, item))) << generation << "/" << item;
        }
    }
}

TEST_F(CorvixCleanerTest, ProductFoldersGoForBothGenerations) {
    makeProductState();
    CorvixCleanerResult result;
    EXPECT_EQ(4, _cleaner.removeRenderQueueFiles(e_corvix_pro, &result));
    EXPECT_EQ(4, result.removed);
    EXPECT_EQ(2, _cleaner.removeCacheFiles());
    _cleaner.removePISSConfig(&result);
    _cleaner.removeFrameRegistry(&result);
    EXPECT_EQ(8, result.removed);
    for (const char* generation : kGenerations) {
        for (const char* item : {"RenderQueue", "Cache", "Config.txt", "FrameCache.cpr"}) {
            EXPECT_FALSE(exists(product(generation, item))) << generation << "/" << item;
        }
    }
    // Nothing left to delete is no error.
    EXPECT_EQ(0, _cleaner.removeRenderQueueFiles(e_corvix_all, &result));
    EXPECT_EQ(0, result.notRemoved);
}

// What cannot go is counted apart from what went; the designed result counts both.
TEST_F(CorvixCleanerTest, EntriesThatCannotGoAreCountedAndNamed) {
    writeFile(product("CorvixPro2", "Cache/a"), "x");
    writeFile(product("CorvixPro2", "Cache/ro/b"), "x");
    writeFile(product("CorvixPro2", "Cache/.hidden/c"), "x");
    corvix_test::ScopedMount readOnly(product("CorvixPro2", "Cache/ro"),
                                      product("CorvixPro2", "Cache/ro"), true);
    if (!readOnly.mounted()) {
        GTEST_SKIP() << "needs root to mount a read-only folder";
    }
    CorvixCleanerResult result;
    EXPECT_EQ(2, _cleaner.removeCacheFiles(&result));
    EXPECT_EQ(1, result.removed);
    // b (read-only) and its folder (a mount point); the folder kept by .hidden is no failure.
    EXPECT_EQ(2, result.notRemoved);
    EXPECT_EQ(product("CorvixPro2", "Cache/ro/b") + ": Read-only file system", result.problem);
    EXPECT_TRUE(exists(product("CorvixPro2", "Cache/.hidden/c")));
}

}  // namespace
