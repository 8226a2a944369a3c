// corvix-support renderers: what the verb adds to the core (parsing, exit codes, the text and JSON
// forms) in-process, and end to end through the real binary: pins that read back exactly, hostile
// files that are named and skipped, and discovery through the system's application registry.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "../renderers/RendererFixtures.h"
#include "CliTest.h"
#include "VeskFile.h"

using namespace corvix_test;

namespace {

std::string (*const quoted)(const std::string&) = corvix_test::shellQuoted;

using renderer_test::kOverridesHeader;

class RenderersCommandTest : public CliTest {
  protected:
    void SetUp() override {
        CliTest::SetUp();
        _folder = productFolder() + "Renderers";
        _program = root() + "/Applications/Cinema.app/Contents/MacOS/Cinema";
        renderer_test::makeExecutable(_program);
        controlFile("c4d.xml", "Prism 3D", "($APPDIR)/Cinema.app/Contents/MacOS/Cinema");
    }
    void controlFile(const std::string& file, const std::string& name,
                     const std::string& executable) {
        writeFile(_folder + "/" + file, renderer_test::controlFileText(name, executable));
    }
    int renderers(const std::vector<std::string>& arguments) { return cli("renderers", arguments); }
    // The real binary; arguments are quoted here.
    int binary(const std::vector<std::string>& arguments) {
        std::string command = "timeout 20 " CORVIX_SUPPORT_BINARY " renderers";
        for (const std::string& argument : arguments) {
            command += " " + quoted(argument);
        }
        int status = runCommand(command + " 2>" + quoted(tmp("stderr.txt")), &_out);
        _err = readFile(tmp("stderr.txt"));
        return status;
    }
    std::string row(const char* mode, const char* status, const std::string& path,
                    const std::string& file = "c4d.xml", const std::string& name = "Prism 3D") {
        return name + "\t" + mode + "\t" + status + "\t" + path + "\t" + _folder + "/" + file +
               "\n";
    }
    bool said(const std::string& text) const { return _err.find(text) != std::string::npos; }
    std::string _folder, _program;
};

TEST_F(RenderersCommandTest, ListsRowsAsTextAndStrictJson) {
    EXPECT_EQ(0, renderers({"list"}));
    EXPECT_EQ(row("Discover", "Installed", _program), _out);

    // Names that are not UTF-8 (0xE9, 0xFF) or hold control characters stay one row, and valid
    // JSON: the library escapes the controls and replaces each stray byte with U+FFFD.
    controlFile("c4d.xml", "Say &quot;hi&quot; a\\b\tcaf\xe9\xff&#10;\xc3\xa9", "/nowhere/x");
    EXPECT_EQ(0, renderers({}));
    EXPECT_EQ(
        "Say \"hi\" a\\b\\tcaf\xe9\xff\\n\xc3\xa9\tDiscover\tMissing\t\t" + _folder + "/c4d.xml\n",
        _out);
    EXPECT_EQ(0, binary({"list", "--json"}));
    EXPECT_EQ(
        "[\n  {\n    \"name\": \"Say \\\"hi\\\" "
        "a\\\\b\\tcaf\xef\xbf\xbd\xef\xbf\xbd\\n\xc3\xa9\",\n"
        "    \"mode\": \"Discover\",\n    \"status\": \"Missing\",\n    \"path\": \"\",\n"
        "    \"controlFile\": \"" +
            _folder + "/c4d.xml\"\n  }\n]\n",
        _out);
    writeFile(tmp("rows.json"), _out);
    EXPECT_EQ(0, runCommand("python3 -c 'import json,sys; json.load(open(sys.argv[1], "
                            "encoding=\"utf-8\"))' " +
                            quoted(tmp("rows.json"))));

    unlink((_folder + "/c4d.xml").c_str());
    EXPECT_EQ(0, renderers({"--json"}));
    EXPECT_EQ("[]\n", _out);
    EXPECT_EQ(0, renderers({}));
    EXPECT_EQ("", _out);
    EXPECT_EQ("No render control files in " + _folder + "\n", _err);
}

// Exit codes: 0 saved, 1 no such renderer or the file could not be written (with the view's
// texts and the cause), 2 a path the buffer cannot hold or a missing argument.
TEST_F(RenderersCommandTest, PinAndDiscoverTellWhatHappened) {
    EXPECT_EQ(0, renderers({"pin", "Prism 3D", "/opt/missing"}));
    EXPECT_EQ(row("Specify", "Missing", "/opt/missing"), _out);
    EXPECT_TRUE(said("You have successfully updated your 3D renderer settings. Please restart"));

    EXPECT_EQ(1, renderers({"pin", "prism 3d", "/x"}));
    EXPECT_EQ("corvix-support: no renderer named \"prism 3d\" in " + _folder + "\n", _err);
    EXPECT_EQ(2, renderers({"pin", "Prism 3D", "/" + std::string(1100, 'x')}));
    EXPECT_TRUE(said("Path too long (1101 bytes, at most 1023 fit), not used: /xxx"));
    EXPECT_EQ(2, renderers({"pin", "Prism 3D"}));
    EXPECT_EQ("", _out);

    EXPECT_EQ(0, renderers({"discover", "Prism 3D"}));
    EXPECT_EQ(row("Discover", "Installed", _program), _out);
    EXPECT_EQ(0, renderers({}));
    EXPECT_EQ(row("Discover", "Installed", _program), _out) << "saved";

    unlink((_folder + "/overrides.xml").c_str());
    makeDirs(_folder + "/overrides.xml");
    EXPECT_EQ(1, renderers({"pin", "Prism 3D", "/opt/missing"}));
    EXPECT_TRUE(
        said("Could not update 3d render settings. There was trouble modifying the "
             "overrides file.\ncorvix-support: " +
             _folder + "/overrides.xml is a folder, not a regular file\n"));
}

// A pin holding '&', two spaces and quotes comes back from a reload exactly; plain pins keep the
// designed bytes, and a pin never loses another writer's.
TEST_F(RenderersCommandTest, PinsReadBackExactlyThroughTheBinary) {
    std::string odd = tmp("a&b  \"q\"");
    writeFile(odd, "");
    EXPECT_EQ(0, binary({"pin", "Prism 3D", odd}));
    EXPECT_EQ(0, binary({}));
    EXPECT_EQ(row("Specify", "Installed", odd), _out);

    // Another writer holds the file's lock across its own read-modify-write: a pin started
    // meanwhile waits, reads what that writer saved and keeps it.
    controlFile("max.xml", "Max", "/nowhere/max");
    std::thread pin;
    {
        VeskFileLock other(_folder + "/overrides.xml");
        ASSERT_TRUE(other.locked());
        pin = std::thread([this] { EXPECT_EQ(0, binary({"pin", "Max", "/opt/max"})); });
        usleep(300000);
        writeFile(_folder + "/overrides.xml",
                  kOverridesHeader + "\n<renderer name=\"Prism 3D\">/opt/prism</renderer>" +
                      "\n</overrides>\n");
    }
    pin.join();
    EXPECT_EQ(kOverridesHeader +
                  "\n<renderer name=\"Prism 3D\">/opt/prism</renderer>\n<renderer "
                  "name=\"Max\">/opt/max</renderer>\n</overrides>\n",
              readFile(_folder + "/overrides.xml"));
}

// XML nested 100,000 deep, a 200 MB render control file, then FIFOs in every reader's place and
// in a program's: the listing keeps what it can read, names each refused file, and never hangs
// or crashes.
TEST_F(RenderersCommandTest, HostileFilesAreNamedAndSkipped) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) {
        deep += "<renderer>";
    }
    std::string plist = root() + "/Applications/Cinema.app/Contents/Info.plist";
    const std::string readers[] = {_folder + "/overrides.xml", _folder + "/bad.xml", plist};
    writeFile(_folder + "/big.xml", "");
    ASSERT_EQ(0, truncate((_folder + "/big.xml").c_str(), 200 * 1024 * 1024));
    ASSERT_EQ(0, mkfifo(tmp("program").c_str(), 0755));
    controlFile("fifo.xml", "Fifo", tmp("program"));
    for (bool fifo : {false, true}) {
        for (const std::string& path : readers) {
            unlink(path.c_str());
            if (fifo) {
                ASSERT_EQ(0, mkfifo(path.c_str(), 0644));
            } else {
                writeFile(path, deep);
            }
        }
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(0, binary({}));
        // A FIFO opened for reading would wait for ever; the margin is for a loaded sanitizer run.
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        EXPECT_NE(std::string::npos, _out.find(row("Discover", "Installed", _program)));
        for (const std::string& path : readers) {
            EXPECT_TRUE(said("Skipped " + path + ": it is " +
                             (fifo ? "a FIFO, not a regular file." : "nested deeper than 64")))
                << _err;
        }
        EXPECT_TRUE(said("Skipped " + _folder + "/big.xml: it is 209715200 bytes, more than"));
        EXPECT_TRUE(said("Skipped " + tmp("program") + ": it is a FIFO, not a regular file."));
        EXPECT_NE(std::string::npos, _out.find(row("Discover", "Missing", "", "fifo.xml", "Fifo")));
    }
}

// Discovery through the system's application registry: the default application for the scene
// type wins, else any other whose program matches (a bundle by its main program, an application
// that is no bundle by itself, named in a quoted desktop entry); the probe file is removed.
TEST_F(RenderersCommandTest, DiscoveryPrefersTheDefaultApplication) {
    using renderer_test::makeBundle;
    makeBundle(tmp("apps/First.app"), "CinemaRender", "10");
    makeBundle(tmp("apps/Second.app"), "CinemaRender", "11");
    std::string program = tmp("My Renderer/bin/cinema-render");
    renderer_test::makeExecutable(program);
    _env.set("XDG_DATA_HOME", tmp("share"));
    _env.set("XDG_DATA_DIRS", tmp("system-share"));  // the machine's own applications never answer
    std::vector<std::string> programs = {tmp("apps/First.app/Contents/MacOS/CinemaRender"),
                                         tmp("apps/Second.app/Contents/MacOS/CinemaRender"),
                                         program};
    renderer_test::registerApplications(
        tmp("share"),
        {"\"" + programs[0] + "\" %f", "\"" + programs[1] + "\" %f", "\"" + programs[2] + "\" %f"});
    auto discover = [this](int defaultApp, const std::string& signature) {
        writeFile(home() + "/.config/mimeapps.list",
                  "[Default Applications]\n" + std::string(renderer_test::kSceneType) + "=app" +
                      std::to_string(defaultApp) + ".desktop\n");
        writeFile(_folder + "/c4d.xml",
                  "<renderer name=\"Prism 3D\"><executable discover=\""
                  "cvxscene\">" +
                      signature + "</executable></renderer>");
        EXPECT_EQ(0, binary({}));
        return _out;
    };
    EXPECT_EQ(row("Discover", "Installed", programs[1]), discover(1, "Render$"));
    EXPECT_EQ(row("Discover", "Installed", programs[0]), discover(0, "Render$"));
    EXPECT_EQ(row("Discover", "Installed", program), discover(0, "^cinema-"));
    EXPECT_EQ(row("Discover", "Missing", ""), discover(0, "^Maya$"));
    std::string probes;
    runCommand("ls '" + tmp("tmp") + "' | grep -c cvxscene", &probes);
    EXPECT_EQ("0\n", probes);
}

}  // namespace
