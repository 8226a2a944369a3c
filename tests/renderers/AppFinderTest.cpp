// Discovery: the folder walk's rules and signatures that do not compile. The system's application
// registry (GIO) keeps the XDG folders it saw first for the whole process, so lookups through it
// are tested through the real binary, in CliRenderersTest.
#include <string>

#include "AppBundle.h"
#include "AppFinder.h"
#include "RenderExecutable.h"
#include "RendererFixtures.h"
#include "VeskPath.h"

using namespace corvix_test;
using namespace renderer_test;

namespace {

using AppFinderTest = RendererTest;

// Also one that would compile to gigabytes (a repetition of repetitions): it is never compiled.
TEST_F(AppFinderTest, ASignatureThatDoesNotCompileIsReported) {
    for (const std::string& signature : {std::string("Render("), "R" + std::string(130, '+')}) {
        RenderExecutable executable(signature.c_str());
        executable.setDiscoverKey("cvxscene");
        executable.discoverApplication();
        EXPECT_EQ("\nOV::AppFinder: could not compile exe signature expression.", diagnostics());
        EXPECT_STREQ("", executable.getLaunchPath());
        EXPECT_FALSE(executable.exists());
    }
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
