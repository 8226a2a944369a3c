// Tests of ZipBuilder and ZipVerifier: real folders in a temporary directory, archives read back
// with unzip and Python's zipfile, which share no code with the writer.
#include "ZipBuilder.h"

#include <minizip/zip.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>

#include "DeflateCache.h"
#include "DeflatePool.h"
#include "PackageCancelFlag.h"
#include "TestEnvironment.h"
#include "VeskPlatform.h"
#include "ZipVerifier.h"

using namespace corvix_test;

namespace {

// An archive without entries: only the end-of-central-directory record.
const std::string kEmptyArchive = std::string("PK\x05\x06", 4) + std::string(18, '\0');

class ZipBuilderTest : public SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        _staging = tmp("osp_abc1234");
        _archive = tmp("CorvixSupport.zip");
    }
    // The archive that minizip's own deflate writes of the staging folder's files named in order
    // (one a line), in that order.
    std::string minizipArchive(const std::string& order) {
        const std::string path = tmp("minizip.zip");
        zipFile archive = zipOpen64(path.c_str(), APPEND_STATUS_CREATE);
        std::istringstream names(order);
        for (std::string name; std::getline(names, name);) {
            zip_fileinfo info;
            memset(&info, 0, sizeof info);
            // "system/a/b/c.txt" is the file "a\\b\\c.txt" of the system folder.
            std::string file = name;
            if (!exists(_staging + "/" + file)) {
                std::replace(file.begin() + file.find('/') + 1, file.end(), '/', '\\');
            }
            std::string data = readFile(_staging + "/" + file);
            EXPECT_EQ(ZIP_OK,
                      zipOpenNewFileInZip64(archive, name.c_str(), &info, nullptr, 0, nullptr, 0,
                                            nullptr, Z_DEFLATED, Z_DEFAULT_COMPRESSION, 0));
            zipWriteInFileInZip(archive, data.data(), static_cast<unsigned>(data.size()));
            zipCloseFileInZip(archive);
        }
        zipClose(archive, nullptr);
        return readFile(path);
    }
    // A script that checks every CRC and lists each entry's name, size, method, attributes,
    // comment and date, sorted by name.
    std::string pythonCheck() {
        writeFile(tmp("check.py"),
                  "import sys, zipfile\n"
                  "z = zipfile.ZipFile(sys.argv[1])\n"
                  "if z.testzip() is not None: sys.exit('bad entry')\n"
                  "for i in sorted(z.infolist(), key=lambda i: i.filename):\n"
                  "    print(i.filename, i.file_size, i.compress_type, i.external_attr, "
                  "i.comment,\n"
                  "          i.date_time)\n");
        return tmp("check.py");
    }
    // The staging folder's archive, written on one thread and on four: the same bytes.
    std::string onOneAndFourThreads() {
        std::string archives[2];
        for (int threads : {1, 4}) {
            ZipBuilder builder(_archive.c_str(), false, threads);
            EXPECT_EQ(1, builder.addFolderToZip(_staging.c_str(), true, _staging.c_str()));
            builder.closeFile();
            EXPECT_TRUE(builder.ok()) << builder.error();
            archives[threads / 4] = readFile(_archive);
        }
        EXPECT_TRUE(archives[0] == archives[1]);
        return archives[0];
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

// Whatever the number of threads, the archive is byte for byte the one minizip's own deflate
// writes (order, headers, zero dates, the text attribute, compressed bytes), and others read it.
TEST_F(ZipBuilderTest, StagingFolderBecomesMinizipsOwnArchiveWhateverTheThreads) {
    // More than one 1 MiB step and more than the library's 64 KiB output buffer; a text and a
    // file of zeros whose first deflate block reaches past the first step.
    std::string big, log;
    unsigned state = 12345;
    for (int i = 0; i < 300000; ++i) {
        state = state * 1103515245u + 12345u;
        big.push_back(static_cast<char>(i % 7 == 0 ? (state >> 16) & 0xff : 'a' + i % 26));
    }
    while (log.size() < (5u << 19)) {
        log += "frame " + std::to_string(log.size() % 9973) + " rendered\n";
    }
    writeFile(_staging + "/package.xml", "<?xml version=\"1.0\" ?>\n<SupportInfo/>\n");
    writeFile(_staging + "/system/processList.txt", big);
    writeFile(_staging + "/system/empty.txt", "");
    writeFile(_staging + "/system/a\\b\\c.txt", "abc\n");
    writeFile(_staging + "/application/Corvix/corvix.log", log);
    writeFile(_staging + "/application/zeros.bin", std::string(3u << 20, '\0'));
    std::string play;
    while (play.size() < (3u << 20)) {
        play += "all work and no play\n";
    }
    writeFile(_staging + "/user/play.txt", play);
    writeFile(_staging + "/user/.hidden", "secret\n");  // hidden files go in, hidden folders not
    writeFile(_staging + "/user/.cache/inside.txt", "cached\n");
    writeFile(_staging + "/.git/config", "x\n");
    const std::string bytes = onOneAndFourThreads();
    std::string order;
    ASSERT_EQ(0, runCommand("unzip -Z1 '" + _archive + "'", &order));
    EXPECT_TRUE(minizipArchive(order) == bytes);

    // Files far below 4 GiB get plain headers: version 2.0 and no extra field (no ZIP64 block
    // that readers would warn about).
    ASSERT_GE(bytes.size(), 30u);
    EXPECT_EQ(std::string("PK\x03\x04\x14", 5), bytes.substr(0, 5));
    EXPECT_EQ(std::string(2, '\0'), bytes.substr(28, 2));
    EXPECT_TRUE(ZipVerifier::verify(_archive, 8, nullptr, nullptr));

    std::string output;
    EXPECT_EQ(0, runCommand("unzip -t '" + _archive + "' 2>&1", &output)) << output;
    EXPECT_NE(std::string::npos, output.find("No errors detected")) << output;
    // Python checks every CRC; the modification times are not kept: every entry has the
    // all-zero date, which reads as 1980, month 1, day 0, midnight.
    EXPECT_EQ(0, runCommand("python3 '" + pythonCheck() + "' '" + _archive + "' 2>&1", &output));
    EXPECT_EQ(
        "application/Corvix/corvix.log 2621444 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "application/zeros.bin 3145728 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "package.xml 38 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "system/a/b/c.txt 4 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "system/empty.txt 0 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "system/processList.txt 300000 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "user/.hidden 7 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "user/play.txt 3145737 8 0 b'' (1980, 1, 0, 0, 0, 0)\n",
        output);
}

// A file above the split threshold is compressed in blocks on every thread: the same archive with
// one and with four threads, read back whole by others, within 1 % of one deflate stream.
TEST_F(ZipBuilderTest, ALargeFileIsSplitAcrossThreadsAndStaysWhole) {
    const std::string large = _staging + "/user/scene.aep";
    makeDirs(_staging + "/user");
    writeFile(_staging + "/package.xml", "<SupportInfo/>\n");
    // 40 MiB: random MiBs among text and holes.
    ASSERT_EQ(0, runCommand("cd '" + _staging +
                            "/user' && head -c 1M /dev/urandom > r && "
                            "yes 'layer 12 frame 1024' | head -c 3M > t && for i in $(seq 0 5 35);"
                            " do dd if=r of=scene.aep bs=1M seek=$i conv=notrunc status=none; "
                            "dd if=t of=scene.aep bs=1M seek=$((i + 1)) conv=notrunc status=none;"
                            " done && truncate -s 40M scene.aep && rm r t"));
    const std::string bytes = onOneAndFourThreads();
    std::string output;
    EXPECT_EQ(0, runCommand("python3 '" + pythonCheck() + "' '" + _archive + "' 2>&1", &output));
    EXPECT_EQ(
        "package.xml 15 8 0 b'' (1980, 1, 0, 0, 0, 0)\n"
        "user/scene.aep 41943040 8 0 b'' (1980, 1, 0, 0, 0, 0)\n",
        output);
    EXPECT_EQ(0, runCommand("unzip -tq '" + _archive + "' >/dev/null"));
    EXPECT_EQ(0, runCommand("unzip -p '" + _archive + "' user/scene.aep | cmp - '" + large + "'"));
    std::string order;
    ASSERT_EQ(0, runCommand("unzip -Z1 '" + _archive + "'", &order));
    double oneStream = static_cast<double>(minizipArchive(order).size());
    EXPECT_LT(bytes.size() / oneStream, 1.01);

    // A file that loses its end after it was added, split or not, fails the archive on any
    // thread, and no compressing thread is left. Four threads hold at most 16 MiB in flight
    // before the writer takes any: the rest is read after the cut.
    const int threadsBefore = procEntries("/proc/self/task");
    for (int threads : {1, 4}) {
        for (off_t size : {40 << 20, 20 << 20}) {
            ASSERT_EQ(0, truncate(large.c_str(), size));
            ZipBuilder builder(_archive.c_str(), false, threads);
            EXPECT_EQ(1, builder.addFileToZip(large.c_str(), _staging.c_str()));
            ASSERT_EQ(0, truncate(large.c_str(), 3 << 20));
            builder.closeFile();
            EXPECT_EQ(large + " became shorter while it was archived", builder.error()) << size;
            EXPECT_EQ(threadsBefore, procEntries("/proc/self/task"));
        }
    }
}

// Files compressed ahead (while the job's commands run) go in exactly as the archive would have
// compressed them, however far the cache got: done, stopped at once (the archive waits for the
// files under way) or cancelled. A file changed afterwards, in place or replaced, is compressed
// again; a small budget leaves the larger files to the archive; what was taken is no longer held.
TEST_F(ZipBuilderTest, StreamsCompressedAheadGoInAsTheArchiveWouldWriteThem) {
    std::string log;
    while (log.size() < (3u << 20)) {
        log += "frame " + std::to_string(log.size() % 9973) + " rendered\n";
    }
    writeFile(_staging + "/package.xml", "<SupportInfo/>\n");
    writeFile(_staging + "/system/ps.txt", "pid 1\n");
    writeFile(_staging + "/application/Corvix/Config.txt", "threads=4\n");
    writeFile(_staging + "/application/corvix.log", log);
    writeFile(_staging + "/application/empty.txt", "");
    writeFile(_staging + "/application/zeros.bin", std::string(200000, '\0'));
    writeFile(_staging + "/user/grown.txt", "short\n");
    writeFile(_staging + "/user/replaced.txt", "old\n");
    writeFile(_staging + "/user/.hidden", "left to the archive\n");
    enum Until { Done, Stopped, Cancelled };
    const struct {
        uint64_t budget;
        Until until;
        size_t finished;  // when done: of the five files with data, the log and zeros need room
    } cases[] = {{DeflateCache::kBudget, Done, 5},
                 {64 << 10, Done, 3},
                 {DeflateCache::kBudget, Stopped, 0},
                 {DeflateCache::kBudget, Cancelled, 0}};
    for (const auto& c : cases) {
        PackageCancelFlag cancel;
        DeflateCache cache(2, &cancel, c.budget);
        cache.warm({_staging + "/application", _staging + "/user"});
        if (c.until == Done) {
            cache.finish();
            EXPECT_EQ(c.finished, cache.finishedCount()) << c.budget;
            writeFile(_staging + "/user/grown.txt",
                      readFile(_staging + "/user/grown.txt") + "and longer\n");
            writeFile(_staging + "/user/.replacement", "new\n");
            ASSERT_EQ(0, rename((_staging + "/user/.replacement").c_str(),
                                (_staging + "/user/replaced.txt").c_str()));
        } else if (c.until == Cancelled) {
            cancel.request();
        }
        std::string archives[2];
        for (DeflateCache* use : {&cache, static_cast<DeflateCache*>(nullptr)}) {
            if (use) {
                use->stop();
            }
            ZipBuilder builder(_archive.c_str(), false, 2);
            builder.setDeflateCache(use);
            builder.addFolderToZip(_staging.c_str(), true, _staging.c_str());
            builder.closeFile();
            ASSERT_TRUE(builder.ok()) << builder.error();
            EXPECT_EQ(9, builder.entryCount());
            archives[use ? 0 : 1] = readFile(_archive);
        }
        if (c.until == Done) {
            EXPECT_EQ(c.finished - 2, cache.takenCount()) << c.budget;
        }
        cache.finish();
        // Only the old stream of the file replaced by another may stay, until the cache ends.
        EXPECT_LE(cache.heldBytes().load(), c.until == Done ? 1024u : 0u) << c.until;
        EXPECT_TRUE(archives[0] == archives[1]) << c.budget << " " << c.until;
    }
    std::string output;
    EXPECT_EQ(0, runCommand("unzip -p '" + _archive + "' user/grown.txt && unzip -p '" + _archive +
                                "' user/replaced.txt",
                            &output));
    EXPECT_EQ("short\nand longer\nand longer\nnew\n", output);
}

// CORVIX_ZIP_THREADS lowers the number of threads from one per processor, never raises it;
// anything but a whole number of 1 or more is ignored.
TEST_F(ZipBuilderTest, ThreadSettingOnlyLowersTheProcessorCount) {
    int all = 1;
    vesk_processorCount(&all);
    all = std::min(all, DeflatePool::kMaxThreads);
    _env.set("CORVIX_ZIP_THREADS", "1");
    EXPECT_EQ(1, ZipBuilder(nullptr, false).threadCount());
    for (const char* value : {"100000", "0", "1x"}) {
        _env.set("CORVIX_ZIP_THREADS", std::string(value));
        EXPECT_EQ(all, ZipBuilder(nullptr, false).threadCount()) << value;
    }
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
    int before = procEntries("/proc/self/fd");
    {
        ZipBuilder builder(_archive.c_str(), false);
        int during = procEntries("/proc/self/fd");
        for (int i = 0; i < 50; ++i) {
            EXPECT_EQ(0, builder.addFileToZip(file.c_str(), "/no/such/base"));
            EXPECT_EQ(0, builder.addFileToZip("plain.txt", nullptr));
        }
        EXPECT_EQ(0, builder.addFileToZip(nullptr, nullptr));
        EXPECT_EQ(0, builder.addFileToZip(tmp("missing.txt").c_str(), tmp().c_str()));
        EXPECT_EQ(during, procEntries("/proc/self/fd"));
    }
    EXPECT_EQ(before, procEntries("/proc/self/fd"));
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

    // Read back on one thread, and shared out among three.
    size_t dataStart = 30 + (uint8_t(whole[26]) | uint8_t(whole[27]) << 8);
    std::string flipped = whole;
    flipped[dataStart + 1000] ^= 0x10;
    for (int threads : {1, 3}) {
        writeFile(_archive, flipped);
        EXPECT_FALSE(ZipVerifier::verify(_archive, 2, nullptr, &why, threads));
        EXPECT_EQ(0u,
                  why.find("the entry \"" + whole.substr(30, dataStart - 30) + "\" is not whole"))
            << why;
        writeFile(_archive, whole.substr(0, whole.size() - 30));
        EXPECT_FALSE(ZipVerifier::verify(_archive, 2, nullptr, &why, threads));
        EXPECT_EQ("its central directory cannot be read", why);
    }
}
