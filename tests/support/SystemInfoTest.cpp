// Tests of SystemInfo and PathFileExists, inside a sandbox machine root with a fake
// os-release.
#include "SystemInfo.h"

#include <sys/utsname.h>

#include <cstring>
#include <string>

#include "TestEnvironment.h"

using namespace corvix_test;

namespace {

// A SystemInfo whose hardware facts are given by the test.
class FakeSystemInfo : public SystemInfo {
  public:
    FakeSystemInfo(bool haveCount, int count, bool haveMemory, uint64_t memory)
        : _haveCount(haveCount), _count(count), _haveMemory(haveMemory), _memory(memory) {}

  protected:
    bool queryProcessorCount(int* count) override {
        if (_haveCount) {
            *count = _count;
        }
        return _haveCount;
    }
    bool queryMemorySize(uint64_t* bytes) override {
        if (_haveMemory) {
            *bytes = _memory;
        }
        return _haveMemory;
    }

  private:
    bool _haveCount;
    int _count;
    bool _haveMemory;
    uint64_t _memory;
};

const uint64_t kTwoGiB = 2ULL << 30;

std::string expectedReport(const std::string& version, const std::string& build,
                           const std::string& language, const std::string& cpus,
                           const std::string& ram) {
    return "<?xml version=\"1.0\" ?>\n"
           "<system_info version=\"1.0\">\n"
           "\t<operating_system>\n"
           "\t\t<platform>Linux</platform>\n"
           "\t\t<version>" +
           version +
           "</version>\n"
           "\t\t<build>" +
           build +
           "</build>\n"
           "\t\t<language>" +
           language +
           "</language>\n"
           "\t</operating_system>\n"
           "\t<hardware>\n"
           "\t\t<cpu_count>" +
           cpus +
           "</cpu_count>\n"
           "\t\t<total_ram unit=\"mb\">" +
           ram +
           "</total_ram>\n"
           "\t</hardware>\n"
           "</system_info>\n";
}

class SystemInfoTest : public SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        _env.set("LC_ALL", std::nullopt);
        _env.set("LC_MESSAGES", std::nullopt);
        _env.set("LANG", "en_US.UTF-8");
    }

    void writeOsRelease(const std::string& contents) {
        writeFile(root() + "/etc/os-release", contents);
    }
};

}  // namespace

TEST_F(SystemInfoTest, ReportIsTheExactThirteenLines) {
    writeOsRelease("NAME=\"Corvix Test OS\"\nVERSION_ID=\"10.4.11\"\nBUILD_ID=8S165\n");
    FakeSystemInfo info(true, 2, true, kTwoGiB);
    std::string path = tmp("system.xml");
    ASSERT_EQ(1, info.outputToXML(path.c_str()));
    std::string report = readFile(path);
    EXPECT_EQ(expectedReport("10.4.11", "8S165", "en_US", "2", "2048"), report);
    EXPECT_NE(std::string::npos, report.find("\n\t\t<version>10.4.11</version>\n"));
    EXPECT_NE(std::string::npos, report.find("\n\t\t<build>8S165</build>\n"));
    EXPECT_EQ(13u, readLines(path).size());
}

TEST_F(SystemInfoTest, WithoutBuildIdTheBuildIsDebianVersion) {
    writeOsRelease("VERSION_ID=\"12\"\n");
    writeFile(root() + "/etc/debian_version", "12.5\n");
    FakeSystemInfo info(true, 8, true, 16ULL << 30);
    std::string path = tmp("system.xml");
    ASSERT_EQ(1, info.outputToXML(path.c_str()));
    EXPECT_EQ(expectedReport("12", "12.5", "en_US", "8", "16384"), readFile(path));
}

TEST_F(SystemInfoTest, WithoutBuildIdOrDebianVersionTheBuildIsTheKernelRelease) {
    writeOsRelease("VERSION_ID=\"12\"\n");
    struct utsname names;
    ASSERT_EQ(0, uname(&names));
    FakeSystemInfo info(true, 2, true, kTwoGiB);
    EXPECT_STREQ("12", info.getOSVersionString());
    EXPECT_STREQ(names.release, info.getOSBuildNumberString());
}

TEST_F(SystemInfoTest, UsrLibOsReleaseIsTheFallback) {
    writeFile(root() + "/usr/lib/os-release", "VERSION_ID=11\nBUILD_ID=b42\n");
    FakeSystemInfo info(true, 2, true, kTwoGiB);
    EXPECT_STREQ("11", info.getOSVersionString());
    EXPECT_STREQ("b42", info.getOSBuildNumberString());
}

TEST_F(SystemInfoTest, MissingValuesGiveEmptyElements) {
    // No os-release at all, no locale identifier.
    _env.set("LANG", "C");
    FakeSystemInfo info(true, 2, true, kTwoGiB);
    std::string path = tmp("system.xml");
    ASSERT_EQ(1, info.outputToXML(path.c_str()));
    EXPECT_EQ(expectedReport("", "", "", "2", "2048"), readFile(path));
}

TEST_F(SystemInfoTest, MissingVersionIdGivesEmptyVersion) {
    writeOsRelease("NAME=x\nBUILD_ID=8S165\n");
    FakeSystemInfo info(true, 2, true, kTwoGiB);
    EXPECT_STREQ("", info.getOSVersionString());
    EXPECT_STREQ("8S165", info.getOSBuildNumberString());
}

TEST_F(SystemInfoTest, VersionIsReadOncePerInstance) {
    writeOsRelease("VERSION_ID=1\nBUILD_ID=a\n");
    FakeSystemInfo info(true, 2, true, kTwoGiB);
    EXPECT_STREQ("a", info.getOSBuildNumberString());
    writeOsRelease("VERSION_ID=2\nBUILD_ID=b\n");
    EXPECT_STREQ("1", info.getOSVersionString());
    EXPECT_STREQ("a", info.getOSBuildNumberString());
    FakeSystemInfo fresh(true, 2, true, kTwoGiB);
    EXPECT_STREQ("2", fresh.getOSVersionString());
}

TEST_F(SystemInfoTest, TwoGiBOfMemoryIs2048) {
    FakeSystemInfo info(true, 2, true, kTwoGiB);
    EXPECT_EQ(2048, info.getTotalMemoryInMB());
    FakeSystemInfo odd(true, 2, true, kTwoGiB + (1 << 20) - 1);
    EXPECT_EQ(2048, odd.getTotalMemoryInMB());
}

TEST_F(SystemInfoTest, ProcessorCountFailureMessage) {
    FakeSystemInfo info(false, 0, true, kTwoGiB);
    testing::internal::CaptureStderr();
    EXPECT_EQ(1, info.getNumberOfProcessors());
    EXPECT_EQ("\ngetNumberOfCPUs() sysctlbyname() failed. assuming number of CPUs=1",
              testing::internal::GetCapturedStderr());
}

TEST_F(SystemInfoTest, MemoryFailureMessage) {
    FakeSystemInfo info(true, 2, false, 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(0, info.getTotalMemoryInMB());
    EXPECT_EQ("getTotalMemoryInMB() sysctlbyname() failed. Unknown RAM size.",
              testing::internal::GetCapturedStderr());
}

TEST_F(SystemInfoTest, FailuresStillWriteTheReport) {
    writeOsRelease("VERSION_ID=\"10.4.11\"\nBUILD_ID=8S165\n");
    FakeSystemInfo info(false, 0, false, 0);
    std::string path = tmp("system.xml");
    testing::internal::CaptureStderr();
    ASSERT_EQ(1, info.outputToXML(path.c_str()));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(expectedReport("10.4.11", "8S165", "en_US", "1", "0"), readFile(path));
}

TEST_F(SystemInfoTest, OutputToXmlFailures) {
    FakeSystemInfo info(true, 2, true, kTwoGiB);
    EXPECT_EQ(0, info.outputToXML(nullptr));
    std::string unwritable = tmp("no/such/folder/system.xml");
    EXPECT_EQ(0, info.outputToXML(unwritable.c_str()));
}

TEST_F(SystemInfoTest, UserLanguage) {
    FakeSystemInfo info(true, 2, true, kTwoGiB);
    char buffer[256];
    memset(buffer, 0, sizeof buffer);
    _env.set("LC_ALL", "de_DE.UTF-8@euro");
    EXPECT_EQ(1, info.getUserLanguage(buffer, 255));
    EXPECT_STREQ("de_DE", buffer);

    char small[4];
    memset(small, 'x', sizeof small);
    EXPECT_EQ(1, info.getUserLanguage(small, sizeof small));
    EXPECT_STREQ("de_", small);

    _env.set("LC_ALL", "POSIX");
    _env.set("LANG", std::nullopt);
    strcpy(buffer, "kept");
    EXPECT_EQ(0, info.getUserLanguage(buffer, 255));
    EXPECT_STREQ("kept", buffer);
}

TEST_F(SystemInfoTest, SingletonIsRecreatedAfterDelete) {
    delete SystemInfo::instance();
    SystemInfo* first = SystemInfo::instance();
    ASSERT_NE(nullptr, first);
    EXPECT_EQ(first, SystemInfo::instance());
    EXPECT_STREQ("Linux", first->getPlatform());
    EXPECT_GE(first->getNumberOfProcessors(), 1);
    EXPECT_GT(first->getTotalMemoryInMB(), 0);
    {
        // A derived object of a test does not disturb the singleton.
        FakeSystemInfo other(true, 2, true, kTwoGiB);
    }
    EXPECT_EQ(first, SystemInfo::instance());
    delete first;
    SystemInfo* second = SystemInfo::instance();
    ASSERT_NE(nullptr, second);
    EXPECT_STREQ("Linux", second->getPlatform());
    delete second;
}

TEST_F(SystemInfoTest, RealInstanceReadsTheSandboxOsRelease) {
    writeOsRelease("VERSION_ID=\"10.4.11\"\nBUILD_ID=8S165\n");
    delete SystemInfo::instance();  // drop any instance (and its cached version) of earlier tests
    SystemInfo* info = SystemInfo::instance();
    std::string path = tmp("system.xml");
    ASSERT_EQ(1, info->outputToXML(path.c_str()));
    auto lines = readLines(path);
    ASSERT_EQ(13u, lines.size());
    EXPECT_EQ("\t\t<version>10.4.11</version>", lines[4]);
    EXPECT_EQ("\t\t<build>8S165</build>", lines[5]);
    delete info;
}

TEST_F(SystemInfoTest, PathFileExists) {
    std::string file = tmp("regular.txt");
    writeFile(file, "x");
    EXPECT_EQ(0, PathFileExists(file.c_str()));
    EXPECT_EQ(1, PathFileExists(tmp().c_str()));
    std::string missing = tmp("missing");
    EXPECT_EQ(0, PathFileExists(missing.c_str()));
    EXPECT_EQ(0, PathFileExists(nullptr));
}
