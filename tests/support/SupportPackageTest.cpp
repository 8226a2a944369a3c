#include "SupportPackage.h"

#include <fcntl.h>
#include <glob.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <thread>

#include "PackageCancelFlag.h"
#include "SupportTestTools.h"
#include "TestEnvironment.h"
#include "VeskPath.h"

using namespace corvix_test;

namespace {

// A package over a staging folder inside the sandbox, so nothing lands in /tmp.
class SupportPackageTest : public SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        _stage = tmp("stage");
        for (const char* category : {"system", "application", "user"}) {
            makeDirs(_stage + "/" + category);
        }
        _package = std::make_unique<SupportPackage>(_stage.c_str(), true);
    }

    double secondsFor(const char* command, const char* file) {
        auto start = std::chrono::steady_clock::now();
        _package->addOutputToSys(command, file, false);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

    DiagnosticCapture _diagnostics;  // the staging area's messages stay out of the test log
    std::string _stage;
    std::unique_ptr<SupportPackage> _package;
};

using Entries = std::vector<std::string>;

// True when process pid ends (is gone, or a zombie waiting for its new parent) within a second:
// its output closes a moment before it has finished exiting.
bool processGone(const std::string& pid) {
    for (int i = 0; i < 100; ++i) {
        std::ifstream stat("/proc/" + pid + "/stat");
        std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
        size_t close = text.rfind(')');
        if (text.empty() || (close != std::string::npos && text.compare(close, 4, ") Z ") == 0)) {
            return true;
        }
        usleep(10000);
    }
    return false;
}

}  // namespace

TEST_F(SupportPackageTest, CreatesTemporaryPackageWithCategoryFolders) {
    std::unique_ptr<SupportPackage> package(SupportPackage::createSupportPackage());
    ASSERT_TRUE(package);
    std::string root = package->getPathToContents();
    // In the temporary folder ($TMPDIR, else /tmp).
    const std::string prefix = tmp("tmp") + "/osp_";
    EXPECT_EQ(root.substr(0, prefix.size()), prefix);
    EXPECT_TRUE(std::regex_match(root.substr(prefix.size()), std::regex("[A-Za-z0-9]{7}"))) << root;
    std::set<char> firsts;  // all seven are random, the first too
    for (int i = 0; i < 20; ++i) {
        char made[kVeskPathBufferSize] = {0};
        ASSERT_EQ(SupportPackage::createTempDirectory(made, sizeof made - 1), 1);
        firsts.insert(made[prefix.size()]);
        rmdir(made);
    }
    EXPECT_GT(firsts.size(), 1u);
    EXPECT_EQ(package->getPathToUsr(), root + "//user");
    for (const char* category : {"/system", "/application", "/user"}) {
        EXPECT_TRUE(exists(root + category + "/."));
    }
    EXPECT_EQ(SupportPackage::killDirectory(root.c_str()), 0);
    EXPECT_FALSE(exists(root));

    EXPECT_EQ(SupportPackage(nullptr, false).getPathToUsr(), nullptr);
    EXPECT_EQ(SupportPackage::createTempDirectory(nullptr, 10), 0);
    char desktop[kVeskPathBufferSize];  // a path that does not fit is refused, not cut
    ASSERT_EQ(SupportPackage::getPathToDesktop(desktop, sizeof desktop), 1);
    EXPECT_EQ(std::string(desktop), home() + "/Desktop");
    EXPECT_EQ(SupportPackage::getPathToDesktop(desktop, 5), 0);
    EXPECT_STREQ(desktop, "");
    EXPECT_NE(_diagnostics.take().find("Path too long"), std::string::npos);
}

// Copies are recorded for the manifest, and the saved archive holds the manifest and the three
// categories at its top level.
TEST_F(SupportPackageTest, CopiesFilesIntoCategoriesAndSavesThem) {
    writeFile(tmp("src/system.log"), "log text\n");
    EXPECT_EQ(_package->addFileToSys(tmp("src/system.log").c_str(), nullptr), 0);
    EXPECT_EQ(_package->addFileToSys(tmp("src/system.log").c_str(), "AE_65"), 0);
    EXPECT_EQ(_package->addFileToUsr(tmp("src/system.log").c_str(), nullptr), 0);
    EXPECT_EQ(_package->addFileToApp(tmp("src/missing.log").c_str(), "V1"), 0);
    EXPECT_EQ(readFile(_stage + "/system/system.log"), "log text\n");
    EXPECT_EQ(readFile(_stage + "/system/AE_65/system.log"), "log text\n");
    EXPECT_EQ(readFile(_stage + "/user/system.log"), "log text\n");
    EXPECT_EQ(_package->systemEntries(), (Entries{"system/system.log", "system/AE_65/system.log"}));
    EXPECT_EQ(_package->userEntries(), Entries{"user/system.log"});
    // The feature folder is made even when the copy then fails; nothing is recorded.
    EXPECT_TRUE(exists(_stage + "/application/V1"));
    EXPECT_TRUE(_package->applicationEntries().empty());
    _package->addFileToApp(tmp("src/system.log").c_str(), "V2");

    std::string archive = tmp("CorvixSupport.zip");
    EXPECT_EQ(_package->savePackage(archive.c_str()), 0);  // no package information yet
    _sp_package_info_struct info = {};
    _package->setPackageInfo(&info);
    EXPECT_EQ(_package->savePackage(nullptr), 0);
    EXPECT_FALSE(exists(archive));
    ASSERT_EQ(_package->savePackage(archive.c_str()), 1);
    std::string listing;
    ASSERT_EQ(runCommand("unzip -Z1 '" + archive + "' | sort", &listing), 0);
    EXPECT_EQ(listing,
              "application/V2/system.log\npackage.xml\nsystem/AE_65/system.log\n"
              "system/system.log\nuser/system.log\n");
    EXPECT_EQ(runCommand("unzip -tq '" + archive + "' >/dev/null"), 0);

    // A feature folder that cannot be made is an error.
    writeFile(_stage + "/system/blocked", "");
    EXPECT_THROW(_package->addFileToSys(tmp("src/system.log").c_str(), "blocked"),
                 SupportPackageException);

    // A sparse file (data, a hole, data, a hole to its end) stays whole and sparse, within a file
    // system and from another (a tmpfs).
    std::string block;
    for (int i = 0; i < 3000; ++i) {
        block += static_cast<char>(i * 7);
    }
    const std::string data =
        block + std::string((2 << 20) - 3000, '\0') + block + std::string((1 << 20) - 3000, '\0');
    char shm[] = "/dev/shm/corvix-test-XXXXXX";
    std::vector<std::string> sources = {tmp("in.bin")};
    if (mkdtemp(shm)) {
        sources.push_back(std::string(shm) + "/in.bin");
    }
    for (const std::string& in : sources) {
        int fd = open(in.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        EXPECT_EQ(pwrite(fd, block.data(), 3000, 0) + pwrite(fd, block.data(), 3000, 2 << 20),
                  6000);
        EXPECT_EQ(ftruncate(fd, 3 << 20) + close(fd), 0);
        EXPECT_EQ(SupportPackage::copyFile(in.c_str(), tmp("out.bin").c_str()), 1);
        EXPECT_TRUE(readFile(tmp("out.bin")) == data) << in;
        struct stat st;
        EXPECT_EQ(stat(tmp("out.bin").c_str(), &st), 0);
        EXPECT_LT(st.st_blocks * 512, 1 << 20) << in;
    }
    SupportPackage::killDirectory(shm);
    EXPECT_EQ(SupportPackage::copyFile(tmp("in.bin").c_str(), "/dev/full"), 0);
    EXPECT_EQ(SupportPackage::copyFile(tmp("in.bin").c_str(), tmp("no/dir/out").c_str()), 0);
    FileSizeLimit full(1000);
    EXPECT_EQ(SupportPackage::copyFile(tmp("in.bin").c_str(), tmp("short.bin").c_str()), 0);
}

// A staged copy or capture the disk could not take is remembered and leaves nothing behind; a
// second attachment of a name gets a number, after any extension.
TEST_F(SupportPackageTest, FailedCopiesAreToldAndNamesAreNotReused) {
    writeFile(tmp("README"), "r");
    _package->addFileToUsr(tmp("README").c_str(), nullptr);
    _package->addFileToUsr(tmp("README").c_str(), nullptr);
    EXPECT_EQ(_package->userEntries(), (Entries{"user/README", "user/README (2)"}));
    EXPECT_EQ(_package->stagingError(), "");

    writeFile(tmp("big.bin"), std::string(5000, 'x'));
    SupportPackage other(_stage.c_str(), false);
    {
        FileSizeLimit full(1000);
        _package->addFileToSys(tmp("big.bin").c_str(), nullptr);
        other.addOutputToSys("/usr/bin/yes | /usr/bin/head -c 9000", "yes.txt", false);
    }
    EXPECT_FALSE(exists(_stage + "/system/big.bin"));
    EXPECT_EQ(_package->stagingError(), _stage + "/system/big.bin: File too large");
    EXPECT_EQ(other.stagingError(), "system/yes.txt: File too large");
}

TEST_F(SupportPackageTest, GlobCopiesRegularFilesSortedAndSkipsSpecialFiles) {
    writeFile(home() + "/prefs/b.txt", "b");
    writeFile(home() + "/prefs/a.txt", "a");
    makeDirs(home() + "/prefs/folder.txt");
    ASSERT_EQ(mkfifo((home() + "/prefs/fifo.txt").c_str(), 0666), 0);

    alarm(20);  // a copy that blocks on the FIFO ends the test binary instead of hanging it
    EXPECT_EQ(_package->addFilesToApp("~/prefs/*.txt", true, "AE7"), 0);
    alarm(0);
    EXPECT_EQ(_package->applicationEntries(),
              (Entries{"application/AE7/a.txt", "application/AE7/b.txt"}));
    EXPECT_EQ(readFile(_stage + "/application/AE7/b.txt"), "b");
    EXPECT_FALSE(exists(_stage + "/application/AE7/fifo.txt"));

    EXPECT_EQ(_package->addFilesToSys("~/nothing/*", false, nullptr), GLOB_NOMATCH);
    EXPECT_TRUE(_package->systemEntries().empty());
}

TEST_F(SupportPackageTest, KillDirectoryStaysInsideTheTreeAndKeepsHiddenFolders) {
    writeFile(tmp("outside/sentinel"), "keep");
    writeFile(tmp("tree/a"), "");
    writeFile(tmp("tree/.hiddenfile"), "");
    writeFile(tmp("tree/sub/b"), "");
    ASSERT_EQ(symlink(tmp("outside").c_str(), tmp("tree/sub/link").c_str()), 0);
    EXPECT_EQ(SupportPackage::killDirectory((tmp("tree") + "/").c_str()), 4);
    EXPECT_FALSE(exists(tmp("tree")));
    EXPECT_EQ(readFile(tmp("outside/sentinel")), "keep");

    writeFile(tmp("kept/.git/config"), "");
    writeFile(tmp("kept/x"), "");
    EXPECT_EQ(SupportPackage::killDirectory(tmp("kept").c_str()), 1);
    EXPECT_TRUE(exists(tmp("kept/.git/config")));
    EXPECT_FALSE(exists(tmp("kept/x")));

    writeFile(tmp("plain"), "");
    EXPECT_EQ(SupportPackage::killDirectory(tmp("plain").c_str()), 0);
    EXPECT_FALSE(exists(tmp("plain")));
    EXPECT_EQ(SupportPackage::killDirectory(""), 0);
}

// Standard error follows standard output in the same file, whatever order they came in.
TEST_F(SupportPackageTest, CapturesBothOutputsWithEmptyEnvironmentOneAtATime) {
    ScopedEnv env;
    env.set("CORVIX_MARK", "visible");
    _package->addOutputToSys("echo one; echo \"[$CORVIX_MARK]\"", "x.txt", false);
    _package->addOutputToSys("/usr/bin/printf 'two'", "x.txt", true);
    _package->addOutputToSys("echo first-error >&2; echo out", "err.txt", false);
    _package->addOutputToSys("/usr/bin/head -c 3000 /dev/zero | /usr/bin/tr '\\0' y", "long.txt",
                             false);
    EXPECT_EQ(readFile(_stage + "/system/x.txt"), "one\n[]\ntwo");
    EXPECT_EQ(readFile(_stage + "/system/err.txt"), "out\nfirst-error\n");
    EXPECT_EQ(readFile(_stage + "/system/long.txt"), std::string(3000, 'y'));
    EXPECT_EQ(_package->systemEntries(),
              (Entries{"system/x.txt", "system/err.txt", "system/long.txt"}));

    // Captures on one package from two threads run one after the other.
    std::string command =
        "echo start >> '" + tmp("order") + "'; /bin/sleep 0.3; echo end >> '" + tmp("order") + "'";
    std::thread other([&] { _package->addOutputToSys(command.c_str(), "a.txt", false); });
    _package->addOutputToSys(command.c_str(), "b.txt", false);
    other.join();
    EXPECT_EQ(readFile(tmp("order")), "start\nend\nstart\nend\n");
}

TEST_F(SupportPackageTest, CaptureWithoutFileStillDrainsAndReapsTheChild) {
    SupportPackage orphan(tmp("nowhere").c_str(), false);
    orphan.addOutputToSys("/usr/bin/head -c 300000 /dev/zero", "big.txt", false);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
    EXPECT_EQ(orphan.systemEntries(), Entries{"system/big.txt"});
}

// A full disk, a file that cannot be read or a cancel leaves an old archive exactly as it was, no
// temporary file beside it and no compressing thread running.
TEST_F(SupportPackageTest, SavingReplacesAnArchiveOnlyWithAWholeOne) {
    runCommand("head -c 20000 /dev/urandom > '" + _stage + "/system/data.txt'");
    _sp_package_info_struct info = {};
    _package->setPackageInfo(&info);
    const std::string archive = tmp("out/support.zip");
    writeFile(archive, "old archive");
    PackageArchive saved;
    {
        FileSizeLimit full(5000);
        EXPECT_EQ(_package->savePackage(archive.c_str(), &saved), 0);
    }
    EXPECT_EQ(saved._error, archive + ": File too large");
    // Reading this process's memory from its start fails on every thread.
    const int before = procEntries("/proc/self/task");
    ASSERT_EQ(symlink("/proc/self/mem", (_stage + "/user/mem").c_str()), 0);
    EXPECT_EQ(_package->savePackage(archive.c_str(), &saved), 0);
    EXPECT_EQ(saved._error, archive + ": cannot read " + _stage + "/user/mem: Input/output error");
    EXPECT_EQ(procEntries("/proc/self/task"), before);
    unlink((_stage + "/user/mem").c_str());
    PackageCancelFlag cancel;
    cancel.request();
    _package->setCancelFlag(&cancel);
    EXPECT_EQ(_package->savePackage(archive.c_str(), &saved), 0);
    EXPECT_TRUE(saved._interrupted);
    EXPECT_EQ(readFile(archive), "old archive");
    std::string listing;
    runCommand("ls -A '" + tmp("out") + "'", &listing);
    EXPECT_EQ(listing, "support.zip\n");
}

TEST_F(SupportPackageTest, TimeoutEndsHungCommandsAndKeepsTheirOutput) {
    _package->setCommandTimeout(1);
    EXPECT_LT(secondsFor("echo before; /bin/sleep 1000", "hung.txt"), 1.9);
    EXPECT_EQ(readFile(_stage + "/system/hung.txt"), "before\n");

    // A command that ignores SIGTERM is killed after the grace period.
    double stubborn = secondsFor("trap '' TERM; echo x; /bin/sleep 1000", "stubborn.txt");
    EXPECT_GT(stubborn, 2.5);
    EXPECT_LT(stubborn, 6.0);
    EXPECT_EQ(readFile(_stage + "/system/stubborn.txt"), "x\n");

    // A background child that holds the output open is ended with its group.
    _package->addOutputToSys("/bin/sleep 1000 & echo $!", "background.txt", false);
    std::string pid = readFile(_stage + "/system/background.txt");
    ASSERT_FALSE(pid.empty());
    pid.pop_back();
    EXPECT_TRUE(processGone(pid)) << pid;

    _package->addOutputToSys("echo after", "after.txt", false);
    EXPECT_EQ(readFile(_stage + "/system/after.txt"), "after\n");

    // A cancel from another thread (the window's Cancel button) ends a command at once, even one
    // that ignores SIGTERM, and no later command starts.
    PackageCancelFlag cancel;
    _package->setCommandTimeout(0);
    _package->setCancelFlag(&cancel);
    std::thread canceller([&] {
        usleep(300000);
        cancel.request();
    });
    EXPECT_LT(secondsFor("trap '' TERM; echo $$; exec /bin/sleep 1000", "cancelled.txt"), 1.5);
    canceller.join();
    std::string shell = readFile(_stage + "/system/cancelled.txt");
    ASSERT_FALSE(shell.empty());
    EXPECT_TRUE(processGone(shell.substr(0, shell.size() - 1)));
    _package->addOutputToSys("echo late", "late.txt", false);
    EXPECT_FALSE(exists(_stage + "/system/late.txt"));
}
