// The path, diagnostics and file helpers every reader and writer of the tool stands on.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "DiagnosticCapture.h"
#include "TestEnvironment.h"
#include "VeskFile.h"
#include "VeskPath.h"

using namespace corvix_test;

namespace {

class VeskFileTest : public SandboxTest {};

TEST_F(VeskFileTest, PathsThatDoNotFitAreRefusedWholeAndNamed) {
    DiagnosticCapture diagnostics;
    char buffer[kVeskPathBufferSize];
    std::string fits(kVeskPathMaxLength - 2, 'a');
    EXPECT_TRUE(vesk_formatPath(buffer, sizeof buffer, "/%s/", fits.c_str()));
    EXPECT_EQ(std::string(buffer), "/" + fits + "/");
    EXPECT_EQ("", diagnostics.take());

    std::string tooLong = fits + "b\nREMOVED";
    EXPECT_FALSE(vesk_formatPath(buffer, sizeof buffer, "/%s", tooLong.c_str()));
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ("\nPath too long (1031 bytes, at most 1023 fit), not used: /" + fits + "b\\nREMOVED",
              diagnostics.take());

    std::string out = "unchanged";
    EXPECT_FALSE(vesk_formatPathString(&out, "%s%s", fits.c_str(), "xyz"));
    EXPECT_EQ(out, "unchanged");
    EXPECT_EQ(vesk_printablePath("a\tb\x01\x7f/é\\"), "a\\tb\\x01\\x7f/é\\");
}

TEST_F(VeskFileTest, SpecialFilesAreRefusedAtOnceAndNeverTruncated) {
    std::string fifo = tmp("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0666), 0);
    writeFile(tmp("plain"), "data");
    std::string why;
    for (int flags : {O_RDONLY, O_WRONLY | O_CREAT | O_TRUNC}) {
        EXPECT_EQ(vesk_openRegular(fifo.c_str(), flags, 0666, &why), -1);
        EXPECT_EQ(why, "is a FIFO, not a regular file");
    }
    EXPECT_EQ(vesk_fopenRegular(tmp().c_str(), "r", &why), nullptr);
    EXPECT_EQ(why, "is a folder, not a regular file");
    EXPECT_EQ(vesk_fopenRegular("/dev/null", "w", &why), nullptr);
    EXPECT_EQ(why, "is a character device, not a regular file");

    std::string text;
    EXPECT_TRUE(vesk_readRegularFile(tmp("plain").c_str(), 4, &text));
    EXPECT_EQ(text, "data");
    EXPECT_FALSE(vesk_readRegularFile(tmp("plain").c_str(), 3, &text, &why));
    EXPECT_EQ(why, "is 4 bytes, more than the 3 read");
}

TEST_F(VeskFileTest, AtomicWriteReplacesWholeOrLeavesTheOldFile) {
    std::string target = tmp("settings.cfg");
    writeFile(target, "old\n");
    chmod(target.c_str(), 0640);
    symlink(target.c_str(), tmp("link.cfg").c_str());
    {
        VeskAtomicFile file(tmp("link.cfg"));
        ASSERT_TRUE(file.open());
        fputs("new\n", file.stream());
        EXPECT_EQ(readFile(target), "old\n") << "nothing visible before commit";
        ASSERT_TRUE(file.commit()) << file.error();
    }
    EXPECT_EQ(readFile(target), "new\n");
    struct stat st;
    ASSERT_EQ(lstat(tmp("link.cfg").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode)) << "the link stays a link";
    ASSERT_EQ(stat(target.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);

    // A file-size limit makes every write past it fail, as a full disk does.
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit saved;
    getrlimit(RLIMIT_FSIZE, &saved);
    struct rlimit small = {4096, saved.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    VeskAtomicFile file(target);
    ASSERT_TRUE(file.open());
    std::string block(65536, 'x');
    fwrite(block.data(), 1, block.size(), file.stream());
    EXPECT_FALSE(file.commit());
    setrlimit(RLIMIT_FSIZE, &saved);
    EXPECT_NE(file.error().find("File too large"), std::string::npos) << file.error();
    EXPECT_EQ(readFile(target), "new\n");
    std::string left;
    runCommand("ls -A '" + tmp() + "'", &left);
    EXPECT_EQ("home\nlink.cfg\nroot\nsettings.cfg\ntmp\n", left);

    mkfifo(tmp("pipe.cfg").c_str(), 0666);
    VeskAtomicFile overFifo(tmp("pipe.cfg"));
    EXPECT_FALSE(overFifo.open());
    EXPECT_NE(overFifo.error().find("is a FIFO, not a regular file"), std::string::npos);
}

TEST_F(VeskFileTest, LockSerialisesReadModifyWriteAndGivesUpAfterItsTimeout) {
    std::string counter = tmp("counter");
    writeFile(counter, "0");
    auto bump = [&] {
        for (int i = 0; i < 200; ++i) {
            VeskFileLock lock(counter);
            ASSERT_TRUE(lock.locked()) << lock.error();
            int value = std::stoi(readFile(counter));
            VeskAtomicFile file(counter);
            ASSERT_TRUE(file.open());
            fprintf(file.stream(), "%d", value + 1);
            ASSERT_TRUE(file.commit());
        }
    };
    std::thread other(bump);
    bump();
    other.join();
    EXPECT_EQ(readFile(counter), "400");

    VeskFileLock held(counter);
    VeskFileLock waiting(counter, 50);
    EXPECT_FALSE(waiting.locked());
    EXPECT_NE(waiting.error().find("still locked"), std::string::npos);
    EXPECT_TRUE(exists(VeskFileLock::lockPathFor(counter)));
}

}  // namespace
