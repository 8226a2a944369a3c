// corvix-support package --redact, --redact-map and --exclude through the real binary, inside a
// temporary machine root and HOME: no real name or address reaches the archive, the map gives the
// same stand-ins again, rows left out are gone, and a package made without these options is the
// one the tool has always made.
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <set>
#include <sstream>
#include <vector>

#include "CliTest.h"

using corvix_test::readFile;
using corvix_test::runCommand;
using corvix_test::writeFile;
using corvix_test::zipEntries;
using corvix_test::zipMember;

namespace {

std::string (*const quoted)(const std::string&) = corvix_test::shellQuoted;

const std::string kV2 = "/Library/Application Support/Orvanta Software/CorvixPro2";

// The fixture's real values, by the placeholder that stands for them in the texts below.
const std::map<std::string, std::string> kReal = {
    {"{fqdn}", "buildbox.corp.example.net"},
    {"{host}", "buildbox"},
    {"{domain}", "corp.example.net"},
    {"{ip1}", "10.20.30.40"},
    {"{ip2}", "10.20.30.41"},
    {"{ip3}", "172.16.5.9"},
    {"{ip6a}", "2a02:1234:5678:9abc:21a:2bff:fe3c:4d5e"},
    {"{ip6b}", "fe80::21a:2bff:fe3c:4d5e"},
    {"{mac}", "00:1a:2b:3c:4d:5e"},
    {"{login}", "annlee"},
};
const char* const kLog =
    "04:00:16 {host} render started by {login} in {home}/Projects\n"
    "peer {fqdn} ({ip1}), gateway {ip2}, dns {ip3} in {domain}\n"
    "inet6 {ip6a}/64 and {ip6b}%eth0, ether {mac}\n";
const char* const kHosts = "127.0.0.1 localhost\n{ip1} {fqdn} {host}\n{ip6a} {fqdn}\n";

std::string fill(std::string text, const std::map<std::string, std::string>& values) {
    for (const auto& value : values) {
        for (size_t at; (at = text.find(value.first)) != std::string::npos;) {
            text.replace(at, value.first.size(), value.second);
        }
    }
    return text;
}

class PackagePrivacyTest : public corvix_test::SandboxTest {
  protected:
    void SetUp() override {
        SandboxTest::SetUp();
        _real = kReal;
        _real["{home}"] = home();
        _env.set("LOGNAME", _real["{login}"]);
        writeFile(root() + "/etc/hostname", _real["{host}"] + "\n");
        writeFile(root() + "/etc/hosts", fill(kHosts, _real));
        writeFile(userFolder() + "CorvixPro2.log", fill(kLog, _real));
        writeFile(home() + "/Library/Preferences/Adobe/After Effects 6.5 Prefs",
                  fill(kHosts, _real));
        writeFile(root() + kV2 + "/Config.txt", "v2 settings of " + home() + "\n");
        writeFile(root() + kV2 + "/FrameCache.cpr", std::string("cache\0", 6) + home());
        writeFile(tmp("notes.txt"), "my notes on " + _real["{ip1}"] + "\n");
    }

    // Runs the binary's package verb with arguments (quoted already); its output in _out.
    int package(const std::string& arguments) {
        return runCommand(CORVIX_SUPPORT_BINARY
                              " package --name 'Ann Lee' --email "
                              "ann@example.com --live-commands --attach " +
                              quoted(tmp("notes.txt")) + " " + arguments + " 2>&1",
                          &_out);
    }

    // The stand-in the map at path gives each placeholder's real value.
    std::map<std::string, std::string> standIns(const std::string& path) {
        std::map<std::string, std::string> byReal, out;
        std::istringstream lines(readFile(path));
        for (std::string line; std::getline(lines, line);) {
            size_t tab1 = line.find('\t'), tab2 = line.rfind('\t');
            if (line[0] != '#' && tab1 != tab2) {
                byReal[line.substr(tab1 + 1, tab2 - tab1 - 1)] = line.substr(tab2 + 1);
            }
        }
        for (const auto& value : _real) {
            EXPECT_EQ(byReal.count(value.second), 1u) << "no pair for " << value.second;
            out[value.first] = byReal[value.second];
        }
        return out;
    }

    std::map<std::string, std::string> _real;
    std::string _out;
};

TEST_F(PackagePrivacyTest, RedactHidesEveryRealValueTheSameWayAndTheMapGivesItBack) {
    const std::string plain = tmp("plain.zip"), hidden = tmp("hidden.zip");
    ASSERT_EQ(package("-o " + quoted(plain)), 0) << _out;
    ASSERT_EQ(package("--redact -o " + quoted(hidden)), 0) << _out;
    EXPECT_NE(_out.find("Host names, network addresses and user names were hidden. The map to the "
                        "real values is \"" +
                        hidden + ".map\"; keep it: it is not in the archive.\n"),
              std::string::npos)
        << _out;

    // Every entry but the user's own attachment and the product's binary file (both sent as they
    // are, checked below) is searched, case-insensitively.
    const std::set<std::string> names = zipEntries(hidden);
    EXPECT_EQ(names, zipEntries(plain));
    auto lower = [](std::string text) {
        std::transform(text.begin(), text.end(), text.begin(), ::tolower);
        return text;
    };
    for (const std::string& name : names) {
        if (name == "user/notes.txt" || name == "application/V2/FrameCache.cpr") {
            continue;
        }
        const std::string bytes = lower(zipMember(hidden, name));
        for (const auto& value : _real) {
            EXPECT_EQ(bytes.find(lower(value.second)), std::string::npos)
                << value.second << " in " << name;
        }
    }
    EXPECT_EQ(zipMember(hidden, "user/notes.txt"), readFile(tmp("notes.txt")));
    EXPECT_EQ(zipMember(hidden, "application/V2/FrameCache.cpr"),
              readFile(root() + kV2 + "/FrameCache.cpr"));

    // One stand-in per value, in every file; the map beside the archive, for its owner only.
    struct stat st;
    ASSERT_EQ(stat((hidden + ".map").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    const std::map<std::string, std::string> standIn = standIns(hidden + ".map");
    EXPECT_EQ(zipMember(hidden, "application/CorvixPro2.log"), fill(kLog, standIn));
    EXPECT_EQ(zipMember(hidden, "application/AE_65/After Effects 6.5 Prefs"),
              fill(kHosts, standIn));
    EXPECT_EQ(zipMember(hidden, "application/V2/Config.txt"), "v2 settings of /home/user0\n");
    // The command outputs: this machine's own name, as sysctl reports it.
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    const std::string map = readFile(hidden + ".map"), pair = "\nhost\t" + std::string(host) + "\t";
    ASSERT_NE(map.find(pair), std::string::npos) << map;
    const size_t at = map.find(pair) + pair.size();
    EXPECT_EQ(zipMember(hidden, "system/hostname.txt"),
              "kernel.hostname = " + map.substr(at, map.find('\n', at) - at) + "\n");

    // The next package with the map: the same stand-ins, the map keeps every pair.
    const std::string again = tmp("again.zip");
    ASSERT_EQ(package("--redact-map " + quoted(hidden + ".map") + " -o " + quoted(again)), 0)
        << _out;
    EXPECT_EQ(zipMember(again, "application/CorvixPro2.log"), fill(kLog, standIn));
    EXPECT_EQ(standIns(again + ".map"), standIn);
}

TEST_F(PackagePrivacyTest, WithoutOptionsNothingChangesAndExcludedRowsAreLeftOut) {
    const std::string plain = tmp("plain.zip"), fewer = tmp("fewer.zip");
    ASSERT_EQ(package("-o " + quoted(plain)), 0) << _out;
    EXPECT_FALSE(corvix_test::exists(plain + ".map"));
    EXPECT_EQ(_out.find("were hidden"), std::string::npos);
    ASSERT_EQ(package("--exclude process-list --exclude version-2-settings -o " + quoted(fewer)), 0)
        << _out;

    std::set<std::string> expected = zipEntries(plain);
    for (const char* gone : {"system/processList.txt", "application/V2/Config.txt"}) {
        EXPECT_EQ(expected.erase(gone), 1u) << gone;
        EXPECT_EQ(zipMember(fewer, "package.xml").find(gone), std::string::npos) << gone;
    }
    EXPECT_EQ(zipEntries(fewer), expected);
    // The user id left out, the groups that were appended to its file make the file on their own.
    ASSERT_EQ(package("--exclude user-id -o " + quoted(fewer)), 0) << _out;
    std::string groups;
    runCommand("/usr/bin/id", &groups);
    EXPECT_EQ(zipMember(fewer, "system/userInfo.txt"), groups);
    EXPECT_NE(zipMember(fewer, "package.xml").find("<path>system/userInfo.txt</path>"),
              std::string::npos);

    // package.xml as the tool has always written it for these files, the time stamp aside.
    std::string manifest = zipMember(plain, "package.xml");
    const size_t stamp = manifest.find("<timestamp>") + 11;
    manifest.replace(stamp, manifest.find('<', stamp) - stamp, "T");
    auto section = [](const char* comment, const char* element,
                      const std::vector<std::string>& paths) {
        std::string text = std::string("\t<!-- ") + comment + " -->\n\t<" + element + ">\n";
        for (const std::string& path : paths) {
            size_t first = path.find('/'), last = path.rfind('/');
            text += first == last ? "\t\t<infofile>\n"
                                  : "\t\t<infofile feature=\"" +
                                        path.substr(first + 1, last - first - 1) + "\">\n";
            text += "\t\t\t<name>" + path.substr(last + 1) + "</name>\n\t\t\t<path>" + path +
                    "</path>\n\t\t</infofile>\n";
        }
        return text + "\t</" + element + ">\n";
    };
    std::vector<std::string> system;
    for (const char* name :
         {"system.xml", "console.log", "systemConsole.log", "processList.txt", "hardwareInfo.txt",
          "shm.txt", "hostname.txt", "ifconfig.txt", "userInfo.txt"}) {
        if (zipEntries(plain).count("system/" + std::string(name))) {
            system.push_back("system/" + std::string(name));
        }
    }
    EXPECT_EQ(
        manifest,
        "<?xml version=\"1.0\" ?>\n<?xml-stylesheet type=\"text/xsl\" href=\"package.xsl\"?>\n"
        "<SupportInfo version=\"1.0\">\n\t<!-- Information for Orvanta Support System -->\n"
        "\t<application>Corvix</application>\n\t<appversion>-</appversion>\n"
        "\t<build>0</build>\n\t<user>Ann Lee</user>\n\t<company>(null)</company>\n"
        "\t<email>ann@example.com</email>\n\t<license>(null)</license>\n"
        "\t<timestamp>T</timestamp>\n\t<comment></comment>\n" +
            section("System information files", "system_info", system) +
            section("Application related", "app_info",
                    {"application/AE_65/After Effects 6.5 Prefs", "application/V2/FrameCache.cpr",
                     "application/V2/Config.txt", "application/CorvixPro2.log"}) +
            section("User related", "user_info", {"user/notes.txt"}) + "</SupportInfo>\n");

    // Collected files keep their bytes, real values and all.
    EXPECT_EQ(zipMember(plain, "application/CorvixPro2.log"), fill(kLog, _real));
    EXPECT_EQ(zipMember(plain, "application/AE_65/After Effects 6.5 Prefs"), fill(kHosts, _real));
    EXPECT_EQ(zipMember(plain, "application/V2/Config.txt"),
              readFile(root() + kV2 + "/Config.txt"));
}

}  // namespace
