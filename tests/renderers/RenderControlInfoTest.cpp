// Render control files: which executables a renderer keeps, how they are read, which one runs.
#include <string>

#include "RenderControlInfo.h"
#include "RenderExecutable.h"
#include "RendererFixtures.h"

using namespace corvix_test;
using namespace renderer_test;

namespace {

class RenderControlInfoTest : public RendererTest {
  protected:
    std::string renderer(const std::string& executables) {
        return "<renderer name=\"Cinema\">" + executables + "</renderer>";
    }
};

TEST_F(RenderControlInfoTest, WindowsExecutablesAreSkippedMissingOnesDropped) {
    makeExecutable(tmp("bin/render"));
    std::string win = "<executable platform=\"win\">" + tmp("bin/render") + "</executable>";
    EXPECT_EQ(nullptr, controlInfoFrom(renderer(win)));
    EXPECT_EQ(nullptr, controlInfoFrom(renderer("<extension>c4d</extension>")));

    auto info = controlInfoFrom(
        "<renderer name=\"M\"><extension>c4d</extension><uti>com.x.c4d</uti>"
        "<extension>C4D</extension><extension>c4d</extension><executable platform=\"Win\">" +
        tmp("bin/render") + "</executable>" + win + "</renderer>");
    ASSERT_NE(nullptr, info);
    ASSERT_EQ(1u, info->getExecutables().size());
    EXPECT_TRUE(info->handlesExtension("C4D"));
    EXPECT_FALSE(info->handlesExtension("c4"));
    info->dumpInfo();
    EXPECT_EQ("\n\nExtensions\n---\nc4d\nC4D\nc4d\n\nUTI\n---\ncom.x.c4d", diagnostics());

    // A missing executable leaves a renderer without executables, not no renderer.
    auto missing = controlInfoFrom(renderer("<executable>/nowhere/x</executable>"));
    ASSERT_NE(nullptr, missing);
    EXPECT_EQ(nullptr, missing->getExecutable());
}

TEST_F(RenderControlInfoTest, ReadsAttributesAndExpandsFolderTokens) {
    std::string expanded = applications() + "/A/($APPDIR)/" + home() + "/b/" + home();
    makeExecutable(expanded);
    auto info = controlInfoFrom(
        renderer("<executable stream=\"STDERR\" consoleReader=\"yes\" hfs=\"1\" adapter=\"c4d\" "
                 "version=\"R12\">($APPDIR)/A/($APPDIR)/($USERDIR)/b/($USERDIR)</executable>"));
    ASSERT_NE(nullptr, info);
    RenderExecutable* e = info->getExecutable();
    ASSERT_NE(nullptr, e);
    EXPECT_TRUE(e->usesHFS());
    EXPECT_TRUE(e->hasAdapter());
    EXPECT_EQ("1.0", info->getProducts().at(0).first);
    e->dumpInfo();
    EXPECT_EQ("\n\nExecutable\n----\nPath: " + expanded +
                  "\nVersion: R12\nStream: StdOut\nConsoleReader: Standard\nExists: yes",
              diagnostics());

    makeExecutable(tmp("bin/render"));
    auto other =
        controlInfoFrom(renderer("<executable stream=\"stderr\" consoleReader=\"2\" hfs=\"0\">" +
                                 tmp("bin/render") + "</executable>"));
    ASSERT_NE(nullptr, other);
    ASSERT_NE(nullptr, other->getExecutable());
    EXPECT_EQ(1, other->getExecutable()->getStream());
    EXPECT_TRUE(other->getExecutable()->isConsoleReader());
    EXPECT_FALSE(other->getExecutable()->usesHFS());
}

TEST_F(RenderControlInfoTest, OverridePathAppliesToEveryExecutableUnlessIgnored) {
    makeExecutable(tmp("bin/one"));
    makeExecutable(tmp("bin/two"));
    makeExecutable(tmp("pinned/render"));
    writeFile(tmp("overrides.xml"), "<overrides><renderer name=\"Cinema\">" + tmp("pinned/render") +
                                        "</renderer></overrides>");
    ASSERT_TRUE(RendererOverrideMap::getInstance()->load(tmp("overrides.xml").c_str()));
    std::string executables = "<executable version=\"9\">" + tmp("bin/one") +
                              "</executable><executable version=\"10\">" + tmp("bin/two") +
                              "</executable>";

    auto pinned = controlInfoFrom(renderer(executables), false);
    ASSERT_NE(nullptr, pinned);
    ASSERT_EQ(2u, pinned->getExecutables().size());
    for (RenderExecutable* e : pinned->getExecutables()) {
        EXPECT_EQ(tmp("pinned/render"), e->getLaunchPath());
        EXPECT_TRUE(e->isOverridden());
    }
    auto ignored = controlInfoFrom(renderer(executables), true);
    ASSERT_NE(nullptr, ignored);
    EXPECT_EQ(tmp("pinned/render"), ignored->getOverridePath());
    ASSERT_EQ(2u, ignored->getExecutables().size());
    EXPECT_EQ(tmp("bin/one"), ignored->getExecutables()[0]->getLaunchPath());
    EXPECT_FALSE(ignored->getExecutables()[0]->isOverridden());

    // Without a name there is nothing to look up.
    auto nameless = controlInfoFrom("<renderer>" + executables + "</renderer>");
    ASSERT_NE(nullptr, nameless);
    EXPECT_STREQ("", nameless->getOverridePath());
    EXPECT_FALSE(nameless->getExecutable()->isOverridden());
}

// The declared version not above the installed one (9, 10 and 11 declared; 10.1, then 9.5
// installed), the first of equals; among undeclared ones the program with the highest installed
// version.
TEST_F(RenderControlInfoTest, ChoosesTheExecutableByInstalledVersion) {
    std::string executables;
    for (const char* version : {"10", "9", "11"}) {
        executables += std::string("<executable version=\"") + version +
                       "\">($APPDIR)/Cinema.app/Contents/MacOS/Cinema</executable>";
    }
    for (const auto& [installed, chosen] : {std::pair{"10.1", "10"}, std::pair{"9.5", "9"}}) {
        makeBundle(applications() + "/Cinema.app", "Cinema", installed);
        auto info = controlInfoFrom(renderer(executables));
        ASSERT_NE(nullptr, info);
        EXPECT_EQ(installed, info->getProducts().at(0).first);
        EXPECT_STREQ(chosen, info->getExecutable()->getVersionString());
    }

    // Among executables without a declared version that all point at the installed program,
    // the first in the file wins; enough of them that an unstable sort would reorder them.
    std::string undeclared;
    for (int i = 0; i < 40; ++i) {
        undeclared += "<executable adapter=\"a" + std::to_string(i) +
                      "\">($APPDIR)/Cinema.app/Contents/MacOS/Cinema</executable>";
    }
    auto first = controlInfoFrom(renderer(undeclared));
    ASSERT_NE(nullptr, first);
    EXPECT_STREQ("a0", first->getExecutable()->getAdapter());

    makeBundle(applications() + "/C96.app", "Cinema", "9.6");
    makeBundle(applications() + "/C101.app", "Cinema", "10.1");
    makeExecutable(tmp("bin/plain"));
    auto info = controlInfoFrom(
        renderer("<executable>($APPDIR)/C96.app/Contents/MacOS/Cinema</executable><executable>" +
                 tmp("bin/plain") +
                 "</executable><executable>($APPDIR)/C101.app/Contents/MacOS/Cinema</executable>"));
    ASSERT_NE(nullptr, info);
    EXPECT_EQ(applications() + "/C101.app/Contents/MacOS/Cinema",
              info->getExecutable()->getLaunchPath());
}

// Binary, truncated, wrongly typed and folder Info.plist files give no version; only the folder
// is named, as something other than a file.
TEST_F(RenderControlInfoTest, UnreadableBundleVersionsKeepTheDefault) {
    const std::string plists[] = {
        std::string("bplist00\xd1\x01\x02_\x10\x1a"
                    "CFBundleShortVersionStringS10\x00\x08\x0b",
                    42),
        "<plist><dict><key>CFBundleShortVersionString</key><string>3",
        "<plist><dict><key>CFBundleShortVersionString</key><integer>3</integer></dict></plist>"};
    std::string bundle = applications() + "/Cinema.app";
    makeExecutable(bundle + "/Contents/MacOS/Cinema");
    std::string path = bundle + "/Contents/MacOS/Cinema";
    std::string version = "untouched";
    for (const std::string& plist : plists) {
        writeFile(bundle + "/Contents/Info.plist", plist);
        EXPECT_FALSE(RenderControlInfo::getVersionStringForPath(path.c_str(), version));
        auto info = controlInfoFrom(renderer("<executable>" + path + "</executable>"));
        ASSERT_NE(nullptr, info);
        EXPECT_EQ("1.0", info->getProducts().at(0).first);
    }
    unlink((bundle + "/Contents/Info.plist").c_str());
    makeDirs(bundle + "/Contents/Info.plist");
    EXPECT_EQ("", diagnostics()) << "unreadable lists are not reported";
    EXPECT_FALSE(RenderControlInfo::getVersionStringForPath(path.c_str(), version));
    EXPECT_EQ("\nSkipped " + bundle + "/Contents/Info.plist: it is a folder, not a regular file.",
              diagnostics());
    EXPECT_FALSE(RenderControlInfo::getVersionStringForPath(tmp("bin/none").c_str(), version));
    EXPECT_EQ("untouched", version);
}

}  // namespace
