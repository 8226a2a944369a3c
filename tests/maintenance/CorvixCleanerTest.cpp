// The cleaner: log-file selection and its exceptions, configuration files with their designed
// lines, and the machine-wide product folders below the machine root with honest counts. What
// cannot be deleted is counted and named in CliCleanTest, through the verb's report.
#include <string>

#include "CorvixCleaner.h"
#include "MaintenanceTest.h"

using namespace corvix_test;

namespace {

const char* const kGenerations[] = {"CorvixPro", "CorvixPro2"};
const char* const kItems[] = {"RenderQueue/RQ.txt", "RenderQueue/job/RQ-History.txt",
                              "Cache/frames/0001.raw", "Config.txt", "FrameCache.cpr"};

class CorvixCleanerTest : public MaintenanceTest {
  protected:
    // Both generations' store, registry, render queue and cache, each with content.
    void makeProductState() {
        for (const char* generation : kGenerations) {
            for (const char* item : kItems) {
                writeFile(product(generation, item), "x");
            }
        }
    }
    // Whether each generation's items exist, "1" or "0" in the order of kItems.
    std::string productState() {
        std::string state;
        for (const char* generation : kGenerations) {
            for (const char* item : kItems) {
                state += exists(product(generation, item)) ? "1" : "0";
            }
        }
        return state;
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

// removeAll takes the logs and both configuration files and leaves every machine-wide item; a
// log it cannot delete ends it with an exception.
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
    EXPECT_EQ("1111111111", productState());

    writeFile(userFolder() + "corvix.log/keep", "x");
    try {
        _cleaner.removeAll();
        ADD_FAILURE() << "no exception";
    } catch (const CorvixCleanerException& e) {
        EXPECT_EQ("Could not delete " + userFolder() + "corvix.log\nDirectory not empty.",
                  std::string(e.what()));
    }
    EXPECT_EQ("\nTrying to delete: " + userFolder() + "corvix.log", diagnostics());
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
    EXPECT_EQ("0000000000", productState());
    for (const char* generation : kGenerations) {
        EXPECT_FALSE(exists(product(generation, "RenderQueue")) ||
                     exists(product(generation, "Cache")));
    }
    // Nothing left to delete is no error.
    EXPECT_EQ(0, _cleaner.removeRenderQueueFiles(e_corvix_all, &result));
    EXPECT_EQ(0, result.notRemoved);
}

}  // namespace
