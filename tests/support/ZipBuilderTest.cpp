// Tests of ZipBuilder and ZipVerifier: real folders in a temporary directory, archives read back
// with unzip and Python's zipfile, which share no code with the writer.
#include "ZipBuilder.h"

#include <dirent.h>
#include <unistd.h>

#include <string>

#include "PackageCancelFlag.h"
#include "TestEnvironment.h"
#include "ZipVerifier.h"

using namespace corvix_test;

namespace {

// An archive without entries: only the end-of-central-directory record.
const std::string kEmptyArchive = std::string("PK\x05\x06", 4) + std::string(18, '\0');

int openDescriptorCount() {
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    while (struct dirent* e = dir ? readdir(dir) : nullptr) {
        count += e->d_name[0] != '.';
    }
    if (dir) {
        closedir(dir);
    }
    return count;
}

class ZipBuilderTest : public SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        _staging = tmp("osp_abc1234");
        _archive = tmp("CorvixSupport.zip");
    }
    // The entry names, sorted, one a line.
    std::string names() {
        std::string output;
        EXPECT_EQ(0, runCommand("unzip -Z1 '" + _archive + "' | sort", &output));
        return output;
    }
    std::string _staging;
    std::string _archive;
};

}  // namespace

TEST_F(ZipBuilderTest, StagingFolderBecomesAnArchiveThatOthersAccept) {
    // More than one read block and more than the library's 64 KiB output buffer.
    std::string big;
    unsigned state = 12345;
    for (int i = 0; i < 300000; ++i) {
        state = state * 1103515245u + 12345u;
        big.push_back(static_cast<char>(i % 7 == 0 ? (state >> 16) & 0xff : 'a' + i % 26));
    }
    writeFile(_staging + "/package.xml", "<?xml version=\"1.0\" ?>\n<SupportInfo/>\n");
    writeFile(_staging + "/system/processList.txt", big);
    writeFile(_staging + "/system/empty.txt", "");
    writeFile(_staging + "/system/a\\b\\c.txt", "abc\n");
    writeFile(_staging + "/application/Corvix/corvix.log", "log line\n");
    writeFile(_staging + "/user/.hidden", "secret\n");  // hidden files go in, hidden folders not
    writeFile(_staging + "/user/.cache/inside.txt", "cached\n");
    writeFile(_staging + "/.git/config", "x\n");
    {
        ZipBuilder builder(_archive.c_str(), false);
        EXPECT_EQ(1, builder.addFolderToZip(_staging.c_str(), true, _staging.c_str()));
    }

    // Files far below 4 GiB get plain headers: version 2.0 and no extra field (no ZIP64 block
    // that readers would warn about).
    std::string bytes = readFile(_archive);
    ASSERT_GE(bytes.size(), 30u);
    EXPECT_EQ(std::string("PK\x03\x04\x14", 5), bytes.substr(0, 5));
    EXPECT_EQ(std::string(2, '\0'), bytes.substr(28, 2));
    EXPECT_TRUE(ZipVerifier::verify(_archive, 6, nullptr, nullptr));

    std::string output;
    EXPECT_EQ(0, runCommand("unzip -t '" + _archive + "' 2>&1", &output)) << output;
    EXPECT_NE(std::string::npos, output.find("No errors detected")) << output;
    // Python checks every CRC; the modification times are not kept: every entry has the
    // all-zero date, which reads as 1980, month 1, day 0, midnight.
    writeFile(tmp("check.py"),
              "import sys, zipfile\n"
              "z = zipfile.ZipFile(sys.argv[1])\n"
              "if z.testzip() is not None: sys.exit('bad entry')\n"
              "for i in sorted(z.infolist(), key=lambda i: i.filename):\n"
              "    print(i.filename, i.file_size, i.compress_type, i.external_attr, i.comment,\n"
              "          i.date_time)\n");
    EXPECT_EQ(0, runCommand("python3 '" + tmp("check.py") + "' '" + _archive + "' 2>&1", &output));
    EXPECT_EQ(
        "application/Corvix/corvix.log 9 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "package.xml 38 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "system/a/b/c.txt 4 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "system/empty.txt 0 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "system/processList.txt 300000 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "user/.hidden 7 8 0 b'' (1980, 1, 0, 0, 0, 0)\n",
        output);
}

TEST_F(ZipBuilderTest, FolderArguments) {
    writeFile(_staging + "/top.txt", "t\n");
    writeFile(_staging + "/sub/deep.txt", "d\n");
    writeFile(_staging + "/system/a.txt", "a\n");
    {
        ZipBuilder builder(_archive.c_str(), false);
        EXPECT_EQ(1, builder.addFolderToZip(_staging.c_str(), false, _staging.c_str()));
        std::string withSlash = _staging + "/system/";  // joined without a doubled '/'
        EXPECT_EQ(1, builder.addFolderToZip(withSlash.c_str(), true, _staging.c_str()));
        EXPECT_EQ(0, builder.addFolderToZip(nullptr, true, nullptr));
        EXPECT_EQ(0, builder.addFolderToZip("", true, nullptr));
        EXPECT_EQ(1, builder.addFolderToZip(tmp("missing").c_str(), true, nullptr));
    }
    std::string listing = "\n" + names();
    EXPECT_NE(std::string::npos, listing.find("\ntop.txt\n")) << listing;
    EXPECT_NE(std::string::npos, listing.find("\nsystem/a.txt\n")) << listing;
    EXPECT_EQ(std::string::npos, listing.find("deep.txt")) << listing;
}

// A base not in the path, or without base a path without '/', gives no entry and closes the file.
TEST_F(ZipBuilderTest, EntryNamesAndFilesWithoutOne) {
    std::string file = tmp("data/file.txt");
    writeFile(file, "x\n");
    writeFile(tmp("plain.txt"), "x\n");
    char cwd[4096];
    ASSERT_NE(nullptr, getcwd(cwd, sizeof cwd));
    ASSERT_EQ(0, chdir(tmp().c_str()));
    int before = openDescriptorCount();
    {
        ZipBuilder builder(_archive.c_str(), false);
        int during = openDescriptorCount();
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(0, builder.addFileToZip(file.c_str(), "/no/such/base"));
            EXPECT_EQ(0, builder.addFileToZip("plain.txt", nullptr));
        }
        EXPECT_EQ(0, builder.addFileToZip(nullptr, nullptr));
        EXPECT_EQ(0, builder.addFileToZip(tmp("missing.txt").c_str(), tmp().c_str()));
        EXPECT_EQ(during, openDescriptorCount());
    }
    EXPECT_EQ(before, openDescriptorCount());
    ASSERT_EQ(0, chdir(cwd));
    EXPECT_EQ(kEmptyArchive, readFile(_archive));

    {
        ZipBuilder builder(_archive.c_str(), false);
        EXPECT_EQ(1, builder.addFileToZip(file.c_str(), nullptr));
    }
    EXPECT_EQ(file.substr(1) + "\n", names());
}

TEST_F(ZipBuilderTest, AppendCloseOnceAndFailedOpen) {
    writeFile(_staging + "/system/a.txt", "a\n");
    writeFile(_archive, "PREFIX");
    std::string first;
    {
        ZipBuilder builder(_archive.c_str(), true);
        EXPECT_EQ(1, builder.addFolderToZip(_staging.c_str(), true, _staging.c_str()));
        builder.closeFile();
        first = readFile(_archive);
        builder.closeFile();
    }
    EXPECT_EQ(first, readFile(_archive));
    EXPECT_EQ(std::string("PREFIXPK\x03\x04", 10), first.substr(0, 10));
    EXPECT_EQ("system/a.txt\n", names());

    std::string nowhere = tmp("no/such/folder/out.zip");
    {
        ZipBuilder builder(nowhere.c_str(), false);
        EXPECT_EQ(1, builder.addFolderToZip(_staging.c_str(), true, _staging.c_str()));
        builder.closeFile();
        EXPECT_EQ(nowhere + ": No such file or directory", builder.error());
    }
    EXPECT_FALSE(exists(nowhere));
    ZipBuilder(nullptr, false).closeFile();
}

// The reader finds every kind of damage in an archive that was written whole.
TEST_F(ZipBuilderTest, DamageIsFoundOnReadBack) {
    makeDirs(_staging + "/system");
    runCommand("head -c 300000 /dev/urandom > '" + _staging + "/system/noise.bin'");
    writeFile(_staging + "/package.xml", "<SupportInfo/>\n");
    {
        ZipBuilder builder(_archive.c_str(), false);
        builder.addFolderToZip(_staging.c_str(), true, _staging.c_str());
        builder.closeFile();
        ASSERT_TRUE(builder.ok());
        EXPECT_EQ(2, builder.entryCount());
    }
    std::string whole = readFile(_archive);
    std::string why;
    EXPECT_TRUE(ZipVerifier::verify(_archive, 2, nullptr, &why)) << why;
    EXPECT_FALSE(ZipVerifier::verify(_archive, 3, nullptr, &why));
    EXPECT_EQ("it lists 2 entries instead of 3", why);
    PackageCancelFlag cancelled;
    cancelled.request();
    EXPECT_FALSE(ZipVerifier::verify(_archive, 2, &cancelled, &why));
    EXPECT_EQ("interrupted", why);

    size_t dataStart = 30 + (uint8_t(whole[26]) | uint8_t(whole[27]) << 8);
    std::string flipped = whole;
    flipped[dataStart + 1000] ^= 0x10;
    writeFile(_archive, flipped);
    EXPECT_FALSE(ZipVerifier::verify(_archive, 2, nullptr, &why));
    EXPECT_EQ(0u, why.find("the entry \"" + whole.substr(30, dataStart - 30) + "\" is not whole"))
        << why;
    writeFile(_archive, whole.substr(0, whole.size() - 30));
    EXPECT_FALSE(ZipVerifier::verify(_archive, 2, nullptr, &why));
    EXPECT_EQ("its central directory cannot be read", why);
}
