// Store utilities: product paths that do not fit, folder walks and folder creation. (The line
// tokenizer, the path assigners and the name hash are checked through the stores that use them.)
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

// The names of the files (type 0) or folders (type 1) listed in path, sorted.
std::vector<std::string> listNames(const std::string& path, int type) {
    sDirectoryOrFileListEntry* head = nullptr;
    sDirectoryOrFileListEntry* tail = nullptr;
    int count = -1;
    EXPECT_EQ(1, PISSGetDirectoryOrFileList(path.c_str(), type, &head, &tail, &count));
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

// A link, even to the folder itself, counts as an entry of its own size and is never followed; a
// file is listed as a file, a folder as a folder, and deleting a link removes only the link.
TEST_F(UtilitiesTest, FolderWalksNeverFollowLinks) {
    const std::string cache = tmp("cache");
    writeFile(cache + "/a.bin", std::string(10, 'a'));
    writeFile(cache + "/sub/c.bin", std::string(5, 'c'));
    ASSERT_EQ(symlink(cache.c_str(), (cache + "/sub/loop").c_str()), 0);
    EXPECT_EQ(PISSGetSizeOfDirectoryContents((cache + "/").c_str()), 15u + cache.size());
    EXPECT_EQ(PISSGetFileCount(cache.c_str()), 3u);
    EXPECT_EQ(PISSGetSizeOfDirectoryContents(tmp("missing").c_str()), 0u);
    EXPECT_EQ(listNames(cache, 0), std::vector<std::string>{"a.bin"});
    EXPECT_EQ(listNames(cache, 1), std::vector<std::string>{"sub"});
    EXPECT_EQ(PISSDeleteFile((cache + "/sub/loop").c_str()), 1);
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
    EXPECT_EQ(listNames(folder, 0).size(), 4u);
    EXPECT_TRUE(logged("WARNING\tGetDirectoryOrFileList: 7 entries below '" + folder +
                       "' skipped: their paths are longer than 1023 bytes\n"));

    // In memory when it can be, where ten thousand folders are quick.
    makeDirs(tmp("deep"));
    ScopedMount memory("", tmp("deep"));
    writeFile(tmp("deep/top.bin"), "1234");
    makeDeepTree(tmp("deep"), 10000);
    EXPECT_EQ(PISSGetFileCount(tmp("deep").c_str(), &skipped), 1u);
    EXPECT_EQ(skipped, 1u);
    EXPECT_EQ(PISSGetSizeOfDirectoryContents(tmp("deep").c_str()), 4u);
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

}  // namespace
