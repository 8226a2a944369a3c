// The long test of ZipBuilder (CTest label "long"): a sparse file of 4.1 GiB, beyond the 4 GiB
// limit of plain ZIP sizes, goes into an archive that unzip -t accepts and whose entry carries the
// full 64-bit size. The file is sparse, so it takes next to no disk space; the time goes into
// deflating and testing 4.1 GiB. Everything lives in a temporary folder that is removed at the
// end, also when an assertion fails.
#include "ZipBuilder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "TestEnvironment.h"

using namespace corvix_test;

namespace {

const uint64_t kLargeSize = 4402341478ULL;  // 4.1 GiB

// Writes text at offset into the file.
void writeAt(int fd, uint64_t offset, const std::string& text) {
    ASSERT_EQ(static_cast<ssize_t>(text.size()),
              pwrite(fd, text.data(), text.size(), static_cast<off_t>(offset)));
}

}  // namespace

TEST(ZipBuilderLargeFileTest, SparseFileOf4Point1GiBRoundTrips) {
    TempDir dir;
    std::string staging = dir / "osp_large";
    std::string file = staging + "/system/large.bin";
    std::string archive = dir / "large.zip";
    makeDirs(staging + "/system");

    int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(0, ftruncate(fd, static_cast<off_t>(kLargeSize)));
    // A few non-zero bytes at the start, across the 4 GiB line and at the end, so that the CRC
    // that unzip -t checks covers data placed beyond 32-bit offsets.
    writeAt(fd, 0, "start");
    writeAt(fd, (4ULL << 30) - 3, "across-4GiB");
    writeAt(fd, kLargeSize - 3, "end");
    ASSERT_EQ(0, close(fd));
    writeFile(staging + "/package.xml", "<SupportInfo/>\n");

    {
        ZipBuilder builder(archive.c_str(), false);
        ASSERT_EQ(1, builder.addFolderToZip(staging.c_str(), true, staging.c_str()));
    }

    // Python's zipfile reads the sizes from the ZIP64 extra block of the central directory.
    // (Debian's minizip reader does not: it reports 0xFFFFFFFF, so it is not used here.)
    std::string output;
    std::string script =
        "import sys, zipfile\n"
        "z = zipfile.ZipFile(sys.argv[1])\n"
        "for i in sorted(z.infolist(), key=lambda i: i.filename):\n"
        "    print(i.filename, i.file_size, i.date_time)\n";
    writeFile(dir / "sizes.py", script);
    EXPECT_EQ(0, runCommand("python3 '" + (dir / "sizes.py") + "' '" + archive + "'", &output));
    EXPECT_EQ("package.xml 15 (1980, 1, 0, 0, 0, 0)\nsystem/large.bin " +
                  std::to_string(kLargeSize) + " (1980, 1, 0, 0, 0, 0)\n",
              output);

    EXPECT_EQ(0, runCommand("unzip -t '" + archive + "' 2>&1", &output)) << output;
    EXPECT_NE(std::string::npos, output.find("No errors detected")) << output;
}
