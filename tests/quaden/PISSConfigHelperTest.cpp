// The layered settings lookup: add-or-update at each level, composition -> project -> global
// fallback with bounds, cache warnings and the cache overflow prediction.
#include <unistd.h>

#include "QuadenStoreTest.h"
#include "Quaden_PISSConfigHelper.h"
#include "VeskLog.h"

using namespace corvix_test;

namespace {

class ConfigHelperTest : public QuadenStoreTest {
  protected:
    void SetUp() override {
        QuadenStoreTest::SetUp();
        VeskDevLoggingEnabled = 1;  // the product log's own fixture turns it off again
        makeDirs(tmp("proj"));
    }
    // A cache folder holding one sparse file of mb megabytes.
    std::string cacheOf(const std::string& name, int mb) {
        std::string folder = tmp(name);
        makeDirs(folder + "/comp");
        writeFile(folder + "/comp/frames", "");
        EXPECT_EQ(truncate((folder + "/comp/frames").c_str(), static_cast<off_t>(mb) << 20), 0);
        return folder;
    }

    QuadenPISSProjectKeys _project{"Proj", tmp("proj")};
    QuadenPISSCompKeys _comp{"Comp", _project};
};

TEST_F(ConfigHelperTest, StringLookupFallsThroughEmptyAndMissingLevels) {
    using H = QuadenPISSConfigHelper;
    EXPECT_EQ(H::addOrUpdateProjectStringSetting(&_project, "Out", "/project/out"), 1);
    EXPECT_EQ(H::addOrUpdateCompStringSetting(&_comp, "Out", "/comp"), 1);
    EXPECT_EQ(H::addOrUpdateCompStringSetting(&_comp, "Out", ""), 1);
    EXPECT_EQ(H::addOrUpdateGlobalStringSetting("Only", "global value"), 1);
    EXPECT_EQ(readFile(tmp("proj/.CorvixPro2ProjectConfig.cpr")),
              "cpr-version:1\n" + md5sum("Proj") + " string\tOut /project/out\n" + md5sum("Comp") +
                  " string\tOut \n");

    char out[8];
    EXPECT_EQ(H::queryStringSetting(out, sizeof out, "Out", "default", &_project, &_comp), 1);
    EXPECT_STREQ(out, "/projec");
    EXPECT_EQ(H::queryStringSetting(out, sizeof out, "Only", "default", &_project, &_comp), 1);
    EXPECT_STREQ(out, "global ");
    EXPECT_EQ(H::queryStringSetting(out, sizeof out, "Only", nullptr, &_project, &_comp), 0);
    EXPECT_STREQ(out, "");
    // The global store was created with its defaults before the setting was added.
    EXPECT_NE(
        readFile(productFolder() + "Config.txt").find("default int\tSizeOfFrameCacheInMB 20000\n"),
        std::string::npos);
}

TEST_F(ConfigHelperTest, IntegerLookupSkipsOutOfBoundsValues) {
    using H = QuadenPISSConfigHelper;
    EXPECT_EQ(H::addOrUpdateCompIntegerSetting(&_comp, "Area", 5), 1);
    EXPECT_EQ(H::addOrUpdateProjectIntegerSetting(&_project, "Area", 7), 1);
    EXPECT_EQ(H::addOrUpdateProjectIntegerSetting(&_project, "Area", 1), 1);
    int value = -1;
    EXPECT_EQ(H::queryIntegerSettingBounded(&value, "Area", 0, 2, "default", &_project, &_comp), 1);
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(
        logged("WARNING\tAn invalid value: 5 found in the persist data for [Comp] [Area]\n"));
    EXPECT_EQ(H::queryIntegerSetting(&value, "Area", "default", &_project, &_comp), 1);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(H::queryIntegerSettingBounded(&value, "Area", 6, 9, nullptr, &_project, &_comp), 0);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(
        H::queryIntegerSetting(&value, "SpecPreviewLoadFramesCache", "default", &_project, &_comp),
        1);
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(
        logged("DEV\tUnable to query the per comp persist data for: [Comp] "
               "[SpecPreviewLoadFramesCache]\n"));
}

TEST_F(ConfigHelperTest, CacheWarningsAndOverflow) {
    using H = QuadenPISSConfigHelper;
    const unsigned long long kMB = 1 << 20;
    writeFile(productFolder() + "Config.txt", "default int\tCorvixProSpeculativeMode 0\n");
    EXPECT_EQ(H::isCacheCheckingMode(1), 1);
    EXPECT_EQ(H::isCacheCheckingMode(0), 0);
    EXPECT_EQ(H::determineIfCacheWillOverflow(1000, 1000 * kMB), 0);  // empty cache

    // One 100 MB cache registered by two projects counts once; a missing folder counts 0.
    const std::string cache = cacheOf("cache one", 100);
    EXPECT_EQ(H::addOrUpdateRegistryStringSetting("P1", "PathToCache", "/nowhere"), 1);
    EXPECT_EQ(H::addOrUpdateRegistryStringSetting("P1", "PathToCache", cache.c_str()), 1);
    EXPECT_EQ(H::addOrUpdateRegistryStringSetting("P2", "PathToCache", cache.c_str()), 1);
    EXPECT_EQ(H::addOrUpdateRegistryStringSetting("P3", "PathToCache", "/nowhere"), 1);
    EXPECT_EQ(H::_calculateSizeOfAllFrameCaches(), 100ull << 20);

    // Missing limit: 20000 MB.
    EXPECT_EQ(H::determineIfCacheWillOverflow(19900, kMB), 0);
    EXPECT_EQ(H::determineIfCacheWillOverflow(19901, kMB), 1);
    EXPECT_EQ(H::addOrUpdateGlobalIntegerSetting("SizeOfFrameCacheInMB", 150), 1);
    EXPECT_EQ(H::determineIfCacheWillOverflow(50, kMB), 0);
    EXPECT_EQ(H::determineIfCacheWillOverflow(51, kMB), 1);
    EXPECT_TRUE(logged("Values are: actual=100 predicted=51  max=150\n"));
    EXPECT_EQ(H::determineIfCacheWillOverflow(0, kMB), 0);
    EXPECT_EQ(H::addOrUpdateGlobalIntegerSetting("SizeOfFrameCacheInMB", -1), 1);
    EXPECT_EQ(H::determineIfCacheWillOverflow(1 << 30, ~0ull), 0);
    EXPECT_EQ(H::addOrUpdateGlobalIntegerSetting("SizeOfFrameCacheInMB", -5), 1);
    EXPECT_EQ(H::determineIfCacheWillOverflow(51, kMB), 0);
    EXPECT_TRUE(logged("WARNING\tInvalid value: -5 for key: SizeOfFrameCacheInMB\n"));
    EXPECT_EQ(H::addOrUpdateGlobalIntegerSetting("ShowCacheManagementWarnings", 0), 1);
    EXPECT_EQ(H::isCacheCheckingMode(1), 0);
}

}  // namespace
