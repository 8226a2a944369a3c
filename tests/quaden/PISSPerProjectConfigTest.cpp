// The per-project settings file ".CorvixPro2ProjectConfig.cpr": version line, name hashing,
// loading rules and commit.
#include <cstdlib>

#include "QuadenStoreTest.h"
#include "Quaden_PISSPerProjectConfig.h"

using namespace corvix_test;

namespace {

class PerProjectConfigTest : public QuadenStoreTest {
  protected:
    void SetUp() override {
        QuadenStoreTest::SetUp();
        makeDirs(_project);
    }
    std::string settingsFile() const { return _project + "/.CorvixPro2ProjectConfig.cpr"; }

    std::string _project = tmp("My Project");
};

// A new file gets the version line; names are stored as the MD5 of their bytes and found by the
// plain name, each entry by its type; commits keep the file's order.
TEST_F(PerProjectConfigTest, EntriesRoundTripUnderHashedNames) {
    {
        QuadenPISSPerProjectConfig store((_project + "/").c_str());
        EXPECT_EQ(std::string(store.getPathToConfigFile()), settingsFile());
        EXPECT_EQ(store.Add("Comp 1 \xc3\xa9", "SpecPreviewAreaToPreview", 2), 1);
        ASSERT_EQ(store.Commit(), 1);
        EXPECT_EQ(readFile(settingsFile()), "cpr-version:1\n" + md5sum("Comp 1 \xc3\xa9") +
                                                " int\tSpecPreviewAreaToPreview 2\n");
    }
    const std::string project = md5sum("My Project");
    const std::string comp = md5sum("Comp 1");
    const std::string text = "cpr-version:1\n" + project + " string\tOutput /renders/a b.mov\n" +
                             comp + " int\tSpecPreviewAreaToPreview -3\n" + project +
                             " int\tSpecPreviewUseSkipFrames 1\n";
    writeFile(settingsFile(), text);
    QuadenPISSPerProjectConfig store(_project.c_str());
    EXPECT_EQ(store.NumberOfKeyValuePairsInList(), 3u);
    char* string = nullptr;
    EXPECT_EQ(store.GetItem(&string, "My Project", "Output"), 1);
    EXPECT_STREQ(string, "/renders/a b.mov");
    free(string);
    EXPECT_EQ(store.GetItem(&string, "Comp 1", "Output"), 0);
    int value = 0;
    EXPECT_EQ(store.GetItem(&value, "Comp 1", "SpecPreviewAreaToPreview"), 1);
    EXPECT_EQ(value, -3);
    ASSERT_EQ(store.Commit(), 1);
    EXPECT_EQ(readFile(settingsFile()), text);

    EXPECT_EQ(store.ChangeItem("Comp 1", "SpecPreviewAreaToPreview", 1), 1);
    EXPECT_EQ(store.ChangeItem("My Project", "Output", "/x"), 1);
    EXPECT_EQ(store.ChangeItem("Nobody", "Output", "/y"), 0);
    ASSERT_EQ(store.Commit(), 1);
    EXPECT_EQ(readFile(settingsFile()), "cpr-version:1\n" + project + " string\tOutput /x\n" +
                                            comp + " int\tSpecPreviewAreaToPreview 1\n" + project +
                                            " int\tSpecPreviewUseSkipFrames 1\n");
}

TEST_F(PerProjectConfigTest, VersionLineRules) {
    const std::string entry = md5sum("P") + " int\tK 4\n";
    writeFile(settingsFile(), "cpr-version71\n" + entry);  // only ten characters are compared
    EXPECT_EQ(QuadenPISSPerProjectConfig(_project.c_str()).NumberOfKeyValuePairsInList(), 1u);

    writeFile(settingsFile(), "cpr-version:0\n" + entry);
    EXPECT_EQ(QuadenPISSPerProjectConfig(_project.c_str()).NumberOfKeyValuePairsInList(), 0u);
    EXPECT_TRUE(logged("CPR version for " + settingsFile() +
                       " is out of date. File Version: 1. CPR Version: 0\n"));

    for (const std::string& first : {std::string("cpr-versio\n"), std::string("version:1\n")}) {
        writeFile(settingsFile(), first + entry);
        QuadenPISSPerProjectConfig store(_project.c_str());
        EXPECT_EQ(store.NumberOfKeyValuePairsInList(), 0u) << first;
        ASSERT_EQ(store.Commit(), 1);
        EXPECT_EQ(readFile(settingsFile()), "cpr-version:1\n");
    }
    EXPECT_TRUE(logged("CPR version for " + settingsFile() + " is out of date.\n"));
}

TEST_F(PerProjectConfigTest, BadLinesAreSkippedOrEndTheLoad) {
    const std::string hash = md5sum("P");
    const std::string text = "cpr-version:2\n" + hash + " string\n" + hash + " int\tNoValue\n" +
                             hash + " string\tLong " + std::string(1100, 'v') + "\n" + hash +
                             " int\tKept 1\n" + hash + " float\tF 1.5\n" + hash + " int\tLost 2\n";
    writeFile(settingsFile(), text);
    QuadenPISSPerProjectConfig store(_project.c_str());
    // The over-long line's first piece loads; its rest has no key and is skipped.
    EXPECT_EQ(store.NumberOfKeyValuePairsInList(), 2u);
    int value = 0;
    EXPECT_EQ(store.GetItem(&value, "P", "Kept"), 1);
    EXPECT_EQ(store.GetItem(&value, "P", "Lost"), 0);
    EXPECT_TRUE(logged("WARNING\tPerProjectConfig: keyValue was NULL\n"));
    EXPECT_TRUE(logged("WARNING\tPerProjectConfig: stringRemainder was NULL for key: NoValue\n"));
    EXPECT_TRUE(logged("WARNING\tPerProjectConfig:  type not yet supported: float for key: F\n"));

    const char binary[] = "cpr-version:1\n\x01\xfe\x00 int\tX\n\xff\xff int\tY 3";
    writeFile(settingsFile(), std::string(binary, sizeof binary - 1));
    EXPECT_EQ(QuadenPISSPerProjectConfig(_project.c_str()).NumberOfKeyValuePairsInList(), 1u);
}

// A store without a project path, or over a missing folder, commits nothing and creates nothing.
TEST_F(PerProjectConfigTest, MissingProjectFoldersAreRefused) {
    for (const char* path : {static_cast<const char*>(nullptr), ""}) {
        QuadenPISSPerProjectConfig none(path);
        EXPECT_EQ(none.Add("P", "K", 1), 1);
        EXPECT_EQ(none.Commit(), 0);
    }
    EXPECT_TRUE(
        logged("WARNING\tPerProjectConfig::PerProjectConfig : pathToProject has length 0.\n"));
    QuadenPISSPerProjectConfig missingFolder(tmp("no/such/folder").c_str());
    EXPECT_EQ(missingFolder.Commit(), 0);
    EXPECT_TRUE(logged("WARNING\tPer Project Commit: Cannot open generic config file '" +
                       tmp("no/such/folder") + "/.CorvixPro2ProjectConfig.cpr' for writing\n"));
    EXPECT_FALSE(exists(tmp("no")));
}

}  // namespace
