// Render control files: which executables a renderer keeps, how they are read, which one runs.
#include <gtest/gtest.h>

#include <string>

#include "RenderControlInfo.h"
#include "RenderExecutable.h"
#include "RendererFixtures.h"
#include "TestEnvironment.h"

using corvix_test::makeDirs;
using corvix_test::writeFile;
using renderer_test::controlInfoFrom;
using renderer_test::makeBundle;
using renderer_test::makeExecutable;

namespace {

class RenderControlInfoTest : public renderer_test::RendererTest {};

TEST_F(RenderControlInfoTest, WindowsOnlyExecutablesGiveNoRenderer) {
    makeExecutable(tmp("bin/render"));
    EXPECT_EQ(nullptr, controlInfoFrom("<renderer name=\"W\"><executable platform=\"win\">" +
                                       tmp("bin/render") + "</executable></renderer>"));
    EXPECT_EQ(nullptr, controlInfoFrom("<renderer name=\"N\"><extension>c4d</extension>"
                                       "</renderer>"));
    EXPECT_EQ(nullptr, RenderControlInfo::controlInfoFromElement(nullptr, false));

    auto info = controlInfoFrom(
        "<renderer name=\"M\" icon=\"m.png\">"
        "<extension>c4d</extension><uti>com.x.c4d</uti>"
        "<extension>C4D</extension><extension>c4d</extension>"
        "<executable platform=\"Win\">" +
        tmp("bin/render") +
        "</executable>"
        "<executable platform=\"win\">/nowhere/win.exe</executable>"
        "</renderer>");
    ASSERT_NE(nullptr, info);
    ASSERT_EQ(1u, info->getExecutables().size());
    EXPECT_EQ(tmp("bin/render"), info->getExecutable()->getLaunchPath());
    EXPECT_STREQ("M", info->getName());
    EXPECT_STREQ("m.png", info->getIconFile());
    EXPECT_TRUE(info->handlesExtension("C4D"));
    EXPECT_FALSE(info->handlesExtension("c4"));
    // A missing executable leaves a renderer without executables, not no renderer.
    auto missing = controlInfoFrom(
        "<renderer name=\"X\"><executable>/nowhere/x</executable>"
        "</renderer>");
    ASSERT_NE(nullptr, missing);
    EXPECT_EQ(nullptr, missing->getExecutable());

    testing::internal::CaptureStderr();
    info->dumpInfo();
    EXPECT_EQ("\n\nExtensions\n---\nc4d\nC4D\nc4d\n\nUTI\n---\ncom.x.c4d",
              testing::internal::GetCapturedStderr());
}

TEST_F(RenderControlInfoTest, ReadsAttributesAndExpandsFolderTokens) {
    std::string weird = applications() + "/A/($APPDIR)/" + home() + "/b/" + home();
    makeExecutable(weird);
    auto info = controlInfoFrom(
        "<renderer name=\"R\"><executable stream=\"STDERR\" consoleReader=\"yes\" hfs=\"1\" "
        "adapter=\"c4d\" version=\"R12\">($APPDIR)/A/($APPDIR)/($USERDIR)/b/($USERDIR)"
        "</executable></renderer>");
    ASSERT_NE(nullptr, info);
    RenderExecutable* e = info->getExecutable();
    ASSERT_NE(nullptr, e);
    EXPECT_EQ(weird, e->getLaunchPath());
    EXPECT_EQ(0, e->getStream());
    EXPECT_FALSE(e->isConsoleReader());
    EXPECT_TRUE(e->usesHFS());
    EXPECT_TRUE(e->hasAdapter());
    EXPECT_STREQ("c4d", e->getAdapter());
    EXPECT_STREQ("R12", e->getVersionString());
    EXPECT_FALSE(e->isOverridden());
    ASSERT_EQ(1u, info->getProducts().size());
    EXPECT_EQ("1.0", info->getProducts()[0].first);

    testing::internal::CaptureStderr();
    e->dumpInfo();
    EXPECT_EQ("\n\nExecutable\n----\nPath: " + weird +
                  "\nVersion: R12\nStream: StdOut\nConsoleReader: Standard\nExists: yes",
              testing::internal::GetCapturedStderr());

    makeExecutable(tmp("bin/render"));
    auto other = controlInfoFrom(
        "<renderer name=\"R\"><executable stream=\"stderr\" consoleReader=\"2\" hfs=\"0\">" +
        tmp("bin/render") + "</executable></renderer>");
    ASSERT_NE(nullptr, other);
    ASSERT_NE(nullptr, other->getExecutable());
    EXPECT_EQ(1, other->getExecutable()->getStream());
    EXPECT_TRUE(other->getExecutable()->isConsoleReader());
    EXPECT_FALSE(other->getExecutable()->usesHFS());
    EXPECT_FALSE(other->getExecutable()->hasAdapter());
}

TEST_F(RenderControlInfoTest, OverridePathAppliesToEveryExecutableUnlessIgnored) {
    makeExecutable(tmp("bin/one"));
    makeExecutable(tmp("bin/two"));
    makeExecutable(tmp("pinned/render"));
    writeFile(tmp("overrides.xml"), "<overrides><renderer name=\"Cinema\">" + tmp("pinned/render") +
                                        "</renderer></overrides>");
    ASSERT_TRUE(RendererOverrideMap::getInstance()->load(tmp("overrides.xml").c_str()));
    std::string xml = "<renderer name=\"Cinema\"><executable version=\"9\">" + tmp("bin/one") +
                      "</executable><executable version=\"10\">" + tmp("bin/two") +
                      "</executable></renderer>";

    auto pinned = controlInfoFrom(xml, false);
    ASSERT_NE(nullptr, pinned);
    ASSERT_EQ(2u, pinned->getExecutables().size());
    for (RenderExecutable* e : pinned->getExecutables()) {
        EXPECT_EQ(tmp("pinned/render"), e->getLaunchPath());
        EXPECT_TRUE(e->isOverridden());
    }
    EXPECT_EQ(tmp("pinned/render"), pinned->getOverridePath());

    auto ignored = controlInfoFrom(xml, true);
    ASSERT_NE(nullptr, ignored);
    EXPECT_EQ(tmp("pinned/render"), ignored->getOverridePath());
    ASSERT_EQ(2u, ignored->getExecutables().size());
    EXPECT_EQ(tmp("bin/one"), ignored->getExecutables()[0]->getLaunchPath());
    EXPECT_EQ(tmp("bin/two"), ignored->getExecutables()[1]->getLaunchPath());
    EXPECT_FALSE(ignored->getExecutables()[0]->isOverridden());

    // Without a name there is nothing to look up.
    auto nameless =
        controlInfoFrom("<renderer><executable>" + tmp("bin/one") + "</executable></renderer>");
    ASSERT_NE(nullptr, nameless);
    EXPECT_STREQ("", nameless->getOverridePath());
    EXPECT_EQ(tmp("bin/one"), nameless->getExecutable()->getLaunchPath());
}

// Executables declared for versions 9 and 10 of one installed program.
TEST_F(RenderControlInfoTest, ChoosesTheDeclaredVersionNotAboveTheInstalledOne) {
    const std::string xml =
        "<renderer name=\"Cinema\">"
        "<executable version=\"10\">($APPDIR)/Cinema.app/Contents/MacOS/Cinema</executable>"
        "<executable version=\"9\">($APPDIR)/Cinema.app/Contents/MacOS/Cinema</executable>"
        "<executable version=\"11\">($APPDIR)/Cinema.app/Contents/MacOS/Cinema</executable>"
        "</renderer>";
    makeBundle(applications() + "/Cinema.app", "Cinema", "10.1");
    auto newer = controlInfoFrom(xml);
    ASSERT_NE(nullptr, newer);
    ASSERT_EQ(3u, newer->getProducts().size());
    EXPECT_EQ("10.1", newer->getProducts()[0].first);
    EXPECT_STREQ("10", newer->getExecutable()->getVersionString());

    makeBundle(applications() + "/Cinema.app", "Cinema", "9.5");
    auto older = controlInfoFrom(xml);
    ASSERT_NE(nullptr, older);
    EXPECT_STREQ("9", older->getExecutable()->getVersionString());
}

TEST_F(RenderControlInfoTest, ChoosesTheProgramWithTheHighestInstalledVersion) {
    makeBundle(applications() + "/C96.app", "Cinema", "9.6");
    makeBundle(applications() + "/C101.app", "Cinema", "10.1");
    makeExecutable(tmp("bin/plain"));
    auto info = controlInfoFrom(
        "<renderer name=\"Cinema\">"
        "<executable>($APPDIR)/C96.app/Contents/MacOS/Cinema</executable>"
        "<executable>" +
        tmp("bin/plain") +
        "</executable>"
        "<executable>($APPDIR)/C101.app/Contents/MacOS/Cinema</executable>"
        "</renderer>");
    ASSERT_NE(nullptr, info);
    EXPECT_EQ(applications() + "/C101.app/Contents/MacOS/Cinema",
              info->getExecutable()->getLaunchPath());
    std::string version;
    EXPECT_TRUE(RenderControlInfo::getVersionStringForPath(
        (applications() + "/C96.app/Contents/MacOS/Cinema").c_str(), version));
    EXPECT_EQ("9.6", version);
}

// Unreadable Info.plist files give no version; the product keeps "1.0".
TEST_F(RenderControlInfoTest, UnreadableBundleVersionsKeepTheDefault) {
    std::string binary = applications() + "/Binary.app";
    makeExecutable(binary + "/Contents/MacOS/Binary");
    writeFile(binary + "/Contents/Info.plist",
              std::string("bplist00\xd1\x01\x02_\x10\x1a"
                          "CFBundleShortVersionStringS10\x00\x08\x0b",
                          42));
    std::string broken = applications() + "/Broken.app";
    makeExecutable(broken + "/Contents/MacOS/Broken");
    writeFile(broken + "/Contents/Info.plist",
              "<plist><dict><key>CFBundleShortVersionString</key><string>3");
    std::string typed = applications() + "/Typed.app";
    makeExecutable(typed + "/Contents/MacOS/Typed");
    writeFile(typed + "/Contents/Info.plist",
              "<plist><dict><key>CFBundleShortVersionString</key><integer>3</integer>"
              "</dict></plist>");

    std::string folder = applications() + "/Folder.app";
    makeDirs(folder + "/Contents/Info.plist");

    for (const std::string& bundle : {binary, broken, typed, folder}) {
        std::string version = "untouched";
        EXPECT_FALSE(RenderControlInfo::getVersionStringForPath(
            (bundle + "/Contents/MacOS/x").c_str(), version))
            << bundle;
        EXPECT_EQ("untouched", version);
    }
    std::string version = "untouched";
    EXPECT_FALSE(RenderControlInfo::getVersionStringForPath(tmp("bin/none").c_str(), version));
    EXPECT_FALSE(RenderControlInfo::getVersionStringForPath(nullptr, version));

    auto info = controlInfoFrom("<renderer name=\"B\"><executable>" + binary +
                                "/Contents/MacOS/Binary</executable></renderer>");
    ASSERT_NE(nullptr, info);
    ASSERT_EQ(1u, info->getProducts().size());
    EXPECT_EQ("1.0", info->getProducts()[0].first);
}

}  // namespace
