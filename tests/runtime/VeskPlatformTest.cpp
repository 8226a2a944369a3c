// The platform seam and the machine root, on Linux.
#include <pwd.h>
#include <unistd.h>

#include "TestEnvironment.h"
#include "VeskPlatform.h"

using namespace corvix_test;

namespace {

class PlatformTest : public SandboxTest {};

TEST_F(PlatformTest, MachinePathIsUntouchedWithoutRootAndPrefixedWithOne) {
    const std::string designed = "/Library/Application Support/Orvanta Software/CorvixPro2/";
    _env.set("CORVIX_ROOT", std::nullopt);
    EXPECT_EQ(vesk_machinePath(designed), designed);
    _env.set("CORVIX_ROOT", "");
    EXPECT_EQ(vesk_machinePath(designed), designed);

    _env.set("CORVIX_ROOT", "/mnt/disk///");
    EXPECT_EQ(vesk_machinePath(designed), "/mnt/disk" + designed);
    EXPECT_EQ(vesk_machinePath("relative/path"), "relative/path");

    // An explicit root (the command line's --root) wins over the environment until cleared.
    vesk_setMachineRoot("/other/");
    EXPECT_EQ(vesk_machinePath("/Applications"), "/other/Applications");
    vesk_setMachineRoot("");
    EXPECT_EQ(vesk_machinePath("/Applications"), "/mnt/disk/Applications");
}

// The fallbacks: "$HOME/Library/Preferences" when the folder cannot be made, the temporary folder
// without HOME. Without HOME the password database still names the home folder.
TEST_F(PlatformTest, PreferencesFolderFollowsXdgThenHomeAndIsCreated) {
    std::string folder;
    _env.set("XDG_CONFIG_HOME", tmp("xdg/config"));
    ASSERT_TRUE(vesk_preferencesFolder(&folder));
    EXPECT_EQ(folder, tmp("xdg/config"));
    EXPECT_TRUE(exists(folder));

    _env.set("XDG_CONFIG_HOME", "relative/config");  // a relative value is ignored
    ASSERT_TRUE(vesk_preferencesFolder(&folder));
    EXPECT_EQ(folder, home() + "/.config");

    writeFile(tmp("blocker"), "");
    _env.set("XDG_CONFIG_HOME", tmp("blocker/config"));
    EXPECT_FALSE(vesk_preferencesFolderOrFallback(&folder));
    EXPECT_EQ(folder, home() + "/Library/Preferences");

    _env.set("XDG_CONFIG_HOME", std::nullopt);
    _env.set("HOME", std::nullopt);
    folder = "unchanged";
    EXPECT_FALSE(vesk_preferencesFolder(&folder));
    EXPECT_EQ(folder, "unchanged");
    EXPECT_FALSE(vesk_preferencesFolderOrFallback(&folder));
    EXPECT_EQ(folder, tmp("tmp"));
    ASSERT_TRUE(vesk_homeFolder(&folder));
    struct passwd* pw = getpwuid(getuid());
    ASSERT_NE(pw, nullptr);
    EXPECT_EQ(folder, pw->pw_dir);
}

TEST_F(PlatformTest, DesktopFolderComesFromUserDirs) {
    std::string desktop;
    ASSERT_TRUE(vesk_desktopFolder(&desktop));
    EXPECT_EQ(desktop, home() + "/Desktop");

    writeFile(home() + "/.config/user-dirs.dirs",
              "# written by xdg-user-dirs-update\nXDG_DOWNLOAD_DIR=\"$HOME/Downloads\"\n"
              "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n");
    ASSERT_TRUE(vesk_desktopFolder(&desktop));
    EXPECT_EQ(desktop, home() + "/Schreibtisch");

    writeFile(home() + "/.config/user-dirs.dirs", "XDG_DESKTOP_DIR=\"/srv/desk\"\n");
    ASSERT_TRUE(vesk_desktopFolder(&desktop));
    EXPECT_EQ(desktop, "/srv/desk");
}

TEST_F(PlatformTest, LocaleIdentifierDropsCodesetAndModifier) {
    _env.set("LC_ALL", std::nullopt);
    _env.set("LC_MESSAGES", std::nullopt);
    std::string id;
    _env.set("LANG", "de_DE.UTF-8@euro");
    ASSERT_TRUE(vesk_localeIdentifier(&id));
    EXPECT_EQ(id, "de_DE");

    _env.set("LC_MESSAGES", "fr_CA");  // the more specific variable wins
    ASSERT_TRUE(vesk_localeIdentifier(&id));
    EXPECT_EQ(id, "fr_CA");

    for (const char* none : {"C", "POSIX", "C.UTF-8"}) {
        _env.set("LC_ALL", none);
        id = "unchanged";
        EXPECT_FALSE(vesk_localeIdentifier(&id)) << none;
        EXPECT_EQ(id, "unchanged");
    }
}

TEST_F(PlatformTest, OsVersionComesFromOsReleaseBelowTheRoot) {
    std::string version = "v", build = "b";
    EXPECT_FALSE(vesk_osVersionInfo(&version, &build));
    EXPECT_EQ(version, "v");

    writeFile(root() + "/usr/lib/os-release", "NAME=\"Debian GNU/Linux\"\nVERSION_ID=\"11\"\n");
    writeFile(root() + "/etc/debian_version", "11.9\n");
    ASSERT_TRUE(vesk_osVersionInfo(&version, &build));
    EXPECT_EQ(version, "11");
    EXPECT_EQ(build, "11.9");

    writeFile(root() + "/etc/os-release", "VERSION_ID='12'\nBUILD_ID=rolling\n");
    ASSERT_TRUE(vesk_osVersionInfo(&version, &build));
    EXPECT_EQ(version, "12");
    EXPECT_EQ(build, "rolling");
}

// Pages times page size: a count of pages alone would be far below any machine's memory.
TEST(PlatformFacts, MemoryIsCountedInBytes) {
    uint64_t bytes = 0;
    ASSERT_TRUE(vesk_memorySize(&bytes));
    EXPECT_GT(bytes, 64ull << 20);
}

}  // namespace
