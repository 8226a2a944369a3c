// Discovery: the folder walk's rules, and the system's application registry (GIO) over a mime
// package and desktop entries made in a temporary XDG data folder.
#include <glob.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "AppBundle.h"
#include "AppFinder.h"
#include "RenderExecutable.h"
#include "RendererFixtures.h"
#include "VeskPath.h"

using namespace corvix_test;
using namespace renderer_test;

namespace {

class AppFinderTest : public RendererTest {
  protected:
    void SetUp() override {
        RendererTest::SetUp();
        _env.set("XDG_DATA_HOME", tmp("share"));
        // An empty system folder, so that the machine's own applications never answer.
        _env.set("XDG_DATA_DIRS", tmp("system-share"));
        makeDirs(tmp("system-share"));
    }

    // Desktop entries whose Exec quotes each program, as a path holding a space requires.
    void registerApplications(const std::vector<std::string>& programs) {
        std::vector<std::string> commandLines;
        for (const std::string& program : programs) {
            commandLines.push_back("\"" + program + "\" %f");
        }
        renderer_test::registerApplications(tmp("share"), commandLines);
    }
    void setDefault(int index) {
        writeFile(home() + "/.config/mimeapps.list", std::string("[Default Applications]\n") +
                                                         renderer_test::kSceneType + "=app" +
                                                         std::to_string(index) + ".desktop\n");
    }

    // GIO keeps the XDG folders it saw first for the whole process, so each lookup runs in a
    // child process started from this test's environment and hands its result back as text.
    static std::string inChild(const std::function<std::string()>& job) {
        int channel[2];
        if (pipe(channel) != 0) {
            return "<pipe failed>";
        }
        pid_t child = fork();
        if (child == 0) {
            std::string text = job();
            _exit(write(channel[1], text.data(), text.size()) == ssize_t(text.size()) ? 0 : 1);
        }
        close(channel[1]);
        std::string text;
        char buffer[4096];
        for (ssize_t n; (n = read(channel[0], buffer, sizeof buffer)) > 0;) {
            text.append(buffer, size_t(n));
        }
        close(channel[0]);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        return text;
    }
    static std::string find(const char* extension, const char* signature) {
        return inChild([=] {
            char result[kVeskPathBufferSize] = {0};
            bool found = AppFinder::findApplicationForExtension(extension, signature, result,
                                                                kVeskPathBufferSize - 1);
            return found ? std::string(result) : std::string("<none>");
        });
    }
    size_t probeFiles() {
        glob_t matches;
        std::string pattern = tmp("tmp") + "/tmp???????.cvxscene";
        size_t count = glob(pattern.c_str(), 0, nullptr, &matches) == 0 ? matches.gl_pathc : 0;
        globfree(&matches);
        return count;
    }
};

TEST_F(AppFinderTest, TheDefaultApplicationWinsOverTheOthers) {
    makeBundle(tmp("apps/First.app"), "CinemaRender", "10");
    makeBundle(tmp("apps/Second.app"), "CinemaRender", "11");
    makeExecutable(tmp("my tools/cinema-render"));
    registerApplications({tmp("apps/First.app/Contents/MacOS/CinemaRender"),
                          tmp("apps/Second.app/Contents/MacOS/CinemaRender"),
                          tmp("my tools/cinema-render")});
    size_t probesBefore = probeFiles();
    setDefault(1);
    EXPECT_EQ(tmp("apps/Second.app/Contents/MacOS/CinemaRender"), find("cvxscene", "Render$"));
    setDefault(0);
    EXPECT_EQ(tmp("apps/First.app/Contents/MacOS/CinemaRender"), find("cvxscene", "Render$"));
    // Without a match in the default the others are searched; an application that is no
    // bundle is matched by its own program.
    EXPECT_EQ(tmp("my tools/cinema-render"), find("cvxscene", "^cinema-"));
    EXPECT_EQ("<none>", find("cvxscene", "^Maya$"));
    EXPECT_EQ("<none>", find("cvxunknown", "Render"));
    EXPECT_EQ(probesBefore, probeFiles());
}

TEST_F(AppFinderTest, ASignatureThatDoesNotCompileIsReported) {
    RenderExecutable executable("Render(");
    executable.setDiscoverKey("cvxscene");
    executable.discoverApplication();
    EXPECT_EQ("\nOV::AppFinder: could not compile exe signature expression.", diagnostics());
    EXPECT_STREQ("", executable.getLaunchPath());
    EXPECT_FALSE(executable.exists());
}

// Names beginning with one or two full stops are skipped, with everything below them; three
// full stops pass. A bundle whose main program does not match is searched file by file.
TEST_F(AppFinderTest, TheWalkSkipsHiddenEntries) {
    std::string bundle = tmp("apps/Cinema.app");
    makeBundle(bundle, "Launcher", "10");
    for (const char* hidden : {".Render1", "..Render2", ".hidden/Render3", "..x/Render4"}) {
        makeExecutable(bundle + "/Contents/" + hidden);
    }
    writeFile(bundle + "/Contents/Resources/Render5", "not executable");
    regex_t signature;
    ASSERT_EQ(0, regcomp(&signature, "Render", REG_EXTENDED));
    char result[kVeskPathBufferSize] = {0};
    EXPECT_FALSE(AppFinder::scanBundleContents(AppBundle(bundle), &signature, result,
                                               kVeskPathBufferSize - 1));

    makeExecutable(bundle + "/Contents/...more/Render6");
    EXPECT_TRUE(AppFinder::scanBundleContents(AppBundle(bundle), &signature, result,
                                              kVeskPathBufferSize - 1));
    EXPECT_EQ(bundle + "/Contents/...more/Render6", std::string(result));
    // A match that does not fit the result is refused and named, never cut.
    char shortResult[9] = {0};
    EXPECT_FALSE(AppFinder::scanDir((bundle + "/Contents").c_str(), &signature, shortResult, 8));
    EXPECT_STREQ("", shortResult);
    EXPECT_NE(std::string::npos, diagnostics().find("not used: " + bundle + "/Contents/...more"));
    regfree(&signature);
}

}  // namespace
