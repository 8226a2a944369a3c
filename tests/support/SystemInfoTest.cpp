// Tests of SystemInfo and PathFileExists, inside a sandbox machine root with a fake
// os-release.
#include "SystemInfo.h"

#include <sys/utsname.h>

#include <cstring>
#include <string>

#include "SupportTestTools.h"
#include "TestEnvironment.h"

using namespace corvix_test;

namespace {

// A SystemInfo whose hardware facts are given by the test; a negative value is a failed query.
class FakeSystemInfo : public SystemInfo {
  public:
    FakeSystemInfo(int count, int64_t memory) : _count(count), _memory(memory) {}

  protected:
    bool queryProcessorCount(int* count) override {
        *count = _count;
        return _count >= 0;
    }
    bool queryMemorySize(uint64_t* bytes) override {
        *bytes = static_cast<uint64_t>(_memory);
        return _memory >= 0;
    }

  private:
    int _count;
    int64_t _memory;
};

const int64_t kTwoGiB = 2LL << 30;

std::string expectedReport(const std::string& version, const std::string& build,
                           const std::string& language, const std::string& cpus,
                           const std::string& ram) {
    return "<?xml version=\"1.0\" ?>\n<system_info version=\"1.0\">\n\t<operating_system>\n"
           "\t\t<platform>Linux</platform>\n\t\t<version>" +
           version + "</version>\n\t\t<build>" + build + "</build>\n\t\t<language>" + language +
           "</language>\n\t</operating_system>\n\t<hardware>\n\t\t<cpu_count>" + cpus +
           "</cpu_count>\n\t\t<total_ram unit=\"mb\">" + ram +
           "</total_ram>\n\t</hardware>\n</system_info>\n";
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
    std::string report(SystemInfo& info) {
        std::string path = tmp("system.xml");
        EXPECT_EQ(1, info.outputToXML(path.c_str()));
        return readFile(path);
    }
};

}  // namespace

TEST_F(SystemInfoTest, ReportIsTheExactThirteenLinesAndMissingValuesAreEmpty) {
    FakeSystemInfo bare(2, kTwoGiB);
    _env.set("LANG", "C");  // no locale identifier, and no os-release at all
    EXPECT_EQ(expectedReport("", "", "", "2", "2048"), report(bare));

    _env.set("LANG", "en_US.UTF-8");
    writeOsRelease("NAME=\"Corvix Test OS\"\nVERSION_ID=\"10.4.11\"\nBUILD_ID=8S165\n");
    FakeSystemInfo info(2, kTwoGiB);
    EXPECT_EQ(expectedReport("10.4.11", "8S165", "en_US", "2", "2048"), report(info));
    // Memory is cut to whole mebibytes, never rounded up.
    EXPECT_EQ(2048, FakeSystemInfo(2, kTwoGiB + (1 << 20) - 1).getTotalMemoryInMB());
}

TEST_F(SystemInfoTest, FailedQueriesPrintTheirMessagesAndStillWriteTheReport) {
    writeOsRelease("VERSION_ID=\"10.4.11\"\nBUILD_ID=8S165\n");
    FakeSystemInfo info(-1, -1);
    DiagnosticCapture diagnostics;
    EXPECT_EQ(expectedReport("10.4.11", "8S165", "en_US", "1", "0"), report(info));
    EXPECT_EQ(
        "\ngetNumberOfCPUs() sysctlbyname() failed. assuming number of CPUs=1"
        "getTotalMemoryInMB() sysctlbyname() failed. Unknown RAM size.",
        diagnostics.take());

    EXPECT_EQ(0, info.outputToXML(nullptr));
    EXPECT_EQ(0, info.outputToXML(tmp("no/such/folder/system.xml").c_str()));
}

// Without VERSION_ID the version is empty; without BUILD_ID or debian_version the build is the
// kernel release. Both are read once per instance.
TEST_F(SystemInfoTest, VersionFallbacksAndCaching) {
    writeOsRelease("NAME=x\n");
    struct utsname names;
    ASSERT_EQ(0, uname(&names));
    FakeSystemInfo info(2, kTwoGiB);
    EXPECT_STREQ("", info.getOSVersionString());
    EXPECT_STREQ(names.release, info.getOSBuildNumberString());

    writeOsRelease("VERSION_ID=2\nBUILD_ID=b\n");
    EXPECT_STREQ("", info.getOSVersionString());
    FakeSystemInfo fresh(2, kTwoGiB);
    EXPECT_STREQ("b", fresh.getOSBuildNumberString());
    EXPECT_STREQ("2", fresh.getOSVersionString());
}

TEST_F(SystemInfoTest, UserLanguageIsCutToTheBufferAndLeftAloneWithoutOne) {
    FakeSystemInfo info(2, kTwoGiB);
    _env.set("LC_ALL", "de_DE.UTF-8@euro");
    char small[4];
    memset(small, 'x', sizeof small);
    EXPECT_EQ(1, info.getUserLanguage(small, sizeof small));
    EXPECT_STREQ("de_", small);

    _env.set("LC_ALL", "POSIX");
    char buffer[16] = "kept";
    EXPECT_EQ(0, info.getUserLanguage(buffer, sizeof buffer));
    EXPECT_STREQ("kept", buffer);
}

TEST_F(SystemInfoTest, SingletonReadsTheSandboxAndIsRecreatedAfterDelete) {
    writeOsRelease("VERSION_ID=\"10.4.11\"\nBUILD_ID=8S165\n");
    delete SystemInfo::instance();  // drop any instance (and its cached version) of earlier tests
    SystemInfo* first = SystemInfo::instance();
    EXPECT_EQ(first, SystemInfo::instance());
    { FakeSystemInfo other(2, kTwoGiB); }  // a test's own object leaves the singleton alone
    EXPECT_EQ(first, SystemInfo::instance());
    EXPECT_STREQ("10.4.11", first->getOSVersionString());
    EXPECT_GE(first->getNumberOfProcessors(), 1);
    EXPECT_GT(first->getTotalMemoryInMB(), 0);
    delete first;
    SystemInfo* second = SystemInfo::instance();
    ASSERT_NE(nullptr, second);
    EXPECT_STREQ("Linux", second->getPlatform());
    delete second;
}

TEST_F(SystemInfoTest, PathFileExistsOnlyForFolders) {
    writeFile(tmp("regular.txt"), "x");
    EXPECT_EQ(0, PathFileExists(tmp("regular.txt").c_str()));
    EXPECT_EQ(1, PathFileExists(tmp().c_str()));
    EXPECT_EQ(0, PathFileExists(tmp("missing").c_str()));
    EXPECT_EQ(0, PathFileExists(nullptr));
}
