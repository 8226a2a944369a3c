// The files under the three settings stores ("Config.txt", a project's settings file,
// "FrameCache.cpr"): what sits in their place, writers in other processes, and failed writes.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>

#include "QuadenStoreTest.h"
#include "Quaden_PISSConfig.h"
#include "Quaden_PISSConfigHelper.h"
#include "Quaden_PISSFrameCacheRegistry.h"
#include "Quaden_PISSPerProjectConfig.h"

using namespace corvix_test;

namespace {

class StoreFileTest : public QuadenStoreTest {
  protected:
    void SetUp() override {
        QuadenStoreTest::SetUp();
        makeDirs(_project._projectPath);
    }

    // The three stores, each changed through its read-modify-write cycle (QuadenPISSConfigHelper)
    // and read back by a store loaded afresh (-1 when the key is missing).
    enum Store { kGlobal, kProject, kRegistry };
    static constexpr const char* kNames[] = {"Config.txt", "project file", "FrameCache.cpr"};

    std::string file(Store store) const {
        return store == kProject ? _project._projectPath + "/.CorvixPro2ProjectConfig.cpr"
                                 : productFolder() + kNames[store];
    }
    int update(Store store, const std::string& key, int value) {
        using H = QuadenPISSConfigHelper;
        return store == kGlobal ? H::addOrUpdateGlobalIntegerSetting(key.c_str(), value)
               : store == kProject
                   ? H::addOrUpdateProjectIntegerSetting(&_project, key.c_str(), value)
                   : H::addOrUpdateRegistryStringSetting("P", key.c_str(),
                                                         std::to_string(value).c_str());
    }
    int read(Store store, const std::string& key) {
        int value = -1;
        char* text = nullptr;
        if (store == kGlobal) {
            QuadenPISSConfig().GetItem(&value, "default", key.c_str());
        } else if (store == kProject) {
            QuadenPISSPerProjectConfig(_project._projectPath.c_str())
                .GetItem(&value, "P", key.c_str());
        } else if (QuadenPISSFrameCacheRegistry().GetItem(&text, "P", key.c_str())) {
            value = atoi(text);
        }
        free(text);
        return value;
    }

    QuadenPISSProjectKeys _project{"P", tmp("project")};
};

// Whatever sits in a store file's place, the store says so at once and never writes over it.
TEST_F(StoreFileTest, SpecialAndHugeFilesAreRefusedAtOnceAndKept) {
    struct Case {
        const char* _what;
        std::function<void(const std::string&)> _make;
        const char* _reason;
    };
    const Case cases[] = {
        {"FIFO", [](const std::string& path) { mkfifo(path.c_str(), 0666); },
         "is a FIFO, not a regular file"},
        {"folder", [](const std::string& path) { makeDirs(path); }, "is a folder"},
        {"huge file",
         [](const std::string& path) {
             writeFile(path, "");
             ASSERT_EQ(truncate(path.c_str(), 17 << 20), 0);
         },
         "is 17825792 bytes, more than the 16777216 read"}};
    for (Store store : {kGlobal, kProject, kRegistry}) {
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(kNames[store]) + " as " + c._what);
            const std::string path = file(store);
            c._make(path);
            struct stat before;
            ASSERT_EQ(lstat(path.c_str(), &before), 0);
            const auto start = std::chrono::steady_clock::now();
            EXPECT_EQ(update(store, "Key", 1), 0);
            EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
            EXPECT_NE(logText().find(c._reason), std::string::npos);
            struct stat after;
            ASSERT_EQ(lstat(path.c_str(), &after), 0);
            EXPECT_EQ(after.st_ino, before.st_ino);
            EXPECT_EQ(after.st_size, before.st_size);
            runCommand("rm -rf '" + path + "'");
        }
    }
}

// Two processes updating one file at once, each its own keys, beside a key set by hand: every
// key of both survives, because each update holds the file's lock from its load to its commit.
TEST_F(StoreFileTest, WritersInTwoProcessesLoseNoKeys) {
    const int kUpdates = 25;
    for (Store store : {kGlobal, kProject, kRegistry}) {
        SCOPED_TRACE(kNames[store]);
        ASSERT_EQ(update(store, "ByHand", 7), 1);
        pid_t children[2];
        for (int child = 0; child < 2; ++child) {
            children[child] = fork();
            ASSERT_GE(children[child], 0);
            if (children[child] == 0) {
                int failures = 0;
                for (int i = 0; i < kUpdates; ++i) {
                    failures +=
                        !update(store, "C" + std::to_string(child) + "_" + std::to_string(i), i);
                }
                _exit(failures);
            }
        }
        for (pid_t child : children) {
            int status = -1;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
        }
        EXPECT_EQ(read(store, "ByHand"), 7);
        for (int i = 0; i < kUpdates; ++i) {
            EXPECT_EQ(read(store, "C0_" + std::to_string(i)), i);
            EXPECT_EQ(read(store, "C1_" + std::to_string(i)), i);
        }
    }
}

// A store that read the file before another writer committed: a transaction of its own loads
// the file afresh; without one, or with changes made before it, its commit is refused.
TEST_F(StoreFileTest, CommitsNeverOverwriteAnotherWritersKeys) {
    const std::string path = productFolder() + "Config.txt";
    writeFile(path, "default int\tA 1\n");
    QuadenPISSConfig early;
    QuadenPISSConfig changed;
    changed.Add("default", "Mine", 2);
    {
        QuadenPISSConfig other;
        ASSERT_EQ(other.StartTransaction(), 1);
        other.Add("default", "Theirs", 3);
        ASSERT_EQ(other.Commit(), 1);
    }
    const std::string committed = "default int\tA 1\ndefault int\tTheirs 3\n";
    EXPECT_EQ(early.Commit(), 0);
    EXPECT_EQ(changed.StartTransaction(), 0);
    EXPECT_EQ(changed.Commit(), 0);
    EXPECT_EQ(readFile(path), committed);
    EXPECT_NE(logText().find("was changed by another writer since it was read"), std::string::npos);

    ASSERT_EQ(early.StartTransaction(), 1);
    int theirs = 0;
    EXPECT_EQ(early.GetItem(&theirs, "default", "Theirs"), 1);
    EXPECT_EQ(theirs, 3);
    early.Add("default", "Later", 4);
    ASSERT_EQ(early.Commit(), 1);
    EXPECT_EQ(readFile(path), committed + "default int\tLater 4\n");
    EXPECT_TRUE(exists(productFolder() + ".Config.txt.lock"));
}

// A line longer than the readers take whole (1023 characters at a time) would read back as other
// entries (a path cut short, its tail a line of its own): the commit is refused and the file
// stays; the longest line that fits is written and read back.
TEST_F(StoreFileTest, LinesTooLongToReadBackAreNeverWritten) {
    // "group string<TAB>K ": 17 characters with the global store's group, 42 with a name hash.
    const size_t prefix[] = {17, 42, 42};
    for (Store store : {kGlobal, kProject, kRegistry}) {
        writeFile(file(store), store == kProject ? "cpr-version:1\n" : "");
        for (size_t extra : {1, 0}) {
            std::string value(kPISSLongestLine - prefix[store] + extra, 'v');
            char* read = nullptr;
            int committed = 0;
            if (store == kGlobal) {
                QuadenPISSConfig config;
                config.Add("default", "K", value.c_str());
                committed = config.Commit();
                QuadenPISSConfig().GetItem(&read, "default", "K");
            } else if (store == kProject) {
                QuadenPISSPerProjectConfig project(_project._projectPath.c_str());
                project.Add("P", "K", value.c_str());
                committed = project.Commit();
                QuadenPISSPerProjectConfig(_project._projectPath.c_str()).GetItem(&read, "P", "K");
            } else {
                QuadenPISSFrameCacheRegistry registry;
                registry.Add("P", "K", value.c_str());
                committed = registry.Commit();
                QuadenPISSFrameCacheRegistry().GetItem(&read, "P", "K");
            }
            EXPECT_EQ(committed, extra == 0 ? 1 : 0) << kNames[store];
            EXPECT_EQ(read ? std::string(read) : "", extra == 0 ? value : "") << kNames[store];
            free(read);
        }
    }
    EXPECT_TRUE(logged("is longer than 1022 characters")) << logText();
}

// A full disk while a store is written (a file-size limit fails writes alike): the commit fails
// and the old file stays as it was, with nothing left beside it but the lock.
TEST_F(StoreFileTest, FullDiskLeavesTheOldFile) {
    const std::string old = "default int\tA 1\n";
    writeFile(file(kGlobal), old);
    QuadenPISSConfig store;
    for (int i = 0; i < 200; ++i) {
        store.Add("default", ("Key" + std::to_string(i)).c_str(), std::string(64, 'v').c_str());
    }
    signal(SIGXFSZ, SIG_IGN);
    struct rlimit saved;
    getrlimit(RLIMIT_FSIZE, &saved);
    struct rlimit small = {4096, saved.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_EQ(store.StartTransaction(), 1);
    EXPECT_EQ(store.Commit(), 0);
    setrlimit(RLIMIT_FSIZE, &saved);
    EXPECT_EQ(readFile(file(kGlobal)), old);
    std::string listing;
    runCommand("ls -A '" + productFolder() + "'", &listing);
    EXPECT_EQ(listing, ".Config.txt.lock\nConfig.txt\n");
    EXPECT_NE(logText().find("File too large"), std::string::npos) << logText();
}

}  // namespace
