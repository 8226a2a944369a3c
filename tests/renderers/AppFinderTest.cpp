// Discovery: the folder walk's rules, bundles, and the system's application registry (GIO) over
// desktop entries and a mime package made in a temporary XDG data folder.
#include <glob.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "AppBundle.h"
#include "AppFinder.h"
#include "RenderControlInfo.h"
#include "RenderExecutable.h"
#include "RendererFixtures.h"
#include "TestEnvironment.h"

using corvix_test::makeDirs;
using corvix_test::runCommand;
using corvix_test::writeFile;
using renderer_test::controlInfoFrom;
using renderer_test::makeBundle;
using renderer_test::makeExecutable;

namespace {

const char kMimeType[] = "application/x-corvix-scene";
const char kExtension[] = "cvxscene";

class AppFinderTest : public renderer_test::RendererTest {
  protected:
    void SetUp() override {
        RendererTest::SetUp();
        _env.set("XDG_DATA_HOME", tmp("share"));
        _env.set("XDG_DATA_DIRS", tmp("system-share"));
        makeDirs(tmp("system-share"));
        makeDirs(tmp("share/applications"));
    }

    // Registers the test extension's type and the given desktop entries, as a package manager
    // would: the mime database and the desktop entries' cache are rebuilt.
    void registerType() {
        writeFile(tmp("share/mime/packages/corvix-scene.xml"),
                  std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                              "<mime-info "
                              "xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n"
                              "  <mime-type type=\"") +
                      kMimeType +
                      "\">\n    <comment>Corvix test scene</comment>\n"
                      "    <glob pattern=\"*." +
                      kExtension + "\"/>\n  </mime-type>\n</mime-info>\n");
        ASSERT_EQ(0, runCommand("update-mime-database '" + tmp("share/mime") + "' 2>&1"));
    }
    void addApplication(const std::string& id, const std::string& program) {
        writeFile(tmp("share/applications/" + id + ".desktop"),
                  "[Desktop Entry]\nType=Application\nName=" + id + "\nExec=" + program +
                      " %f\nMimeType=" + kMimeType + ";\n");
    }
    void updateApplications() {
        ASSERT_EQ(0,
                  runCommand("update-desktop-database '" + tmp("share/applications") + "' 2>&1"));
    }
    void setDefault(const std::string& id) {
        writeFile(home() + "/.config/mimeapps.list",
                  std::string("[Default Applications]\n") + kMimeType + "=" + id + ".desktop\n");
    }

    // GIO keeps the XDG folders it saw first for the whole process, so every lookup runs in a
    // child process started from this test's environment; its result comes back as text.
    static std::string inChild(const std::function<std::string()>& job) {
        int channel[2];
        if (pipe(channel) != 0) {
            ADD_FAILURE() << "pipe";
            return "";
        }
        pid_t child = fork();
        if (child == 0) {
            close(channel[0]);
            std::string text = job();
            ssize_t written = write(channel[1], text.data(), text.size());
            _exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
        }
        close(channel[1]);
        std::string text;
        char buffer[4096];
        ssize_t n;
        while ((n = read(channel[0], buffer, sizeof buffer)) > 0) {
            text.append(buffer, static_cast<size_t>(n));
        }
        close(channel[0]);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        return text;
    }

    static std::string find(const char* extension, const char* signature) {
        return inChild([=] {
            char result[1025] = {0};
            bool found = AppFinder::findApplicationForExtension(extension, signature, result, 1024);
            return found ? std::string(result) : std::string("<none>");
        });
    }

    static size_t probeFiles() {
        glob_t matches;
        size_t count = 0;
        std::string pattern = std::string("/tmp/tmp???????.") + kExtension;
        if (glob(pattern.c_str(), 0, nullptr, &matches) == 0) {
            count = matches.gl_pathc;
        }
        globfree(&matches);
        return count;
    }
};

TEST_F(AppFinderTest, TheDefaultApplicationWinsOverTheOthers) {
    registerType();
    makeBundle(tmp("apps/First.app"), "CinemaRender", "10");
    makeBundle(tmp("apps/Second.app"), "CinemaRender", "11");
    makeExecutable(tmp("tools/cinema-render"));
    addApplication("first", tmp("apps/First.app/Contents/MacOS/CinemaRender"));
    addApplication("second", tmp("apps/Second.app/Contents/MacOS/CinemaRender"));
    addApplication("tool", tmp("tools/cinema-render"));
    updateApplications();

    setDefault("second");
    size_t probesBefore = probeFiles();
    EXPECT_EQ(tmp("apps/Second.app/Contents/MacOS/CinemaRender"), find(kExtension, "Render$"));
    setDefault("first");
    EXPECT_EQ(tmp("apps/First.app/Contents/MacOS/CinemaRender"), find(kExtension, "Render$"));
    // The default has no match: the others are searched; an application that is no bundle is
    // matched by its own program.
    EXPECT_EQ(tmp("tools/cinema-render"), find(kExtension, "^cinema-"));
    EXPECT_EQ("<none>", find(kExtension, "^Maya$"));
    EXPECT_EQ("<none>", find("cvxunknown", "Render"));
    EXPECT_EQ(probesBefore, probeFiles());

    // The whole way from a render control file: the pattern is the signature.
    std::string discovered = inChild([] {
        auto info = controlInfoFrom(std::string("<renderer name=\"Cinema\"><executable "
                                                "discover=\"") +
                                    kExtension + "\">Cinema[A-Z]</executable></renderer>");
        if (!info || !info->getExecutable()) {
            return std::string("<none>");
        }
        return std::string(info->getExecutable()->getLaunchPath()) + "|" +
               info->getProducts()[0].first;
    });
    EXPECT_EQ(tmp("apps/First.app/Contents/MacOS/CinemaRender") + "|10", discovered);
}

TEST_F(AppFinderTest, ASignatureThatDoesNotCompileIsReported) {
    char result[1025] = {0};
    testing::internal::CaptureStderr();
    EXPECT_FALSE(AppFinder::findApplicationForExtension(kExtension, "Render(", result, 1024));
    EXPECT_EQ("\nOV::AppFinder: could not compile exe signature expression.",
              testing::internal::GetCapturedStderr());

    makeExecutable(tmp("bin/Render("));
    testing::internal::CaptureStderr();
    RenderExecutable executable("Render(");
    executable.setDiscoverKey(kExtension);
    executable.discoverApplication();
    testing::internal::GetCapturedStderr();
    EXPECT_STREQ("", executable.getLaunchPath());
    EXPECT_FALSE(executable.exists());
    EXPECT_FALSE(AppFinder::findApplicationForExtension(nullptr, "x", result, 1024));
}

// Names beginning with one or two full stops are skipped, with everything below them; three
// full stops pass. A bundle whose main program does not match is searched file by file.
TEST_F(AppFinderTest, TheWalkSkipsHiddenEntries) {
    std::string bundle = tmp("apps/Cinema.app");
    makeBundle(bundle, "Launcher", "10");
    makeExecutable(bundle + "/Contents/.Render1");
    makeExecutable(bundle + "/Contents/..Render2");
    makeExecutable(bundle + "/Contents/.hidden/Render3");
    makeExecutable(bundle + "/Contents/..x/Render4");
    writeFile(bundle + "/Contents/Resources/Render5", "not executable");
    regex_t signature;
    ASSERT_EQ(0, regcomp(&signature, "Render", REG_EXTENDED));
    char result[1025] = {0};
    EXPECT_FALSE(AppFinder::scanBundleContents(AppBundle(bundle), &signature, result, 1024));
    EXPECT_STREQ("", result);

    makeExecutable(bundle + "/Contents/...more/Render6");
    EXPECT_TRUE(AppFinder::scanBundleContents(AppBundle(bundle), &signature, result, 1024));
    EXPECT_EQ(bundle + "/Contents/...more/Render6", std::string(result));

    char shortResult[9] = {0};
    EXPECT_TRUE(AppFinder::scanDir((bundle + "/Contents").c_str(), &signature, shortResult, 8));
    EXPECT_EQ((bundle + "/Contents/...more/Render6").substr(0, 8), std::string(shortResult));
    EXPECT_FALSE(AppFinder::scanDir(tmp("nowhere").c_str(), &signature, result, 1024));
    regfree(&signature);

    EXPECT_TRUE(AppFinder::isAnExecutable((bundle + "/Contents/MacOS/Launcher").c_str()));
    EXPECT_FALSE(AppFinder::isAnExecutable((bundle + "/Contents/Resources/Render5").c_str()));
    EXPECT_FALSE(AppFinder::isAnExecutable(tmp("nowhere").c_str()));
}

}  // namespace
