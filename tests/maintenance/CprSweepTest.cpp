// The per-project settings file sweep: which names go, where the walk does not go, the sweep
// log's bytes, paths that do not fit, and stopping.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "CorvixCleaner.h"
#include "CprSweep.h"
#include "CprSweepObserver.h"
#include "MaintenanceTest.h"

using namespace corvix_test;
using ::testing::HasSubstr;

namespace {

const char* const kTarget2 = ".CorvixPro2ProjectConfig.cpr";
const char* const kTarget1 = ".CorvixProProjectConfig.cpr";

// Keeps what the sweep reports; with stopAfterFirst it stops the sweep at the first removal.
class RecordingObserver : public CprSweepObserver {
  public:
    void cprFileRemoved(const char* path) override {
        removed.push_back(path);
        if (stopAfterFirst) {
            // The stop button, pressed on another thread while the first deletion is reported.
            firstRemoved = true;
            while (g_shouldRunCPRThread) {
                std::this_thread::yield();
            }
        }
    }
    void cprFileNotRemoved(const char* path, const char* reason) override {
        failed.push_back(std::string(path) + " | " + (reason ? reason : "(none)"));
    }
    void pathSkipped(const char* path) override { skipped.push_back(path); }
    void searchingFolder(const char* path) override { searched.push_back(path); }
    std::vector<std::string> removed, searched, failed, skipped;
    bool stopAfterFirst = false;
    std::atomic<bool> firstRemoved{false};
};

std::vector<std::string> sorted(std::vector<std::string> paths) {
    std::sort(paths.begin(), paths.end());
    return paths;
}

class CprSweepTest : public MaintenanceTest {
  protected:
    std::string sweepLog() const { return userFolder() + "CorvixSupport.log"; }
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

    // The folders searched: in and back out of "sub", never into a link or hidden folder.
    EXPECT_EQ((std::vector<std::string>{p, p + "/", p + "/sub", p + "/"}), _observer.searched);

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
    EXPECT_THAT(text, HasSubstr("ERROR - " + p + "/" + kTarget2 + " -> Directory not empty\n"));
    EXPECT_THAT(text, HasSubstr("REMOVED - " + p + "/" + kTarget1 + " \n"));
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
    int removed = 0;
    std::thread sweep([&] { removed = CprSweep::run(p.c_str(), true, &_observer); });
    while (!_observer.firstRemoved) {
        std::this_thread::yield();
    }
    g_shouldRunCPRThread = 0;
    sweep.join();
    EXPECT_EQ(1, removed);
    ASSERT_EQ(1u, _observer.removed.size());
    ASSERT_LE(2u, _observer.searched.size());
    EXPECT_EQ(p, _observer.searched[0]);
    std::string log = readFile(sweepLog());
    EXPECT_THAT(log, HasSubstr("REMOVED - " + _observer.removed[0] + " \n"));
    EXPECT_EQ(log.find("REMOVED - "), log.rfind("REMOVED - "));
    std::string left;
    runCommand("find '" + p + "' -type f | wc -l", &left);
    EXPECT_EQ("9\n", left);
}

// A file name cannot break a log line in two: control characters are escaped.
TEST_F(CprSweepTest, FileNamesCannotForgeLogLines) {
    std::string p = tmp("projects");
    writeFile(p + "/a\nREMOVED - /etc/passwd/" + kTarget2, "x");
    EXPECT_EQ(1, CprSweep::run(p.c_str(), true));
    EXPECT_THAT(readFile(sweepLog()),
                HasSubstr("\nREMOVED - " + p + "/a\\nREMOVED - /etc/passwd/" + kTarget2 + " \n"));
}

// Targets whose path takes 1020 to 1030 bytes: those over 1023 are skipped, never cut to the
// name of the user's file beside them.
TEST_F(CprSweepTest, PathsThatDoNotFitAreSkippedNeverCut) {
    std::string prefix = tmp("long");
    for (int i = 0; i < 4; ++i) {
        prefix += "/" + std::string(200, 'd');
    }
    std::vector<std::string> targets;
    for (size_t length = 1020; length <= 1030; ++length) {
        std::string folder = prefix + "/" + std::to_string(length);
        folder += std::string(length - folder.size() - 1 - strlen(kTarget2), 'e');
        targets.push_back(folder + "/" + kTarget2);
        writeFile(targets.back(), "x");
        if (length > 1023) {
            writeFile(targets.back().substr(0, 1023), "user");
        }
    }
    CprSweepResult result;
    EXPECT_EQ(4, CprSweep::run(tmp("long").c_str(), true, &_observer, &result));
    EXPECT_EQ("7 path(s) too long to use were skipped.\n", result.shortfall());
    EXPECT_EQ(1, std::count(_observer.skipped.begin(), _observer.skipped.end(), targets.back()));
    for (const std::string& target : targets) {
        EXPECT_EQ(target.size() > 1023, exists(target)) << target.size();
        if (target.size() > 1023) {
            EXPECT_EQ("user", readFile(target.substr(0, 1023))) << target.size();
        }
    }
}

// The chosen folder missing still gets its header. (A folder that cannot be read below it is
// counted in CliSweepTest, through the verb's report.)
TEST_F(CprSweepTest, AMissingFolderIsNamedAndStillLogged) {
    CprSweepResult result;
    EXPECT_EQ(0, CprSweep::run(tmp("missing").c_str(), true, nullptr, &result));
    EXPECT_EQ("No such file or directory", result.folderError);
    EXPECT_FALSE(result.complete());
    EXPECT_THAT(readFile(sweepLog()), HasSubstr("CRP Remove started at "));
}

}  // namespace
