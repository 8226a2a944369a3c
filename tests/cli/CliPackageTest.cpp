// corvix-support package, end to end through the real binary inside a temporary machine root and
// HOME: what reaches the archive, what a full disk, a signal or a second run does to it, and the
// odd things real disks hold. Then the verb's own refusals and dry run, in-process.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>
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
using corvix_test::zipEntries;
using corvix_test::zipMember;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

const std::string kV1 = "/Library/Application Support/Orvanta Software/CorvixPro";
const std::string kV2 = "/Library/Application Support/Orvanta Software/CorvixPro2";

std::string (*const quoted)(const std::string&) = corvix_test::shellQuoted;

class PackageCommandTest : public corvix_test::SandboxTest {
  protected:
    void TearDown() override {
        for (const std::string& folder : _staging) {
            SupportPackage::killDirectory(folder.c_str());
        }
        corvix_test::SandboxTest::TearDown();
    }

    // Runs the binary with global options and the verb's arguments (already quoted) and keeps
    // its streams.
    int package(const std::string& arguments, const std::string& wrapper = "",
                const std::string& global = "") {
        std::string command = wrapper + " " CORVIX_SUPPORT_BINARY " " + global + " package " +
                              arguments + " 2>" + quoted(tmp("stderr.txt"));
        int status = runCommand(command, &_out);
        _err = readFile(tmp("stderr.txt"));
        keepStaging(_out + _err);
        return status;
    }

    // Notes the staging folder that a run's output names, to remove it afterwards.
    void keepStaging(const std::string& output) {
        for (const char* mark : {"staging folder: ", "the collected files stay in "}) {
            size_t at = output.find(mark);
            if (at != std::string::npos) {
                at += strlen(mark);
                _staging.insert(output.substr(at, output.find('\n', at) - at));
            }
        }
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

    // Whether this user may make private mount namespaces (root on this machine and in CI).
    static bool canMount() {
        return runCommand(
                   "unshare -m --propagation private mount -t tmpfs tmpfs /mnt "
                   "2>/dev/null") == 0;
    }

    std::string _out, _err;
    std::set<std::string> _staging;
};

TEST_F(PackageCommandTest, FullPackageHoldsEveryCategoryAndTheAttachments) {
    makeProductFolders(true);
    // Attachments of one name from two folders, and ones named from the working folder.
    writeFile(tmp("files/a/crash.log"), "crash a\n");
    writeFile(tmp("files/b/crash.log"), "crash b\n");
    writeFile(tmp("files/crash.log"), "crash here\n");
    // Two MiB each: --log-size 1 cuts the product log and leaves attachments and settings whole.
    const std::string big = std::string(1 << 20, '\x01') + std::string(1 << 20, 'z');
    writeFile(tmp("files/notes.txt"), big);
    writeFile(root() + kV2 + "/Config.txt", big);
    writeFile(home() + "/.config/Orvanta/Corvix/CorvixPro2.log", big);
    const std::string archive = tmp("out/support.zip");
    makeDirs(tmp("out"));

    ASSERT_EQ(package("-o " + quoted(archive) + " --name 'Ann Lee' --email ann@studio-x.de" +
                          " --attach a/crash.log --attach b/crash.log --attach crash.log" +
                          " --attach notes.txt --live-commands --log-size 1",
                      "cd " + quoted(tmp("files")) + " &&"),
              0)
        << _err;

    std::set<std::string> names = zipEntries(archive);
    for (const char* expected :
         {"package.xml", "system/system.xml", "system/processList.txt", "system/userInfo.txt",
          "application/V1/Config.txt", "application/V1/FrameCache.cpr",
          "application/V2/RQ-History.txt", "application/V2/RQ.txt", "application/V2/ShadowRQ.txt",
          "application/V2/Config.txt", "application/V2/FrameCache.cpr",
          "application/CorvixPro2.log", "user/crash.log", "user/crash (2).log",
          "user/crash (3).log", "user/notes.txt"}) {
        EXPECT_EQ(names.count(expected), 1u) << expected;
    }
    for (const std::string& name : names) {
        EXPECT_TRUE(name == "package.xml" || name.rfind("system/", 0) == 0 ||
                    name.rfind("application/", 0) == 0 || name.rfind("user/", 0) == 0)
            << name;
    }
    EXPECT_EQ(zipMember(archive, "application/V1/Config.txt"), "v1 settings\n");
    EXPECT_EQ(zipMember(archive, "user/crash.log") + zipMember(archive, "user/crash (2).log") +
                  zipMember(archive, "user/crash (3).log"),
              "crash a\ncrash b\ncrash here\n");
    EXPECT_TRUE(zipMember(archive, "user/notes.txt") == big &&
                zipMember(archive, "application/V2/Config.txt") == big);
    EXPECT_TRUE(
        zipMember(archive, "application/CorvixPro2.log") ==
        "[cut: the first 1048576 of 2097152 bytes were left out; the last 1048576 follow]\n" +
            std::string(1 << 20, 'z'));
    EXPECT_EQ(runCommand("unzip -tq " + quoted(archive) + " >/dev/null"), 0);

    // The result names the archive, its size and its digest; progress went to standard error.
    std::string digest;
    runCommand("sha256sum " + quoted(archive) + " | cut -c1-64", &digest);
    EXPECT_THAT(_out, HasSubstr("The support package \"" + archive +
                                "\" has been created.\n\n"
                                "Please email this file to support@orvanta.example\n"));
    EXPECT_THAT(_out, HasSubstr("sha256: " + digest));
    EXPECT_THAT(_err, HasSubstr("[ 4/21] process list\n"));
    EXPECT_THAT(_err, HasSubstr("[21/21] attachments\n"));
}

// The nine commands run side by side: one that hangs is ended at its timeout while the later ones
// run and keep their output. A private mount namespace puts stand-ins in place of two programs:
// lscpu (row 5) waits for what sysctl kernel.hostname (row 7) leaves, then hangs.
TEST_F(PackageCommandTest, AHangingCommandIsEndedWhileTheOthersRunAndKeepTheirOutput) {
    if (!canMount()) {
        GTEST_SKIP() << "mount namespaces are not available to this user";
    }
    const std::string mark = tmp("hostname-ran");
    writeFile(tmp("hang.sh"), "#!/bin/sh\necho partial\nwhile [ ! -e " + mark +
                                  " ]; do /bin/sleep 0.05; done\necho after-hostname\n"
                                  "exec /bin/sleep 1000\n");
    writeFile(tmp("sysctl.sh"), "#!/bin/sh\ncase \"$1\" in kernel.hostname) /usr/bin/touch " +
                                    mark + "; echo host;; *) echo all;; esac\n");
    chmod(tmp("hang.sh").c_str(), 0755);
    chmod(tmp("sysctl.sh").c_str(), 0755);
    const std::string archive = tmp("hung.zip");
    std::string wrapper = "unshare -m --propagation private sh -c 'mount --bind " + tmp("hang.sh") +
                          " /usr/bin/lscpu && mount --bind " + tmp("sysctl.sh") +
                          " /sbin/sysctl && exec \"$0\" \"$@\"'";
    time_t start = time(nullptr);
    ASSERT_EQ(package("-o " + quoted(archive) + " --command-timeout 2 --live-commands", wrapper), 0)
        << _err;
    EXPECT_LT(time(nullptr) - start, 10);
    EXPECT_EQ(zipMember(archive, "system/hardwareInfo.txt"), "partial\nafter-hostname\n");
    EXPECT_EQ(zipMember(archive, "system/hostname.txt") + zipMember(archive, "system/shm.txt"),
              "host\nall\n");
    std::set<std::string> names = zipEntries(archive);
    for (const char* file :
         {"console.log", "systemConsole.log", "processList.txt", "ifconfig.txt", "userInfo.txt"}) {
        EXPECT_EQ(names.count(std::string("system/") + file), 1u) << file;
    }
    for (const char* file : {"processList.txt", "ifconfig.txt"}) {
        EXPECT_NE(zipMember(archive, std::string("system/") + file), "") << file;
    }
    std::string ids;  // both commands of the last file, in their order
    runCommand("/usr/bin/id -u; /usr/bin/id", &ids);
    EXPECT_EQ(zipMember(archive, "system/userInfo.txt"), ids);
    EXPECT_THAT(_err, HasSubstr("Command still running after 2 seconds; ending it."));
}

// Every comment comes back whole from the manifest: parsed as XML, with the designed double
// escaping undone. The archive goes to the Desktop, and holds no folder that is missing.
TEST_F(PackageCommandTest, EveryCommentComesBackWholeInTheDesktopArchive) {
    makeProductFolders(false);
    std::string markup;
    while (markup.size() < (1u << 20)) {
        markup += "<&>";
    }
    const std::string comments[] = {
        "-", "???", "Hi\n\n\n", markup, "Grüße, 東京 — naïve café ✓ 😀", "line one\nline two"};
    writeFile(tmp("decode.py"),
              "import html, sys, xml.etree.ElementTree as tree\n"
              "text = tree.parse(sys.argv[1]).getroot().find('comment').text or ''\n"
              "sys.stdout.buffer.write(html.unescape(text.replace('<br />', '\\n')).encode())\n");
    const std::string archive = home() + "/Desktop/CorvixSupport.zip";
    for (const std::string& comment : comments) {
        writeFile(tmp("comment.txt"), comment);
        ASSERT_EQ(package("--live-commands --comment-file " + quoted(tmp("comment.txt"))), 0)
            << _err;
        runCommand("unzip -p " + quoted(archive) + " package.xml > " + quoted(tmp("package.xml")));
        std::string decoded;
        runCommand("python3 " + quoted(tmp("decode.py")) + " " + quoted(tmp("package.xml")),
                   &decoded);
        EXPECT_TRUE(decoded == comment)
            << comment.substr(0, 40) << " came back as " << decoded.substr(0, 80);
    }

    std::string manifest = readFile(tmp("package.xml"));
    EXPECT_THAT(manifest, Not(HasSubstr("<user_info>")));
    EXPECT_THAT(manifest, HasSubstr("<comment>line one&lt;br &#47;&gt;line two</comment>"));
    std::set<std::string> names = zipEntries(archive);
    for (const std::string& name : names) {
        EXPECT_NE(name.rfind("application/V1/", 0), 0u) << name;
    }
    EXPECT_EQ(names.count("application/V2/RQ.txt"), 1u);
}

// A disk that fills up and a folder that is read-only: exit 1 with the cause, no SHA-256, the old
// archive's bytes unchanged and no other file left there. Each runs in a private mount namespace.
TEST_F(PackageCommandTest, AFullOrReadOnlyDiskKeepsTheOldArchive) {
    if (!canMount()) {
        GTEST_SKIP() << "mount namespaces are not available to this user";
    }
    writeFile(
        tmp("disk.sh"),
        "cd \"$(dirname \"$0\")\" && head -c 2M /dev/urandom > noise.bin && mkdir mnt\n"
        "for c in full full-old readonly-old; do\n"
        "  mount -t tmpfs -o size=1m tmpfs mnt || exit 1\n"
        "  case $c in *old) printf 'PK\\003\\004old' > mnt/CorvixSupport.zip;; esac\n"
        "  case $c in readonly*) mount -o remount,ro mnt;; esac\n"
        "  $BINARY package -o \"$PWD/mnt/CorvixSupport.zip\" --attach noise.bin >out.$c 2>err.$c\n"
        "  echo $c $? $(ls -A mnt) $(tail -c3 mnt/* 2>/dev/null) $(wc -c < out.$c); umount mnt\n"
        "done\n");
    std::string summary;
    ASSERT_EQ(runCommand("BINARY=" CORVIX_SUPPORT_BINARY " unshare -m --propagation private sh " +
                             quoted(tmp("disk.sh")),
                         &summary),
              0);
    EXPECT_EQ(summary,
              "full 1 0\nfull-old 1 CorvixSupport.zip old 0\n"
              "readonly-old 1 CorvixSupport.zip old 0\n");
    for (const char* c : {"full", "full-old", "readonly-old"}) {
        std::string err = readFile(tmp("err.") + c);
        keepStaging(err);
        EXPECT_THAT(err, HasSubstr(tmp("mnt")));
        EXPECT_THAT(
            err, HasSubstr(c[0] == 'f' ? ": No space left on device" : ": Read-only file system"));
    }
}

// SIGINT and SIGTERM while a 700 MB attachment is zipped: exit 130 or 143 at once, the previous
// archive intact, no temporary file and no staging folder left.
TEST_F(PackageCommandTest, InterruptsLeaveTheOldArchiveAndNothingBehind) {
    // 700 MiB with a random MiB in every ten and holes between: quick to make and to stage, and
    // deflate still needs seconds for it. Job control keeps SIGINT for the background run, which
    // a plain shell would ignore there.
    writeFile(
        tmp("interrupt.sh"),
        "set -m; cd \"$(dirname \"$0\")\" && head -c 1M /dev/urandom > block || exit 1\n"
        "for i in $(seq 0 10 690); do\n"
        "  dd if=block of=big.bin bs=1M seek=$i conv=notrunc status=none\n"
        "done; truncate -s 700M big.bin; mkdir out; printf 'PK\\003\\004old' > out/INT.zip\n"
        "printf 'PK\\003\\004old' > out/TERM.zip\n"
        "for s in INT TERM; do\n"
        "  $BINARY package -o \"$PWD/out/$s.zip\" --attach big.bin >/dev/null 2>err.$s &\n"
        "  pid=$!; for i in $(seq 1000); do grep -q 'saving ' err.$s && break; sleep 0.02; done\n"
        "  sleep 0.3; kill -$s $pid; start=$(date +%s%N); wait $pid; code=$?\n"
        "  echo $s $code $(( $(date +%s%N) - start < 3000000000 )) $(tail -c3 out/$s.zip)\n"
        "done; ls -A out\n");
    std::string summary;
    runCommand(
        "BINARY=" CORVIX_SUPPORT_BINARY " bash " + quoted(tmp("interrupt.sh")) + " 2>/dev/null",
        &summary);
    EXPECT_EQ(summary, "INT 130 1 old\nTERM 143 1 old\nINT.zip\nTERM.zip\n");
    for (const char* signal : {"INT", "TERM"}) {
        EXPECT_THAT(readFile(tmp("err.") + signal),
                    HasSubstr("interrupted; no archive was written and the staging folder was "
                              "removed."));
    }
}

// Two runs on one output: both finish with a whole archive, the last rename wins, and what each
// reports is the archive it read back.
TEST_F(PackageCommandTest, TwoRunsAtOnceBothLeaveAWholeArchive) {
    std::string runs;
    for (const char* n : {"1", "2"}) {
        runs += std::string("(") + CORVIX_SUPPORT_BINARY " package -o shared.zip --attach " +
                "noise.bin >out." + n + " 2>/dev/null; echo $? >code." + n + ") & ";
    }
    ASSERT_EQ(runCommand("cd " + quoted(tmp()) + " && head -c 3M /dev/urandom > noise.bin && {" +
                         runs + "wait; }"),
              0);
    EXPECT_EQ(readFile(tmp("code.1")) + readFile(tmp("code.2")), "0\n0\n");
    EXPECT_EQ(runCommand("unzip -tq " + quoted(tmp("shared.zip")) + " >/dev/null"), 0);
    std::string digest, listing;
    runCommand("sha256sum " + quoted(tmp("shared.zip")) + " | cut -c1-64", &digest);
    std::string reported = readFile(tmp("out.1")) + readFile(tmp("out.2"));
    keepStaging(readFile(tmp("out.1")));
    keepStaging(readFile(tmp("out.2")));
    EXPECT_THAT(reported, HasSubstr("sha256: " + digest));
    runCommand("ls -A " + quoted(tmp()) + " | grep -c '\\.tmp$'", &listing);
    EXPECT_EQ(listing, "0\n");
}

// A FIFO where a system file or the comment file should be, a home folder whose name is a glob
// pattern, and a link on a copied disk that leads out of it: nothing waits, nothing strays.
TEST_F(PackageCommandTest, OddFilesAndStrayPathsAreRefusedOrSkipped) {
    makeDirs(root() + "/etc");
    ASSERT_EQ(mkfifo((root() + "/etc/os-release").c_str(), 0666), 0);
    ASSERT_EQ(mkfifo(tmp("comment.fifo").c_str(), 0666), 0);
    const std::string odd = tmp("h[o]me");
    const std::string prefs = "/Library/Preferences/Adobe/After Effects 6.5 Prefs";
    writeFile(odd + prefs, "mine\n");
    writeFile(home() + prefs, "another user's\n");  // what "h[o]me" matches as a pattern
    writeFile(tmp("outside.txt"), "not on the copied disk\n");
    writeFile(root() + kV2 + "/RenderQueue/RQ.txt", "queue\n");
    ASSERT_EQ(symlink(tmp("outside.txt").c_str(), (root() + kV2 + "/RenderQueue/out.txt").c_str()),
              0);

    time_t start = time(nullptr);
    EXPECT_EQ(
        package("-o " + quoted(tmp("x.zip")) + " --comment-file " + quoted(tmp("comment.fifo"))),
        2);
    EXPECT_THAT(_err, HasSubstr("is a FIFO, not a regular file"));
    const std::string archive = tmp("odd.zip");
    // The machine root given on the command line, as support staff do for a copied disk.
    const std::string env = "CORVIX_ROOT= HOME=" + quoted(odd),
                      rootOption = "--root " + quoted(root());
    ASSERT_EQ(package("-o " + quoted(archive), env, rootOption), 0) << _err;
    EXPECT_LT(time(nullptr) - start, 4);
    EXPECT_THAT(_err, HasSubstr("Cannot read " + root() + "/etc/os-release: is a FIFO"));
    EXPECT_EQ(zipMember(archive, "application/AE_65/After Effects 6.5 Prefs"), "mine\n");
    std::set<std::string> names = zipEntries(archive);
    EXPECT_EQ(names.count("application/V2/RQ.txt"), 1u);
    EXPECT_EQ(names.count("application/V2/out.txt"), 0u);

    ASSERT_EQ(package("--dry-run -o " + quoted(archive), env, rootOption), 0);
    EXPECT_THAT(_out,
                HasSubstr("/RenderQueue/out.txt  skipped: a link leading outside the machine root, "
                          "to " +
                          tmp("outside.txt")));
}

// A copied disk (a machine root) gets none of this machine's command output unless asked; asked,
// each command's standard error goes into its file after its output, never to the terminal.
TEST_F(PackageCommandTest, UnderAMachineRootTheCommandsRunOnlyWhenAsked) {
    const std::string archive = tmp("disk.zip");
    ASSERT_EQ(package("-o " + quoted(archive)), 0) << _err;
    std::set<std::string> names = zipEntries(archive);
    EXPECT_EQ(std::count_if(names.begin(), names.end(),
                            [](const std::string& n) { return n.rfind("system/", 0) == 0; }),
              1);
    EXPECT_THAT(zipMember(archive, "package.xml"), Not(HasSubstr("processList")));
    EXPECT_THAT(_err, HasSubstr("[ 4/21] process list  skipped: it describes this machine, not the "
                                "machine root\n"));
    ASSERT_EQ(package("--dry-run -o " + quoted(archive)), 0);
    EXPECT_EQ(corvix_test::occurrences(_out, "  skipped: it describes this machine"), 9u) << _out;

    std::string screen;
    ASSERT_EQ(
        corvix_test::runOnTerminal(
            {"package", "-o", archive, "--live-commands", "--since", "not-a-time"}, "", &screen),
        0)
        << screen;
    EXPECT_THAT(screen, Not(HasSubstr("not-a-time")));
    EXPECT_THAT(zipMember(archive, "system/console.log"), HasSubstr("not-a-time"));
}

// Zipping a 300 MB attachment: one line rewritten in place on a terminal, and no carriage return
// in a file. The staging folder is made under TMPDIR and goes once the archive is whole, unless
// it is kept, which names it.
TEST_F(PackageCommandTest, LargeArchivesShowProgressAndLeaveNoStagingBehind) {
    const std::string big = tmp("big.bin");
    writeFile(big, "");
    ASSERT_EQ(truncate(big.c_str(), 300 << 20), 0);  // sparse: quick to make, stage and zip
    makeDirs(tmp("fresh"));
    corvix_test::ScopedEnv env;
    env.set("TMPDIR", tmp("fresh"));
    std::string screen;
    ASSERT_EQ(
        corvix_test::runOnTerminal({"package", "-o", tmp("a.zip"), "--attach", big}, "", &screen),
        0)
        << screen;
    std::vector<std::string> updates;
    for (size_t at = 0; (at = screen.find("\rzipping: ", at + 1)) != std::string::npos;) {
        updates.push_back(screen.substr(at + 1, screen.find('\033', at) - at - 1));
    }
    ASSERT_GE(updates.size(), 3u) << screen;
    EXPECT_THAT(screen, HasSubstr("\rcopying big.bin: 100 %  300.0 of 300.0 MiB"));
    EXPECT_EQ(updates.back().rfind("zipping: 100 %  300.0 of 300.0 MiB", 0), 0u) << updates.back();
    EXPECT_EQ(runCommand("ls -A " + quoted(tmp("fresh")), &screen), 0);
    EXPECT_EQ(screen, "");

    ASSERT_EQ(
        package("-o " + quoted(tmp("b.zip")) + " --attach " + quoted(big) + " --keep-staging"), 0);
    EXPECT_THAT(_err, Not(HasSubstr("\r")));
    const std::string mark = "staging folder: " + tmp("fresh") + "/osp_";
    ASSERT_NE(_out.find(mark), std::string::npos) << _out;
    EXPECT_TRUE(exists(*_staging.begin() + "/user/big.bin"));
}

// In-process: what the verb refuses before anything is collected (exit 2), and its dry run.
class PackageRefusalTest : public corvix_test::CliTest {};

TEST_F(PackageRefusalTest, BadInputIsRefusedWithItsReasonAndNothingIsCreated) {
    writeFile(tmp("ok.txt"), "x");
    // The core's checks are tested with the job; here, that the verb refuses with exit 2.
    const std::vector<std::vector<std::string>> refused = {
        {"--attach", tmp("ok.txt"), "--attach", tmp("gone.txt")},
        {"--exclude", "system-report"},
        {"--redact-map", tmp("gone.map")},
        {"--json", "--redact"},
        {"-o", "/dev/full"},
        {"-o", ""},
        {"--comment-file", tmp("gone.txt")},
        {"--comment", "a", "--comment-file", tmp("ok.txt")},
        {"--command-timeout", "0x10"},
        {"-o", tmp("ok.txt")},  // not an archive: someone's file
    };
    for (const std::vector<std::string>& arguments : refused) {
        EXPECT_EQ(cli("package", arguments), 2) << arguments[0] << " " << arguments[1];
    }
    EXPECT_THAT(
        _err, HasSubstr("\"" + tmp("ok.txt") + "\" exists and is not a ZIP archive; pass --force"));
    EXPECT_EQ(cli("package", {"--command-timeout", "1e3"}), 2);
    EXPECT_THAT(_err, HasSubstr("--command-timeout: \"1e3\" is not a whole number of seconds"));
    EXPECT_THAT(_err, HasSubstr("Run 'corvix-support --help'"));
    EXPECT_FALSE(exists(home() + "/Desktop"));
    EXPECT_EQ(cli("package", {"--dry-run", "--force", "-o", tmp("ok.txt")}), 0);
    EXPECT_EQ(readFile(tmp("ok.txt")), "x");
}

TEST_F(PackageRefusalTest, DryRunListsFilesAndCommandsAndWritesNothing) {
    writeFile(root() + kV2 + "/Config.txt", "12345");
    writeFile(tmp("a.txt"), "abc");
    ASSERT_EQ(cli("package", {"--dry-run", "--live-commands", "--attach", tmp("a.txt")}), 0)
        << _err;
    EXPECT_THAT(_out, HasSubstr("[18/21] version 2 settings (version-2-settings)\n        " +
                                root() + kV2 + "/Config.txt  5 bytes\n"));
    EXPECT_THAT(
        _out,
        HasSubstr("[ 4/21] process list (process-list)\n        $ /usr/bin/top -b -n1 -w 512\n"));
    EXPECT_THAT(_out, HasSubstr("[21/21] attachments (attachments)\n        " + tmp("a.txt") +
                                "  3 bytes\n"));
    EXPECT_FALSE(exists(home() + "/Desktop"));
    EXPECT_FALSE(exists(home() + "/.config/Orvanta"));

    // The same as JSON, with the rows left out marked.
    ASSERT_EQ(cli("package", {"--dry-run", "--live-commands", "--json", "--exclude", "process-list",
                              "--redact"}),
              0)
        << _err;
    EXPECT_THAT(
        _out, HasSubstr("\"excluded\": true,\n      \"index\": 4,\n      \"items\": [\n        {\n"
                        "          \"command\": \"/usr/bin/top -b -n1 -w 512\"\n"));
    EXPECT_THAT(
        _out, HasSubstr("\"path\": \"" + root() + kV2 + "/Config.txt\",\n          \"size\": 5\n"));
    EXPECT_THAT(_out, HasSubstr("\"redact\": true,"));
}

}  // namespace
