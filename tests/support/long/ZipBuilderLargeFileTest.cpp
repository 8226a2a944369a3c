// The long test of ZipBuilder (CTest label "long"): a sparse file of 4.1 GiB, beyond the 4 GiB
// limit of plain ZIP sizes, goes into an archive that unzip -t accepts and whose entry carries the
// full 64-bit size. The file is sparse, so it takes next to no disk space; the time goes into
// deflating and testing 4.1 GiB.
#include "ZipBuilder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "TestEnvironment.h"

using namespace corvix_test;

TEST(ZipBuilderLargeFileTest, SparseFileOf4Point1GiBRoundTrips) {
    const uint64_t size = 4402341478ULL;  // 4.1 GiB
    TempDir dir;
    std::string staging = dir / "osp_large";
    std::string archive = dir / "large.zip";
    makeDirs(staging + "/system");
    writeFile(staging + "/package.xml", "<SupportInfo/>\n");
    int fd = open((staging + "/system/large.bin").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(0, ftruncate(fd, static_cast<off_t>(size)));
    // Non-zero bytes at the start, across the 4 GiB line and at the end, so that the CRC that
    // unzip -t checks covers data placed beyond 32-bit offsets.
    for (const auto& [offset, text] : {std::pair<uint64_t, std::string>{0, "start"},
                                       {(4ULL << 30) - 3, "across-4GiB"},
                                       {size - 3, "end"}}) {
        ASSERT_EQ(ssize_t(text.size()), pwrite(fd, text.data(), text.size(), off_t(offset)));
    }
    ASSERT_EQ(0, close(fd));
    {
        ZipBuilder builder(archive.c_str(), false);
        ASSERT_EQ(1, builder.addFolderToZip(staging.c_str(), true, staging.c_str()));
    }

    // Python's zipfile reads the sizes from the ZIP64 extra block of the central directory.
    std::string output;
    writeFile(
        dir / "sizes.py",
        "import sys, zipfile\n"
        "for i in sorted(zipfile.ZipFile(sys.argv[1]).infolist(), key=lambda i: i.filename):\n"
        "    print(i.filename, i.file_size, i.date_time)\n");
    EXPECT_EQ(0, runCommand("python3 '" + (dir / "sizes.py") + "' '" + archive + "'", &output));
    EXPECT_EQ("package.xml 15 (1980, 1, 0, 0, 0, 0)\nsystem/large.bin " + std::to_string(size) +
                  " (1980, 1, 0, 0, 0, 0)\n",
              output);
    EXPECT_EQ(0, runCommand("unzip -t '" + archive + "' 2>&1", &output)) << output;
    EXPECT_NE(std::string::npos, output.find("No errors detected")) << output;
}
