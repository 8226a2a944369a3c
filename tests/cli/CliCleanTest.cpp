// corvix-support clean, in-process: what the verb adds (refusals, the question, the report and
// its exit codes), and the whole command on linked and deeply nested product folders.
#include <unistd.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "CliTest.h"

using namespace corvix_test;
using ::testing::HasSubstr;

namespace {

class CleanCommandTest : public CliTest {
  protected:
    void makeState() {
        writeFile(product("CorvixPro", "RenderQueue/RQ.txt"), "q");
        writeFile(product("CorvixPro", "Cache/frame"), "f");
        writeFile(userFolder() + "corvix.log", "l");
    }
    std::string product(const std::string& generation, const std::string& item) const {
        return productFolder(generation) + item;
    }
    int clean(const std::vector<std::string>& arguments, const std::string& input = "",
              bool interactive = false) {
        return cli("clean", arguments, input, interactive);
    }
    // Every path below the sandbox, one per line.
    std::string everything() {
        std::string listing;
        runCommand("find '" + tmp() + "' -mindepth 1 ! -name stderr.txt | sort", &listing);
        return listing;
    }
    // path without doubled slashes or a trailing one, as find lists it.
    static std::string normalised(std::string path) {
        for (size_t at; (at = path.find("//")) != std::string::npos;) {
            path.erase(at, 1);
        }
        if (path.size() > 1 && path.back() == '/') {
            path.pop_back();
        }
        return path;
    }
    // Every name, type, size, time and link outside the product folders, and every file's bytes.
    std::string outsideProductFolders() {
        std::string listing;
        runCommand("cd '" + tmp() +
                       "' && find outside root -path '*/Orvanta Software' -prune -o -printf "
                       "'%p %y %s %T@ %l\\n' | sort && find outside -type f -exec sha256sum {} +",
                   &listing);
        return listing;
    }
};

// The question goes to the terminal and is answered there; with no terminal to ask on, or any
// answer but yes, nothing is deleted and the exit code is 2.
TEST_F(CleanCommandTest, AsksOnTheTerminalAndRefusesWithoutAYes) {
    makeState();
    EXPECT_EQ(2, clean({"--yes"}));
    EXPECT_EQ(0u, _err.find("No maintenance tasks have been selected.\nPlease check off some "
                            "maintenance tasks to perform and try again.\nChoose at least one "));

    EXPECT_EQ(2, binary({"clean", "--all"}));
    EXPECT_EQ("", _out);
    EXPECT_THAT(_err, HasSubstr("There is no terminal to ask on: nothing was deleted."));
    std::string screen;
    EXPECT_EQ(2, runOnTerminal({"clean", "--logs", "--cache"}, "n\n", &screen));
    EXPECT_THAT(screen, HasSubstr("Are you sure you want to reset your settings [y/N] "));
    EXPECT_EQ(2, clean({"--logs"}, "", true));  // end of input is no "yes"
    EXPECT_TRUE(exists(product("CorvixPro", "RenderQueue/RQ.txt")) &&
                exists(product("CorvixPro", "Cache/frame")) && exists(userFolder() + "corvix.log"));

    // The question shows whatever standard output is redirected to, and a yes is taken.
    EXPECT_EQ(0, runOnTerminal({"clean", "--logs", "--cache"}, "yes\n", &screen));
    EXPECT_THAT(screen, HasSubstr("[y/N] Log files: 1 deleted.\n"));
    EXPECT_FALSE(exists(userFolder() + "corvix.log"));
}

TEST_F(CleanCommandTest, ReportsWhatWentAndWhatAnErrorLeftUndone) {
    makeState();
    EXPECT_EQ(0, clean({"--logs", "--cache"}, " Yes\n", true));
    EXPECT_EQ(
        "Log files: 1 deleted.\nFrame cache files: 1 deleted.\nFrame cache registries: 0 "
        "deleted.\n",
        _out);

    writeFile(product("CorvixPro", "RenderQueue/RQ.txt"), "q");
    runCommand("rm -rf '" + userFolder() + "'");
    writeFile(home() + "/.config/Orvanta/Corvix", "not a folder");
    EXPECT_EQ(1, clean({"--all", "-y"}));
    EXPECT_EQ("Error performing maintenance.\nCould not open \"" + userFolder() +
                  "\" for directory listing.\nNot done because of the error: Settings store "
                  "files, User configuration files, Frame cache files, Frame cache registries.\n",
              _err);
    EXPECT_EQ("Render queue files: 1 deleted.\n", _out);
}

// The dry run lists exactly what the real run then deletes (files, the folders emptied, not a
// folder holding a hidden one), deletes nothing, and adds up the bytes.
TEST_F(CleanCommandTest, DryRunListsExactlyWhatARealRunDeletes) {
    makeState();
    writeFile(product("CorvixPro2", "RenderQueue/job/RQ.txt"), "12345");
    writeFile(product("CorvixPro2", "Cache/a/.keep/frame"), "f");
    writeFile(product("CorvixPro2", "Cache/b/frame"), "ff");
    writeFile(product("CorvixPro2", "Config.txt"), "c");
    writeFile(product("CorvixPro", "FrameCache.cpr"), "r");
    writeFile(userFolder() + "CorvixPro2.cfg", "x");
    writeFile(userFolder() + "other.log", "kept");
    const std::string before = everything();

    ASSERT_EQ(0, binary({"clean", "--all", "--dry-run"})) << _err;
    EXPECT_EQ(before, everything());
    std::set<std::string> listed;
    std::istringstream lines(_out);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("  /", 0) == 0) {
            listed.insert(normalised(line.substr(2)));
        }
    }
    EXPECT_THAT(
        _out, HasSubstr("Frame cache files:\n  " + product("CorvixPro2", "Cache/b/frame") + "\n"));
    EXPECT_THAT(_out, HasSubstr("\n13 path(s) would be deleted, 13 bytes of files. "
                                "Nothing was deleted: dry run.\n"));

    ASSERT_EQ(0, clean({"--all", "--yes"}));
    std::set<std::string> deleted;
    const std::string after = everything();
    std::istringstream was(before);
    for (std::string path; std::getline(was, path);) {
        if (after.find(path + "\n") == std::string::npos) {
            deleted.insert(path);
        }
    }
    EXPECT_EQ(deleted, listed);
}

// Counted apart from what went, the first named; a folder that a hidden entry keeps is no failure.
TEST_F(CleanCommandTest, WhatCannotBeDeletedFailsTheCommand) {
    writeFile(product("CorvixPro", "Cache/frame"), "f");
    writeFile(product("CorvixPro", "Cache/ro/b"), "x");
    writeFile(product("CorvixPro", "Cache/.hidden/c"), "x");
    ScopedMount readOnly(product("CorvixPro", "Cache/ro"), product("CorvixPro", "Cache/ro"), true);
    if (!readOnly.mounted()) {
        GTEST_SKIP() << "needs root to mount a read-only folder";
    }
    EXPECT_EQ(1, clean({"--cache", "--yes"}));
    EXPECT_EQ("Frame cache files: 1 deleted.\nFrame cache registries: 0 deleted.\n", _out);
    EXPECT_EQ("Frame cache files: 2 could not be deleted, the first: " +
                  product("CorvixPro", "Cache/ro/b") + ": Read-only file system\n",
              _err);
    EXPECT_TRUE(exists(product("CorvixPro", "Cache/.hidden/c")));
}

// The second product's folders are links to a folder outside the root, the first product's
// hold links to it: the links go, nothing outside changes.
TEST_F(CleanCommandTest, AllLeavesEverythingOutsideTheProductFoldersAlone) {
    makeState();
    writeFile(tmp("outside/a"), "a");
    writeFile(tmp("outside/queue/RQ.txt"), "q");
    writeFile(tmp("outside/cache/frame"), "f");
    makeDirs(product("CorvixPro2", ""));
    ASSERT_EQ(0,
              symlink(tmp("outside/queue").c_str(), product("CorvixPro2", "RenderQueue").c_str()));
    ASSERT_EQ(0, symlink(tmp("outside/cache").c_str(), product("CorvixPro2", "Cache").c_str()));
    for (const char* item : {"RenderQueue/out", "Cache/out"}) {
        ASSERT_EQ(0, symlink(tmp("outside").c_str(), product("CorvixPro", item).c_str()));
    }
    ASSERT_EQ(0, symlink(tmp("outside/a").c_str(), product("CorvixPro", "Cache/a").c_str()));
    std::string before = outsideProductFolders();

    EXPECT_EQ(0, clean({"--all", "--yes"}));
    EXPECT_EQ(before, outsideProductFolders());
    for (const char* generation : {"CorvixPro", "CorvixPro2"}) {
        EXPECT_FALSE(exists(product(generation, "RenderQueue")));
        EXPECT_FALSE(exists(product(generation, "Cache")));
    }
}

TEST_F(CleanCommandTest, CacheNestedTenThousandDeepIsRemoved) {
    // Only for speed: a disk file system takes seconds over ten thousand folders.
    ScopedMount memory("", root());
    makeDeepTree(product("CorvixPro", "Cache"), 500);
    makeDeepTree(product("CorvixPro2", "Cache"), 10000);
    EXPECT_EQ(0, clean({"--cache", "--yes"}));
    EXPECT_EQ("Frame cache files: 2 deleted.\nFrame cache registries: 0 deleted.\n", _out);
    EXPECT_FALSE(exists(product("CorvixPro", "Cache")));
    EXPECT_FALSE(exists(product("CorvixPro2", "Cache")));
}

}  // namespace
