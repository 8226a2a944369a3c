// The per-project settings file sweep: which names go, where the walk does not go, the sweep
// log's bytes, and stopping.
#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <vector>

#include "CorvixCleaner.h"
#include "CprSweep.h"
#include "CprSweepObserver.h"
#include "TestEnvironment.h"

using corvix_test::exists;
using corvix_test::makeDirs;
using corvix_test::readFile;
using corvix_test::SandboxTest;
using corvix_test::writeFile;

namespace {

const char* const kTarget2 = ".CorvixPro2ProjectConfig.cpr";
const char* const kTarget1 = ".CorvixProProjectConfig.cpr";

class RecordingObserver : public CprSweepObserver {
  public:
    void cprFileRemoved(const char* path) override {
        removed.push_back(path);
        if (stopAfterFirst) {
            g_shouldRunCPRThread = 0;
        }
    }
    void cprFileNotRemoved(const char* path, const char* reason) override {
        failed.push_back(std::string(path) + " | " + (reason ? reason : "(none)"));
    }
    std::vector<std::string> removed;
    std::vector<std::string> failed;
    bool stopAfterFirst = false;
};

class CprSweepTest : public SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        g_shouldRunCPRThread = 1;
    }
    std::string sweepLog() const { return home() + "/.config/Orvanta/Corvix/CorvixSupport.log"; }
    int walk(const std::string& folder, bool recursive, FILE* log = nullptr) {
        int removed = 0;
        EXPECT_EQ(1, _cleaner.removeCprFiles(folder.c_str(), recursive, log, removed, &_observer));
        return removed;
    }
    CorvixCleaner _cleaner;
    RecordingObserver _observer;
};

TEST_F(CprSweepTest, OnlyExactTargetNamesInAnyCaseAreRemoved) {
    std::string p = tmp("projects");
    makeDirs(p + "/sub");
    makeDirs(p + "/" + kTarget1);  // an empty folder bearing a target name
    for (const char* name :
         {".corvixpro2projectconfig.CPR", "CorvixPro2ProjectConfig.cpr",
          ".CorvixPro2ProjectConfig.cpr.bak", "sub/.CORVIXPROPROJECTCONFIG.cpr"}) {
        writeFile(p + "/" + name, "x");
    }
    EXPECT_EQ(2, walk(p, false));
    EXPECT_FALSE(exists(p + "/.corvixpro2projectconfig.CPR"));
    EXPECT_FALSE(exists(p + "/" + kTarget1));
    EXPECT_TRUE(exists(p + "/CorvixPro2ProjectConfig.cpr"));
    EXPECT_TRUE(exists(p + "/.CorvixPro2ProjectConfig.cpr.bak"));
    EXPECT_TRUE(exists(p + "/sub/.CORVIXPROPROJECTCONFIG.cpr"));

    EXPECT_EQ(1, walk(p + "/", true));
    EXPECT_FALSE(exists(p + "/sub/.CORVIXPROPROJECTCONFIG.cpr"));
    EXPECT_EQ(3u, _observer.removed.size());

    int removed = 0;
    EXPECT_EQ(0, _cleaner.removeCprFiles("", true, nullptr, removed));
    EXPECT_EQ(0, _cleaner.removeCprFiles(nullptr, true, nullptr, removed));
    EXPECT_EQ(1, _cleaner.removeCprFiles(tmp("missing").c_str(), true, nullptr, removed));
    EXPECT_EQ(0, removed);
}

TEST_F(CprSweepTest, HiddenFoldersAndLinkedFoldersAreNeverEntered) {
    std::string p = tmp("projects");
    makeDirs(p + "/.hidden/deeper");
    writeFile(p + "/.hidden/" + kTarget2, "x");
    writeFile(p + "/.hidden/deeper/" + kTarget2, "x");
    makeDirs(tmp("outside"));
    writeFile(tmp("outside/") + kTarget2, "x");
    writeFile(tmp("outside/other"), "x");
    ASSERT_EQ(0, symlink(tmp("outside").c_str(), (p + "/linked").c_str()));
    // A link bearing the target name: only the link goes.
    ASSERT_EQ(0, symlink(tmp("outside/other").c_str(), (p + "/" + kTarget1).c_str()));

    EXPECT_EQ(1, walk(p, true));
    EXPECT_EQ(std::vector<std::string>{p + "/" + kTarget1}, _observer.removed);
    EXPECT_TRUE(exists(tmp("outside/other")));
    EXPECT_TRUE(exists(tmp("outside/") + kTarget2));
    EXPECT_TRUE(exists(p + "/.hidden/" + kTarget2));
    EXPECT_TRUE(exists(p + "/.hidden/deeper/" + kTarget2));
}

TEST_F(CprSweepTest, SweepLogHasOneHeaderPerSweepAndTheSameLinesWithOrWithoutSlash) {
    std::string p = tmp("projects");
    makeDirs(p + "/a/b");
    writeFile(p + "/a/b/" + kTarget2, "x");
    EXPECT_EQ(1, CprSweep::run(p.c_str(), true));
    writeFile(p + "/a/b/" + kTarget2, "x");
    EXPECT_EQ(1, CprSweep::run((p + "/").c_str(), true));
    EXPECT_EQ(0, CprSweep::run((p + "/").c_str(), false));

    const std::string header =
        R"(\nCorvix Support Tool - CRP Remove started at [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\d )"
        R"(\d\d:\d\d:\d\d \d{4}\n====\n)";
    const std::string line = "REMOVED - " + p + "/a/b/\\" + kTarget2 + " \n";
    EXPECT_TRUE(
        std::regex_match(readFile(sweepLog()), std::regex(header + line + header + line + header)))
        << readFile(sweepLog());
}

TEST_F(CprSweepTest, FailedDeletionIsLoggedAndTheWalkGoesOn) {
    std::string p = tmp("projects");
    makeDirs(p + "/" + kTarget2);
    writeFile(p + "/" + kTarget2 + "/keep", "x");
    writeFile(p + "/" + kTarget1, "x");
    FILE* log = tmpfile();
    ASSERT_NE(nullptr, log);
    EXPECT_EQ(1, walk(p, false, log));
    rewind(log);
    std::string text(4096, '\0');
    text.resize(fread(&text[0], 1, text.size(), log));
    fclose(log);
    EXPECT_NE(std::string::npos,
              text.find("ERROR - " + p + "/" + kTarget2 + " -> Directory not empty\n"));
    EXPECT_NE(std::string::npos, text.find("REMOVED - " + p + "/" + kTarget1 + " \n"));
    EXPECT_EQ(1u, _observer.failed.size());
}

TEST_F(CprSweepTest, StoppingEndsTheWalkAfterTheCurrentEntryAtEveryLevel) {
    std::string p = tmp("projects");
    for (int i = 0; i < 5; ++i) {
        std::string folder = p + "/f" + std::to_string(i);
        makeDirs(folder + "/deep");
        writeFile(folder + "/" + kTarget2, "x");
        writeFile(folder + "/deep/" + kTarget1, "x");
    }
    _observer.stopAfterFirst = true;
    EXPECT_EQ(1, CprSweep::run(p.c_str(), true, &_observer));
    EXPECT_EQ(0, g_shouldRunCPRThread.load());
    EXPECT_EQ(1u, _observer.removed.size());
    std::string log = readFile(sweepLog());
    size_t first = log.find("REMOVED - ");
    EXPECT_NE(std::string::npos, first);
    EXPECT_EQ(std::string::npos, log.find("REMOVED - ", first + 1));
    int left = 0;
    for (int i = 0; i < 5; ++i) {
        std::string folder = p + "/f" + std::to_string(i);
        left += exists(folder + "/" + kTarget2) + exists(folder + "/deep/" + kTarget1);
    }
    EXPECT_EQ(9, left);
}

}  // namespace
