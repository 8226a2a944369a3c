// Store utilities: product paths, the line tokenizer, folder walks, folder creation and MD5.
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "QuadenStoreTest.h"
#include "Quaden_PISSUtilities.h"

using corvix_test::exists;
using corvix_test::makeDirs;
using corvix_test::readFile;
using corvix_test::writeFile;

namespace {

class UtilitiesTest : public QuadenStoreTest {};

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

TEST_F(UtilitiesTest, PathAssignersCutAndFollowTheMachineRoot) {
    const char* const folder = "/Library/Application Support/Orvanta Software/CorvixPro2/";
    int (*const assigners[])(char*, int) = {
        assignCorvixProRootConfigDirectoryPath, assignCorvixProRenderQueueDefaultDirectoryPath,
        assignCorvixProFrameCacheDefaultDirectoryPath, assignCorvixProFrameCacheRegistryFilePath};
    const std::string names[] = {"", "RenderQueue/", "Cache/", "FrameCache.cpr"};
    char buffer[1024];
    for (int i = 0; i < 4; ++i) {
        std::string expected = folder + names[i];
        EXPECT_EQ(assigners[i](buffer, sizeof buffer),
                  static_cast<int>(root().size() + expected.size()));
        EXPECT_EQ(std::string(buffer), root() + expected);
    }
    _env.set("CORVIX_ROOT", std::nullopt);
    char small[10];
    memset(small, 'x', sizeof small);
    EXPECT_EQ(assignCorvixProFrameCacheRegistryFilePath(small, 10),
              static_cast<int>(strlen(folder) + strlen("FrameCache.cpr")));
    EXPECT_EQ(std::string(small, 10), std::string("/Library") + '\0' + '\0');

    EXPECT_EQ(assignCorvixProRootConfigDirectoryPath(nullptr, 10), 0);
    EXPECT_EQ(assignCorvixProRenderQueueDefaultDirectoryPath(buffer, 0), 0);
    EXPECT_EQ(assignCorvixProFrameCacheDefaultDirectoryPath(nullptr, 0), 0);
    EXPECT_EQ(assignCorvixProFrameCacheRegistryFilePath(buffer, -1), 0);
    const std::string log = logText();
    for (const char* name :
         {"assignCorvixProRootConfigPath", "assignCorvixProRenderQueueDefaultDirectoryPath",
          "assignCorvixProFrameCacheDefaultDirectoryPath",
          "assignCorvixProFrameCacheRegistryFilePath"}) {
        EXPECT_NE(log.find(std::string("ERROR\t") + name + " invalid arguments\n"),
                  std::string::npos)
            << name;
    }
}

TEST_F(UtilitiesTest, FolderWalksListSizeAndCount) {
    const std::string cache = tmp("cache");
    writeFile(cache + "/a.bin", std::string(10, 'a'));
    writeFile(cache + "/b.bin", std::string(20, 'b'));
    writeFile(cache + "/sub/c.bin", std::string(5, 'c'));
    for (const std::string& path : {cache, cache + "/"}) {
        EXPECT_EQ(PISSGetSizeOfDirectoryContents(path.c_str()), 35u);
        EXPECT_EQ(PISSGetFileCount(path.c_str()), 3u);
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

    sDirectoryOrFileListEntry* head = nullptr;
    int count = 0;
    EXPECT_EQ(PISSGetDirectoryOrFileList(cache.c_str(), 0, &head, &head, nullptr), 0);
    EXPECT_EQ(PISSGetDirectoryOrFileList(cache.c_str(), 0, nullptr, &head, &count), 0);
    EXPECT_EQ(PISSGetDirectoryOrFileList(nullptr, 0, &head, &head, &count), 0);
    EXPECT_EQ(PISSGetDirectoryOrFileList(cache.c_str(), 2, &head, &head, &count), 0);
    const std::string log = logText();
    const std::string messages[] = {
        "GetDirectoryOrFileList: pointer to count is invalid\n",
        "GetDirectoryOrFileList: queueHead or queueTail pointer invalid\n",
        "GetDirectoryOrFileList: path invalid\n",
        "GetDirectoryOrFileList: searchForType: 2 invalid\n",
        "GetSizeOfFileContents: Could not stat on filepath: " + cache + "/none\n"};
    for (const std::string& message : messages) {
        EXPECT_NE(log.find("ERROR\t" + message), std::string::npos) << message;
    }

    EXPECT_EQ(PISSDeleteFile((cache + "/a.bin").c_str()), 1);
    EXPECT_EQ(PISSDeleteFile((cache + "/a.bin").c_str()), 0);
    EXPECT_EQ(PISSGetFileCount(cache.c_str()), 2u);
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
    std::string suite[] = {"",
                           "a",
                           "abc",
                           "message digest",
                           "abcdefghijklmnopqrstuvwxyz",
                           "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
                           ""};
    for (int i = 0; i < 8; ++i)
        suite[6] += "1234567890";
    for (const std::string& text : suite) {
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
    std::string expected;
    corvix_test::runCommand("md5sum '" + tmp("frame.bin") + "'", &expected);
    ASSERT_EQ(_generateMD5ForFile(tmp("frame.bin").c_str(), out), 1);
    EXPECT_EQ(std::string(out), expected.substr(0, 32));
    EXPECT_EQ(_generateMD5ForFile(tmp("none.bin").c_str(), out), 0);
    EXPECT_EQ(_MD5GetPrintableHash(nullptr, out), 0);
}

}  // namespace
