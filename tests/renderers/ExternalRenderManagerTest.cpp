// The renderers folder scan, the view's row edits, and the overrides file that "Apply" writes.
#include <sys/stat.h>

#include <string>

#include "ExternalRenderManager.h"
#include "ExternalRenderer.h"
#include "RendererFixtures.h"
#include "VeskPath.h"

using namespace corvix_test;
using namespace renderer_test;

namespace {

const char kClosing[] = "\n</overrides>\n";

class ExternalRenderManagerTest : public RendererTest {
  protected:
    std::string overrides() { return readFile(rendererFolder() + "/overrides.xml"); }
};

TEST_F(ExternalRenderManagerTest, OnlyControlFilesOfTheFolderGiveRows) {
    makeExecutable(tmp("bin/render"));
    std::string xml = controlFileText("Alpha", tmp("bin/render"));
    const std::pair<const char*, std::string> files[] = {
        {"a.xml", xml},
        {"Overrides.XML", xml},
        {"b.XML", xml},
        {"c.txt", xml},
        {".xml", xml},
        {"x.xml/d.xml", xml},
        // Malformed, truncated, binary and empty files and files without a usable renderer.
        {"malformed.xml", "<renderer name=\"M\"><executable>/bin/sh</exec></renderer>"},
        {"truncated.xml", xml.substr(0, xml.size() / 2)},
        {"binary.xml", std::string("\x89PNG\r\n\x1a\n\x00\x00\x00\rIHDR<renderer>\xff", 26)},
        {"empty.xml", ""},
        {"other.xml", "<renderers>" + xml.substr(22) + "</renderers>"},
        {"win.xml", "<renderer><executable platform=\"win\">/bin/sh</executable></renderer>"}};
    for (const auto& [name, contents] : files) {
        writeFile(rendererFolder() + "/" + name, contents);
    }
    // Special files are never parsed but named: a FIFO would block, a folder in the overrides
    // file's place would be taken for a huge file.
    ASSERT_EQ(0, mkfifo((rendererFolder() + "/fifo.xml").c_str(), 0644));
    makeDirs(rendererFolder() + "/overrides.xml");

    ExternalRenderManager manager;
    ASSERT_EQ(1u, manager.getRenderers().size());
    const ExternalRenderer* row = manager.getRenderers()[0];
    EXPECT_EQ("Alpha", row->getName());
    EXPECT_EQ(rendererFolder() + "/a.xml", row->getControlFile());
    EXPECT_EQ(tmp("bin/render"), row->getPath());
    EXPECT_TRUE(row->isValid());
    EXPECT_FALSE(row->isOverridden());
    std::string messages = diagnostics();
    EXPECT_NE(std::string::npos, messages.find("overrides.xml: it is a folder, not a regular"));
    EXPECT_NE(std::string::npos, messages.find("fifo.xml: it is a FIFO, not a regular file."));
}

// The view's rules: "Specify" checks the current path; a typed path means "Specify", a case-only
// change keeps the old text and validity; "Discover" re-reads the file without the override.
// Rows outside the list and paths too long for the path buffer are refused, never cut.
TEST_F(ExternalRenderManagerTest, RowEditsFollowTheViewsRules) {
    makeBundle(applications() + "/Alpha.app", "Alpha", "10");
    makeExecutable(tmp("pinned/alpha"));
    std::string discovered = applications() + "/Alpha.app/Contents/MacOS/Alpha";
    writeFile(rendererFolder() + "/a.xml",
              controlFileText("Alpha", "($APPDIR)/Alpha.app/Contents/MacOS/Alpha"));
    writeFile(rendererFolder() + "/overrides.xml",
              kOverridesHeader + "\n<renderer name=\"Alpha\">" + tmp("pinned/alpha") +
                  "</renderer>" + kClosing);
    ExternalRenderManager manager;
    ASSERT_EQ(1u, manager.getRenderers().size());
    const ExternalRenderer* row = manager.getRenderers()[0];
    auto state = [row] {
        return std::string(row->isOverridden() ? "Specify " : "Discover ") +
               (row->isValid() ? "Installed " : "Missing ") + row->getPath();
    };
    EXPECT_EQ("Specify Installed " + tmp("pinned/alpha"), state());
    ASSERT_TRUE(manager.setMode(0, ExternalRenderManager::kModeDiscover));
    EXPECT_EQ("Discover Installed " + discovered, state());
    ASSERT_TRUE(manager.setMode(0, ExternalRenderManager::kModeSpecify));
    EXPECT_EQ("Specify Installed " + discovered, state());

    ASSERT_TRUE(manager.setMode(0, ExternalRenderManager::kModeDiscover));
    ASSERT_TRUE(manager.setPath(0, (applications() + "/Alpha.app/Contents/MacOS/ALPHA").c_str()));
    EXPECT_EQ("Specify Installed " + discovered, state());
    ASSERT_TRUE(manager.setPath(0, tmp("later").c_str()));
    EXPECT_EQ("Specify Missing " + tmp("later"), state());
    writeFile(tmp("later"), "");
    ASSERT_TRUE(manager.setMode(0, ExternalRenderManager::kModeSpecify));
    EXPECT_EQ("Specify Installed " + tmp("later"), state());
    ASSERT_TRUE(manager.setPath(0, "/opt/nowhere"));
    EXPECT_EQ("Specify Missing /opt/nowhere", state());
    EXPECT_EQ("", diagnostics());

    std::string tooLong = "/" + std::string(kVeskPathMaxLength, 'x');
    EXPECT_FALSE(manager.setPath(0, tooLong.c_str()));
    EXPECT_FALSE(manager.setMode(1, ExternalRenderManager::kModeSpecify));
    EXPECT_FALSE(manager.setPath(size_t(-1), "/x"));
    EXPECT_EQ("Specify Missing /opt/nowhere", state());
    EXPECT_EQ("\nPath too long (1024 bytes, at most 1023 fit), not used: " + tooLong +
                  "\nNo renderer in row 1; the list has 1.\nNo renderer in row " +
                  std::to_string(size_t(-1)) + "; the list has 1.",
              diagnostics());

    // A pin whose program is missing stays a pin through a reload.
    ASSERT_TRUE(manager.commitChanges());
    EXPECT_TRUE(ExternalRenderManager().getRenderers().at(0)->isOverridden());
    EXPECT_EQ(kOverridesHeader + "\n<renderer name=\"Alpha\">/opt/nowhere</renderer>" + kClosing,
              overrides());
    ASSERT_TRUE(manager.setMode(0, ExternalRenderManager::kModeDiscover));
    ASSERT_TRUE(manager.commitChanges());
    EXPECT_EQ(kOverridesHeader + kClosing, overrides());
}

// A pin of a renderer whose render control file is gone stays through another change: no row could
// take it out again.
TEST_F(ExternalRenderManagerTest, PinsWithoutARowAreKept) {
    writeFile(rendererFolder() + "/a.xml", controlFileText("Alpha", "/nowhere/alpha"));
    const std::string gone = "\n<renderer name=\"Gone\">/opt/gone</renderer>";
    writeFile(rendererFolder() + "/overrides.xml", kOverridesHeader + gone + kClosing);
    ExternalRenderManager manager;
    ASSERT_TRUE(manager.setPath(0, "/opt/alpha"));
    ASSERT_TRUE(manager.commitChanges());
    EXPECT_EQ(
        kOverridesHeader + "\n<renderer name=\"Alpha\">/opt/alpha</renderer>" + gone + kClosing,
        overrides());
}

// A damaged file holds the user's pins: it is kept aside and named, never replaced; an empty one
// holds nothing and is simply replaced.
TEST_F(ExternalRenderManagerTest, CommitKeepsDamagedFilesAside) {
    makeDirs(rendererFolder());
    for (std::string contents : {"<overrides><renderer name=\"A\">/a</rend", "<renderers/>", ""}) {
        writeFile(rendererFolder() + "/overrides.xml", contents);
        ExternalRenderManager manager;
        ASSERT_TRUE(manager.commitChanges()) << manager.getCommitError();
        EXPECT_EQ(kOverridesHeader + kClosing, overrides());
        std::string kept;
        runCommand("ls -d '" + rendererFolder() + "'/overrides.xml.damaged-* 2>/dev/null", &kept);
        kept = kept.substr(0, kept.find('\n'));
        EXPECT_EQ(contents, kept.empty() ? "" : readFile(kept));
        EXPECT_EQ(!contents.empty(),
                  diagnostics().find("was kept as " + kept + ".") != std::string::npos);
        unlink(kept.c_str());
    }
}

}  // namespace
