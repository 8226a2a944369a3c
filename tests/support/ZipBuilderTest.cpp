// Tests of ZipBuilder: real folders in a temporary directory, archives read back with
// minizip's reader, unzip -t and Python's zipfile.
#include "ZipBuilder.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <minizip/zip.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <set>
#include <string>
#include <vector>

#include "TestEnvironment.h"
#include "ZipArchiveReader.h"

using namespace corvix_test;

namespace {

std::set<std::string> names(const std::vector<ZipEntry>& entries) {
    std::set<std::string> result;
    for (const auto& e : entries) {
        result.insert(e.name);
    }
    return result;
}

const ZipEntry* find(const std::vector<ZipEntry>& entries, const std::string& name) {
    for (const auto& e : entries) {
        if (e.name == name) {
            return &e;
        }
    }
    return nullptr;
}

// An archive without entries: only the end-of-central-directory record.
const std::string kEmptyArchive = std::string("PK\x05\x06", 4) + std::string(18, '\0');

void setModificationTime(const std::string& path, time_t when) {
    struct timeval times[2] = {{when, 0}, {when, 0}};
    ASSERT_EQ(0, utimes(path.c_str(), times)) << path;
}

int openDescriptorCount() {
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr) {
        return -1;
    }
    while (struct dirent* e = readdir(dir)) {
        if (e->d_name[0] != '.') {
            ++count;
        }
    }
    closedir(dir);
    return count;
}

class ZipBuilderTest : public SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        _staging = tmp("osp_abc1234");
        _archive = tmp("CorvixSupport.zip");
    }

    // A staging folder as SupportPackage builds it: the manifest at the top, three categories.
    void makeStaging() {
        writeFile(_staging + "/package.xml", "<?xml version=\"1.0\" ?>\n<SupportInfo/>\n");
        writeFile(_staging + "/system/system.xml", "<system_info/>\n");
        writeFile(_staging + "/system/processList.txt", std::string(5000, 'p'));
        writeFile(_staging + "/application/Corvix/corvix.log", "log line\n");
        writeFile(_staging + "/user/prefs.txt", "pref=1\n");
    }

    void zipStaging() {
        ZipBuilder builder(_archive.c_str(), false);
        EXPECT_EQ(1, builder.addFolderToZip(_staging.c_str(), true, _staging.c_str()));
    }

    std::string _staging;
    std::string _archive;
};

}  // namespace

TEST_F(ZipBuilderTest, StagingFolderHasCategoriesAtTopLevel) {
    makeStaging();
    zipStaging();

    bool ok = false;
    auto entries = listZip(_archive, &ok);
    ASSERT_TRUE(ok);
    EXPECT_EQ((std::set<std::string>{"package.xml", "system/system.xml", "system/processList.txt",
                                     "application/Corvix/corvix.log", "user/prefs.txt"}),
              names(entries));
    for (const auto& e : entries) {
        EXPECT_EQ(Z_DEFLATED, e.method) << e.name;
        EXPECT_EQ(0u, e.externalAttributes) << e.name;
        EXPECT_EQ(0u, e.commentLength) << e.name;
    }
    std::string contents;
    ASSERT_TRUE(readZipEntry(_archive, "system/processList.txt", &contents));
    EXPECT_EQ(std::string(5000, 'p'), contents);
    ASSERT_TRUE(readZipEntry(_archive, "package.xml", &contents));
    EXPECT_EQ("<?xml version=\"1.0\" ?>\n<SupportInfo/>\n", contents);
}

TEST_F(ZipBuilderTest, UnzipAndPythonAcceptTheArchive) {
    makeStaging();
    zipStaging();

    std::string output;
    EXPECT_EQ(0, runCommand("unzip -t '" + _archive + "' 2>&1", &output)) << output;
    EXPECT_NE(std::string::npos, output.find("No errors detected")) << output;

    std::string script =
        "import sys, zipfile\n"
        "z = zipfile.ZipFile(sys.argv[1])\n"
        "bad = z.testzip()\n"
        "if bad is not None: sys.exit('bad entry ' + bad)\n"
        "print('\\n'.join(sorted(z.namelist())))\n";
    writeFile(tmp("check.py"), script);
    EXPECT_EQ(0, runCommand("python3 '" + tmp("check.py") + "' '" + _archive + "' 2>&1", &output))
        << output;
    EXPECT_EQ(
        "application/Corvix/corvix.log\npackage.xml\nsystem/processList.txt\nsystem/system.xml\n"
        "user/prefs.txt\n",
        output);
}

TEST_F(ZipBuilderTest, EveryEntryHasTheAllZeroDate) {
    makeStaging();
    setModificationTime(_staging + "/package.xml", 1700000000);
    setModificationTime(_staging + "/system/system.xml", 1000000000);
    setModificationTime(_staging + "/user/prefs.txt", 0);
    zipStaging();

    auto entries = listZip(_archive);
    ASSERT_EQ(5u, entries.size());
    for (const auto& e : entries) {
        EXPECT_EQ(kAllZeroDosDate, e.dosDate) << e.name;
    }

    // Python sees the same date everywhere: 1980, month 1, day 0, midnight.
    std::string output;
    std::string script =
        "import sys, zipfile\n"
        "print(set(i.date_time for i in zipfile.ZipFile(sys.argv[1]).infolist()))\n";
    writeFile(tmp("dates.py"), script);
    EXPECT_EQ(0, runCommand("python3 '" + tmp("dates.py") + "' '" + _archive + "'", &output));
    EXPECT_EQ("{(1980, 1, 0, 0, 0, 0)}\n", output);
}

TEST_F(ZipBuilderTest, EntriesCarryZip64Information) {
    makeStaging();
    zipStaging();

    // The local header of the first entry: version needed 45 and a ZIP64 extra block (0x0001).
    std::string bytes = readFile(_archive);
    ASSERT_GE(bytes.size(), 30u);
    ASSERT_EQ(std::string("PK\x03\x04", 4), bytes.substr(0, 4));
    unsigned versionNeeded = static_cast<unsigned char>(bytes[4]);
    EXPECT_EQ(45u, versionNeeded);
    size_t nameLength =
        static_cast<unsigned char>(bytes[26]) | static_cast<unsigned char>(bytes[27]) << 8;
    size_t extraLength =
        static_cast<unsigned char>(bytes[28]) | static_cast<unsigned char>(bytes[29]) << 8;
    ASSERT_GE(extraLength, 4u);
    ASSERT_GE(bytes.size(), 30 + nameLength + extraLength);
    EXPECT_EQ(std::string("\x01\x00", 2), bytes.substr(30 + nameLength, 2));
}

TEST_F(ZipBuilderTest, EmptyFileGivesEntryOfLengthZero) {
    writeFile(_staging + "/system/empty.txt", "");
    zipStaging();

    auto entries = listZip(_archive);
    const ZipEntry* e = find(entries, "system/empty.txt");
    ASSERT_NE(nullptr, e);
    EXPECT_EQ(0u, e->size);
    std::string output;
    EXPECT_EQ(0, runCommand("unzip -t '" + _archive + "' 2>&1", &output)) << output;
}

TEST_F(ZipBuilderTest, HiddenFileKeptHiddenFolderLeftOut) {
    writeFile(_staging + "/user/.hidden", "secret\n");
    writeFile(_staging + "/user/.cache/inside.txt", "cached\n");
    writeFile(_staging + "/.git/config", "x\n");
    writeFile(_staging + "/user/visible.txt", "v\n");
    zipStaging();

    EXPECT_EQ((std::set<std::string>{"user/.hidden", "user/visible.txt"}),
              names(listZip(_archive)));
}

TEST_F(ZipBuilderTest, NonRecursiveAddsOnlyTheFolderItself) {
    writeFile(_staging + "/top.txt", "t\n");
    writeFile(_staging + "/sub/deep.txt", "d\n");
    {
        ZipBuilder builder(_archive.c_str(), false);
        EXPECT_EQ(1, builder.addFolderToZip(_staging.c_str(), false, _staging.c_str()));
    }
    auto entryNames = names(listZip(_archive));
    EXPECT_EQ(1u, entryNames.count("top.txt"));
    EXPECT_EQ(0u, entryNames.count("sub/deep.txt"));
}

TEST_F(ZipBuilderTest, FolderWithTrailingSlashIsJoinedWithoutDoubleSlash) {
    writeFile(_staging + "/system/a.txt", "a\n");
    {
        ZipBuilder builder(_archive.c_str(), false);
        std::string folder = _staging + "/system/";
        EXPECT_EQ(1, builder.addFolderToZip(folder.c_str(), true, _staging.c_str()));
    }
    EXPECT_EQ((std::set<std::string>{"system/a.txt"}), names(listZip(_archive)));
}

TEST_F(ZipBuilderTest, AddFolderResults) {
    ZipBuilder builder(_archive.c_str(), false);
    EXPECT_EQ(0, builder.addFolderToZip(nullptr, true, nullptr));
    EXPECT_EQ(0, builder.addFolderToZip("", true, nullptr));
    std::string missing = tmp("missing");
    EXPECT_EQ(1, builder.addFolderToZip(missing.c_str(), true, missing.c_str()));
    builder.closeFile();
    EXPECT_EQ(kEmptyArchive, readFile(_archive));
}

TEST_F(ZipBuilderTest, BaseNotFoundGivesNoEntryAndClosesTheFile) {
    std::string file = tmp("data/file.txt");
    writeFile(file, "x\n");
    int before = openDescriptorCount();
    ASSERT_GT(before, 0);
    {
        ZipBuilder builder(_archive.c_str(), false);
        int during = openDescriptorCount();
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(0, builder.addFileToZip(file.c_str(), "/no/such/base"));
        }
        EXPECT_EQ(during, openDescriptorCount());
    }
    EXPECT_EQ(before, openDescriptorCount());
    EXPECT_EQ(kEmptyArchive, readFile(_archive));
}

TEST_F(ZipBuilderTest, PathWithoutSlashGivesNoEntry) {
    writeFile(tmp("plain.txt"), "x\n");
    char cwd[4096];
    ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
    ASSERT_EQ(0, chdir(tmp().c_str()));
    int before = openDescriptorCount();
    {
        ZipBuilder builder(_archive.c_str(), false);
        EXPECT_EQ(0, builder.addFileToZip("plain.txt", nullptr));
    }
    int after = openDescriptorCount();
    ASSERT_EQ(0, chdir(cwd));
    EXPECT_EQ(before, after);
    EXPECT_EQ(kEmptyArchive, readFile(_archive));
}

TEST_F(ZipBuilderTest, WithoutBaseTheNameStartsAfterTheFirstSlash) {
    std::string file = tmp("f.txt");
    writeFile(file, "f\n");
    {
        ZipBuilder builder(_archive.c_str(), false);
        EXPECT_EQ(1, builder.addFileToZip(file.c_str(), nullptr));
    }
    auto entries = listZip(_archive);
    ASSERT_EQ(1u, entries.size());
    EXPECT_EQ(file.substr(1), entries[0].name);
}

TEST_F(ZipBuilderTest, AddFileResults) {
    ZipBuilder builder(_archive.c_str(), false);
    EXPECT_EQ(0, builder.addFileToZip(nullptr, nullptr));
    std::string missing = _staging + "/missing.txt";
    EXPECT_EQ(0, builder.addFileToZip(missing.c_str(), _staging.c_str()));
}

TEST_F(ZipBuilderTest, BackslashesInNamesBecomeSlashes) {
    writeFile(_staging + "/system/a\\b.txt", "ab\n");
    zipStaging();
    EXPECT_EQ((std::set<std::string>{"system/a/b.txt"}), names(listZip(_archive)));
}

TEST_F(ZipBuilderTest, SwapInUnixPathSeparators) {
    char path[] = "a\\b\\\\c/d";
    ZipBuilder::swapInUnixPathSeparators(path);
    EXPECT_STREQ("a/b//c/d", path);
    char empty[] = "";
    ZipBuilder::swapInUnixPathSeparators(empty);
    EXPECT_STREQ("", empty);
}

TEST_F(ZipBuilderTest, GetFileTimeTakesTheModificationTime) {
    std::string file = tmp("timed.txt");
    writeFile(file, "t\n");
    const time_t when = 1234567890;
    setModificationTime(file, when);
    struct tm local;
    localtime_r(&when, &local);

    tm_zip date;
    memset(&date, 0xff, sizeof date);
    unsigned long dosDate = 0xdeadbeef;
    EXPECT_EQ(1, ZipBuilder::getFileTime(file.c_str(), &date, &dosDate));
    EXPECT_EQ(static_cast<unsigned>(local.tm_sec), date.tm_sec);
    EXPECT_EQ(static_cast<unsigned>(local.tm_min), date.tm_min);
    EXPECT_EQ(static_cast<unsigned>(local.tm_hour), date.tm_hour);
    EXPECT_EQ(static_cast<unsigned>(local.tm_mday), date.tm_mday);
    EXPECT_EQ(static_cast<unsigned>(local.tm_mon), date.tm_mon);
    EXPECT_EQ(static_cast<unsigned>(local.tm_year), date.tm_year);
    EXPECT_EQ(0xdeadbeefUL, dosDate);  // the DOS date is not written
}

TEST_F(ZipBuilderTest, GetFileTimeDropsOneTrailingSlash) {
    std::string folder = tmp("folder");
    makeDirs(folder);
    setModificationTime(folder, 1000000000);
    const time_t when = 1000000000;
    struct tm local;
    localtime_r(&when, &local);
    tm_zip date;
    memset(&date, 0, sizeof date);
    unsigned long dosDate = 0;
    std::string withSlash = folder + "/";
    EXPECT_EQ(1, ZipBuilder::getFileTime(withSlash.c_str(), &date, &dosDate));
    EXPECT_EQ(static_cast<unsigned>(local.tm_year), date.tm_year);
    EXPECT_EQ(static_cast<unsigned>(local.tm_min), date.tm_min);
}

TEST_F(ZipBuilderTest, GetFileTimeOfMissingFileIsTimeZero) {
    const time_t zero = 0;
    struct tm local;
    localtime_r(&zero, &local);
    tm_zip date;
    memset(&date, 0xff, sizeof date);
    unsigned long dosDate = 0;
    std::string missing = tmp("missing");
    EXPECT_EQ(0, ZipBuilder::getFileTime(missing.c_str(), &date, &dosDate));
    EXPECT_EQ(static_cast<unsigned>(local.tm_year), date.tm_year);
    EXPECT_EQ(static_cast<unsigned>(local.tm_mday), date.tm_mday);
    EXPECT_EQ(static_cast<unsigned>(local.tm_hour), date.tm_hour);
}

TEST_F(ZipBuilderTest, AppendPutsTheArchiveAfterExistingContent) {
    writeFile(_archive, "PREFIX");
    writeFile(_staging + "/system/a.txt", "a\n");
    {
        ZipBuilder builder(_archive.c_str(), true);
        EXPECT_EQ(1, builder.addFolderToZip(_staging.c_str(), true, _staging.c_str()));
    }
    std::string bytes = readFile(_archive);
    EXPECT_EQ("PREFIX", bytes.substr(0, 6));
    EXPECT_EQ(std::string("PK\x03\x04", 4), bytes.substr(6, 4));
    EXPECT_EQ((std::set<std::string>{"system/a.txt"}), names(listZip(_archive)));
}

TEST_F(ZipBuilderTest, FailedOpenAddsNothing) {
    std::string archive = tmp("no/such/folder/out.zip");
    writeFile(_staging + "/system/a.txt", "a\n");
    {
        ZipBuilder builder(archive.c_str(), false);
        EXPECT_EQ(1, builder.addFolderToZip(_staging.c_str(), true, _staging.c_str()));
        builder.closeFile();
        builder.closeFile();
    }
    EXPECT_FALSE(exists(archive));
    ZipBuilder noPath(nullptr, false);
    noPath.closeFile();
}

TEST_F(ZipBuilderTest, CloseFileFinishesTheArchiveOnce) {
    writeFile(_staging + "/system/a.txt", "a\n");
    ZipBuilder builder(_archive.c_str(), false);
    EXPECT_EQ(1, builder.addFolderToZip(_staging.c_str(), true, _staging.c_str()));
    builder.closeFile();
    std::string first = readFile(_archive);
    builder.closeFile();
    EXPECT_EQ(first, readFile(_archive));
    EXPECT_EQ((std::set<std::string>{"system/a.txt"}), names(listZip(_archive)));
}

TEST_F(ZipBuilderTest, LargerFileRoundTrips) {
    // More than one read block and more than minizip's 64 KiB output buffer.
    std::string data;
    unsigned state = 12345;
    for (int i = 0; i < 300000; ++i) {
        state = state * 1103515245u + 12345u;
        data.push_back(static_cast<char>(i % 7 == 0 ? (state >> 16) & 0xff : 'a' + i % 26));
    }
    writeFile(_staging + "/application/big.bin", data);
    zipStaging();
    std::string back;
    ASSERT_TRUE(readZipEntry(_archive, "application/big.bin", &back));
    EXPECT_EQ(data, back);
    auto entries = listZip(_archive);
    const ZipEntry* e = find(entries, "application/big.bin");
    ASSERT_NE(nullptr, e);
    EXPECT_EQ(data.size(), e->size);
    EXPECT_LT(e->compressedSize, data.size());
}
