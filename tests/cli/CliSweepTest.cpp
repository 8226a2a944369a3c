// corvix-support sweep: what the verb adds (output, exit codes, messages) in-process, and Ctrl-C
// and SIGTERM through the real binary.
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "CliTest.h"

using namespace corvix_test;

namespace {

const std::string kTarget = ".CorvixPro2ProjectConfig.cpr";

// The target name with its letters' case chosen by the bits of n: distinct files, one name.
std::string caseVariant(int n) {
    std::string name = kTarget;
    for (char& c : name) {
        if (isalpha(static_cast<unsigned char>(c))) {
            c = (n & 1) ? toupper(c) : tolower(c);
            n >>= 1;
        }
    }
    return name;
}

class SweepCommandTest : public CliTest {
  protected:
    std::string sweepLog() const { return userFolder() + "CorvixSupport.log"; }
    int sweep(const std::vector<std::string>& arguments) { return cli("sweep", arguments); }
};

TEST_F(SweepCommandTest, PrintsRemovedPathsEscapedAndTheCount) {
    std::string p = tmp("projects");
    writeFile(p + "/" + kTarget, "x");
    writeFile(p + "/a\nb/" + caseVariant(5), "x");

    EXPECT_EQ(0, sweep({p.c_str()}));
    EXPECT_EQ(p + "/" + kTarget + "\n1 file(s) removed during this session.\n", _out);
    EXPECT_EQ(0, sweep({"--recursive", p.c_str()}));
    EXPECT_EQ(p + "/a\\nb/" + caseVariant(5) + "\n1 file(s) removed during this session.\n", _out);
    EXPECT_EQ("", _err);
    EXPECT_EQ(2, sweep({}));
}

// The dry run lists exactly the files a real run then deletes, writes no sweep log, and exits 0.
TEST_F(SweepCommandTest, DryRunListsExactlyWhatARealRunDeletes) {
    std::string p = tmp("projects");
    for (const char* file : {"a/", "a/b/", "a/b/c/", ".hidden/", ""}) {
        writeFile(p + "/" + file + caseVariant(static_cast<int>(strlen(file))), "x");
    }
    writeFile(p + "/a/" + kTarget.substr(1), "no leading dot");
    ASSERT_EQ(0, binary({"sweep", "--dry-run", "-r", p}));
    EXPECT_FALSE(exists(sweepLog()));
    std::set<std::string> listed;
    std::istringstream lines(_out);
    for (std::string line; std::getline(lines, line);) {
        if (line[0] == '/') {
            listed.insert(line);
        }
    }
    EXPECT_EQ(4u, listed.size());
    EXPECT_NE(std::string::npos,
              _out.find("\n4 file(s) would be removed. Nothing was deleted: dry run.\n"));
    for (const std::string& path : listed) {
        EXPECT_TRUE(exists(path)) << path;
    }

    ASSERT_EQ(0, sweep({"-r", p}));
    std::set<std::string> removed;
    for (const std::string& line : corvix_test::readLines(sweepLog())) {
        if (line.rfind("REMOVED - ", 0) == 0) {
            removed.insert(line.substr(10, line.size() - 11));
        }
    }
    EXPECT_EQ(listed, removed);
}

// Whatever the sweep could not do makes it fail, with a count on the error stream.
TEST_F(SweepCommandTest, IncompleteSweepsFailWithWhatWasLeft) {
    std::string missing = tmp("no such folder");
    EXPECT_EQ(1, sweep({missing.c_str()}));
    EXPECT_EQ("corvix-support: cannot sweep \"" + missing + "\": No such file or directory\n",
              _err);
    EXPECT_EQ("", _out);

    std::string p = tmp("projects");
    writeFile(p + "/" + kTarget + "/keep", "x");
    EXPECT_EQ(1, sweep({p.c_str()}));
    EXPECT_EQ("Could not remove " + p + "/" + kTarget +
                  ": Directory not empty\n1 file(s) could not be removed.\n",
              _err);

    makeDirs(p + "/sub");
    ScopedMount loop(p, p + "/sub");
    if (!loop.mounted()) {
        GTEST_SKIP() << "needs root to mount a folder inside itself";
    }
    EXPECT_EQ(1, sweep({"-r", p.c_str()}));
    EXPECT_EQ("Could not read " + p +
                  "/sub: Too many levels of symbolic links\n1 folder(s) "
                  "could not be read.\n",
              _err);
}

// The sweep log is made a FIFO that this test reads: the binary cannot run more than a pipe's
// worth of lines ahead, so the signal always arrives mid-walk. Every deletion is in the log.
TEST_F(SweepCommandTest, SignalsStopTheWalkAndLoseNoLogLine) {
    const int total = 2000;
    makeDirs(userFolder());
    ASSERT_EQ(0, mkfifo(sweepLog().c_str(), 0600));
    for (int signal : {SIGINT, SIGTERM}) {
        std::string p = tmp("projects" + std::to_string(signal));
        for (int i = 0; i < total; ++i) {
            writeFile(p + "/" + caseVariant(i), "");
        }
        std::string outPath = tmp("out.txt");
        // Open for reading before the sweep starts: it opens its log without waiting and would
        // refuse a FIFO with no reader yet.
        int fifo = open(sweepLog().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        ASSERT_NE(-1, fifo);
        pid_t child = spawn({"sweep", p}, outPath);
        ASSERT_NE(-1, child);
        std::string log;
        char buffer[4096];
        bool signalled = false;
        // poll() reports the end only once the sweep has opened and closed its log.
        for (struct pollfd ready = {fifo, POLLIN, 0}; poll(&ready, 1, 20000) > 0;) {
            ssize_t n = read(fifo, buffer, sizeof buffer);
            if (n <= 0 && !(n < 0 && errno == EAGAIN)) {
                break;
            }
            log.append(buffer, static_cast<size_t>(n > 0 ? n : 0));
            if (!signalled && log.find("REMOVED - ") != std::string::npos) {
                kill(child, signal);
                signalled = true;
            }
        }
        close(fifo);
        EXPECT_EQ(1, exitCode(child)) << signal;

        size_t removed = occurrences(log, "REMOVED - ");
        EXPECT_GT(removed, 0u);
        EXPECT_LT(removed, static_cast<size_t>(total));
        std::string out = readFile(outPath);
        EXPECT_NE(std::string::npos, out.find("\n" + std::to_string(removed) +
                                              " file(s) removed during this session.\n"))
            << out.substr(out.size() > 200 ? out.size() - 200 : 0);
        EXPECT_EQ("The sweep was stopped before it finished.\n", readFile(outPath + ".err"));
        size_t left = 0;
        for (int i = 0; i < total; ++i) {
            left += exists(p + "/" + caseVariant(i));
        }
        EXPECT_EQ(static_cast<size_t>(total) - removed, left) << signal;
    }
}

}  // namespace
