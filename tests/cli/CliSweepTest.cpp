// corvix-support sweep: in-process output and errors, and Ctrl-C through the real binary.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <sstream>
#include <string>
#include <vector>

#include "CliTest.h"
#include "TestEnvironment.h"

using corvix_test::exists;
using corvix_test::makeDirs;
using corvix_test::readFile;
using corvix_test::SandboxTest;
using corvix_test::writeFile;

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

size_t occurrences(const std::string& text, const std::string& what) {
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++count;
    }
    return count;
}

class SweepCommandTest : public corvix_test::CliTest {
  protected:
    std::string sweepLog() const { return home() + "/.config/Orvanta/Corvix/CorvixSupport.log"; }
    int sweep(const std::vector<std::string>& arguments) { return cli("sweep", arguments); }
};

TEST_F(SweepCommandTest, PrintsRemovedPathsAndAppendsToTheSweepLog) {
    std::string p = tmp("projects");
    makeDirs(p + "/sub");
    writeFile(p + "/" + kTarget, "x");
    writeFile(p + "/sub/" + caseVariant(5), "x");

    EXPECT_EQ(0, sweep({p.c_str()}));
    EXPECT_EQ(p + "/" + kTarget + "\n1 file(s) removed during this session.\n", _out);
    EXPECT_EQ(0, sweep({"--recursive", p.c_str()}));
    EXPECT_EQ(p + "/sub/" + caseVariant(5) + "\n1 file(s) removed during this session.\n", _out);
    EXPECT_EQ(0, sweep({"-r", p.c_str()}));
    EXPECT_EQ("0 file(s) removed during this session.\n", _out);

    std::string log = readFile(sweepLog());
    EXPECT_EQ(3u, occurrences(log, "\nCorvix Support Tool - CRP Remove started at "));
    EXPECT_EQ(2u, occurrences(log, "REMOVED - "));
}

TEST_F(SweepCommandTest, MissingOrNonFolderIsAnErrorNamingThePath) {
    std::string missing = tmp("no such folder");
    EXPECT_EQ(1, sweep({missing.c_str()}));
    EXPECT_EQ("corvix-support: cannot sweep \"" + missing + "\": No such file or directory\n",
              _err);
    writeFile(tmp("plain"), "x");
    EXPECT_EQ(1, sweep({tmp("plain").c_str()}));
    EXPECT_NE(std::string::npos, _err.find("\"" + tmp("plain") + "\": Not a directory"));
    EXPECT_EQ(2, sweep({}));
    EXPECT_FALSE(exists(sweepLog()));
}

// The sweep log is made a FIFO that this test reads: the binary cannot run more than a pipe's
// worth of lines ahead, so the interrupt always arrives mid-walk.
TEST_F(SweepCommandTest, InterruptStopsTheWalkAndReportsTheCountSoFar) {
    const int total = 5000;
    std::string p = tmp("projects");
    makeDirs(p);
    for (int i = 0; i < total; ++i) {
        writeFile(p + "/" + caseVariant(i), "");
    }
    makeDirs(home() + "/.config/Orvanta/Corvix");
    ASSERT_EQ(0, mkfifo(sweepLog().c_str(), 0600));

    std::string outPath = tmp("out.txt");
    pid_t child = fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        int fd = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(fd, STDOUT_FILENO);
        int errFd = open((outPath + ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(errFd, STDERR_FILENO);
        execl(CORVIX_SUPPORT_BINARY, CORVIX_SUPPORT_BINARY, "sweep", p.c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }
    int fifo = open(sweepLog().c_str(), O_RDONLY);
    ASSERT_NE(-1, fifo);
    std::string log;
    char buffer[4096];
    bool interrupted = false;
    for (ssize_t n; (n = read(fifo, buffer, sizeof buffer)) > 0;) {
        log.append(buffer, static_cast<size_t>(n));
        if (!interrupted && log.find("REMOVED - ") != std::string::npos) {
            kill(child, SIGINT);
            interrupted = true;
        }
    }
    close(fifo);
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(1, WEXITSTATUS(status));

    size_t removed = occurrences(log, "REMOVED - ");
    EXPECT_GT(removed, 0u);
    EXPECT_LT(removed, static_cast<size_t>(total));
    std::string out = readFile(outPath);
    EXPECT_NE(std::string::npos,
              out.find("\n" + std::to_string(removed) + " file(s) removed during this session.\n"))
        << out.substr(out.size() > 200 ? out.size() - 200 : 0);
    EXPECT_EQ("The sweep was stopped before it finished.\n", readFile(outPath + ".err"));
    size_t left = 0;
    for (int i = 0; i < total; ++i) {
        left += exists(p + "/" + caseVariant(i));
    }
    EXPECT_EQ(static_cast<size_t>(total) - removed, left);
}

}  // namespace
