// corvix-support package, end to end through the real binary inside a temporary machine root and
// HOME, and its refusals in-process.
#include <unistd.h>

#include <set>
#include <sstream>

#include "CliTest.h"
#include "SupportPackage.h"
#include "TestEnvironment.h"

using corvix_test::exists;
using corvix_test::makeDirs;
using corvix_test::readFile;
using corvix_test::runCommand;
using corvix_test::writeFile;

namespace {

const std::string kV1 = "/Library/Application Support/Orvanta Software/CorvixPro";
const std::string kV2 = "/Library/Application Support/Orvanta Software/CorvixPro2";

std::string quoted(const std::string& s) {
    return "'" + s + "'";
}

class PackageCommandTest : public corvix_test::SandboxTest {
  protected:
    void TearDown() override {
        for (const std::string& folder : _staging) {
            SupportPackage::killDirectory(folder.c_str());
        }
        corvix_test::SandboxTest::TearDown();
    }

    // Runs the binary with arguments (already quoted) and keeps its streams.
    int package(const std::string& arguments, const std::string& wrapper = "") {
        std::string command = wrapper + " " CORVIX_SUPPORT_BINARY " package " + arguments + " 2>" +
                              quoted(tmp("stderr.txt"));
        int status = runCommand(command, &_out);
        _err = readFile(tmp("stderr.txt"));
        size_t at = _out.find("staging folder: ");
        if (at != std::string::npos) {
            _staging.insert(_out.substr(at + 16, _out.find('\n', at) - at - 16));
        }
        return status;
    }

    std::set<std::string> entries(const std::string& archive) {
        std::string listing;
        EXPECT_EQ(runCommand("unzip -Z1 " + quoted(archive), &listing), 0);
        std::set<std::string> names;
        std::istringstream lines(listing);
        for (std::string line; std::getline(lines, line);) {
            names.insert(line);
        }
        return names;
    }

    std::string member(const std::string& archive, const std::string& name) {
        std::string text;
        runCommand("unzip -p " + quoted(archive) + " " + quoted(name), &text);
        return text;
    }

    void makeProductFolders(bool withVersion1) {
        if (withVersion1) {
            writeFile(root() + kV1 + "/Config.txt", "v1 settings\n");
            writeFile(root() + kV1 + "/FrameCache.cpr", "v1 registry\n");
            writeFile(root() + kV1 + "/RenderQueue/RQ-History.txt", "v1 history\n");
        }
        writeFile(root() + kV2 + "/Config.txt", "v2 settings\n");
        writeFile(root() + kV2 + "/FrameCache.cpr", "v2 registry\n");
        writeFile(root() + kV2 + "/RenderQueue/RQ.txt", "v2 queue\n");
        writeFile(root() + kV2 + "/RenderQueue/ShadowRQ.txt", "v2 shadow\n");
        writeFile(home() + "/.config/Orvanta/Corvix/CorvixPro2.log", "log line\n");
    }

    std::string _out, _err;
    std::set<std::string> _staging;
};

TEST_F(PackageCommandTest, FullPackageHoldsEveryCategoryAndTheAttachments) {
    makeProductFolders(true);
    writeFile(tmp("notes.txt"), "my notes\n");
    writeFile(tmp("scene.aep"), std::string(5000, '\x01'));
    const std::string archive = tmp("out/support.zip");
    makeDirs(tmp("out"));

    ASSERT_EQ(
        package("-o " + quoted(archive) + " --name 'Ann Lee' --email ann@studio-x.de" +
                " --attach " + quoted(tmp("notes.txt")) + " --attach " + quoted(tmp("scene.aep"))),
        0)
        << _err;

    std::set<std::string> names = entries(archive);
    for (const char* expected :
         {"package.xml", "system/system.xml", "system/processList.txt", "system/userInfo.txt",
          "application/V1/Config.txt", "application/V1/FrameCache.cpr",
          "application/V2/RQ-History.txt", "application/V2/RQ.txt", "application/V2/ShadowRQ.txt",
          "application/V2/Config.txt", "application/V2/FrameCache.cpr",
          "application/CorvixPro2.log", "user/notes.txt", "user/scene.aep"}) {
        EXPECT_EQ(names.count(expected), 1u) << expected;
    }
    for (const std::string& name : names) {
        EXPECT_TRUE(name == "package.xml" || name.rfind("system/", 0) == 0 ||
                    name.rfind("application/", 0) == 0 || name.rfind("user/", 0) == 0)
            << name;
    }
    EXPECT_EQ(member(archive, "application/V1/Config.txt"), "v1 settings\n");
    EXPECT_EQ(member(archive, "user/scene.aep"), std::string(5000, '\x01'));
    EXPECT_EQ(runCommand("unzip -tq " + quoted(archive) + " >/dev/null"), 0);

    std::string manifest = member(archive, "package.xml");
    EXPECT_NE(manifest.find("\t<user>Ann Lee</user>\n"), std::string::npos);
    EXPECT_NE(manifest.find("<user_info>\n\t\t<infofile>\n\t\t\t<name>notes.txt</name>\n"
                            "\t\t\t<path>user/notes.txt</path>\n\t\t</infofile>\n"
                            "\t\t<infofile>\n\t\t\t<name>scene.aep</name>\n"),
              std::string::npos)
        << manifest;

    // The result names the archive, its size and its digest; progress went to standard error.
    std::string digest;
    runCommand("sha256sum " + quoted(archive) + " | cut -c1-64", &digest);
    EXPECT_NE(_out.find("The support package \"" + archive +
                        "\" has been created.\n\n"
                        "Please email this file to support@orvanta.example\n"),
              std::string::npos);
    EXPECT_NE(_out.find("sha256: " + digest), std::string::npos) << _out;
    EXPECT_NE(_err.find("[ 4/21] process list\n"), std::string::npos) << _err;
    EXPECT_NE(_err.find("[21/21] attachments\n"), std::string::npos);
}

TEST_F(PackageCommandTest, DefaultsToTheDesktopAndLeavesOutWhatIsMissing) {
    makeProductFolders(false);
    ASSERT_EQ(package("--comment 'line one\nline two'"), 0) << _err;
    const std::string archive = home() + "/Desktop/CorvixSupport.zip";
    ASSERT_TRUE(exists(archive));

    std::set<std::string> names = entries(archive);
    for (const std::string& name : names) {
        EXPECT_NE(name.rfind("application/V1/", 0), 0u) << name;
        EXPECT_NE(name.rfind("user/", 0), 0u) << name;
    }
    EXPECT_EQ(names.count("application/V2/RQ.txt"), 1u);

    std::string manifest = member(archive, "package.xml");
    EXPECT_EQ(manifest.find("<user_info>"), std::string::npos);
    EXPECT_NE(manifest.find("<comment>line one&lt;br &#47;&gt;line two</comment>"),
              std::string::npos)
        << manifest;

    std::string idU, id;
    runCommand("/usr/bin/id -u", &idU);
    runCommand("/usr/bin/id", &id);
    EXPECT_EQ(member(archive, "system/userInfo.txt"), idU + id);
}

TEST_F(PackageCommandTest, AHangingCommandIsEndedAndThePackageStillMade) {
    // A private mount namespace puts a hanging program in place of one of the system commands.
    if (runCommand("unshare -m --propagation private true 2>/dev/null") != 0) {
        GTEST_SKIP() << "mount namespaces are not available to this user";
    }
    writeFile(tmp("hang.sh"), "#!/bin/sh\necho partial\nexec sleep 1000\n");
    chmod(tmp("hang.sh").c_str(), 0755);
    const std::string archive = tmp("hung.zip");
    std::string wrapper = "unshare -m --propagation private sh -c 'mount --bind " + tmp("hang.sh") +
                          " /usr/bin/lscpu && exec \"$0\" \"$@\"'";

    time_t started = time(nullptr);
    ASSERT_EQ(package("-o " + quoted(archive) + " --command-timeout 2", wrapper), 0) << _err;
    EXPECT_LT(time(nullptr) - started, 60);
    EXPECT_EQ(member(archive, "system/hardwareInfo.txt").rfind("partial\n", 0), 0u);
    EXPECT_EQ(entries(archive).count("system/ifconfig.txt"), 1u);  // later rows still ran
}

// In-process: the refusals that come before anything is collected.
class PackageRefusalTest : public corvix_test::CliTest {
  protected:
    int run(const std::vector<std::string>& arguments) { return cli("package", arguments); }
};

TEST_F(PackageRefusalTest, BadInputIsRefusedWithItsReasonAndNothingIsCreated) {
    writeFile(tmp("ok.txt"), "x");
    EXPECT_EQ(run({"--email", "ann@example.c"}), 2);
    EXPECT_NE(_err.find("Invalid email address"), std::string::npos);

    EXPECT_EQ(run({"--attach", tmp("ok.txt"), "--attach", tmp("gone.txt")}), 2);
    EXPECT_NE(_err.find("\"" + tmp("gone.txt") + "\" does not exist"), std::string::npos);

    EXPECT_EQ(run({"--attach", tmp()}), 2);
    EXPECT_NE(_err.find("\"" + tmp() + "\" is not a regular file"), std::string::npos);

    EXPECT_EQ(run({"-o", tmp("missing/folder/x.zip")}), 2);
    EXPECT_NE(_err.find("\"" + tmp("missing/folder") + "\""), std::string::npos);

    EXPECT_EQ(run({"-o", ""}), 2);
    EXPECT_EQ(run({"--comment", "a", "--comment-file", tmp("ok.txt")}), 2);
    EXPECT_EQ(run({"--command-timeout", "-1"}), 2);

    EXPECT_FALSE(exists(home() + "/Desktop"));
}

TEST_F(PackageRefusalTest, DryRunListsFilesAndCommandsAndWritesNothing) {
    writeFile(root() + kV2 + "/Config.txt", "12345");
    writeFile(tmp("a.txt"), "abc");
    ASSERT_EQ(run({"--dry-run", "--attach", tmp("a.txt")}), 0) << _err;
    EXPECT_NE(
        _out.find("[18/21] version 2 settings\n        " + root() + kV2 + "/Config.txt  5 bytes\n"),
        std::string::npos)
        << _out;
    EXPECT_NE(_out.find("[ 4/21] process list\n        $ /usr/bin/top -b -n1 -w 512\n"),
              std::string::npos);
    EXPECT_NE(_out.find("[21/21] attachments\n        " + tmp("a.txt") + "  3 bytes\n"),
              std::string::npos);
    EXPECT_FALSE(exists(home() + "/Desktop"));
    EXPECT_FALSE(exists(home() + "/.config/Orvanta"));
}

}  // namespace
