// The per-project settings file sweep: which names go, where the walk does not go, the sweep
// log's bytes, and stopping.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
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

std::vector<std::string> sorted(std::vector<std::string> paths) {
    std::sort(paths.begin(), paths.end());
    return paths;
}

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

// Only the two names (any case) go, a folder bearing one too when it is not descended; hidden
// folders are never entered and links never followed (a link bearing a target name goes itself).
TEST_F(CprSweepTest, OnlyExactTargetNamesAreRemovedAndTheWalkStaysInside) {
    std::string p = tmp("projects");
    makeDirs(p + "/" + kTarget1);
    for (const char* name :
         {".corvixpro2projectconfig.CPR", "CorvixPro2ProjectConfig.cpr",
          ".CorvixPro2ProjectConfig.cpr.bak", "sub/.CORVIXPROPROJECTCONFIG.cpr",
          ".hidden/.CorvixPro2ProjectConfig.cpr", ".hidden/deeper/.CorvixPro2ProjectConfig.cpr",
          "outside/other", "outside/.CorvixPro2ProjectConfig.cpr"}) {
        writeFile(p + "/" + name, "x");
    }
    ASSERT_EQ(0, rename((p + "/outside").c_str(), tmp("outside").c_str()));
    ASSERT_EQ(0, symlink(tmp("outside").c_str(), (p + "/sub/linked").c_str()));
    ASSERT_EQ(0, symlink(tmp("outside/other").c_str(), (p + "/sub/" + kTarget2).c_str()));

    EXPECT_EQ(2, walk(p, false));
    EXPECT_EQ((std::vector<std::string>{p + "/" + kTarget1, p + "/.corvixpro2projectconfig.CPR"}),
              sorted(_observer.removed));
    _observer.removed.clear();
    EXPECT_EQ(2, walk(p + "/", true));
    EXPECT_EQ(
        (std::vector<std::string>{p + "/sub/.CORVIXPROPROJECTCONFIG.cpr", p + "/sub/" + kTarget2}),
        sorted(_observer.removed));
    for (const std::string& kept :
         {p + "/CorvixPro2ProjectConfig.cpr", p + "/.CorvixPro2ProjectConfig.cpr.bak",
          p + "/.hidden/" + kTarget2, p + "/.hidden/deeper/" + kTarget2, tmp("outside/other"),
          tmp("outside/") + kTarget2}) {
        EXPECT_TRUE(exists(kept)) << kept;
    }

    int removed = 0;
    EXPECT_EQ(0, _cleaner.removeCprFiles("", true, nullptr, removed));
    EXPECT_EQ(0, _cleaner.removeCprFiles(nullptr, true, nullptr, removed));
    EXPECT_EQ(1, _cleaner.removeCprFiles(tmp("missing").c_str(), true, nullptr, removed));
    EXPECT_EQ(0, removed);
}

TEST_F(CprSweepTest, SweepLogHasOneHeaderPerSweepAndTheSameLinesWithOrWithoutSlash) {
    std::string p = tmp("projects");
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
    writeFile(p + "/" + kTarget2 + "/keep", "x");
    writeFile(p + "/" + kTarget1, "x");
    FILE* log = fopen(tmp("sweep.log").c_str(), "w");
    ASSERT_NE(nullptr, log);
    EXPECT_EQ(1, walk(p, false, log));
    fclose(log);
    std::string text = readFile(tmp("sweep.log"));
    EXPECT_NE(std::string::npos,
              text.find("ERROR - " + p + "/" + kTarget2 + " -> Directory not empty\n"));
    EXPECT_NE(std::string::npos, text.find("REMOVED - " + p + "/" + kTarget1 + " \n"));
    EXPECT_EQ(std::vector<std::string>{p + "/" + kTarget2 + " | Directory not empty"},
              _observer.failed);
}

TEST_F(CprSweepTest, StoppingEndsTheWalkAfterTheCurrentEntryAtEveryLevel) {
    std::string p = tmp("projects");
    for (int i = 0; i < 5; ++i) {
        writeFile(p + "/f" + std::to_string(i) + "/" + kTarget2, "x");
        writeFile(p + "/f" + std::to_string(i) + "/deep/" + kTarget1, "x");
    }
    _observer.stopAfterFirst = true;
    EXPECT_EQ(1, CprSweep::run(p.c_str(), true, &_observer));
    EXPECT_EQ(0, g_shouldRunCPRThread.load());
    ASSERT_EQ(1u, _observer.removed.size());
    std::string log = readFile(sweepLog());
    EXPECT_NE(std::string::npos, log.find("REMOVED - " + _observer.removed[0] + " \n"));
    EXPECT_EQ(log.find("REMOVED - "), log.rfind("REMOVED - "));
    std::string left;
    corvix_test::runCommand("find '" + p + "' -type f | wc -l", &left);
    EXPECT_EQ("9\n", left);
}

}  // namespace
