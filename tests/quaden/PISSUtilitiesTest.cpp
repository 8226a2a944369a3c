// Store utilities: product paths, the line tokenizer, folder walks, folder creation and MD5.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "QuadenStoreTest.h"
#include "Quaden_PISSConfig.h"
#include "Quaden_PISSFrameCacheRegistry.h"
#include "Quaden_PISSPerProjectConfig.h"
#include "Quaden_PISSRenderQueue.h"
#include "Quaden_PISSUtilities.h"
#include "VeskPath.h"

using namespace corvix_test;

namespace {

class UtilitiesTest : public QuadenStoreTest {};

int (*const kAssigners[])(char*, int) = {
    assignCorvixProRootConfigDirectoryPath, assignCorvixProRenderQueueDefaultDirectoryPath,
    assignCorvixProFrameCacheDefaultDirectoryPath, assignCorvixProFrameCacheRegistryFilePath};

std::vector<std::string> listNames(const std::string& path, int type, int* result) {
    sDirectoryOrFileListEntry* head = nullptr;
    sDirectoryOrFileListEntry* tail = nullptr;
    int count = -1;
    *result = PISSGetDirectoryOrFileList(path.c_str(), type, &head, &tail, &count);
    std::vector<std::string> names;
    for (sDirectoryOrFileListEntry* entry = head; entry != nullptr; entry = entry->_next) {
        names.push_back(entry->_name);
        EXPECT_EQ(entry->_next == nullptr, entry == tail);
    }
    EXPECT_EQ(count, static_cast<int>(names.size()));
    PISSFreeDirectoryOrFileList(head);
    std::sort(names.begin(), names.end());
    return names;
}

TEST_F(UtilitiesTest, TokenizerSplitsStoreLinesAndClipsTheRemainder) {
    char line[] = "default int\tSizeOfFrameCacheInMB \t 20000 MB";
    char* save = nullptr;
    EXPECT_STREQ(QuadenPISSstrtok_r(line, " \t", &save), "default");
    EXPECT_STREQ(QuadenPISSstrtok_r(nullptr, " \t", &save), "int");
    EXPECT_STREQ(QuadenPISSstrtok_r(nullptr, " \t", &save), "SizeOfFrameCacheInMB");
    EXPECT_STREQ(QuadenPISSClipPrefixedWhiteSpace(save, " \t"), "20000 MB");

    char bare[] = "  default string\tKey";
    EXPECT_STREQ(QuadenPISSstrtok_r(bare, " \t", &save), "default");
    EXPECT_STREQ(QuadenPISSstrtok_r(nullptr, " \t", &save), "string");
    EXPECT_STREQ(QuadenPISSstrtok_r(nullptr, " \t", &save), "Key");
    EXPECT_EQ(QuadenPISSClipPrefixedWhiteSpace(save, " \t"), nullptr);
    EXPECT_EQ(QuadenPISSstrtok_r(nullptr, " \t", &save), nullptr);
    EXPECT_EQ(QuadenPISSstrtok_r(nullptr, " \t", &save), nullptr);

    char blanks[] = " \t ";
    EXPECT_EQ(QuadenPISSstrtok_r(blanks, " \t", &save), nullptr);
    EXPECT_EQ(QuadenPISSClipPrefixedWhiteSpace(nullptr, " "), nullptr);
    EXPECT_EQ(QuadenPISSClipPrefixedWhiteSpace(blanks, nullptr), blanks);
}

TEST_F(UtilitiesTest, PathAssignersFollowTheMachineRoot) {
    const char* const folder = "/Library/Application Support/Orvanta Software/CorvixPro2/";
    const std::string names[] = {"", "RenderQueue/", "Cache/", "FrameCache.cpr"};
    char buffer[1024];
    for (int i = 0; i < 4; ++i) {
        std::string expected = folder + names[i];
        EXPECT_EQ(kAssigners[i](buffer, sizeof buffer),
                  static_cast<int>(root().size() + expected.size()));
        EXPECT_EQ(std::string(buffer), root() + expected);
    }
    EXPECT_EQ(assignCorvixProRootConfigDirectoryPath(nullptr, 10), 0);
    EXPECT_EQ(assignCorvixProFrameCacheRegistryFilePath(buffer, -1), 0);
    EXPECT_TRUE(logged("ERROR\tassignCorvixProRootConfigPath invalid arguments\n"));
}

// A path that does not fit its buffer is refused whole, never cut and used: the assigners leave
// the buffer empty, and the stores built on such paths have no file and create nothing.
TEST_F(UtilitiesTest, PathsThatDoNotFitAreRefused) {
    char small[10];
    memset(small, 'x', sizeof small);
    EXPECT_EQ(assignCorvixProFrameCacheRegistryFilePath(small, 10), 0);
    EXPECT_EQ(std::string(small, 10), std::string(10, '\0'));
    EXPECT_TRUE(logged("ERROR\tassignCorvixProFrameCacheRegistryFilePath: path too long (" +
                       std::to_string(root().size() + 71) +
                       " bytes, at most 8 fit), not used: " + root() + "/Library/"));

    const std::string longRoot = tmp(std::string(1000, 'r'));
    _env.set("CORVIX_ROOT", longRoot);
    char buffer[kVeskPathBufferSize];
    for (int (*assign)(char*, int) : kAssigners) {
        EXPECT_EQ(assign(buffer, sizeof buffer), 0);
        EXPECT_STREQ(buffer, "");
    }
    {
        QuadenPISSConfig config;
        QuadenPISSFrameCacheRegistry registry;
        QuadenPISSRenderQueue queue;
        QuadenPISSPerProjectConfig project(longRoot.c_str());
        EXPECT_EQ(config.getRootPathToProjectConfigFile(), nullptr);
        EXPECT_EQ(registry.getPathToRegistryFile(), nullptr);
        EXPECT_EQ(queue.getRenderQueueFilePath(), nullptr);
        EXPECT_EQ(project.getPathToConfigFile(), nullptr);
        for (int result : {config.StartTransaction(), registry.Commit(), queue.StartTransaction(),
                           queue.Commit(), project.Commit()}) {
            EXPECT_EQ(result, 0);
        }
    }
    EXPECT_TRUE(logged("ERROR\tPerProjectConfig::PerProjectConfig: path too long ("));
    EXPECT_FALSE(exists(longRoot));
    EXPECT_FALSE(exists("Config.txt"));
    EXPECT_FALSE(exists(".Config.txt.lock"));
}

TEST_F(UtilitiesTest, FolderWalksListSizeAndCount) {
    const std::string cache = tmp("cache");
    writeFile(cache + "/a.bin", std::string(10, 'a'));
    writeFile(cache + "/b.bin", std::string(20, 'b'));
    writeFile(cache + "/sub/c.bin", std::string(5, 'c'));
    // A link to the folder itself counts as an entry of its own size and is never followed.
    ASSERT_EQ(symlink(cache.c_str(), (cache + "/sub/loop").c_str()), 0);
    const uint64_t linkSize = cache.size();
    for (const std::string& path : {cache, cache + "/"}) {
        EXPECT_EQ(PISSGetSizeOfDirectoryContents(path.c_str()), 35u + linkSize);
        EXPECT_EQ(PISSGetFileCount(path.c_str()), 4u);
    }
    int result = 0;
    EXPECT_EQ(listNames(cache, 0, &result), (std::vector<std::string>{"a.bin", "b.bin"}));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(listNames(cache, 1, &result), std::vector<std::string>{"sub"});
    EXPECT_EQ(listNames(tmp("missing"), 0, &result).size(), 0u);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(PISSGetSizeOfDirectoryContents(tmp("missing").c_str()), 0u);
    EXPECT_EQ(PISSGetSizeOfFileContents((cache + "/b.bin").c_str()), 20u);
    EXPECT_EQ(PISSGetSizeOfFileContents((cache + "/none").c_str()), 0u);
    EXPECT_TRUE(
        logged("ERROR\tGetSizeOfFileContents: Could not stat on filepath: " + cache + "/none\n"));
    sDirectoryOrFileListEntry* head = nullptr;
    EXPECT_EQ(PISSGetDirectoryOrFileList(cache.c_str(), 0, &head, &head, nullptr), 0);

    // Deleting a link removes the link, never what it points at.
    EXPECT_EQ(PISSDeleteFile((cache + "/sub/loop").c_str()), 1);
    EXPECT_TRUE(exists(cache + "/a.bin"));
    EXPECT_EQ(PISSDeleteFile((cache + "/a.bin").c_str()), 1);
    EXPECT_EQ(PISSDeleteFile((cache + "/a.bin").c_str()), 0);
    EXPECT_EQ(PISSDeleteFile((cache + "/sub").c_str()), 0);
    EXPECT_EQ(PISSGetFileCount(cache.c_str()), 2u);
}

// Entries whose paths pass 1023 bytes are skipped and counted, never cut; a tree 10,000 folders
// deep is walked to that limit without recursion and without a crash.
TEST_F(UtilitiesTest, WalksSkipAndCountPathsThatDoNotFit) {
    std::string folder = tmp("long");
    while (folder.size() < 1000) {
        folder += "/" + std::string(std::min<size_t>(200, 999 - folder.size()), 'd');
    }
    makeDirs(folder);
    for (size_t length = 1020; length <= 1030; ++length) {
        writeFile(folder + "/" + std::string(length - folder.size() - 1, 'f'), "12");
    }
    uint64_t skipped = 0;
    EXPECT_EQ(PISSGetFileCount(tmp("long").c_str(), &skipped), 4u);
    EXPECT_EQ(skipped, 7u);
    EXPECT_EQ(PISSGetSizeOfDirectoryContents(tmp("long").c_str(), &skipped), 8u);
    EXPECT_EQ(skipped, 7u);
    int result = 0;
    EXPECT_EQ(listNames(folder, 0, &result).size(), 4u);
    EXPECT_TRUE(logged("WARNING\tGetDirectoryOrFileList: 7 entries below '" + folder +
                       "' skipped: their paths are longer than 1023 bytes\n"));

    // The tree is built and taken down one level at a time from inside, since its full paths are
    // longer than the system takes; in memory when it can be, where that is quick.
    const int kDepth = 10000;
    char shm[] = "/dev/shm/quaden-deep-XXXXXX";
    const std::string deep = mkdtemp(shm) != nullptr ? std::string(shm) : tmp("deep");
    writeFile(deep + "/top.bin", "1234");
    const int back = open(".", O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(chdir(deep.c_str()), 0);
    for (int level = 0; level < kDepth; ++level) {
        ASSERT_EQ(mkdir("d", 0777) == 0 && chdir("d") == 0, true) << level;
    }
    EXPECT_EQ(PISSGetFileCount(deep.c_str(), &skipped), 1u);
    EXPECT_EQ(skipped, 1u);
    EXPECT_EQ(PISSGetSizeOfDirectoryContents(deep.c_str()), 4u);
    for (int level = 0; level < kDepth; ++level) {
        ASSERT_EQ(chdir("..") == 0 && rmdir("d") == 0, true) << level;
    }
    runCommand("rm -r '" + deep + "'");
    ASSERT_EQ(fchdir(back), 0);
    close(back);
}

TEST_F(UtilitiesTest, CreateDirectoryPathTakesThePathLiterally) {
    // Were the path expanded by the shell, the commands would leave marker files in the sandbox.
    const std::string marker = tmp("marker");
    const std::string path =
        tmp("a \"b\"/$(touch " + marker + "1)/`touch " + marker + "2`/c\\d $HOME");
    EXPECT_EQ(PISSCreateDirectoryPath(path.c_str()), 1);
    struct stat status;
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_FALSE(exists(marker + "1"));
    EXPECT_FALSE(exists(marker + "2"));
    EXPECT_EQ(PISSCreateDirectoryPath(tmp("-p x/y").c_str()), 1);
    EXPECT_TRUE(exists(tmp("-p x/y")));
}

TEST_F(UtilitiesTest, MD5MatchesMd5sum) {
    char out[kPISSPrintableHashSize];
    // One block, padding that needs a second block (62 bytes), and two blocks of text.
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    for (const std::string& text :
         {std::string(), std::string("abc"), alphabet, alphabet + alphabet}) {
        ASSERT_EQ(_MD5GetPrintableHash(text.c_str(), out), 1);
        EXPECT_EQ(std::string(out), md5sum(text)) << text;
    }
    EXPECT_EQ(std::string(out).size(), 32u);

    // Finishing takes a copy: the original context goes on with the rest of the text.
    MD5 context;
    context.Update("message ", 8);
    ASSERT_EQ(_MD5FinalPrintableHash(out, context), 1);
    EXPECT_EQ(std::string(out), md5sum("message "));
    context.Update("digest", 6);
    ASSERT_EQ(_MD5FinalPrintableHash(out, context), 1);
    EXPECT_EQ(std::string(out), md5sum("message digest"));

    std::string bytes;
    for (int i = 0; i < 40000; ++i)
        bytes += static_cast<char>((i * 7) & 0xff);
    writeFile(tmp("frame.bin"), bytes);
    ASSERT_EQ(_generateMD5ForFile(tmp("frame.bin").c_str(), out), 1);
    EXPECT_EQ(std::string(out), md5sum(bytes));
    EXPECT_EQ(_generateMD5ForFile(tmp("none.bin").c_str(), out), 0);
    EXPECT_EQ(_MD5GetPrintableHash(nullptr, out), 0);
}

}  // namespace
