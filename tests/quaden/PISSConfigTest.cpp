// The global settings store "Config.txt": defaults, loading rules, commit and threads.
#include <cstdlib>
#include <thread>
#include <vector>

#include "QuadenStoreTest.h"
#include "Quaden_PISSConfig.h"

using namespace corvix_test;

namespace {

class ConfigTest : public QuadenStoreTest {
  protected:
    std::string configPath() const { return productFolder() + "Config.txt"; }
    // The sixteen default lines in their order, without those of the keys in skip.
    std::string defaultLines(const std::vector<std::string>& skip = {}) const {
        const std::string folder = productFolder();
        const std::string lines[] = {
            "default string\tDirectoryLocationOfFrameCache " + folder + "Cache/\n",
            "default string\tDirectoryLocationOfRenderQueue " + folder + "RenderQueue/\n",
            "default int\tSizeOfFrameCacheInMB 20000\n",
            "default int\tShowCacheManagementWarnings 1\n",
            "default int\tCorvixProSpeculativeMode 0\n",
            "default int\tSpecPreviewAreaToPreview 0\n",
            "default int\tSpecPreviewLoadFramesCache 1\n",
            "default int\tSpecPreviewStoreFramesCache 0\n",
            "default int\tSpecPreviewUseSkipFrames 0\n",
            "default int\tCorvixProShowStatusPopups 1\n",
            "default int\tSpecPreviewStartFromCurrentTime 1\n",
            "default string\tSpecRenderOutputPath null\n",
            "default string\tSpecRenderRenderSettingsTemplate Current Settings\n",
            "default string\tSpecRenderOutputModuleTemplate Lossless\n",
            "default string\tSpecRenderOutputFilename null\n",
            "default string\tAppLocationOfC4D /Applications/MAXON/CINEMA 4D R10/CINEMA 4D.app/"
            "Contents/MacOS/CINEMA 4D\n"};
        std::string text;
        for (const std::string& line : lines) {
            bool skipped = false;
            for (const std::string& key : skip) {
                skipped = skipped || line.find("\t" + key + " ") != std::string::npos;
            }
            text += skipped ? "" : line;
        }
        return text;
    }
};

TEST_F(ConfigTest, MissingFileGivesInvalidStoreThenTheSixteenDefaults) {
    {
        QuadenPISSConfig first;
        EXPECT_FALSE(first.IsValid());
        EXPECT_EQ(first.NumberOfKeyValuePairsInList(), 0u);
        EXPECT_EQ(std::string(first.getRootPathToProjectConfigFile()), configPath());
    }
    EXPECT_EQ(readFile(configPath()), defaultLines());
    EXPECT_TRUE(
        logged("WARNING\tCannot open generic config file '" + configPath() + "' for reading\n"));

    QuadenPISSConfig second;
    EXPECT_TRUE(second.IsValid());
    ASSERT_EQ(second.NumberOfKeyValuePairsInList(), 16u);
    ASSERT_EQ(second.PrepareKeyValuePairList(), 1);
    EXPECT_STREQ(second.GetNextKeyValuePairInList()->_key, "DirectoryLocationOfFrameCache");
    int value = 0;
    EXPECT_EQ(second.GetItem(&value, "default", "SizeOfFrameCacheInMB"), 1);
    EXPECT_EQ(value, 20000);
}

TEST_F(ConfigTest, InitializeKeepsValuesAndAppendsMissingKeys) {
    const std::string existing =
        "default int\tSizeOfFrameCacheInMB 5000\n"
        "default string\tSpecRenderOutputModuleTemplate My  Module\n"
        "other string\tUnrelated x\n";
    writeFile(configPath(), existing);
    QuadenPISSConfig::initializePISSConfig();
    EXPECT_EQ(readFile(configPath()),
              existing + defaultLines({"SizeOfFrameCacheInMB", "SpecRenderOutputModuleTemplate"}));
}

TEST_F(ConfigTest, LoadCommitRoundTripAndLookups) {
    const std::string text =
        "default string\tSpecRenderRenderSettingsTemplate  \tCurrent Settings \n"
        "default string\tEmpty\n"
        "default int\tNoValue\n"
        "default int\tSizeOfFrameCacheInMB -7\n"
        "default int\tSizeOfFrameCacheInMB 8\n";
    writeFile(configPath(), text);
    QuadenPISSConfig store;
    ASSERT_TRUE(store.IsValid());
    char* string = nullptr;
    EXPECT_EQ(store.GetItem(&string, "default", "SpecRenderRenderSettingsTemplate"), 1);
    EXPECT_STREQ(string, "Current Settings ");
    free(string);
    EXPECT_EQ(store.GetItem(&string, "default", "Empty"), 1);  // found, without value
    EXPECT_EQ(string, nullptr);
    EXPECT_EQ(store.GetItem(&string, "default", "NoValue"), 1);  // an int entry has no text
    EXPECT_EQ(string, nullptr);
    int number = 99;
    EXPECT_EQ(store.GetItem(&number, "default", "NoValue"), 1);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(store.GetItem(&number, "default", "SizeOfFrameCacheInMB"), 1);  // the first
    EXPECT_EQ(number, -7);
    EXPECT_EQ(store.GetItem(&number, "Default", "SizeOfFrameCacheInMB"), 0);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(store.GetItem(&string, "default", "Missing"), 0);

    EXPECT_EQ(store.ChangeItem("default", "Empty", "now set"), 1);
    EXPECT_EQ(store.ChangeItem("default", "SizeOfFrameCacheInMB", 42), 1);
    EXPECT_EQ(store.ChangeItem("default", "Missing", 1), 0);
    EXPECT_EQ(store.ChangeItem("default", "Missing", "x"), 0);
    EXPECT_EQ(store.Add("default", "Duplicate", "one"), 1);
    EXPECT_EQ(store.Add("default", "Duplicate", "two"), 1);
    EXPECT_EQ(store.Add(nullptr, "Key", 1), 0);
    EXPECT_EQ(store.GetItem(&string, "default", "Duplicate"), 1);
    EXPECT_STREQ(string, "one");
    free(string);
    ASSERT_EQ(store.Commit(), 1);
    EXPECT_EQ(readFile(configPath()),
              "default string\tSpecRenderRenderSettingsTemplate Current Settings \n"
              "default string\tEmpty now set\n"
              "default int\tNoValue 0\n"
              "default int\tSizeOfFrameCacheInMB 42\n"
              "default int\tSizeOfFrameCacheInMB 8\n"
              "default string\tDuplicate one\n"
              "default string\tDuplicate two\n");
}

// Each file loads what it can; a valid store commits what it holds (an empty line ends the load,
// so the lines after it go), an invalid one never writes over its file.
TEST_F(ConfigTest, DamagedFilesLoadWhatTheyCanAndInvalidOnesAreKept) {
    struct Case {
        std::string _text;
        int _valid;
        uint32_t _count;
        std::string _committed;  // the file after Commit
    };
    const char binary[] = "default string\tBin \x01\xff\x00tail\ndefault int\tN 5\n";
    const std::string withFloat = "default int\tA 1\ndefault float\tB 2.5\ndefault int\tC 3\n";
    const std::string longLine = "default string\tLong " + std::string(1500, 'v') + "\n";
    const Case cases[] = {
        {"default int\tA 1\n\ndefault int\tB 2\n", 1, 1, "default int\tA 1\n"},
        // A NUL cuts its line; the next line still loads.
        {std::string(binary, sizeof binary - 1), 1, 2,
         "default string\tBin \x01\xff\ndefault int\tN 5\n"},
        {"default int\tCut 12", 1, 1, "default int\tCut 12\n"},
        {withFloat, 0, 1, withFloat},
        // The rest of an over-long line is read as a line of its own, with no known type.
        {longLine, 0, 1, longLine},
        {"default string\n", 0, 0, "default string\n"},
        {"\x7f\x45\x4c\x46 garbage\n", 0, 0, "\x7f\x45\x4c\x46 garbage\n"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c._text.substr(0, 30));
        writeFile(configPath(), c._text);
        QuadenPISSConfig store;
        EXPECT_EQ(store.IsValid(), c._valid);
        EXPECT_EQ(store.NumberOfKeyValuePairsInList(), c._count);
        EXPECT_EQ(store.Commit(), c._valid);
        EXPECT_EQ(readFile(configPath()), c._committed);
    }
    EXPECT_TRUE(logged("WARNING\tProcessOutputModuleItem: int type not yet supported\n"));
    EXPECT_TRUE(logged("WARNING\tConfig: string entry without a key in '" + configPath() + "'\n"));
    writeFile(configPath(), withFloat);
    QuadenPISSConfig::initializePISSConfig();
    EXPECT_EQ(readFile(configPath()), withFloat);
    EXPECT_TRUE(logged("ERROR\tCorvix Pro Persistent information store is invalid!\n"));
}

TEST_F(ConfigTest, ACommitThatCannotWriteIsReported) {
    writeFile(configPath(), "default int\tA 1\n");
    QuadenPISSConfig store;
    runCommand("rm -rf '" + productFolder() + "'");
    EXPECT_EQ(store.Commit(), 0);
    EXPECT_TRUE(logged("WARNING\tCommit: Cannot open generic config file '" + configPath() +
                       "' for writing\n"));
}

TEST_F(ConfigTest, ThreadsSharingOneStoreLoseNothing) {
    writeFile(configPath(), "");
    QuadenPISSConfig store;
    const int kThreads = 4;
    const int kPerThread = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&store, t] {
            for (int i = 0; i < kPerThread; ++i) {
                std::string key = "K" + std::to_string(t) + "_" + std::to_string(i);
                store.Add("default", key.c_str(), t * 1000 + i);
                int value = -1;
                EXPECT_EQ(store.GetItem(&value, "default", key.c_str()), 1);
                EXPECT_EQ(value, t * 1000 + i);
                if (i % 20 == 0 && store.PrepareKeyValuePairList()) {
                    while (store.GetNextKeyValuePairInList() != nullptr) {
                    }
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(store.NumberOfKeyValuePairsInList(), static_cast<uint32_t>(kThreads * kPerThread));
    ASSERT_EQ(store.Commit(), 1);
    QuadenPISSConfig reloaded;
    EXPECT_EQ(reloaded.NumberOfKeyValuePairsInList(), static_cast<uint32_t>(kThreads * kPerThread));
    int value = 0;
    EXPECT_EQ(reloaded.GetItem(&value, "default", "K3_199"), 1);
    EXPECT_EQ(value, 3199);
}

}  // namespace
