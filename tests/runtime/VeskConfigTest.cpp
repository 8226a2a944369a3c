// The product configuration file: the exact file layout, version rules, the line reader, the
// in-memory lookups, the Preferences fallbacks and the process-count rules.
#include <unistd.h>

#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "QuadenLowLevelPlatformInfo.h"
#include "TestEnvironment.h"
#include "VeskConfig.h"
#include "VeskFile.h"
#include "VeskLog.h"

using namespace corvix_test;

namespace {

// The product's 41 keys and defaults, "key=value;", independent of the code under test.
const char kDefaults[] =
    "corvix.processes=automatic;corvix.enabled=1;corvix.preview.shared.memory=1;"
    "corvix.render.backupwarning=1;corvix.checkforupdates=1;corvix.override.xfactor.commands=1;"
    "corvix.preview.type=1;corvix.render.type=2;corvix.preview.moveplayhead=0;"
    "corvix.noncorvix.process.cpu.threshold=15;corvix.logging=0;"
    "corvix.render.background.purge.rate=5;"
    "corvix.render.shared.memory.sizeInKilobytes.windows=12288;"
    "corvix.render.shared.memory.sizeInKilobytes.mac=512;corvix.http.proxy.enabled=0;"
    "corvix.http.proxy.host=;corvix.http.proxy.port=0;corvix.preview.use.foreground=1;"
    "corvix.performance.level=1;corvix.render.backup.count=10;"
    "corvix.render.sequences.separately=1;corvix.memory.free.amountInMegabytes=512;"
    "corvix.run.install.benchmark=0;corvix.preview.min.purge.counter=3;"
    "corvix.preview.memory.free.amountInMegabytes=25;corvix.show.eps.warning=0;"
    "corvix.show.performance.warning=0;corvix.show.preemption.warning=1;"
    "corvix.preview.populate.cache.immediately=0;corvix.pro.spec.evaluation.delayInSeconds=5;"
    "corvix.dev.logging=0;corvix.effect.layer.top=1;corvix.preview.number.temp.buffers=-1;"
    "corvix.logging.threadInfo=1;corvix.ae.background.args.win=-noui -m;"
    "corvix.ae.background.args.mac=-noui;corvix.show.ctd.transfer_modes.warning=1;"
    "corvix.show.templates_changed.warning=1;corvix.show.disabled.dialog=1;"
    "corvix.support.bg.mem=unknown;corvix.cache.max.memory.setting=0;";

std::map<std::string, std::string> designedDefaults() {
    std::map<std::string, std::string> table;
    std::istringstream in(kDefaults);
    for (std::string item; std::getline(in, item, ';');) {
        table[item.substr(0, item.find('='))] = item.substr(item.find('=') + 1);
    }
    return table;
}

// The whole file as the product writes it, with values for the keys in set, else "default".
std::string designedFile(const std::map<std::string, std::string>& set = {}) {
    std::string text =
        "corvix.config.version=2.7\n#\n# Orvanta Software Corvix Pro Configuration.\n"
        "#\n# Warning - Do not edit by hand.\n# ----------------------------------\n"
        "# Defaults:\n";
    std::string entries;
    for (const auto& [key, value] : designedDefaults()) {
        text += "#      " + key + "=" + value + "\n";
        entries += key + "=" + (set.count(key) ? set.at(key) : "default") + "\n";
    }
    return text + "# ----------------------------------\n\n" + entries;
}

int g_cpus = 0;
uint64_t g_bytes = 0;

class VeskConfigTest : public SandboxTest {
  protected:
    void TearDown() override {
        QuadenLowLevelPlatformInfo::setPlatformSources(nullptr, nullptr);
        SandboxTest::TearDown();
    }
    std::string file() const { return home() + "/.config/Orvanta/Corvix/CorvixPro2.cfg"; }
    std::string value(VeskConfig& config, const char* key) {
        char buffer[1024] = {0};
        EXPECT_EQ(1, config.getValue(key, buffer)) << key;
        return buffer;
    }
    void fakeMachine(int cpus, unsigned long megabytes) {
        g_cpus = cpus;
        g_bytes = static_cast<uint64_t>(megabytes) << 20;
        QuadenLowLevelPlatformInfo::setPlatformSources(
            [](int* out) { return *out = g_cpus, true; },
            [](uint64_t* out) { return *out = g_bytes, true; });
    }
};

TEST_F(VeskConfigTest, FreshUserGetsTheDesignedFileAndDefaults) {
    EXPECT_EQ(41u, designedDefaults().size());
    VeskConfig config("/", "CorvixPro2.cfg");
    EXPECT_EQ(file(), config.getPath());
    EXPECT_EQ(designedFile(), readFile(file()));

    EXPECT_EQ("-noui -m", value(config, "corvix.ae.background.args.win"));
    EXPECT_EQ("", value(config, "corvix.http.proxy.host"));
    int number = 0;
    EXPECT_EQ(1, config.getValue("corvix.preview.number.temp.buffers", &number));
    EXPECT_EQ(-1, number);
    bool flag = false;
    EXPECT_EQ(1, config.getValue("corvix.logging.threadInfo", &flag));
    EXPECT_TRUE(flag);
    char unknown[1024] = {0};
    EXPECT_EQ(0, config.getValue("corvix.no.such.key", unknown));
}

// Each writer changes only the keys it set and keeps what another wrote since it read the file.
TEST_F(VeskConfigTest, ChangesReachTheDiskOnlyThroughWriteToDiskAndKeepOtherWriters) {
    {
        VeskConfig config("C:\\", "CorvixPro2.cfg");
        config.setValue("corvix.logging", "1");
        config.setValue("corvix.dev.logging", "1");
        config.setValue(nullptr, "1");
        VeskConfig other("/", "CorvixPro2.cfg");
        EXPECT_EQ("0", value(other, "corvix.logging"));
        other.setValue("corvix.processes", "4");
        EXPECT_TRUE(other.writeToDisk());
        EXPECT_TRUE(config.writeToDisk());
        EXPECT_EQ("4", value(config, "corvix.processes"));
    }
    EXPECT_EQ(
        designedFile(
            {{"corvix.logging", "1"}, {"corvix.dev.logging", "1"}, {"corvix.processes", "4"}}),
        readFile(file()));
    VeskConfig reread("/", "CorvixPro2.cfg");
    EXPECT_EQ("1", value(reread, "corvix.dev.logging"));
}

// A writer waits for another's lock, then keeps what that one wrote meanwhile.
TEST_F(VeskConfigTest, AWriterWaitsForTheLockAndKeepsWhatTheHolderWrote) {
    { VeskConfig("/", "CorvixPro2.cfg"); }
    std::thread writer;
    {
        VeskFileLock other(file());
        ASSERT_TRUE(other.locked());
        writer = std::thread([this] {
            VeskConfig config("/", "CorvixPro2.cfg");
            config.setValue("corvix.logging", "1");
            EXPECT_TRUE(config.writeToDisk());
        });
        usleep(300000);
        writeFile(file(), designedFile({{"corvix.processes", "7"}}));
    }
    writer.join();
    EXPECT_EQ(designedFile({{"corvix.processes", "7"}, {"corvix.logging", "1"}}), readFile(file()));
}

// "2.6" and a file without a version line are rewritten, each kept aside first (read-only
// objects rewrite nothing); "2.7.1" is loaded, unknown keys dropped.
TEST_F(VeskConfigTest, VersionDecidesBetweenLoadingAndRewriting) {
    for (const char* first : {"corvix.config.version=2.6\n", ""}) {
        std::string old = std::string(first) + "corvix.logging=1\n";
        writeFile(file(), old);
        VeskConfig reader("/", "CorvixPro2.cfg", VeskConfig::kReadOnly);
        EXPECT_EQ("0", value(reader, "corvix.logging"));
        EXPECT_EQ(old, readFile(file()));
        VeskConfig config("/", "CorvixPro2.cfg");
        EXPECT_EQ("0", value(config, "corvix.logging"));
        EXPECT_EQ(designedFile(), readFile(file()));
        EXPECT_EQ(old, readFile(file() + (*first ? ".old" : ".old.2")));
    }
    writeFile(file(), "corvix.config.version=2.7.1\ncorvix.logging=1\ncorvix.unknown=5\n");
    VeskConfig newer("/", "CorvixPro2.cfg");
    EXPECT_EQ("1", value(newer, "corvix.logging"));
    newer.writeToDisk();
    EXPECT_EQ(designedFile({{"corvix.logging", "1"}}), readFile(file()));
}

// An oversized file is refused, named and never replaced (FIFOs and folders in its place are
// refused through the helpers it reads with, and end to end in CliLoggingTest).
TEST_F(VeskConfigTest, OversizedFileIsRefusedAndKept) {
    const std::string big(VeskConfig::kMaxFileSize + 1, '#');
    writeFile(file(), big);
    VeskConfig config("/", "CorvixPro2.cfg");
    EXPECT_EQ(file() + " is 1048577 bytes, more than the 1048576 read", config.lastError());
    EXPECT_EQ("0", value(config, "corvix.logging"));
    config.setValue("corvix.logging", "1");
    EXPECT_FALSE(config.writeToDisk());
    EXPECT_EQ(big, readFile(file()));
}

TEST_F(VeskConfigTest, LineReaderSkipsBlanksAndCommentsAndMatchesKeyPrefixes) {
    writeFile(file(),
              "corvix.config.version=2.7\n# corvix.processes=9\n\t; corvix.processes=8\n\n"
              "  corvix.processes =  4\ncorvix.logging.threadInfo=0\ncorvix.logging=1\n"
              "corvix.ae.background.args.mac=\t -noui  \n");
    VeskConfig config("/", "CorvixPro2.cfg");
    char buffer[1024] = {0};
    EXPECT_EQ(1, config.getValueX("corvix.processes", buffer));
    EXPECT_STREQ("4", buffer);
    // The longer key's line comes first here, so the prefix match finds it for the shorter key.
    EXPECT_EQ("0", value(config, "corvix.logging"));
    EXPECT_EQ("-noui  ", value(config, "corvix.ae.background.args.mac"));
    EXPECT_EQ(0, config.getValueX("corvix.enabled", buffer));
    EXPECT_EQ(0, config.getValueX(nullptr, buffer));
}

TEST_F(VeskConfigTest, ProcessCountFollowsProcessorsAndMemory) {
    const struct {
        const char* setting;
        int cpus;
        unsigned long megabytes;
        int expected;
    } cases[] = {
        {"automatic", 4, 2048, 3},        {"automatic", 4, 4096, 5},
        {"automatic", 2, 1024, 3},        {"automatic", 1, 8192, 2},
        {"dedicatedEncoder", 4, 2048, 2}, {"dedicatedEncoder", 4, 8192, 4},
        {"dedicatedEncoder", 1, 512, 2},  {"6", 1, 512, 6},
        {"default", 8, 2560, 7},
    };
    VeskConfig config("/", "CorvixPro2.cfg");
    for (const auto& c : cases) {
        fakeMachine(c.cpus, c.megabytes);
        config.setValue("corvix.processes", c.setting);
        EXPECT_EQ(c.expected, config.getNumProcesses())
            << c.setting << " " << c.cpus << " CPUs " << c.megabytes << " MB";
    }
    // Any other setting is reset to "automatic" on disk.
    fakeMachine(4, 4096);
    for (const char* bad : {"0", "-3", "many"}) {
        config.setValue("corvix.processes", bad);
        EXPECT_EQ(5, config.getNumProcesses()) << bad;
        EXPECT_EQ(designedFile({{"corvix.processes", "automatic"}}), readFile(file())) << bad;
        writeFile(file(), designedFile());
    }
}

TEST_F(VeskConfigTest, PlatformFailuresFallBackAndAreLogged) {
    ProductLog log(tmp("product.log"));
    QuadenLowLevelPlatformInfo::setPlatformSources([](int*) { return false; },
                                                   [](uint64_t*) { return false; });
    EXPECT_EQ(1, QuadenLowLevelPlatformInfo::getNumberOfCPUs());
    EXPECT_EQ(0ul, QuadenLowLevelPlatformInfo::getTotalRAM());

    // No usable Preferences folder: the base becomes $HOME/Library/Preferences, and while that
    // does not exist nothing can be stored.
    _env.set("XDG_CONFIG_HOME", "relative");
    writeFile(home() + "/.config", "not a folder");
    std::string path = home() + "/Library/Preferences/Orvanta/Corvix/corvix.cfg";
    {
        VeskConfig config("/", "corvix.cfg");
        EXPECT_EQ(path, config.getPath());
        EXPECT_EQ("0", value(config, "corvix.logging"));
        EXPECT_FALSE(exists(path));
    }
    makeDirs(home() + "/Library/Preferences");
    VeskConfig config("/", "corvix.cfg");
    EXPECT_EQ(designedFile(), readFile(path));

    const std::vector<std::string> lines = {
        "ERROR\tPlatformUtilities::getNumberOfCPUs() sysctlbynameX() failed. assuming number "
        "of CPUs=1\n",
        "ERROR\tPlatformUtilities::getTotalRAM() sysctlbynameX() failed. Unknown RAM size.\n",
        "ERROR\tVeskConfig::createConfigFileName: FSFindFolder failed (-1)\n",
        "ERROR\tUnable to store config file: " + path + ".\n"};
    for (const std::string& line : lines) {
        EXPECT_TRUE(log.has(">\t" + line)) << line;
    }
}

}  // namespace
