// The product log: gates, line format, rolling, threads and the log folder.
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <regex>
#include <set>
#include <thread>
#include <vector>

#include "TestEnvironment.h"
#include "VeskLog.h"

using namespace corvix_test;

namespace {

const char* const kStamp = R"(<[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]\d \d\d:\d\d:\d\d \d{4}>\t)";

class LogTest : public SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        _path = tmp("product.log");
        lineCount = 0;
        fileCount = 0;
        VeskLoggingEnabled = 1;
        VeskDevLoggingEnabled = 0;
        VeskThreadLoggingEnabled = 1;
    }
    void TearDown() override {
        VeskLoggingInitialized = 0;
        cleanupVeskLogging();
        SandboxTest::TearDown();
    }
    void start() { initializeVeskLogging(const_cast<char*>(_path.c_str())); }
    std::string archive(int n) const { return _path + "." + std::to_string(n) + ".txt"; }

    std::string _path;
};

void writeAllSix(const char* text) {
    vesk_logDev("%s", text);
    vesk_log("%s", text);
    vesk_logWarning("%s", text);
    vesk_logToDo("%s", text);
    vesk_logError("%s", text);
    vesk_logAlways("%s", text);
}

TEST_F(LogTest, GatesTagsAndFieldsPerWriter) {
    start();
    vesk_logDev("hidden");  // developer logging is off by default
    EXPECT_FALSE(exists(_path));
    VeskDevLoggingEnabled = 1;
    writeAllSix("on");
    setLoggingEnabled(false);  // silences plain and developer lines only
    writeAllSix("off");
    setThreadLoggingEnabled(false);
    vesk_logError("no thread %d", 7);

    std::vector<std::string> lines = readLines(_path);
    ASSERT_EQ(lines.size(), 11u);
    const std::string thread = "<Thread=" + std::to_string(gettid()) + ">\t";
    const std::vector<std::string> expected = {
        thread + "DEV\ton",    thread + "on",  thread + "WARNING\ton",  thread + "TO DO:\ton",
        thread + "ERROR\ton",  thread + "on",  thread + "WARNING\toff", thread + "TO DO:\toff",
        thread + "ERROR\toff", thread + "off", "ERROR\tno thread 7"};
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_TRUE(std::regex_match(lines[i], std::regex(kStamp + std::string(".*")))) << lines[i];
        size_t tab = lines[i].find(">\t");
        EXPECT_EQ(lines[i].substr(tab + 2), expected[i]);
    }
    EXPECT_EQ(lineCount, 11);
}

TEST_F(LogTest, FileIsWorldWritableAfterEveryLine) {
    mode_t old = umask(022);
    start();
    vesk_log("one");
    umask(old);
    struct stat st;
    ASSERT_EQ(stat(_path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0666u);
}

// The 30001st line rolls the file after it is written; the eleventh roll wraps to archive 0.
TEST_F(LogTest, RollsAfterThe30001stLineIntoARingOfTen) {
    start();
    for (int i = 1; i <= 30000; ++i) {
        vesk_log("line %d", i);
    }
    EXPECT_FALSE(exists(archive(0)));
    vesk_log("line 30001");
    EXPECT_FALSE(exists(_path));
    std::vector<std::string> rolled = readLines(archive(0));
    ASSERT_EQ(rolled.size(), 30001u);
    EXPECT_NE(rolled.back().find("line 30001"), std::string::npos);
    EXPECT_EQ(lineCount, 0);
    EXPECT_EQ(fileCount, 1);
    vesk_log("fresh");
    EXPECT_EQ(readLines(_path).size(), 1u);

    for (int roll = 1; roll <= 10; ++roll) {
        lineCount = 30000;  // the next line is the 30001st
        vesk_log("roll %d", roll);
    }
    for (int n = 0; n < 10; ++n) {
        EXPECT_TRUE(exists(archive(n))) << n;
    }
    std::vector<std::string> zero = readLines(archive(0));
    ASSERT_EQ(zero.size(), 1u);
    EXPECT_NE(zero[0].find("roll 10"), std::string::npos);
    EXPECT_NE(readLines(archive(9))[0].find("roll 9"), std::string::npos);
    EXPECT_EQ(fileCount, 1);
}

TEST_F(LogTest, ConcurrentWritersLoseAndTearNoLine) {
    start();
    const int kThreads = 8, kLines = 20000;
    std::vector<std::thread> writers;
    for (int t = 0; t < kThreads; ++t) {
        writers.emplace_back([t] {
            for (int i = 0; i < kLines; ++i) {
                vesk_logWarning("writer %d line %d end", t, i);
            }
        });
    }
    for (auto& w : writers) {
        w.join();
    }

    const std::regex whole(kStamp +
                           std::string(R"(<Thread=\d+>\tWARNING\twriter (\d) line (\d+) end)"));
    std::set<std::pair<int, int>> seen;
    size_t total = 0;
    std::vector<std::string> files = {_path};
    for (int n = 0; n < 10; ++n) {
        if (exists(archive(n))) {
            files.push_back(archive(n));
        }
    }
    EXPECT_EQ(files.size(), 1u + (kThreads * kLines) / 30001);
    for (const std::string& file : files) {
        for (const std::string& line : readLines(file)) {
            ++total;
            std::smatch m;
            ASSERT_TRUE(std::regex_match(line, m, whole)) << file << ": " << line;
            EXPECT_TRUE(seen.emplace(std::stoi(m[1]), std::stoi(m[2])).second) << line;
        }
    }
    EXPECT_EQ(total, static_cast<size_t>(kThreads * kLines));
    EXPECT_EQ(seen.size(), total);
}

TEST_F(LogTest, ALongPathIsCutToTheBuffer) {
    std::string longName(1500, 'x');
    initializeVeskLogging(const_cast<char*>(longName.c_str()));
    EXPECT_EQ(strlen(veskLogFile), 1023u);
}

class LogFolderTest : public SandboxTest {};

// Below the Preferences folder (its fallbacks are the seam's), made; a short destination keeps
// size-2 characters.
TEST_F(LogFolderTest, FolderUnderPreferencesIsMadeAndCutToTheDestination) {
    char path[1025];
    EXPECT_EQ(calculateLogFilePath(path, sizeof path, "a.log"), 1);
    EXPECT_EQ(std::string(path), userFolder() + "a.log");
    EXPECT_TRUE(exists(userFolder()));
    calculateLogFilePath(path, sizeof path, "");
    EXPECT_EQ(std::string(path), userFolder());

    char small[10];
    memset(small, '#', sizeof small);
    calculateLogFilePath(small, sizeof small, "c.log");
    EXPECT_EQ(std::string(small), userFolder().substr(0, 8));
}

}  // namespace
